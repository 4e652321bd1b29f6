#include "templates/TemplateFile.h"

#include "host/Format.h"
#include "host/Services.h"
#include "host/StringHelpers.h"
#include "platform/File.h"
#include "platform/Text.h"
#include "platform/TextTools.h"
#include "templates/Lint.h"
#include "templates/Marks.h"

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

    const TLintPlace Place = TPlaceCursor(Decoded.Text).At(Decoded.Text.size());
    const std::size_t Offset = Decoded.Error->Offset + (Marked ? platform::Utf8ByteOrderMark.size() : 0);
    const std::u16string Reason = Format(MalformedText, {Place.Line, Place.Column, Offset});
    throw ETemplateFile(Format(ReadErrorText, {Path, Reason}), true);
}

void ReplaceLanguageKeys(std::u16string& Text, TLocalizatorTable& Localizer, std::u16string_view LanguageID) {
    TMark Key = FindMark(Text, 0, LanguageKeyMark);
    if (Key.State == TMark::TState::None) return;
    std::u16string Output;
    Output.reserve(Text.size());
    std::size_t Place = 0;
    for (; Key.IsClosed(); Key = FindMark(Text, Place, LanguageKeyMark)) {
        Output.append(Text, Place, Key.Begin - Place);
        const std::u16string Localized = Localizer.GetString(Key.Name, LanguageID);
        if (Localized != std::u16string_view(u"\0", 1)) Output += Localized;
        Place = Key.End;
    }
    Output.append(Text, Place, Key.Begin - Place); // up to a key that is still open, or to the end
    Text = std::move(Output);
}

} // namespace zutools
