#include "platform/Text.h"

#include "platform/CodePages.h"
#include "platform/TextRules.h"
#include "platform/posix/LoneLetters.h"

#include <unicode/uchar.h>
#include <unicode/ucnv.h>
#include <unicode/ucol.h>
#include <unicode/uloc.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>

namespace zutools::platform {

namespace {

// ICU counts in 32 bits; a text of 4 GB is a mistake of the caller, not a case to serve.
std::int32_t LengthOf(std::u16string_view Text) {
    if (Text.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
        throw std::length_error("a text of more than 2147483647 units");
    return static_cast<std::int32_t>(Text.size());
}

[[noreturn]] void FailWith(const char* Action, UErrorCode Status) {
    throw std::runtime_error(std::string("Cannot ") + Action + ": " + u_errorName(Status));
}

// ---- letter case

using TMapCase = std::int32_t(UChar*, std::int32_t, const UChar*, std::int32_t, const char*, UErrorCode*);

std::u16string MapCase(std::u16string_view Text, TMapCase& Map) {
    if (Text.empty()) return {}; // ICU refuses the null address of an empty view
    static const std::string Language(LanguageOfTag(UserLocale()));
    std::u16string Result(Text.size(), u'\0');
    for (;;) {
        UErrorCode Status = U_ZERO_ERROR;
        const std::int32_t Length =
            Map(Result.data(), LengthOf(Result), Text.data(), LengthOf(Text), Language.c_str(), &Status);
        if (U_FAILURE(Status) && Status != U_BUFFER_OVERFLOW_ERROR)
            FailWith("change the letter case", Status);
        const bool Fits = static_cast<std::size_t>(Length) <= Result.size();
        Result.resize(static_cast<std::size_t>(Length));
        if (Fits) return Result;
    }
}

// ---- collation

struct TCloseCollator {
    void operator()(UCollator* Collator) const { ucol_close(Collator); }
};
using TCollatorHandle = std::unique_ptr<UCollator, TCloseCollator>;

// "root" for the empty tag and for what is no tag. The POSIX variant is taken off: it orders A to Z before a
// to z and keeps their case apart at every strength.
std::string IcuLocale(const std::string& Tag) {
    char Name[ULOC_FULLNAME_CAPACITY] = {};
    UErrorCode Status = U_ZERO_ERROR;
    std::int32_t Parsed = 0;
    uloc_forLanguageTag(Tag.c_str(), Name, static_cast<std::int32_t>(sizeof Name - 1), &Parsed, &Status);
    if (U_FAILURE(Status) || Name[0] == '\0') return "root";
    std::string Result(Name);
    if (const std::size_t Variant = Result.find("_POSIX"); Variant != std::string::npos)
        Result.resize(Variant);
    return Result;
}

TCollatorHandle OpenCollator(const std::string& Locale, UColAttributeValue Strength) {
    UErrorCode Status = U_ZERO_ERROR;
    TCollatorHandle Collator(ucol_open(Locale.c_str(), &Status));
    ucol_setAttribute(Collator.get(), UCOL_STRENGTH, Strength, &Status);
    ucol_setAttribute(Collator.get(), UCOL_NORMALIZATION_MODE, UCOL_ON, &Status);
    // Some locales ignore signs altogether, which would make one name of "co-op" and "coop".
    ucol_setAttribute(Collator.get(), UCOL_ALTERNATE_HANDLING, UCOL_NON_IGNORABLE, &Status);
    if (U_FAILURE(Status)) FailWith("open a collator", Status);
    return Collator;
}

// ---- code pages

struct TCloseConverter {
    void operator()(UConverter* Converter) const { ucnv_close(Converter); }
};
using TConverterHandle = std::unique_ptr<UConverter, TCloseConverter>;

} // namespace

// ---- the user

const std::string& UserLocale() {
    static const std::string Tag = [] {
        for (const char* const Variable : {"LC_ALL", "LC_COLLATE", "LC_CTYPE", "LANG"}) {
            const char* const Value = std::getenv(Variable);
            if (Value != nullptr && *Value != '\0') return LocaleTagOfPosixName(Value);
        }
        return std::string();
    }();
    return Tag;
}

const TCollator& UserCollator() {
    static const TCollator Collator(UserLocale());
    return Collator;
}

unsigned AnsiCodePage() {
    return CodePageOfLanguage(LanguageOfTag(UserLocale()));
}

// ---- letter case

std::u16string UpperCase(std::u16string_view Text) {
    static const bool Plain = HasPlainAsciiCase(LanguageOfTag(UserLocale()));
    std::u16string Result;
    if (Plain && TryAsciiUpperCase(Text, Result)) return Result;
    return MapCase(Text, u_strToUpper);
}

std::u16string LowerCase(std::u16string_view Text) {
    static const bool Plain = HasPlainAsciiCase(LanguageOfTag(UserLocale()));
    std::u16string Result;
    if (Plain && TryAsciiLowerCase(Text, Result)) return Result;
    return MapCase(Text, u_strToLower);
}

bool IsLetterOrDigit(char16_t Character) {
    return u_isalnum(Character) != 0;
}

// ---- collation

struct TCollator::TImpl {
    std::string Locale;
    TCollatorHandle CaseSensitive;
    TCollatorHandle CaseInsensitive;
    std::once_flag LoneLettersOnce;
    std::optional<TLoneLetters> LoneLetters;
};

TCollator::TCollator(std::string_view Locale)
    : FImpl(nullptr) {
    auto Impl = std::make_unique<TImpl>();
    Impl->Locale = Locale;
    const std::string Name = IcuLocale(Impl->Locale);
    Impl->CaseSensitive = OpenCollator(Name, UCOL_TERTIARY);
    Impl->CaseInsensitive = OpenCollator(Name, UCOL_SECONDARY);
    FImpl = Impl.release();
}

TCollator::~TCollator() {
    delete FImpl;
}

int TCollator::Compare(std::u16string_view Left, std::u16string_view Right, bool CaseSensitive) const {
    const UCollator* const Collator = (CaseSensitive ? FImpl->CaseSensitive : FImpl->CaseInsensitive).get();
    // UCOL_LESS, UCOL_EQUAL and UCOL_GREATER are -1, 0 and 1.
    return ucol_strcoll(Collator, Left.data(), LengthOf(Left), Right.data(), LengthOf(Right));
}

TCollationOddities TCollator::Oddities(char16_t Limit) const {
    const TTogether Together(FImpl->CaseSensitive.get());
    TCollationOddities Result;
    Together.ForEachSequence([&](std::u16string_view Sequence) {
        if (std::ranges::all_of(Sequence, [Limit](char16_t Unit) { return Unit < Limit; }))
            Result.Sequences.emplace_back(Sequence);
    });
    for (char16_t Character = 0; Character < Limit; ++Character)
        if (Together.Expands(Character)) Result.Expansions += Character;
    return Result;
}

bool TCollator::IsLoneLetter(char16_t Character) const {
    std::call_once(FImpl->LoneLettersOnce,
                   [this] { FImpl->LoneLetters.emplace(FImpl->CaseInsensitive.get()); });
    return FImpl->LoneLetters->Has(Character);
}

std::string TCollator::SortKey(std::u16string_view Text, bool CaseSensitive) const {
    return SortKeyOf((CaseSensitive ? FImpl->CaseSensitive : FImpl->CaseInsensitive).get(), Text);
}

const std::string& TCollator::Locale() const {
    return FImpl->Locale;
}

// ---- code pages

bool DecodeUpperHalf(unsigned CodePage, char16_t (&Characters)[128]) {
    const std::string Name = (CodePage < 1000 ? "ibm-" : "windows-") + std::to_string(CodePage);
    UErrorCode Status = U_ZERO_ERROR;
    const TConverterHandle Converter(ucnv_open(Name.c_str(), &Status));
    if (U_FAILURE(Status)) return false;
    ucnv_setToUCallBack(Converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &Status);
    for (int Index = 0; Index < 128; ++Index) {
        const char Byte = static_cast<char>(0x80 + Index);
        char16_t Units[2] = {};
        Status = U_ZERO_ERROR;
        const std::int32_t Length = ucnv_toUChars(Converter.get(), Units, 2, &Byte, 1, &Status);
        Characters[Index] = U_SUCCESS(Status) && Length == 1 ? Units[0] : NoCharacter;
    }
    return true;
}

} // namespace zutools::platform
