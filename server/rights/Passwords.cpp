#include "server/rights/Passwords.h"

#include "platform/TextTools.h"

#include <sodium.h>

#include <cerrno>

namespace zutools::server {

namespace {

[[noreturn]] void FailForMemory() {
    throw ERightsError(u"There is not enough memory to check a password now; try again later.");
}

/// The code point that starts at `Index`, which moves to the next one; 0xFFFFFFFF for half of a pair.
constexpr std::uint32_t NoCharacter = 0xFFFFFFFF;
std::uint32_t NextCharacter(std::u16string_view Text, std::size_t& Index) {
    const std::uint32_t First = Text[Index++];
    if (!platform::IsSurrogate(First)) return First;
    if (platform::IsLowSurrogate(First) || Index == Text.size()) return NoCharacter;
    const std::uint32_t Second = Text[Index++];
    if (!platform::IsLowSurrogate(Second)) return NoCharacter;
    return 0x10000 + ((First - 0xD800) << 10) + (Second - 0xDC00);
}

} // namespace

// The encoder of platform/Text.h would leave copies behind where its string grows.
TPasswordText::TPasswordText(std::u16string_view Text) {
    std::size_t Size = 0;
    const auto Put = [this, &Size](std::uint32_t Byte) { FBytes[Size++] = static_cast<char>(Byte); };
    for (std::size_t Index = 0; Index < Text.size(); ++FCharacters) {
        const std::uint32_t Character = NextCharacter(Text, Index);
        if (Character == NoCharacter) return;
        const std::size_t Needed = Character < 0x80 ? 1 : Character < 0x800 ? 2 : Character < 0x10000 ? 3 : 4;
        if (Size + Needed > MaxBytes) return;
        constexpr std::uint32_t Leads[] = {0, 0xC0, 0xE0, 0xF0};
        Put(Leads[Needed - 1] | (Character >> (6 * (Needed - 1))));
        for (std::size_t Left = Needed - 1; Left > 0; --Left) {
            Put(0x80 | ((Character >> (6 * (Left - 1))) & 0x3F));
        }
    }
    FSize = Size;
    FUsable = true;
}

TPasswordText::~TPasswordText() {
    sodium_memzero(FBytes.data(), FBytes.size());
}

void TPasswordText::RequireGood() const {
    if (!FUsable) {
        throw ERightsError(u"The password is longer than 1024 bytes or no proper text; choose another one.");
    }
    if (FCharacters < MinCharacters) {
        throw ERightsError(u"The password is too short; choose one of at least 8 characters.");
    }
}

void WipeText(std::u16string& Text) noexcept {
    sodium_memzero(Text.data(), Text.size() * sizeof(char16_t));
    Text.clear();
}

void WipeText(std::string& Text) noexcept {
    sodium_memzero(Text.data(), Text.size());
    Text.clear();
}

THashCost THashCost::Interactive() {
    return {crypto_pwhash_OPSLIMIT_INTERACTIVE, crypto_pwhash_MEMLIMIT_INTERACTIVE};
}

THashCost THashCost::Least() {
    return {crypto_pwhash_OPSLIMIT_MIN, crypto_pwhash_MEMLIMIT_MIN};
}

TPasswordHasher::TPasswordHasher(THashCost Cost)
    : FCost(Cost) {
    if (sodium_init() < 0) throw ERightsError(u"The password library does not start.");
}

std::string TPasswordHasher::Hash(const TPasswordText& Password) const {
    std::array<char, crypto_pwhash_STRBYTES> Result{};
    const std::string_view Bytes = Password.Bytes();
    if (crypto_pwhash_str(Result.data(), Bytes.data(), Bytes.size(), FCost.Passes, FCost.MemoryBytes) != 0) {
        FailForMemory();
    }
    return Result.data();
}

TPasswordMatch TPasswordHasher::Verify(const std::string& Hash, const TPasswordText& Password) const {
    const std::string_view Bytes = Password.Bytes();
    errno = 0;
    if (crypto_pwhash_str_verify(Hash.c_str(), Bytes.data(), Bytes.size()) != 0) {
        if (errno == ENOMEM) FailForMemory();
        return TPasswordMatch::No;
    }
    const bool SameCost = crypto_pwhash_str_needs_rehash(Hash.c_str(), FCost.Passes, FCost.MemoryBytes) == 0;
    return SameCost ? TPasswordMatch::Yes : TPasswordMatch::YesButRehash;
}

void TPasswordHasher::VerifyNobody(const TPasswordText& Password) const {
    (void)Verify(FNobody, Password);
}

void TPasswordHasher::PrepareNobody() {
    std::call_once(FNobodyMade, [this] {
        std::u16string Random(32, u'\0');
        for (char16_t& Unit : Random) Unit = static_cast<char16_t>(u'0' + randombytes_uniform(64));
        FNobody = Hash(TPasswordText(Random));
        WipeText(Random);
    });
}

} // namespace zutools::server
