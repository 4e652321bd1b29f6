// Signing in and out from Lua pages, and pages for users only.

#include "host/Security.h"
#include "server/web/HttpText.h"
#include "tests/server/web/PageBench.h"

using namespace zutools;
using namespace zutools::server;
using testing::HasSubstr;
using testing::Not;

namespace {

/// Anna is the administrator; asking for Eve fails.
class TSomeUsers : public TOpenSecurityManager {
public:
    TUserInfo RefreshUserInfo(std::u16string_view UserName) override {
        if (UserName == u"Eve") throw Exception(u"no database");
        TUserInfo User;
        User.UserName = UserName;
        User.Administrator = UserName == u"Anna";
        User.Profile = u"Clerks";
        return User;
    }
    TTableRights BuildTableRightsFilter(const TUserInfo&, std::u16string_view Table,
                                        TRecordRight Right) override {
        TTableRights Rights;
        Rights.Granted = Table == u"Orders" && Right == TRecordRight::Edit;
        return Rights;
    }
};

class SignInTest : public TPageBench {
protected:
    SignInTest()
        : TPageBench(std::make_shared<TSomeUsers>()) {
        SetServices({.ApplicationManager = nullptr,
                     .Localizer = nullptr,
                     .Logger = nullptr,
                     .Security = std::make_shared<TSomeUsers>()});
        Config.Session.SignIn = u"/вход";
        Route.FormToken = true;
    }
    ~SignInTest() override { SetServices({}); }

    void SignIn(std::string_view User) {
        ASSERT_EQ(Body("response:Write(session.sign_in('" + std::string(User) + "', 'right'))"), "ok");
    }
};

TEST_F(SignInTest, GivesTheUserAFreshSessionWithinTheSamePage) {
    Run("");
    const std::string OldCookie = Cookie;
    const std::u16string OldSID = SID;
    const TReply Reply = Run(R"(
        local sid, token = Session.SID, request.FormToken
        response:Write(session.user .. "|" .. session.sign_in("anna", "right"))
        response:Write("|" .. Session.USR .. "|" .. session.user .. "|" .. tostring(session.administrator))
        response:Write("|" .. tostring(Session.SID ~= sid) .. tostring(request.FormToken ~= token)))");
    EXPECT_EQ(Reply.Body, "|ok|Anna|Anna|true|truetrue");
    EXPECT_NE(Cookie, OldCookie);
    EXPECT_NE(SID, OldSID);
    EXPECT_EQ(Ended, std::vector{OldSID});
    EXPECT_EQ(Body("response:Write(session.user)"), "Anna");
    EXPECT_THAT(Logger.Text(), HasSubstr("signed in: Anna"));

    Cookie = OldCookie; // what somebody else may have planted before
    EXPECT_EQ(Body("response:Write(session.user)"), "");
}

TEST_F(SignInTest, TheFormTokenOfBeforeIsWorthNothing) {
    const std::string Token = Body("response:Write(request.FormToken)");
    Raw.Method = "POST";
    Raw.Form = "form_token=" + Token;
    const std::string Fresh = Body("session.sign_in('anna', 'right') response:Write(request.FormToken)");
    EXPECT_EQ(Run("").Status, 403);
    Raw.Form = "form_token=" + Fresh;
    EXPECT_EQ(Run("").Status, 200);
}

TEST_F(SignInTest, AModuleThatLooksAtTheTokenItselfIsToldAboutIt) {
    Route.FormToken = false;
    const std::string Token = Body("response:Write(request.FormToken)");
    constexpr std::string_view Ask = "response:Write(tostring(request.FormTokenGood))";
    EXPECT_EQ(Body(Ask), "false");
    Raw.Method = "POST";
    Raw.Form = "form_token=" + std::string(Token.size(), '0');
    EXPECT_EQ(Body(Ask), "false");
    Raw.Form = "form_token=" + Token;
    EXPECT_EQ(Body(Ask), "true");
    Cookie.clear(); // the session is over
    EXPECT_EQ(Body(Ask), "false");
}

TEST_F(SignInTest, PagesKnowHowLongTheSessionLasts) {
    EXPECT_EQ(Body("response:Write(session.idle_seconds)"), "1200");
}

TEST_F(SignInTest, RefusedAndWaitChangeNothing) {
    Run("");
    const std::string Before = Cookie;
    EXPECT_EQ(Body("response:Write(session.sign_in('anna', 'wrong') .. session.sign_in('anna', 'later') .. "
                   "Session.USR)"),
              "refusedwait");
    EXPECT_EQ(Cookie, Before);
    EXPECT_TRUE(Ended.empty());
    EXPECT_THAT(Logger.Text(), HasSubstr("sign-in refused, from 127.0.0.1"));
    EXPECT_THAT(Logger.Text(), Not(HasSubstr("wrong")));
}

TEST_F(SignInTest, SigningOutEndsTheSession) {
    SignIn("anna");
    const std::string Signed = Cookie;
    const std::u16string SignedSID = SID;
    EXPECT_EQ(Body("session.sign_out() response:Write(Session.USR .. '-' .. session.user)"), "-");
    EXPECT_EQ(Ended.back(), SignedSID);
    EXPECT_NE(Cookie, Signed);
    Cookie = Signed;
    EXPECT_EQ(Body("response:Write(session.user)"), "");
}

TEST_F(SignInTest, TheSessionEndsWithItsUser) {
    SignIn("anna");
    const std::string Signed = Cookie;
    EXPECT_EQ(Body("response:Write(session.user)"), "Anna");
    Stamp = 2; // another password, or another user of the same name
    EXPECT_EQ(Body("response:Write(session.user)"), "");
    SignIn("anna");
    Stamp.reset(); // removed or disabled
    Route.User = true;
    EXPECT_EQ(Run("").Status, 303);
    Cookie = Signed;
    EXPECT_EQ(Run("").Status, 303);
}

TEST_F(SignInTest, WhoTriesTooOftenWaitsWhateverNamesHeTakes) {
    const auto Try = [this](int Index) {
        return Body("response:Write(session.sign_in('n" + std::to_string(Index) + "', 'wrong'))");
    };
    for (int Index = 0; Index < TAddressGate::FreeTries; ++Index) {
        SignIn("anna"); // costs nothing
        EXPECT_EQ(Try(Index), "refused");
    }
    EXPECT_EQ(Try(0), "wait");
    EXPECT_EQ(Body("response:Write(session.sign_in('anna', 'right'))"), "wait");
    Raw.RemoteAddress = "127.0.0.2";
    SignIn("anna");
    for (const char* Same : {"2001:db8:1:2::1", "2001:db8:1:2:ffff::9"}) {
        Raw.RemoteAddress = Same;
        for (int Index = 0; Index < TAddressGate::FreeTries / 2; ++Index) EXPECT_EQ(Try(Index), "refused");
    }
    EXPECT_EQ(Try(0), "wait");
}

TEST_F(SignInTest, AVisitorIsKeptOnlyForWhatHisEndMustDrop) {
    Run("");
    EXPECT_EQ(Sessions.Count(), 0U);
    Holds = true;
    Run("");
    EXPECT_EQ(Sessions.Count(), 1U);
}

TEST_F(SignInTest, AModuleThatFailsAfterwardsStillGivesTheCookie) {
    EXPECT_EQ(Run("session.sign_in('anna', 'right') error('x')").Status, 500);
    EXPECT_EQ(Body("response:Write(session.user)"), "Anna");
}

TEST_F(SignInTest, WhatScriptsAreRefused) {
    const std::pair<const char*, const char*> Cases[] = {
        {"session.sign_in('anna')", "argument 2 of session.sign_in: "},
        {"session.sign_in('anna', '\\xFF')", "argument 2 of session.sign_in: malformed UTF-8 at byte 1"},
        {"local x = session.usr", "session has no property \"usr\""},
        {"session.user = 'anna'", "session has no property \"user\" to write"},
        {"zu.as_session('s', 'u', function() session.sign_in('anna', 'right') end)",
         "only the page itself signs in and out"},
        {"zu.as_session('s', 'u', function() session.sign_out() end)",
         "only the page itself signs in and out"},
    };
    for (const auto& [Script, Message] : Cases) {
        Logger.Clear();
        EXPECT_EQ(Run(Script).Status, 500) << Script;
        EXPECT_THAT(Logger.Text(), HasSubstr(Message)) << Script;
    }
    EXPECT_TRUE(Ended.empty());
}

TEST_F(SignInTest, BackIsAPathOnThisHostOrTheStart) {
    const std::pair<const char*, const char*> Cases[] = {
        {"", "/"},
        {"back=%2Forders%3Fq%3D1%26r%3D2", "/orders?q=1&r=2"},
        {"back=orders", "/"},
        {"back=%2F%2Fevil.example%2F", "/"},
        {"back=%2F%5Cevil.example", "/"},
        {"back=https%3A%2F%2Fevil.example%2F", "/"},
        {"back=%2Fa%0D%0AX%3A+y", "/"},
        {"back=%2F%09%2Fevil.example", "/"},
    };
    for (const auto& [Query, Back] : Cases) {
        Raw.Query = Query;
        EXPECT_EQ(Body("response:Write(session.back)"), Back) << Query;
    }
}

TEST_F(SignInTest, RoutesAskForRightsProfilesAndMethods) {
    const auto Status = [this](const std::function<void(TRoute&)>& Change) {
        Route = {};
        Change(Route);
        return Run("response:Write('in')").Status;
    };
    const auto MayEdit = [](TRoute& Each) { Each.Right = TRecordRight::Edit, Each.RightTable = u"Orders"; };
    const auto MayDelete = [](TRoute& Each) {
        Each.Right = TRecordRight::Delete, Each.RightTable = u"Orders";
    };
    const auto Teachers = [](TRoute& Each) { Each.Profile = u"Teachers"; };
    for (const auto& Change : {std::function<void(TRoute&)>(MayEdit), std::function<void(TRoute&)>(Teachers)})
        EXPECT_EQ(Status(Change), 303) << "to sign in";
    Route = {};
    SignIn("boris");
    EXPECT_EQ(Status(MayEdit), 200);
    EXPECT_EQ(Status(MayDelete), 403);
    EXPECT_THAT(Run("").Body, testing::AllOf(HasSubstr("no right"), Not(HasSubstr("out of date"))));
    EXPECT_EQ(Status(Teachers), 403);
    Route = {};
    SignIn("anna"); // an administrator
    EXPECT_EQ(Status(MayDelete), 200);
    EXPECT_EQ(Status(Teachers), 200);
    EXPECT_EQ(Status([](TRoute& Each) { Each.Methods = {u"POST"}; }), 405);
    EXPECT_EQ(HeaderOf(Run(""), "Allow"), "POST");
}

TEST_F(SignInTest, AFormThatIsRefusedKeepsWhatWasTyped) {
    Raw.Method = "POST";
    Raw.Form = "note=a%3Cb&form_token=old&note=%D0%96";
    struct TCase {
        const char* Site;
        const char* More;
        bool Offered; // to be sent again
        bool Shown;
    };
    for (const TCase& Case : {TCase{"same-origin", "", true, true}, TCase{"cross-site", "", false, true},
                              TCase{"same-origin", "&Password=hush", false, true}}) {
        Site = Case.Site;
        const std::string Form = std::exchange(Raw.Form, Raw.Form + Case.More);
        const TReply Reply = Run("response:Write('never')");
        Raw.Form = Form;
        EXPECT_EQ(Reply.Status, 403);
        EXPECT_EQ(Reply.Body.find("name=\"note\" value=\"a&lt;b\"") != Reply.Body.npos, Case.Offered)
            << Case.Site;
        EXPECT_THAT(Reply.Body, testing::AllOf(HasSubstr("a&lt;b</textarea>"),
                                               HasSubstr("href=\"/list?p=2\""), Not(HasSubstr("hush")),
                                               Not(HasSubstr("\"old\"")), Not(HasSubstr("never"))));
    }
    Site = "same-origin";
    Raw.Form = "note=x";
    Route.FormToken = false;
    EXPECT_THAT(Body("error('x')"), testing::AllOf(HasSubstr("value=\"x\""), HasSubstr("/list?p=2")));
}

TEST_F(SignInTest, PagesForUsersOnly) {
    struct TCase {
        const char* User;
        bool NeedsUser;
        bool NeedsAdministrator;
        int Status;
    };
    for (const TCase& Case : {TCase{"", false, false, 200},
                              {"", true, false, 303},
                              {"", false, true, 303},
                              {"boris", true, false, 200},
                              {"boris", false, true, 403},
                              {"anna", false, true, 200},
                              {"eve", true, false, 200},
                              {"eve", false, true, 500}}) {
        Route.User = Route.Administrator = false;
        Cookie.clear();
        if (*Case.User != '\0') SignIn(Case.User);
        Route.User = Case.NeedsUser;
        Route.Administrator = Case.NeedsAdministrator;
        const TReply Reply = Run("response:Write('secret')");
        EXPECT_EQ(Reply.Status, Case.Status) << Case.User;
        EXPECT_EQ(Reply.Body.find("secret") != std::string::npos, Case.Status == 200) << Case.User;
    }
    EXPECT_THAT(Logger.Text(), HasSubstr("no database"));
}

TEST_F(SignInTest, TheWayToTheSignInPageRemembersWhereToGo) {
    struct TCase {
        const char* Method;
        std::u16string Path;
        std::string Query;
        std::string Back; // decoded
    };
    Route.User = true;
    for (const TCase& Case : {TCase{"GET", u"/orders", "q=%D0%96&n=1", "/orders?q=%D0%96&n=1"},
                              {"POST", u"/orders", "q=1", "/orders"},
                              {"HEAD", u"/a b/ж?", "", "/a%20b/%D0%B6%3F"},
                              {"GET", u"/orders", std::string(3000, 'x'), ""}}) {
        Raw.Method = Case.Method;
        Raw.Path = Case.Path;
        Raw.Query = Case.Query;
        const std::string Location = HeaderOf(Run(""), "Location");
        const std::string Start = "/%D0%B2%D1%85%D0%BE%D0%B4";
        if (Case.Back.empty()) {
            EXPECT_EQ(Location, Start);
            continue;
        }
        ASSERT_TRUE(Location.starts_with(Start + "?back=")) << Location;
        const auto Fields = ParseFormFields(std::string_view(Location).substr(Start.size() + 1));
        ASSERT_TRUE(Fields && Fields->size() == 1) << Location;
        EXPECT_EQ(platform::Utf16ToUtf8(Fields->front().Value), Case.Back);
    }
}

TEST_F(SignInTest, NothingOfAPageStaysOnItsThread) {
    class TNote : public TObject {};
    class TRunner : public TModuleRunner {
        void Run(std::u16string_view, TWebRequest& Request, TWebResponse&) override {
            EXPECT_EQ(ThreadObjects().Get(u"LastError"), nullptr);
            EXPECT_EQ(ZUThreadDataContainer->CurrentData()->Params.Count(), 0);
            ThreadObjects().Add(u"LastError", std::make_unique<TNote>());
            ZUThreadDataContainer->CurrentData()->Params.AddParam(u"A", u"1");
            EXPECT_NE(Request.Session, nullptr);
            throw Exception(u"however it ends");
        }
    };
    const TModuleRunnerFactory Plain = [] { return std::make_unique<TRunner>(); };
    TWorker Other(Plain);
    for (int Round = 0; Round < 2; ++Round) EXPECT_EQ(Handler.Handle(Raw, Route, Other).Reply.Status, 500);
    EXPECT_EQ(ThreadObjects().Get(u"LastError"), nullptr);
    EXPECT_EQ(ZUThreadDataContainer->CurrentData()->Params.Count(), 0);
}

TEST_F(SignInTest, AServiceWithoutUsersSaysSo) {
    const TPageHooks None;
    const TPageHandler Plain{Config, Sessions, Gate, Logger, Localizer, None};
    Route.ModuleFile = Folder.Write(u"x.lua", "session.sign_in('a', 'b')");
    EXPECT_EQ(Plain.Handle(Raw, Route, *Worker).Reply.Status, 500);
    EXPECT_THAT(Logger.Text(), HasSubstr("this service has no users"));
}

} // namespace
