// The quick parser and builder against the plain ones, over random texts.

#include "templates/Lint.h"
#include "tests/templates/Compare.h"

#include <gtest/gtest.h>

#include <random>

namespace zutools::tests {
namespace {

// Pieces rather than characters, so that marks, cut marks, equal names in other spellings and nesting are
// frequent.
constexpr std::u16string_view Pieces[] = {
    u"[[",          u"]]",
    u"[[!",         u"[[/]]",
    u"[",           u"]",
    u"!",           u"/",
    u"a",           u"A",
    u"name",        u"[[NAME]]",
    u"\n\r",        u"\r\n",
    u"\n",          u" ",
    u"[[Имя]]",     u"[[ИМЯ]]",
    u"ß",           u"[[ß]]",
    u"[[SS]]",      u"\u00E9",
    u"[[e\u0301]]", u"[[\u00E9]]",
    u"[[\u00C9]]",  u"[[]]",
    u"[[x\u00AD]]", u"[[x]]",
    u"[[!Row]]",    u"[[!row]]",
    u"\xD800",      u"[[И\u0306]]",
    u"[[й]]",       u"long literal text between the marks, ",
};

/// The linter counts the same names as one that templates do.
void CompareLint(const std::u16string& Text) {
    const auto Bytes = platform::Utf16ToUtf8Strict(Text);
    if (Bytes.Error || Text.empty()) return;
    const TLintReport Report = LintTemplate(Bytes.Text);
    TTemplate Template;
    Template.SetBody(Text);
    std::size_t Tags = 0;
    for (const TLintName& Tag : Report.Parts.front().Tags) Tags += Tag.Count;
    ExpectSame("linted tags", static_cast<std::size_t>(Template.GetNumTags()),
               Report.Parts.front().Tags.size());
    ExpectSame("linted places", Template.LTags().TagsPosition.size(), Tags);
}

std::u16string RandomText(std::mt19937& Random) {
    std::u16string Text;
    const std::size_t Count = Random() % 40;
    for (std::size_t Index = 0; Index < Count; ++Index) Text += Pieces[Random() % std::size(Pieces)];
    return Text;
}

TEST(Random, ParsesFillsCopiesAndBuildsLikeTheReference) {
    std::mt19937 Random(20240229);
    for (int Round = 0; Round < 4000; ++Round) {
        const std::u16string Text = RandomText(Random);
        try {
            CompareText(Text);
            CompareLint(Text);
        } catch (const std::exception& Error) {
            FAIL() << "round " << Round << ": " << Error.what() << "\n" << platform::Utf16ToUtf8(Text);
        }
    }
}

// Marks at every offset from the start of a block of eight: the search must see pairs that straddle two
// blocks.
TEST(Random, MarksAreFoundAtEveryOffset) {
    for (std::size_t Before = 0; Before < 40; ++Before) {
        for (std::size_t After = 0; After < 20; ++After) {
            CompareText(std::u16string(Before, u'[') + u"x[[T" + std::u16string(After, u'y') + u"]]" +
                        std::u16string(After, u'z'));
        }
    }
}

} // namespace
} // namespace zutools::tests
