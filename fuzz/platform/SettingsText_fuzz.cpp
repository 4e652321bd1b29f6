// Any bytes as a settings file: they stay as they are, and what is written is read back.

#include "fuzz/Input.h"
#include "platform/SettingsText.h"

#include "platform/Settings.h"

using namespace zutools::platform;
using zutools::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    const std::string Bytes(zutools::fuzz::Bytes(Data, Size));
    TSettingsText Text(Bytes);
    Require(Text.Bytes() == Bytes);
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
    Require(Text.Read(u"section", u"KEY") == u" \"value\" \u0416 ");
    const TSettingsText Again(Text.Bytes());
    Require(Again.Read(u"Section", u"Key") == u" \"value\" \u0416 ");
    Text.EraseSection(u"Section");
    Require(!Text.Read(u"Section", u"Key"));
    return 0;
}
