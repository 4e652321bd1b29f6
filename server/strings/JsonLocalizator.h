// The language files of a folder: one <language>.json a language, an object from key to text.
//
// The host makes one at its start and hands it over as the localizer; templates ask it for every "{{key}}"
// while they load. Any thread may ask at any time. It never writes a file, and notices that one changed when
// it takes over another that was made anew.
//
//     auto Strings = std::make_shared<TJsonLocalizator>(u"strings"); // strings/en.json, strings/ru.json
//     SetServices({nullptr, Strings, nullptr});

#pragma once

#include "host/Services.h"
#include "server/strings/LanguageFile.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::server {

/// Language identifiers compare ignoring case. One that has a region or a script falls back key by key to
/// what is left when that is cut off: "zh-Hant-TW", "zh-Hant", "zh"; "_" separates like "-".
class TJsonLocalizator : public TLocalizatorTable {
public:
    /// Larger files are refused unread. Bytes.
    static constexpr std::uint64_t MaxFileSize = 16 * 1024 * 1024;

    /// Reads every *.json directly in the folder; other files and folders in it are left alone. Blocks on the
    /// disk.
    /// @throws ELanguageFile for a file that is none (see ParseLanguageFile), too large, or of a language
    /// that another
    ///         file has as well, and for a folder without any.
    /// @throws platform::TSystemError when the folder or a file cannot be read.
    explicit TJsonLocalizator(std::u16string_view Directory);

    /// The key itself when neither the language nor what it falls back to knows it, or when there is no such
    /// language.
    [[nodiscard]] std::u16string GetString(std::u16string_view Key, std::u16string_view LanguageID) override;

    /// From now on it says what `Fresh` does, all at once. Any thread.
    void TakeOver(TJsonLocalizator&& Fresh) noexcept;

    /// The same without a copy; null instead of the key. Good until the next TakeOver.
    [[nodiscard]] const std::u16string* Find(std::u16string_view Key, std::u16string_view LanguageID) const;

    /// Whether a file answers for the language, by itself or by falling back.
    [[nodiscard]] bool HasLanguage(std::u16string_view LanguageID) const;

    /// The languages as their files are named, without ".json", in the order of the names.
    [[nodiscard]] std::vector<std::u16string> Languages() const;

private:
    struct TLanguage {
        std::u16string ID; // as the file is named
        TLanguageTexts Texts;
    };
    using TLanguages = std::vector<TLanguage>;
    [[nodiscard]] std::shared_ptr<const TLanguages> Texts() const;
    [[nodiscard]] static const TLanguage* FindLanguage(const TLanguages& Languages, std::u16string_view ID);
    [[nodiscard]] static const std::u16string* FindIn(const TLanguages& Languages, std::u16string_view Key,
                                                      std::u16string_view LanguageID);

    mutable std::mutex FMutex;
    std::shared_ptr<const TLanguages> FLanguages; // guarded by FMutex; never null
};

} // namespace zutools::server
