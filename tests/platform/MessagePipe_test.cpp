#include "platform/MessagePipe.h"

#include <gtest/gtest.h>

namespace zutools::platform {

namespace {

TEST(PipeErrors, EveryCodeHasANameAndAText) {
    for (const std::uint32_t Code :
         {0U, 2U, 5U, 6U, 8U, 53U, 109U, 121U, 123U, 231U, 232U, 233U, 234U, 258U, 535U, 995U, 996U, 997U}) {
        EXPECT_FALSE(PipeErrorName(TPipeCode{Code}).empty()) << Code;
        const std::u16string Text = PipeErrorText(TPipeCode{Code});
        EXPECT_FALSE(Text.empty() || Text.ends_with(u'.')) << Code;
    }
    EXPECT_TRUE(PipeErrorName(TPipeCode{9999}).empty());
    EXPECT_FALSE(PipeErrorText(TPipeCode{9999}).empty());
}

TEST(PipePaths, AreTakenApartOrRefused) {
    const struct {
        const char16_t* Path;
        const char16_t* Computer;
        const char16_t* Name;
    } Rows[] = {
        {u"\\\\.\\pipe\\orders", u".", u"orders"},
        {u"\\\\srv\\PIPE\\a b.c", u"srv", u"a b.c"},
        {u"\\\\.\\pipe\\", u"", u""},
        {u"\\\\\\pipe\\x", u"", u""},
        {u"\\\\.\\pope\\x", u"", u""},
        {u"orders", u"", u""},
        {u"\\\\.\\pipe\\a\\b", u"", u""},
        {u"\\\\.\\pipe\\a/b", u"", u""},
        {u"\\\\.\\pipe\\..", u"", u""},
        {u"\\\\.\\pipe\\.", u"", u""},
        {u"\\\\.\\pipe\\a\x7F", u"", u""},
        {u"\\\\.\\pipe\\\u0437\u0430\u043A\u0430\u0437", u".", u"\u0437\u0430\u043A\u0430\u0437"},
    };
    for (const auto& Row : Rows) {
        const TPipePath Path = SplitPipePath(Row.Path);
        EXPECT_EQ(Path.Computer, Row.Computer);
        EXPECT_EQ(Path.Name, Row.Name);
    }
}

} // namespace

} // namespace zutools::platform
