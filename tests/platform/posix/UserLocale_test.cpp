// The user's locale is taken once in a process, so each case runs in a child of its own.

#include "platform/Text.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <utility>

using namespace zutools::platform;

namespace {

using TVariables = std::initializer_list<std::pair<const char*, const char*>>;

// Tells what the library makes of an environment: locale, code page, the capital of "i", the order of Latin
// and Cyrillic, and whether a capital "A" equals a small one.
[[noreturn]] void Tell(TVariables Variables) {
    for (const char* const Name : {"LC_ALL", "LC_COLLATE", "LC_CTYPE", "LANG"}) unsetenv(Name);
    for (const auto& [Name, Value] : Variables) setenv(Name, Value, 1);
    const TCollator& Collator = UserCollator();
    std::fprintf(stderr, "<%s %u %s %s %s>", UserLocale().c_str(), AnsiCodePage(),
                 Utf16ToUtf8(UpperCase(u"i")).c_str(),
                 Collator.Compare(u"z", u"я", true) < 0 ? "latin" : "cyrillic",
                 Collator.Compare(u"A", u"a", false) == 0 ? "equal" : "other");
    std::_Exit(0);
}

TEST(UserLocaleDeathTest, FollowsTheEnvironment) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto Good = testing::ExitedWithCode(0);
    EXPECT_EXIT(Tell({}), Good, "^< 1252 I latin equal>");
    EXPECT_EXIT(Tell({{"LC_ALL", "C"}}), Good, "^< 1252 I latin equal>");
    EXPECT_EXIT(Tell({{"LC_ALL", "POSIX"}, {"LANG", "ru_RU.UTF-8"}}), Good, "^< 1252 I latin equal>");
    EXPECT_EXIT(Tell({{"LANG", "C.UTF-8"}}), Good, "^< 1252 I latin equal>");
    EXPECT_EXIT(Tell({{"LC_ALL", ""}, {"LANG", "ru_RU.UTF-8"}}), Good, "^<ru-RU 1251 I cyrillic equal>");
    EXPECT_EXIT(Tell({{"LC_COLLATE", "de_DE"}, {"LANG", "ru_RU"}}), Good, "^<de-DE 1252 I latin equal>");
    EXPECT_EXIT(Tell({{"LANG", "tr_TR.UTF-8"}}), Good, "^<tr-TR 1252 İ latin equal>");
    EXPECT_EXIT(Tell({{"LANG", "en_US_POSIX"}}), Good, "^< 1252 I latin equal>");
}

} // namespace
