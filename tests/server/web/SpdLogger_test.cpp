#include "server/web/SpdLogger.h"

#include "host/Exception.h"
#include "platform/File.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

TEST(SpdLogger, AFileThatCannotBeOpenedIsTold) {
    const tests::TTempFolder Folder;
    EXPECT_THROW(TSpdLogger(TLogLevel::Info, Folder.File(u"none/a.log") + std::u16string(1, u'/')),
                 Exception);
}

} // namespace
