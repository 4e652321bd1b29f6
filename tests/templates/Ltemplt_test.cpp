#include "templates/Ltemplt.h"

#include "core/Lparams.h"
#include "host/Services.h"
#include "tests/templates/Dump.h"

#include <gtest/gtest.h>

#include <map>

namespace zutools::tests {
namespace {

TTemplate& Parse(TTemplate& Template, std::u16string Text) {
    Template.SetBody(std::move(Text));
    return Template;
}

struct TSyntaxRow {
    std::u16string_view Text;
    const char* Dump;
};

// What the plain reference could have understood wrongly as well; random texts do the rest.
TEST(Template, ParsesTo) {
    const TSyntaxRow Rows[] = {
        {u"a[[X]]b[[X]]c", R"("abc" X@2 X@3)"},
        {u"[[]]", R"("" @1)"},
        {u"[[Name]]x[[NAME]]", R"("x" Name@1 Name@2)"},
        {u"[[ X ]][[X]]]", R"("]"  X @1 X@1)"},
        {u"{{K}}", R"("{{K}}")"},
        {u"x[[!Row]]r[[Y]]s[[/Row]]z", R"("xz" {ROW: "rs" Y@2})"},
        {u"[[!A]]a[[/B]]x[[!B]]b[[/]]y", R"("xy" {A: "a"} {B: "b"})"},
        {u"[[!A]]1[[!B]]2[[T]][[/]]3[[T]][[/]]4", R"("4" {A: "13" T@3 {B: "2" T@2}})"},
    };
    for (const auto& [Text, Wanted] : Rows) {
        TTemplate Template;
        EXPECT_EQ(Dump(Parse(Template, std::u16string(Text))), Wanted);
    }
}

TEST(Template, ClosingMarkAtTheTopEndsTheTextWithoutAnError_KeptOnPurpose) {
    TTemplate Template;
    EXPECT_EQ(Dump(Parse(Template, u"a[[/]]b[[X]]")), R"("a")");
    EXPECT_EQ(Template.LastError(), u"");
    EXPECT_EQ(Template.FullBody(), u"a[[/]]b[[X]]");
    TTemplate Other;
    EXPECT_EQ(Other.ComposeTemplate(1, u"a[[/]]b", {}), 7);
}

TEST(Template, UnclosedPartNamesNoTemplate_KeptOnPurpose) {
    TTemplate Template;
    Parse(Template, u"[[!Outer]]a[[!Inner]]b");
    EXPECT_EQ(Template.LastError(), u"");
    TTemplate& Outer = *Template.GetPart(1);
    EXPECT_EQ(Outer.LastError(), u"Not found close tags ([[/...]]) of part: \"Outer\" in template: .");
    EXPECT_EQ(Outer.GetPart(1)->LastError(),
              u"Not found close tags ([[/...]]) of part: \"Inner\" in template: .");
}

TEST(Template, RaisesTheInnermostErrorAndKeepsWhatWasFound) {
    TTemplate Template;
    Template.SetRaiseException(true);
    try {
        Template.SetBody(u"x[[!Outer]]a[[!Inner]]b[[T]]");
        FAIL();
    } catch (const ETemplate& Error) {
        EXPECT_EQ(Error.Message(), u"Not found close tags ([[/...]]) of part: \"Inner\" in template: .");
    }
    EXPECT_EQ(Dump(Template), R"("x" {OUTER: "a" {INNER: "b" T@2}})");
    EXPECT_EQ(Template.GetPart(1)->LastError(), u"") << "the first error ended the work";
    EXPECT_THROW(Template.SetBody(u"a[[b"), ETemplate);
    EXPECT_EQ(Template.LastError(), u"Not found close tags (]]) in template: .");
    EXPECT_EQ(Template.Body(), u"a");
    EXPECT_THROW((void)Template.GetTagValue(u"nope"), ETemplate);
}

TEST(Template, CaretOfATagIsItsLengthBelowZero_KeptOnPurpose) {
    TTemplate Template;
    Parse(Template, u"some text\n\r[[Name]]");
    EXPECT_EQ(Template.GetTag(0)->CaretX, -8);
    EXPECT_EQ(Template.GetTag(0)->CaretY, 0);
}

TEST(Template, LinesAreCountedAtLfCrAndAtTheLastTwoCharacters_KeptOnPurpose) {
    TTemplate CrLf, LfCr;
    Parse(CrLf, u"a\r\nb\r\ncdef");
    EXPECT_EQ(CrLf.CaretY(), 2) << "the last two characters only";
    Parse(LfCr, u"a\n\rb\n\rcdef");
    EXPECT_EQ(LfCr.CaretY(), 4);
    EXPECT_EQ(LfCr.CaretX(), 0);
}

TEST(Template, PositionsOfAPartAreTheParents) {
    TTemplate Template;
    Parse(Template, u"ab[[!P]]cd[[/]]efgh");
    EXPECT_EQ(Template.BeginPositionX(), 8);
    EXPECT_EQ(Template.EndPositionX(), 8) << "a part walks with its own caret";
    EXPECT_EQ(Template.GetPart(1)->BeginPositionX(), 0);
    // The caret goes on from the parse before, unless a file is read.
    Template.ComposeTemplate(1, u"xx[[!P]][[/]]yyyy", {});
    EXPECT_EQ(Template.CaretY(), 4);
}

TEST(Template, PartsOfAnotherParseAreAdded) {
    TTemplate Template;
    Parse(Template, u"[[!A]]a");
    Template.ComposeTemplate(1, u"x[[!B]]b[[/]][[T]]", {});
    EXPECT_EQ(Template.AddPart(3, u"..c[[/]]rest", u"c"), 9);
    EXPECT_EQ(Dump(Template), R"("x" T@2 {A: "a"} {B: "b"} {C: "c"})");
    EXPECT_NE(Template.GetPart(1)->LastError(), u"") << "of its own parse";
    EXPECT_THROW(Template.AddPart(nullptr), ETemplate);
    EXPECT_EQ(Template.LParts().size(), 3U);
    Template.ClearTagsList();
    EXPECT_EQ(Template.Body(), u"x") << "the body stays";
}

TEST(Template, ParsesFromAPosition) {
    TTemplate Template;
    EXPECT_EQ(Template.ComposeTemplate(4, u"abcdef", {}), 7);
    EXPECT_EQ(Template.Body(), u"def");
    EXPECT_EQ(Template.ComposeTemplate(9, u"abcdef", {}), 9);
    EXPECT_EQ(Template.Body(), u"");
    EXPECT_EQ(Template.ComposeTemplate(1, u"a", u"Part"), 2);
    EXPECT_EQ(Template.LastError(), u"Not found close tags ([[/...]]) of part: \"Part\" in template: .");
}

// --- Filling and building ---

TEST(Template, BuildsIntoAStringOfTheCaller) {
    TTemplate Template;
    Parse(Template, u"a[[X]]b");
    Template.SetTagValue(u"X", u"1");
    std::u16string Output = u"something longer before";
    Template.BuildTemplate(Output);
    EXPECT_EQ(Output, u"a1b");
    Template.AppendTemplate(Output);
    EXPECT_EQ(Output, u"a1ba1b");
}

TEST(Template, HandlesSetWhatNamesSet) {
    TTemplate Template;
    Parse(Template, u"[[A]]-[[B]]");
    const TTagHandle A = Template.FindTag(u"a");
    const TTagHandle Unknown = Template.FindTag(u"C");
    EXPECT_TRUE(A);
    EXPECT_FALSE(Unknown);
    EXPECT_FALSE(Template.FindTag(u""));
    Template.SetTagValue(A, u"1");
    Template.SetTagValue(Unknown, u"2");
    EXPECT_EQ(Template.BuildTemplate(), u"1-");
    (void)Template.LTags();
    Template.SetTagValue(A, u"3");
    EXPECT_EQ(Template.BuildTemplate(), u"3-");
    Template.SetBody(u"no tags");
    Template.SetTagValue(A, u"4"); // stale: nothing, or some other tag, but never harm
    EXPECT_EQ(Template.BuildTemplate(), u"no tags");
}

TEST(Template, EmptyTagNameReadsTheSameForWriting_KeptOnPurpose) {
    TTemplate Template;
    Parse(Template, u"[[]]").SetTagValue(u"", u"1");
    EXPECT_EQ(Template.LastError(), u"Can't get value of empty tag.");
}

TEST(Template, OccurrencesStandInTextOrder) {
    TTemplate Template;
    Parse(Template, u"[[beta]][[Alpha]][[gamma]]");
    EXPECT_EQ(Template.GetTagIndex(u"delta"), -1);
    EXPECT_EQ(std::u16string(Template.GetTag(0)->Param->FName), u"beta");
    EXPECT_EQ(Template.GetTag(3), nullptr);
    EXPECT_EQ(Template.GetTag(-1), nullptr);
}

TEST(Template, TagIndexOutOfRangeAlwaysRaisesAndLeavesLastError_KeptOnPurpose) {
    TTemplate Template;
    Parse(Template, u"[[X]]");
    Template.SetLastError(u"before");
    for (const int Index : {-1, 1}) {
        try {
            (void)Template.GetTagName(Index);
            FAIL();
        } catch (const ETemplate& Error) {
            EXPECT_EQ(Error.Message(), u"Error tag index: " + (Index < 0 ? std::u16string(u"-1.") : u"1."));
        }
    }
    EXPECT_EQ(Template.LastError(), u"before");
}

TEST(Template, PartsByIndexAndName) {
    TTemplate Template;
    Parse(Template, u"[[!Row]]1[[!Deep]][[/]][[/]][[!ряд]]2[[/]][[!ROW]]3[[/]]");
    EXPECT_EQ(Template.GetPart(-5), &Template);
    EXPECT_EQ(Template.GetPartByName(u""), &Template);
    EXPECT_EQ(Template.GetPartByName(u"row"), Template.GetPart(1)) << "the first of that name";
    EXPECT_EQ(Template.GetPartByName(u"deep"), nullptr) << "direct parts only";
    EXPECT_EQ(Template.GetPart(4), nullptr);
    EXPECT_EQ(Template.LastError(), u"Error part index: 4 in template object: .");
    EXPECT_EQ(Template.GetPart(1)->FullBody(), Template.FullBody());
}

TEST(Template, PartsAreFoundByTheirOwnNamesWhateverTheLetters) {
    for (const std::u16string Name : {u"Straße", u"\u0131s\u0131", u"\u0149", u"Ряд", u"e\u0301t\u00E9"}) {
        TTemplate Template;
        Parse(Template, u"[[!" + Name + u"]]p[[/]]");
        EXPECT_EQ(Template.GetPartByName(Name), Template.GetPart(1)) << platform::Utf16ToUtf8(Name);
        EXPECT_EQ(Template.GetPartByName(Template.GetPart(1)->PartName()), Template.GetPart(1));
        EXPECT_EQ(Template.GetPart(1)->PartName().size(), Name.size()) << "character by character";
    }
}

TEST(Template, AListsEventMayBlankAValue) {
    TParamsList Params;
    Params.Add(u"x", u"1");
    Params.Add(u"Y", u"3");
    Params.SetOnGetParamValue(
        [](std::u16string_view Name, std::u16string_view, bool& CanSet) { CanSet = Name != u"x"; });
    TTemplate Template;
    Parse(Template, u"[[X]][[Y]]").FillTemplatePL(Params);
    EXPECT_EQ(Template.BuildTemplate(), u"3");
}

TEST(Template, ChangesThroughTheListsCount) {
    TTemplate Template;
    Parse(Template, u"ab[[X]][[!P]]p[[/]]");
    Template.LTags().TagsValues.SetValue(u"X", u"2");
    Template.LTags().AddTag(u"Z").Position = 1000; // beyond the body: its end
    Template.GetTag(0)->CaretY = 7;
    Template.LTags().TagsPosition.emplace_back(); // a place without a tag, and one without an entry
    Template.LTags().TagsPosition.push_back(std::make_unique<TTagParam>());
    EXPECT_EQ(Template.ReBuildTemplate(), u"ab2[[Z]]ab") << "the last place begins at the front";
    Template.AddPart(std::make_unique<TTemplate>());
    TTemplate Copy;
    Copy.Assign(&Template);
    EXPECT_EQ(Dump(Copy), R"("ab" X@3 Z@1000 {P: "p"} {: ""})");
    EXPECT_EQ(Copy.GetTag(0)->CaretY, 7);
}

// --- Copies ---

TEST(Template, CopiesTakeTheErrorStyleAndAreTheirOwn) {
    TTemplate Source;
    Source.SetLanguageID(u"ru");
    Parse(Source, u"a[[X]][[!P]]p[[Y]][[/]]").SetRaiseException(true);
    Source.SetLastError(u"kept here");
    TTemplate Copy;
    Copy.Assign(&Source);
    EXPECT_TRUE(Copy.RaiseException());
    EXPECT_EQ(Copy.LanguageID(), u"ru");
    EXPECT_EQ(Copy.LastError(), u"");
    Copy.Assign(nullptr);
    Copy.Assign(&Copy);
    EXPECT_EQ(Dump(Copy), R"("a" X@2 {P: "p" Y@2})");
    Copy.Assign(Copy.GetPart(1)); // a part that the copying frees
    EXPECT_EQ(Dump(Copy), R"("p" Y@2)");
    EXPECT_EQ(Copy.PartName(), u"P");
    Source.GetPart(1)->Assign(&Source); // the template that it is a part of, as it was before
    EXPECT_EQ(Dump(Source), R"("a" X@2 {: "a" X@2 {P: "p" Y@2}})");
}

// Parts are made when they are asked for; they must be as they were when the text was parsed.
TEST(Template, PartsKeepTheLanguageAndErrorStyleOfTheirParsing) {
    TTemplate Template;
    Template.SetLanguageID(u"ru");
    Parse(Template, u"[[!P]][[/]]");
    Template.SetLanguageID(u"en");
    Template.SetRaiseException(true);
    TTemplate Copy;
    Copy.Assign(&Template);
    EXPECT_EQ(Template.GetPart(1)->LanguageID(), u"ru");
    EXPECT_FALSE(Template.GetPart(1)->RaiseException());
    EXPECT_EQ(Copy.GetPart(1)->LanguageID(), u"ru");
    EXPECT_FALSE(Copy.GetPart(1)->RaiseException());
}

// --- Depth and size ---

TEST(Template, PartsNestedWithoutLimitAreParsedCopiedClearedAndFreed) {
    constexpr std::size_t Depth = 100'000;
    std::u16string Text;
    for (std::size_t Level = 0; Level < Depth; ++Level) Text += u"[[!P]]x[[T]]";
    for (std::size_t Level = 0; Level < Depth; ++Level) Text += u"[[/]]";
    TTemplate Template;
    Parse(Template, Text);
    std::size_t Found = 0;
    for (TTemplate* Part = &Template; Part->GetNumParts() > 1; ++Found) {
        Part = Part->GetPart(1);
        Part->SetTagValue(u"T", u"1");
    }
    EXPECT_EQ(Found, Depth);
    TTemplate Copy;
    Copy.Assign(&Template); // with every part made
    Template.Clear();
    EXPECT_EQ(Template.GetPart(1)->BuildTemplate(), u"x");
    EXPECT_EQ(Template.BuildTemplate(), u"");
    EXPECT_EQ(Copy.GetPart(1)->GetPart(1)->BuildTemplate(), u"x");
    Copy.ClearParts();
    EXPECT_EQ(Template.GetPart(1)->EndPositionY(), 0);
}

// --- Language keys ---

class TWords : public TLocalizatorTable {
public:
    std::u16string GetString(std::u16string_view Key, std::u16string_view LanguageID) override {
        if (Key == u"none") return std::u16string(1, u'\0');
        return std::u16string(LanguageID) + u":" + std::u16string(Key);
    }
};

TEST(Template, LanguageKeysAreReplaced) {
    const TServices Services{std::make_shared<TSimpleApplicationManager>(u"de"), std::make_shared<TWords>(),
                             std::make_shared<TNullLogger>()};
    TTemplate Template(TTemplateEnvironment{nullptr, &Services}); // which is gone at once
    EXPECT_EQ(Template.LanguageID(), u"de");
    const std::map<std::u16string, std::u16string> Cases{
        {u"", u""},
        {u"no key {x} }}", u"no key {x} }}"},
        {u"a{{K}}b{{L}}", u"ade:Kbde:L"},
        {u"{{ K }}", u"de: K "},
        {u"{{}}", u"de:"},
        {u"a{{none}}b", u"ab"},
        {u"ab{{K", u"ab"},
        {u"{{{K}}}", u"de:{K}"},
        {u"{{a{{b}}", u"de:a{{b"},
        {u"[[{{K}}]]", u"[[de:K]]"},
    };
    for (const auto& [Text, Wanted] : Cases) {
        std::u16string Found = Text;
        Template.ReplaceLanguageTags(Found);
        EXPECT_EQ(Found, Wanted);
    }
}

TEST(Template, LanguageIsTrimmedAndFallsBackToTheDefault) {
    TTemplate Template;
    Template.SetLanguageID(u"  ru ");
    EXPECT_EQ(Template.LanguageID(), u"ru");
    Template.SetLanguageID(u"RU");
    EXPECT_EQ(Template.LanguageID(), u"ru");
    Template.SetLanguageID(u"   ");
    EXPECT_EQ(Template.LanguageID(), u"en");
}

} // namespace
} // namespace zutools::tests
