// The database as the package sees it: select queries, statements, transactions. server/sql stands behind
// it.
//
// Parameters are named as written in the statement, `:Name`, without the colon here; names compare ignoring
// the case of A to Z. A name that is bound but not in the statement, or in it but not bound, is an error that
// names it. A database object and everything it hands out belong to the thread that asked for it. Calls block
// on the database.

#pragma once

#include "host/Exception.h"
#include "host/Variant.h"

#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace zutools {

/// A refused statement or a lost connection; the message names the statement and holds the database's own
/// text.
class EDatabaseError : public Exception {
public:
    using Exception::Exception;
};

/// Parameters common to both kinds of query. Setting one again replaces it; new SQL text forgets all of them.
class TQuery {
public:
    virtual ~TQuery() = default;
    virtual void SetSQL(std::u16string_view Statement) = 0;
    virtual void SetInteger(std::u16string_view Param, std::int64_t Value) = 0;
    virtual void SetFloat(std::u16string_view Param, double Value) = 0;
    virtual void SetString(std::u16string_view Param, std::u16string_view Value) = 0;
    /// Text of any length.
    virtual void SetLongText(std::u16string_view Param, std::u16string_view Value) = 0;
    virtual void SetNull(std::u16string_view Param) = 0;
};

/// Forward-only reading. Field names compare ignoring the case of A to Z; an unknown one raises
/// EDatabaseError.
class TSelectQuery : public TQuery {
public:
    virtual void Open() = 0;
    /// True while a row is there; the first call after Open gives the first row.
    [[nodiscard]] virtual bool Step() = 0;
    [[nodiscard]] virtual int FieldCount() const = 0;
    [[nodiscard]] virtual std::u16string FieldName(int Index) const = 0;
    /// 0-based index of a field, or -1.
    [[nodiscard]] virtual int FieldIndex(std::u16string_view Field) const = 0;
    /// The value in its own kind: null, vkInt64, vkFloat or vkString.
    [[nodiscard]] virtual TKXVariant FieldValue(int Index) const = 0;
    /// Null reads as "", 0 and 0.0.
    [[nodiscard]] virtual std::u16string FieldAsString(std::u16string_view Field) const = 0;
    [[nodiscard]] virtual int FieldAsInteger(std::u16string_view Field) const = 0;
    [[nodiscard]] virtual std::int64_t FieldAsInt64(std::u16string_view Field) const = 0;
    [[nodiscard]] virtual double FieldAsFloat(std::u16string_view Field) const = 0;
    [[nodiscard]] virtual bool FieldIsNull(std::u16string_view Field) const = 0;
    virtual void Close() = 0;
};

class TExecQuery : public TQuery {
public:
    virtual void Execute() = 0;
    /// Rows that the last Execute inserted, changed or deleted.
    [[nodiscard]] virtual int RowsAffected() const = 0;
};

/// One connection. The queries it hands out must die before it does.
class TDatabase {
public:
    virtual ~TDatabase() = default;
    [[nodiscard]] virtual bool TableExists(std::u16string_view Table) = 0;
    [[nodiscard]] virtual std::unique_ptr<TSelectQuery> CreateSelectQuery() = 0;
    [[nodiscard]] virtual std::unique_ptr<TExecQuery> CreateExecQuery() = 0;
    /// Transactions do not nest: starting a second one raises.
    virtual void StartTransaction() = 0;
    virtual void Commit() = 0;
    virtual void Rollback() = 0;
    /// Whether a transaction is open.
    [[nodiscard]] virtual bool InTransaction() const { return false; }
};

/// "The database of this thread". A connection belongs to one thread, so that whoever works with the database
/// on several holds this and asks anew at each use. Copies ask the same function.
class TDatabaseOfThread {
public:
    /// There is no database.
    TDatabaseOfThread() = default;
    /// From a function that gives the calling thread's connection, opening it at its first call; it gives
    /// null when there is no database.
    template <std::invocable TGet>
    // NOLINTNEXTLINE(google-explicit-constructor): a function serves
    TDatabaseOfThread(TGet Get)
        : FGet(std::move(Get)) {}

    /// The calling thread's connection; null when there is no database.
    /// @throws EDatabaseError when it cannot be opened.
    [[nodiscard]] TDatabase* Get() const { return FGet ? FGet() : nullptr; }

private:
    std::function<TDatabase*()> FGet;
};

/// A write that is whole or not at all: begins in the constructor and rolls back in the destructor unless
/// committed. The destructor never throws.
class TTransaction {
public:
    enum class TWithin {
        Nothing, // transactions do not nest: another that is open raises
        Any,     // in one that is open this is a part, a savepoint, and lasts when that one does
    };

    /// @throws EDatabaseError.
    explicit TTransaction(TDatabase& Database, TWithin Within = TWithin::Nothing);
    ~TTransaction();
    TTransaction(const TTransaction&) = delete;
    TTransaction& operator=(const TTransaction&) = delete;
    /// @throws EDatabaseError: nothing was written, unless the message says that this is unknown.
    void Commit();

private:
    TDatabase& FDatabase;
    const bool FPart;
    bool FDone = false;
};

} // namespace zutools
