#include "tests/server/lua/Things.h"

#include "host/Queries.h"
#include "platform/Text.h"

#include <utility>
#include <vector>

namespace zutools::server::tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// Writes down what it is asked, and answers every select with the same rows.
struct TRecord {
    std::vector<std::string> Calls;
    std::vector<std::u16string> Fields;
    std::vector<std::vector<TKXVariant>> Rows;
    bool Fail = false;
    int LivingQueries = 0;

    void Note(std::u16string_view Text) { Calls.push_back(platform::Utf16ToUtf8(Text)); }
};

template <class TBase>
class TRecordingQuery : public TBase {
public:
    explicit TRecordingQuery(TRecord& Record)
        : FRecord(Record) {
        ++FRecord.LivingQueries;
    }
    ~TRecordingQuery() override { --FRecord.LivingQueries; }
    void SetSQL(std::u16string_view Statement) override { FRecord.Note(Statement); }
    void SetInteger(std::u16string_view Param, std::int64_t Value) override {
        Bind(Param, u"integer", Value);
    }
    void SetFloat(std::u16string_view Param, double Value) override { Bind(Param, u"float", Value); }
    void SetString(std::u16string_view Param, std::u16string_view Value) override {
        Bind(Param, u"string", Value);
    }
    void SetLongText(std::u16string_view Param, std::u16string_view Value) override {
        Bind(Param, u"long text", static_cast<std::int64_t>(Value.size()));
    }
    void SetNull(std::u16string_view Param) override { Bind(Param, u"null", {}); }

protected:
    TRecord& FRecord;

private:
    void Bind(std::u16string_view Param, const char16_t* Kind, const TKXVariant& Value) {
        FRecord.Note(std::u16string(Param) + u" " + Kind + u" " + Value.AsString());
    }
};

class TSelect : public TRecordingQuery<TSelectQuery> {
public:
    using TRecordingQuery::TRecordingQuery;
    void Open() override {
        if (FRecord.Fail) throw EDatabaseError(u"нет такой таблицы");
    }
    bool Step() override { return ++FRow < static_cast<int>(FRecord.Rows.size()); }
    [[nodiscard]] int FieldCount() const override { return static_cast<int>(FRecord.Fields.size()); }
    [[nodiscard]] std::u16string FieldName(int Index) const override {
        return FRecord.Fields[static_cast<std::size_t>(Index)];
    }
    [[nodiscard]] int FieldIndex(std::u16string_view) const override { return -1; }
    [[nodiscard]] TKXVariant FieldValue(int Index) const override {
        return FRecord.Rows[static_cast<std::size_t>(FRow)][static_cast<std::size_t>(Index)];
    }
    [[nodiscard]] std::u16string FieldAsString(std::u16string_view) const override { return {}; }
    [[nodiscard]] int FieldAsInteger(std::u16string_view) const override { return 0; }
    [[nodiscard]] std::int64_t FieldAsInt64(std::u16string_view) const override { return 0; }
    [[nodiscard]] double FieldAsFloat(std::u16string_view) const override { return 0; }
    [[nodiscard]] bool FieldIsNull(std::u16string_view) const override { return false; }
    void Close() override {}

private:
    int FRow = -1;
};

class TExec : public TRecordingQuery<TExecQuery> {
public:
    using TRecordingQuery::TRecordingQuery;
    void Execute() override { FRecord.Note(u"execute"); }
    [[nodiscard]] int RowsAffected() const override { return 3; }
};

class TRecordingDatabase : public TDatabase {
public:
    explicit TRecordingDatabase(TRecord& Record)
        : FRecord(Record) {}
    [[nodiscard]] bool TableExists(std::u16string_view) override { return false; }
    [[nodiscard]] std::unique_ptr<TSelectQuery> CreateSelectQuery() override {
        return std::make_unique<TSelect>(FRecord);
    }
    [[nodiscard]] std::unique_ptr<TExecQuery> CreateExecQuery() override {
        return std::make_unique<TExec>(FRecord);
    }
    void StartTransaction() override { FRecord.Note(u"begin"); }
    void Commit() override { FRecord.Note(u"commit"); }
    void Rollback() override { FRecord.Note(u"rollback"); }

private:
    TRecord& FRecord;
};

class LuaDatabase : public LuaTest {
protected:
    LuaDatabase() {
        TLuaOptions Options;
        Options.Database = [this] { return &Database; };
        Start(std::move(Options));
    }
    TRecord Record;
    TRecordingDatabase Database{Record};
};

TEST_F(LuaDatabase, SelectGivesRowsByColumnName) {
    Record.Fields = {u"ID", u"customer", u"Total"};
    Record.Rows = {{std::int64_t{1}, u"Анна", 1.5}, {std::int64_t{1} << 40, TKXVariant(), TKXVariant()}};
    EXPECT_EQ(Result(R"(
        local rows = db.select('SELECT', {Name = 'ж'})
        local second = rows[2]
        local names = {}
        for name in pairs(rows[1]) do names[#names + 1] = name end
        table.sort(names)
        thing.Value = #rows .. rows[1].ID .. rows[1].customer .. rows[1].Customer .. rows[1].Total .. second.id
            .. tostring(second.customer) .. tostring(second.Customer) .. tostring(second.None) .. table.concat(names))"),
              "21АннаАнна1.51099511627776nilnilnilIDTotalcustomer");
    EXPECT_THAT(Record.Calls, ElementsAre("SELECT", "Name string ж"));
}

TEST_F(LuaDatabase, EveryKindOfValueIsBound) {
    EXPECT_EQ(Result("thing.Value = db.exec('INSERT', {A = 1 << 40}) .. db.exec('D')"), "33");
    Engine->RunText("db.exec('I', {A = 1.5}) db.exec('I', {A = true}) db.exec('I', {A = db.null}) "
                    "db.exec('I', {A = ('ж'):rep(4001)})",
                    "test.lua");
    EXPECT_THAT(Record.Calls, ElementsAre("INSERT", "A integer 1099511627776", "execute", "D", "execute", "I",
                                          "A float 1.5", "execute", "I", "A integer 1", "execute", "I",
                                          "A null ", "execute", "I", "A long text 4001", "execute"));
}

TEST_F(LuaDatabase, TransactionEndsAsItsFunctionDoes) {
    EXPECT_EQ(Result("thing.Value = db.transaction(function(a) db.exec('I') return a .. 'b' end, 'a')"),
              "ab");
    EXPECT_THAT(Record.Calls, ElementsAre("begin", "I", "execute", "commit"));
    Record.Calls.clear();
    EXPECT_EQ(
        Result("local e = {} local ok, x = pcall(db.transaction, error, e) thing.Value = tostring(x == e)"),
        "true");
    EXPECT_THAT(Record.Calls, ElementsAre("begin", "rollback"));
    Record.Calls.clear();
    EXPECT_THAT(Error("coroutine.wrap(function() db.transaction(coroutine.yield) end)()"),
                HasSubstr("attempt to yield"));
    EXPECT_THAT(Record.Calls, ElementsAre("begin", "rollback"));
}

TEST_F(LuaDatabase, Errors) {
    EXPECT_EQ(Error("db.exec('I', {A = {}})"), "test.lua:1: value of parameter A: a table cannot be given");
    EXPECT_EQ(Error("db.exec('I', {1})"),
              "test.lua:1: name of a parameter: a string is wanted, not a number");
    EXPECT_EQ(Error("db.exec('I', {A = '\\xFF'})"), "test.lua:1: value of A: malformed UTF-8 at byte 1");
    EXPECT_THAT(Error("db.exec('I', 5)"),
                HasSubstr("bad argument #2 to 'exec' (table expected, got number)"));
    Record.Fail = true;
    EXPECT_EQ(Error("db.select('S')"), "test.lua:1: нет такой таблицы");
    EXPECT_EQ(Record.LivingQueries, 0);
    Start();
    EXPECT_EQ(Error("db.select('S')"), "test.lua:1: there is no database: none was named at the start");
}

} // namespace
} // namespace zutools::server::tests
