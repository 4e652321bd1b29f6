// Records as scripts and conditions see them.

#include "tests/support/MemoryTable.h"
#include "tests/support/Raised.h"

#include <gtest/gtest.h>

#include <cmath>

namespace zutools {
namespace {

TEST(UserTable, ValuesAreTheSameByTheirKindAndNotBySpelling) {
    constexpr std::int64_t Big = (std::int64_t{1} << 53) + 1; // no float holds it
    const TDateTime Noon{45000.5};
    constexpr char Yes = '=', No = '!', Unfit = '?';
    const struct {
        TKXVariant Value, Other;
        char Wanted;
    } Rows[] = {
        {5, u"5.00", Yes},
        {5, 5.5, No},
        {5, u"6", No},
        {2.5, u"2.5", Yes},
        {2.5, 2, No},
        {3.0, 3, Yes},
        {Big, 9007199254740992.0, No},
        {Big, u"9007199254740993", Yes},
        {9007199254740992.0, Big, No},
        {5, std::nan(""), No},
        {5, 1e300, No},
        {-5, 9223372036854775808.0, No},
        {5, u"five", Unfit},
        {5, TKXVariant(), Unfit},
        {true, u"TRUE", Yes},
        {true, u"0", No},
        {false, u"False", Yes},
        {false, 0, Yes},
        {true, 1.0, Yes},
        {true, 2, Unfit},
        {true, u"yes", Unfit},
        {Noon, u"2023-03-15T12:00", Yes},
        {Noon, u"15.03.2023", No},
        {Noon, u"noon", Unfit},
        {Noon, 45000.5, Unfit},
        {u"a", u"a", Yes},
        {u"a", u"A", No},
        {u"1", 1, Unfit},
        {u'c', TKXVariant::AnsiString("c"), Yes},
        {TKXVariant(), u"", Unfit},
        {PointerAsLVar(nullptr), 1, Unfit},
    };
    const tests::TMemoryTable Table({});
    for (const auto& Row : Rows) {
        const auto Same = Table.SameValue(u"any", Row.Value, Row.Other);
        EXPECT_EQ(!Same ? Unfit : *Same ? Yes : No, Row.Wanted) << "row " << &Row - Rows;
    }
}

TEST(UserTable, ScriptsReadAndWriteFieldsByName) {
    tests::TMemoryTable Table({{u"Total", 5}});
    TRecordInterface& Record = Table.RecordInterface();
    const TKXVariant Values[] = {u"index", 7};
    TKXVariant Result;
    EXPECT_TRUE(Record.SetPropertyInternal(u"TOTAL", TScriptArgs(Values).subspan(1), 0));
    EXPECT_TRUE(Record.GetPropertyInternal(u"total", {}, 0, Result));
    EXPECT_EQ(Result, TKXVariant(7));
    EXPECT_FALSE(Record.GetPropertyInternal(u"Nobody", {}, 0, Result));
    EXPECT_FALSE(Record.SetPropertyInternal(u"Nobody", TScriptArgs(Values).subspan(1), 0));
    const std::string Refusal = "The field \"Total\" of Orders takes no index";
    EXPECT_EQ(tests::Raised<EIObjectError>([&] { return Record.SetPropertyInternal(u"Total", Values, 1); }),
              Refusal);
    EXPECT_EQ(tests::Raised<EIObjectError>(
                  [&] { return Record.GetPropertyInternal(u"Total", TScriptArgs(Values, 1), 1, Result); }),
              Refusal);
}

} // namespace
} // namespace zutools
