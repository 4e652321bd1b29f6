// The system's own calls for settings files and ours, on the same files in both directions.

#include "platform/File.h"
#include "platform/SettingsFile.h"
#include "platform/win32/Wide.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <windows.h>

using namespace zutools::platform;
using namespace zutools::tests;

namespace {

std::u16string SystemReads(const std::u16string& Path, const std::u16string& Section,
                           const std::u16string& Key) {
    wchar_t Buffer[512] = {};
    const DWORD Length = GetPrivateProfileStringW(Wide(Section.c_str()), Wide(Key.c_str()), L"(none)", Buffer,
                                                  512, Wide(Path.c_str()));
    return {Narrow(Buffer), Length};
}

void SystemWrites(const std::u16string& Path, const std::u16string& Section, const std::u16string& Key,
                  const std::u16string& Value) {
    WritePrivateProfileStringW(Wide(Section.c_str()), Wide(Key.c_str()), Wide(Value.c_str()),
                               Wide(Path.c_str()));
}

// Windows keeps an open file's text for a while.
void ForgetFile(const std::u16string& Path) {
    WritePrivateProfileStringW(nullptr, nullptr, nullptr, Wide(Path.c_str()));
}

TEST(Profile, TheSystemReadsWhatWeWriteAndWeWhatItWrites) {
    const std::u16string Values[] = {u"",           u"1",        u"a b",         u" blanks ",
                                     u"\"quoted\"", u"'quoted'", u"\"\"two\"\"", u"\"mixed'",
                                     u"a;b",        u"a=b",      u"Привет"};
    const TTempFolder Folder;
    // With a mark that the system knows, every character is kept.
    std::u16string Path = Folder.Write(u"a.ini", std::string("\xFF\xFE", 2));
    std::replace(Path.begin(), Path.end(), u'/', u'\\');
    for (const std::u16string& Value : Values) {
        TSettingsFile File(Path);
        File.Write(u"Section", u"Ours", Value);
        File.Flush();
        ForgetFile(Path);
        EXPECT_EQ(SystemReads(Path, u"SECTION", u"ours"), Value);
        // What the system writes is for its callers to quote; it reads back one pair less, and so do we.
        SystemWrites(Path, u"Section", u"Theirs", Value);
        ForgetFile(Path);
        EXPECT_EQ(TSettingsFile(Path).Read(u"Section", u"Theirs"), SystemReads(Path, u"Section", u"Theirs"));
    }
}

TEST(Profile, BothReadAHandMadeFileAlike) {
    const TTempFolder Folder;
    std::u16string Path =
        Folder.Write(u"a.ini", "; first\r\n[S]\r\n k = v \r\nk=2\r\njunk\r\nq='\"x\"'\r\nm=\"x'\r\n"
                               "e=\r\n[ T ]\r\nt=1\r\n[s]\r\nlate=1\r\n[U]\r\nlast=z");
    std::replace(Path.begin(), Path.end(), u'/', u'\\');
    const TSettingsFile File(Path);
    const std::u16string Rows[][2] = {{u"S", u"k"}, {u"s", u"K"}, {u"S", u"q"},    {u"S", u"m"},
                                      {u"S", u"e"}, {u"T", u"t"}, {u"S", u"late"}, {u"U", u"last"}};
    for (const auto& [Section, Key] : Rows)
        EXPECT_EQ(File.Read(Section, Key).value_or(u"(none)"), SystemReads(Path, Section, Key));
}

} // namespace
