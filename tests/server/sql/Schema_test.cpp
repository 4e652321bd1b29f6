#include "checking/Presets.h"
#include "host/DatabaseFault.h"
#include "host/StringHelpers.h"
#include "platform/Text.h"
#include "server/sql/Migrations.h"
#include "tests/server/sql/TestDatabases.h"
#include "tests/support/TempFolder.h"

#include <vector>

namespace zutools::server {
namespace {

class Schema : public TDatabaseTest {};
ZU_ON_BOTH_DATABASES(Schema);

constexpr std::u16string_view FirstSteps[] = {u"CREATE TABLE First (ID INTEGER PRIMARY KEY)",
                                              u"INSERT INTO First VALUES (1)"};
constexpr std::u16string_view SecondSteps[] = {u"CREATE TABLE Second (ID {NumberedKey}, Whose {BigInteger})",
                                               u"INSERT INTO Second (Whose) VALUES (9000000000)"};
constexpr std::u16string_view BadSteps[] = {u"CREATE TABLE Third (ID INTEGER)",
                                            u"INSERT INTO Nowhere VALUES (1)"};
constexpr TMigration Good[] = {{1, u"first", FirstSteps}, {2, u"second", SecondSteps}};
constexpr TMigration WithBad[] = {
    {1, u"first", FirstSteps}, {2, u"second", SecondSteps}, {3, u"third", BadSteps}};

TEST_P(Schema, TablesOfTheChecker) {
    EXPECT_EQ(UpgradeSchema(Db()), static_cast<int>(HostMigrations().size()));
    EXPECT_EQ(UpgradeSchema(Db()), 0);
    EXPECT_EQ(SchemaVersion(Db()), HostMigrations().back().Number);
    EXPECT_EQ(Exec(Db(), u"INSERT INTO CheckParamsFilters ( ID, Name) VALUES (:ID, :Name)",
                   {{u"ID", -1}, {u"Name", u"x"}}),
              1);
    const std::u16string Long(300'000, u'ж');
    const std::u16string_view Insert =
        u"INSERT INTO CheckParams ( FilterID, ParamIndex, Params, WrongValues, RightValues) "
        u"VALUES (:ID, :ParamIndex, :Param, :WrongValues, :RightValues)";
    const auto Add = [&](int Index) {
        return Exec(Db(), Insert,
                    {{u"ID", 9},
                     {u"ParamIndex", Index},
                     {u"Param", u"p"},
                     {u"WrongValues", Long},
                     {u"RightValues", Long}});
    };
    EXPECT_EQ(Add(0), 1); // a rule may come before its filter
    EXPECT_EQ(Add(1), 1);
    EXPECT_NE(Refusal([&] { Add(1); }), "nothing raised");
}

TEST_P(Schema, RunsWhatIsMissing) {
    EXPECT_EQ(SchemaVersion(Db()), 0);
    EXPECT_EQ(UpgradeSchema(Db(), std::span(Good).first(1)), 1);
    EXPECT_EQ(UpgradeSchema(Db(), Good), 1);
    EXPECT_EQ(One(Db(), u"SELECT ID + Whose FROM Second"), TKXVariant(std::int64_t{9'000'000'001}));
    EXPECT_EQ(One(Db(), u"SELECT COUNT(*) FROM ZuSchemaVersion WHERE AppliedAt IS NOT NULL").AsInteger(), 2);
}

TEST_P(Schema, TheApplicationsMigrationsRunOnceAndStayAsTheyWere) {
    tests::TTempFolder Folder;
    const auto Run = [&] { return RunAppMigrations(TSchemaLock(Db()), Folder.Path()); };
    Folder.Write(u"001-tables.sql",
                 "-- first; of all\nCREATE TABLE Things (ID {NumberedKey}, Name VARCHAR(20) UNIQUE);\n"
                 "INSERT INTO Things (Name) VALUES ('a;b');");
    Folder.Write(u"010-more.sql", "CREATE TABLE Parts (Thing {BigInteger} NOT NULL REFERENCES Things (ID))");
    EXPECT_EQ(Run(), 2);
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(One(Db(), u"SELECT Name FROM Things"), TKXVariant(u"a;b"));
    Folder.Write(u"011-bad.sql", "CREATE TABLE Fine (ID INTEGER);\n\nINSERT INTO Nowhere VALUES (1)");
    ExpectRefusal([&] { Run(); }, {"011-bad.sql:3: "});
    EXPECT_FALSE(Db().TableExists(u"Fine"));
    Folder.Write(u"011-bad.sql", "INSERT INTO Things (Name) VALUES ('c')");
    EXPECT_EQ(Run(), 1);
    Folder.Write(u"010-more.sql", "CREATE TABLE Other (ID INTEGER)");
    ExpectRefusal([&] { Run(); }, {"010-more.sql was changed after it was run"});
    struct TFaultCase {
        std::u16string_view Statement;
        TDatabaseFaultKind Kind;
        std::u16string_view Column;
    };
    for (const TFaultCase& Case :
         {TFaultCase{u"INSERT INTO Things (Name) VALUES ('c')", TDatabaseFaultKind::Unique, u"name"},
          {u"INSERT INTO Parts VALUES (7)", TDatabaseFaultKind::Reference, u""},
          {u"INSERT INTO Parts VALUES (NULL)", TDatabaseFaultKind::Required, u"thing"}}) {
        ClearDatabaseFault();
        EXPECT_NE(Refusal([&] { Exec(Db(), Case.Statement); }), "nothing raised");
        const TDatabaseFault* const Fault = LastDatabaseFault();
        ASSERT_NE(Fault, nullptr);
        EXPECT_EQ(Fault->Kind, Case.Kind);
        EXPECT_TRUE(SameText(Fault->Column, Case.Column)) << platform::Utf16ToUtf8(Fault->Column);
    }
}

TEST(SplitSql, AtSemicolonsOutsideOfTextsCommentsAndBodies) {
    const auto Pieces = SplitSql(u"a ';' \"x;y\"; -- c;\n\n b /* ; */ $t$ ; $t$ $1;;\n-- end");
    ASSERT_EQ(Pieces.size(), 2U);
    EXPECT_EQ(Pieces[0].Text, u"a ';' \"x;y\"");
    EXPECT_EQ(Pieces[1].Text, u"b /* ; */ $t$ ; $t$ $1");
    EXPECT_EQ(Pieces[1].Line, 3);
    for (const std::u16string_view Open : {u"'", u"\"x", u"--", u"/*", u"$$ ;"})
        EXPECT_LE(SplitSql(Open).size(), 1U);
}

TEST_P(Schema, FailedMigrationLeavesNoTrace) {
    ExpectRefusal([&] { UpgradeSchema(Db(), WithBad); }, {"version 3 (third) failed", "owhere"});
    EXPECT_FALSE(Db().InTransaction());
    EXPECT_EQ(SchemaVersion(Db()), 2);
    EXPECT_FALSE(Db().TableExists(u"Third"));
    EXPECT_TRUE(Db().TableExists(u"Second"));
}

TEST_P(Schema, NewerDatabaseIsRefused) {
    UpgradeSchema(Db(), Good);
    ExpectRefusal([&] { UpgradeSchema(Db(), std::span(Good).first(1)); },
                  {"version 2, made by a newer program; this program knows versions up to 1"});
}

/// What a host does at its start, once for a database.
void Start(TSqlDatabase& Database, std::atomic<int>& Done) {
    struct TManager : TSimpleApplicationManager {
        TDatabase* Database = nullptr;
        TDatabase* GetDatabase() override { return Database; }
    };
    TManager Manager;
    Manager.Database = &Database;
    const TSchemaLock Lock(Database);
    Done += UpgradeSchema(Lock);
    SeedReservedFilters(TCheckParamsDBConfig(Manager));
    if (!Database.TableExists(u"Application")) Exec(Database, u"CREATE TABLE Application (ID INTEGER)");
    TTransaction Setup(Database);
    if (One(Database, u"SELECT COUNT(*) FROM Application").AsInteger() == 0)
        Exec(Database, u"INSERT INTO Application VALUES (1)");
    Setup.Commit();
}

TEST_P(Schema, FirstStartsAtOnceDoEverythingOnce) {
    std::atomic<int> Done{0};
    std::vector<std::string> Errors(6);
    std::vector<std::thread> Threads;
    for (auto& Error : Errors) {
        Threads.emplace_back([&] { Error = Refusal([&] { Start(*Connect(), Done); }); });
    }
    for (auto& Thread : Threads) Thread.join();
    for (const auto& Error : Errors) EXPECT_EQ(Error, "nothing raised");
    EXPECT_EQ(Done, HostMigrations().back().Number);
    EXPECT_EQ(One(Db(), u"SELECT COUNT(*) FROM Application").AsInteger(), 1);
    EXPECT_EQ(One(Db(), u"SELECT COUNT(*) FROM CheckParamsFilters").AsInteger(), 3);
}

TEST_P(Schema, TheLockIsNotWaitedForForEver) {
    const auto Other = Connect();
    const TSqlTimeouts Before = Other->Timeouts();
    {
        const TSchemaLock Lock(Db());
        ExpectRefusal([&] { const TSchemaLock Second(*Other, std::chrono::milliseconds(30)); },
                      {"Another program has been preparing the database", "longer than 0.03 seconds"});
    }
    {
        const TSchemaLock Free(*Other, std::chrono::milliseconds(30));
    }
    EXPECT_EQ(Other->Timeouts().Lock, Before.Lock);
}

} // namespace
} // namespace zutools::server
