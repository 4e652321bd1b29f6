#include "host/CharSet.h"

namespace zutools {

TKXCharSet& TKXCharSet::operator=(const TKXCharSet& Other) {
    if (this != &Other) {
        FChanges.Touch();
        FBits = Other.FBits ? std::make_unique<std::bitset<0x10000>>(*Other.FBits) : nullptr;
    }
    return *this;
}

void TKXCharSet::Include(char16_t Character) {
    Append(Character, Character);
}

void TKXCharSet::Append(char16_t First, char16_t Last) {
    if (First > Last) return;
    FChanges.Touch();
    if (!FBits) FBits = std::make_unique<std::bitset<0x10000>>();
    for (std::size_t Code = First; Code <= Last; ++Code) FBits->set(Code);
}

} // namespace zutools
