#include "host/Strings.h"

#include "host/Exception.h"
#include "tests/support/Raised.h"

#include <gtest/gtest.h>

#include <functional>

namespace zutools {
namespace {

using tests::Raised;

using TLines = std::vector<std::u16string>;

TLines LinesOf(const TStrings& List) {
    TLines Lines;
    for (int Index = 0; Index < List.Count(); ++Index) Lines.push_back(List.Strings(Index));
    return Lines;
}

void Fill(TStrings& List, const TLines& Lines) {
    for (const auto& Line : Lines) List.Add(Line);
}

TEST(Strings, CommaTextWritesAndReadsBack) {
    const struct {
        TLines Lines;
        const char16_t* Text;
    } Rows[] = {
        {{}, u""},
        {{u""}, u"\"\""},
        {{u"", u""}, u","},
        {{u"", u"a", u""}, u",a,"},
        {{u"A", u"B C", u"d,e"}, u"A,\"B C\",\"d,e\""},
        {{u"say \"hi\"", u"\""}, u"\"say \"\"hi\"\"\",\"\"\"\""},
        {{u"a\tb", u"\r\n"}, u"\"a\tb\",\"\r\n\""},
        {{u"\u041F\u0440\u0438 \u0432\u0435\u0442"}, u"\"\u041F\u0440\u0438 \u0432\u0435\u0442\""},
    };
    for (const auto& Row : Rows) {
        TStringList List;
        Fill(List, Row.Lines);
        EXPECT_EQ(List.CommaText(), Row.Text);
        List.SetCommaText(Row.Text);
        EXPECT_EQ(LinesOf(List), Row.Lines);
    }
}

TEST(Strings, ReadsDelimitedTextOfOthers) {
    const struct {
        const char16_t* Text;
        char16_t Delimiter;
        char16_t Quote;
        TLines Lines;
    } Rows[] = {
        {u"  a  b\tc ", u',', u'"', {u"a", u"b", u"c"}},
        {u"a , b", u',', u'"', {u"a", u"b"}},
        {u"a, ", u',', u'"', {u"a", u""}},
        {u"   ", u',', u'"', {}},
        {u"\"open, end", u',', u'"', {u"open, end"}},
        {u"\"a\"b,c", u',', u'"', {u"a", u"b", u"c"}},
        {u"x;'a;''b';", u';', u'\'', {u"x", u"a;'b", u""}},
        {u"\"a;b", u';', u'\0', {u"\"a", u"b"}},
        {u"a  'b c'", u' ', u'\'', {u"a", u"b c"}},
    };
    for (const auto& Row : Rows) {
        TStringList List;
        List.SetDelimitedText(Row.Text, Row.Delimiter, Row.Quote);
        EXPECT_EQ(LinesOf(List), Row.Lines);
    }
}

TEST(Strings, EmptyLinesSurviveABlankDelimiter) {
    TStringList List;
    Fill(List, {u"", u"a", u""});
    EXPECT_EQ(List.DelimitedText(u' ', u'"'), u"\"\" a \"\"");
}

TEST(Strings, TextSplitsAtEveryKindOfLineBreak) {
    TStringList List;
    List.SetText(u"a\rb\nc\r\nd\n\re\r\n\r\nf");
    EXPECT_EQ(LinesOf(List), (TLines{u"a", u"b", u"c", u"d", u"", u"e", u"", u"f"}));
    EXPECT_EQ(List.Text(), u"a\r\nb\r\nc\r\nd\r\n\r\ne\r\n\r\nf\r\n");
    List.SetText(List.Text());
    EXPECT_EQ(List.Count(), 8);
    List.SetText(u"");
    EXPECT_EQ(List.Count(), 0);
    List.SetText(u"\n");
    EXPECT_EQ(LinesOf(List), TLines{u""});
}

TEST(StringList, EachChangeIsCountedAndIndicesOutsideAreRefused) {
    TKXStringList List;
    TObject Object;
    const struct {
        std::function<void()> Change;
        const char* Outside;
        TLines Lines;
    } Rows[] = {
        {[&] { List.Add(u"a"); }, nullptr, {u"a"}},
        {[&] { List.Insert(1, u"end"); }, nullptr, {u"a", u"end"}},
        {[&] { List.Insert(3, u""); }, "3", {u"a", u"end"}},
        {[&] { List.SetStrings(0, u"b"); }, nullptr, {u"b", u"end"}},
        {[&] { List.SetTags(5, 0); }, "5", {u"b", u"end"}},
        {[&] { (void)List.Strings(2); }, "2", {u"b", u"end"}},
        {[&] { List.Delete(-1); }, "-1", {u"b", u"end"}},
        {[&] { List.Delete(0); }, nullptr, {u"end"}},
        {[&] { List.Clear(); }, nullptr, {}},
    };
    for (const auto& Row : Rows) {
        const auto Before = List.Changes();
        if (Row.Outside != nullptr) {
            EXPECT_EQ(Raised<Exception>([&] {
                          Row.Change();
                          return 0;
                      }),
                      "List index out of bounds (" + std::string(Row.Outside) + ")");
        } else {
            Row.Change();
            EXPECT_NE(List.Changes(), Before);
        }
        EXPECT_EQ(LinesOf(List), Row.Lines);
    }
}

TEST(StringList, FindsTheFirstLineOfAnUnsortedList) {
    TStringList List;
    Fill(List, {u"b", u"a", u"A", u""});
    EXPECT_EQ(List.IndexOf(u"A"), 1) << "case is ignored";
    EXPECT_EQ(List.IndexOf(u""), 3);
    EXPECT_EQ(List.IndexOf(u"c"), -1);
}

TEST(StringList, SortedKeepsOrderAndDuplicatesBehind) {
    TStringList List;
    TObject First, Second;
    List.AddObject(u"Pear", &First);
    List.Add(u"fig");
    List.SetSorted(true);
    EXPECT_EQ(List.AddObject(u"pear", &Second), 2);
    EXPECT_EQ(List.Add(u"apple"), 0);
    EXPECT_EQ(LinesOf(List), (TLines{u"apple", u"fig", u"Pear", u"pear"}));
    EXPECT_EQ(List.IndexOf(u"PEAR"), 2);
    EXPECT_EQ(List.Objects(2), &First);
    EXPECT_EQ(List.IndexOf(u"plum"), -1);
    EXPECT_THROW(List.Insert(0, u"x"), Exception);
    EXPECT_THROW(List.SetStrings(0, u"x"), Exception);
}

TEST(StringList, AssignTakesObjectsAndTagsAlong) {
    TObject Object;
    TStringList Source, Target;
    Source.AddObject(u"b", &Object);
    Source.SetTags(0, -5);
    Source.Add(u"a");
    Target.SetSorted(true);
    Target.Add(u"gone");
    Target.Assign(Source);
    EXPECT_EQ(LinesOf(Target), (TLines{u"a", u"b"}));
    EXPECT_EQ(Target.Objects(1), &Object);
    EXPECT_EQ(Target.Tags(1), -5);
    Target.AddStrings(Target);
    EXPECT_EQ(LinesOf(Target), (TLines{u"a", u"a", u"b", u"b"}));
    Target.Assign(Target);
    EXPECT_EQ(Target.Count(), 4);
}

TEST(StringList, TakesItsOwnLinesAsArguments) {
    TKXStringList List;
    List.Add(std::u16string(40, u'x'));
    for (int Round = 0; Round < 20; ++Round) List.Add(List.Strings(0));
    List.SetStrings(0, std::u16string_view(List.Strings(0)).substr(1));
    EXPECT_EQ(List.Strings(0), std::u16string(39, u'x'));
    EXPECT_EQ(List.Strings(20), std::u16string(40, u'x'));
    EXPECT_EQ(List.ClassName(), u"TKXStringList");
    EXPECT_EQ(ObjectCast<TStrings>(&List), &List);
}

} // namespace
} // namespace zutools
