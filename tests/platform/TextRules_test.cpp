#include "platform/TextRules.h"

#include <gtest/gtest.h>

using namespace zutools::platform;

namespace {

TEST(TextRules, LocaleTagOfPosixName) {
    struct TRow {
        const char* Name;
        const char* Tag;
    };
    const TRow Rows[] = {
        {"ru_RU.UTF-8", "ru-RU"},
        {"ru_RU", "ru-RU"},
        {"ru", "ru"},
        {"de_DE@euro", "de-DE"},
        {"sr_RS.UTF-8@latin", "sr-Latn-RS"},
        {"uz_UZ@cyrillic", "uz-Cyrl-UZ"},
        {"es_419", "es-419"},
        {"ast_ES.UTF-8", "ast-ES"},
        {"", ""},
        {"C", ""},
        {"C.UTF-8", ""},
        {"C.utf8", ""},
        {"POSIX", ""},
        {"UTF-8", ""}, // what some terminals send as LC_CTYPE
        {"en_", ""},
        {"en_USA", ""},
        {"../x_RU", ""},
        {"/usr/share/locale/x", ""},
    };
    for (const TRow& Row : Rows) EXPECT_EQ(LocaleTagOfPosixName(Row.Name), Row.Tag) << '"' << Row.Name << '"';
}

TEST(TextRules, LanguagesDecideAsciiCaseAndCodePage) {
    EXPECT_EQ(LanguageOfTag("tr-TR"), "tr");
    EXPECT_EQ(LanguageOfTag(""), "");
    EXPECT_TRUE(HasPlainAsciiCase(""));
    EXPECT_TRUE(HasPlainAsciiCase("ru"));
    EXPECT_FALSE(HasPlainAsciiCase("tr"));
    EXPECT_FALSE(HasPlainAsciiCase("az"));
    EXPECT_FALSE(HasPlainAsciiCase("lt"));
    EXPECT_EQ(CodePageOfLanguage("uk"), 1251u);
    EXPECT_EQ(CodePageOfLanguage("de"), 1252u);
    EXPECT_EQ(CodePageOfLanguage(""), 1252u);
}

TEST(TextRules, SystemTextLosesItsEndOnly) {
    EXPECT_EQ(TrimSystemText(u"The \"%1\" file is not here.\r\n"), u"The \"%1\" file is not here");
    EXPECT_EQ(TrimSystemText(u" One. Two. \r\n"), u"One. Two");
    EXPECT_EQ(TrimSystemText(u"\r\n. "), u"");
}

TEST(TextRules, OneUnitAboveAsciiKeepsTheFastPathOut) {
    std::u16string Result = u"untouched";
    EXPECT_FALSE(TryAsciiUpperCase(u"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\u0080", Result));
    EXPECT_EQ(Result, u"untouched");
    EXPECT_TRUE(TryAsciiLowerCase(u"AZ@[\x7F", Result));
    EXPECT_EQ(Result, u"az@[\x7F");
}

} // namespace
