#include "checking/RuleText.h"

#include "platform/Text.h"

#include <gtest/gtest.h>

#include <initializer_list>

namespace zutools {
namespace {

/// A compiled rule in one line: the characters as ranges of hexadecimal codes, then the words.
std::string Dump(std::u16string_view Text) {
    TKXCharSet Symbols;
    TKXStringList Words;
    Symbols.Include(u'?'); // the targets are emptied first
    Words.Add(u"old");
    CompileRuleText(Text, Symbols, Words);
    std::string Result;
    char Code[16];
    for (unsigned First = 0; First < 0x10000; ++First) {
        if (!Symbols.Exists(static_cast<char16_t>(First))) continue;
        unsigned Last = First;
        while (Last + 1 < 0x10000 && Symbols.Exists(static_cast<char16_t>(Last + 1))) ++Last;
        std::snprintf(Code, sizeof Code, First == Last ? "%X " : "%X-%X ", First, Last);
        Result += Code;
        First = Last;
    }
    Result += '|';
    for (int Index = 0; Index < Words.Count(); ++Index) {
        Result += ' ' + platform::Utf16ToUtf8(Words.Strings(Index)) + ';';
    }
    return Result;
}

struct TRow {
    std::u16string_view Text;
    const char* Expected;
};

void ExpectCompiled(std::initializer_list<TRow> Rows) {
    for (const auto& [Text, Expected] : Rows) EXPECT_EQ(Dump(Text), Expected) << platform::Utf16ToUtf8(Text);
}

TEST(RuleText, Compiles) {
    ExpectCompiled({{u"", "|"},
                    {u"<", "3C |"},
                    {u"a", "41 |"},
                    {u"<, >", "3C 3E |"},
                    {u"#60", "3C |"},
                    {u"#97", "61 |"},    // a code is not raised
                    {u"#5", "| #5;"},    // too short for a code
                    {u"#65601", "41 |"}, // sixteen bits
                    {u"',',b", "2C 42 |"},
                    {u"\" \"", "20 |"},
                    {u"'-'", "2D |"},
                    {u"-", "2D |"},
                    {u"'on load',x", "58 | ON LOAD;"},
                    {u"',a", "27 41 |"},
                    {u"'',a,b", "41-42 | ;"}, // an empty pair quotes nothing
                    {u"''a,b", "42 | ''A;"},
                    {u"a-c", "41-43 |"},
                    {u"#48-#57", "30-39 |"},
                    {u"c-a", "41 43 |"}, // a falling range is its ends
                    {u"a-", "| A-;"},    // too short for a range
                    {u"a-bcd", "41 | BCD;"},
                    {u"script,iframe,script", "| SCRIPT; IFRAME; SCRIPT;"}});
}

TEST(RuleText, KeptOnPurpose) {
    ExpectCompiled({{u"#xx", "FFFF |"},        // no number is the last character
                    {u"'ab'cd,e", "45 | AB;"}, // what stands between the quote and the comma is dropped
                    {u"-ab,x", "58 |"},        // half a range is dropped
                    {u"ab-,x", "58 |"},
                    {u"wrong-word", "| WRONG; WORD;"}, // a dash splits
                    {u"'a'-'z'", "41 |"},              // quotes come first
                    {u"a,,b", "41 | ,B;"},             // a comma in front takes the rest
                    {u"a, ,b", "41 | ,B;"}});
}

} // namespace
} // namespace zutools
