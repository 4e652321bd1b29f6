#include "templates/Lint.h"

#include "platform/Text.h"

#include <gmock/gmock.h>

namespace zutools {
namespace {

std::string At(TLintPlace Place) {
    return std::to_string(Place.Line) + ":" + std::to_string(Place.Column);
}

std::string Names(const std::vector<TLintName>& List) {
    std::string Result;
    for (const TLintName& Name : List) {
        if (!Result.empty()) Result += ' ';
        Result += platform::Utf16ToUtf8(Name.Name) + '@' + At(Name.Place);
        if (Name.IsMember) Result += '!';
        if (Name.Count != 1) Result += 'x' + std::to_string(Name.Count);
    }
    return Result;
}

/// "tags; part(depth)@place tags; ... | keys"
std::string Structure(const TLintReport& Report) {
    std::string Result;
    for (const TLintPart& Part : Report.Parts) {
        if (Part.Depth > 0) {
            Result += "; " + platform::Utf16ToUtf8(Part.Name) + '(' + std::to_string(Part.Depth) + ")@" +
                      At(Part.Place) + ' ';
        }
        Result += Names(Part.Tags);
    }
    if (!Report.Keys.empty()) Result += " | " + Names(Report.Keys);
    return Result;
}

std::string Problems(const TLintReport& Report) {
    std::string Result;
    for (const TLintProblem& Problem : Report.Problems) {
        Result += At(Problem.Place) + ": " + platform::Utf16ToUtf8(Problem.Message) + '\n';
    }
    return Result;
}

struct TCase {
    const char* Name;
    std::string Text;
    std::string Expected;
};

void PrintTo(const TCase& Case, std::ostream* Out) {
    *Out << Case.Name;
}

class LintStructure : public testing::TestWithParam<TCase> {};

TEST_P(LintStructure, IsListedWithoutProblems) {
    const TLintReport Report = LintTemplate(GetParam().Text);
    EXPECT_EQ(Structure(Report), GetParam().Expected);
    EXPECT_EQ(Problems(Report), "");
}

INSTANTIATE_TEST_SUITE_P(
    Lint, LintStructure,
    testing::Values(TCase{"Tags", "a[[X]]b[[Y]]\n[[X]]", "X@1:2x2 Y@1:8"},
                    TCase{"LineEnds", "\r\n[[A]]\n [[B]]\r[[C]]", "A@2:1 B@3:2 C@3:8"},
                    TCase{"ColumnsAreCharacters", "\xD0\x9F\xF0\x9F\x98\x80[[\xD0\x98\xF0\x9F\x98\x80]][[B]]",
                          "\xD0\x98\xF0\x9F\x98\x80@1:3 B@1:9"},
                    TCase{"ByteOrderMarkIsNotCounted", "\xEF\xBB\xBF[[A]]", "A@1:1"},
                    TCase{"PartsNest", "[[A]][[!R]][[B]][[!C]][[D]][[/C]][[E]][[/R]]\n[[!S]][[/]][[F]]",
                          "A@1:1 F@2:12; R(1)@1:6 B@1:12 E@1:34; C(2)@1:17 D@1:23; S(1)@2:1 "},
                    TCase{"SameNameInParentAndPartMayDifferInCase", "[[a]][[!R]][[A]][[/R]]",
                          "a@1:1; R(1)@1:6 A@1:12"},
                    TCase{"NamesAreVerbatim", "[[ a\nb ]][[c]]", " a\nb @1:1 c@2:5"},
                    TCase{"MembersAreMarked", "[[Name]][[body]][[Names]]", "Name@1:1! body@1:9! Names@1:17"},
                    TCase{"Keys", "{{k}}[[A]]\n{{ k }}{{k}}{{}}", "A@1:6 | k@1:1x2  k @2:1 @2:13"},
                    TCase{"MarksInKeysDoNotCount", "{{[[a}}[[B]]{{]][[}}[[C{{]]}}]]",
                          "B@1:8 C{{]]}}@1:21 | [[a@1:1 ]][[@1:13 ]]@1:24"},
                    TCase{"MarksOnBothSidesOfAKey", "[{{k}}[A]]", " | k@1:2"},
                    TCase{"KeysBehindTheEndOfParts", "[[!R]]{{k}}[[/R]]", "; R(1)@1:1  | k@1:7"}),
    [](const auto& Info) { return Info.param.Name; });

class LintProblems : public testing::TestWithParam<TCase> {};

TEST_P(LintProblems, AreReportedAtTheirPlaces) {
    EXPECT_EQ(Problems(LintTemplate(GetParam().Text)), GetParam().Expected);
}

INSTANTIATE_TEST_SUITE_P(
    Lint, LintProblems,
    testing::Values(
        TCase{"EmptyFile", "", "1:1: file is empty\n"},
        TCase{"UnclosedTag", "a\n b[[c", "2:3: tag is not closed\n"},
        TCase{"UnclosedParts", "[[!A]]\n[[!B]]x",
              "1:1: part \"A\" is not closed\n2:1: part \"B\" is not closed\n"},
        TCase{"ForgottenClosingMarkIsPointedAt", "[[!ROW]]\n[[!CELL]]\n[[/ROW]]\n",
              "1:1: part \"ROW\" is not closed\n"
              "3:1: closing mark \"/ROW\" closes the part \"CELL\" opened at 2:1\n"},
        TCase{"ClosingMarkAtTopLevel", "a[[/]]b[[c",
              "1:2: closing mark \"/\" without an open part: the rest of the file is ignored\n"},
        TCase{"LetterCase", "[[Title]]\n[[TITLE]][[title]][[TITLE]]",
              "2:1: tag \"TITLE\" differs only in letter case from \"Title\" at 1:1\n"
              "2:10: tag \"title\" differs only in letter case from \"Title\" at 1:1\n"},
        TCase{"ComposedLetters", "[[e\xCC\x81]][[\xC3\xA9]]",
              "1:7: tag \"\xC3\xA9\" is the same as \"e\xCC\x81\" at 1:1\n"},
        TCase{"PartsOfOneName", "[[!a]][[!A]][[/]][[/]]\n[[!A]][[/]]",
              "2:1: part \"A\" has the name of the part at 1:1: it can be reached by its index only\n"},
        TCase{"UnclosedKeyHidesTheRest", "[[a]]{{k\n[[b",
              "1:6: language key is not closed: the text from here on is dropped\n"},
        TCase{"TagOverAnUnclosedKey", "[[a{{k]]",
              "1:1: tag is not closed\n1:4: language key is not closed: the text from here on is dropped\n"},
        TCase{"OpeningMarkInATag", "[[a b[[c]]",
              "1:1: tag \"a b[[c\" holds an opening mark: is it closed too late?\n"},
        TCase{"OpeningMarkInAKey", "{{a\n{{b}}",
              "1:1: language key \"a\\n{{b\" holds an opening mark: is it closed too late?\n"},
        TCase{"NoNames", "[[]][[!]][[/]]",
              "1:1: tag has no name: it can never be filled\n1:5: part has no name: it can be reached by its "
              "index only\n"},
        TCase{"MalformedUtf8GoesOn", "\xEF\xBB\xBF\xD0\x98\n a\xFF[[b",
              "2:3: malformed UTF-8\n2:4: tag is not closed\n"}),
    [](const auto& Info) { return Info.param.Name; });

TEST(Lint, HundredThousandNestedPartsAreListed) {
    constexpr std::size_t Depth = 100'000;
    std::string Text;
    for (std::size_t Index = 0; Index < Depth; ++Index) Text += "[[!P]]";
    const TLintReport Open = LintTemplate(Text);
    EXPECT_EQ(Open.Problems.size() + Open.MoreProblems, Depth);
    EXPECT_EQ(Open.Problems.size(), MaxLintProblems);
    EXPECT_EQ(Open.Parts.back().Depth, Depth);
    for (std::size_t Index = 0; Index < Depth; ++Index) Text += "[[/P]]";
    EXPECT_TRUE(LintTemplate(Text).Problems.empty());
}

TEST(Lint, TooManyNamesStopTheAnalysis) {
    std::string Text;
    for (std::size_t Index = 0; Index <= MaxLintNames; ++Index) Text += "[[!a]]";
    const TLintReport Report = LintTemplate(Text);
    EXPECT_EQ(Report.Parts.size(), MaxLintNames + 1);
    EXPECT_THAT(Problems(Report), testing::HasSubstr("more than 1000000 different names"));
}

TEST(Lint, MegabyteNamesAreKeptAndShownShort) {
    const std::string Name(1 << 20, 'n');
    const TLintReport Report = LintTemplate("[[!" + Name + "]][[" + Name + "]]");
    ASSERT_EQ(Report.Parts.size(), 2U);
    EXPECT_EQ(Report.Parts[1].Name.size(), Name.size());
    EXPECT_EQ(Report.Parts[1].Tags.front().Name.size(), Name.size());
    ASSERT_EQ(Report.Problems.size(), 1U);
    EXPECT_LT(Report.Problems.front().Message.size(), 200U);
}

TEST(Lint, OversizeNamesBothSizes) {
    const TLintReport Report = LintOversize(100'000'000);
    EXPECT_EQ(Problems(Report),
              "1:1: file of 100000000 bytes is larger than the 67108864 that are analysed\n");
}

TEST(Lint, QuotedNamesStayOnOneLineAndWhole) {
    EXPECT_EQ(QuoteLintName(u"a\"b\\\n\u0001\u2028"), u"\"a\\\"b\\\\\\n\\u0001\\u2028\"");
    EXPECT_EQ(QuoteLintName(u"ab\U0001F600", 3), u"\"ab\"...");
    EXPECT_EQ(QuoteLintName(u"ab\U0001F600", 4), u"\"ab\U0001F600\"");
}

} // namespace
} // namespace zutools
