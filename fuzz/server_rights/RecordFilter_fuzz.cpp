// Any text is a filter or ERecordFilter. What a filter says holds together: never both it and its opposite
// cover a record, and joining it with itself or putting it in parentheses changes nothing.
//
// Input: the filter in UTF-8.

#include "fuzz/Input.h"
#include "platform/Text.h"
#include "server/rights/RecordFilter.h"
#include "tests/support/MemoryTable.h"

#include <optional>

using namespace zutools;
using namespace zutools::server;
using zutools::fuzz::Require;

namespace {

const tests::TMemoryTable& Record() {
    static const tests::TMemoryTable TheRecord({{u"Department", u"Sales"},
                                                {u"Owner", u"anna"},
                                                {u"Note", TKXVariant()},
                                                {u"Number", 7},
                                                {u"Amount", -0.5},
                                                {u"Open", true},
                                                {u"Day", TDateTime{46056}},
                                                {u"Order No", std::int64_t{12}}});
    return TheRecord;
}

const TUserInfo& User() {
    static const TUserInfo TheUser{.UserName = u"anna",
                                   .Profile = u"Clerks",
                                   .Administrator = false,
                                   .Attributes = {{u"Department", u"Sales"}, {u"Level", u"7"}},
                                   .Privileges = {}};
    return TheUser;
}

/// None for a filter that cannot be read or used.
std::optional<bool> Covers(const std::u16string& Text) {
    try {
        return TRecordFilter(Text).Covers(User(), Record(), TRecordState::Stored);
    } catch (const ERecordFilter&) {
        return std::nullopt;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    const std::u16string Text = platform::Utf8ToUtf16(fuzz::Bytes(Data, Size));
    const auto Plain = Covers(Text);
    if (!Plain) return 0;
    // Longer or deeper than a filter may be: none; otherwise as usable as the plain one.
    if (const auto Opposite = Covers(u"NOT (" + Text + u")")) Require(!(*Plain && *Opposite));
    for (const std::u16string& Same : {u"(" + Text + u")", Text + u" OR " + Text, u"NOT NOT (" + Text + u")",
                                       u"(" + Text + u") AND (" + Text + u")"}) {
        if (const auto Covered = Covers(Same)) Require(*Covered == *Plain);
    }
    return 0;
}
