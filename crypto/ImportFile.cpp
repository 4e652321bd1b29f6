#include "crypto/ImportFile.h"

#include "host/Exception.h"
#include "host/Format.h"
#include "host/StringHelpers.h"
#include "host/Strings.h"
#include "platform/SettingsText.h"
#include "platform/Text.h"

#include <algorithm>
#include <optional>

namespace zutools {

namespace {

std::u16string FromUtf16(std::string_view Bytes, bool BigEndian) {
    std::u16string Text;
    Text.reserve(Bytes.size() / 2);
    for (std::size_t At = 0; At + 1 < Bytes.size(); At += 2) {
        const auto High = static_cast<unsigned char>(Bytes[BigEndian ? At : At + 1]);
        const auto Low = static_cast<unsigned char>(Bytes[BigEndian ? At + 1 : At]);
        Text += static_cast<char16_t>(High << 8U | Low);
    }
    return Text;
}

std::u16string FromCodePage(std::string_view Bytes) {
    std::u16string Text;
    while (true) {
        auto Part = platform::CodePageToUtf16(Bytes, platform::AnsiCodePage());
        Text += Part.Text;
        if (!Part.Error) return Text;
        Text += u'\uFFFD';
        Bytes.remove_prefix(std::min(Part.Error->Offset + 1, Bytes.size()));
    }
}

std::u16string Decoded(std::string_view Bytes) {
    if (Bytes.starts_with("\xFF\xFE")) return FromUtf16(Bytes.substr(2), false);
    if (Bytes.starts_with("\xFE\xFF")) return FromUtf16(Bytes.substr(2), true);
    const std::string_view Plain = platform::WithoutByteOrderMark(Bytes);
    if (Plain.size() < Bytes.size()) return platform::Utf8ToUtf16(Plain);
    if (auto Strict = platform::Utf8ToUtf16Strict(Bytes); !Strict.Error) return std::move(Strict.Text);
    return FromCodePage(Bytes);
}

// Lines of one character say nothing about what a file is.
template <class TPredicate>
bool IsMarked(std::u16string_view Line, TPredicate Marked) {
    const std::u16string_view Trimmed = Trim(Line);
    return Trimmed.size() > 1 && Marked(Trimmed);
}

const std::u16string* FindType(std::span<const std::u16string> Types, std::u16string_view Name) {
    const auto Found = std::ranges::find_if(
        Types, [&](const std::u16string& Type) { return AnsiCompareText(Type, Name) == 0; });
    return Found == Types.end() ? nullptr : &*Found;
}

std::vector<std::u16string> LinesOf(std::u16string_view Text) {
    TKXStringList List;
    List.SetText(Text);
    std::vector<std::u16string> Lines;
    for (int Index = 0; Index < List.Count(); ++Index) Lines.push_back(List.Strings(Index));
    return Lines;
}

TImportFile ReadSections(const std::vector<std::u16string>& Lines, std::span<const std::u16string> Types) {
    std::string Bytes(platform::Utf8ByteOrderMark);
    for (const std::u16string& Line : Lines) Bytes += platform::Utf16ToUtf8(Line) + "\n"; // whatever ended it
    const platform::TSettingsText Settings(std::move(Bytes));
    TImportFile File{TImportMode::Section, {}, false, {}};
    for (const std::u16string& Name : Settings.Sections()) {
        const std::u16string* const Type = FindType(Types, Name);
        if (Type == nullptr) continue;
        File.Section = *Type;
        File.SectionIsType = true;
        break;
    }
    // Kept on purpose: without a section of a type the whole first line is taken for the section's name, so
    // that "[Other]" names none.
    if (!File.SectionIsType) File.Section = Lines.front();
    for (const std::u16string& Key : Settings.Keys(File.Section))
        File.Lines.push_back(Key + u"=" + Settings.Read(File.Section, Key).value_or(std::u16string()));
    return File;
}

} // namespace

std::u16string ImportText(std::string_view Bytes) {
    if (Bytes.size() > MaxImportSize)
        throw Exception(Format(u"the file has %d bytes, and may have %d", {Bytes.size(), MaxImportSize}));
    std::u16string Text = Decoded(Bytes);
    if (Text.find(u'\0') != Text.npos) throw Exception(u"the file is no text: it holds NUL characters");
    return Text;
}

TImportFile ReadImportFile(std::string_view Bytes, std::span<const std::u16string> Types) {
    std::vector<std::u16string> Lines = LinesOf(ImportText(Bytes));
    const auto BeginsSection = [](std::u16string_view Line) { return Line.front() == u'['; };
    if (std::ranges::any_of(Lines, [&](const auto& Line) { return IsMarked(Line, BeginsSection); }))
        return ReadSections(Lines, Types);
    const auto NamesNothing = [](std::u16string_view Line) { return Line.find(u'=') == Line.npos; };
    const bool Positions =
        std::ranges::any_of(Lines, [&](const auto& Line) { return IsMarked(Line, NamesNothing); });
    return {Positions ? TImportMode::Positions : TImportMode::Names, {}, false, std::move(Lines)};
}

TImportPlan PlanImport(const TImportFile& File, const TCryptoParams& Rows) {
    TImportPlan Plan;
    // Kept on purpose: only as many lines as there are rows are looked at, by name too.
    const std::size_t Count = std::min(File.Lines.size(), Rows.size());
    Plan.LinesLeftOut = File.Lines.size() - Count;
    std::vector<std::optional<std::u16string>> Values(Rows.size());
    for (std::size_t Line = 0; Line < Count; ++Line) {
        if (File.Mode == TImportMode::Positions) {
            if (!Rows[Line].Name.empty()) Values[Line] = File.Lines[Line];
            continue;
        }
        const std::u16string& Text = File.Lines[Line];
        const TCryptoParam Given = SplitParam(Text);
        const std::u16string_view Name = Trim(Given.Name);
        const TCryptoParam* const Row = FindParam(Rows, Name);
        if (Row != nullptr && !Row->Name.empty() && Text.find(u'=') != Text.npos)
            Values[static_cast<std::size_t>(Row - Rows.data())] = Trim(Given.Value);
        else if (!Trim(Text).empty())
            Plan.UnknownNames.emplace_back(Name);
    }
    for (std::size_t Row = 0; Row < Rows.size(); ++Row)
        if (Values[Row] && *Values[Row] != Rows[Row].Value)
            Plan.Changes.push_back({Row, Rows[Row].Name, Rows[Row].Value, std::move(*Values[Row])});
    return Plan;
}

TCryptoParams Imported(const TImportPlan& Plan, TCryptoParams Rows) {
    for (const TImportPlan::TChange& Change : Plan.Changes) Rows[Change.Row].Value = Change.After;
    return Rows;
}

} // namespace zutools
