#include "server/strings/JsonLocalizator.h"

#include "platform/File.h"
#include "platform/Text.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <thread>

namespace zutools::server {
namespace {

using tests::TTempFolder;

std::string Parse(std::string_view Bytes) {
    try {
        const TLanguageTexts Texts = ParseLanguageFile(Bytes, u"x.json");
        return std::to_string(Texts.size()) + " texts";
    } catch (const ELanguageFile& Error) {
        return platform::Utf16ToUtf8(Error.Message());
    }
}

TEST(LanguageFile, IsReadOrRefusedWithItsPlace) {
    // Of the parser's own words only the beginning is ours.
    const std::pair<std::string, std::string> Rows[] = {
        {"{}", "0 texts"},
        {R"( {"a": "1", "b": ""} )", "2 texts"},
        {"\xEF\xBB\xBF{\"a\":\"1\"}", "1 texts"},
        {R"({"a": "1", "A": "2"})", "2 texts"},
        {"", "x.json:1:1: no JSON: "},
        {"hello", "x.json:1:1: no JSON: "},
        {"{\n \"\xD0\x98\xD0\x98\" 1}", "x.json:2:7: no JSON: "},
        {"{\"a\": \"1\"", "x.json:1:10: no JSON: "},
        {"{\"a\": \"1\",\n}", "x.json:2:1: no JSON: "},
        {"{}\n{}", "x.json:2:1: no JSON: "},
        {R"({"a": "\uD800"})", "x.json:1:14: no JSON: "},
        {" [1]", "x.json:1:2: a language file is one object from key to text"},
        {"\"a\"", "x.json:1:1: a language file is one object from key to text"},
        {"17", "x.json:1:1: a language file is one object from key to text"},
        {"{\"a\": \"1\",\n  \"b\" : 2}", "x.json:2:9: the value of key \"b\" is no text"},
        {"{\"a\": null}", "x.json:1:7: the value of key \"a\" is no text"},
        {"{\"a\": {\"b\": \"1\"}}", "x.json:1:7: the value of key \"a\" is no text"},
        {"{\"a\":" + std::string(1 << 20, '['), "x.json:1:6: the value of key \"a\" is no text"},
        {std::string(1 << 20, '['), "x.json:1:1: a language file is one object"},
        {"{\"a\": \"1\",\n \"b\": \"2\", \"a\": \"3\"}", "x.json:2:12: key \"a\" stands twice"},
        {R"({"a": "1", "\u0061": "2"})", "x.json:1:12: key \"a\" stands twice"},
        {"{\"a\":\n \"\xD0\x98\xFF\"}", "x.json:2:4: malformed UTF-8"},
        {"{\"\xC0\x80\": \"1\"}", "x.json:1:3: malformed UTF-8"}};
    for (const auto& [Bytes, Expected] : Rows)
        EXPECT_THAT(Parse(Bytes), testing::StartsWith(Expected)) << Bytes.substr(0, 100);
}

TEST(JsonLocalizator, GivesTextsOrTheKey) {
    const TTempFolder Folder;
    Folder.Write(u"ru.json",
                 "{\"hello\": \"\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82\", \"empty\": \"\\u0000\"}");
    Folder.Write(u"en.json", R"({"hello": "Hello", "only": "English"})");
    Folder.Write(u"en-GB.json", R"({"hello": "Good day"})");
    Folder.Write(u"notes.txt", "no language");
    Folder.Write(u"old/de.json", "nor this");
    std::ofstream(std::filesystem::path(Folder.Path()) / "bad \xFF name.json").close();
    TJsonLocalizator Strings(Folder.Path());

    EXPECT_EQ(Strings.GetString(u"hello", u"ru"), u"Привет");
    EXPECT_EQ(Strings.GetString(u"hello", u"RU"), u"Привет");
    EXPECT_EQ(Strings.GetString(u"hello", u"ru-RU"), u"Привет");
    EXPECT_EQ(Strings.GetString(u"hello", u"ru_Cyrl-RU"), u"Привет");
    EXPECT_EQ(Strings.GetString(u"empty", u"ru"), std::u16string(1, u'\0'));
    EXPECT_EQ(Strings.GetString(u"hello", u"en_gb"), u"Good day");
    EXPECT_EQ(Strings.GetString(u"only", u"en-GB"), u"English");
    EXPECT_EQ(Strings.GetString(u"only", u"ru"), u"only");
    EXPECT_EQ(Strings.GetString(u"Hello", u"en"), u"Hello");
    EXPECT_EQ(Strings.GetString(u"hello", u"de"), u"hello");
    EXPECT_EQ(Strings.GetString(u"hello", u""), u"hello");
    EXPECT_EQ(Strings.GetString(u"", u"en"), u"");
    EXPECT_THAT(Strings.Languages(), testing::ElementsAre(u"en-GB", u"en", u"ru"));
    EXPECT_TRUE(Strings.HasLanguage(u"en-US"));
    EXPECT_FALSE(Strings.HasLanguage(u"de"));
}

std::string Refusal(const TTempFolder& Folder) {
    try {
        const TJsonLocalizator Strings(Folder.Path());
    } catch (const ELanguageFile& Error) {
        // Without the temporary folder's name.
        return platform::Utf16ToUtf8(Error.Message().substr(Folder.Path().size()));
    }
    return "accepted";
}

TEST(JsonLocalizator, RefusesFoldersThatCannotServe) {
    const TTempFolder None;
    EXPECT_EQ(Refusal(None), ": no language file (<language>.json) in this folder");
    EXPECT_THROW(TJsonLocalizator{None.File(u"absent")}, platform::TSystemError);

    const TTempFolder Twice;
    Twice.Write(u"RU.json", "{}");
    Twice.Write(u"ru.json", "{}");
    EXPECT_EQ(Refusal(Twice), "/ru.json: the language has a file of its own already: RU.json");

    const TTempFolder Bad;
    Bad.Write(u"en.json", "{}");
    Bad.Write(u"ru.json", "{\"a\": 1}");
    EXPECT_EQ(Refusal(Bad), "/ru.json:1:7: the value of key \"a\" is no text");

    const TTempFolder Large;
    Large.Write(u"en.json", std::string(TJsonLocalizator::MaxFileSize + 1, ' '));
    EXPECT_EQ(Refusal(Large), "/en.json: a language file may have 16 MB at most");
}

TEST(JsonLocalizator, ServesThreadsAtOnce) {
    const TTempFolder Folder;
    Folder.Write(u"en.json", R"({"a": "1"})");
    TJsonLocalizator Strings(Folder.Path());
    std::vector<std::jthread> Threads;
    for (int Thread = 0; Thread < 4; ++Thread) {
        Threads.emplace_back([&] {
            for (int Round = 0; Round < 1000; ++Round) EXPECT_EQ(Strings.GetString(u"a", u"en-US"), u"1");
        });
    }
}

} // namespace
} // namespace zutools::server
