#include "platform/Text.h"
#include "server/rights/RecordFilter.h"
#include "tests/support/MemoryTable.h"
#include "tests/support/Raised.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace zutools::server {
namespace {

using tests::ExpectRaised;
using tests::TMemoryTable;

TUserInfo Anna() {
    TUserInfo User;
    User.UserName = u"Anna";
    User.Profile = u"Clerks";
    User.Attributes = {{u"Department", u"Sales"}, {u"Level", u"7"}, {u"Nothing", u""}};
    return User;
}

TMemoryTable Order() {
    constexpr std::int64_t Large = (std::int64_t{1} << 53) + 1;
    return TMemoryTable({{u"Department", u"Sales"},
                         {u"Owner", u"Anna"},
                         {u"Note", TKXVariant()},
                         {u"Empty", u""},
                         {u"Quote", u"it's"},
                         {u"Code", u"007"},
                         {u"Number", 7},
                         {u"Large", Large},
                         {u"Amount", -0.5},
                         {u"Odd", std::numeric_limits<double>::quiet_NaN()},
                         {u"Open", true},
                         {u"Day", TKXVariant(u"2026-02-03").AsDateTime()},
                         {u"Größe", u"XL"},
                         {u"Order No", 12},
                         {u"say\"so", u"x"},
                         {u"In", u"in"}});
}

/// The filters of a table, which stand between " | ".
std::vector<std::u16string> Each(std::u16string_view Table) {
    std::vector<std::u16string> Result;
    for (std::u16string Item; KX_GetNextParam(Table, u" | ", Item);) Result.push_back(Item);
    return Result;
}

// Texts compare exactly, numbers by value, dates by the moment; names ignore letter case; NOT binds before
// AND before OR.
constexpr std::u16string_view Covering =
    u"Department = 'Sales' | Department='Sales' | \t\n Department\r\n=  'Sales'  | "
    u"department <> 'sales' | Quote = 'it''s' | Empty = '' | Größe = 'XL' | \"Order No\" = 12 | "
    u"\"say\"\"so\" = 'x' | \"In\" = 'in' | Number = 7 | Number = 7.0 | Number = '7' | "
    u"Amount = -0.5 | Amount = '-0.50' | Large = 9007199254740993 | Large <> -9223372036854775808 | "
    u"Code = '007' | Open = 1 | Open = 'true' | Day = '2026-02-03' | Day = '03.02.2026' | "
    u"Department = :Department | Department = :DEPARTMENT | Owner = :UserName | "
    u"Owner = :username AND Department <> :Profile | Number = :Level | Empty = :Nothing | "
    u"Department IN ('IT', 'Sales') | Department in('IT',:Department) | Department NOT IN ('IT') | "
    u"Number IN (1, 7) | Note IS NULL | Note = 'x' OR Number = 7 | NOT (Note = 'x' AND Number = 8) | "
    u"Odd IS NULL | Number = 7 OR Number = 8 AND Number = 9 | NOT Number = 8 AND Number = 7 | "
    u"NOT (Number = 8 AND Number = 7) | NOT Number = 7 OR Number = 7 | "
    u"((Number = 7))AND(Number = 7)";
// A comparison with an empty field is neither true nor false.
constexpr std::u16string_view NotCovering =
    u"Department = 'sales' | Department = 'Sales ' | DEPARTMENT <> 'Sales' | Quote = 'its' | "
    u"Number <> 7 | Number = 7.5 | Large = 9007199254740992 | Large = '9007199254740992.0' | "
    u"Code = '7' | Open = 'False' | Open = 0 | Day = '2026-02-03 00:00:01' | Code = :Level | "
    u"Department NOT IN ('IT', 'Sales') | Note = '' | Note <> 'x' | NOT Note = 'x' | "
    u"NOT NOT Note = 'x' | Note NOT IN ('x') | Note IS NOT NULL | NOT Note IS NULL | Empty IS NULL | "
    u"Note = 'x' AND Number = 7 | NOT (Note = 'x' OR Number = 8) | Odd = 1 | Odd <> 1 | "
    u"(Number = 7 OR Number = 8) AND Number = 9 | NOT (Number = 7 OR Number = 7)";

TEST(RecordFilter, CoversWhatItSays) {
    const TMemoryTable Record = Order();
    const auto Covers = [&](std::u16string_view Filter, TRecordState State) {
        return TRecordFilter(Filter).Covers(Anna(), Record, State);
    };
    for (const TRecordState State : {TRecordState::Stored, TRecordState::Current}) {
        for (const auto& Filter : Each(Covering))
            EXPECT_TRUE(Covers(Filter, State)) << platform::Utf16ToUtf8(Filter);
        for (const auto& Filter : Each(NotCovering))
            EXPECT_FALSE(Covers(Filter, State)) << platform::Utf16ToUtf8(Filter);
    }
}

TEST(RecordFilter, MalformedOnesNamePositionAndRemedy) {
    struct TCase {
        std::u16string_view Filter;
        std::string_view Part;
    };
    const TCase Cases[] = {
        {u"", "position 1: it is empty"},
        {u"Department", "position 11: expected =, <>"},
        {u"Department =", "position 13: expected a text in single quotes"},
        {u"Department = Sales", "position 14: expected a text in single quotes"},
        {u"Department != 'Sales'", "position 12: expected =, <>"},
        {u"Department = 'Sales", "position 14: the closing ' of a text is missing"},
        {u"\"Department = 'Sales'", "position 1: the closing \" of a field's name"},
        {u"Department = 'Sales' Number = 7", "position 22: expected AND, OR or the end"},
        {u"Department = 'Sales'; DROP TABLE ZuUsers", "position 21: expected AND, OR or the end"},
        {u"(Department = 'Sales'", "position 22: expected AND, OR or the \")\" for the \"(\" at position 1"},
        {u"Department = 'Sales')", "position 21: expected AND, OR or the end"},
        {u"Department IN 'Sales'", "position 15: expected \"(\" after IN"},
        {u"Department IN ()", "position 16: expected a text"},
        {u"Department IN ('Sales' 'IT')", "position 24: expected \",\" or \")\""},
        {u"Department NOT 'Sales'", "position 16: expected IN after NOT"},
        {u"Department IS 'Sales'", "position 15: expected NULL or NOT NULL"},
        {u"In = 'x'", "stands in double quotes"},
        {u"Number = 7x", "expected a number"},
        {u"Number = -", "expected a number"},
        {u"Number = .5", "expected a text"},
        {u"Number = 9223372036854775808", "position 10: the number is too large"},
        {u"Number = 0x10", "expected a number"},
        {u"Number = 1234567890.1234567", "position 10: the number has more than 15 digits"},
        {u"Department = : Department", "right after the \":\""},
    };
    for (const auto& [Filter, Part] : Cases) {
        ExpectRaised<ERecordFilter>([&] { const TRecordFilter Parsed(Filter); }, {Part});
    }
}

TEST(RecordFilter, IsBounded) {
    const std::u16string Longest = u"A = '" + std::u16string(TRecordFilter::MaxLength - 6, u'x') + u"'";
    EXPECT_NO_THROW(TRecordFilter{Longest});
    ExpectRaised<ERecordFilter>([&] { const TRecordFilter Parsed(Longest + u" "); }, {"longer than 4096"});

    const auto Nested = [](std::u16string_view Opening, int Levels, std::u16string_view Closing) {
        std::u16string Text;
        for (int Level = 0; Level < Levels; ++Level) Text += Opening;
        Text += u"Number = 7";
        for (int Level = 0; Level < Levels; ++Level) Text += Closing;
        return Text;
    };
    const TMemoryTable Record = Order();
    for (const auto& [Opening, Closing] : {std::pair{u"(", u")"}, std::pair{u"NOT ", u""}}) {
        const int Deepest = TRecordFilter::MaxNesting - 2; // even, and the condition itself is a level
        EXPECT_TRUE(
            TRecordFilter(Nested(Opening, Deepest, Closing)).Covers(Anna(), Record, TRecordState::Stored));
        ExpectRaised<ERecordFilter>(
            [&] { const TRecordFilter Parsed(Nested(Opening, Deepest + 2, Closing)); },
            {"nested deeper than 100 levels"});
    }
}

TEST(RecordFilter, UnknownNamesAndUnlikeTypesNeverGrant) {
    struct TCase {
        std::u16string_view Filter;
        std::string_view Part;
    };
    const TCase Cases[] = {
        {u"Nowhere = 1", "the table \"Orders\" has no field \"Nowhere\""},
        {u"Nowhere IS NULL", "no field \"Nowhere\""},
        {u"Number = 7 OR Nowhere = 1", "no field \"Nowhere\""},
        {u"Number = 8 AND Nowhere = 1", "no field \"Nowhere\""},
        {u"Department <> :Region", "the user \"Anna\" has no attribute \"Region\""},
        {u"Number = 7 OR Department IN ('x', :Region)", "no attribute \"Region\""},
        {u"Number <> 'seven'", "\"Number\" of the table \"Orders\" is of the type Integer"},
        {u"Number <> :Department", "of the type Integer"},
        {u"Department <> 7", "of the type String"},
        {u"Open <> 'perhaps'", "of the type Boolean"},
        {u"Day <> 'someday'", "of the type DateTime"},
        {u"Day <> 46056", "of the type DateTime"},
        {u"Number = 7 OR Department <> 7", "of the type String"},
    };
    const TMemoryTable Record = Order();
    for (const auto& [Filter, Part] : Cases) {
        const TRecordFilter Parsed(Filter);
        ExpectRaised<ERecordFilter>([&] { (void)Parsed.Covers(Anna(), Record, TRecordState::Stored); },
                                    {Part});
    }
}

TEST(RecordFilter, LooksAtTheValuesOfTheStateAskedFor) {
    const TMemoryTable Record({{u"Department", u"Sales"}}, {{u"Department", u"IT"}});
    const TRecordFilter Filter(u"Department = 'IT'");
    EXPECT_FALSE(Filter.Covers(Anna(), Record, TRecordState::Stored));
    EXPECT_TRUE(Filter.Covers(Anna(), Record, TRecordState::Current));
}

} // namespace
} // namespace zutools::server
