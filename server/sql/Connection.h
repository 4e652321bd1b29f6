// The connection behind TSqlDatabase: opening, prepared statements, transactions, loss and reconnection. One
// thread.

#pragma once

#include "server/sql/SqlDatabase.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariant>

#include <list>
#include <span>
#include <unordered_map>
#include <vector>

namespace zutools::server {

/// A statement that is ready to run, with what the driver keeps for it.
struct TPrepared {
    std::u16string Text; // the caller's; Scan looks into it
    TScannedStatement Scan;
    QString Rewritten;
    QSqlQuery Query;
    QString ServerName;         // PostgreSQL: of the statement prepared there; empty before
    unsigned Generation = 0;    // of the connection that it was prepared on
    bool OnDriver = false;      // SQLite: Query is prepared
    bool HoldsLongText = false; // not worth keeping
};

class TSqlDatabase::TConnection {
public:
    explicit TConnection(TDatabaseUrl Url);
    ~TConnection();
    TConnection(const TConnection&) = delete;
    TConnection& operator=(const TConnection&) = delete;

    [[nodiscard]] TSqlDialect Dialect() const { return FUrl.Dialect; }
    [[nodiscard]] const std::u16string& DisplayUrl() const { return FDisplayUrl; }
    [[nodiscard]] bool InTransaction() const { return FTransaction != TTransactionState::None; }

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
    void Run(TPrepared& Statement, std::span<const QVariant> Values);

    /// Counts the connections made; a result of an older one is gone.
    [[nodiscard]] unsigned Generation() const { return FGeneration; }
    /// Use on another thread raises.
    void CheckThread() const;
    /// The driver's refusal as our error; notices a lost connection and an ended transaction.
    [[nodiscard]] EDatabaseError Failure(const QSqlError& Error, std::u16string_view Statement);

private:
    enum class TTransactionState {
        None,
        Open,
        Ended, // by a loss, or by the database itself: everything raises until Rollback
    };

    void Open();
    void OpenSqlite();
    void OpenPostgres();
    void UseWriteAheadLog();
    void Reconnect();
    /// Before anything goes to the database.
    void MakeReady();
    [[nodiscard]] bool Simple(const QString& Statement, QSqlError* Error = nullptr);
    void Require(const QString& Statement);
    class TFixedSchema;
    void RunSqlite(TPrepared& Statement, std::span<const QVariant> Values);
    void RunPostgres(TPrepared& Statement, std::span<const QVariant> Values);
    [[nodiscard]] QSqlError ExecutePostgres(TPrepared& Statement, std::span<const QVariant> Values);
    void Forget(TPrepared& Statement) noexcept;
    [[noreturn]] void RefuseOpen(const QSqlError& Error) const;
    [[nodiscard]] QSqlQuery NewQuery() const;

    const TDatabaseUrl FUrl;
    const std::u16string FDisplayUrl;
    const std::thread::id FThread = std::this_thread::get_id();
    QString FName; // of the driver's connection
    QSqlDatabase FDatabase;
    unsigned FGeneration = 0;
    bool FLost = false;
    TTransactionState FTransaction = TTransactionState::None;
    unsigned FLastServerName = 0;

    // Statements that nobody uses now, the latest returned first.
    using TKept = std::list<std::unique_ptr<TPrepared>>;
    TKept FKept;
    std::unordered_multimap<std::u16string_view, TKept::iterator>
        FKeptByText; // keys look into TPrepared::Text
};

} // namespace zutools::server
