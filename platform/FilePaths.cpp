#include "platform/File.h"

#include "platform/TextTools.h"

#include <algorithm>
#include <array>

namespace zutools::platform {

namespace {

constexpr bool IsSeparator(char16_t Unit) {
    return Unit == u'/' || Unit == u'\\';
}

// Windows opens the device for these in every folder, whatever follows the first dot; it also counts the
// raised digits of Latin-1 as digits, and passes over blanks before the dot.
bool IsDeviceName(std::u16string_view Part) {
    std::u16string_view Name = Part.substr(0, Part.find(u'.'));
    while (!Name.empty() && Name.back() == u' ') Name.remove_suffix(1);
    if (Name.size() < 3 || Name.size() > 7) return false;
    if (Name.size() == 4) {
        const char16_t Digit = Name.back();
        const bool IsDigit = IsAsciiDigit(Digit) || Digit == 0x00B9 || Digit == 0x00B2 || Digit == 0x00B3;
        const std::u16string_view Port = Name.substr(0, 3);
        return IsDigit && (EqualAsciiNoCase(Port, u"COM") || EqualAsciiNoCase(Port, u"LPT"));
    }
    static constexpr std::array<std::u16string_view, 6> Devices{u"CON", u"PRN",    u"AUX",
                                                                u"NUL", u"CONIN$", u"CONOUT$"};
    return std::any_of(Devices.begin(), Devices.end(),
                       [Name](std::u16string_view Device) { return EqualAsciiNoCase(Name, Device); });
}

std::u16string_view UnsafePartReason(std::u16string_view Part) {
    if (Part.empty()) return {}; // between two separators: opens the same file
    if (Part == u"." || Part == u"..") return u"a part of it is \".\" or \"..\"";
    if (Part.back() == u'.' || Part.back() == u' ') return u"a part of it ends in a dot or a blank";
    if (IsDeviceName(Part)) return u"a part of it is the name of a device";
    return {};
}

} // namespace

std::u16string JoinPath(std::u16string_view Directory, std::u16string_view Name) {
    if (Directory.empty()) return std::u16string(Name);
    while (!Directory.empty() && IsSeparator(Directory.back())) Directory.remove_suffix(1);
    while (!Name.empty() && IsSeparator(Name.front())) Name.remove_prefix(1);
    std::u16string Path;
    Path.reserve(Directory.size() + 1 + Name.size());
    return Path.append(Directory).append(1, u'/').append(Name);
}

std::u16string_view UnsafeNameReason(std::u16string_view Name) {
    if (Name.empty()) return u"it is empty";
    if (IsSeparator(Name.front())) return u"it is an absolute path";
    std::size_t PartStart = 0;
    for (std::size_t Index = 0; Index < Name.size(); ++Index) {
        const char16_t Unit = Name[Index];
        if (IsControl(Unit)) return u"it holds a control character";
        if (Unit == u':') return u"it holds a \":\"";
        if (!IsSeparator(Unit)) continue;
        if (const auto Reason = UnsafePartReason(Name.substr(PartStart, Index - PartStart)); !Reason.empty())
            return Reason;
        PartStart = Index + 1;
    }
    return UnsafePartReason(Name.substr(PartStart));
}

} // namespace zutools::platform
