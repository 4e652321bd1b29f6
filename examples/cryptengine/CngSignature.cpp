// ECDSA over the curve P-256 and SHA-256, by the system's Cryptography API: Next Generation.

#include "examples/cryptengine/Signature.h"

#include <windows.h>
// after it
#include <bcrypt.h>

#include <array>

namespace sample {

namespace {

constexpr ULONG Length = 64; // two numbers of 32 bytes
using THash = std::array<UCHAR, 32>;

bool Good(NTSTATUS Status) {
    return Status >= 0;
}

BCRYPT_KEY_HANDLE MakeKey() {
    BCRYPT_ALG_HANDLE Algorithm = nullptr;
    BCRYPT_KEY_HANDLE Key = nullptr;
    const bool Made =
        Good(::BCryptOpenAlgorithmProvider(&Algorithm, BCRYPT_ECDSA_P256_ALGORITHM, nullptr, 0)) &&
        Good(::BCryptGenerateKeyPair(Algorithm, &Key, 256, 0)) && Good(::BCryptFinalizeKeyPair(Key, 0));
    return Made ? Key : nullptr;
}

BCRYPT_KEY_HANDLE Key() {
    static const BCRYPT_KEY_HANDLE Made = MakeKey();
    return Made;
}

bool HashOf(const void* Data, std::size_t Size, THash& Hash) {
    BCRYPT_ALG_HANDLE Algorithm = nullptr;
    if (!Good(::BCryptOpenAlgorithmProvider(&Algorithm, BCRYPT_SHA256_ALGORITHM, nullptr, 0))) return false;
    const bool Hashed =
        Good(::BCryptHash(Algorithm, nullptr, 0, static_cast<UCHAR*>(const_cast<void*>(Data)),
                          static_cast<ULONG>(Size), Hash.data(), static_cast<ULONG>(Hash.size())));
    ::BCryptCloseAlgorithmProvider(Algorithm, 0);
    return Hashed;
}

} // namespace

int SignatureLength() {
    return Length;
}

bool Sign(const void* Data, std::size_t Size, unsigned char* Signature) {
    THash Hash{};
    ULONG Written = 0;
    return Key() != nullptr && HashOf(Data, Size, Hash) &&
           Good(::BCryptSignHash(Key(), nullptr, Hash.data(), static_cast<ULONG>(Hash.size()), Signature,
                                 Length, &Written, 0)) &&
           Written == Length;
}

bool Verify(const void* Data, std::size_t Size, const unsigned char* Signature) {
    THash Hash{};
    return Key() != nullptr && HashOf(Data, Size, Hash) &&
           Good(::BCryptVerifySignature(Key(), nullptr, Hash.data(), static_cast<ULONG>(Hash.size()),
                                        const_cast<UCHAR*>(Signature), Length, 0));
}

} // namespace sample
