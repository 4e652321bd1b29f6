#include "server/sql/Connection.h"

#include "server/sql/SqlText.h"

#include <QDir>
#include <QFileInfo>
#include <QSqlError>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <optional>

namespace zutools::server {

namespace {

constexpr int BusyTimeoutMs = 5000;
constexpr std::size_t MaxKept = 64;          // statements
constexpr qsizetype MaxKeptText = 32 * 1024; // UTF-16 units of one bound text

constexpr int MaxTries = 20; // of a statement whose tables change under it

constexpr std::u16string_view TransactionEnded = u"The transaction has ended, because of a lost connection "
                                                 u"or an earlier error; nothing is done until it is rolled "
                                                 u"back";

// SQLSTATE of a kept statement that the server no longer has, or whose tables changed.
constexpr std::array<QLatin1String, 2> StaleCodes{QLatin1String("26000"), QLatin1String("0A000")};

QString NewConnectionName() {
    static std::atomic<unsigned> Last{0};
    return QStringLiteral("zu%1").arg(++Last);
}

bool NeedsPrepare(const TScannedStatement& Scan) {
    return !Scan.Params.empty();
}

} // namespace

TSqlDatabase::TConnection::TConnection(TDatabaseUrl Url)
    : FUrl(std::move(Url))
    , FDisplayUrl(FUrl.Display()) {
    EnsureQtApplication();
    FName = NewConnectionName();
    const bool Sqlite = FUrl.Dialect == TSqlDialect::Sqlite;
    const QString Driver = Sqlite ? QStringLiteral("QSQLITE") : QStringLiteral("QPSQL");
    if (!QSqlDatabase::isDriverAvailable(Driver)) {
        throw EDatabaseError(u"Cannot open the database " + FDisplayUrl + u": the driver " + FromQt(Driver) +
                             u" of Qt is not installed");
    }
    FDatabase = QSqlDatabase::addDatabase(Driver, FName);
    try {
        Open();
    } catch (...) {
        FDatabase = QSqlDatabase();
        QSqlDatabase::removeDatabase(FName);
        throw;
    }
}

TSqlDatabase::TConnection::~TConnection() {
    FKeptByText.clear();
    FKept.clear();
    FDatabase.close(); // rolls back what is open
    FDatabase = QSqlDatabase();
    QSqlDatabase::removeDatabase(FName);
}

void TSqlDatabase::TConnection::Open() {
    if (FUrl.Dialect == TSqlDialect::Sqlite) {
        OpenSqlite();
    } else {
        OpenPostgres();
    }
    ++FGeneration;
    FLost = false;
}

void TSqlDatabase::TConnection::RefuseOpen(const QSqlError& Error) const {
    throw EDatabaseError(u"Cannot open the database " + FDisplayUrl + u": " + DatabaseText(Error));
}

void TSqlDatabase::TConnection::OpenSqlite() {
    if (FUrl.File != u":memory:") {
        const QFileInfo File(ToQt(FUrl.File));
        if (!File.absoluteDir().exists()) {
            throw EDatabaseError(u"Cannot open the database " + FDisplayUrl + u": there is no folder " +
                                 FromQt(File.absolutePath()) + u"; make it first");
        }
        if (File.isDir()) {
            throw EDatabaseError(u"Cannot open the database " + FDisplayUrl +
                                 u": it is a folder, not a file");
        }
    }
    FDatabase.setDatabaseName(ToQt(FUrl.File));
    FDatabase.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(BusyTimeoutMs));
    if (!FDatabase.open()) RefuseOpen(FDatabase.lastError());
    QSqlError Error;
    if (!Simple(QStringLiteral("PRAGMA foreign_keys = ON"), &Error)) RefuseOpen(Error);
    UseWriteAheadLog();
}

void TSqlDatabase::TConnection::UseWriteAheadLog() {
    // The busy time-out does not cover this switch, and two processes may make the file at once.
    const auto Deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(BusyTimeoutMs);
    for (;;) {
        QSqlQuery Query = NewQuery();
        if (Query.exec(QStringLiteral("PRAGMA journal_mode")) && Query.next() &&
            Query.value(0).toString() != QLatin1String("delete")) {
            return; // it is "wal" already, or "memory"
        }
        if (Query.exec(QStringLiteral("PRAGMA journal_mode = WAL"))) return;
        const QSqlError Error = Query.lastError();
        const int Code = Error.nativeErrorCode().toInt() & 0xFF;
        constexpr int Busy = 5;
        if (Code != Busy || std::chrono::steady_clock::now() > Deadline) RefuseOpen(Error);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

void TSqlDatabase::TConnection::OpenPostgres() {
    FDatabase.setHostName(ToQt(FUrl.Host));
    FDatabase.setPort(FUrl.Port == 0 ? -1 : FUrl.Port);
    FDatabase.setDatabaseName(ToQt(FUrl.Name));
    FDatabase.setUserName(ToQt(FUrl.User));
    FDatabase.setPassword(ToQt(FUrl.Password));
    QString Options = QStringLiteral("connect_timeout=10;application_name=ZuTools");
    if (!FUrl.SslMode.empty()) Options += QStringLiteral(";sslmode=") + ToQt(FUrl.SslMode);
    FDatabase.setConnectOptions(Options);
    if (!FDatabase.open()) RefuseOpen(FDatabase.lastError());
    // Our reading of literals is the standard's; notices would go to standard error.
    QSqlError Error;
    if (!Simple(QStringLiteral("SET standard_conforming_strings = on; SET client_min_messages = error"),
                &Error)) {
        FDatabase.close();
        RefuseOpen(Error);
    }
}

QSqlQuery TSqlDatabase::TConnection::NewQuery() const {
    QSqlQuery Query(FDatabase);
    // SQLite: rows come one by one and are not kept. PostgreSQL: reading row by row would lose the rest of an
    // open result at the next statement, so a result arrives whole.
    Query.setForwardOnly(FUrl.Dialect == TSqlDialect::Sqlite);
    Query.setNumericalPrecisionPolicy(QSql::HighPrecision);
    return Query;
}

bool TSqlDatabase::TConnection::Simple(const QString& Statement, QSqlError* Error) {
    QSqlQuery Query = NewQuery();
    const bool Done = Query.exec(Statement);
    if (!Done && Error != nullptr) *Error = Query.lastError();
    return Done;
}

void TSqlDatabase::TConnection::Require(const QString& Statement) {
    QSqlError Error;
    if (!Simple(Statement, &Error)) throw Failure(Error, FromQt(Statement));
}

void TSqlDatabase::TConnection::CheckThread() const {
    if (std::this_thread::get_id() != FThread) {
        throw EDatabaseError(u"The database connection belongs to another thread");
    }
}

void TSqlDatabase::TConnection::MakeReady() {
    CheckThread();
    if (FTransaction == TTransactionState::Ended) throw EDatabaseError(std::u16string(TransactionEnded));
    if (!FDatabase.isOpen() && !FLost) { // noticed by the driver first
        FLost = true;
        ++FGeneration;
    }
    if (!FLost) return;
    if (FTransaction == TTransactionState::Open) {
        FTransaction = TTransactionState::Ended;
        throw EDatabaseError(std::u16string(TransactionEnded));
    }
    Reconnect();
}

void TSqlDatabase::TConnection::Reconnect() {
    FKeptByText.clear();
    FKept.clear();
    FDatabase.close();
    Open();
}

EDatabaseError TSqlDatabase::TConnection::Failure(const QSqlError& Error, std::u16string_view Statement) {
    std::u16string Text = DatabaseText(Error);
    if (FUrl.Dialect == TSqlDialect::Postgres) {
        if (!FDatabase.isOpen()) {
            FLost = true;
            ++FGeneration;
            if (FTransaction == TTransactionState::Open) FTransaction = TTransactionState::Ended;
            Text = u"The connection to the database " + FDisplayUrl + u" is lost: " + Text;
        }
    } else if (FTransaction == TTransactionState::Open && Simple(QStringLiteral("BEGIN"))) {
        // Some errors (a full disk, OR ROLLBACK) end the transaction by themselves, which shows only like
        // this.
        (void)Simple(QStringLiteral("ROLLBACK"));
        FTransaction = TTransactionState::Ended;
    }
    if (!Statement.empty()) Text += u". Statement: " + ShownStatement(Statement);
    return EDatabaseError(std::move(Text));
}

void TSqlDatabase::TConnection::StartTransaction() {
    CheckThread();
    if (InTransaction()) throw EDatabaseError(u"A transaction is open already; transactions do not nest");
    MakeReady();
    if (FUrl.Dialect == TSqlDialect::Sqlite) {
        Require(QStringLiteral("BEGIN IMMEDIATE"));
    } else if (!Simple(QStringLiteral("BEGIN"))) {
        // Nothing was done yet, so a connection that broke while it idled may be replaced at once.
        if (!FDatabase.isOpen()) Reconnect();
        Require(QStringLiteral("BEGIN"));
    }
    FTransaction = TTransactionState::Open;
}

void TSqlDatabase::TConnection::Commit() {
    CheckThread();
    if (!InTransaction()) throw EDatabaseError(u"There is no transaction to commit");
    MakeReady();
    if (FUrl.Dialect == TSqlDialect::Sqlite) {
        QSqlError Error;
        if (!Simple(QStringLiteral("COMMIT"), &Error)) {
            (void)Simple(QStringLiteral("ROLLBACK"));
            FTransaction = TTransactionState::Ended;
            throw Failure(Error, u"COMMIT");
        }
    } else if (!FDatabase.commit()) {
        // The driver tells also when the server answered ROLLBACK, because a statement had failed before.
        const bool Lost = !FDatabase.isOpen();
        const EDatabaseError Error = Failure(FDatabase.lastError(), u"COMMIT");
        FTransaction = TTransactionState::Ended;
        if (Lost) throw EDatabaseError(Error.Message() + u". Whether the transaction took effect is unknown");
        throw Error;
    }
    FTransaction = TTransactionState::None;
}

void TSqlDatabase::TConnection::Rollback() {
    CheckThread();
    if (!InTransaction()) throw EDatabaseError(u"There is no transaction to roll back");
    const bool Ended = FTransaction == TTransactionState::Ended || FLost || !FDatabase.isOpen();
    FTransaction = TTransactionState::None;
    if (!Ended) Require(QStringLiteral("ROLLBACK"));
}

std::unique_ptr<TPrepared> TSqlDatabase::TConnection::Take(std::u16string_view Statement) {
    if (const auto Found = FKeptByText.find(Statement); Found != FKeptByText.end()) {
        auto Kept = std::move(*Found->second);
        FKept.erase(Found->second);
        FKeptByText.erase(Found);
        return Kept;
    }
    const auto Refuse = [&](std::u16string Why) {
        throw EDatabaseError(Why + u". Statement: " + ShownStatement(Statement));
    };
    if (Statement.find(u'\0') != Statement.npos) Refuse(u"The statement holds U+0000");
    if (const auto Fault = FindTextFault(Statement, FUrl.Dialect)) {
        Refuse(std::u16string(u"The statement holds ").append(Fault->Reason));
    }
    auto New = std::make_unique<TPrepared>();
    New->Text = Statement;
    New->Scan = ScanStatement(New->Text, FUrl.Dialect);
    if (New->Scan.ControlsTransaction)
        Refuse(u"Transactions are started and ended by calls, not by statements");
    if (!New->Scan.ForeignPlaceholder.empty()) {
        Refuse(std::u16string(u"The placeholder ").append(New->Scan.ForeignPlaceholder) +
               u" is not supported; parameters are written :Name");
    }
    // On SQLite the driver refuses it, and knows the body of a trigger.
    if (FUrl.Dialect == TSqlDialect::Postgres && New->Scan.SecondStatement != TScannedStatement::None) {
        Refuse(u"Only one statement can be run at a time");
    }
    New->Rewritten = ToQt(RewriteStatement(New->Text, New->Scan, FUrl.Dialect));
    New->Query = NewQuery();
    New->Generation = FGeneration;
    return New;
}

void TSqlDatabase::TConnection::Return(std::unique_ptr<TPrepared> Statement) noexcept {
    try {
        const bool Sqlite = FUrl.Dialect == TSqlDialect::Sqlite;
        if (Sqlite) {
            Statement->Query.finish();
        } else {
            Statement->Query = NewQuery(); // the driver frees a result with its query only
        }
        const bool Worth =
            Sqlite ? Statement->OnDriver && !Statement->Scan.AllColumns : !Statement->ServerName.isEmpty();
        if (!Worth || Statement->HoldsLongText || Statement->Generation != FGeneration)
            return Forget(*Statement);
        FKept.push_front(std::move(Statement));
        FKeptByText.emplace(FKept.front()->Text, FKept.begin());
        if (FKept.size() <= MaxKept) return;
        const auto [First, Last] = FKeptByText.equal_range(FKept.back()->Text);
        FKeptByText.erase(
            std::find_if(First, Last, [&](const auto& Entry) { return &*Entry.second == &FKept.back(); }));
        Forget(*FKept.back());
        FKept.pop_back();
    } catch (const std::exception&) {
        // Out of memory: then it is not kept.
    }
}

void TSqlDatabase::TConnection::Forget(TPrepared& Statement) noexcept {
    if (Statement.ServerName.isEmpty() || Statement.Generation != FGeneration || FLost) return;
    // In a failed transaction the server refuses even this; the name is then held until the connection ends.
    (void)Simple(QStringLiteral("DEALLOCATE ") + Statement.ServerName);
    Statement.ServerName.clear();
}

void TSqlDatabase::TConnection::Run(TPrepared& Statement, std::span<const QVariant> Values) {
    MakeReady();
    if (Statement.Generation != FGeneration) { // taken before the connection was lost
        Statement.Query = NewQuery();
        Statement.ServerName.clear();
        Statement.OnDriver = false;
        Statement.Generation = FGeneration;
    }
    Statement.HoldsLongText = std::any_of(Values.begin(), Values.end(), [](const QVariant& Value) {
        return Value.typeId() == QMetaType::QString && Value.toString().size() > MaxKeptText;
    });
    if (FUrl.Dialect == TSqlDialect::Sqlite) {
        RunSqlite(Statement, Values);
    } else {
        RunPostgres(Statement, Values);
    }
}

/// Keeps other connections from changing the tables for a scope, and makes this one notice what they changed
/// before.
class TSqlDatabase::TConnection::TFixedSchema {
public:
    TFixedSchema(TConnection& Connection, const TPrepared& Statement)
        : FConnection(Connection) {
        if (FConnection.FTransaction == TTransactionState::None) {
            FConnection.Require(QStringLiteral("BEGIN"));
            FOwn = true;
        }
        if (FConnection.Simple(QStringLiteral("SELECT 1 FROM sqlite_master LIMIT 1"))) return;
        End();
        throw EDatabaseError(u"The tables cannot be read. Statement: " + ShownStatement(Statement.Text));
    }
    ~TFixedSchema() { End(); }
    TFixedSchema(const TFixedSchema&) = delete;
    TFixedSchema& operator=(const TFixedSchema&) = delete;

private:
    /// A statement that is still being read holds its own view on.
    void End() {
        if (FOwn) (void)FConnection.Simple(QStringLiteral("COMMIT"));
        FOwn = false;
    }

    TConnection& FConnection;
    bool FOwn = false;
};

void TSqlDatabase::TConnection::RunSqlite(TPrepared& Statement, std::span<const QVariant> Values) {
    QSqlQuery& Query = Statement.Query;
    std::optional<TFixedSchema> FixedSchema;
    if (Statement.Scan.AllColumns) {
        // Qt makes room for as many columns as the statement had when it was prepared, and writes behind it
        // when a table has got more before the first row is read. So such a statement is prepared anew each
        // time, while nobody can change the tables.
        if (Statement.Scan.ChangesRows && FTransaction == TTransactionState::None) {
            throw EDatabaseError(
                u"RETURNING * needs a transaction on SQLite; or name the columns. Statement: " +
                ShownStatement(Statement.Text));
        }
        FixedSchema.emplace(*this, Statement);
        Query = NewQuery();
        Statement.OnDriver = false;
    }
    if (!Statement.OnDriver) {
        if (!Query.prepare(Statement.Rewritten)) throw Failure(Query.lastError(), Statement.Text);
        Statement.OnDriver = true;
    }
    int Place = 0;
    for (const TStatementParam& Param : Statement.Scan.Params) Query.bindValue(Place++, Values[Param.Name]);
    if (!Query.exec()) throw Failure(Query.lastError(), Statement.Text);
}

void TSqlDatabase::TConnection::RunPostgres(TPrepared& Statement, std::span<const QVariant> Values) {
    // Inside a transaction a stale plan would cost the whole transaction; a new one locks its tables.
    if (Statement.Scan.AllColumns && FTransaction == TTransactionState::Open) Forget(Statement);
    for (int Try = 1;; ++Try) {
        const QSqlError Error = ExecutePostgres(Statement, Values);
        if (!Error.isValid()) return;
        // The server refused it before anything was done: its tables changed, perhaps again, or it was
        // deallocated.
        const bool Stale =
            !Statement.ServerName.isEmpty() &&
            std::find(StaleCodes.begin(), StaleCodes.end(), Error.nativeErrorCode()) != StaleCodes.end();
        if (!Stale) throw Failure(Error, Statement.Text);
        if (FTransaction == TTransactionState::None) Forget(Statement);
        Statement.ServerName.clear();
        if (FTransaction == TTransactionState::Open || Try == MaxTries) throw Failure(Error, Statement.Text);
    }
}

QSqlError TSqlDatabase::TConnection::ExecutePostgres(TPrepared& Statement, std::span<const QVariant> Values) {
    // Qt's own preparing would take "?" operators and quotes inside comments for placeholders and literals.
    QSqlQuery& Query = Statement.Query;
    if (!NeedsPrepare(Statement.Scan)) {
        return Query.exec(Statement.Rewritten) ? QSqlError() : Query.lastError();
    }
    if (Statement.ServerName.isEmpty()) {
        const QString Name = QStringLiteral("zu%1").arg(++FLastServerName);
        if (!Query.exec(QStringLiteral("PREPARE ") + Name + QStringLiteral(" AS ") + Statement.Rewritten)) {
            return Query.lastError();
        }
        Statement.ServerName = Name;
    }
    QString Execute = QStringLiteral("EXECUTE ") + Statement.ServerName;
    for (std::size_t Index = 0; Index < Values.size(); ++Index) {
        Execute += QLatin1Char(Index == 0 ? '(' : ',');
        Execute += PostgresLiteral(Values[Index]);
    }
    Execute += QLatin1Char(')');
    return Query.exec(Execute) ? QSqlError() : Query.lastError();
}

} // namespace zutools::server
