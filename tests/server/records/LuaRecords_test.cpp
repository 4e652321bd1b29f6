// What docs/user-tables.md shows to script writers, through the script engine.
#include "server/lua/LuaEngine.h"
#include "server/records/SqlUserTable.h"
#include "tests/server/sql/TestDatabases.h"
#include "tests/support/TempFolder.h"

namespace zutools::server {
namespace {

class LuaRecords : public TDatabaseTest {
protected:
    void SetUp() override {
        TDatabaseTest::SetUp();
        if (IsSkipped()) return;
        Exec(Db(), u"CREATE TABLE Orders (ID " + std::u16string(IsSqlite() ? u"INTEGER" : u"SERIAL") +
                       u" PRIMARY KEY, Customer VARCHAR(40) NOT NULL, Total NUMERIC(10, 2), "
                       u"State VARCHAR(8) DEFAULT 'new' NOT NULL, Due DATE, Paid BOOLEAN)");
        Exec(Db(), u"INSERT INTO Orders (ID, Customer, Due) VALUES (17, 'Smith', '2024-02-29')");
        FRecord = MakeUserTable(u"Orders", [this] { return &Db(); });
        ASSERT_TRUE(FRecord->Open(u"17"));
    }
    void Run(std::string_view Script) {
        TLuaEngine Engine{TLuaOptions{}};
        Engine.SetGlobal("record", FRecord->RecordInterface());
        Engine.RunFile(FScripts.Write(u"script.lua", Script), {});
    }

    std::unique_ptr<TUserTable> FRecord;
    tests::TTempFolder FScripts;
};
ZU_ON_BOTH_DATABASES(LuaRecords);

TEST_P(LuaRecords, AScriptReadsAndSetsFields) {
    Run(R"(
        assert(record.id == 17 and math.type(record.ID) == "integer")
        assert(record.Due == "2024-02-29" and record.Total == nil)
        record.Customer = "Smith & Sons"
        record.Total = "1250.50"
        record.Due = ""
        record.Paid = true
        if record.State == "new" then record.State = "checked" end
        assert(record.Due == nil and record.Paid == true)
        local good, message = pcall(function() record.Total = "much" end)
        assert(not good and tostring(message):find("a decimal number", 1, true), message)
        assert(record.Total == "1250.50")
        assert(not pcall(function() record.Nothing = 1 end))
    )");
    EXPECT_EQ(One(Db(), u"SELECT Customer FROM Orders"), TKXVariant(u"Smith"));
    FRecord->Post();
    EXPECT_EQ(
        One(Db(), u"SELECT Customer FROM Orders WHERE Due IS NULL AND Total = 1250.5 AND State = 'checked'"),
        TKXVariant(u"Smith & Sons"));
}

} // namespace
} // namespace zutools::server
