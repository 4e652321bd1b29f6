// The inside of a connection: what an engine does for server/sql/Connection.cpp. One thread. Every refusal is
// an EDatabaseError with the database's own text in one line; Connection.cpp adds the rest.

#pragma once

#include "server/sql/SqlEngine.h"

#include <cstdint>

namespace zutools::server {

/// A statement on its link, run any number of times.
class TSqlStatement {
public:
    TSqlStatement() = default;
    virtual ~TSqlStatement() = default;
    TSqlStatement(const TSqlStatement&) = delete;
    TSqlStatement& operator=(const TSqlStatement&) = delete;

    /// `Values` has one for each of the scan's names: null, vkInt64, vkFloat or vkString.
    virtual void Run(std::span<const TKXVariant> Values) = 0;
    /// True while a row is there.
    [[nodiscard]] virtual bool Step() = 0;
    /// Ends reading; nothing of the result is kept. Never raises.
    virtual void Finish() noexcept = 0;
    /// Whether running it once more is cheaper than making it once more.
    [[nodiscard]] virtual bool IsWorthKeeping() const = 0;

    [[nodiscard]] virtual std::vector<std::u16string> ColumnNames() const = 0;
    /// Of the row that Step reached. `Name` is for the message.
    [[nodiscard]] virtual TKXVariant Value(int Column, std::u16string_view Name) const = 0;
    [[nodiscard]] virtual int RowsAffected() const = 0;
};

enum class TLoss {
    None,
    Broken,
    Silent, // given up, because the other side did not answer in time
};

class TSqlLink {
public:
    TSqlLink() = default;
    virtual ~TSqlLink() = default;
    TSqlLink(const TSqlLink&) = delete;
    TSqlLink& operator=(const TSqlLink&) = delete;

    /// How often the database was asked and its answer waited for.
    [[nodiscard]] std::uint64_t RoundTrips() const { return FRoundTrips; }

    virtual void Open(const TSqlTimeouts& Timeouts) = 0;
    /// Rolls back what is open. May be opened again.
    virtual void Close() noexcept = 0;
    /// What became of it since it was opened; when lost, everything raises until Close and Open.
    [[nodiscard]] virtual TLoss Loss() const = 0;
    virtual void SetTimeouts(const TSqlTimeouts& Timeouts) = 0;

    virtual void Begin() = 0;
    /// A refusal ends the transaction.
    virtual void Commit() = 0;
    virtual void Rollback() = 0;
    /// After an error: whether the database ended the transaction by itself.
    [[nodiscard]] virtual bool TransactionEnded() = 0;

    /// `Text` and `Scan` outlive the statement.
    [[nodiscard]] virtual std::unique_ptr<TSqlStatement> Prepare(std::u16string_view Text,
                                                                 const TScannedStatement& Scan) = 0;

    /// The lock of TSchemaLock, kept until UnlockSchema or Close. False when others keep it longer than
    /// `Wait`.
    [[nodiscard]] virtual bool LockSchema(std::chrono::milliseconds Wait) = 0;
    virtual void UnlockSchema() noexcept = 0;

protected:
    std::uint64_t FRoundTrips = 0;
};

} // namespace zutools::server
