// The text of settings files: rows for what is read, and a model for what is changed.

#include "platform/SettingsText.h"

#include "platform/Settings.h"
#include "platform/Text.h"
#include "tests/support/Raised.h"

#include <gmock/gmock.h>

#include <map>
#include <random>

using namespace zutools::platform;
using namespace zutools::tests;

namespace {

std::string Units(std::u16string_view Text, bool BigEndian = false) {
    std::string Bytes(BigEndian ? "\xFE\xFF" : "\xFF\xFE");
    for (const char16_t Unit : Text) {
        const char High = static_cast<char>(Unit >> 8), Low = static_cast<char>(Unit);
        Bytes += BigEndian ? High : Low;
        Bytes += BigEndian ? Low : High;
    }
    return Bytes;
}

TEST(SettingsText, WhatIsReadAndWhatAChangeLeaves) {
    const struct {
        const char* Name;
        std::string Before;
        std::u16string_view Section, Key, Value, NewValue;
        std::string After;
    } Rows[] = {
        {"spacing stays", "[S]\n  k  =  v  \nx=1", u"s", u"K", u"v", u"w", "[S]\n  k  =  w  \nx=1"},
        {"one pair of quotes", "[S]\r\nk=\"\"a\"\"\r\n", u"S", u"k", u"\"a\"", u" b", "[S]\r\nk=\" b\"\r\n"},
        {"a mixed pair stays", "[S]\nk=\"a'\n", u"S", u"k", u"\"a'", u"a", "[S]\nk=a\n"},
        {"the first key wins", "[S]\nk=1\nk=2\n", u"S", u"k", u"1", u"3", "[S]\nk=3\nk=2\n"},
        {"the first section wins", "[S]\nk=1\n[s]\nk=2\nj=4\n", u"S", u"k", u"1", u"",
         "[S]\nk=\n[s]\nk=2\nj=4\n"},
        {"a name with a bracket", "[a]b]\nk=1\n", u"a]b", u"k", u"1", u"1", "[a]b]\nk=1\n"},
        {"no final line end", "[S]\nk=1", u"S", u"k", u"1", u"2", "[S]\nk=2"},
        {"UTF-8 without a mark", "[S]\nk=Привет\n", u"S", u"k", u"Привет", u"Ёж", "[S]\nk=Ёж\n"},
        {"UTF-8 with a mark", "\xEF\xBB\xBF[Ы]\nk=я\n", u"Ы", u"k", u"я", u"ю", "\xEF\xBB\xBF[Ы]\nk=ю\n"},
        {"UTF-16", Units(u"[S]\r\nключ=я\r\n\xD800"), u"S", u"ключ", u"я", u"\U0001F600",
         Units(u"[S]\r\nключ=\U0001F600\r\n\xD800")},
        {"UTF-16, big end first", Units(u"[S]\nk=1\n", true), u"S", u"k", u"1", u"é",
         Units(u"[S]\nk=é\n", true)},
        {"8-bit text", "[S]\nk=\xE9\nj=\xE9\n", u"S", u"k", u"\u00E9", u"b", "[S]\nk=b\nj=\xE9\n"},
        {"ASCII gets a mark", "[S]\nk=1\n", u"S", u"k", u"1", u"я", "\xEF\xBB\xBF[S]\nk=я\n"},
    };
    for (const auto& Row : Rows) {
        // The user's code page is part of the row.
        if (Row.Name == std::string_view("8-bit text") && AnsiCodePage() != 1252) continue;
        TSettingsText Text(Row.Before);
        EXPECT_EQ(Text.Bytes(), Row.Before) << Row.Name;
        EXPECT_EQ(Text.Read(Row.Section, Row.Key), Row.Value) << Row.Name;
        Text.Write(Row.Section, Row.Key, Row.Value);
        EXPECT_EQ(Text.Bytes(), Row.Before) << Row.Name << ": the same value changes nothing";
        Text.Write(Row.Section, Row.Key, Row.NewValue);
        EXPECT_EQ(Text.Bytes(), Row.After) << Row.Name;
        EXPECT_EQ(Text.Read(Row.Section, Row.Key), Row.NewValue) << Row.Name;
    }
}

TEST(SettingsText, NewKeysStandBehindTheLastOneOfTheirSection) {
    TSettingsText Text("[A]\n;c\na=1\n?\n\n; of B\n[B]");
    Text.Write(u"A", u"b", u"2");
    Text.Write(u"B", u"c", u"3");
    Text.Write(u"C", u"d", u"4");
    EXPECT_EQ(Text.Bytes(), "[A]\n;c\na=1\n?\nb=2\n\n; of B\n[B]\nc=3\n[C]\nd=4\n");
}

TEST(SettingsText, BytesThatAreNoTextSurvive) {
    TSettingsText Text("\xEF\xBB\xBF[S]\nk=1\nodd=\x81\x98\n");
    EXPECT_EQ(Text.Read(u"S", u"odd"), std::nullopt);
    Text.Write(u"S", u"k", u"2");
    EXPECT_EQ(Text.Bytes(), "\xEF\xBB\xBF[S]\nk=2\nodd=\x81\x98\n");
}

TEST(SettingsText, AnEightBitFileTurnsIntoUtf8WhenItsPageLacksACharacter) {
    TSettingsText Page("[S]\nk=\xE9\n");
    const std::u16string Value = Page.Read(u"S", u"k").value_or(u"");
    Page.Write(u"S", u"j", u"\u4E2D");
    EXPECT_EQ(Page.Bytes(), "\xEF\xBB\xBF[S]\nk=" + Utf16ToUtf8(Value) + "\nj=\u4E2D\n");
}

TEST(SettingsText, FaultsNameTheirLines) {
    const TSettingsText Text("\xEF\xBB\xBF"
                             "early=1\n; c\n[S]\nk=1\nno key\n=v\nK=2\n[Open\n\n[s]\nz=\x81\x98\xFF\n");
    std::string Told;
    for (const TSettingsFault& Fault : Text.Faults())
        Told += std::to_string(Fault.Line) + ": " + Utf16ToUtf8(Fault.Reason) + "\n";
    EXPECT_EQ(Told, "1: a key before the first section is never read\n"
                    "5: the line has no \"=\"\n"
                    "6: the key has no name\n"
                    "7: a key of this name stands above: only the first is read\n"
                    "8: the section's \"]\" is missing\n"
                    "10: a section of this name stands above: only the first is read\n"
                    "11: bytes that are no text in the file's encoding\n");
}

// ---- a model: what is read is what a map says, and every line but the changed one is the same to the byte

// Without the mark, which the first text beyond ASCII brings.
std::vector<std::string> Lines(const std::string& Text) {
    std::vector<std::string> Found;
    for (std::size_t At = Text.starts_with("\xEF\xBB\xBF") ? 3 : 0; At < Text.size();) {
        const std::size_t End = std::min(Text.find('\n', At), Text.size() - 1) + 1;
        Found.push_back(Text.substr(At, End - At));
        At = End;
    }
    return Found;
}

// How many lines of `Before` stand between what both have in front and at the end.
std::size_t LostLines(const std::string& Before, const std::string& After) {
    const std::vector<std::string> Old = Lines(Before), New = Lines(After);
    std::size_t Front = 0, Back = 0;
    while (Front < std::min(Old.size(), New.size()) && Old[Front] == New[Front]) ++Front;
    while (Back < std::min(Old.size(), New.size()) - Front &&
           Old[Old.size() - 1 - Back] == New[New.size() - 1 - Back])
        ++Back;
    return Old.size() - Front - Back;
}

TEST(SettingsText, RandomEditsAgreeWithAMap) {
    using TKeys = std::map<std::u16string, std::u16string>;
    const std::u16string_view Sections[] = {u"A", u"B", u"Раздел", u"d.e"};
    const std::u16string_view Keys[] = {u"k", u"Item0", u"Item1", u"Ключ", u"z z"};
    const std::string_view Pieces[] = {"[A]",    "[B]",     " [ A ] ",     "[Раздел]", "k=1", "K = \"x\"",
                                       "Item0=", "Ключ=да", "; c",         "junk",     "",    "  ",
                                       "[",      "=",       "z z =  'q' ", "\xD0="};
    for (unsigned Seed = 1; Seed <= 300; ++Seed) {
        std::mt19937 Random(Seed);
        const auto Pick = [&Random](std::size_t Count) { return Random() % Count; };
        std::string Start(Pick(2) == 0 ? "\xEF\xBB\xBF" : "");
        const std::string LineEnd = Pick(2) == 0 ? "\r\n" : "\n";
        for (std::size_t Line = Pick(30); Line > 0; --Line) {
            Start += Pieces[Pick(std::size(Pieces) - (Start.empty() || Start[0] != '\xEF' ? 1 : 0))];
            if (Line > 1 || Pick(2) == 0) Start += LineEnd;
        }
        TSettingsText Text(Start);
        std::map<std::u16string, TKeys> Model;
        for (const std::u16string_view Section : Sections) {
            for (const std::u16string_view Key : Keys) {
                if (const auto Value = Text.Read(Section, Key))
                    Model[std::u16string(Section)][std::u16string(Key)] = *Value;
            }
        }
        for (int Step = 0; Step < 12; ++Step) {
            const std::u16string Section(Sections[Pick(std::size(Sections))]),
                Key(Keys[Pick(std::size(Keys))]);
            const std::string Before = Text.Bytes();
            const std::size_t Action = Pick(10);
            if (Action == 0) {
                Text.EraseSection(Section);
                Model.erase(Section);
            } else if (Action == 1) {
                Text.EraseKey(Section, Key);
                Model[Section].erase(Key);
            } else {
                const std::u16string Value(Pick(4), static_cast<char16_t>(u' ' + Pick(90)));
                Text.Write(Section, Key, Value);
                Model[Section][Key] = Value;
                // A line without its end gets one when another comes behind it.
                const std::size_t Allowed =
                    Before.starts_with('\xEF') == Text.Bytes().starts_with('\xEF') ? 1 : 2;
                EXPECT_LE(LostLines(Before, Text.Bytes()), Allowed) << "seed " << Seed << "\n" << Before;
            }
            const TSettingsText Again(Text.Bytes());
            for (const std::u16string_view Other : Sections) {
                for (const std::u16string_view Name : Keys) {
                    const TKeys& Known = Model[std::u16string(Other)];
                    const auto Wanted = Known.find(std::u16string(Name));
                    const std::optional<std::u16string> Value =
                        Wanted == Known.end() ? std::nullopt : std::optional(Wanted->second);
                    ASSERT_EQ(Text.Read(Other, Name), Value) << "seed " << Seed << " step " << Step << "\n"
                                                             << Before;
                    ASSERT_EQ(Again.Read(Other, Name), Value) << "seed " << Seed << " step " << Step << "\n"
                                                              << Before;
                }
            }
        }
    }
}

} // namespace
