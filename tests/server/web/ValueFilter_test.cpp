// The filter that a service starts with, by name or ID.

#include "server/web/ValueFilter.h"
#include "tests/checking/RecordingDatabase.h"
#include "tests/support/Raised.h"

using namespace zutools;
using namespace zutools::server;

namespace {

TEST(ValueFilter, IsTheOneThatItsSettingFits) {
    tests::TRecordingDatabase Database;
    SetServices({.ApplicationManager = std::make_shared<tests::TDatabaseManager>(&Database),
                 .Localizer = {},
                 .Logger = {}});
    const std::string Five = "Orders (5)", Ten = "orders (10)", Seven = "10 (7)";
    const std::string Several = " may be any of these: ", Rename = "; rename them so that one is meant";
    const std::pair<std::u16string_view, std::string> Rows[] = {
        {u"5", ""},
        {u"LOW", ""},
        {u"7", ""},
        {u"Orders", "the value filter \"Orders\"" + Several + Five + ", " + Ten + Rename},
        {u"10", "the value filter \"10\"" + Several + Ten + ", " + Seven + Rename},
        {u"low2", "there is no value filter \"low2\" in the database; there are: Low (2), " + Five + ", " +
                      Ten + ", " + Seven},
    };
    for (const auto& [Setting, Refused] : Rows) {
        TParamsChecker Checker;
        Database.Answers = {{{{u"ID", 2}, {u"Name", u"Low"}},
                             {{u"ID", 5}, {u"Name", u"Orders"}},
                             {{u"ID", 10}, {u"Name", u"orders"}},
                             {{u"ID", 7}, {u"Name", u"10"}}},
                            {{{u"Name", u"read"}, {u"FilterDescribe", u""}}}};
        if (Refused.empty()) {
            LoadValueFilter(Checker, Setting);
            EXPECT_EQ(Checker.FilterName, u"read");
        } else {
            EXPECT_EQ(tests::Raised<Exception>([&] { LoadValueFilter(Checker, Setting); }), Refused);
            EXPECT_FALSE(Checker.Enabled);
        }
    }
    SetServices({});
}

// A value may be of megabytes, and its words those of the message.
TEST(ValueFilter, ALogHoldsTheBeginningOfARefusedValueOnly) {
    TParamsChecker Checker;
    Checker.Clear();
    Checker.AddParams(u"q", u"<", u"");
    TEmptyLocalizatorTable Texts;
    const TRequestFilter Filter = MakeValueFilter(Checker, Texts);
    const std::u16string Long = u"<" + std::u16string(2'000'000, u'x');
    const std::pair<std::u16string, std::u16string> Rows[] = {
        {u"good", u""},
        {u"<b>", u"value \"<b>\""},
        {u"<\x1B\n\u202E", u"value \"<???\""},
        {u"<\" contain \"", u"value \"<\" contain \"\""},
        {Long.substr(0, 100), u"value \"" + Long.substr(0, 100) + u"\""},
        {Long.substr(0, 101), u"value \"" + Long.substr(0, 100) + u"...\" (101 units)"},
        {Long, u"value \"" + Long.substr(0, 100) + u"...\" (2000001 units)"},
    };
    for (const auto& [Value, Logged] : Rows) {
        TWebRequest Request;
        Request.Params.Add(u"q", Value);
        const auto Refusal = Filter(Request);
        ASSERT_EQ(Refusal.has_value(), !Logged.empty());
        if (!Refusal) continue;
        EXPECT_EQ(Refusal->Status, 400);
        EXPECT_EQ(Refusal->Note, u"The value of this field cannot be accepted: q");
        EXPECT_EQ(Refusal->Log,
                  u"parameter \"q\", " + Logged + u" contain wrong symbol \"<\" at position 1.");
    }
}

} // namespace
