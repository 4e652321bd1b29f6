// The connection behind TSqlDatabase: kept statements, transactions, loss and reconnection, on the link of
// its engine. One thread.

#pragma once

#include "server/sql/SqlDatabase.h"
#include "server/sql/SqlLink.h"

#include <list>
#include <span>
#include <unordered_map>
#include <vector>

namespace zutools::server {

/// A statement that is ready to run.
struct TPrepared {
    std::u16string Text; // the caller's; Scan looks into it
    TScannedStatement Scan;
    unsigned Generation = 0; // of the connection that it was prepared on
    std::unique_ptr<TSqlStatement> Statement;
};

class TSqlDatabase::TConnection {
public:
    TConnection(TDatabaseUrl Url, const TSqlTimeouts& Timeouts);
    ~TConnection();
    TConnection(const TConnection&) = delete;
    TConnection& operator=(const TConnection&) = delete;

    [[nodiscard]] std::uint64_t RoundTrips() const { return FLink->RoundTrips(); }
    [[nodiscard]] const TSqlEngine& Engine() const { return *FUrl.Engine; }
    [[nodiscard]] const std::u16string& DisplayUrl() const { return FDisplayUrl; }
    [[nodiscard]] bool InTransaction() const { return FTransaction != TTransactionState::None; }
    [[nodiscard]] const TSqlTimeouts& Timeouts() const { return FTimeouts; }
    void SetTimeouts(const TSqlTimeouts& Timeouts);

    void StartTransaction();
    void Commit();
    void Rollback();

    /// A statement for the caller's use until Return: a kept one, or a new one.
    /// @throws EDatabaseError for statements that are refused as they stand.
    [[nodiscard]] std::unique_ptr<TPrepared> Take(std::u16string_view Statement);
    /// Ends reading and keeps the statement for the next Take. Never raises.
    void Return(std::unique_ptr<TPrepared> Statement) noexcept;

    /// Runs it; `Values` has one for each of Scan.Names. Connects anew when the connection was lost before.
    /// @throws EDatabaseError.
    void Run(TPrepared& Statement, std::span<const TKXVariant> Values);
    /// @throws EDatabaseError.
    [[nodiscard]] bool Step(TPrepared& Statement);

    [[nodiscard]] bool LockSchema(std::chrono::milliseconds Wait);
    void UnlockSchema() noexcept { FLink->UnlockSchema(); }

    /// Counts the connections made; a result of an older one is gone.
    [[nodiscard]] unsigned Generation() const { return FGeneration; }
    /// Use on another thread raises.
    void CheckThread() const;

private:
    enum class TTransactionState {
        None,
        Begun, // nothing was done in it
        Open,
        Ended, // by a loss, or by the database itself: everything raises until Rollback
    };

    void Open();
    void Reconnect();
    /// Before anything goes to the database.
    void MakeReady();
    void NoteLoss();
    void RunOnce(TPrepared& Statement, std::span<const TKXVariant> Values);
    /// The link's refusal as the caller's error; notices a lost connection and an ended transaction.
    [[nodiscard]] EDatabaseError Failure(const EDatabaseError& Error, std::u16string_view Statement);

    const TDatabaseUrl FUrl;
    const std::u16string FDisplayUrl;
    TSqlTimeouts FTimeouts;
    const std::thread::id FThread = std::this_thread::get_id();
    std::unique_ptr<TSqlLink> FLink;
    unsigned FGeneration = 0;
    bool FLost = false; // and noted
    TTransactionState FTransaction = TTransactionState::None;

    // Statements that nobody uses now, the latest returned first.
    using TKept = std::list<std::unique_ptr<TPrepared>>;
    TKept FKept;
    std::unordered_multimap<std::u16string_view, TKept::iterator>
        FKeptByText; // keys look into TPrepared::Text
};

} // namespace zutools::server
