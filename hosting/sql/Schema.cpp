#include "hosting/sql/Schema.h"

#include "host/Format.h"

namespace zutools::hosting {

namespace {

// IF NOT EXISTS: the application's own database may have the two tables already. There is no foreign key
// between them: rules may be written before their filter.
constexpr TMigrationStep CheckerTables[] = {
    {u"CREATE TABLE IF NOT EXISTS CheckParamsFilters ("
     u"ID INTEGER NOT NULL PRIMARY KEY, "
     u"Name TEXT, "
     u"FilterDescribe TEXT)"},
    {u"CREATE TABLE IF NOT EXISTS CheckParams ("
     u"FilterID INTEGER NOT NULL, "
     u"ParamIndex INTEGER NOT NULL, "
     u"Params TEXT, "
     u"WrongValues TEXT, "
     u"RightValues TEXT, "
     u"PRIMARY KEY (FilterID, ParamIndex))"},
};

constexpr TMigration Migrations[] = {
    {1, u"filters of the value checker", CheckerTables},
};

constexpr std::u16string_view MakeVersionTable = u"CREATE TABLE IF NOT EXISTS ZuSchemaVersion ("
                                                 u"Version INTEGER NOT NULL PRIMARY KEY, "
                                                 u"Purpose TEXT NOT NULL, "
                                                 u"AppliedAt TIMESTAMP DEFAULT CURRENT_TIMESTAMP NOT NULL)";

void Execute(TSqlDatabase& Database, std::u16string_view Statement) {
    const auto Query = Database.CreateExecQuery();
    Query->SetSQL(Statement);
    Query->Execute();
}

/// Until the transaction ends. On SQLite every transaction is alone from its start.
void LockOutOthers(TSqlDatabase& Database) {
    if (Database.Dialect() != TSqlDialect::Postgres) return;
    // The number says "ZuSchema" in ASCII; nobody else should lock it.
    Execute(Database, u"SELECT pg_advisory_xact_lock(6518207722107006305)");
}

void RefuseNewer(TSqlDatabase& Database, int Version, int Known) {
    if (Version <= Known) return;
    throw EDatabaseError(
        Format(u"The database %s has tables of version %d, made by a newer program; this program knows "
               u"versions up to %d. Use the newer program, or another database.",
               {Database.DisplayUrl(), Version, Known}));
}

void Run(TSqlDatabase& Database, const TMigration& Migration) {
    try {
        for (const TMigrationStep& Step : Migration.Steps) {
            const bool Own = Database.Dialect() == TSqlDialect::Postgres && !Step.Postgres.empty();
            Execute(Database, Own ? Step.Postgres : Step.Sqlite);
        }
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

std::span<const TMigration> HostMigrations() {
    return Migrations;
}

int SchemaVersion(TSqlDatabase& Database) {
    if (!Database.TableExists(u"ZuSchemaVersion")) return 0;
    const auto Query = Database.CreateSelectQuery();
    Query->SetSQL(u"SELECT MAX(Version) AS Version FROM ZuSchemaVersion");
    Query->Open();
    return Query->Step() ? Query->FieldAsInteger(u"Version") : 0;
}

int UpgradeSchema(TSqlDatabase& Database, std::span<const TMigration> Wanted) {
    const int Known = Wanted.empty() ? 0 : Wanted.back().Number;
    int Version = SchemaVersion(Database);
    RefuseNewer(Database, Version, Known);
    int Done = 0;
    while (Version < Known) {
        TTransaction Transaction(Database);
        LockOutOthers(Database);
        Execute(Database, MakeVersionTable);
        Version = SchemaVersion(Database); // another process may have been first
        RefuseNewer(Database, Version, Known);
        if (Version == Known) break;
        Run(Database, Wanted[static_cast<std::size_t>(Version)]);
        Transaction.Commit();
        ++Version;
        ++Done;
    }
    return Done;
}

} // namespace zutools::hosting
