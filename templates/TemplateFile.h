// Reads a template file: UTF-8 with an optional byte-order mark, decoded strictly, never larger than its
// limit.

#pragma once

#include "templates/Ltemplt.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace zutools {

class TLocalizatorTable;

/// The largest template file that is read unless the cache says otherwise.
inline constexpr std::uint64_t DefaultMaxTemplateSize = 64 * 1024 * 1024;

/// A file that was opened and gave no text. `Message()` names the file and what is wrong with it.
class ETemplateFile : public ETemplate {
public:
    /// `IsText`: the file was read, and its contents were refused.
    ETemplateFile(std::u16string Message, bool IsText)
        : ETemplate(std::move(Message))
        , FIsText(IsText) {}
    /// False for an empty file and one that the system failed to read.
    [[nodiscard]] bool IsText() const { return FIsText; }

private:
    bool FIsText;
};

/// The text of the file `Name` below `Directory`.
/// @throws ETemplate before the disk is touched, when the name would leave the directory.
/// @throws TSystemError when the file cannot be opened.
/// @throws ETemplateFile when it is empty, cannot be read, has more than `MaxSize` bytes (and is not read
/// then) or is
///         not UTF-8.
[[nodiscard]] std::u16string ReadTemplateFile(std::u16string_view Directory, std::u16string_view Name,
                                              std::uint64_t MaxSize);

/// Replaces every "{{key}}" by its text in that language. A text of one U+0000 means nothing; a key that is
/// open at the end is dropped. Calls the localizer.
void ReplaceLanguageKeys(std::u16string& Text, TLocalizatorTable& Localizer, std::u16string_view LanguageID);

} // namespace zutools
