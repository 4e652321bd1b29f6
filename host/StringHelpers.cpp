#include "host/StringHelpers.h"

#include "platform/File.h"
#include "platform/Text.h"
#include "platform/TextTools.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>

namespace zutools {

namespace {

using TCaseTable = std::array<char16_t, 0x10000>;

constexpr char16_t Separator = u'\n';

// Every unit alone between separators, so that no neighbour can change its upper case, in one call of the
// system.
std::u16string AllUnitsUpperCased() {
    std::u16string Units;
    Units.reserve(2 * 0x10000);
    for (std::size_t Code = 0; Code < 0x10000; ++Code) {
        if (Code == Separator || platform::IsSurrogate(static_cast<char32_t>(Code))) continue;
        Units.push_back(static_cast<char16_t>(Code));
        Units.push_back(Separator);
    }
    return platform::UpperCase(Units);
}

std::unique_ptr<const TCaseTable> MakeUpCaseTable() {
    auto Table = std::make_unique<TCaseTable>();
    for (std::size_t Code = 0; Code < Table->size(); ++Code) (*Table)[Code] = static_cast<char16_t>(Code);

    const std::u16string Upper = AllUnitsUpperCased();
    std::size_t Code = 0;
    for (std::size_t At = 0; At < Upper.size(); ++Code) {
        if (Code == Separator || platform::IsSurrogate(static_cast<char32_t>(Code))) continue;
        const std::size_t End = std::min(Upper.find(Separator, At), Upper.size());
        if (End - At == 1) (*Table)[Code] = Upper[At];
        At = End + 1;
    }
    return Table;
}

bool IsWordEdge(std::u16string_view Text, std::size_t At, std::size_t Count) {
    if (At > 0 && platform::IsLetterOrDigit(Text[At - 1])) return false;
    return At + Count == Text.size() || !platform::IsLetterOrDigit(Text[At + Count]);
}

// Calls `Visit` with each word until it returns false.
template <class TVisit>
void ForEachWord(std::u16string_view Text, const TKXCharSet& Separators, TVisit Visit) {
    std::size_t At = 0;
    while (At < Text.size()) {
        while (At < Text.size() && Separators.Exists(Text[At])) ++At;
        const std::size_t Begin = At;
        while (At < Text.size() && !Separators.Exists(Text[At])) ++At;
        if (At > Begin && !Visit(Text.substr(Begin, At - Begin))) return;
    }
}

} // namespace

const char16_t* KX_UpCaseTable() {
    static const std::unique_ptr<const TCaseTable> Table = MakeUpCaseTable();
    return Table->data();
}

int KX_PosText(std::u16string_view Sought, std::u16string_view Text, int Start, bool WholeWord) {
    if (Sought.empty() || Start < 1 || Sought.size() > Text.size()) return 0;
    const char16_t* const Upper = KX_UpCaseTable();
    const char16_t First = Upper[Sought.front()];
    const std::u16string_view Rest = Sought.substr(1);
    const std::size_t Last = Text.size() - Sought.size();
    for (auto At = static_cast<std::size_t>(Start - 1); At <= Last; ++At) {
        if (Upper[Text[At]] != First) continue;
        const auto Same = [Upper](char16_t Left, char16_t Right) { return Upper[Left] == Upper[Right]; };
        if (!std::equal(Rest.begin(), Rest.end(), Text.data() + At + 1, Same)) continue;
        if (WholeWord && !IsWordEdge(Text, At, Sought.size())) continue;
        return static_cast<int>(At + 1);
    }
    return 0;
}

std::u16string KX_CopyStr(std::u16string_view Text, int Start, int Count) {
    const auto Size = static_cast<std::int64_t>(Text.size());
    const std::int64_t Begin = std::max<std::int64_t>(Start - std::int64_t{1}, 0);
    const std::int64_t End = std::min<std::int64_t>(std::int64_t{Start} - 1 + Count, Size);
    if (Begin >= End) return {};
    return std::u16string(
        Text.substr(static_cast<std::size_t>(Begin), static_cast<std::size_t>(End - Begin)));
}

std::u16string KX_SplitPathName(std::u16string_view Directory, std::u16string_view Name) {
    return Directory.empty() ? std::u16string(Name) : platform::JoinPath(Directory, Name);
}

bool KX_GetNextParam(std::u16string_view& Text, std::u16string_view Delimiter, std::u16string& Item) {
    const std::size_t At = Delimiter.empty() ? Text.npos : Text.find(Delimiter);
    const bool Found = !Text.empty();
    Item.assign(Text.substr(0, At));
    Text.remove_prefix(At == Text.npos ? Text.size() : At + Delimiter.size());
    return Found;
}

int KX_WordCount(std::u16string_view Text, const TKXCharSet& Separators) {
    int Count = 0;
    ForEachWord(Text, Separators, [&Count](std::u16string_view) {
        ++Count;
        return true;
    });
    return Count;
}

std::u16string KX_ExtractWord(int Number, std::u16string_view Text, const TKXCharSet& Separators) {
    std::u16string_view Found;
    ForEachWord(Text, Separators, [&Found, Left = Number](std::u16string_view Word) mutable {
        if (--Left == 0) Found = Word;
        return Left > 0;
    });
    return std::u16string(Found);
}

std::u16string AnsiUpperCase(std::u16string_view Text) {
    return platform::UpperCase(Text);
}
std::u16string AnsiLowerCase(std::u16string_view Text) {
    return platform::LowerCase(Text);
}

int AnsiCompareStr(std::u16string_view Left, std::u16string_view Right) {
    return Left == Right ? 0 : platform::UserCollator().Compare(Left, Right, true);
}

int AnsiCompareText(std::u16string_view Left, std::u16string_view Right) {
    return Left == Right ? 0 : platform::UserCollator().Compare(Left, Right, false);
}

int CompareText(std::u16string_view Left, std::u16string_view Right) {
    // Names are mostly asked for as they are spelled; the library compares 16-bit characters one by one.
    const std::size_t Common = std::min(Left.size(), Right.size());
    if (Common != 0 && Left.size() == Right.size() &&
        std::memcmp(Left.data(), Right.data(), Common * sizeof(char16_t)) == 0) {
        return 0;
    }
    for (std::size_t At = 0; At < Common; ++At) {
        const int Difference = platform::UpperAscii(Left[At]) - platform::UpperAscii(Right[At]);
        if (Difference != 0) return Difference;
    }
    return Left.size() < Right.size() ? -1 : static_cast<int>(Left.size() > Right.size());
}

bool SameText(std::u16string_view Left, std::u16string_view Right) {
    return platform::EqualAsciiNoCase(Left, Right);
}

std::u16string LowerCase(std::u16string_view Text) {
    return platform::LowerAsciiText(std::u16string(Text));
}

std::u16string_view Trim(std::u16string_view Text) {
    while (!Text.empty() && Text.front() <= u' ') Text.remove_prefix(1);
    while (!Text.empty() && Text.back() <= u' ') Text.remove_suffix(1);
    return Text;
}

} // namespace zutools
