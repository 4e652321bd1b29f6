#include "server/web/Server.h"

#include "host/Session.h"
#include "platform/Text.h"
#include "server/lua/LuaEngine.h"
#include "tests/server/web/ServerTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <zlib.h>

#include <condition_variable>
#include <filesystem>
#include <functional>
#include <latch>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

using namespace zutools;
using namespace zutools::server;
using testing::HasSubstr;
using testing::Not;

namespace {

// ---- Pages

TEST_F(ServerTest, AModuleAnswers) {
    Module(u"/заказы", [](TWebRequest& Request, TWebResponse& Response) {
        Response.Write(u"<p>" + Request.Method + u" " + Request.Path + u" " + Request.Params.Value(u"q") +
                       u" " + Request.RemoteAddress + u"</p>");
        Response.SetHeader(u"X-Own", u"1");
    });
    Start();
    THttpClient Client(Server->Port());
    const THttpAnswer Page = Client.Get("/%D0%B7%D0%B0%D0%BA%D0%B0%D0%B7%D1%8B?q=%D0%96+1");
    EXPECT_EQ(Page.Status, 200);
    EXPECT_EQ(Page.Body, "<p>GET /заказы Ж 1 127.0.0.1</p>");
    EXPECT_EQ(Page.Header("Content-Type"), "text/html; charset=utf-8");
    EXPECT_EQ(Page.Header("X-Own"), "1");
    EXPECT_EQ(Page.Header("Cache-Control"), "no-store");
    EXPECT_EQ(Page.Header("X-Content-Type-Options"), "nosniff");
    EXPECT_EQ(Page.Header("X-Frame-Options"), "SAMEORIGIN");
    EXPECT_EQ(Page.Header("Referrer-Policy"), "same-origin");
    EXPECT_EQ(Page.Header("Content-Security-Policy"), Config.ContentSecurityPolicy);
    // The same connection again, without a body this time.
    const THttpAnswer Head = Client.Ask("HEAD", "/%D0%B7%D0%B0%D0%BA%D0%B0%D0%B7%D1%8B?q=1");
    EXPECT_EQ(Head.Status, 200);
    EXPECT_NE(Head.Header("Content-Length"), "0");
    EXPECT_EQ(Client.Get("/nowhere").Status, 404);
}

TEST_F(ServerTest, RedirectsAndOtherStatuses) {
    Module(u"/go", [](TWebRequest&, TWebResponse& Response) { Response.Redirect(u"/orders?q=Ж", false); });
    Module(u"/gone", [](TWebRequest&, TWebResponse& Response) {
        Response.SetStatus(410);
        Response.SetContentType(u"text/plain; charset=utf-8");
        Response.SetHeader(u"content-security-policy", u"default-src 'none'");
        Response.Write(u"gone");
    });
    Start();
    const THttpAnswer Go = Get("/go");
    EXPECT_EQ(Go.Status, 303);
    EXPECT_EQ(Go.Header("Location"), "/orders?q=%d0%96");
    const THttpAnswer Gone = Get("/gone");
    EXPECT_EQ(Gone.Status, 410);
    EXPECT_EQ(Gone.Header("Content-Type"), "text/plain; charset=utf-8");
    EXPECT_EQ(Gone.Header("Content-Security-Policy"), "default-src 'none'");
    EXPECT_EQ(Gone.Body, "gone");
}

TEST_F(ServerTest, OtherMethodsAreNotAllowed) {
    EchoModule(u"/echo", false);
    Start();
    for (const std::string_view Method : {"PUT", "DELETE", "OPTIONS", "PATCH", "TRACE", "BREW"}) {
        const THttpAnswer Answer = THttpClient(Server->Port()).Ask(Method, "/echo");
        EXPECT_EQ(Answer.Status, 405) << Method;
        EXPECT_EQ(Answer.Header("Allow"), "GET, HEAD, POST") << Method;
    }
}

TEST_F(ServerTest, MalformedRequestsGetAPlainPageAndTheServiceGoesOn) {
    EchoModule(u"/echo", false);
    Start();
    for (const std::string_view Target :
         {"/echo?q=%FF%FE", "/echo?q=%00", "/echo?%00=q", "/echo?q=%", "/echo?q=%4", "/echo?q=%zz",
          "/echo?q=\xFF", "/echo%00", "/%FF", "/%E2%82", "/echo%", "*", "echo", "ftp://x/echo"}) {
        const THttpAnswer Answer = Get(Target);
        EXPECT_EQ(Answer.Status, 400) << Target;
    }
    for (const std::string_view Form : {"q=%FF%FE", "q=%00", "%00=q", "q=%", "q=\xFF"}) {
        const THttpAnswer Answer = Post("/echo", Form);
        EXPECT_EQ(Answer.Status, 400) << Form;
        EXPECT_THAT(Answer.Body, HasSubstr("Bad request"));
    }
    EXPECT_EQ(Post("/echo", std::string_view("q=\0", 3)).Status, 400);
    using namespace std::string_view_literals;
    EXPECT_EQ(Get("/echo\0x"sv).Status, 400);
    EXPECT_EQ(Get("/echo?q=1\0"sv).Status, 400);
    EXPECT_EQ(Get("/echo", "Host: other\r\n").Status, 400);
    EXPECT_EQ(Post("/echo", "q=1", "Content-Length: 4\r\n").Status, 400);
    EXPECT_EQ(Post("/echo", "0\r\n\r\n", "Transfer-Encoding: chunked\r\n").Status, 400);
    EXPECT_EQ(Get("/echo?q=1").Body, "q=1|");
}

TEST_F(ServerTest, BytesThatAreNoHttpDoNotStopTheService) {
    EchoModule(u"/echo", false);
    Start();
    using namespace std::string_view_literals;
    for (const std::string_view Bytes :
         {"\r\n\r\n\r\n"sv, "GET\r\n\r\n"sv, "GET /echo\0x HTTP/1.1\r\nHost: t\r\n\r\n"sv,
          "\x16\x03\x01\x02\0"sv, "GET /echo HTTP/9.9\r\n\r\n"sv,
          "POST /echo HTTP/1.1\r\nHost: t\r\nContent-Length: -1\r\n\r\n"sv,
          "POST /echo HTTP/1.1\r\nHost: t\r\nContent-Length: 99999999999999999999\r\n\r\n"sv,
          "POST /echo HTTP/1.1\r\nHost: t\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n"sv}) {
        THttpClient Client(Server->Port());
        Client.Send(Bytes);
    }
    EXPECT_EQ(Get("/" + std::string(200'000, 'a')).Status / 100, 4);
    EXPECT_EQ(Get("/echo", "X: " + std::string(200'000, 'a') + "\r\n").Status / 100, 4);
    EXPECT_EQ(Get("/echo?q=1").Body, "q=1|");
}

// ---- Forms

TEST_F(ServerTest, FormFieldsWinOverTheQuery) {
    EchoModule(u"/echo", false);
    Start();
    EXPECT_EQ(Post("/echo?a=1&b=2", "b=3&c=%D0%96+x").Body, "a=1|b=3|c=Ж x|");
    EXPECT_EQ(Post("/echo", "").Body, "");
    EXPECT_EQ(Post("/echo", "a=1", {}, "Application/X-WWW-Form-URLEncoded; charset=utf-8").Body, "a=1|");
    EXPECT_EQ(Post("/echo", "{}", {}, "application/json").Status, 200);
    EXPECT_EQ(Post("/echo", "{}", {}, "text/plain").Status, 415);
}

std::string Part(std::string_view Disposition, std::string_view Content, std::string_view Headers = {}) {
    return "--Bound\r\nContent-Disposition: form-data; " + std::string(Disposition) + "\r\n" +
           std::string(Headers) + "\r\n" + std::string(Content) + "\r\n";
}

constexpr std::string_view MultipartType = "multipart/form-data; boundary=Bound";

TEST_F(ServerTest, MultipartFieldsAndFiles) {
    EchoModule(u"/echo", false);
    Start();
    const std::string Large(60'000, 'x'); // more than one piece
    const std::string Body =
        Part("name=\"a\"", "1") + Part("name=\"empty\"", "") + Part("name=\"имя\"", "Жук") +
        Part("name=\"f\"; filename=\"C:\\dir\\отчёт.txt\"", Large, "Content-Type: text/plain\r\n") +
        Part("name=\"none\"; filename=\"\"", "", "Content-Type: application/octet-stream\r\n") +
        "--Bound--\r\n";
    EXPECT_EQ(Post("/echo", Body, {}, MultipartType).Body,
              "a=1|empty=|имя=Жук| f:отчёт.txt:text/plain:" + Large);
}

TEST_F(ServerTest, MalformedMultipartIsRefused) {
    EchoModule(u"/echo", false);
    Start();
    const struct {
        std::string_view Name;
        std::string Body;
        std::string_view Type = MultipartType;
    } Cases[] = {
        {"no boundary", Part("name=\"a\"", "1") + "--Bound--\r\n", "multipart/form-data"},
        {"cut in the middle", Part("name=\"a\"", "1")},
        {"no UTF-8 in a value", Part("name=\"a\"", "\xFF") + "--Bound--\r\n"},
        {"no UTF-8 in a name", Part("name=\"\xFF\"", "1") + "--Bound--\r\n"},
        {"no UTF-8 in a file name", Part("name=\"a\"; filename=\"\xFF\"", "1") + "--Bound--\r\n"},
        {"NUL in a value", Part("name=\"a\"", std::string_view("\0", 1)) + "--Bound--\r\n"},
        {"a header without end", "--Bound\r\nContent-Disposition: " + std::string(90'000, 'x')},
    };
    for (const auto& Case : Cases)
        EXPECT_EQ(Post("/echo", Case.Body, {}, Case.Type).Status, 400) << Case.Name;
}

TEST_F(ServerTest, BodiesPastTheLimitAreRefused) {
    EchoModule(u"/echo", false);
    Start();
    const std::string Most = "a=" + std::string(Config.Limits.BodyBytes - 2, 'x');
    EXPECT_EQ(Post("/echo", Most).Status, 200);
    EXPECT_EQ(Post("/echo", Most + "x").Status, 413);
    EXPECT_EQ(Post("/nowhere", Most + "x").Status, 413);
    EXPECT_EQ(
        Post("/echo", Part("name=\"f\"; filename=\"f\"", Most) + "--Bound--\r\n", {}, MultipartType).Status,
        413);

    THttpClient Chunked(Server->Port());
    Chunked.Send("POST /echo HTTP/1.1\r\nHost: t\r\nContent-Type: application/x-www-form-urlencoded\r\n"
                 "Transfer-Encoding: chunked\r\n\r\n");
    const std::string Chunk = "2710\r\n" + std::string(10'000, 'x') + "\r\n";
    for (int Count = 0; Count < 11; ++Count) Chunked.Send(Chunk);
    Chunked.Send("0\r\n\r\n");
    EXPECT_EQ(Chunked.Read().Status, 413);

    // A client that asks first is told before it sends anything.
    THttpClient Asking(Server->Port());
    Asking.Send("POST /echo HTTP/1.1\r\nHost: t\r\nExpect: 100-continue\r\nContent-Length: 100001\r\n\r\n");
    EXPECT_EQ(Asking.Read().Status, 413);

    // One that never ends is cut off.
    THttpClient Endless(Server->Port());
    Endless.Send("POST /echo HTTP/1.1\r\nHost: t\r\nTransfer-Encoding: chunked\r\n\r\n");
    const std::string Big = "100000\r\n" + std::string(0x100000, 'x') + "\r\n";
    int Taken = 0;
    while (Endless.Send(Big)) ASSERT_LT(++Taken, 200);
    EXPECT_EQ(Get("/echo?q=1").Body, "q=1|");
}

// ---- Sessions

TEST_F(ServerTest, TheSessionCookieIsASecretOfTheBrowser) {
    std::u16string Sid;
    Module(u"/", [&](TWebRequest& Request, TWebResponse& Response) {
        Sid = CurrentSession()->SID;
        Response.Write(Sid + u"|" + platform::Utf8ToUtf16(Request.FindHeader("cookie")));
    });
    Config.Static.Folder = Folder.Path();
    Folder.Write(u"a.css", "");
    Start();
    const THttpAnswer First = Get("/");
    const std::string Cookie = First.Header("Set-Cookie");
    EXPECT_THAT(Cookie, testing::MatchesRegex("zusid=[0-9a-f]{72}; Path=/; HttpOnly; SameSite=Lax"));
    const std::string Secret = Cookie.substr(6, 32);
    const std::u16string FirstSid = Sid;
    EXPECT_THAT(First.Body, Not(HasSubstr(Secret)));

    const THttpAnswer Second = Get("/", CookieOf(First));
    EXPECT_EQ(Second.Header("Set-Cookie"), "");
    EXPECT_EQ(Sid, FirstSid);
    Get("/", "Cookie: zusid=" + std::string(32, '0') + "\r\n");
    EXPECT_NE(Sid, FirstSid);
    EXPECT_EQ(Get("/static/a.css").Header("Set-Cookie"), "") << "files need no session";

    EXPECT_THAT(Logger.WaitFor("session=" + platform::Utf16ToUtf8(FirstSid)), HasSubstr("GET \"/\" 200"));
    EXPECT_THAT(Logger.Text(), Not(HasSubstr(Secret)));
}

TEST_F(ServerTest, TheCookieIsSecureWhenConfigured) {
    EchoModule(u"/", true);
    Config.Session.Secure = true;
    Start();
    const THttpAnswer First = Get("/");
    EXPECT_THAT(First.Header("Set-Cookie"),
                testing::MatchesRegex("__Host-zusid=[0-9a-f]{72}; Path=/; HttpOnly; SameSite=Lax; Secure"));
    EXPECT_EQ(Get("/", CookieOf(First)).Header("Set-Cookie"), "");
}

TEST_F(ServerTest, TheWorkerHasTheSessionWhileTheModuleRunsOnly) {
    Config.Limits.Threads = 1;
    bool Before = true;
    Hooks.Filters.push_back([&](const TWebRequest& Request) -> std::optional<TRefusal> {
        Before = Before && CurrentSession() != nullptr && CurrentSession()->LanguageID == Request.Language;
        return std::nullopt;
    });
    Module(u"/", [](TWebRequest&, TWebResponse&) { throw std::runtime_error("leaves in a hurry"); });
    bool After = true;
    std::latch Served(1);
    std::latch Told(1);
    Hooks.SessionEnded = [&](const TSessionState&) {
        After = CurrentSession() != nullptr;
        Served.wait(); // what ends holds up no page
        Told.count_down();
    };
    Config.Session.Count = 1;
    Start();
    Get("/?lang=ru");
    Get("/?lang=ru"); // ends the first session
    EXPECT_EQ(Get("/").Status, 500);
    Served.count_down();
    Told.wait();
    EXPECT_TRUE(Before);
    EXPECT_FALSE(After);
}

TEST_F(ServerTest, WritesNeedTheFormToken) {
    Module(u"/form", [](TWebRequest& Request, TWebResponse& Response) {
        Response.Write(Request.FormToken + u"|" + Request.Params.AsString());
    });
    EchoModule(u"/hook", false);
    Start();
    const THttpAnswer Page = Get("/form");
    const std::string Cookie = CookieOf(Page);
    const std::string Token = Page.Body.substr(0, 32);
    const std::string Foreign = Get("/form").Body.substr(0, 32);

    EXPECT_EQ(Post("/form", "a=1&form_token=" + Token, Cookie).Body, Token + "|a=1")
        << "the token is no parameter";
    EXPECT_EQ(
        Post("/form", Part("name=\"form_token\"", Token) + "--Bound--\r\n", Cookie, MultipartType).Status,
        200);
    const struct {
        std::string_view Name;
        std::string Target;
        std::string Body;
        std::string Cookie;
    } Refused[] = {
        {"none", "/form", "a=1", Cookie},
        {"empty", "/form", "form_token=", Cookie},
        {"another session's", "/form", "form_token=" + Foreign, Cookie},
        {"too long", "/form", "form_token=" + Token + "0", Cookie},
        {"in the address", "/form?form_token=" + Token, "a=1", Cookie},
        {"no session", "/form", "form_token=" + Token, ""},
    };
    for (const auto& Case : Refused) {
        const THttpAnswer Answer = Post(Case.Target, Case.Body, Case.Cookie);
        EXPECT_EQ(Answer.Status, 403) << Case.Name;
        EXPECT_THAT(Answer.Body, HasSubstr("This form is out of date")) << Case.Name;
    }
    EXPECT_EQ(Post("/hook", "a=1").Body, "a=1|");
}

TEST_F(ServerTest, LanguageBySessionThenBrowserThenDefault) {
    Module(u"/", [](TWebRequest& Request, TWebResponse& Response) {
        EXPECT_EQ(CurrentSession()->LanguageID, Request.Language);
        Response.Write(Request.Language);
    });
    Start();
    constexpr std::string_view English = "Accept-Language: de, en-GB;q=0.8\r\n";
    EXPECT_EQ(Get("/").Body, "ru");
    const THttpAnswer Page = Get("/", English);
    EXPECT_EQ(Page.Body, "en");
    const std::string Headers = CookieOf(Page) + std::string(English);
    EXPECT_EQ(Get("/?lang=de", Headers).Body, "en") << "not configured";
    EXPECT_EQ(Get("/?lang=ru", Headers).Body, "ru");
    EXPECT_EQ(Get("/", Headers).Body, "ru") << "kept by the session";
}

// ---- Refusals and failures

TEST_F(ServerTest, AFilterRefusesBeforeTheModule) {
    EchoModule(u"/echo", false);
    Hooks.Filters.push_back([](const TWebRequest& Request) -> std::optional<TRefusal> {
        if (Request.Params.Value(u"q") != u"evil") return std::nullopt;
        return TRefusal{400, u"Field <q>", u"q is evil"};
    });
    Start();
    EXPECT_EQ(Get("/echo?q=good").Body, "q=good|");
    const THttpAnswer Refused = Get("/echo?q=evil");
    EXPECT_EQ(Refused.Status, 400);
    EXPECT_THAT(Refused.Body, HasSubstr("Field &lt;q&gt;"));
    (void)Logger.WaitFor("request refused before echo.lua: q is evil");
}

TEST_F(ServerTest, AFailureShowsTheUserAnIdAndTheLogTheTraceback) {
    Module(u"/script", [](TWebRequest&, TWebResponse& Response) {
        Response.Write(u"half a page");
        throw EScriptError(u"script.lua:3: attempt to index a nil value",
                           u"script.lua:3: in function 'secret'");
    });
    Module(u"/other", [](TWebRequest&, TWebResponse&) { throw std::runtime_error("disk on fire"); });
    Start();
    const THttpAnswer Script = Get("/script");
    EXPECT_EQ(Script.Status, 500);
    EXPECT_THAT(Script.Body, Not(HasSubstr("script")));
    EXPECT_THAT(Script.Body, Not(HasSubstr("half a page")));
    const std::string Line = Logger.WaitFor("page error");
    EXPECT_THAT(Line, HasSubstr("attempt to index a nil value"));
    EXPECT_THAT(Line, HasSubstr("in function 'secret'"));
    const std::string Id = Line.substr(11, 8);
    EXPECT_THAT(Script.Body, HasSubstr("<p>" + Id + "</p>"));
    EXPECT_THAT(Get("/other").Body, Not(HasSubstr("fire")));
    (void)Logger.WaitFor("in other.lua: disk on fire");
}

TEST_F(ServerTest, ErrorPagesSpeakTheLocalizersWords) {
    class TTable : public TLocalizatorTable {
        std::u16string GetString(std::u16string_view Key, std::u16string_view LanguageID) override {
            return Key == u"http.404.title" ? u"Нет такой страницы/" + std::u16string(LanguageID)
                                            : std::u16string(Key);
        }
    } Table;
    Server = std::make_unique<TWebServer>(Config, Hooks, Logger, Table);
    Server->Start();
    EXPECT_THAT(Get("/nowhere", "Accept-Language: en\r\n").Body,
                HasSubstr("<h1>Нет такой страницы/en</h1>\n<p>There is no such page."));
    Server.reset();
}

TEST_F(ServerTest, TheLogHasThePathWithoutItsQueryOnOneLine) {
    EchoModule(u"/echo", false);
    Start();
    Get("/echo%0A?password=secret", "Accept-Language: en\r\n");
    const std::string Line = Logger.WaitFor("/echo%0A");
    EXPECT_THAT(
        Line,
        testing::MatchesRegex(
            R"(GET "/echo%0A" 404 [0-9]+ bytes [0-9]+ ms session=- language=en address=127.0.0.1 user=-)"));
}

// ---- Files

TEST_F(ServerTest, FilesAreSentAndKeptByTheBrowser) {
    Config.Static.Folder = Folder.Path();
    Config.Static.MaxAge = 60;
    Folder.Write(u"css/a.css", "p {}");
    Start();
    const THttpAnswer File = Get("/static/css/a.css");
    EXPECT_EQ(File.Status, 200);
    EXPECT_EQ(File.Body, "p {}");
    EXPECT_EQ(File.Header("Content-Type"), "text/css; charset=utf-8");
    EXPECT_EQ(File.Header("Cache-Control"), "public, max-age=60");
    EXPECT_EQ(File.Header("X-Content-Type-Options"), "nosniff");
    const std::string Tag = "If-None-Match: " + File.Header("ETag") + "\r\n";
    const std::string Since = "If-Modified-Since: " + File.Header("Last-Modified") + "\r\n";
    EXPECT_EQ(Get("/static/css/a.css", Tag).Status, 304);
    EXPECT_EQ(Get("/static/css/a.css", Since).Status, 304);
    EXPECT_EQ(Get("/static/css/a.css", "If-None-Match: \"x\"\r\n" + Since).Status, 200) << "the tag decides";
    EXPECT_EQ(Get("/static/css/a.css", "If-Modified-Since: Thu, 01 Jan 1970 00:00:00 GMT\r\n").Status, 200);
    const THttpAnswer Written = Post("/static/css/a.css", "a=1");
    EXPECT_EQ(Written.Status, 405);
    EXPECT_EQ(Written.Header("Allow"), "GET, HEAD");
}

TEST_F(ServerTest, PartsOfFilesAndPackedOnes) {
    Config.Static.Folder = Folder.Path();
    Folder.Write(u"a.txt", "0123456789");
    Start();
    const THttpAnswer Whole = Get("/static/a.txt");
    const struct {
        std::string Headers;
        int Status;
        std::string Body;
        std::string Range = {};
    } Rows[] = {
        {"Range: bytes=2-4\r\n", 206, "234", "bytes 2-4/10"},
        {"Range: bytes=7-\r\n", 206, "789", "bytes 7-9/10"},
        {"Range: bytes=-3\r\n", 206, "789", "bytes 7-9/10"},
        {"Range: bytes=-99\r\n", 206, "0123456789", "bytes 0-9/10"},
        {"Range: bytes=8-99\r\n", 206, "89", "bytes 8-9/10"},
        {"Range: bytes=10-\r\n", 416, "", "bytes */10"},
        {"Range: bytes=-0\r\n", 416, "", "bytes */10"},
        {"Range: bytes=4-2\r\n", 200, Whole.Body},
        {"Range: bytes=1-2,4-5\r\n", 200, Whole.Body},
        {"Range: bytes=-\r\n", 200, Whole.Body},
        {"Range: lines=1-2\r\n", 200, Whole.Body},
        {"Range: bytes=2-4\r\nIf-Range: " + Whole.Header("ETag") + "\r\n", 206, "234", "bytes 2-4/10"},
        {"Range: bytes=2-4\r\nIf-Range: \"other\"\r\n", 200, Whole.Body},
    };
    for (const auto& Row : Rows) {
        const THttpAnswer Answer = Get("/static/a.txt", Row.Headers);
        EXPECT_EQ(Answer.Status, Row.Status) << Row.Headers;
        EXPECT_EQ(Answer.Body, Row.Body) << Row.Headers;
        EXPECT_EQ(Answer.Header("Content-Range"), Row.Range) << Row.Headers;
    }
    const auto Packed = [&] { return Get("/static/a.txt", "Accept-Encoding: br, gzip\r\n"); };
    EXPECT_EQ(Packed().Body, Whole.Body);
    Folder.Write(u"a.txt.gz", "packed");
    EXPECT_EQ(Packed().Body, "packed");
    EXPECT_EQ(Packed().Header("Content-Encoding"), "gzip");
    EXPECT_EQ(Packed().Header("Content-Type"), "text/plain; charset=utf-8");
    EXPECT_NE(Packed().Header("ETag"), Whole.Header("ETag"));
    EXPECT_EQ(Get("/static/a.txt", "Accept-Encoding: gzip;q=0, *\r\n").Body, Whole.Body);
    const auto Old = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
    std::filesystem::last_write_time(std::filesystem::path(Folder.File(u"a.txt.gz")), Old);
    EXPECT_EQ(Packed().Body, Whole.Body) << "what was packed is older than the file";
}

TEST_F(ServerTest, TextsArePackedForThoseWhoTakeIt) {
    const std::u16string Text(5000, u'x');
    Module(u"/text", [&](TWebRequest& Request, TWebResponse& Response) {
        if (Request.Params.Value(u"tag") != u"") Response.SetHeader(u"ETag", u"\"1\"");
        if (Request.Params.Value(u"png") != u"") Response.SetContentType(u"image/png");
        Response.Write(Request.Params.Value(u"short") != u"" ? u"short" : Text);
    });
    Start();
    const THttpAnswer Packed = Get("/text", "Accept-Encoding: gzip\r\n");
    EXPECT_EQ(Packed.Header("Content-Encoding"), "gzip");
    EXPECT_EQ(Packed.Header("Vary"), "Accept-Encoding");
    EXPECT_LT(Packed.Body.size(), 500U);
    std::string Plain(2 * Text.size(), '\0');
    z_stream Stream{};
    Stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(Packed.Body.data()));
    Stream.avail_in = static_cast<uInt>(Packed.Body.size());
    Stream.next_out = reinterpret_cast<Bytef*>(Plain.data());
    Stream.avail_out = static_cast<uInt>(Plain.size());
    ASSERT_EQ(inflateInit2(&Stream, 31), Z_OK);
    EXPECT_EQ(inflate(&Stream, Z_FINISH), Z_STREAM_END);
    EXPECT_EQ(Plain.substr(0, Stream.total_out), std::string(5000, 'x'));
    inflateEnd(&Stream);
    for (const std::string_view Target : {"/text?tag=1", "/text?png=1", "/text?short=1"})
        EXPECT_EQ(Get(Target, "Accept-Encoding: gzip\r\n").Header("Content-Encoding"), "") << Target;
    EXPECT_EQ(Get("/text", "Accept-Encoding: br, gzip; q=0.0\r\n").Body, std::string(5000, 'x'));
}

TEST_F(ServerTest, NamesCannotLeaveTheStaticFolder) {
    Folder.Write(u"site/a.css", "a");
    Folder.Write(u"site/.hidden", "h");
    Folder.Write(u"site/.git/config", "h");
    Folder.Write(u"site2/secret", "s");
    Folder.Write(u"secret", "s");
    std::filesystem::create_symlink("../secret", std::filesystem::path(Folder.File(u"site/link")));
    std::filesystem::create_symlink("../site2", std::filesystem::path(Folder.File(u"site/dir")));
    std::filesystem::create_symlink("a.css", std::filesystem::path(Folder.File(u"site/inside.css")));
    Config.Static.Folder = Folder.File(u"site");
    Start();
    for (const std::string_view Target :
         {"/static/../secret", "/static/%2e%2e/secret", "/static/..%2fsecret", "/static/..\\secret",
          "/static/%5c..%5csecret", "/static//etc/passwd", "/static/./a.css", "/static/.hidden",
          "/static/.git/config", "/static/link", "/static/dir/secret", "/static/", "/static",
          "/static/a.css/", "/static/c:a.css"}) {
        EXPECT_EQ(Get(Target).Status, 404) << Target;
    }
    EXPECT_EQ(Get("/static/a.css").Body, "a");
    EXPECT_EQ(Get("/static/inside.css").Body, "a");
}

// ---- Threads

TEST_F(ServerTest, ASlowPageHoldsUpNobody) {
    std::latch Running(1);
    std::latch Release(1);
    Module(u"/slow", [&](TWebRequest&, TWebResponse& Response) {
        Running.count_down();
        Release.wait();
        Response.Write(u"slow");
    });
    EchoModule(u"/echo", false);
    Start();
    THttpClient Slow(Server->Port());
    Slow.Send("GET /slow HTTP/1.1\r\nHost: t\r\n\r\n");
    Running.wait();
    // More than there are network threads, so that each of them is asked.
    for (int Count = 0; Count < 8; ++Count) EXPECT_EQ(Get("/echo?q=1").Body, "q=1|");
    Release.count_down();
    EXPECT_EQ(Slow.Read().Body, "slow");
}

TEST_F(ServerTest, AFullQueueTurnsAway) {
    Config.Limits.Threads = 1;
    Config.Limits.Queue = 1;
    std::latch Running(1);
    std::latch Release(1);
    Module(u"/slow", [&](TWebRequest&, TWebResponse&) {
        Running.count_down();
        Release.wait();
    });
    EchoModule(u"/echo", false);
    Start();
    THttpClient Slow(Server->Port());
    Slow.Send("GET /slow HTTP/1.1\r\nHost: t\r\n\r\n");
    Running.wait();
    // One of these two waits for the worker; the other finds no room.
    THttpClient First(Server->Port());
    THttpClient Second(Server->Port());
    First.Send("GET /echo?q=1 HTTP/1.1\r\nHost: t\r\n\r\n");
    Second.Send("GET /echo?q=1 HTTP/1.1\r\nHost: t\r\n\r\n");
    (void)Logger.WaitFor("\"/echo\" 503");
    Release.count_down();
    const THttpAnswer Answers[] = {First.Read(), Second.Read()};
    EXPECT_EQ((std::multiset{Answers[0].Status, Answers[1].Status}), (std::multiset{200, 503}));
    EXPECT_EQ((Answers[0].Status == 503 ? Answers[0] : Answers[1]).Header("Retry-After"), "1");
}

TEST_F(ServerTest, ARunnerThatCannotBeMadeIsTriedAgain) {
    EchoModule(u"/echo", false);
    int Calls = 0;
    Config.Limits.Threads = 1;
    Hooks.MakeRunner = [&]() -> std::unique_ptr<TModuleRunner> {
        if (++Calls == 1) throw std::runtime_error("no memory");
        return std::make_unique<TFunctionRunner>(Modules);
    };
    Server = std::make_unique<TWebServer>(Config, Hooks, Logger, Localizer);
    Server->Start();
    EXPECT_EQ(Get("/echo?q=1").Status, 500);
    EXPECT_EQ(Get("/echo?q=1").Body, "q=1|");
    EXPECT_EQ(Get("/echo?q=1").Body, "q=1|");
    EXPECT_EQ(Calls, 2);
}

TEST_F(ServerTest, StopFinishesTheRunningPage) {
    std::latch Running(1);
    std::latch Release(1);
    Module(u"/slow", [&](TWebRequest&, TWebResponse& Response) {
        Running.count_down();
        Release.wait();
        Response.Write(u"finished");
    });
    EchoModule(u"/echo", false);
    Start();
    THttpClient Idle(Server->Port());
    EXPECT_EQ(Idle.Get("/echo?q=1").Body, "q=1|");
    THttpClient Slow(Server->Port());
    Slow.Send("GET /slow HTTP/1.1\r\nHost: t\r\n\r\n");
    Running.wait();
    bool Ended = false;
    std::thread Stopper([&] { Ended = Server->Stop(); });
    // A connection that was open before is told that it is over; then the page may finish.
    while (Idle.Get("/echo?q=1").Status == 200) {
    }
    Release.count_down();
    EXPECT_EQ(Slow.Read().Body, "finished");
    Stopper.join();
    EXPECT_TRUE(Ended);
    EXPECT_THROW(THttpClient Late(Server->Port()), std::runtime_error);
}

TEST_F(ServerTest, StopDoesNotWaitForEver) {
    Config.Limits.StopSeconds = 0;
    Config.Limits.Threads = 1;
    std::latch Running(1);
    std::latch Release(1);
    Module(u"/slow", [&](TWebRequest&, TWebResponse&) {
        Running.count_down();
        Release.wait();
    });
    Start();
    THttpClient Slow(Server->Port());
    THttpClient Queued(Server->Port());
    Slow.Send("GET /slow HTTP/1.1\r\nHost: t\r\n\r\n");
    Running.wait();
    Queued.Send("GET /slow HTTP/1.1\r\nHost: t\r\n\r\n");
    EXPECT_FALSE(Server->Stop()) << "a module is running still";
    EXPECT_NE(Slow.Read().Status, 200);
    EXPECT_NE(Queued.Read().Status, 200);
    Release.count_down();
    Server.reset();
}

TEST_F(ServerTest, APortInUseIsToldByName) {
    Start();
    TWebConfig Same = Config;
    Same.Port = Server->Port();
    TWebServer Second(Same, Hooks, Logger, Localizer);
    try {
        Second.Start();
        FAIL() << "bound twice";
    } catch (const std::exception& Error) {
        EXPECT_THAT(Error.what(),
                    HasSubstr("Cannot listen on \"127.0.0.1:" + std::to_string(Same.Port) + "\""));
    }
}

TEST_F(ServerTest, ManyClientsAtOnce) {
    EchoModule(u"/echo", true);
    Config.Static.Folder = Folder.Path();
    Folder.Write(u"a.css", "p {}");
    Start();
    std::vector<std::thread> Clients;
    for (int Index = 0; Index < 8; ++Index) {
        Clients.emplace_back([this, Index] {
            THttpClient Client(Server->Port());
            const std::string Number = std::to_string(Index);
            for (int Round = 0; Round < 50; ++Round) {
                EXPECT_EQ(Client.Get("/echo?q=" + Number).Body, "q=" + Number + "|");
                EXPECT_EQ(Client.Get("/static/a.css").Body, "p {}");
                EXPECT_EQ(Client.Post("/echo", "a=1").Status, 403);
            }
        });
    }
    for (std::thread& Client : Clients) Client.join();
}

} // namespace
