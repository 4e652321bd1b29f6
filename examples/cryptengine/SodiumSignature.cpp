// Ed25519 by libsodium.

#include "examples/cryptengine/Signature.h"

#include <sodium.h>

namespace sample {

namespace {

struct TKey {
    unsigned char Public[crypto_sign_PUBLICKEYBYTES]{};
    unsigned char Secret[crypto_sign_SECRETKEYBYTES]{};
    bool Good = ::sodium_init() >= 0 && ::crypto_sign_keypair(Public, Secret) == 0;
    ~TKey() { ::sodium_memzero(Secret, sizeof Secret); }
};

const TKey& Key() {
    static const TKey Made{};
    return Made;
}

} // namespace

int SignatureLength() {
    return crypto_sign_BYTES;
}

bool Sign(const void* Data, std::size_t Size, unsigned char* Signature) {
    return Key().Good && ::crypto_sign_detached(Signature, nullptr, static_cast<const unsigned char*>(Data),
                                                Size, Key().Secret) == 0;
}

bool Verify(const void* Data, std::size_t Size, const unsigned char* Signature) {
    return Key().Good && ::crypto_sign_verify_detached(Signature, static_cast<const unsigned char*>(Data),
                                                       Size, Key().Public) == 0;
}

} // namespace sample
