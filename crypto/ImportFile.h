// Values of parameters from a file: a settings file with sections, lines name=value, or values alone.

#pragma once

#include "crypto/Params.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zutools {

enum class TImportMode : std::uint8_t {
    Section,   // lines name=value of one section
    Names,     // lines name=value
    Positions, // the first line is the first parameter's value, and so on
};

struct TImportFile {
    TImportMode Mode = TImportMode::Positions;
    std::u16string Section;            // where the lines stand; an engine type, or what the first line says
    bool SectionIsType = false;        // whether it is one of the types
    std::vector<std::u16string> Lines; // without line ends
};

inline constexpr std::size_t MaxImportSize = 1 << 20; // bytes

/// The text of a file: UTF-16 or UTF-8 by its mark, UTF-8 when it is well-formed, else the user's 8-bit code
/// page; what that lacks becomes U+FFFD.
/// @throws Exception for more than MaxImportSize, and for what is no text: it holds U+0000.
[[nodiscard]] std::u16string ImportText(std::string_view Bytes);

/// Which lines of a file are to be imported, and how. `Types` are those that the engine library offers.
/// @throws Exception as ImportText.
[[nodiscard]] TImportFile ReadImportFile(std::string_view Bytes, std::span<const std::u16string> Types);

/// What an import would change.
struct TImportPlan {
    struct TChange {
        std::size_t Row; // 0-based
        std::u16string Name, Before, After;
        bool operator==(const TChange&) const = default;
    };
    std::vector<TChange> Changes; // in the order of the rows
    std::vector<std::u16string> UnknownNames;
    std::size_t LinesLeftOut = 0; // behind as many lines as there are rows
};

[[nodiscard]] TImportPlan PlanImport(const TImportFile& File, const TCryptoParams& Rows);
/// The rows with the changes of a plan that was made for them.
[[nodiscard]] TCryptoParams Imported(const TImportPlan& Plan, TCryptoParams Rows);

} // namespace zutools
