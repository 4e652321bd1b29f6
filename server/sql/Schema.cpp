#include "server/sql/Schema.h"

#include "host/Format.h"
#include "host/StringHelpers.h"
#include "server/sql/Connection.h"
#include "server/sql/SqlText.h"

#include <algorithm>

namespace zutools::server {

namespace {

// IF NOT EXISTS: the application's own database may have the two tables already. There is no foreign key
// between them: rules may be written before their filter.
constexpr std::u16string_view CheckerTables[] = {
    u"CREATE TABLE IF NOT EXISTS CheckParamsFilters ("
    u"ID INTEGER NOT NULL PRIMARY KEY, "
    u"Name TEXT, "
    u"FilterDescribe TEXT)",
    u"CREATE TABLE IF NOT EXISTS CheckParams ("
    u"FilterID INTEGER NOT NULL, "
    u"ParamIndex INTEGER NOT NULL, "
    u"Params TEXT, "
    u"WrongValues TEXT, "
    u"RightValues TEXT, "
    u"PRIMARY KEY (FilterID, ParamIndex))",
};

// A number is taken by writing to the kind's row, which stays locked to the end of the transaction: numbers
// have no gaps. A record ID may come back after a deletion, so a record's document is the newest that names
// it.
constexpr std::u16string_view DocumentTables[] = {
    u"CREATE TABLE ZuDocumentKinds ("
    u"TableName VARCHAR(128) NOT NULL PRIMARY KEY, "
    u"Kind VARCHAR(64) NOT NULL UNIQUE, "
    u"NumberPrefix VARCHAR(32) DEFAULT '' NOT NULL, "
    u"LastNumber BIGINT DEFAULT 0 NOT NULL)",
    u"CREATE TABLE ZuDocuments ("
    u"ID {NumberedKey}, "
    u"Kind VARCHAR(64) NOT NULL, "
    u"Number BIGINT NOT NULL, "
    u"NumberText VARCHAR(64) NOT NULL, "
    u"DocumentDate DATE NOT NULL, "
    u"TableName VARCHAR(128) NOT NULL, "
    u"RecordID TEXT NOT NULL, "
    u"CreatedBy TEXT NOT NULL, "
    u"CreatedAt TIMESTAMP NOT NULL, "
    u"UNIQUE (Kind, Number))",
    u"CREATE INDEX ZuDocumentsByRecord ON ZuDocuments (TableName, RecordID)",
    u"CREATE TABLE ZuDocumentJournal ("
    u"ID {NumberedKey}, "
    u"DocumentID {BigInteger} NOT NULL REFERENCES ZuDocuments (ID), "
    u"At TIMESTAMP NOT NULL, "
    u"Who TEXT NOT NULL, "
    u"Action VARCHAR(16) NOT NULL, "
    u"Changes TEXT NOT NULL)",
    u"CREATE INDEX ZuDocumentJournalByDocument ON ZuDocumentJournal (DocumentID)",
};

// Names of users are compared by NameKey, which ignores letter case as users type it (server/rights). Tries
// to sign in are counted by name, whether there is such a user or not, so that waiting does not tell.
constexpr std::u16string_view RightsTables[] = {
    u"CREATE TABLE ZuProfiles (Name TEXT NOT NULL PRIMARY KEY)",
    u"CREATE TABLE ZuPrivileges ("
    u"ID {NumberedKey}, "
    u"Profile TEXT NOT NULL REFERENCES ZuProfiles (Name) ON DELETE CASCADE, "
    u"TableName TEXT NOT NULL, "
    u"Operation INTEGER NOT NULL CHECK (Operation BETWEEN 0 AND 3), "
    u"RecordFilter TEXT NOT NULL)",
    u"CREATE INDEX ZuPrivilegesProfile ON ZuPrivileges (Profile)",
    u"CREATE TABLE ZuUsers ("
    u"NameKey TEXT NOT NULL PRIMARY KEY, "
    u"Name TEXT NOT NULL, "
    u"PasswordHash TEXT NOT NULL, "
    u"Profile TEXT REFERENCES ZuProfiles (Name), "
    u"Administrator INTEGER NOT NULL, "
    u"Disabled INTEGER NOT NULL, "
    u"CreatedAt TIMESTAMP DEFAULT CURRENT_TIMESTAMP NOT NULL)",
    u"CREATE TABLE ZuUserAttributes ("
    u"NameKey TEXT NOT NULL REFERENCES ZuUsers (NameKey) ON DELETE CASCADE, "
    u"AttributeKey TEXT NOT NULL, "
    u"Attribute TEXT NOT NULL, "
    u"Value TEXT NOT NULL, "
    u"PRIMARY KEY (NameKey, AttributeKey))",
    u"CREATE TABLE ZuSignIns ("
    u"NameKey TEXT NOT NULL PRIMARY KEY, "
    u"Failures INTEGER NOT NULL, "
    u"LastFailure BIGINT NOT NULL)", // milliseconds since 1970-01-01 UTC
    u"CREATE INDEX ZuSignInsLastFailure ON ZuSignIns (LastFailure)",
};

// Sessions of a user remember it (TSignedInUser).
constexpr std::u16string_view SessionStamps[] = {
    u"ALTER TABLE ZuUsers ADD COLUMN SessionStamp BIGINT DEFAULT 0 NOT NULL",
};

constexpr TMigration Migrations[] = {
    {1, u"filters of the value checker", CheckerTables},
    {2, u"documents", DocumentTables},
    {3, u"users, profiles and privileges", RightsTables},
    {4, u"sessions that end with their users", SessionStamps},
};

constexpr std::u16string_view MakeVersionTable = u"CREATE TABLE IF NOT EXISTS ZuSchemaVersion ("
                                                 u"Version INTEGER NOT NULL PRIMARY KEY, "
                                                 u"Purpose TEXT NOT NULL, "
                                                 u"AppliedAt TIMESTAMP DEFAULT CURRENT_TIMESTAMP NOT NULL)";

void RefuseNewer(TSqlDatabase& Database, int Version, int Known) {
    if (Version <= Known) return;
    throw EDatabaseError(
        Format(u"The database %s has tables of version %d, made by a newer program; this program knows "
               u"versions up to %d. Use the newer program, or another database.",
               {Database.DisplayUrl(), Version, Known}));
}

void Run(TSqlDatabase& Database, const TMigration& Migration) {
    try {
        for (const std::u16string_view Step : Migration.Steps)
            ExecuteStatement(Database, InWordsOf(Database.Engine(), Step));
        const auto Query = Database.CreateExecQuery();
        Query->SetSQL(u"INSERT INTO ZuSchemaVersion (Version, Purpose) VALUES (:Version, :Purpose)");
        Query->SetInteger(u"Version", Migration.Number);
        Query->SetString(u"Purpose", Migration.Purpose);
        Query->Execute();
    } catch (const EDatabaseError& Error) {
        throw EDatabaseError(
            Format(u"Upgrading the tables of %s to version %d (%s) failed: %s",
                   {Database.DisplayUrl(), Migration.Number, Migration.Purpose, Error.Message()}));
    }
}

} // namespace

void ExecuteStatement(TSqlDatabase& Database, std::u16string_view Statement) {
    const auto Query = Database.CreateExecQuery();
    Query->SetSQL(Statement);
    Query->Execute();
}

std::u16string InWordsOf(const TSqlEngine& Engine, std::u16string_view Step) {
    const TSqlWords& Words = Engine.Words();
    const std::pair<std::u16string_view, std::u16string_view> Places[] = {
        {u"{NumberedKey}", Words.NumberedKey}, {u"{BigInteger}", Words.BigInteger}};
    std::u16string Text(Step);
    for (const auto& [Place, Word] : Places) {
        for (std::size_t At = Text.find(Place); At != Text.npos; At = Text.find(Place, At)) {
            Text.replace(At, Place.size(), Word);
        }
    }
    return Text;
}

std::span<const TMigration> HostMigrations() {
    return Migrations;
}

bool IsHostTable(std::u16string_view Table) {
    constexpr std::u16string_view Names[] = {u"ZuDocumentKinds",  u"ZuDocuments",  u"ZuDocumentJournal",
                                             u"ZuProfiles",       u"ZuPrivileges", u"ZuUsers",
                                             u"ZuUserAttributes", u"ZuSignIns",    u"ZuSchemaVersion",
                                             u"ZuAppMigrations"};
    return std::ranges::any_of(Names, [Table](std::u16string_view Name) { return SameText(Name, Table); });
}

int SchemaVersion(TSqlDatabase& Database) {
    if (!Database.TableExists(u"ZuSchemaVersion")) return 0;
    const auto Query = Database.CreateSelectQuery();
    Query->SetSQL(u"SELECT MAX(Version) AS Version FROM ZuSchemaVersion");
    Query->Open();
    return Query->Step() ? Query->FieldAsInteger(u"Version") : 0;
}

TSchemaLock::TSchemaLock(TSqlDatabase& Database, std::chrono::milliseconds Wait)
    : FDatabase(Database)
    , FBefore(Database.Timeouts()) {
    if (!FDatabase.FConnection->LockSchema(Wait)) {
        throw EDatabaseError(
            Format(u"Another program has been preparing the database %s for longer than %s; see "
                   u"what it does, and start this one again",
                   {Database.DisplayUrl(), SecondsText(Wait.count())}));
    }
    try {
        TSqlTimeouts Patient = FBefore;
        Patient.Statement = FBefore.Schema;
        FDatabase.SetTimeouts(Patient);
    } catch (...) {
        FDatabase.FConnection->UnlockSchema();
        throw;
    }
}

TSchemaLock::~TSchemaLock() {
    FDatabase.FConnection->UnlockSchema();
    try {
        FDatabase.SetTimeouts(FBefore);
    } catch (const std::exception&) {
        // The connection is lost; the next one waits as long as before.
    }
}

int UpgradeSchema(const TSchemaLock& Lock, std::span<const TMigration> Wanted) {
    TSqlDatabase& Database = Lock.Database();
    const int Known = Wanted.empty() ? 0 : Wanted.back().Number;
    const int Before = SchemaVersion(Database);
    RefuseNewer(Database, Before, Known);
    for (int Version = Before; Version < Known; ++Version) {
        TTransaction Transaction(Database);
        ExecuteStatement(Database, MakeVersionTable);
        Run(Database, Wanted[static_cast<std::size_t>(Version)]);
        Transaction.Commit();
    }
    return Known - Before;
}

int UpgradeSchema(TSqlDatabase& Database, std::span<const TMigration> Wanted) {
    return UpgradeSchema(TSchemaLock(Database), Wanted);
}

} // namespace zutools::server
