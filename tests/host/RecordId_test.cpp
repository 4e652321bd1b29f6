#include "host/RecordId.h"

#include <gtest/gtest.h>

namespace zutools {
namespace {

using TValues = std::vector<std::u16string>;

struct TCase {
    const char* Name;
    std::u16string RecordID;
    TValues Values;
};

TEST(RecordId, JoinsAndSplitsToTheSame) {
    const TCase Cases[] = {
        {"number", u"17", {u"17"}},
        {"one column is as it is", u"a;b\\c\\", {u"a;b\\c\\"}},
        {"one empty value", u"", {u""}},
        {"two", u"17;ab", {u"17", u"ab"}},
        {"empty parts", u";;", {u"", u"", u""}},
        {"separator inside", u"a\\;b;c", {u"a;b", u"c"}},
        {"escape inside", u"a\\\\;c", {u"a\\", u"c"}},
        {"both at the seam", u"\\\\\\;;\\;", {u"\\;", u";"}},
        {"NUL and Cyrillic", std::u16string(u"\0;\u0436", 3), {std::u16string(1, u'\0'), u"\u0436"}},
    };
    for (const TCase& Case : Cases) {
        SCOPED_TRACE(Case.Name);
        EXPECT_TRUE(JoinRecordID(Case.Values) == Case.RecordID);
        const auto Split = SplitRecordID(Case.RecordID, Case.Values.size());
        ASSERT_TRUE(Split.has_value());
        EXPECT_TRUE(*Split == Case.Values);
    }
}

TEST(RecordId, RefusesWhatIsNoIdOfThatKey) {
    const struct {
        const char* Name;
        std::u16string_view RecordID;
        std::size_t Count;
    } Cases[] = {
        {"no columns", u"", 0},
        {"too few parts", u"17", 2},
        {"too many parts", u"1;2;3", 2},
        {"empty for two", u"", 2},
        {"escape at the end", u"1;2\\", 2},
        {"escape of a letter", u"a\\b;c", 2},
        {"escaped away", u"1\\;2", 2},
    };
    for (const auto& Case : Cases) {
        EXPECT_FALSE(SplitRecordID(Case.RecordID, Case.Count).has_value()) << Case.Name;
    }
    EXPECT_TRUE(JoinRecordID({}).empty());
}

} // namespace
} // namespace zutools
