// Passwords as they are stored: Argon2id hashes, made by libsodium.
//
// A hash holds its salt and its cost; nothing here keeps, logs or names a password. Any thread may call; the
// calls that hash or verify take the time and the memory that the cost says: HashThreads.h bounds them.

#pragma once

#include "host/Exception.h"

#include <array>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

namespace zutools::server {

/// A user, profile, right or password that cannot be stored as asked; the message names it, unless it is a
/// password, and the remedy.
class ERightsError : public Exception {
public:
    using Exception::Exception;
};

/// A password as UTF-8, wiped from memory at its end. The caller's own text is the caller's to wipe.
class TPasswordText {
public:
    static constexpr std::size_t MinCharacters = 8;
    static constexpr std::size_t MaxBytes = 1024;

    explicit TPasswordText(std::u16string_view Text);
    ~TPasswordText();
    TPasswordText(const TPasswordText&) = delete;
    TPasswordText& operator=(const TPasswordText&) = delete;

    /// False for half of a character pair and for more than MaxBytes; then Bytes is empty.
    [[nodiscard]] bool IsUsable() const { return FUsable; }
    [[nodiscard]] std::string_view Bytes() const { return {FBytes.data(), FSize}; }
    /// @throws ERightsError for what may not become a password.
    void RequireGood() const;

private:
    std::array<char, MaxBytes> FBytes;
    std::size_t FSize = 0;
    std::size_t FCharacters = 0;
    bool FUsable = false;
};

/// Overwrites text that held a password; the compiler does not leave it out.
void WipeText(std::u16string& Text) noexcept;
void WipeText(std::string& Text) noexcept;

/// What one hash costs. The least that the library allows is for tests.
struct THashCost {
    unsigned long long Passes;
    std::size_t MemoryBytes;

    /// For a person who waits: 64 MB, some tenths of a second at most.
    [[nodiscard]] static THashCost Interactive();
    [[nodiscard]] static THashCost Least();
};

enum class TPasswordMatch {
    No,
    Yes,
    YesButRehash, // made with another cost: hash it anew
};

class TPasswordHasher {
public:
    /// Computes nothing yet. @throws ERightsError when the library does not start.
    explicit TPasswordHasher(THashCost Cost = THashCost::Interactive());

    /// @throws ERightsError when there is no memory for it.
    [[nodiscard]] std::string Hash(const TPasswordText& Password) const;
    /// No for a text that is no hash.
    /// @throws ERightsError when there is no memory for it.
    [[nodiscard]] TPasswordMatch Verify(const std::string& Hash, const TPasswordText& Password) const;
    /// Takes the time of Verify, for users who are not there. Once PrepareNobody was called.
    void VerifyNobody(const TPasswordText& Password) const;
    /// Makes what VerifyNobody compares with, once; takes the time of Hash.
    void PrepareNobody();

private:
    const THashCost FCost;
    std::once_flag FNobodyMade;
    std::string FNobody;
};

} // namespace zutools::server
