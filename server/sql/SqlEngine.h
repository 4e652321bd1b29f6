// What one kind of database has of its own. SqliteEngine.cpp and PostgresEngine.cpp are twins: the same
// methods in the same order. A third kind is a file beside them and a line in the list of SqlEngine.cpp;
// nothing outside asks which kind it has.

#pragma once

#include "host/Queries.h"
#include "server/sql/Catalogue.h"
#include "server/sql/ParamNames.h"

#include <chrono>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::server {

class TSqlEngine;
class TSqlLink;

/// The parts of a database URL.
struct TDatabaseUrl {
    const TSqlEngine* Engine = nullptr; // never null once parsed
    std::u16string File;                // the path, or ":memory:"; empty for a server
    std::u16string User;                // empty: the driver's default, the name of the system's user
    std::u16string Password;            // empty: PGPASSWORD or the user's .pgpass
    std::u16string Host;                // empty: PGHOST or the local socket
    int Port = 0;                       // 0: PGPORT or the usual one
    std::u16string Name;
    std::u16string SslMode; // empty: the driver's default
    /// Statements reach this database only: they make and open no other file and change no setting of the
    /// connection (SQLite; a server has its roles for that).
    bool Confined = false;

    /// For messages and logs: the URL without its password.
    [[nodiscard]] std::u16string Display() const;
};

/// How long a connection waits. Zero waits for ever.
struct TSqlTimeouts {
    using TTime = std::chrono::milliseconds;
    TTime Connect = std::chrono::seconds(10);   // servers: whole seconds, at least two
    TTime Lock = std::chrono::seconds(5);       // for what another connection holds
    TTime Statement = std::chrono::seconds(30); // servers: the work of one statement, its locks included
    /// Servers: for the network, and beyond Statement for an answer. Who is silent longer is given up,
    /// whatever has become of it.
    TTime Network = std::chrono::seconds(10);
    /// In place of Statement while the schema is prepared (TSchemaLock): indexes of large tables take longer.
    TTime Schema = std::chrono::minutes(5);
};

/// Words and facts that go into statements and checks of others.
struct TSqlWords {
    std::u16string_view Name;        // for people
    std::u16string_view Scheme;      // of its URLs
    std::u16string_view Kind;        // for scripts
    std::u16string_view UrlForm;     // with an example
    std::u16string_view LockRows;    // behind a SELECT in a transaction: keeps its rows from others
    std::u16string_view SkipLocked;  // the same, passing over rows that others keep
    std::u16string_view NumberedKey; // type of a key column that the database numbers
    std::u16string_view BigInteger;  // type of a column that refers to one
    int DecimalDigits;               // that a Decimal keeps exactly; 0: all
    bool AnyKindInAnyColumn;         // a column without a known type keeps numbers as numbers
    TSqlSyntax Syntax;
};

/// Offset of the first unit of a text that the databases cannot keep, with the reason.
struct TTextFault {
    std::size_t Offset;
    std::u16string_view Reason;
};

/// Without state; any thread. Lives to the end of the process.
class TSqlEngine {
public:
    TSqlEngine(const TSqlEngine&) = delete;
    TSqlEngine& operator=(const TSqlEngine&) = delete;

    [[nodiscard]] virtual const TSqlWords& Words() const = 0;

    /// What stands behind "://". @throws EDatabaseError without the password.
    [[nodiscard]] virtual TDatabaseUrl ParseUrl(std::u16string_view Rest,
                                                std::u16string_view BaseFolder) const = 0;
    [[nodiscard]] virtual std::u16string DisplayUrl(const TDatabaseUrl& Url) const = 0;

    [[nodiscard]] virtual std::optional<TTextFault> FindTextFault(std::u16string_view Text) const = 0;

    /// A table or view by the name that unquoted statements use; letter case of A to Z is ignored.
    [[nodiscard]] virtual bool TableExists(TDatabase& Database, std::u16string_view Table) const = 0;
    /// The tables and views of this name in any case of A to Z that statements reach without a schema, with
    /// all that the catalogue says, in one query.
    [[nodiscard]] virtual std::vector<TSqlTable> FindTables(TDatabase& Database,
                                                            std::u16string_view Name) const = 0;
    /// A scalar expression for a select list: TSqlTable::Stamp as it is now. It comes with the rows that are
    /// read anyway, so that a description of the table may be kept between statements.
    [[nodiscard]] virtual std::u16string TableStamp(const TSqlTable& Table) const = 0;

    /// The expressions that read a column for ReadCell, whatever a session's settings are.
    [[nodiscard]] virtual std::u16string CellExpressions(const TColumn& Column) const = 0;
    /// The cell of the `Index`-th column of those that CellExpressions were asked for, in order.
    [[nodiscard]] virtual TCell ReadCell(const TSelectQuery& Query, std::size_t Index,
                                         const TColumn& Column) const = 0;

    /// A condition, for a WHERE in a transaction: the column's cell is still this one. `Param` is bound to
    /// its value.
    [[nodiscard]] virtual std::u16string CellCondition(const TColumn& Column, const TCell& Cell,
                                                       std::u16string_view Param) const = 0;

    /// A connection, not open yet. @throws EDatabaseError when the driver is missing.
    [[nodiscard]] virtual std::unique_ptr<TSqlLink> NewLink(const TDatabaseUrl& Url) const = 0;

protected:
    TSqlEngine() = default;
    ~TSqlEngine() = default;
};

/// All that there are.
[[nodiscard]] std::span<const TSqlEngine* const> SqlEngines();

/// An identifier for a statement: in quotes, those inside doubled.
[[nodiscard]] std::u16string QuotedName(std::u16string_view Name);

} // namespace zutools::server
