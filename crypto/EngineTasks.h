// What the editor of parameters asks of an engine library, each question whole: the engine is opened for it
// and closed behind it. The answer can come from another process.

#pragma once

#include "crypto/Engine.h"
#include "crypto/Params.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zutools {

struct TEngineTask {
    enum class TKind : std::uint8_t { Types, Params, Sign };
    TKind Kind = TKind::Types;
    std::u16string Type;  // of the engine; Params, Sign
    TCryptoParams Values; // that are set before signing
};

/// What came of signing.
struct TEngineSignature {
    int Code = 0;   // 0: signed
    int Length = 0; // bytes, as the engine says; 0 when it wrote none
    int Room = 0;   // bytes that the engine asked for
    std::chrono::microseconds Time{};
    [[nodiscard]] bool LengthIsPossible() const { return Length > 0 && Length <= Room; }
};

struct TEngineAnswer {
    bool Loaded = false;
    std::vector<std::u16string> Types;
    bool Opened = false; // the engine of that type
    TCryptoParams Params;
    std::optional<TEngineSignature> Signature; // none: it did not come so far
};

/// Blocks as long as the library does. Every failure is told to the library's HandleError; none is raised.
[[nodiscard]] TEngineAnswer RunEngineTask(TCryptoEngine& Library, const TEngineTask& Task);

} // namespace zutools
