#include "platform/Random.h"

#include "platform/UniqueId.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>
#include <string_view>
#include <vector>

using namespace zutools::platform;

namespace {

TEST(Random, FillsTheWholeBufferAndNothingElse) {
    // Larger than what a system call gives at once. A block of 32 zero bytes is a hole, not chance.
    std::vector<std::byte> Bytes(3'000'064);
    FillRandom(std::span(Bytes).subspan(32, 3'000'000));
    const auto IsZero = [](std::byte Byte) { return Byte == std::byte{0}; };
    for (std::size_t At = 32; At < Bytes.size() - 32; At += 32)
        ASSERT_FALSE(std::all_of(&Bytes[At], &Bytes[At] + 32, IsZero)) << At;
    EXPECT_TRUE(std::all_of(Bytes.begin(), Bytes.begin() + 32, IsZero));
    EXPECT_TRUE(std::all_of(Bytes.end() - 32, Bytes.end(), IsZero));
    FillRandom({});
}

TEST(UniqueId, IsAGuidInCapitalsAndNeverTheSame) {
    std::set<std::u16string> Seen;
    for (int Index = 0; Index < 1000; ++Index) {
        const std::u16string Id = NewUniqueId();
        ASSERT_EQ(Id.size(), 38u);
        for (std::size_t At = 0; At < Id.size(); ++At) {
            const std::u16string_view Form = u"{XXXXXXXX-XXXX-4XXX-VXXX-XXXXXXXXXXXX}";
            const std::u16string_view Allowed = Form[At] == u'X'   ? u"0123456789ABCDEF"
                                                : Form[At] == u'V' ? u"89AB"
                                                                   : Form.substr(At, 1);
            ASSERT_NE(Allowed.find(Id[At]), Allowed.npos) << testing::PrintToString(Id);
        }
        EXPECT_TRUE(Seen.insert(Id).second);
    }
}

} // namespace
