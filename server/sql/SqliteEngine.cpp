// SQLite: a file, through Qt's driver.

#include "host/DatabaseFault.h"
#include "host/WorkClock.h"
#include "platform/File.h"
#include "platform/Text.h"
#include "server/sql/Engine.h"
#include "server/sql/SqlDatabase.h"
#include "server/sql/SqlLink.h"
#include "server/sql/SqlText.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QSqlDatabase>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlField>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QVariant>

#include <sqlite3.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <thread>

namespace zutools::server {

namespace {

using TMilliseconds = std::chrono::milliseconds;

constexpr qsizetype MaxKeptText = 32 * 1024; // UTF-16 units of one bound text
constexpr std::u16string_view InMemory = u":memory:";

constexpr TSqlWords Sqlite{
    .Name = u"SQLite",
    .Scheme = u"sqlite3",
    .Kind = u"sqlite",
    .UrlForm = u"sqlite3://FILE, for example sqlite3://data/orders.db",
    .LockRows = u"", // a transaction is the only writer from its start
    .SkipLocked = u"",
    .NumberedKey = u"INTEGER NOT NULL PRIMARY KEY",
    .BigInteger = u"INTEGER",
    .DecimalDigits = 15,
    .AnyKindInAnyColumn = true,
    .Syntax = {.MoreQuotes = true},
};

QVariant ToVariant(const TKXVariant& Value) {
    switch (Value.Kind()) {
    case TVariantKind::vkNull:
        return {};
    case TVariantKind::vkFloat:
        return Value.AsFloat();
    case TVariantKind::vkString: {
        // It takes U+FEFF in front for a byte-order mark and drops it, and U+FFFE for a reason to swap the
        // bytes of all that follows (refused by FindTextFault); it looks at one unit only.
        const std::u16string_view Text = Value.StringView();
        return Text.starts_with(u'\xFEFF') ? ToQt(u"\xFEFF") + ToQt(Text) : ToQt(Text);
    }
    default:
        return static_cast<qlonglong>(Value.AsInt64());
    }
}

/// It takes any word for a type; these parts of it decide, the first that is found.
TFieldKind KindOfType(std::u16string_view Declared) {
    static constexpr std::pair<std::u16string_view, TFieldKind> Parts[] = {
        {u"int", TFieldKind::Integer},       {u"char", TFieldKind::Text},
        {u"clob", TFieldKind::Text},         {u"text", TFieldKind::Text},
        {u"blob", TFieldKind::Blob},         {u"real", TFieldKind::Float},
        {u"floa", TFieldKind::Float},        {u"doub", TFieldKind::Float},
        {u"bool", TFieldKind::Boolean},      {u"timestamp", TFieldKind::DateTime},
        {u"datetime", TFieldKind::DateTime}, {u"date", TFieldKind::Date},
        {u"time", TFieldKind::Time},         {u"dec", TFieldKind::Decimal},
        {u"num", TFieldKind::Decimal},
    };
    const std::u16string Type = FoldSqlName(Declared);
    for (const auto& [Part, Kind] : Parts) {
        if (Type.find(Part) != Type.npos) return Kind;
    }
    return TFieldKind::Other;
}

/// Bytes for a comparison: a few as they are, many by their number alone, since it has no hash and would have
/// to read them all.
std::u16string BytesExpression(const std::u16string& Name) {
    constexpr std::u16string_view Few = u"16384";
    return u"CASE WHEN length(" + Name + u") <= " + std::u16string(Few) + u" THEN length(" + Name +
           u") || ':' || hex(" + Name + u") ELSE CAST(length(" + Name + u") AS TEXT) END";
}

std::u16string_view StorageOf(const TCell& Cell) {
    if (Cell.Binary) return u"blob";
    switch (Cell.Value.Kind()) {
    case TVariantKind::vkNull:
        return u"null";
    case TVariantKind::vkInt64:
        return u"integer";
    case TVariantKind::vkFloat:
        return u"real";
    default:
        return u"text";
    }
}

class TSqliteLink final : public TSqlLink {
public:
    TSqliteLink(std::u16string File, bool Confined)
        : FFile(std::move(File))
        , FConfined(Confined) {
        EnsureQtApplication();
        const QString Driver = QStringLiteral("QSQLITE");
        if (!QSqlDatabase::isDriverAvailable(Driver)) {
            throw EDatabaseError(u"the driver " + FromQt(Driver) + u" of Qt is not installed");
        }
        static std::atomic<unsigned> Last{0};
        FName = QStringLiteral("zu%1").arg(++Last);
        FDatabase = QSqlDatabase::addDatabase(Driver, FName);
    }
    ~TSqliteLink() override {
        FDatabase.close();
        FDatabase = QSqlDatabase();
        QSqlDatabase::removeDatabase(FName);
    }

    void Open(const TSqlTimeouts& Timeouts) override {
        if (FFile != InMemory) RequireFile();
        FTimeouts = Timeouts;
        FDatabase.setDatabaseName(ToQt(FFile));
        FDatabase.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(BusyTime()));
        if (!FDatabase.open()) throw Refusal(FDatabase.lastError());
        Require(QStringLiteral("PRAGMA foreign_keys = ON"));
        UseWriteAheadLog();
        FRaw = RawConnection();
        if (FRaw != nullptr) sqlite3_progress_handler(FRaw, StepsBetweenLooks, MustEnd, nullptr);
        if (FConfined) Confine();
    }

    void Close() noexcept override {
        FInTransaction = FBeginWaits = false;
        FSchemaLock.reset();
        FRaw = nullptr;
        FDatabase.close();
    }

    TLoss Loss() const override { return TLoss::None; }

    void SetTimeouts(const TSqlTimeouts& Timeouts) override {
        FTimeouts = Timeouts;
        Require(QStringLiteral("PRAGMA busy_timeout = %1").arg(BusyTime()));
    }

    void Begin() override { FBeginWaits = true; }

    /// In the same turn as the first statement of a transaction: who begins and does nothing keeps nobody
    /// else from writing.
    void BeginIfWaiting() {
        if (!FBeginWaits) return;
        QSqlQuery Query = NewQuery();
        if (!Query.exec(QStringLiteral("BEGIN IMMEDIATE"))) throw Refusal(Query.lastError());
        FBeginWaits = false;
        FInTransaction = true;
    }

    void Commit() override {
        if (std::exchange(FBeginWaits, false)) return; // nothing was done
        FInTransaction = false;
        CountRoundTrip();
        QSqlQuery Query = NewQuery();
        if (Query.exec(QStringLiteral("COMMIT"))) return;
        const EDatabaseError Error = Refusal(Query.lastError());
        (void)Query.exec(QStringLiteral("ROLLBACK"));
        throw Error;
    }

    void Rollback() override {
        if (std::exchange(FBeginWaits, false)) return;
        FInTransaction = false;
        Require(QStringLiteral("ROLLBACK"));
    }

    bool TransactionEnded() override {
        // Some errors (a full disk, OR ROLLBACK) end the transaction by themselves, which shows only like
        // this.
        if (!FInTransaction || !NewQuery().exec(QStringLiteral("BEGIN"))) return false;
        (void)NewQuery().exec(QStringLiteral("ROLLBACK"));
        FInTransaction = false;
        return true;
    }

    std::unique_ptr<TSqlStatement> Prepare(std::u16string_view Text, const TScannedStatement& Scan) override;

    bool LockSchema(TMilliseconds Wait) override {
        if (FFile == InMemory) return true;
        const auto Deadline = std::chrono::steady_clock::now() + Wait;
        auto Lock = std::make_unique<QLockFile>(ToQt(FFile) + QStringLiteral("-setup.lock"));
        Lock->setStaleLockTime(0); // only that of a process that is gone
        while (!Lock->tryLock(0)) {
            if (Lock->error() != QLockFile::LockFailedError) {
                throw EDatabaseError(u"The file " + FromQt(Lock->fileName()) +
                                     u" cannot be written; give the host the right to write in its folder");
            }
            if (std::chrono::steady_clock::now() > Deadline) return false;
            std::this_thread::sleep_for(TMilliseconds(10));
        }
        FSchemaLock = std::move(Lock);
        return true;
    }

    void UnlockSchema() noexcept override { FSchemaLock.reset(); }

    [[nodiscard]] bool InTransaction() const { return FInTransaction; }
    void CountRoundTrip() { ++FRoundTrips; }

    [[nodiscard]] QSqlQuery NewQuery() const {
        QSqlQuery Query(FDatabase);
        Query.setForwardOnly(true); // rows come one by one and are not kept
        Query.setNumericalPrecisionPolicy(QSql::HighPrecision);
        return Query;
    }

    [[nodiscard]] EDatabaseError Refusal(const QSqlError& Error) const {
        std::u16string Text = FromQt(Error.databaseText());
        // The driver's own refusals leave the database's text empty or as its text for success.
        if (Text.find_first_not_of(u" \n") == Text.npos || Text == u"not an error")
            Text = FromQt(Error.driverText());
        Text = InOneLine(std::move(Text));
        NoteFault(Error.nativeErrorCode().toInt(), Text);
        if (Error.nativeErrorCode().toInt() == SQLITE_AUTH) {
            Text += u": statements of a service reach its own database only (no ATTACH, no VACUUM, no PRAGMA "
                    u"that sets something)";
        }
        if (Error.nativeErrorCode().toInt() == SQLITE_INTERRUPT) Text += u": the time of its page is over";
        if (IsBusy(Error)) {
            Text += u": another connection writes, for longer than the lock time-out of " +
                    SecondsText(FTimeouts.Lock.count()) + u"; try again when it has ended";
        }
        return EDatabaseError(std::move(Text));
    }

private:
    /// Extended codes; the text of those for columns ends in "TABLE.COLUMN, TABLE.COLUMN".
    static void NoteFault(int Code, std::u16string_view Text) {
        TDatabaseFault Fault;
        switch (Code) {
        case SQLITE_CONSTRAINT_UNIQUE:
        case SQLITE_CONSTRAINT_PRIMARYKEY:
            Fault.Kind = TDatabaseFaultKind::Unique;
            break;
        case SQLITE_CONSTRAINT_NOTNULL:
            Fault.Kind = TDatabaseFaultKind::Required;
            break;
        case SQLITE_CONSTRAINT_FOREIGNKEY:
            return NoteDatabaseFault({TDatabaseFaultKind::Reference, {}, {}});
        case SQLITE_CONSTRAINT_CHECK:
            return NoteDatabaseFault({TDatabaseFaultKind::Check, {}, {}});
        default:
            if ((Code & 0xFF) == SQLITE_BUSY) NoteDatabaseFault({TDatabaseFaultKind::Busy, {}, {}});
            return;
        }
        const std::size_t Start = Text.find(u": ");
        if (Start != Text.npos) {
            const std::u16string_view Name = Text.substr(Start + 2, Text.find(u',', Start) - Start - 2);
            const std::size_t Dot = std::min(Name.find(u'.'), Name.size());
            Fault.Table = Name.substr(0, Dot);
            if (Dot < Name.size()) Fault.Column = Name.substr(Dot + 1);
        }
        NoteDatabaseFault(std::move(Fault));
    }

    [[nodiscard]] static bool IsBusy(const QSqlError& Error) {
        constexpr int Busy = 5;
        return (Error.nativeErrorCode().toInt() & 0xFF) == Busy;
    }

    [[nodiscard]] int BusyTime() const {
        constexpr int Longest = std::numeric_limits<int>::max();
        return FTimeouts.Lock.count() == 0
                   ? Longest
                   : static_cast<int>(std::min<TMilliseconds::rep>(FTimeouts.Lock.count(), Longest));
    }

    void RequireFile() const {
        const QFileInfo File(ToQt(FFile));
        if (!File.absoluteDir().exists()) {
            throw EDatabaseError(u"there is no folder " + FromQt(File.absolutePath()) + u"; make it first");
        }
        if (File.isDir()) throw EDatabaseError(u"it is a folder, not a file");
        if (File.exists()) return;
        // For its owner alone, whatever the process's mask is; the files beside it get the same mode. One
        // that another process makes meanwhile is as good.
        QFile New(File.filePath());
        if (!New.open(QIODevice::WriteOnly | QIODevice::NewOnly,
                      QFileDevice::ReadOwner | QFileDevice::WriteOwner) &&
            !QFileInfo::exists(File.filePath())) {
            throw EDatabaseError(u"the file cannot be made: " + FromQt(New.errorString()));
        }
    }

    /// For the connection's own statements.
    void Require(const QString& Statement) {
        CountRoundTrip();
        QSqlQuery Query = NewQuery();
        FOwnStatement = true;
        const bool Done = Query.exec(Statement);
        FOwnStatement = false;
        if (!Done) throw Refusal(Query.lastError());
    }

    void UseWriteAheadLog() const {
        // The busy time-out does not cover this switch, and two processes may make the file at once.
        const auto Deadline = std::chrono::steady_clock::now() + TMilliseconds(BusyTime());
        for (;;) {
            QSqlQuery Query = NewQuery();
            if (Query.exec(QStringLiteral("PRAGMA journal_mode")) && Query.next() &&
                Query.value(0).toString() != QLatin1String("delete")) {
                return; // it is "wal" already, or "memory"
            }
            if (Query.exec(QStringLiteral("PRAGMA journal_mode = WAL"))) return;
            const QSqlError Error = Query.lastError();
            if (!IsBusy(Error) || std::chrono::steady_clock::now() > Deadline) throw Refusal(Error);
            std::this_thread::sleep_for(TMilliseconds(5));
        }
    }

    /// The driver's connection when the driver uses the library that we are linked with, and not one of its
    /// own.
    [[nodiscard]] sqlite3* RawConnection() const {
        const QVariant Handle = FDatabase.driver()->handle();
        if (qstrcmp(Handle.typeName(), "sqlite3*") != 0) return nullptr;
        QSqlQuery Query = NewQuery();
        if (!Query.exec(QStringLiteral("SELECT sqlite_source_id()")) || !Query.next() ||
            Query.value(0).toString() != QLatin1String(sqlite3_sourceid()))
            return nullptr;
        return *static_cast<sqlite3* const*>(Handle.data());
    }

    static constexpr int StepsBetweenLooks = 10'000;
    static int MustEnd(void*) { return WorkMustEnd() ? 1 : 0; }

    void Confine() {
        if (FRaw == nullptr) {
            throw EDatabaseError(u"Qt's driver for SQLite has a library of its own, in which statements "
                                 u"cannot be kept from other files; take the system's");
        }
        sqlite3_db_config(FRaw, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr); // no writable schema
        sqlite3_set_authorizer(FRaw, Authorize, this);
    }

    /// Asked while a statement is prepared.
    static int Authorize(void* Self, int Action, const char* First, const char* Second, const char*,
                         const char*) noexcept {
        if (static_cast<const TSqliteLink*>(Self)->FOwnStatement) return SQLITE_OK;
        switch (Action) {
        case SQLITE_ATTACH: // VACUUM too, with INTO or without
        case SQLITE_DETACH:
            return SQLITE_DENY;
        case SQLITE_PRAGMA:
            return Second == nullptr || IsReadingPragma(First) ? SQLITE_OK : SQLITE_DENY;
        case SQLITE_FUNCTION:
            return sqlite3_stricmp(Second, "load_extension") == 0 ? SQLITE_DENY : SQLITE_OK;
        default:
            return SQLITE_OK;
        }
    }

    /// With an argument that sets nothing.
    static bool IsReadingPragma(const char* Name) noexcept {
        static constexpr const char* Known[] = {
            "table_info",  "table_xinfo",      "table_list",        "index_list",      "index_info",
            "index_xinfo", "foreign_key_list", "foreign_key_check", "integrity_check", "quick_check"};
        return std::ranges::any_of(Known, [&](const char* Each) { return sqlite3_stricmp(Name, Each) == 0; });
    }

    const std::u16string FFile;
    const bool FConfined;
    bool FOwnStatement = false;
    sqlite3* FRaw = nullptr; // null: not open, or of another library
    TSqlTimeouts FTimeouts;
    QString FName; // of the driver's connection
    QSqlDatabase FDatabase;
    bool FBeginWaits = false; // for the first statement
    bool FInTransaction = false;
    std::unique_ptr<QLockFile> FSchemaLock;
};

/// Keeps other connections from changing the tables for a scope, and makes this one notice what they changed
/// before.
class TFixedSchema {
public:
    explicit TFixedSchema(const TSqliteLink& Link)
        : FLink(Link)
        , FOwn(!Link.InTransaction()) {
        if (FOwn && !FLink.NewQuery().exec(QStringLiteral("BEGIN"))) Refuse();
        if (FLink.NewQuery().exec(QStringLiteral("SELECT 1 FROM sqlite_master LIMIT 1"))) return;
        End();
        Refuse();
    }
    ~TFixedSchema() { End(); }
    TFixedSchema(const TFixedSchema&) = delete;
    TFixedSchema& operator=(const TFixedSchema&) = delete;

private:
    /// A statement that is still being read holds its own view on.
    void End() const {
        if (FOwn) (void)FLink.NewQuery().exec(QStringLiteral("COMMIT"));
    }
    [[noreturn]] static void Refuse() { throw EDatabaseError(u"The tables cannot be read"); }

    const TSqliteLink& FLink;
    const bool FOwn;
};

class TSqliteStatement final : public TSqlStatement {
public:
    TSqliteStatement(TSqliteLink& Link, std::u16string_view Text, const TScannedStatement& Scan)
        : FLink(Link)
        , FScan(Scan)
        , FText(ToQt(RewriteStatement(Text, Scan, Sqlite.Syntax)))
        , FQuery(Link.NewQuery()) {}

    void Run(std::span<const TKXVariant> Values) override {
        FLink.BeginIfWaiting();
        if (FScan.AllColumns) {
            // Qt makes room for as many columns as the statement had when it was prepared, and writes behind
            // it when a table has got more before the first row is read. So such a statement is prepared anew
            // each time, while nobody can change the tables.
            if (FScan.ChangesRows && !FLink.InTransaction()) {
                throw EDatabaseError(u"RETURNING * needs a transaction on SQLite; or name the columns");
            }
            const TFixedSchema FixedSchema(FLink);
            FQuery = FLink.NewQuery();
            FPrepared = false;
            return Execute(Values);
        }
        Execute(Values);
    }

    bool Step() override {
        if (FQuery.next()) return true;
        if (FQuery.lastError().isValid()) throw FLink.Refusal(FQuery.lastError());
        return false;
    }

    void Finish() noexcept override { FQuery.finish(); }

    bool IsWorthKeeping() const override { return FPrepared && !FScan.AllColumns && !FHoldsLongText; }

    std::vector<std::u16string> ColumnNames() const override {
        std::vector<std::u16string> Names;
        const QSqlRecord Record = FQuery.record();
        for (int Index = 0; Index < Record.count(); ++Index) Names.push_back(FromQt(Record.fieldName(Index)));
        return Names;
    }

    TKXVariant Value(int Column, std::u16string_view Name) const override {
        const QVariant Value = FQuery.value(Column);
        if (Value.isNull()) return {};
        switch (Value.typeId()) {
        case QMetaType::Double:
            return Value.toDouble();
        case QMetaType::QString: {
            std::u16string Text = FromQt(Value.toString());
            // Only a file that others wrote can hold such a text.
            if (FindUnit(Text, [](char16_t) { return std::u16string_view(); })) {
                RefuseField(Name, u"holds an unpaired surrogate");
            }
            return Text;
        }
        case QMetaType::QByteArray:
            RefuseField(Name, u"holds binary data; only numbers and text can be read");
        default:
            return static_cast<std::int64_t>(Value.toLongLong());
        }
    }

    int RowsAffected() const override { return std::max(0, FQuery.numRowsAffected()); }

private:
    void Execute(std::span<const TKXVariant> Values) {
        if (!FPrepared) {
            if (!FQuery.prepare(FText)) throw FLink.Refusal(FQuery.lastError());
            FPrepared = true;
        }
        FHoldsLongText = false;
        int Place = 0;
        for (const TStatementParam& Param : FScan.Params) {
            const QVariant Value = ToVariant(Values[Param.Name]);
            if (Value.typeId() == QMetaType::QString && Value.toString().size() > MaxKeptText)
                FHoldsLongText = true;
            FQuery.bindValue(Place++, Value);
        }
        FLink.CountRoundTrip();
        if (!FQuery.exec()) throw FLink.Refusal(FQuery.lastError());
    }

    TSqliteLink& FLink;
    const TScannedStatement& FScan;
    const QString FText;
    QSqlQuery FQuery;
    bool FPrepared = false;
    bool FHoldsLongText = false;
};

std::unique_ptr<TSqlStatement> TSqliteLink::Prepare(std::u16string_view Text, const TScannedStatement& Scan) {
    return std::make_unique<TSqliteStatement>(*this, Text, Scan);
}

class TSqliteEngine final : public TSqlEngine {
public:
    const TSqlWords& Words() const override { return Sqlite; }

    TDatabaseUrl ParseUrl(std::u16string_view Rest, std::u16string_view BaseFolder) const override {
        const auto Refuse = [](std::u16string_view Fault) {
            RefuseUrl(Sqlite.Scheme, Fault, Sqlite.UrlForm);
        };
        if (Rest.empty()) Refuse(u"the file is missing");
        if (Rest.find(u'\0') != Rest.npos) Refuse(u"the file name holds U+0000");
        if (platform::Utf16ToUtf8Strict(Rest).Error) Refuse(u"the file name is no valid text");
        const bool Absolute =
            Rest.front() == u'/' || Rest.front() == u'\\' || (Rest.size() > 1 && Rest[1] == u':');
        TDatabaseUrl Url;
        Url.File = Rest == InMemory || BaseFolder.empty() || Absolute ? std::u16string(Rest)
                                                                      : platform::JoinPath(BaseFolder, Rest);
        return Url;
    }

    std::u16string DisplayUrl(const TDatabaseUrl& Url) const override { return Url.File; }

    std::optional<TTextFault> FindTextFault(std::u16string_view Text) const override {
        return FindUnit(Text, [](char16_t C) { // it would give both back as U+FFFD
            return C >= 0xFFFE ? std::u16string_view(u"U+FFFE or U+FFFF, which SQLite does not keep")
                               : std::u16string_view();
        });
    }

    bool TableExists(TDatabase& Database, std::u16string_view Table) const override {
        const auto Query = Database.CreateSelectQuery();
        Query->SetSQL(u"SELECT 1 FROM sqlite_master WHERE type IN ('table', 'view') AND "
                      u"name = :Name COLLATE NOCASE");
        Query->SetString(u"Name", Table);
        Query->Open();
        return Query->Step();
    }

    std::vector<TSqlTable> FindTables(TDatabase& Database, std::u16string_view Name) const override {
        const auto Query = Database.CreateSelectQuery();
        // A view that has lost its table would raise when asked for its columns.
        Query->SetSQL(
            u"SELECT m.name AS \"table\", m.type AS kind, v.schema_version AS stamp, x.name AS name, "
            u"x.type AS declared, x.\"notnull\" AS required, x.dflt_value AS preset, x.pk AS place, "
            u"x.hidden AS hidden, "
            u"EXISTS (SELECT 1 FROM sqlite_master t WHERE t.type = 'trigger' AND t.tbl_name = m.name "
            u"COLLATE NOCASE) OR EXISTS (SELECT 1 FROM pragma_foreign_key_list(m.name) f "
            u"WHERE m.type = 'table' AND f.\"table\" = m.name COLLATE NOCASE) AS changes "
            u"FROM sqlite_master m "
            u"JOIN pragma_schema_version v "
            u"LEFT JOIN pragma_table_xinfo(CASE m.type WHEN 'table' THEN m.name END) x "
            u"WHERE m.type IN ('table', 'view') AND m.name = :Name COLLATE NOCASE "
            u"ORDER BY m.name, x.cid");
        Query->SetString(u"Name", Name);
        Query->Open();
        TTablesRead Read;
        while (Query->Step()) {
            const std::u16string Quoted = QuotedName(Query->FieldAsString(u"table"));
            Read.Enter(*Query, Quoted);
            const int Hidden = Query->FieldAsInteger(u"hidden");
            if (Query->FieldIsNull(u"name") || Hidden == 1) continue; // of a view; of a virtual table
            TColumn Column;
            Column.Name = Query->FieldAsString(u"name");
            Column.TypeText = Query->FieldAsString(u"declared");
            Column.Kind = KindOfType(Column.TypeText);
            SetSizes(Column, Column.TypeText);
            Column.NotNull = Query->FieldAsInteger(u"required") != 0;
            Column.Computed = Hidden != 0;
            Column.HasDefault = !Query->FieldIsNull(u"preset");
            Column.Default = Query->FieldAsString(u"preset");
            Read.Add(std::move(Column), Query->FieldAsInt64(u"place"));
        }
        std::vector<TSqlTable> Tables = Read.Tables();
        // The number that it gives to a row; it fills an empty one. Only this very word makes it so, and in a
        // table WITHOUT ROWID the database refuses a row without it.
        for (TSqlTable& Table : Tables) {
            if (Table.Key.size() != 1) continue;
            TColumn& Key = Table.Columns[Table.Key.front()];
            if (SameSqlName(Key.TypeText, u"integer")) Key.NotNull = Key.HasDefault = true;
        }
        return Tables;
    }

    std::u16string TableStamp(const TSqlTable&) const override {
        return u"(SELECT schema_version FROM pragma_schema_version)"; // one for all tables
    }

    std::u16string CellExpressions(const TColumn& Column) const override {
        const std::u16string Name = QuotedName(Column.Name);
        // What a row holds need not be of its column's type.
        return u"typeof(" + Name + u"), CASE typeof(" + Name + u") WHEN 'blob' THEN " +
               BytesExpression(Name) + u" ELSE " + Name + u" END";
    }

    std::u16string CellCondition(const TColumn& Column, const TCell& Cell,
                                 std::u16string_view Param) const override {
        const std::u16string Name = QuotedName(Column.Name);
        // The column's collation may take two texts for one.
        const std::u16string Value = Cell.Binary ? BytesExpression(Name) : Name + u" COLLATE BINARY";
        return u"typeof(" + Name + u") = '" + std::u16string(StorageOf(Cell)) + u"' AND " + Value + u" IS " +
               std::u16string(Param);
    }

    TCell ReadCell(const TSelectQuery& Query, std::size_t Index, const TColumn&) const override {
        const int Place = static_cast<int>(Index) * 2;
        TCell Cell;
        Cell.Binary = Query.FieldValue(Place).StringView() == u"blob";
        Cell.Value = Query.FieldValue(Place + 1);
        return Cell;
    }

    std::unique_ptr<TSqlLink> NewLink(const TDatabaseUrl& Url) const override {
        return std::make_unique<TSqliteLink>(Url.File, Url.Confined);
    }
};

} // namespace

const TSqlEngine& SqliteEngine() {
    static constexpr TSqliteEngine Engine;
    return Engine;
}

} // namespace zutools::server
