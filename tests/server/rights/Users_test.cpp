#include "server/rights/Profiles.h"
#include "server/rights/Users.h"
#include "server/sql/Schema.h"
#include "tests/server/sql/TestDatabases.h"
#include "tests/support/Raised.h"
#include "tests/support/TestClock.h"

#include <vector>

namespace zutools::server {
namespace {

using namespace std::chrono_literals;
using tests::ExpectRaised;
using tests::Raised;

constexpr std::u16string_view Good = u"correct horse";
constexpr std::u16string_view Bad = u"wrong donkey";

class UserAccounts : public TDatabaseTest {
protected:
    void SetUp() override {
        TDatabaseTest::SetUp();
        if (!Url().empty()) UpgradeSchema(Db());
    }
    [[nodiscard]] TUsers Make(THashCost Cost = THashCost::Least()) {
        return TUsers([this] { return &Db(); }, FClock, Cost);
    }
    [[nodiscard]] static TSignInResult SignIn(TUsers& Users, std::u16string_view Name,
                                              std::u16string_view Password = Bad) {
        TSignedInUser Who;
        return Users.SignIn(Name, Password, Who);
    }
    [[nodiscard]] std::u16string StoredHash(std::u16string_view Name) {
        return One(Db(), u"SELECT PasswordHash FROM ZuUsers WHERE Name = :Name", {{u"Name", Name}})
            .AsString();
    }

    tests::TTestClock FClock;
};
ZU_ON_BOTH_DATABASES(UserAccounts);

TEST_P(UserAccounts, TheStampOfSessionsChangesWithWhatEndsThem) {
    TUsers Users = Make();
    Users.Add(u"Anna", Good, u"", false);
    TSignedInUser Who;
    EXPECT_EQ(Users.SignIn(u"anna", Good, Who), TSignInResult::Ok);
    EXPECT_EQ(Users.SessionStamp(u"Anna"), Who.Stamp);
    struct TCase {
        const char* What;
        std::function<void()> Change;
        bool Ends;
    };
    for (const TCase& Case : {TCase{"rights", [&] { Users.SetAdministrator(u"anna", true); }, false},
                              {"enabled before", [&] { Users.SetDisabled(u"anna", false); }, false},
                              {"password", [&] { Users.SetPassword(u"anna", Good); }, true},
                              {"disabled", [&] { Users.SetDisabled(u"anna", true); }, true},
                              {"enabled again", [&] { Users.SetDisabled(u"anna", false); }, true},
                              {"removed", [&] { Users.Remove(u"anna"); }, true},
                              {"another one", [&] { Users.Add(u"anna", Good, u"", true); }, true}}) {
        const auto Before = Users.SessionStamp(u"anna").value_or(0);
        Case.Change();
        EXPECT_EQ(Users.SessionStamp(u"anna") != Before, Case.Ends) << Case.What;
    }
}

TEST_P(UserAccounts, SignInTellsTheNameAsItWasGivenAtFirst) {
    TUsers Users = Make();
    Users.Add(u"Анна Müller", u"пароль🔑word", u"", false);
    for (const std::u16string_view Name : {u"Анна Müller", u"анна müller", u"АННА MU\u0308LLER"}) {
        TSignedInUser Who{u"left over", 1};
        EXPECT_EQ(Users.SignIn(Name, u"пароль🔑word", Who), TSignInResult::Ok);
        EXPECT_EQ(Who.Name, u"Анна Müller");
        EXPECT_EQ(Users.SignIn(Name, u"Пароль🔑word", Who), TSignInResult::Refused);
        EXPECT_EQ(Who.Name, u"");
    }
    EXPECT_EQ(SignIn(Users, u"Анна", u"пароль🔑word"), TSignInResult::Refused);
}

TEST_P(UserAccounts, HashesAreArgonOfOneCostAndSaltEach) {
    TUsers Users = Make(THashCost::Interactive());
    Users.Add(u"a", Good, u"", false);
    Users.Add(u"b", Good, u"", false);
    EXPECT_TRUE(StoredHash(u"a").starts_with(u"$argon2id$v=19$m=65536,t=2,p=1$"));
    EXPECT_NE(StoredHash(u"a"), StoredHash(u"b"));
    EXPECT_EQ(SignIn(Users, u"a", Good), TSignInResult::Ok);
}

TEST_P(UserAccounts, NamesAreUniqueWhateverTheLetterCase) {
    TUsers Users = Make();
    Users.Add(u"Straße", Good, u"", false);
    ExpectRaised<ERightsError>([&] { Users.Add(u"STRASSE", Good, u"", true); },
                               {"There is a user \"STRASSE\" already"});
    EXPECT_EQ(Users.List().size(), 1U);
    EXPECT_FALSE(Users.Find(u"straße")->Administrator);
}

TEST_P(UserAccounts, RefusesNamesAndPasswordsThatCannotBe) {
    TUsers Users = Make();
    const std::u16string Half(1, u'\xD800');
    struct TCase {
        std::u16string Name;
        std::u16string Password;
        std::string_view Part;
    };
    const TCase Cases[] = {
        {u" anna", std::u16string(Good), "without blanks at the ends"},
        {u"an\nna", std::u16string(Good), "without control characters"},
        {std::u16string(101, u'a'), std::u16string(Good), "1 to 100 characters"},
        {u"a" + Half, std::u16string(Good), "cannot be the name"},
        {u"anna", u"1234567", "at least 8"},
        {u"anna", u"🔑🔑🔑🔑", "at least 8"}, // characters, not units
        {u"anna", u"12345678" + Half, "no proper text"},
        {u"anna", std::u16string(1025, u'a'), "longer than 1024 bytes"},
        {u"anna", std::u16string(513, u'ж'), "longer than 1024 bytes"},
    };
    for (const TCase& Case : Cases) {
        const std::string Message =
            Raised<ERightsError>([&] { Users.Add(Case.Name, Case.Password, u"", false); });
        EXPECT_NE(Message.find(Case.Part), std::string::npos) << Message;
        if (Case.Name != u"anna") {
            EXPECT_EQ(SignIn(Users, Case.Name), TSignInResult::Refused);
        } else {
            EXPECT_EQ(Message.find(platform::Utf16ToUtf8(Case.Password)), std::string::npos);
        }
    }
    Users.Add(u"long", std::u16string(512, u'ж'), u"", false);
    EXPECT_EQ(SignIn(Users, u"long", std::u16string(512, u'ж')), TSignInResult::Ok);
    EXPECT_EQ(SignIn(Users, u"long", std::u16string(511, u'ж')), TSignInResult::Refused);
    EXPECT_EQ(SignIn(Users, u"long", std::u16string(600, u'ж')), TSignInResult::Refused);
}

// Known and unknown names, good and bad ones: whoever guesses sees the same answers.
TEST_P(UserAccounts, WaitingGrowsAndDoesNotTellWhetherTheUserExists) {
    for (const std::u16string_view Name : {u"anna", u"nobody", u"disabled"}) {
        TUsers Users = Make();
        if (Name != u"nobody") Users.Add(Name, Good, u"", false);
        if (Name == u"disabled") Users.SetDisabled(Name, true);
        for (int Try = 0; Try < TUsers::FreeFailures; ++Try) {
            EXPECT_EQ(SignIn(Users, Name), TSignInResult::Refused);
        }
        std::chrono::milliseconds Wait = 5s;
        for (int Step = 0; Step < 10; ++Step) {
            FClock.Advance(Wait - 1ms);
            EXPECT_EQ(SignIn(Users, Name, Good), TSignInResult::Wait) << Step; // even the good one
            FClock.Advance(1ms);
            EXPECT_EQ(SignIn(Users, Name), TSignInResult::Refused) << Step;
            Wait = std::min<std::chrono::milliseconds>(Wait * 2, 15min);
        }
        EXPECT_EQ(SignIn(Users, platform::UpperCase(Name)),
                  TSignInResult::Wait); // letter case is no way round
        FClock.Advance(15min);
        EXPECT_EQ(SignIn(Users, Name, Good), Name == u"anna" ? TSignInResult::Ok : TSignInResult::Refused);
    }
}

TEST_P(UserAccounts, GoodSignInsHoursAndNewPasswordsStartAnew) {
    TUsers Users = Make();
    Users.Add(u"anna", Good, u"", false);
    const auto FailTo = [&](int Count) {
        for (int Try = 0; Try < Count; ++Try) EXPECT_EQ(SignIn(Users, u"anna"), TSignInResult::Refused);
    };
    FailTo(TUsers::FreeFailures - 1);
    EXPECT_EQ(SignIn(Users, u"anna", Good), TSignInResult::Ok);
    FailTo(TUsers::FreeFailures);
    EXPECT_EQ(SignIn(Users, u"anna", Good), TSignInResult::Wait);
    FClock.Advance(1h + 1ms);
    FailTo(TUsers::FreeFailures);
    EXPECT_TRUE(Users.SetPassword(u"ANNA", u"another horse"));
    EXPECT_EQ(SignIn(Users, u"anna", u"another horse"), TSignInResult::Ok);
    EXPECT_EQ(SignIn(Users, u"anna", Good), TSignInResult::Refused);
    FailTo(TUsers::FreeFailures - 1);
    FClock.SetWallBy(-std::chrono::hours(24 * 365)); // a clock that is set back puts nobody off for long
    EXPECT_EQ(SignIn(Users, u"anna", u"another horse"), TSignInResult::Wait);
    FClock.Advance(5s);
    EXPECT_EQ(SignIn(Users, u"anna", u"another horse"), TSignInResult::Ok);
    const TTransaction Transaction(Db()); // which could roll the count back
    ExpectRaised<ERightsError>([&] { (void)SignIn(Users, u"anna"); }, {"inside a transaction"});
}

TEST_P(UserAccounts, CountsOutliveTheProcessAndAreSwept) {
    for (int Try = 0; Try < TUsers::FreeFailures; ++Try) {
        TUsers Users = Make();
        EXPECT_EQ(SignIn(Users, u"nobody"), TSignInResult::Refused);
    }
    TUsers Users = Make();
    EXPECT_EQ(SignIn(Users, u"nobody"), TSignInResult::Wait);
    for (int Name = 0; Name < 5; ++Name) {
        EXPECT_EQ(SignIn(Users, u"n" + std::u16string(1, static_cast<char16_t>(u'0' + Name))),
                  TSignInResult::Refused);
    }
    EXPECT_EQ(One(Db(), u"SELECT COUNT(*) FROM ZuSignIns").AsInteger(), 6);
    FClock.Advance(1h + 1ms);
    EXPECT_EQ(SignIn(Users, u"other"), TSignInResult::Refused);
    EXPECT_EQ(One(Db(), u"SELECT COUNT(*) FROM ZuSignIns").AsInteger(), 1);
}

TEST_P(UserAccounts, TriesAtOnceAreNotMoreThanTriesInARow) {
    (void)Db();
    std::atomic<int> Refused{0};
    std::atomic<int> Waiting{0};
    std::atomic<int> Other{0};
    std::vector<std::thread> Threads;
    for (int Index = 0; Index < 12; ++Index) {
        Threads.emplace_back([&] {
            const auto Mine = Connect();
            TUsers Users([&Mine] { return Mine.get(); }, FClock, THashCost::Least());
            const TSignInResult Result = SignIn(Users, u"anna");
            ++(Result == TSignInResult::Refused ? Refused : Result == TSignInResult::Wait ? Waiting : Other);
        });
    }
    for (auto& Thread : Threads) Thread.join();
    EXPECT_EQ(Refused, TUsers::FreeFailures);
    EXPECT_EQ(Waiting, 12 - TUsers::FreeFailures);
    EXPECT_EQ(Other, 0);
}

TEST_P(UserAccounts, HashesOfAnotherCostAreMadeAnewAtTheNextSignIn) {
    TUsers Old = Make();
    Old.Add(u"anna", Good, u"", false);
    const std::u16string Before = StoredHash(u"anna");
    TUsers New = Make({2, 16384});
    EXPECT_EQ(SignIn(New, u"anna", Bad), TSignInResult::Refused);
    EXPECT_EQ(StoredHash(u"anna"), Before);
    EXPECT_EQ(SignIn(New, u"anna", Good), TSignInResult::Ok);
    const std::u16string After = StoredHash(u"anna");
    EXPECT_TRUE(After.starts_with(u"$argon2id$v=19$m=16,t=2,")) << platform::Utf16ToUtf8(After);
    EXPECT_EQ(SignIn(New, u"anna", Good), TSignInResult::Ok);
    EXPECT_EQ(StoredHash(u"anna"), After);
}

TEST_P(UserAccounts, TextThatIsNoHashLetsNobodyIn) {
    TUsers Users = Make();
    Users.Add(u"anna", Good, u"", false);
    for (const std::u16string_view Hash :
         {u"", u"correct horse", u"$argon2id$", u"$argon2id$v=19$m=8,t=1,p=1$$"}) {
        Exec(Db(), u"UPDATE ZuUsers SET PasswordHash = :Hash", {{u"Hash", Hash}});
        EXPECT_EQ(SignIn(Users, u"anna", Good), TSignInResult::Refused);
    }
}

TEST_P(UserAccounts, ChangesReachOneUser) {
    TProfiles([this] { return &Db(); }).Add(u"Clerks");
    TUsers Users = Make();
    Users.Add(u"anna", Good, u"Clerks", false);
    Users.Add(u"Boris", Good, u"", true);
    EXPECT_TRUE(Users.SetAttribute(u"ANNA", u"Department", u"Sales"));
    EXPECT_TRUE(Users.SetAttribute(u"anna", u"department", u"it's"));
    EXPECT_TRUE(Users.SetAttribute(u"anna", u"Region", u""));
    EXPECT_TRUE(Users.RemoveAttribute(u"anna", u"REGION"));
    EXPECT_FALSE(Users.RemoveAttribute(u"anna", u"Region"));
    EXPECT_TRUE(Users.SetAdministrator(u"boris", false));
    EXPECT_TRUE(Users.SetProfile(u"boris", u"Clerks"));
    EXPECT_TRUE(Users.SetProfile(u"anna", u""));
    const auto List = Users.List();
    ASSERT_EQ(List.size(), 2U);
    EXPECT_EQ(List[0].Name, u"anna");
    EXPECT_EQ(List[0].Profile, u"");
    EXPECT_EQ(List[0].Attributes, (std::map<std::u16string, std::u16string>{{u"department", u"it's"}}));
    EXPECT_EQ(List[1].Name, u"Boris");
    EXPECT_EQ(List[1].Profile, u"Clerks");
    EXPECT_FALSE(List[1].Administrator);
    EXPECT_TRUE(Users.SetDisabled(u"Anna", true));
    EXPECT_EQ(SignIn(Users, u"anna", Good), TSignInResult::Refused);
    EXPECT_TRUE(Users.SetDisabled(u"anna", false));
    EXPECT_EQ(SignIn(Users, u"anna", Good), TSignInResult::Ok);

    EXPECT_TRUE(Users.Remove(u"ANNA"));
    EXPECT_FALSE(Users.Remove(u"anna"));
    EXPECT_FALSE(Users.Find(u"anna"));
    EXPECT_EQ(One(Db(), u"SELECT COUNT(*) FROM ZuUserAttributes").AsInteger(), 0); // nothing for a namesake
    EXPECT_FALSE(Users.SetPassword(u"anna", Good));
    EXPECT_FALSE(Users.SetProfile(u"anna", u""));
    EXPECT_FALSE(Users.SetAttribute(u"anna", u"X", u"1"));
    EXPECT_EQ(SignIn(Users, u"anna", Good), TSignInResult::Refused);
}

TEST_P(UserAccounts, UnknownProfilesAndBadAttributesAreRefused) {
    TUsers Users = Make();
    Users.Add(u"anna", Good, u"", false);
    ExpectRaised<ERightsError>([&] { Users.Add(u"b", Good, u"Clerks", false); },
                               {"There is no profile \"Clerks\""});
    ExpectRaised<ERightsError>([&] { Users.SetProfile(u"anna", u"Clerks"); },
                               {"There is no profile \"Clerks\""});
    EXPECT_FALSE(Users.Find(u"b"));
    for (const std::u16string_view Name : {u"", u"1a", u"a b", u"username", u"PROFILE", u"a'b"}) {
        ExpectRaised<ERightsError>([&] { Users.SetAttribute(u"anna", Name, u"x"); },
                                   {"cannot be an attribute"});
    }
}

// A server likes to show the row that it refuses.
TEST_P(UserAccounts, DatabaseThatRefusesDoesNotShowTheHash) {
    TUsers Users = Make();
    if (IsSqlite()) {
        Exec(Db(),
             u"CREATE TRIGGER NoMore BEFORE INSERT ON ZuUsers BEGIN SELECT RAISE(ABORT, 'no more'); END");
    } else {
        Exec(Db(), u"ALTER TABLE ZuUsers ADD CONSTRAINT NoMore CHECK (Disabled = 1)");
    }
    const std::string Message = Refusal([&] { Users.Add(u"anna", Good, u"", false); });
    EXPECT_NE(Message, "nothing raised");
    EXPECT_EQ(Message.find("argon2"), std::string::npos) << Message;
    EXPECT_EQ(Message.find("horse"), std::string::npos) << Message;
}

TEST(UserAccountsWithoutDatabase, IsSaid) {
    TUsers Users([] { return nullptr; });
    EXPECT_THROW((void)Users.List(), ERightsError);
}

} // namespace
} // namespace zutools::server
