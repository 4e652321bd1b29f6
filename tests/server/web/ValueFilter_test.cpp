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

} // namespace
