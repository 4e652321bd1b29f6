#include "server/rights/RightsTables.h"

#include "host/Format.h"
#include "platform/Text.h"
#include "platform/TextTools.h"

#include <QString>

#include <algorithm>
#include <utility>

namespace zutools::server {

namespace {

[[nodiscard]] bool IsGoodName(std::u16string_view Name) {
    const auto IsBlank = [](char16_t Unit) { return Unit == u' ' || Unit == u'\u00A0'; };
    return !Name.empty() && Name.size() <= MaxRightsName && !IsBlank(Name.front()) && !IsBlank(Name.back()) &&
           std::none_of(Name.begin(), Name.end(), platform::IsControl) &&
           !platform::Utf16ToUtf8Strict(Name).Error;
}

void Bind(TQuery& Query, TRightsParams Params) {
    for (const auto& [Name, Value] : Params) {
        if (Value.IsNull()) {
            Query.SetNull(Name);
        } else if (Value.IsString()) {
            Query.SetString(Name, Value.StringView());
        } else {
            Query.SetInteger(Name, Value.AsInt64());
        }
    }
}

/// PostgreSQL shows the row that it refuses, with the hash.
[[nodiscard]] std::u16string WithoutHashes(std::u16string Message) {
    constexpr std::u16string_view Start = u"$argon2";
    for (std::size_t At = Message.find(Start); At != Message.npos; At = Message.find(Start, At)) {
        const std::size_t End = std::min(Message.find_first_of(u" )\"'\n", At), Message.size());
        Message.replace(At, End - At, u"...");
    }
    return Message;
}

} // namespace

std::optional<std::u16string> UserKey(std::u16string_view Name) {
    if (!IsGoodName(Name)) return std::nullopt;
    const auto Composed = [](const QString& Text) { return Text.normalized(QString::NormalizationForm_C); };
    const QString Given = QString::fromUtf16(Name.data(), static_cast<qsizetype>(Name.size()));
    // Capital letters first: folding alone takes one character to one, and leaves "ß" apart from "SS".
    return Composed(Composed(Given).toUpper().toCaseFolded()).toStdU16String();
}

void RequireGoodName(std::u16string_view Kind, std::u16string_view Name) {
    if (IsGoodName(Name)) return;
    throw ERightsError(
        Format(u"\"%s\" cannot be the name of a %s: take 1 to %d characters, without control "
               u"characters and without blanks at the ends.",
               {std::u16string(Name.substr(0, MaxRightsName)), Kind, static_cast<int>(MaxRightsName)}));
}

TSqlDatabase& RightsDatabase(const TDatabaseOfThread& Database) {
    TSqlDatabase* const Connection = SqlDatabaseOf(Database);
    if (Connection != nullptr) return *Connection;
    throw ERightsError(u"Users and rights need a database, and none is configured.");
}

int ExecRights(TSqlDatabase& Database, std::u16string_view Statement, TRightsParams Params) {
    const auto Query = Database.CreateExecQuery();
    Query->SetSQL(Statement);
    Bind(*Query, Params);
    try {
        Query->Execute();
    } catch (const EDatabaseError& Error) {
        throw EDatabaseError(WithoutHashes(Error.Message()));
    }
    return Query->RowsAffected();
}

std::unique_ptr<TSelectQuery> OpenRights(TSqlDatabase& Database, std::u16string_view Statement,
                                         TRightsParams Params) {
    auto Query = Database.CreateSelectQuery();
    Query->SetSQL(Statement);
    Bind(*Query, Params);
    Query->Open();
    return Query;
}

} // namespace zutools::server
