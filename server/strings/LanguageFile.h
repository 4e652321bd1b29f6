// The format of a language file: a JSON object from key to text, UTF-8, with an optional byte-order mark.
//
// TJsonLocalizator reads files with it; tests and fuzzers give it bytes.

#pragma once

#include "host/Exception.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace zutools::server {

/// A language file or folder that cannot be used. The message begins with `file:line:column: ` where a place
/// is to blame; both are 1-based, columns count characters.
class ELanguageFile : public Exception {
public:
    using Exception::Exception;
};

/// Finds by views, so that a look-up copies no key.
struct TTextHash {
    using is_transparent = void;
    std::size_t operator()(std::u16string_view Text) const { return std::hash<std::u16string_view>()(Text); }
};
using TLanguageTexts = std::unordered_map<std::u16string, std::u16string, TTextHash, std::equal_to<>>;

/// Reads the bytes of one file. `File` stands in messages only.
/// @throws ELanguageFile for malformed UTF-8 or JSON, anything but an object of texts, and a key that stands
/// twice.
[[nodiscard]] TLanguageTexts ParseLanguageFile(std::string_view Bytes, std::u16string_view File);

} // namespace zutools::server
