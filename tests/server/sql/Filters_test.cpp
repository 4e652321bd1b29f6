// Filters of the value checker in real databases, in the tables that the schema makes.

#include "checking/Presets.h"
#include "server/sql/Schema.h"
#include "tests/server/sql/TestDatabases.h"

namespace zutools::server {
namespace {

class Filters : public TDatabaseTest {
protected:
    void SetUp() override {
        TDatabaseTest::SetUp();
        if (IsSkipped()) return;
        Manager.Database = &Db();
        UpgradeSchema(Db());
    }

    struct TManager : TSimpleApplicationManager {
        TDatabase* Database = nullptr;
        TDatabase* GetDatabase() override { return Database; }
    };
    /// Name, description and rules of a filter in one line.
    std::string Dump(int ID) {
        TParamsConfig Loaded;
        if (!Stored.ReadCheckParamsByID(ID, Loaded, TCheckParamsDBConfig::All)) return "none";
        std::u16string Line = Loaded.FilterName + u"|" + Loaded.FilterDescribe;
        for (int Index = 0; Index < Loaded.ParamsCfgCount(); ++Index) {
            const TParamsCfg& Rule = *Loaded.ParamsCfg(Index);
            Line += u"; " + Rule.Params + u"=" + Rule.WrongValues + u"||" + Rule.RightValues;
        }
        return platform::Utf16ToUtf8(Line);
    }
    TManager Manager;
    TCheckParamsDBConfig Stored{Manager};
    TParamsConfig Config;
};
ZU_ON_BOTH_DATABASES(Filters);

TEST_P(Filters, ComeBackAsStored) {
    Config.FilterName = u"Заказы 'O\"'";
    Config.FilterDescribe = u"";
    for (int Index = 0; Index < 12; ++Index) { // more than nine: the order is that of numbers
        Config.AddParams(u"p" + std::u16string(1, static_cast<char16_t>(u'a' + Index)), u"<,'\t',#00",
                         u"а-я");
    }
    Config.AddParams(u"long", std::u16string(300'000, u'ж'), u"");
    Stored.StoreFilter(10, Config, TCheckParamsDBConfig::All);
    TParamsConfig Loaded;
    ASSERT_TRUE(Stored.ReadCheckParamsByID(10, Loaded, TCheckParamsDBConfig::All));
    Config.FilterID = 10;
    EXPECT_TRUE(Loaded.AsString() == Config.AsString());
}

TEST_P(Filters, SeedingFillsWhatIsMissingOnly) {
    EXPECT_FALSE(Stored.DataExists());
    SeedReservedFilters(Stored);
    EXPECT_TRUE(Stored.DataExists());
    TStringList Names;
    Stored.ReadFiltersNames(Names, true, false);
    EXPECT_EQ(Names.Count(), 0);
    EXPECT_EQ(Dump(2), "Low|Low CSS level");
    TParamsChecker High, Medium;
    ASSERT_TRUE(Stored.ReadCheckParamsByID(0, High, TCheckParamsDBConfig::All));
    ASSERT_TRUE(Stored.ReadCheckParamsByID(1, Medium, TCheckParamsDBConfig::All));
    EXPECT_EQ(Medium.FilterDescribe, u"Medium CSS level");
    EXPECT_FALSE(High.CheckParamValue(u"x", u"5 < 7", false));
    EXPECT_TRUE(Medium.CheckParamValue(u"x", u"5 < 7", false));
    EXPECT_FALSE(Medium.CheckParamValue(u"x", u"java\nscript:", false));

    // What someone made of them stays.
    Config.FilterName = u"Ours";
    Config.AddParams(u"a", u"<", u"");
    Stored.StoreFilter(1, Config, TCheckParamsDBConfig::All);
    Stored.StoreFilter(0, TParamsConfig(), TCheckParamsDBConfig::RulesOnly);
    SeedReservedFilters(Stored);
    EXPECT_EQ(Dump(1), "Ours|; a=<||");
    EXPECT_TRUE(Stored.DataExists());
}

TEST_P(Filters, ChangesAtOnceAreAllKept) {
    SeedReservedFilters(Stored);
    Stored.StoreFilter(10, Config, TCheckParamsDBConfig::FilterOnly);
    std::vector<std::jthread> Threads;
    for (char16_t Name = u'a'; Name < u'i'; ++Name) {
        Threads.emplace_back([this, Name] {
            const auto Mine = Connect();
            TManager MyManager;
            MyManager.Database = Mine.get();
            EXPECT_TRUE(TCheckParamsDBConfig(MyManager).ChangeFilter(
                10, [Name](TParamsConfig& Filter) { Filter.AddParams(std::u16string(1, Name), u"<", u""); }));
        });
    }
    Threads.clear();
    TParamsConfig Loaded;
    ASSERT_TRUE(Stored.ReadCheckParamsByID(10, Loaded, TCheckParamsDBConfig::All));
    EXPECT_EQ(Loaded.ParamsCfgCount(), 8);
}

TEST_P(Filters, FailedStoringLeavesTheOldRules) {
    Config.FilterName = u"old";
    Config.AddParams(u"a", u"<", u"");
    Stored.StoreFilter(9, Config, TCheckParamsDBConfig::All);
    Config.FilterName = u"new";
    Config.AddParams(u"b", u"\xD800", u""); // an unpaired surrogate, which no database takes
    EXPECT_THROW(Stored.StoreFilter(9, Config, TCheckParamsDBConfig::All), EDatabaseError);
    EXPECT_EQ(Dump(9), "old|; a=<||");
}

} // namespace
} // namespace zutools::server
