#include "platform/UniqueId.h"

#include "platform/Random.h"
#include "platform/TextTools.h"

#include <array>
#include <string_view>

namespace zutools::platform {

std::u16string NewUniqueId() {
    std::array<std::byte, 16> Bytes{};
    FillRandom(Bytes);
    Bytes[6] = (Bytes[6] & std::byte{0x0F}) | std::byte{0x40}; // version 4: random
    Bytes[8] = (Bytes[8] & std::byte{0x3F}) | std::byte{0x80}; // the variant with this layout
    std::u16string Text(1, u'{');
    Text.reserve(38);
    for (std::size_t Index = 0; Index < Bytes.size(); ++Index) {
        if (Index == 4 || Index == 6 || Index == 8 || Index == 10) Text.push_back(u'-');
        AppendHex(Text, std::to_integer<unsigned char>(Bytes[Index]), CapitalHexDigits);
    }
    Text.push_back(u'}');
    return Text;
}

} // namespace zutools::platform
