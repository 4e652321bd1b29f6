#include "platform/Text.h"
#include "server/rights/RecordFilter.h"
#include "tests/server/rights/TestRecord.h"

#include <gtest/gtest.h>

#include <limits>

namespace zutools::server {
namespace {

TUserInfo Anna() {
    TUserInfo User;
    User.UserName = u"Anna";
    User.Profile = u"Clerks";
    User.Attributes = {{u"Department", u"Sales"}, {u"Level", u"7"}, {u"Nothing", u""}};
    return User;
}

TTestRecord Order() {
    constexpr std::int64_t Large = (std::int64_t{1} << 53) + 1;
    return TTestRecord({{u"Department", u"Sales"},
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

struct TFilterCase {
    std::u16string_view Filter;
    bool Covered;
};

void PrintTo(const TFilterCase& Case, std::ostream* Out) {
    *Out << platform::Utf16ToUtf8(Case.Filter);
}

class FilterCovers : public testing::TestWithParam<TFilterCase> {};

TEST_P(FilterCovers, Record) {
    const TTestRecord Record = Order();
    const TRecordFilter Filter(GetParam().Filter);
    EXPECT_EQ(Filter.Covers(Anna(), Record, TRecordState::Stored), GetParam().Covered);
    EXPECT_EQ(Filter.Covers(Anna(), Record, TRecordState::Current), GetParam().Covered);
}

constexpr TFilterCase FilterCases[] = {
    // texts, exactly
    {u"Department = 'Sales'", true},
    {u"Department='Sales'", true},
    {u"\t\n Department\r\n=  'Sales' ", true},
    {u"Department = 'sales'", false},
    {u"Department = 'Sales '", false},
    {u"department <> 'sales'", true},
    {u"DEPARTMENT <> 'Sales'", false},
    {u"Quote = 'it''s'", true},
    {u"Quote = 'its'", false},
    {u"Empty = ''", true},
    {u"Größe = 'XL'", true},
    // fields in quotes
    {u"\"Order No\" = 12", true},
    {u"\"say\"\"so\" = 'x'", true},
    {u"\"In\" = 'in'", true},
    // numbers
    {u"Number = 7", true},
    {u"Number = 7.0", true},
    {u"Number = '7'", true},
    {u"Number <> 7", false},
    {u"Number = 7.5", false},
    {u"Amount = -0.5", true},
    {u"Amount = '-0.50'", true},
    {u"Large = 9007199254740993", true},
    {u"Large = 9007199254740992", false}, // not by way of a double
    {u"Large = '9007199254740992.0'", false},
    {u"Large <> -9223372036854775808", true},
    {u"Code = '007'", true},
    {u"Code = '7'", false},
    {u"Open = 1", true},
    {u"Open = 'true'", true},
    {u"Open = 'False'", false},
    {u"Open = 0", false},
    {u"Day = '2026-02-03'", true},
    {u"Day = '03.02.2026'", true},
    {u"Day = '2026-02-03 00:00:01'", false},
    // attributes
    {u"Department = :Department", true},
    {u"Department = :DEPARTMENT", true},
    {u"Owner = :UserName", true},
    {u"Owner = :username AND Department <> :Profile", true},
    {u"Number = :Level", true},
    {u"Code = :Level", false},
    {u"Empty = :Nothing", true},
    // lists
    {u"Department IN ('IT', 'Sales')", true},
    {u"Department in('IT',:Department)", true},
    {u"Department NOT IN ('IT', 'Sales')", false},
    {u"Department NOT IN ('IT')", true},
    {u"Number IN (1, 7)", true},
    // empty fields: neither true nor false
    {u"Note = ''", false},
    {u"Note <> 'x'", false},
    {u"NOT Note = 'x'", false},
    {u"NOT NOT Note = 'x'", false},
    {u"Note NOT IN ('x')", false},
    {u"Note IS NULL", true},
    {u"Note IS NOT NULL", false},
    {u"NOT Note IS NULL", false},
    {u"Empty IS NULL", false},
    {u"Note = 'x' OR Number = 7", true},
    {u"Note = 'x' AND Number = 7", false},
    {u"NOT (Note = 'x' AND Number = 8)", true},
    {u"NOT (Note = 'x' OR Number = 8)", false},
    {u"Odd = 1", false},
    {u"Odd <> 1", false},
    {u"Odd IS NULL", true},
    // binding
    {u"Number = 7 OR Number = 8 AND Number = 9", true},
    {u"(Number = 7 OR Number = 8) AND Number = 9", false},
    {u"NOT Number = 8 AND Number = 7", true},
    {u"NOT (Number = 8 AND Number = 7)", true},
    {u"NOT Number = 7 OR Number = 7", true},
    {u"NOT (Number = 7 OR Number = 7)", false},
    {u"((Number = 7))AND(Number = 7)", true},
};
INSTANTIATE_TEST_SUITE_P(All, FilterCovers, testing::ValuesIn(FilterCases));

template <class TCall>
std::string FilterRefusal(TCall Call) {
    try {
        Call();
    } catch (const ERecordFilter& Error) {
        return Error.what();
    }
    return "nothing raised";
}

void ExpectPart(const std::string& Message, std::string_view Part) {
    EXPECT_NE(Message.find(Part), std::string::npos) << Part << "\nin: " << Message;
}

TEST(RecordFilter, MalformedOnesNamePositionAndRemedy) {
    struct TCase {
        std::u16string_view Filter;
        std::string_view Part;
    };
    const TCase Cases[] = {
        {u"", "position 1: it is empty"},
        {u"  ", "position 3: it is empty"},
        {u"Department", "position 11: expected =, <>"},
        {u"Department =", "position 13: expected a text in single quotes"},
        {u"Department = Sales", "position 14: expected a text in single quotes"},
        {u"Department = \"Sales\"", "position 14: expected a text in single quotes"},
        {u"Department == 'Sales'", "position 13: expected a text"},
        {u"Department != 'Sales'", "position 12: expected =, <>"},
        {u"Department > 'Sales'", "position 12: expected =, <>"},
        {u"Department LIKE 'S%'", "position 12: expected =, <>"},
        {u"Department = 'Sales", "position 14: the closing ' of a text is missing"},
        {u"\"Department = 'Sales'", "position 1: the closing \" of a field's name"},
        {u"'Sales' = Department", "position 1: expected a field"},
        {u"Department = 'Sales' OR", "position 24: expected a field"},
        {u"Department = 'Sales' Number = 7", "position 22: expected AND, OR or the end"},
        {u"Department = 'Sales'; DROP TABLE ZuUsers", "position 21: expected AND, OR or the end"},
        {u"Department = 'Sales' -- x", "position 22: expected AND, OR or the end"},
        {u"(Department = 'Sales'", "position 22: expected AND, OR or the \")\" for the \"(\" at position 1"},
        {u"Department = 'Sales')", "position 21: expected AND, OR or the end"},
        {u"Department IN 'Sales'", "position 15: expected \"(\" after IN"},
        {u"Department IN ()", "position 16: expected a text"},
        {u"Department IN ('Sales' 'IT')", "position 24: expected \",\" or \")\""},
        {u"Department IN ('Sales',)", "position 24: expected a text"},
        {u"Department NOT 'Sales'", "position 16: expected IN after NOT"},
        {u"Department IS 'Sales'", "position 15: expected NULL or NOT NULL"},
        {u"In = 'x'", "stands in double quotes"},
        {u"Number = 7x", "expected a number"},
        {u"Number = 7.", "expected a number"},
        {u"Number = -", "expected a number"},
        {u"Number = .5", "expected a text"},
        {u"Number = 9223372036854775808", "position 10: the number is too large"},
        {u"Number = 0x10", "expected a number"},
        {u"Number = 1234567890.1234567", "position 10: the number has more than 15 digits"},
        {u"Department = : Department", "right after the \":\""},
        {u"Department = :7", "right after the \":\""},
        {u"Department = NULL", "position 14: expected a text"},
    };
    for (const auto& [Filter, Part] : Cases) {
        ExpectPart(FilterRefusal([&] { const TRecordFilter Parsed(Filter); }), Part);
    }
}

TEST(RecordFilter, IsBounded) {
    const std::u16string Longest = u"A = '" + std::u16string(TRecordFilter::MaxLength - 6, u'x') + u"'";
    EXPECT_NO_THROW(TRecordFilter{Longest});
    ExpectPart(FilterRefusal([&] { const TRecordFilter Parsed(Longest + u" "); }), "longer than 4096");

    const auto Nested = [](std::u16string_view Opening, int Levels, std::u16string_view Closing) {
        std::u16string Text;
        for (int Level = 0; Level < Levels; ++Level) Text += Opening;
        Text += u"Number = 7";
        for (int Level = 0; Level < Levels; ++Level) Text += Closing;
        return Text;
    };
    const TTestRecord Record = Order();
    for (const auto& [Opening, Closing] : {std::pair{u"(", u")"}, std::pair{u"NOT ", u""}}) {
        const int Deepest = TRecordFilter::MaxNesting - 2; // even, and the condition itself is a level
        EXPECT_TRUE(
            TRecordFilter(Nested(Opening, Deepest, Closing)).Covers(Anna(), Record, TRecordState::Stored));
        ExpectPart(FilterRefusal([&] { const TRecordFilter Parsed(Nested(Opening, Deepest + 2, Closing)); }),
                   "nested deeper than 100 levels");
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
    const TTestRecord Record = Order();
    for (const auto& [Filter, Part] : Cases) {
        const TRecordFilter Parsed(Filter);
        ExpectPart(FilterRefusal([&] { (void)Parsed.Covers(Anna(), Record, TRecordState::Stored); }), Part);
    }
}

TEST(RecordFilter, LooksAtTheValuesOfTheStateAskedFor) {
    const TTestRecord Record({{u"Department", u"Sales"}}, {{u"Department", u"IT"}});
    const TRecordFilter Filter(u"Department = 'IT'");
    EXPECT_FALSE(Filter.Covers(Anna(), Record, TRecordState::Stored));
    EXPECT_TRUE(Filter.Covers(Anna(), Record, TRecordState::Current));
}

} // namespace
} // namespace zutools::server
