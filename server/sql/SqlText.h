// Between our texts and the driver's, without a detour over UTF-8, and what a refused statement says. For
// server/sql.

#pragma once

#include "host/Queries.h"
#include "host/Variant.h"
#include "server/sql/ParamNames.h"

#include <QSqlError>
#include <QString>
#include <QVariant>

#include <optional>

namespace zutools::server {

/// Copies as it is, U+FEFF in front too. Never the driver's NULL.
[[nodiscard]] QString ToQt(std::u16string_view Text);
[[nodiscard]] std::u16string FromQt(const QString& Text);

/// Offset of the first unit that the databases of this dialect cannot keep, with the reason.
struct TTextFault {
    std::size_t Offset;
    std::u16string_view Reason;
};
[[nodiscard]] std::optional<TTextFault> FindTextFault(std::u16string_view Text, TSqlDialect Dialect);

/// A value in PostgreSQL's notation. Its type is left open, so that the place where it stands decides.
[[nodiscard]] QString PostgresLiteral(const QVariant& Value);

/// A field of a row: null, vkInt64, vkFloat or vkString.
/// @throws EDatabaseError for bytes, malformed text, and dates that the driver cannot represent.
[[nodiscard]] TKXVariant FieldToVariant(const QVariant& Value, std::u16string_view Field);

/// The database's own text in one line, without the driver's view of the statement.
[[nodiscard]] std::u16string DatabaseText(const QSqlError& Error);

/// A statement for a message: one line, cut when it is long.
[[nodiscard]] std::u16string ShownStatement(std::u16string_view Statement);

} // namespace zutools::server
