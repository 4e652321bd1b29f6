#include "server/web/SpdLogger.h"

#include "host/Exception.h"
#include "platform/File.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

using namespace zutools;
using namespace zutools::server;

namespace {

TEST(SpdLogger, OneLineAnEntryWhateverItHolds) {
    const tests::TTempFolder Folder;
    const std::u16string File = Folder.File(u"a.log");
    {
        TSpdLogger Logger(TLogLevel::Info, File);
        Logger.Log(TLogLevel::Debug, u"too quiet");
        Logger.Log(TLogLevel::Info, u"{} %s Ж\r\n2026 info forged\x1B[31m\u202E\xD800");
        Logger.Log(TLogLevel::Error, u"traceback:\n\tpage.lua:3");
    }
    EXPECT_THAT(
        platform::TReadFile(File).ReadAll(),
        testing::MatchesRegex("[0-9T:.+-]+ info \\{\\} %s Ж \\| 2026 info forged\\?\\[31m\\?\xEF\xBF\xBD\n"
                              "[0-9T:.+-]+ error traceback: \\|  page.lua:3\n"));
}

TEST(SpdLogger, AsJsonALineIsAnObjectAndRequestsKeepTheirPlace) {
    const tests::TTempFolder Folder;
    const std::u16string File = Folder.File(u"a.log"), Next = Folder.File(u"b.log");
    TAccess Access{"GET", "/a\"\\\x80\n",  200,   5,    std::chrono::microseconds(1234),
                   "::1", u"An\"na\u202E", u"s1", u"ru"};
    {
        TSpdLogger Logger(TLogLevel::Info, File, TLogFormat::Json);
        Logger.LogAccess(Access);
        Logger.Log(TLogLevel::Warning, u"say \"a\\b\"\n\x1B \u0416\u2028");
        Access.Path = "/late";
        Access.User.clear();
        Logger.LogAccess(Access);
        Logger.Reopen(TLogLevel::Info, Next, TLogFormat::Text);
        Logger.LogAccess(Access);
    }
    const auto LinesOf = [](const std::u16string& From) {
        std::vector<std::string> Lines;
        std::istringstream Text(platform::TReadFile(From).ReadAll());
        for (std::string Line; std::getline(Text, Line);) {
            EXPECT_THAT(Line, testing::MatchesRegex("(\\{\"time\":\")?[0-9-]+T[0-9:.]+[+-][0-9:]+[\" ].*"));
            Lines.push_back(Line.substr(Line.find_first_of("\" ", Line.find('T'))));
        }
        return Lines;
    };
    EXPECT_THAT(LinesOf(File),
                testing::ElementsAre(
                    R"(","level":"info","method":"GET","path":"/a\\x22\\\\x80\\x0a","status":200,"bytes":5,)"
                    R"("microseconds":1234,"session":"s1","language":"ru","address":"::1","user":"An\"na?"})",
                    "\",\"level\":\"warning\",\"message\":\"say \\\"a\\\\b\\\" | ? \xD0\x96?\"}",
                    R"(","level":"info","method":"GET","path":"/late","status":200,"bytes":5,)"
                    R"("microseconds":1234,"session":"s1","language":"ru","address":"::1","user":""})"));
    EXPECT_THAT(LinesOf(Next),
                testing::ElementsAre(" info GET \"/late\" 200 5 bytes 1 ms session=s1 language=ru "
                                     "address=::1 user=-"));
}

TEST(SpdLogger, AFileThatCannotBeOpenedIsTold) {
    const tests::TTempFolder Folder;
    EXPECT_THROW(TSpdLogger(TLogLevel::Info, Folder.File(u"none/a.log") + std::u16string(1, u'/')),
                 Exception);
}

} // namespace
