// Any bytes as a settings file: they stay as they are, and what is written is read back.

#include "platform/SettingsText.h"

#include "platform/Settings.h"

#include <cstdint>
#include <cstdlib>
#include <string>

using namespace zutools::platform;

namespace {

void Expect(bool Holds) {
    if (!Holds) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    const std::string Bytes(reinterpret_cast<const char*>(Data), Size);
    TSettingsText Text(Bytes);
    Expect(Text.Bytes() == Bytes);
    static_cast<void>(Text.Faults());
    static_cast<void>(Text.Damage());
    for (const std::u16string& Section : Text.Sections()) {
        for (const std::u16string& Key : Text.Keys(Section)) static_cast<void>(Text.Read(Section, Key));
    }
    try {
        Text.Write(u"Section", u"Key", u" \"value\" \u0416 ");
    } catch (const TSettingsError&) {
        return 0; // bytes that are no text would be lost
    }
    Expect(Text.Read(u"section", u"KEY") == u" \"value\" \u0416 ");
    const TSettingsText Again(Text.Bytes());
    Expect(Again.Read(u"Section", u"Key") == u" \"value\" \u0416 ");
    Text.EraseSection(u"Section");
    Expect(!Text.Read(u"Section", u"Key"));
    return 0;
}
