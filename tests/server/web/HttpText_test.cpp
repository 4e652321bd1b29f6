#include "server/web/HttpText.h"

#include <gtest/gtest.h>

#include <array>

using namespace zutools::server;

namespace {

/// Fields in one line for comparing: "a=1|b=2", or "malformed".
std::u16string Shown(std::string_view Raw) {
    const auto Fields = ParseFormFields(Raw);
    if (!Fields) return u"malformed";
    std::u16string Text;
    for (const TFormField& Field : *Fields)
        Text += (Text.empty() ? u"" : u"|") + Field.Name + u"=" + Field.Value;
    return Text;
}

struct TFieldsCase {
    std::string_view Raw;
    std::u16string_view Expected;
};

TEST(HttpText, FormFields) {
    const TFieldsCase Cases[] = {
        {"", u""},
        {"a=1&b=2", u"a=1|b=2"},
        {"a=1&a=2", u"a=1|a=2"},
        {"&&a=1&", u"a=1"},
        {"a", u"a="},
        {"a=b=c", u"a=b=c"},
        {"q=%D0%9C%D0%B8%D1%80+%2B%26", u"q=Мир +&"},
        {"%71=\xD0\x9C", u"q=М"},
        {"a=%", u"malformed"},
        {"a=%4", u"malformed"},
        {"a=%4g", u"malformed"},
        {"a=%FF%FE", u"malformed"},
        {"a=%C0%80", u"malformed"},       // overlong
        {"a=%ED%A0%80", u"malformed"},    // surrogate
        {"a=%F4%90%80%80", u"malformed"}, // above U+10FFFF
        {"a=%D0", u"malformed"},          // cut in the middle
        {"a=\xFF", u"malformed"},
        {"a=%00", u"malformed"},
        {"%00=a", u"malformed"},
        {std::string_view("a=\0", 3), u"malformed"},
    };
    for (const TFieldsCase& Case : Cases) EXPECT_EQ(Shown(Case.Raw), Case.Expected) << Case.Raw;
}

TEST(HttpText, MoreFieldsThanAFormMayHaveAreMalformed) {
    std::string Raw;
    for (std::size_t Index = 0; Index < MaxFormFields; ++Index) Raw += "a=1&";
    EXPECT_EQ(ParseFormFields(Raw)->size(), MaxFormFields);
    EXPECT_FALSE(ParseFormFields(Raw + "a=1"));
}

TEST(HttpText, PlusIsABlankInFieldsOnly) {
    EXPECT_EQ(DecodePercent("a+b%20c", true), u"a b c");
    EXPECT_EQ(DecodePercent("a+b%20c", false), u"a+b c");
}

TEST(HttpText, TargetsInOriginAndAbsoluteForm) {
    const auto Split = [](std::string_view Raw) {
        const auto Target = SplitTarget(Raw);
        return Target ? std::string(Target->Path) + " ? " + std::string(Target->Query) : "malformed";
    };
    EXPECT_EQ(Split("/a/b?c=d?e"), "/a/b ? c=d?e");
    EXPECT_EQ(Split("/"), "/ ? ");
    EXPECT_EQ(Split("http://host:80/a?b"), "/a ? b");
    EXPECT_EQ(Split("HTTP://host"), "/ ? ");
    EXPECT_EQ(Split("http://host?b"), "/ ? b");
    EXPECT_EQ(Split("ftp://host/a"), "malformed");
    EXPECT_EQ(Split("*"), "malformed");
    EXPECT_EQ(Split("a/b"), "malformed");
    EXPECT_EQ(Split(""), "malformed");
}

struct TLanguageCase {
    std::string_view Header;
    std::u16string_view Expected;
};

TEST(HttpText, LanguageByWeightThenOrder) {
    const std::array<std::u16string, 3> Languages{u"ru", u"en", u"pt-BR"};
    const TLanguageCase Cases[] = {
        {"", u"ru"},
        {"en", u"en"},
        {"EN-us", u"en"},
        {"pt", u"pt-BR"},
        {"pt-br;q=0.5, en;q=0.4", u"pt-BR"},
        {"de, en;q=0.3, ru;q=0.7", u"ru"},
        {"en;q=0.7, ru;q=0.7", u"en"},
        {"de, fr", u"ru"},
        {"*", u"ru"},
        {"ru;q=0, *", u"en"},
        {"en;q=0", u"ru"},
        {"en;q=1.5, pt;q=0.1", u"pt-BR"}, // no weight: the entry is passed over
        {"en;q=0.1234, pt;q=0.1", u"pt-BR"},
        {"en;q=, pt;q=0.1", u"pt-BR"},
        {" en ; q = 0.2 ,, ;q=1, \xD0\x9C, pt ; q=0.1", u"en"},
        {"e", u"ru"}, // the beginning of a tag is no tag
    };
    for (const TLanguageCase& Case : Cases) {
        EXPECT_EQ(ChooseLanguage(Case.Header, Languages, u"ru"), Case.Expected) << Case.Header;
    }
}

TEST(HttpText, Cookies) {
    EXPECT_EQ(FindCookie("a=1; zusid=abc ;b=2", "zusid"), "abc");
    EXPECT_EQ(FindCookie("zusid=1; zusid=2", "zusid"), "1");
    EXPECT_EQ(FindCookie("xzusid=1; zusid2=2", "zusid"), "");
    EXPECT_EQ(FindCookie("zusid", "zusid"), "");
    EXPECT_EQ(FindCookie("", "zusid"), "");
}

struct TRedirectCase {
    std::u16string_view Url;
    std::string_view Inside;
    std::string_view Outside;
};

TEST(HttpText, RedirectsStayOnTheHostUnlessToldOtherwise) {
    constexpr std::string_view No = "refused";
    const TRedirectCase Cases[] = {
        {u"/orders?page=2#top", "/orders?page=2#top", "/orders?page=2#top"},
        {u"orders", "orders", "orders"},
        {u"?a=b:c", "?a=b:c", "?a=b:c"},
        {u"/поиск \"x\"", "/%d0%bf%d0%be%d0%b8%d1%81%d0%ba%20%22x%22",
         "/%d0%bf%d0%be%d0%b8%d1%81%d0%ba%20%22x%22"},
        {u"http://Host:81/a", "http://Host:81/a", "http://Host:81/a"},
        {u"//host:81/a", "//host:81/a", "//host:81/a"},
        {u"https://other/a", No, "https://other/a"},
        {u"//other/a", No, "//other/a"},
        {u"http://host:81@other/", No, No},
        {u"http:other", No, No},
        {u"///other", No, No},
        {u"javascript:alert(1)", No, No},
        {u"JavaScript:alert(1)", No, No},
        {u"data:text/html,x", No, No},
        {u"/\\other", No, No},
        {u"\\\\other", No, No},
        {u" //other", No, No},
        {u"/a\r\nSet-Cookie: x=y", No, No},
        {u"/a\tb", No, No},
        {u"/a\xD800", No, No},
        {u"", No, No},
    };
    for (const TRedirectCase& Case : Cases) {
        const std::string Shown(Case.Inside);
        EXPECT_EQ(RedirectLocation(Case.Url, "host:81", false).value_or("refused"), Case.Inside) << Shown;
        EXPECT_EQ(RedirectLocation(Case.Url, "host:81", true).value_or("refused"), Case.Outside) << Shown;
    }
}

TEST(HttpText, DatesThereAndBack) {
    EXPECT_EQ(HttpDate(784111777), "Sun, 06 Nov 1994 08:49:37 GMT");
    EXPECT_EQ(HttpDate(0), "Thu, 01 Jan 1970 00:00:00 GMT");
    EXPECT_EQ(ParseHttpDate("Sun, 06 Nov 1994 08:49:37 GMT"), 784111777);
    for (const std::string_view Bad : {"", "Sunday, 06-Nov-94 08:49:37 GMT", "Sun, 31 Feb 1994 08:49:37 GMT",
                                       "Sun, 06 Nov 1994 24:49:37 GMT", "Sun, 06 Nov 1994 08:49:37 UTC",
                                       "Sun, -6 Nov 1994 08:49:37 GMT", "Sun, 06 Nov 1994 08:49:3x GMT"}) {
        EXPECT_FALSE(ParseHttpDate(Bad)) << Bad;
    }
}

TEST(HttpText, EntityTags) {
    EXPECT_TRUE(ETagMatches("\"a\"", "\"a\""));
    EXPECT_TRUE(ETagMatches("\"b\", W/\"a\"", "\"a\""));
    EXPECT_TRUE(ETagMatches(" * ", "\"a\""));
    EXPECT_FALSE(ETagMatches("\"ab\"", "\"a\""));
    EXPECT_FALSE(ETagMatches("", "\"a\""));
}

TEST(HttpText, HeaderNamesAndValues) {
    EXPECT_TRUE(IsHeaderName("X-Name_1"));
    for (const std::string_view Bad : {"", "a b", "a:", "a\r", "\xD0\x9C"})
        EXPECT_FALSE(IsHeaderName(Bad)) << Bad;
    EXPECT_TRUE(IsHeaderValue("a; b=\"c\"\t"));
    for (const std::string_view Bad : {"a\r\nb", "a\n", "\xD0\x9C", "\x7F"})
        EXPECT_FALSE(IsHeaderValue(Bad)) << Bad;
    EXPECT_FALSE(IsHeaderValue(std::string_view("\0", 1)));
}

TEST(HttpText, ContentTypesIgnoreCase) {
    EXPECT_EQ(ContentTypeOf(u"a/b.CSS"), "text/css; charset=utf-8");
    EXPECT_EQ(ContentTypeOf(u"b.min.js"), "text/javascript; charset=utf-8");
    EXPECT_EQ(ContentTypeOf(u"b"), "application/octet-stream");
    EXPECT_EQ(ContentTypeOf(u"b.\u041c"), "application/octet-stream");
}

TEST(HttpText, TextsForOtherReaders) {
    EXPECT_EQ(HtmlText(u"<a href=\"x\">'Ж' & co</a>"),
              "&lt;a href=&quot;x&quot;&gt;&#39;Ж&#39; &amp; co&lt;/a&gt;");
    EXPECT_EQ(MaskForLog("a\r\n\"\x1B[0m\xD0"), "a\\x0d\\x0a\\x22\\x1b[0m\\xd0");
    EXPECT_EQ(MaskForLog(std::string(301, 'a')), std::string(300, 'a') + "...");
    EXPECT_EQ(Base64Text(""), "");
    EXPECT_EQ(Base64Text("M"), "TQ==");
    EXPECT_EQ(Base64Text("Ma"), "TWE=");
    EXPECT_EQ(Base64Text("Man\xFF"), "TWFu/w==");
}

TEST(HttpText, SecretsCompareWhole) {
    EXPECT_TRUE(EqualSecrets("abc", "abc"));
    EXPECT_FALSE(EqualSecrets("abc", "abd"));
    EXPECT_FALSE(EqualSecrets("abc", "ab"));
    EXPECT_FALSE(EqualSecrets("abc", ""));
}

} // namespace
