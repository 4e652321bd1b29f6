#include "tests/checking/RecordingDatabase.h"
#include "tests/server/lua/Things.h"

namespace zutools::server::tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class LuaDatabase : public LuaTest {
protected:
    LuaDatabase() {
        TLuaOptions Options;
        Options.Database = [this] { return &Database; };
        Start(std::move(Options));
    }
    /// What the script says to the database.
    std::vector<std::string> Said(std::string_view Script) {
        Database.Log.clear();
        EXPECT_EQ(Error(Script), "no error");
        return Database.Log;
    }
    zutools::tests::TRecordingDatabase Database;
};

TEST_F(LuaDatabase, SelectGivesRowsByColumnName) {
    Database.Answers = {
        {{{u"ID", std::int64_t{1}}, {u"customer", u"Анна"}, {u"Total", 1.5}},
         {{u"ID", std::int64_t{1} << 40}, {u"customer", TKXVariant()}, {u"Total", TKXVariant()}}}};
    EXPECT_EQ(Result(R"(
        local rows = db.select('SELECT', {Name = 'ж'})
        local second = rows[2]
        local names = {}
        for name in pairs(rows[1]) do names[#names + 1] = name end
        table.sort(names)
        thing.Value = #rows .. rows[1].ID .. rows[1].customer .. rows[1].Customer .. rows[1].Total .. second.id
            .. tostring(second.customer) .. tostring(second.Customer) .. tostring(second.None) .. table.concat(names)
            .. #db.select('NONE'))"),
              "21АннаАнна1.51099511627776nilnilnilIDTotalcustomer0");
    EXPECT_THAT(Database.Log, ElementsAre("SELECT | Name(string)=ж", "NONE"));
}

TEST_F(LuaDatabase, EveryKindOfValueIsBound) {
    Database.Affected = {3, 4};
    EXPECT_EQ(Result("thing.Value = db.exec('INSERT', {A = 1 << 40}) .. db.exec('D')"), "34");
    EXPECT_THAT(Database.Log, ElementsAre("INSERT | A(integer)=1099511627776", "D"));
    EXPECT_THAT(Said("db.exec('I', {A = 1.5}) db.exec('I', {A = true}) db.exec('I', {A = db.null}) "
                     "db.exec('I', {A = ('x'):rep(4000)}) db.exec('I', {A = ('x'):rep(4001)})"),
                ElementsAre("I | A(float)=1.500000", "I | A(integer)=1",
                            "I | A(null)=", "I | A(string)=" + std::string(4000, 'x'),
                            "I | A(long)=" + std::string(4001, 'x')));
}

TEST_F(LuaDatabase, TransactionEndsAsItsFunctionDoes) {
    EXPECT_THAT(Said("assert(db.transaction(function(a) db.exec('I') return a .. 'b' end, 'a') == 'ab')"),
                ElementsAre("BEGIN", "I", "COMMIT"));
    EXPECT_THAT(Said("local e = {} local ok, x = pcall(db.transaction, error, e) assert(x == e)"),
                ElementsAre("BEGIN", "ROLLBACK"));
    Database.Log.clear();
    EXPECT_THAT(Error("coroutine.wrap(function() db.transaction(coroutine.yield) end)()"),
                HasSubstr("attempt to yield"));
    EXPECT_THAT(Database.Log, ElementsAre("BEGIN", "ROLLBACK"));
}

TEST_F(LuaDatabase, Errors) {
    const std::pair<const char*, const char*> Cases[] = {
        {"db.exec('I', {A = {}})", "value of parameter A: a table cannot be given"},
        {"db.exec('I', {1})", "name of a parameter: a string is wanted, not a number"},
        {"db.exec('I', {A = '\\xFF'})", "value of A: malformed UTF-8 at byte 1"},
        {"db.exec('I', 5)", "bad argument #2 to 'exec' (table expected, got number)"},
    };
    for (const auto& [Script, Message] : Cases)
        EXPECT_EQ(Error(Script), std::string("test.lua:1: ") + Message);
    Database.FailAt = static_cast<int>(Database.Log.size());
    EXPECT_EQ(Error("db.select('S')"), "test.lua:1: the statement failed");
    Start();
    EXPECT_EQ(Error("db.select('S')"), "test.lua:1: there is no database: none was named at the start");
}

} // namespace
} // namespace zutools::server::tests
