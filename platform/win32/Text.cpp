#include "platform/Text.h"

#include "platform/CodePages.h"
#include "platform/TextRules.h"
#include "platform/win32/Wide.h"

#include <windows.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <stdexcept>

namespace zutools::platform {

namespace {

// NLS counts in 32 bits; a text of 4 GB is a mistake of the caller, not a case to serve.
int LengthOf(std::u16string_view Text) {
    if (Text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        throw std::length_error("a text of more than 2147483647 units");
    return static_cast<int>(Text.size());
}

[[noreturn]] void FailWith(const char* Action) {
    throw std::runtime_error(std::string("Cannot ") + Action + ": error " + std::to_string(GetLastError()));
}

// An empty view may have a null address, which the system's calls refuse.
const wchar_t* AddressOf(std::u16string_view Text) {
    return Text.empty() ? L"" : Wide(Text.data());
}

std::wstring WideTag(const std::string& Tag) {
    return std::wstring(Tag.begin(), Tag.end());
}

// ---- letter case

std::u16string MapCase(std::u16string_view Text, DWORD Flags) {
    if (Text.empty()) return {};
    static const std::wstring Locale = WideTag(UserLocale());
    const int Length = LengthOf(Text);
    const DWORD AllFlags = Flags | LCMAP_LINGUISTIC_CASING;
    std::u16string Result(Text.size(), u'\0'); // NLS maps unit by unit: the length does not change
    const int Written = LCMapStringEx(Locale.c_str(), AllFlags, Wide(Text.data()), Length,
                                      Wide(Result.data()), Length, nullptr, nullptr, 0);
    if (Written <= 0) FailWith("change the letter case");
    Result.resize(static_cast<std::size_t>(Written));
    return Result;
}

} // namespace

// ---- the user

const std::string& UserLocale() {
    static const std::string Tag = [] {
        wchar_t Name[LOCALE_NAME_MAX_LENGTH] = {};
        if (GetUserDefaultLocaleName(Name, LOCALE_NAME_MAX_LENGTH) <= 0) return std::string();
        return Utf16ToUtf8(Narrow(Name));
    }();
    return Tag;
}

const TCollator& UserCollator() {
    static const TCollator Collator(UserLocale());
    return Collator;
}

unsigned AnsiCodePage() {
    static const unsigned CodePage = [] {
        const UINT Page = GetACP();
        return CodePageToUtf16("", Page).Error ? 1252u : Page;
    }();
    return CodePage;
}

// ---- letter case

std::u16string UpperCase(std::u16string_view Text) {
    static const bool Plain = HasPlainAsciiCase(LanguageOfTag(UserLocale()));
    std::u16string Result;
    if (Plain && TryAsciiUpperCase(Text, Result)) return Result;
    return MapCase(Text, LCMAP_UPPERCASE);
}

std::u16string LowerCase(std::u16string_view Text) {
    static const bool Plain = HasPlainAsciiCase(LanguageOfTag(UserLocale()));
    std::u16string Result;
    if (Plain && TryAsciiLowerCase(Text, Result)) return Result;
    return MapCase(Text, LCMAP_LOWERCASE);
}

bool IsLetterOrDigit(char16_t Character) {
    const auto Unit = static_cast<wchar_t>(Character);
    WORD Kinds = 0;
    return GetStringTypeW(CT_CTYPE1, &Unit, 1, &Kinds) && (Kinds & (C1_ALPHA | C1_DIGIT)) != 0;
}

// ---- collation

struct TCollator::TImpl {
    std::string Locale;
    std::wstring Name; // empty is the invariant locale
};

TCollator::TCollator(std::string_view Locale)
    : FImpl(nullptr) {
    auto Impl = std::make_unique<TImpl>();
    Impl->Locale = Locale;
    Impl->Name = WideTag(Impl->Locale);
    if (!IsValidLocaleName(Impl->Name.c_str())) Impl->Name.clear();
    FImpl = Impl.release();
}

TCollator::~TCollator() {
    delete FImpl;
}

int TCollator::Compare(std::u16string_view Left, std::u16string_view Right, bool CaseSensitive) const {
    const DWORD Flags = CaseSensitive ? 0 : NORM_IGNORECASE | NORM_LINGUISTIC_CASING;
    const int Answer = CompareStringEx(FImpl->Name.c_str(), Flags, AddressOf(Left), LengthOf(Left),
                                       AddressOf(Right), LengthOf(Right), nullptr, nullptr, 0);
    if (Answer == 0) FailWith("compare texts");
    return Answer - CSTR_EQUAL;
}

// NLS lists neither, so pairs of letters are tried out, and every Latin letter beyond ASCII is suspected.
TCollationOddities TCollator::Oddities(char16_t Limit) const {
    TCollationOddities Result;
    const auto TryPairs = [&](char16_t First, char16_t Last) {
        if (Last >= Limit) return;
        for (char16_t Left = First; Left <= Last; ++Left) {
            // Whatever begins with this letter stands between these two, unless the pair is a letter of its
            // own.
            const char16_t Before[] = {Left, u'0'};
            const char16_t After[] = {Left, u'\u044F'};
            for (char16_t Right = First; Right <= Last; ++Right) {
                const char16_t Pair[] = {Left, Right};
                const std::u16string_view Text(Pair, 2);
                if (Compare(Text, {Before, 2}, false) <= 0 ||
                    (Right != After[1] && Compare(Text, {After, 2}, false) >= 0))
                    Result.Sequences.emplace_back(Text);
            }
        }
    };
    TryPairs(u'a', u'z');
    TryPairs(u'\u0430', u'\u044F');
    for (char16_t Character = 0x80; Character < std::min<char16_t>(Limit, 0x400); ++Character)
        Result.Expansions += Character;
    return Result;
}

bool TCollator::IsLoneLetter(char16_t /*Character*/) const {
    return false;
}

std::string TCollator::SortKey(std::u16string_view Text, bool CaseSensitive) const {
    if (Text.empty()) return {};
    const DWORD Flags = LCMAP_SORTKEY | (CaseSensitive ? 0 : NORM_IGNORECASE | NORM_LINGUISTIC_CASING);
    const auto Map = [&](std::string& Key) {
        const int Length = LCMapStringEx(FImpl->Name.c_str(), Flags, AddressOf(Text), LengthOf(Text),
                                         reinterpret_cast<wchar_t*>(Key.data()), static_cast<int>(Key.size()),
                                         nullptr, nullptr, 0);
        if (Length <= 0) FailWith("make a sort key");
        return static_cast<std::size_t>(Length);
    };
    std::string Key;
    Key.resize(Map(Key));
    Map(Key);
    return Key;
}

const std::string& TCollator::Locale() const {
    return FImpl->Locale;
}

// ---- code pages

bool DecodeUpperHalf(unsigned CodePage, char16_t (&Characters)[128]) {
    if (!IsValidCodePage(CodePage)) return false;
    for (int Index = 0; Index < 128; ++Index) {
        const char Byte = static_cast<char>(0x80 + Index);
        wchar_t Unit = 0;
        const int Length = MultiByteToWideChar(CodePage, MB_ERR_INVALID_CHARS, &Byte, 1, &Unit, 1);
        // The tables put some of their undefined bytes into the private use area.
        const bool Defined = Length == 1 && !(Unit >= 0xE000 && Unit <= 0xF8FF);
        Characters[Index] = Defined ? static_cast<char16_t>(Unit) : NoCharacter;
    }
    return true;
}

} // namespace zutools::platform
