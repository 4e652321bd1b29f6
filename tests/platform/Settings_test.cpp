// One contract over every store of settings.

#include "platform/SettingsFile.h"

#include "platform/File.h"
#include "platform/Text.h"
#include "tests/platform/RegistryPlace.h"
#include "tests/support/Raised.h"

#include <gmock/gmock.h>

using namespace zutools::platform;
using namespace zutools::tests;
using testing::ElementsAre;

namespace {

struct TStore {
    const char* Name;
    std::unique_ptr<TSettings> (*Open)(const TTempFolder& Folder);
    bool Lasts = true; // opened again, it holds what was written
};

class SettingsContract : public testing::TestWithParam<TStore> {
protected:
    std::unique_ptr<TSettings> Open() { return GetParam().Open(FFolder); }
    void Reopen() {
        FStore->Flush();
        if (GetParam().Lasts) FStore = Open();
    }
    [[nodiscard]] std::u16string At(std::u16string_view Section, std::u16string_view Key) const {
        return FStore->Read(Section, Key).value_or(u"(none)");
    }

    TRegistryPlace FPlace;
    TTempFolder FFolder;
    std::unique_ptr<TSettings> FStore = Open();
};

INSTANTIATE_TEST_SUITE_P(
    Stores, SettingsContract,
    testing::Values(TStore{"memory", [](const TTempFolder&) { return MakeMemorySettings(); }, false},
                    TStore{"file",
                           [](const TTempFolder& Folder) -> std::unique_ptr<TSettings> {
                               return std::make_unique<TSettingsFile>(Folder.File(u"a.prm"));
                           }},
                    TStore{"registry",
                           [](const TTempFolder&) {
                               return OpenRegistry(TSettingsRoot::CurrentUser, u"Company\\App",
                                                   TSettingsAccess::ReadWrite);
                           }}),
    [](const auto& Info) { return Info.param.Name; });

TEST_P(SettingsContract, ValuesComeBackAsTheyWereWritten) {
    const std::u16string_view Values[] = {
        u"",      u"1", u" ",     u"  both ends ", u"\tTab\t", u"\"",     u"\"\"",       u"\"abc\"",
        u"'abc'", u"'", u"a=b;c", u";x",           u"[x]",     u"Привет", u"\U0001F600", u"\"'"};
    int Number = 0;
    for (const std::u16string_view Value : Values)
        FStore->Write(u"Форма 1", u"Key" + std::u16string(1, static_cast<char16_t>(u'a' + Number++)), Value);
    Reopen();
    Number = 0;
    for (const std::u16string_view Value : Values) {
        EXPECT_EQ(At(u"Форма 1", u"kEY" + std::u16string(1, static_cast<char16_t>(u'A' + Number++))), Value)
            << Utf16ToUtf8(Value);
    }
}

TEST_P(SettingsContract, ErasedAndListed) {
    FStore->Write(u"First", u"a", u"1");
    FStore->Write(u"First", u"b", u"2");
    FStore->Write(u"First.Lines", u"Count", u"0");
    FStore->Write(u"Second", u"c", u"3");
    Reopen();
    EXPECT_THAT(FStore->Sections(), ElementsAre(u"First", u"First.Lines", u"Second"));
    FStore->EraseKey(u"FIRST", u"A");
    FStore->EraseSection(u"second");
    FStore->EraseSection(u"nowhere");
    EXPECT_EQ(At(u"First", u"a"), u"(none)");
    FStore->EraseSection(u"First.Lines"); // written again below: the old key is gone all the same
    FStore->Write(u"First.Lines", u"Item0", u"x");
    EXPECT_EQ(At(u"First.Lines", u"Count"), u"(none)");
    Reopen();
    EXPECT_THAT(FStore->Sections(), ElementsAre(u"First", u"First.Lines"));
    EXPECT_THAT(FStore->Keys(u"first"), ElementsAre(u"b"));
    EXPECT_THAT(FStore->Keys(u"First.Lines"), ElementsAre(u"Item0"));
    EXPECT_THAT(FStore->Keys(u"Second"), ElementsAre());
}

TEST_P(SettingsContract, WhatCannotBeKeptIsRefused) {
    const struct {
        std::u16string_view Section, Key, Value;
        const char* Reason;
    } Rows[] = {
        {u"S", u"k", u"two\r\nlines", "line break"},
        {u"S", u"k\n", u"v", "line break"},
        {u"", u"k", u"v", "section has no name"},
        {u"S", u"", u"v", "key has no name"},
        {u"S", u" k", u"v", "begins or ends with a blank"},
        {u"S", u"k=1", u"v", "holds \"=\""},
        {u"S", u";k", u"v", "begins with"},
        {u"S", u"k", u"\xD800", "surrogate"},
        {u"S", u"k", std::u16string_view(u"a\0b", 3), "NUL"},
    };
    for (const auto& Row : Rows) {
        ExpectRaised<TSettingsError>(
            [&] {
                FStore->Write(Row.Section, Row.Key, Row.Value);
                return 0;
            },
            {Row.Reason});
        EXPECT_EQ(FStore->Read(Row.Section, Row.Key), std::nullopt) << Row.Reason;
    }
}

TEST(Registry, ReadingOnlyRefusesChangesAndMakesNothing) {
    const TRegistryPlace Place;
    const auto Store = OpenRegistry(TSettingsRoot::CurrentUser, u"App", TSettingsAccess::Read);
    EXPECT_EQ(Store->Read(u"S", u"k"), std::nullopt);
    EXPECT_THAT(Store->Sections(), ElementsAre());
    ExpectRaised<TSettingsError>(
        [&] {
            Store->Write(u"S", u"k", u"v");
            return 0;
        },
        {"opened for reading only"});
    Store->Flush();
}

// ---- files

class SettingsFileTest : public testing::Test {
protected:
    [[nodiscard]] std::string Bytes(std::u16string_view Name) const {
        return TReadFile(FFolder.File(Name)).ReadAll();
    }
    TTempFolder FFolder;
    std::u16string FPath = FFolder.File(u"a.prm");
    std::u16string FTold;
    TSettingsNotice FTell = [this](std::u16string_view Text) { FTold = Text; };
};

TEST_F(SettingsFileTest, TwoProgramsLoseNothingOfEachOther) {
    FFolder.Write(u"a.prm", "[S]\r\na=0\r\n; kept\r\nb=0\r\n");
    TSettingsFile One(FPath), Two(FPath);
    One.Write(u"S", u"a", u"1");
    One.Write(u"S", u"x", u"one");
    Two.Write(u"S", u"b", u"2");
    Two.Write(u"S", u"x", u"two");
    One.Flush();
    Two.Flush();
    EXPECT_EQ(Bytes(u"a.prm"), "[S]\r\na=1\r\n; kept\r\nb=2\r\nx=two\r\n");
    EXPECT_EQ(Two.Read(u"S", u"a"), u"1");
    EXPECT_THAT(ListFiles(FFolder.Path()), ElementsAre(u"a.prm", u"a.prm.bak")); // nothing else is left
}

TEST_F(SettingsFileTest, SectionsWrittenAnewKeepTheirPlaceAndComments) {
    const std::string Before = "[S.Lines]\n; mine\nCount=2\nItem0=a\nItem1=b\n\n[T]\nk=1\n";
    FFolder.Write(u"a.prm", Before);
    TSettingsFile File(FPath);
    File.EraseSection(u"S.Lines");
    File.Write(u"S.Lines", u"Count", u"2");
    File.Write(u"S.Lines", u"Item0", u"a");
    File.Write(u"S.Lines", u"Item1", u"b");
    File.Flush();
    EXPECT_EQ(Bytes(u"a.prm"), Before);
    EXPECT_THAT(ListFiles(FFolder.Path()), ElementsAre(u"a.prm")); // not even written
    File.EraseSection(u"S.Lines");
    File.Write(u"S.Lines", u"Count", u"1");
    File.Write(u"S.Lines", u"Item0", u"c");
    File.Flush();
    EXPECT_EQ(Bytes(u"a.prm"), "[S.Lines]\n; mine\nCount=1\nItem0=c\n\n[T]\nk=1\n");
}

TEST_F(SettingsFileTest, DamagedFilesAreSetAsideAndTheLastGoodOneIsTaken) {
    {
        TSettingsFile File(FPath);
        File.Write(u"S", u"k", u"old");
        File.Flush();
        File.Write(u"S", u"k", u"new");
        File.Flush();
    }
    const std::string Damaged = std::string(512, '\0') + Bytes(u"a.prm");
    FFolder.Write(u"a.prm", Damaged);
    EXPECT_EQ(TSettingsFile(FPath, FTell).Read(u"S", u"k"), u"old");
    EXPECT_THAT(Utf16ToUtf8(FTold),
                testing::AllOf(testing::HasSubstr("NUL"), testing::HasSubstr("a.prm.damaged"),
                               testing::HasSubstr("a.prm.bak")));
    EXPECT_EQ(Bytes(u"a.prm.damaged"), Damaged);
    EXPECT_EQ(TSettingsFile(FPath).Read(u"S", u"k"), u"old"); // and stays
    // Without a good copy it is empty.
    FFolder.Write(u"a.prm", Damaged);
    FFolder.Write(u"a.prm.bak", std::string("\xFF\xFE"
                                            "a",
                                            3));
    EXPECT_EQ(TSettingsFile(FPath, FTell).Read(u"S", u"k"), std::nullopt);
    EXPECT_THAT(Utf16ToUtf8(FTold), testing::HasSubstr("no good copy"));
}

TEST_F(SettingsFileTest, ChangesThatCannotBeKeptWaitForAnotherTry) {
    TSettingsFile File(FFolder.File(u"missing/a.prm"));
    File.Write(u"S", u"k", u"v");
    ExpectRaised<TSystemError>(
        [&] {
            File.Flush();
            return 0;
        },
        {"a.prm"});
    FFolder.Write(u"missing/other", "");
    File.Flush();
    EXPECT_EQ(Bytes(u"missing/a.prm"), "[S]\r\nk=v\r\n");
}

} // namespace
