#include "host/Services.h"
#include "host/Session.h"
#include "host/ThreadContainer.h"
#include "server/lua/LuaEngine.h"
#include "server/rights/Profiles.h"
#include "server/rights/RecordFilter.h"
#include "server/rights/SqlSecurity.h"
#include "server/rights/Users.h"
#include "server/sql/Schema.h"
#include "tests/server/rights/TablesOfDatabase.h"
#include "tests/server/sql/TestDatabases.h"
#include "tests/support/MemoryTable.h"
#include "tests/support/TestClock.h"

#include <algorithm>
#include <iterator>

namespace zutools::server {
namespace {

using tests::TFields;
using tests::TMemoryTable;

constexpr TRecordRight AllRights[] = {TRecordRight::View, TRecordRight::Edit, TRecordRight::Delete,
                                      TRecordRight::Insert};

class Rights : public TDatabaseTest {
protected:
    void SetUp() override {
        TDatabaseTest::SetUp();
        if (!Url().empty()) UpgradeSchema(Db());
    }
    void AddUser(std::u16string_view Name, std::u16string_view Profile, bool Administrator = false) {
        FUsers.Add(Name, u"correct horse", Profile, Administrator);
    }
    [[nodiscard]] bool May(std::u16string_view User, std::u16string_view Table, TRecordRight Right,
                           const TUserTable& Record) {
        const TUserInfo Info = FSecurity.RefreshUserInfo(User);
        return FSecurity.CheckRecordRights(FSecurity.BuildTableRightsFilter(Info, Table, Right), Record);
    }

    const TDatabaseOfThread FDatabase = [this] { return &Db(); };
    TUsers FUsers{FDatabase, platform::SystemClock(), THashCost::Least()};
    TProfiles FProfiles{FDatabase};
    TSqlSecurityManager FSecurity{FDatabase};
    TMemoryTable FSales{TFields{{u"Department", u"Sales"}}};
    TMemoryTable FIT{TFields{{u"Department", u"IT"}}};
};
ZU_ON_BOTH_DATABASES(Rights);

TEST_P(Rights, LinesOfTheTableAndOfAllTablesCount) {
    FProfiles.Grant(u"Clerks", {u"Orders", TRecordRight::Edit, u"Department = 'Sales'"});
    FProfiles.Grant(u"Clerks", {u"*", TRecordRight::View, u""});
    FProfiles.Grant(u"Others", {u"*", TRecordRight::Delete, u""});
    AddUser(u"anna", u"Clerks");
    AddUser(u"boris", u"");
    struct TCase {
        std::u16string_view User;
        std::u16string_view Table;
        TRecordRight Right;
        bool Sales;
        bool IT;
    };
    const TCase Cases[] = {
        {u"anna", u"Orders", TRecordRight::View, true, true},
        {u"ANNA", u"ORDERS", TRecordRight::Edit, true, false},
        {u"anna", u"Goods", TRecordRight::Edit, false, false},
        {u"anna", u"*", TRecordRight::Edit, false, false},
        {u"anna", u"Goods", TRecordRight::View, true, true},
        {u"anna", u"Orders", TRecordRight::Delete, false, false},
        {u"anna", u"Orders", TRecordRight::Insert, false, false},
        {u"boris", u"Orders", TRecordRight::View, false, false},
        {u"nobody", u"Orders", TRecordRight::View, false, false},
        {u"", u"Orders", TRecordRight::View, false, false},
        {u" anna", u"Orders", TRecordRight::View, false, false},
    };
    const auto Check = [this](const TCase& Case) {
        EXPECT_EQ(May(Case.User, Case.Table, Case.Right, FSales), Case.Sales);
        EXPECT_EQ(May(Case.User, Case.Table, Case.Right, FIT), Case.IT);
    };
    std::for_each(std::begin(Cases), std::end(Cases), Check);
    // any of several lines is enough
    FProfiles.Grant(u"Clerks", {u"*", TRecordRight::Edit, u"Department = :Department"});
    FUsers.SetAttribute(u"anna", u"Department", u"IT");
    Check({u"anna", u"Orders", TRecordRight::Edit, true, true});
    Check({u"anna", u"Goods", TRecordRight::Edit, false, true});
    FProfiles.Grant(u"Clerks", {u"goods", TRecordRight::Edit, u""});
    Check({u"anna", u"Goods", TRecordRight::Edit, true, true});
}

TEST_P(Rights, RecordAsReadAndAsToBeWritten) {
    for (const TRecordRight Right : AllRights) {
        FProfiles.Grant(u"Clerks", {u"Orders", Right, u"Department IN ('Sales', 'Export')"});
    }
    AddUser(u"anna", u"Clerks");
    const TFields Mine{{u"Department", u"Sales"}};
    const TFields Theirs{{u"Department", u"IT"}};
    const TFields None{{u"Department", TKXVariant()}};
    struct TCase {
        TRecordRight Right;
        const TFields& Stored;
        const TFields& Current;
        bool Allowed;
    };
    const TCase Cases[] = {
        {TRecordRight::View, Mine, Theirs, true},    {TRecordRight::View, Theirs, Mine, false},
        {TRecordRight::Edit, Mine, Mine, true},      {TRecordRight::Edit, Mine, Theirs, false},
        {TRecordRight::Edit, Theirs, Mine, false},   {TRecordRight::Edit, Mine, None, false},
        {TRecordRight::Delete, Mine, Theirs, true},  {TRecordRight::Delete, Theirs, Mine, false},
        {TRecordRight::Insert, None, Mine, true},    {TRecordRight::Insert, None, Theirs, false},
        {TRecordRight::Insert, Mine, Theirs, false}, {TRecordRight::Insert, None, None, false},
    };
    for (const TCase& Case : Cases) {
        EXPECT_EQ(May(u"anna", u"Orders", Case.Right, TMemoryTable(Case.Stored, Case.Current)), Case.Allowed)
            << static_cast<int>(Case.Right);
    }
}

TEST_P(Rights, FaultyFilterRaisesBesideOneThatCovers) {
    FProfiles.Grant(u"Clerks", {u"Orders", TRecordRight::Edit, u"Department = 'Sales'"});
    AddUser(u"anna", u"Clerks");
    for (const std::u16string_view Faulty : {u"Department =", u"Nowhere = 1", u"Department = :Nothing"}) {
        Exec(Db(),
             u"INSERT INTO ZuPrivileges (Profile, TableName, Operation, RecordFilter) VALUES ('Clerks', '*', "
             u"1, "
             u":Filter)",
             {{u"Filter", Faulty}});
        EXPECT_THROW((void)May(u"anna", u"Orders", TRecordRight::Edit, FSales), ERecordFilter);
        EXPECT_EQ(FProfiles.Revoke(u"Clerks", u"*", TRecordRight::Edit), 1);
        EXPECT_TRUE(May(u"anna", u"Orders", TRecordRight::Edit, FSales));
    }
    EXPECT_THROW(FProfiles.Grant(u"Clerks", {u"Orders", TRecordRight::Edit, u"Department ="}), ERecordFilter);
    EXPECT_EQ(FProfiles.Rights(u"Clerks").size(), 1U);
}

TEST_P(Rights, UserIsReadAsStoredNow) {
    FProfiles.Grant(u"Clerks", {u"Orders", TRecordRight::View, u""});
    AddUser(u"Anna", u"Clerks");
    AddUser(u"root", u"", true);
    FUsers.SetAttribute(u"anna", u"Department", u"Sales");
    TUserInfo Info = FSecurity.RefreshUserInfo(u"ANNA");
    EXPECT_EQ(Info.UserName, u"Anna");
    EXPECT_EQ(Info.Profile, u"Clerks");
    EXPECT_FALSE(Info.Administrator);
    EXPECT_EQ(Info.Attributes, (std::map<std::u16string, std::u16string>{{u"Department", u"Sales"}}));
    ASSERT_EQ(Info.Privileges.size(), 1U);
    EXPECT_EQ(Info.Privileges[0].TableName, u"Orders");

    FUsers.SetDisabled(u"anna", true);
    Info = FSecurity.RefreshUserInfo(u"anna");
    EXPECT_TRUE(Info.Privileges.empty() && Info.Attributes.empty() && !Info.Administrator);
    EXPECT_FALSE(May(u"anna", u"Orders", TRecordRight::View, FSales));
    FUsers.SetDisabled(u"anna", false);
    EXPECT_TRUE(May(u"anna", u"Orders", TRecordRight::View, FSales));
    EXPECT_EQ(FProfiles.Revoke(u"Clerks", u"ORDERS", std::nullopt), 1);
    EXPECT_FALSE(May(u"anna", u"Orders", TRecordRight::View, FSales));
}

TEST_P(Rights, WithoutUsersEverybodyMayDoEverything) {
    FProfiles.Grant(u"Clerks", {u"Orders", TRecordRight::View, u"Department = 'IT'"});
    EXPECT_FALSE(FSecurity.IsSetUp());
    for (const TRecordRight Right : AllRights) EXPECT_TRUE(May(u"anna", u"Orders", Right, FSales));
    EXPECT_EQ(FSecurity.RefreshUserInfo(u"anna").UserName, u"anna");
    AddUser(u"boris", u"");
    EXPECT_TRUE(FSecurity.IsSetUp());
    for (const TRecordRight Right : AllRights) EXPECT_FALSE(May(u"anna", u"Orders", Right, FSales));
    FUsers.SetDisabled(u"boris", true); // a disabled user is a user: nothing opens
    EXPECT_FALSE(May(u"boris", u"Orders", TRecordRight::View, FSales));
    AddUser(u"root", u"", true);
    for (const TRecordRight Right : AllRights) EXPECT_TRUE(May(u"Root", u"Orders", Right, FSales));
    FUsers.SetDisabled(u"root", true);
    for (const TRecordRight Right : AllRights) EXPECT_FALSE(May(u"root", u"Orders", Right, FSales));
    EXPECT_FALSE(FSecurity.RefreshUserInfo(u"root").Administrator);
}

TEST_P(Rights, WithoutTablesOrDatabaseEverybodyMayDoEverythingUntilThereWereSome) {
    TSqlSecurityManager Without([] { return nullptr; });
    EXPECT_FALSE(Without.IsSetUp());
    EXPECT_TRUE(
        Without.BuildTableRightsFilter(Without.RefreshUserInfo(u"anna"), u"Orders", TRecordRight::Edit)
            .Granted);
    Exec(Db(), u"ALTER TABLE ZuUsers RENAME TO Hidden");
    EXPECT_FALSE(FSecurity.IsSetUp());
    EXPECT_TRUE(May(u"anna", u"Orders", TRecordRight::Delete, FSales));
    Exec(Db(), u"ALTER TABLE Hidden RENAME TO ZuUsers");
    AddUser(u"anna", u"");
    EXPECT_FALSE(May(u"anna", u"Orders", TRecordRight::View, FSales));
    Exec(Db(), u"ALTER TABLE ZuUsers RENAME TO Hidden");
    EXPECT_THROW((void)May(u"anna", u"Orders", TRecordRight::View, FSales), EDatabaseError);
}

TEST_P(Rights, ProfilesAreKeptWithTheirLines) {
    EXPECT_TRUE(FProfiles.Add(u"Readers"));
    EXPECT_FALSE(FProfiles.Add(u"Readers"));
    FProfiles.Grant(u"Clerks", {u"Orders", TRecordRight::Edit, u""});
    FProfiles.Grant(u"Clerks", {u"ORDERS", TRecordRight::Edit, u""}); // the same line
    FProfiles.Grant(u"Clerks", {u"Orders", TRecordRight::Insert, u"A = 'it''s'"});
    EXPECT_EQ(FProfiles.List(), (std::vector<std::u16string>{u"Clerks", u"Readers"}));
    const auto Lines = FProfiles.Rights(u"Clerks");
    ASSERT_EQ(Lines.size(), 2U);
    EXPECT_EQ(Lines[1].Right, TRecordRight::Insert);
    EXPECT_EQ(Lines[1].RecordFilter, u"A = 'it''s'");
    EXPECT_EQ(FProfiles.Revoke(u"Clerks", u"Orders", TRecordRight::Delete), 0);
    EXPECT_EQ(FProfiles.Revoke(u"Clerks", u"orders", TRecordRight::Edit), 1);

    AddUser(u"anna", u"Clerks");
    EXPECT_THROW(FProfiles.Remove(u"Clerks"), ERightsError);
    FUsers.SetProfile(u"anna", u"Readers");
    EXPECT_TRUE(FProfiles.Remove(u"Clerks"));
    EXPECT_FALSE(FProfiles.Remove(u"Clerks"));
    EXPECT_TRUE(FProfiles.Rights(u"Clerks").empty());
    EXPECT_THROW(FProfiles.Grant(u"", {u"Orders", TRecordRight::Edit, u""}), ERightsError);
    EXPECT_THROW(FProfiles.Grant(u"Clerks", {u"", TRecordRight::Edit, u""}), ERightsError);
}

TEST_P(Rights, AScriptAsksWhatItsUserMay) {
    Exec(Db(), u"CREATE TABLE Orders (ID INTEGER PRIMARY KEY, Department TEXT)");
    Exec(Db(), u"INSERT INTO Orders VALUES (1, 'Sales'), (2, 'IT')");
    for (const TRecordRight Right : AllRights)
        FProfiles.Grant(u"Clerks", {u"Orders", Right, u"Department = 'Sales'"});
    FProfiles.Grant(u"Readers", {u"*", TRecordRight::View, u""});
    AddUser(u"anna", u"Clerks");
    AddUser(u"vera", u"Readers");
    AddUser(u"root", u"", true);
    TDatabasePool Pool(Url()); // scripts have a thread of their own
    const TDatabaseOfThread Database = [&Pool] { return &Pool.Get(); };
    SetServices({.ApplicationManager = std::make_shared<TTablesOfDatabase>(Database),
                 .Localizer = nullptr,
                 .Logger = nullptr,
                 .Security = std::make_shared<TSqlSecurityManager>(Database)});
    TLuaOptions Options;
    Options.Session = []() -> TSessionControl* { return nullptr; };
    TLuaEngine Engine(Options);
    Engine.RunText(R"(
        local function may(user, ...) return zu.as_session("sid", user, session.may, ...) end
        for _, right in ipairs { "view", "edit", "delete", "insert" } do
            assert(may("anna", right, "Orders", 1) == true, right)
            assert(may("anna", right, "orders", "2") == false, right)
            assert(may("anna", right, "Orders", 3) == false, right)
            assert(may("vera", right, "Orders", 2) == (right == "view"), right)
            assert(may("root", right, "Orders", 2) == true, right)
            for _, nobody in ipairs { "", "nobody" } do assert(may(nobody, right, "Orders", 1) == false, right) end
        end
        assert(session.may("view", "Orders", 1) == false)
        assert(may("anna", "insert", "Orders") == true and may("vera", "insert", "Orders") == false)
        local good, message = pcall(may, "anna", "write", "Orders", 1)
        assert(not good and tostring(message):find('take "view", "edit"', 1, true), message)
    )",
                   "test.lua");
    SetServices({});
}

TEST_P(Rights, VisitorsHaveNoRecordsOnceThereAreUsers) {
    ThreadObjects().Add(SessionObjectName, std::make_unique<TSession>());
    const std::vector<std::u16string> ForEverybody{u"feedback"};
    const auto Opens = [&](std::u16string_view User, std::u16string_view Table) {
        static_cast<TSession*>(ThreadObjects().Get(SessionObjectName))->USR = User;
        try {
            FSecurity.RequireUser(Table, ForEverybody);
            return true;
        } catch (const EUserTableError&) {
            return false;
        }
    };
    EXPECT_TRUE(Opens(u"", u"Orders")) << "no users";
    AddUser(u"anna", u"");
    EXPECT_FALSE(Opens(u"", u"Orders"));
    EXPECT_TRUE(Opens(u"", u"Feedback"));
    EXPECT_TRUE(Opens(u"anna", u"Orders")) << "whose rights the blocker asks";
    ThreadObjects().Clear();
    EXPECT_NO_THROW(FSecurity.RequireUser(u"Orders", {})) << "no session: the host's own work";
}

TEST(RightNames, GoBothWays) {
    for (const TRecordRight Right : AllRights) EXPECT_EQ(RecordRightOfName(RecordRightName(Right)), Right);
    EXPECT_EQ(RecordRightOfName(u"VIEW"), TRecordRight::View);
    EXPECT_EQ(RecordRightOfName(u"write"), std::nullopt);
}

} // namespace
} // namespace zutools::server
