// zuhost migrate: the application's tables brought up to date by its folder of migrations.

#include "apps/zuhost/Commands.h"

#include "host/Exception.h"
#include "server/sql/Migrations.h"
#include "server/web/Config.h"

namespace zutools::zuhost {

namespace {

using namespace zutools::server;

constexpr const char* Footer =
    R"(Runs the files NNN-name.sql of the configuration's "migrations" folder that the
database has not had, in order, each in a transaction; `zuhost serve` does the
same at its start. Prints what was run. A file that was changed after it was run
is refused.

Examples:
  zuhost migrate --config shop.toml --list
  zuhost migrate --config shop.toml)";

int Migrate(const std::string& File, bool ListOnly) {
    const TWebConfig Config = LoadWebConfig(File.empty() ? u"zuhost.toml" : Text(File));
    if (Config.Database.empty() || Config.Migrations.empty())
        throw Exception(u"the configuration names no \"database\", or no folder \"migrations\"");
    TDatabasePool Pool(Config.Database, {}, Config.DatabaseTimeouts);
    TSqlDatabase& Database = Pool.Get();
    const auto Print = [](const TAppMigration& Each, std::u16string_view State) {
        WriteOut(Each.Name + u"  " + std::u16string(State) + u"\n");
    };
    if (ListOnly) {
        for (const TAppMigration& Each : ListAppMigrations(Database, Config.Migrations))
            Print(Each, Each.AppliedAt.empty() ? u"to be run" : u"run at " + Each.AppliedAt);
        return ExitGood;
    }
    const TSchemaLock Lock(Database);
    UpgradeSchema(Lock);
    const auto Before = ListAppMigrations(Database, Config.Migrations);
    RunAppMigrations(Lock, Config.Migrations);
    for (const TAppMigration& Each : Before)
        if (Each.AppliedAt.empty()) Print(Each, u"run");
    return ExitGood;
}

} // namespace

TJob DeclareMigrate(TDeclaration& Takes) {
    const auto Config = std::make_shared<std::string>();
    const auto ListOnly = std::make_shared<bool>(false);
    Takes.Footer(Footer);
    Takes.Option("--config", *Config, "FILE", "Configuration; zuhost.toml when not given");
    Takes.Flag("--list", *ListOnly, "Only tell what was run and what is to be run");
    return [Config, ListOnly](const TArguments& Names) {
        RefuseNames(Names);
        return Migrate(*Config, *ListOnly);
    };
}

} // namespace zutools::zuhost
