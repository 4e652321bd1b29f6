#include "server/strings/JsonLocalizator.h"

#include "platform/File.h"
#include "platform/Text.h"
#include "platform/TextTools.h"

#include <algorithm>
#include <utility>

namespace zutools::server {

namespace {

constexpr std::u16string_view Suffix = u".json";

[[nodiscard]] bool IsLanguageFile(std::u16string_view Name) {
    return Name.size() > Suffix.size() && Name.find(u'/') == std::u16string_view::npos &&
           platform::EqualAsciiNoCase(Name.substr(Name.size() - Suffix.size()), Suffix);
}

[[nodiscard]] bool SameLanguage(std::u16string_view Left, std::u16string_view Right) {
    return std::equal(Left.begin(), Left.end(), Right.begin(), Right.end(), [](char16_t A, char16_t B) {
        const auto Fold = [](char16_t Unit) { return Unit == u'_' ? u'-' : platform::LowerAscii(Unit); };
        return Fold(A) == Fold(B);
    });
}

/// "zh-Hant-TW" gives "zh-Hant"; empty when nothing is left to cut off.
[[nodiscard]] std::u16string_view FallBack(std::u16string_view LanguageID) {
    const std::size_t Cut = LanguageID.find_last_of(u"-_");
    return Cut == std::u16string_view::npos ? std::u16string_view{} : LanguageID.substr(0, Cut);
}

[[nodiscard]] TLanguageTexts ReadLanguageFile(std::u16string_view Path) {
    platform::TReadFile File(Path);
    if (File.Size() > TJsonLocalizator::MaxFileSize) {
        throw ELanguageFile(std::u16string(Path) + u": a language file may have 16 MB at most");
    }
    return ParseLanguageFile(File.ReadAll(), Path);
}

} // namespace

TJsonLocalizator::TJsonLocalizator(std::u16string_view Directory) {
    TLanguages Languages;
    for (const std::u16string& Name : platform::ListFiles(Directory)) {
        if (!IsLanguageFile(Name)) continue;
        const std::u16string Path = platform::JoinPath(Directory, Name);
        std::u16string ID = Name.substr(0, Name.size() - Suffix.size());
        if (const TLanguage* Other = FindLanguage(Languages, ID)) {
            throw ELanguageFile(Path + u": the language has a file of its own already: " + Other->ID +
                                std::u16string(Suffix));
        }
        Languages.push_back({std::move(ID), ReadLanguageFile(Path)});
    }
    if (Languages.empty()) {
        throw ELanguageFile(std::u16string(Directory) +
                            u": no language file (<language>.json) in this folder");
    }
    FLanguages = std::make_shared<const TLanguages>(std::move(Languages));
}

void TJsonLocalizator::TakeOver(TJsonLocalizator&& Fresh) noexcept {
    std::shared_ptr<const TLanguages> Texts = Fresh.Texts(); // the old ones go without the lock
    const std::lock_guard Guard(FMutex);
    FLanguages.swap(Texts);
}

std::shared_ptr<const TJsonLocalizator::TLanguages> TJsonLocalizator::Texts() const {
    const std::lock_guard Guard(FMutex);
    return FLanguages;
}

std::u16string TJsonLocalizator::GetString(std::u16string_view Key, std::u16string_view LanguageID) {
    const auto Languages = Texts();
    const std::u16string* Text = FindIn(*Languages, Key, LanguageID);
    return Text != nullptr ? *Text : std::u16string(Key);
}

const std::u16string* TJsonLocalizator::Find(std::u16string_view Key, std::u16string_view LanguageID) const {
    return FindIn(*Texts(), Key, LanguageID);
}

const std::u16string* TJsonLocalizator::FindIn(const TLanguages& Languages, std::u16string_view Key,
                                               std::u16string_view LanguageID) {
    for (; !LanguageID.empty(); LanguageID = FallBack(LanguageID)) {
        const TLanguage* Language = FindLanguage(Languages, LanguageID);
        if (Language == nullptr) continue;
        const auto Found = Language->Texts.find(Key);
        if (Found != Language->Texts.end()) return &Found->second;
    }
    return nullptr;
}

bool TJsonLocalizator::HasLanguage(std::u16string_view LanguageID) const {
    const auto Languages = Texts();
    for (; !LanguageID.empty(); LanguageID = FallBack(LanguageID)) {
        if (FindLanguage(*Languages, LanguageID) != nullptr) return true;
    }
    return false;
}

std::vector<std::u16string> TJsonLocalizator::Languages() const {
    std::vector<std::u16string> Result;
    const auto Known = Texts();
    for (const TLanguage& Language : *Known) Result.push_back(Language.ID);
    return Result;
}

const TJsonLocalizator::TLanguage* TJsonLocalizator::FindLanguage(const TLanguages& Languages,
                                                                  std::u16string_view ID) {
    const auto Found = std::find_if(Languages.begin(), Languages.end(), [ID](const TLanguage& Language) {
        return SameLanguage(Language.ID, ID);
    });
    return Found != Languages.end() ? &*Found : nullptr;
}

} // namespace zutools::server
