// The exact statements and parameters, in order, and what stands after one of them fails.

#include "checking/Dbchprms.h"
#include "checking/Presets.h"
#include "tests/checking/RecordingDatabase.h"
#include "tests/support/Raised.h"

#include <functional>

namespace zutools {
namespace {

using TLines = std::vector<std::string>;

class Dbchprms : public testing::Test {
protected:
    using TRow = tests::TRecordingDatabase::TRow;
    static TRow FilterRow(std::u16string_view Name) {
        return {{u"ID", 1}, {u"Name", Name}, {u"FilterDescribe", u"described"}};
    }
    static TRow RuleRow(std::u16string_view Params, std::u16string_view Wrong) {
        return {{u"Params", Params}, {u"WrongValues", Wrong}, {u"RightValues", u"a-z"}};
    }
    static TParamsConfig& Filled(TParamsConfig& Config) {
        Config.FilterName = u"Имя";
        Config.FilterDescribe = u"text";
        Config.AddParams(u"a,b", u"<", u"");
        Config.AddParams(u"c", u"", u"0-9");
        return Config;
    }
    void Answer(std::vector<TRow> Rows) { Database.Answers.push_back(std::move(Rows)); }

    tests::TRecordingDatabase Database;
    tests::TDatabaseManager Manager{&Database};
    TCheckParamsDBConfig Filters{Manager};
    TParamsConfig Config;
};

std::string InsertRule(int ID, int Index, const std::string& Params, const std::string& Wrong,
                       const std::string& Right) {
    return "INSERT INTO CheckParams ( FilterID, ParamIndex, Params, WrongValues, RightValues) VALUES (:ID, "
           ":ParamIndex, "
           ":Param, :WrongValues, :RightValues) | ID(integer)=" +
           std::to_string(ID) + " | ParamIndex(integer)=" + std::to_string(Index) +
           " | Param(string)=" + Params + " | WrongValues(long)=" + Wrong + " | RightValues(long)=" + Right;
}
const TLines UpdateFilter = {
    "UPDATE CheckParamsFilters SET Name=:Name, FilterDescribe=:Describe  where ID=7 | "
    "Name(string)=Имя | Describe(string)=text"};
const TLines InsertFilter = {
    "INSERT INTO CheckParamsFilters ( ID, Name, FilterDescribe) VALUES (:ID, :Name, :Describe) | "
    "ID(integer)=7 | Name(string)=Имя | Describe(string)=text"};
const TLines Rules = {"Delete FROM CheckParams where FilterID=7", InsertRule(7, 0, "a,b", "<", ""),
                      InsertRule(7, 1, "c", "", "0-9")};
const TLines Rename = {"UPDATE CheckParamsFilters SET Name=:Name where ID=7 | Name(string)=new"};
const TLines InsertNamed = {
    "INSERT INTO CheckParamsFilters ( ID, Name) VALUES (:ID, :Name) | ID(integer)=7 | Name(string)=new"};
const TLines Names = {"SELECT * FROM CheckParamsFilters"};
const TLines Begin = {"BEGIN", "UPDATE CheckParamsFilters SET Name=Name where ID=0"};
const TLines Commit = {"COMMIT"};

TLines operator+(TLines Left, const TLines& Right) {
    Left.insert(Left.end(), Right.begin(), Right.end());
    return Left;
}
TLines ReadOf(const std::string& ID) {
    return {"SELECT * FROM CheckParamsFilters where ID=" + ID,
            "SELECT * FROM CheckParams where FilterID=" + ID + " ORDER BY ParamIndex"};
}

// What a call that writes runs, as written and when each of its lines fails: nothing follows but the
// rollback.
TEST_F(Dbchprms, Writes) {
    using TCfg = TCheckParamsDBConfig;
    const TLines All = UpdateFilter + Rules;
    const auto Set = [this](int Type) {
        return [this, Type] { Filters.SetCheckParamsByID(7, Config, Type); };
    };
    const auto Add = [this] { Filters.AddFilterToDB(u"new", 7); };
    const struct {
        std::function<void()> Call;
        TLines Lines;
        std::deque<int> Affected{};
    } Calls[] = {
        {Set(0), All},
        {Set(1), UpdateFilter},
        {Set(2), Rules},
        {Set(3), All},
        {Set(4), {}},
        {Set(-1), {}},
        {Set(TCfg::FilterOnly), UpdateFilter + InsertFilter, {0}},
        {Add, Rename},
        {Add, Rename + InsertNamed, {0}},
        {[this] {
             for (const int ID : {0, 1, 2, -1}) Filters.DeleteFilter(ID); // the reserved ones stay
         },
         {"Delete FROM CheckParams where FilterID=-1", "Delete FROM CheckParamsFilters where ID=-1"}},
        {[this] { Filters.StoreFilter(7, Config, TCfg::All); }, Begin + Names + All + Commit},
        {[this] { Filters.StoreFilter(7, Config, TCfg::RulesOnly); }, Begin + Rules + Commit},
        {[this] {
             Answer({FilterRow(u"old")});
             EXPECT_TRUE(Filters.ChangeFilter(7, [](TParamsConfig& Filter) {
                 EXPECT_EQ(Filter.FilterName, u"old");
                 Filled(Filter);
             }));
         },
         Begin + ReadOf("7") + Names + All + Commit},
    };
    Filled(Config);
    for (const auto& [Call, Lines, Affected] : Calls) {
        const auto Run = [&, &Make = Call](int FailAt) {
            Database.Answers.clear();
            Database.Log.clear();
            Database.Affected = Affected;
            Database.FailAt = FailAt;
            Make();
        };
        Run(-1);
        EXPECT_EQ(Database.Log, Lines);
        const bool Transaction = Lines.size() > 1 && Lines.front() == "BEGIN";
        for (int At = Transaction ? 1 : 0; At < static_cast<int>(Lines.size()); ++At) {
            EXPECT_THROW(Run(At), EDatabaseError);
            const TLines Begun(Lines.begin(), Lines.begin() + At + 1);
            EXPECT_EQ(Database.Log, Transaction ? Begun + TLines{"ROLLBACK"} : Begun);
        }
    }
}

TEST_F(Dbchprms, WithoutTablesNothingHappens) {
    Database.HasTables = false;
    TStringList List;
    List.Add(u"kept");
    Filters.ReadFiltersNames(List, false, false);
    EXPECT_EQ(List.Count(), 1);
    Config.FilterID = 5;
    EXPECT_FALSE(Filters.ReadCheckParamsByID(7, Config, TCheckParamsDBConfig::All));
    EXPECT_EQ(Config.FilterID, 0) << "cleared, but the ID is not set";
    Filters.SetCheckParamsByID(7, Config, TCheckParamsDBConfig::All);
    Filters.StoreFilter(7, Config, TCheckParamsDBConfig::All);
    Filters.AddFilterToDB(u"x", 7);
    Filters.DeleteFilter(7);
    EXPECT_FALSE(Filters.DataExists());
    Filters.SetDefaultParams(Config);
    SeedReservedFilters(Filters);
    EXPECT_EQ(Database.Log, TLines{});

    EXPECT_EQ(Database.Asked.front(), "CheckParamsFilters");

    Database.Asked.clear();
    Database.HasTables = true;
    EXPECT_TRUE(Filters.TablesExists());
    EXPECT_EQ(Database.Asked, (TLines{"CheckParamsFilters", "CheckParams"}));
    tests::TDatabaseManager NoDatabase(nullptr);
    EXPECT_FALSE(TCheckParamsDBConfig(NoDatabase).TablesExists());
}

TEST_F(Dbchprms, ListsNames) {
    Answer({FilterRow(u"one"), {{u"ID", 9}, {u"Name", u"nine"}}});
    TStringList List;
    List.Add(u"old");
    Filters.ReadFiltersNames(List, false, false);
    EXPECT_EQ(List.CommaText(), u"one,nine");
    EXPECT_EQ(List.Tags(1), 9);
    Filters.ReadFiltersNames(List, true, true);
    EXPECT_EQ(List.Count(), 0);
    EXPECT_EQ(Database.Log, Names + TLines{"SELECT * FROM CheckParamsFilters where ID>2"});
}

TEST_F(Dbchprms, Reads) {
    for (const int Type : {0, 1, 3}) {
        Database.Log.clear();
        Answer({FilterRow(u"one")});
        Answer({RuleRow(u"a", u"<"), RuleRow(u"b", u">")});
        TParamsChecker Checker;
        EXPECT_TRUE(Filters.ReadCheckParamsByID(-3, Checker, Type));
        EXPECT_EQ(Database.Log, ReadOf("-3"));
        EXPECT_EQ(Checker.FilterID, -3);
        EXPECT_EQ(Checker.FilterDescribe, u"described");
        EXPECT_TRUE(Checker.Enabled);
        EXPECT_FALSE(Checker.CheckParamValue(u"b", u"x>", false)) << "rules are compiled as they arrive";
    }
}

TEST_F(Dbchprms, KeptReadingRulesOnlyReadsNothing) {
    for (const int Type : {2, 4, -1, 0}) { // the last one reads, but there is no such filter
        Filled(Config).Enabled = false;
        EXPECT_EQ(Filters.ReadCheckParamsByID(7, Config, Type), Type != 0);
        EXPECT_EQ(Config.ParamsCfgCount(), 0);
        EXPECT_EQ(Config.FilterID, 7);
        EXPECT_TRUE(Config.Enabled);
    }
    EXPECT_EQ(Database.Log, TLines{"SELECT * FROM CheckParamsFilters where ID=7"});
}

TEST_F(Dbchprms, DataExists) {
    const auto Asked = [this](std::vector<int> Counts) {
        Database.Log.clear();
        for (const int Count : Counts) Answer({{{u"count", Count}}});
        return Filters.DataExists();
    };
    EXPECT_TRUE(Asked({3, 1, 4}));
    EXPECT_EQ(Database.Log, (TLines{"SELECT Count(*) FROM CheckParamsFilters where ID>=0 and ID<=2",
                                    "SELECT Count(*) FROM CheckParams where FilterID=0",
                                    "SELECT Count(*) FROM CheckParams where FilterID=1"}));
    EXPECT_FALSE(Asked({2}));
    EXPECT_FALSE(Asked({3, 0}));
    EXPECT_FALSE(Asked({3, 1, 0}));
}

TEST_F(Dbchprms, DefaultsFillWhatIsMissing) {
    Config.AddParams(u"p", u"<", u"");
    // High has its rules, Medium its row only, Low is not there.
    Answer({FilterRow(u"mine")});
    Answer({RuleRow(u"a", u"<")});
    Answer({FilterRow(u"Medium")});
    Answer({});
    Database.Affected = {1, 1, 0};
    Filters.SetDefaultParams(Config);
    const TLines Written(Database.Log.begin() + 4, Database.Log.end());
    EXPECT_EQ(Written,
              (TLines{"Delete FROM CheckParams where FilterID=1", InsertRule(1, 0, "p", "<", ""),
                      "SELECT * FROM CheckParamsFilters where ID=2",
                      "UPDATE CheckParamsFilters SET Name=:Name, FilterDescribe=:Describe  where ID=2 | "
                      "Name(string)=Low | Describe(string)=Low CSS level",
                      "INSERT INTO CheckParamsFilters ( ID, Name, FilterDescribe) VALUES (:ID, :Name, "
                      ":Describe) | ID(integer)=2 | Name(string)=Low | Describe(string)=Low CSS level",
                      "Delete FROM CheckParams where FilterID=2"}));
}

TEST_F(Dbchprms, NamesAreUnique) {
    Config.FilterName = u"ONE";
    const auto Others = [this] { Answer({{{u"ID", 9}, {u"Name", u"one"}}}); };
    Others();
    EXPECT_EQ(
        tests::Raised<Exception>([&] { Filters.StoreFilter(7, Config, TCheckParamsDBConfig::FilterOnly); }),
        "filter 9 has the name \"ONE\" already; a service finds its filter by name, so each needs one of its "
        "own");
    EXPECT_EQ(Database.Log.back(), "ROLLBACK");
    Others();
    EXPECT_NO_THROW(Filters.StoreFilter(9, Config, TCheckParamsDBConfig::FilterOnly)) << "it is its own name";
    Answer({FilterRow(u"one")});
    Answer({});
    EXPECT_TRUE(Filters.ChangeFilter(7, [](TParamsConfig&) {}))
        << "an old double is no reason to refuse a rule";
    EXPECT_FALSE(Filters.ChangeFilter(7, [](TParamsConfig&) { FAIL(); })) << "there is none";
}

// Medium has its row and no rules: it gets its own, not those of High. What High is given stays.
TEST_F(Dbchprms, SeedingFillsWhatIsMissingInOneTransaction) {
    const auto AnswerAll = [this](bool HasRules) {
        Database.Log.clear();
        for (const bool Medium : {true, false, true}) { // asked for beside, then High and Medium in turn
            Answer({FilterRow(u"named")});
            Answer(HasRules || !Medium ? std::vector<TRow>{RuleRow(u"a", u"<")} : std::vector<TRow>{});
        }
        Answer({FilterRow(u"Low")});
    };
    AnswerAll(false);
    SeedReservedFilters(Filters);
    EXPECT_EQ(Database.Log.front(), "BEGIN");
    EXPECT_EQ(Database.Log.back(), "COMMIT");
    EXPECT_EQ(*(Database.Log.end() - 2),
              InsertRule(1, 0, "<Default>", platform::Utf16ToUtf8(MediumWrongValues()), ""));
    AnswerAll(true);
    SeedReservedFilters(Filters);
    for (const std::string& Line : Database.Log)
        EXPECT_TRUE(Line.starts_with("SELECT") || Line == "BEGIN" || Line == "COMMIT") << Line;
    Database.Log.clear();
    Database.FailAt = 9;
    EXPECT_THROW(SeedReservedFilters(Filters), EDatabaseError);
    EXPECT_EQ(Database.Log.back(), "ROLLBACK");
}

} // namespace
} // namespace zutools
