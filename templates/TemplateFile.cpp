#include "templates/TemplateFile.h"

#include "host/Format.h"
#include "host/StringHelpers.h"
#include "platform/File.h"
#include "platform/Text.h"
#include "platform/TextTools.h"

#include <algorithm>
#include <span>

namespace zutools {

namespace {

constexpr std::u16string_view UnsafeNameText = u"Error template name: \"%s\" (%s).";
constexpr std::u16string_view EmptyFileText = u"Error read template file: \"%s\" (empty file).";
constexpr std::u16string_view ReadErrorText = u"Error read template file: \"%s\" (%s).";
constexpr std::u16string_view TooLargeText = u"%u bytes, the limit is %u bytes";
constexpr std::u16string_view MalformedText = u"malformed UTF-8 at line %u, column %u, byte offset %u";

std::string ReadBytes(platform::TReadFile& File, std::u16string_view Path) {
    try {
        // No more than the size that was checked, even when the file has grown since.
        std::string Bytes(static_cast<std::size_t>(File.Size()), '\0');
        Bytes.resize(File.Read(Bytes));
        return Bytes;
    } catch (const std::exception& Error) {
        throw ETemplateFile(Format(ReadErrorText, {Path, MessageOf(Error)}), false);
    }
}

} // namespace

std::u16string ReadTemplateFile(std::u16string_view Directory, std::u16string_view Name,
                                std::uint64_t MaxSize) {
    if (const std::u16string_view Reason = platform::UnsafeNameReason(Name); !Reason.empty()) {
        throw ETemplate(Format(UnsafeNameText, {Name, Reason}));
    }
    const std::u16string Path = KX_SplitPathName(Directory, Name);
    platform::TReadFile File(Directory, Name);
    if (File.Size() == 0) throw ETemplateFile(Format(EmptyFileText, {Path}), false);
    if (File.Size() > MaxSize) {
        throw ETemplateFile(Format(ReadErrorText, {Path, Format(TooLargeText, {File.Size(), MaxSize})}),
                            true);
    }

    const std::string Bytes = ReadBytes(File, Path);
    std::string_view Text = Bytes;
    // Kept on purpose: a file that consists of the mark alone keeps it as a character.
    const bool Marked =
        Text.size() > platform::Utf8ByteOrderMark.size() && Text.starts_with(platform::Utf8ByteOrderMark);
    if (Marked) Text.remove_prefix(platform::Utf8ByteOrderMark.size());

    platform::TConversion<std::u16string> Decoded = platform::Utf8ToUtf16Strict(Text);
    if (!Decoded.Error) return std::move(Decoded.Text);

    const std::u16string_view Good = Decoded.Text;
    const auto Line = std::count(Good.begin(), Good.end(), u'\n') + 1;
    const std::size_t Column = Good.size() - (Good.rfind(u'\n') + 1) + 1; // npos + 1 is 0
    const std::size_t Offset = Decoded.Error->Offset + (Marked ? platform::Utf8ByteOrderMark.size() : 0);
    throw ETemplateFile(Format(ReadErrorText, {Path, Format(MalformedText, {Line, Column, Offset})}), true);
}

} // namespace zutools
