#include "platform/SettingsText.h"

#include "platform/Settings.h"
#include "platform/Text.h"
#include "platform/TextTools.h"

#include <algorithm>
#include <cstring>

namespace zutools::platform {

namespace {

constexpr std::string_view Utf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view Utf16LeMark = "\xFF\xFE";
constexpr std::string_view Utf16BeMark = "\xFE\xFF";

constexpr std::u16string_view NoKey = u"the line has no \"=\"";
constexpr std::u16string_view NoSection = u"a key before the first section is never read";
constexpr std::u16string_view EmptyKey = u"the key has no name";
constexpr std::u16string_view OpenSection = u"the section's \"]\" is missing";
constexpr std::u16string_view SecondSection = u"a section of this name stands above: only the first is read";
constexpr std::u16string_view SecondKey = u"a key of this name stands above: only the first is read";
constexpr std::u16string_view NoText = u"bytes that are no text in the file's encoding";

bool IsBlank(char Byte) {
    return Byte == ' ' || (Byte >= '\t' && Byte <= '\r');
}

std::uint32_t ToOffset(std::size_t Offset) {
    return static_cast<std::uint32_t>(Offset);
}

// ---- UTF-16 as bytes and back; every sequence of units survives, lone surrogates too

void AppendCodePoint(std::string& Out, char32_t Point) {
    const auto Continued = [&Out](char32_t Bits) { Out += static_cast<char>(0x80 | (Bits & 0x3F)); };
    if (Point < 0x80) {
        Out += static_cast<char>(Point);
    } else if (Point < 0x800) {
        Out += static_cast<char>(0xC0 | (Point >> 6));
        Continued(Point);
    } else if (Point < 0x10000) {
        Out += static_cast<char>(0xE0 | (Point >> 12));
        Continued(Point >> 6);
        Continued(Point);
    } else {
        Out += static_cast<char>(0xF0 | (Point >> 18));
        Continued(Point >> 12);
        Continued(Point >> 6);
        Continued(Point);
    }
}

std::u16string NumberText(std::size_t Number) {
    const std::string Digits = std::to_string(Number);
    return {Digits.begin(), Digits.end()};
}

std::string FromUnits(std::string_view Bytes, bool BigEndian) {
    const auto Unit = [Bytes, BigEndian](std::size_t At) {
        const auto First = static_cast<unsigned char>(Bytes[At]),
                   Second = static_cast<unsigned char>(Bytes[At + 1]);
        return static_cast<char32_t>(BigEndian ? First << 8 | Second : Second << 8 | First);
    };
    std::string Out;
    Out.reserve(Bytes.size());
    for (std::size_t At = 0; At + 1 < Bytes.size(); At += 2) {
        char32_t Point = Unit(At);
        if (Point >= 0xD800 && Point < 0xDC00 && At + 3 < Bytes.size()) {
            if (const char32_t Low = Unit(At + 2); Low >= 0xDC00 && Low < 0xE000) {
                Point = 0x10000 + ((Point - 0xD800) << 10) + (Low - 0xDC00);
                At += 2;
            }
        }
        AppendCodePoint(Out, Point);
    }
    return Out;
}

// `Text` is what FromUnits made, and well-formed UTF-8 among it.
void AppendUnits(std::string& Out, std::string_view Text, bool BigEndian) {
    const auto Append = [&Out, BigEndian](char32_t Unit) {
        const char High = static_cast<char>(Unit >> 8), Low = static_cast<char>(Unit);
        Out += BigEndian ? High : Low;
        Out += BigEndian ? Low : High;
    };
    for (std::size_t At = 0; At < Text.size();) {
        const auto Lead = static_cast<unsigned char>(Text[At++]);
        const int More = Lead < 0x80 ? 0 : Lead < 0xE0 ? 1 : Lead < 0xF0 ? 2 : 3;
        char32_t Point = More == 0 ? Lead : static_cast<char32_t>(Lead & (0x3F >> More));
        for (int Byte = 0; Byte < More; ++Byte)
            Point = Point << 6 | (static_cast<unsigned char>(Text[At++]) & 0x3F);
        if (Point < 0x10000) {
            Append(Point);
        } else {
            Append(0xD800 + ((Point - 0x10000) >> 10));
            Append(0xDC00 + ((Point - 0x10000) & 0x3FF));
        }
    }
}

// The loops below have no way out, so that they take many characters at a time.

bool IsAscii(std::string_view Text) {
    unsigned char All = 0;
    for (const char Byte : Text) All |= static_cast<unsigned char>(Byte);
    return All < 0x80;
}

// Puts a text of ASCII characters at `To`; whether it is one.
bool NarrowAscii(std::u16string_view Text, char* To) {
    char16_t All = 0;
    for (const char16_t Unit : Text) {
        All |= Unit;
        *To++ = static_cast<char>(Unit);
    }
    return All < 0x80;
}

bool HasEqualQuotes(std::string_view Value) {
    return Value.size() >= 2 && Value.front() == Value.back() &&
           (Value.front() == '"' || Value.front() == '\'');
}

std::string_view Unquoted(std::string_view Value) {
    return HasEqualQuotes(Value) ? Value.substr(1, Value.size() - 2) : Value;
}

// A value as it stands in the file: quotes keep what reading would take away.
std::string Quoted(std::string_view Value) {
    const bool NeedsQuotes =
        !Value.empty() && (IsBlank(Value.front()) || IsBlank(Value.back()) || HasEqualQuotes(Value));
    return NeedsQuotes ? '"' + std::string(Value) + '"' : std::string(Value);
}

} // namespace

TSettingsText::TSettingsText(std::string Bytes) {
    Load(std::move(Bytes));
}

void TSettingsText::Load(std::string Bytes) {
    FTexts.clear();
    FTail.clear();
    const bool Little = Bytes.starts_with(Utf16LeMark);
    if (Little || Bytes.starts_with(Utf16BeMark)) {
        FEncoding = Little ? TEncoding::Utf16Le : TEncoding::Utf16Be;
        if (Bytes.size() % 2 != 0) FTail = Bytes.back();
        FTexts.push_back(FromUnits(std::string_view(Bytes).substr(2), !Little));
    } else if (Bytes.starts_with(Utf8Mark)) {
        FEncoding = TEncoding::Utf8Marked;
        FTexts.push_back(Bytes.substr(Utf8Mark.size()));
    } else {
        FTexts.push_back(std::move(Bytes));
    }
    const std::string& Text = FTexts.front();
    FAscii = IsAscii(std::string_view(Text));
    if (FEncoding == TEncoding::Utf8 && !FAscii && Utf8ToUtf16Strict(Text).Error) FEncoding = TEncoding::Ansi;
    Parse();
}

// Splits the text into lines, and takes in those that begin a section.
void TSettingsText::Parse() {
    const std::string_view Text = FTexts.front();
    const auto LineCount = static_cast<std::size_t>(std::count(Text.begin(), Text.end(), '\n')) + 1;
    FLines.clear();
    FOrder.clear();
    FLastSection.reset();
    FLines.reserve(LineCount);
    FOrder.reserve(LineCount);
    FSections.assign(1, {});
    FSectionNames = {};
    for (std::size_t At = 0; At < Text.size();) {
        const std::size_t End = std::min(Text.find('\n', At), Text.size() - 1) + 1;
        const auto Id = static_cast<TLineId>(FLines.size());
        TLine& Line = FLines.emplace_back();
        Line.Text = Text.substr(At, End - At);
        Line.Section = ToOffset(FSections.size() - 1);
        Line.Kind = TKind::Unread;
        FOrder.push_back(Id);
        std::size_t Begin = At;
        while (Begin < End && IsBlank(Text[Begin])) ++Begin;
        if (Begin < End && Text[Begin] == '[') {
            const std::uint32_t Section = Line.Section;
            Line = Parsed(Line.Text);
            Line.Section = Section;
            if (Line.Kind == TKind::Section) EnterSection(Id);
        }
        At = End;
    }
    FLoaded = ToOffset(FLines.size());
}

TSettingsText::TLine TSettingsText::Parsed(std::string_view Text) {
    TLine Line;
    Line.Text = Text;
    std::size_t Begin = 0, End = Text.size();
    while (End > 0 && IsBlank(Text[End - 1])) --End;
    while (Begin < End && IsBlank(Text[Begin])) ++Begin;
    if (Begin == End) return Line;
    if (Text[Begin] == ';' || Text[Begin] == '#') {
        Line.Kind = TKind::Comment;
        return Line;
    }
    Line.Kind = TKind::Unknown;
    if (Text[Begin] == '[') {
        const std::size_t Close = Text.rfind(']');
        if (Close == Text.npos) return Line;
        ++Begin;
        End = Close;
        Line.Kind = TKind::Section;
    } else {
        const std::size_t Equals = Text.find('=');
        if (Equals == Text.npos || Equals == Begin) return Line;
        std::size_t Value = Equals + 1;
        while (Value < End && IsBlank(Text[Value])) ++Value;
        Line.ValueBegin = ToOffset(Value);
        Line.ValueEnd = ToOffset(std::max(Value, End));
        End = Equals;
        Line.Kind = TKind::Key;
    }
    while (Begin < End && IsBlank(Text[Begin])) ++Begin;
    while (End > Begin && IsBlank(Text[End - 1])) --End;
    Line.NameBegin = ToOffset(Begin);
    Line.NameEnd = ToOffset(End);
    return Line;
}

void TSettingsText::ReadSection(std::uint32_t Section) const {
    TSection& Known = FSections[Section];
    if (std::exchange(Known.Read, true)) return;
    const TLineId Begin = Section == 0 ? 0 : Known.Header + 1;
    const TLineId End =
        Section + 1 < FSections.size() ? std::min(FSections[Section + 1].Header, FLoaded) : FLoaded;
    if (Section != 0) Known.Keys.Reserve(End - Begin);
    for (TLineId Id = Begin; Id < End; ++Id) {
        TLine& Line = FLines[Id];
        if (Line.Kind != TKind::Unread) continue;
        Line = Parsed(Line.Text);
        Line.Section = Section;
        if (Line.Kind == TKind::Key) EnterKey(Id);
    }
}

void TSettingsText::ReadAllSections() const {
    for (std::uint32_t Section = 0; Section < FSections.size(); ++Section) ReadSection(Section);
}

// Enters the header of a section behind all others.
void TSettingsText::EnterSection(TLineId Id) {
    FLastSection.reset();
    FLines[Id].Section = ToOffset(FSections.size());
    FSections.push_back({.Header = Id});
    const std::string_view Name = FLines[Id].Name();
    FSectionNames.FindOrEnter(HashOfName(Name), Id, IsNamed(Name));
}

// Enters a key, unless its section has one of its name. Keys before the first section are never read.
void TSettingsText::EnterKey(TLineId Id) const {
    const TLine& Line = FLines[Id];
    if (Line.Section == 0) return;
    FSections[Line.Section].Keys.FindOrEnter(HashOfName(Line.Name()), Id, IsNamed(Line.Name()));
}

// After lines were erased: later ones of their names may be the first now.
void TSettingsText::Reindex() {
    FLastSection.reset();
    FSections.assign(1, {.Read = true});
    FSectionNames = {};
    for (const TLineId Id : FOrder) {
        if (FLines[Id].Kind == TKind::Section) {
            EnterSection(Id);
            FSections.back().Read = true;
            continue;
        }
        FLines[Id].Section = ToOffset(FSections.size() - 1);
        if (FLines[Id].Kind == TKind::Key) EnterKey(Id);
    }
}

std::optional<std::uint32_t> TSettingsText::FindSection(std::string_view Name) const {
    const std::optional<TLineId> Id = FSectionNames.Find(HashOfName(Name), IsNamed(Name));
    return Id ? std::optional(FLines[*Id].Section) : std::nullopt;
}

std::optional<TSettingsText::TLineId> TSettingsText::FindKey(std::uint32_t Section,
                                                             std::string_view Key) const {
    ReadSection(Section);
    return FSections[Section].Keys.Find(HashOfName(Key), IsNamed(Key));
}

std::optional<TSettingsText::TLineId> TSettingsText::FindKey(std::uint32_t Section,
                                                             std::u16string_view Key) const {
    if (!IsAscii(Key)) {
        const std::optional<std::string> Name = Encoded(Key);
        return Name ? FindKey(Section, *Name) : std::nullopt;
    }
    // The same bytes in every encoding.
    ReadSection(Section);
    return FSections[Section].Keys.Find(HashOfName(Key),
                                        [this, Key](TLineId Id) { return SameName(FLines[Id].Name(), Key); });
}

std::optional<std::uint32_t> TSettingsText::SectionOf(std::u16string_view Name) const {
    if (FLastSection &&
        std::equal(Name.begin(), Name.end(), FLastSection->first.begin(), FLastSection->first.end()))
        return FLastSection->second;
    const std::optional<std::string> Encoding = Encoded(Name);
    const std::optional<std::uint32_t> Found = Encoding ? FindSection(*Encoding) : std::nullopt;
    FLastSection.emplace(Name, Found);
    return Found;
}

std::optional<TSettingsText::TLineId> TSettingsText::Find(std::u16string_view Section,
                                                          std::u16string_view Key) const {
    const std::optional<std::uint32_t> Found = SectionOf(Section);
    if (!Found) return std::nullopt;
    return FindKey(*Found, Key);
}

std::optional<std::string> TSettingsText::Encoded(std::u16string_view Text) const {
    std::string Ascii(Text.size(), '\0');
    if (NarrowAscii(Text, Ascii.data())) return Ascii;
    TConversion<std::string> Bytes =
        FEncoding == TEncoding::Ansi ? Utf16ToCodePage(Text, AnsiCodePage()) : Utf16ToUtf8Strict(Text);
    if (Bytes.Error) return std::nullopt;
    return std::move(Bytes.Text);
}

std::optional<std::u16string> TSettingsText::Decoded(std::string_view Bytes) const {
    if (FAscii) return std::optional<std::u16string>(std::in_place, Bytes.begin(), Bytes.end());
    TConversion<std::u16string> Text =
        FEncoding == TEncoding::Ansi ? CodePageToUtf16(Bytes, AnsiCodePage()) : Utf8ToUtf16Strict(Bytes);
    if (Text.Error) return std::nullopt;
    return std::move(Text.Text);
}

std::string TSettingsText::Bytes() const {
    std::string Text;
    std::size_t Size = 0;
    for (const TLineId Id : FOrder) Size += FLines[Id].Text.size();
    Text.reserve(Size);
    // Lines that lie side by side go together.
    std::string_view Run;
    for (const TLineId Id : FOrder) {
        const std::string_view Line = FLines[Id].Text;
        if (Run.data() + Run.size() == Line.data()) {
            Run = {Run.data(), Run.size() + Line.size()};
            continue;
        }
        Text += Run;
        Run = Line;
    }
    Text += Run;
    switch (FEncoding) {
    case TEncoding::Utf8:
    case TEncoding::Ansi:
        return Text;
    case TEncoding::Utf8Marked:
        return std::string(Utf8Mark) + Text;
    case TEncoding::Utf16Le:
    case TEncoding::Utf16Be:
        break;
    }
    const bool BigEndian = FEncoding == TEncoding::Utf16Be;
    std::string Units(BigEndian ? Utf16BeMark : Utf16LeMark);
    Units.reserve(2 + Text.size() * 2 + FTail.size());
    AppendUnits(Units, Text, BigEndian);
    return Units += FTail;
}

std::optional<std::u16string> TSettingsText::Read(std::u16string_view Section,
                                                  std::u16string_view Key) const {
    const std::optional<TLineId> Id = Find(Section, Key);
    return Id ? Decoded(Unquoted(FLines[*Id].Value())) : std::nullopt;
}

bool TSettingsText::HasValue(TLineId Id, std::u16string_view Value) const {
    const std::string_view Bytes = Unquoted(FLines[Id].Value());
    if (!FAscii) return Decoded(Bytes) == Value;
    return std::equal(Bytes.begin(), Bytes.end(), Value.begin(), Value.end(),
                      [](char Byte, char16_t Unit) { return static_cast<unsigned char>(Byte) == Unit; });
}

std::vector<std::u16string> TSettingsText::Sections() const {
    std::vector<std::u16string> Names;
    for (std::uint32_t Section = 1; Section < FSections.size(); ++Section) {
        const std::string_view Name = FLines[FSections[Section].Header].Name();
        if (FindSection(Name) != Section) continue;
        if (std::optional<std::u16string> Text = Decoded(Name)) Names.push_back(std::move(*Text));
    }
    return Names;
}

std::vector<std::u16string> TSettingsText::Keys(std::u16string_view Section) const {
    std::vector<std::u16string> Names;
    const std::optional<std::uint32_t> Found = SectionOf(Section);
    if (!Found) return Names;
    ReadSection(*Found);
    for (const TLineId Id : FOrder) {
        const TLine& Line = FLines[Id];
        if (Line.Kind != TKind::Key || Line.Section != *Found || FindKey(*Found, Line.Name()) != Id) continue;
        if (std::optional<std::u16string> Text = Decoded(Line.Name())) Names.push_back(std::move(*Text));
    }
    return Names;
}

// ---- changes

template <class TPredicate>
void TSettingsText::EraseLines(TPredicate Erased) {
    ReadAllSections(); // of the lines as they were loaded
    if (std::erase_if(FOrder, [this, &Erased](TLineId Id) { return Erased(FLines[Id]); }) != 0) Reindex();
}

void TSettingsText::EraseKey(std::u16string_view Section, std::u16string_view Key) {
    const std::optional<TLineId> Id = Find(Section, Key);
    if (!Id) return;
    // Later ones of the name too: they must not come to light.
    const TLine First = FLines[*Id];
    EraseLines([&First](const TLine& Line) {
        return Line.Kind == TKind::Key && Line.Section == First.Section &&
               EqualAsciiNoCase(Line.Name(), First.Name());
    });
}

void TSettingsText::EraseSection(std::u16string_view Section) {
    const std::optional<std::string> Name = Encoded(Section);
    if (!Name || !FindSection(*Name)) return;
    EraseLines([this, &Name](const TLine& Line) {
        return Line.Section != 0 && SameName(FLines[FSections[Line.Section].Header].Name(), *Name);
    });
}

void TSettingsText::Write(std::u16string_view Section, std::u16string_view Key, std::u16string_view Value) {
    if (const std::u16string Reason = SettingsRefusal(Section, Key, Value); !Reason.empty()) {
        std::u16string Message = u"Cannot keep [";
        throw TSettingsError(Message.append(Section).append(u"] ").append(Key).append(u": ").append(Reason));
    }
    const std::optional<TLineId> Present = Find(Section, Key);
    if (Present && HasValue(*Present, Value)) return;
    // A file without a mark must not turn from ASCII into something that others would have to guess.
    const bool NeedsMark =
        FEncoding == TEncoding::Utf8 && FAscii && !(IsAscii(Section) && IsAscii(Key) && IsAscii(Value));
    if (Present && !NeedsMark) {
        if (const std::optional<std::string> Text = Encoded(Value)) return SetValue(*Present, Quoted(*Text));
    }
    std::optional<std::string> SectionName = Encoded(Section), KeyName = Encoded(Key), Text = Encoded(Value);
    if (!SectionName || !KeyName || !Text || NeedsMark) {
        ToMarkedUtf8();
        SectionName = Encoded(Section);
        KeyName = Encoded(Key);
        Text = Encoded(Value);
    }
    const std::string InFile = Quoted(*Text);
    const std::optional<std::uint32_t> Known = FindSection(*SectionName);
    if (!Known) return AppendSection(*SectionName, *KeyName, InFile);
    const std::optional<TLineId> Id = FindKey(*Known, *KeyName);
    if (!Id) return InsertKey(*Known, *KeyName, InFile);
    SetValue(*Id, InFile);
}

// A text of these pieces, for a line. Many go into one string.
std::string_view TSettingsText::Kept(std::initializer_list<std::string_view> Pieces) {
    constexpr std::size_t Room = 4096;
    std::size_t Size = 0;
    for (const std::string_view Piece : Pieces) Size += Piece.size();
    if (FTexts.size() == 1 || FTexts.back().capacity() - FTexts.back().size() < Size)
        FTexts.emplace_back().reserve(std::max(Size, Room));
    std::string& Text = FTexts.back();
    const std::size_t Begin = Text.size();
    for (const std::string_view Piece : Pieces) Text += Piece;
    return std::string_view(Text).substr(Begin);
}

// `Value` in the place of the key's, as it shall stand in the file.
void TSettingsText::SetValue(TLineId Id, std::string_view Value) {
    FAscii = FAscii && IsAscii(Value);
    TLine& Line = FLines[Id];
    Line.Text = Kept({Line.Text.substr(0, Line.ValueBegin), Value, Line.Text.substr(Line.ValueEnd)});
    Line.ValueEnd = Line.ValueBegin + ToOffset(Value.size());
}

// A new line, of no section yet, and not among FOrder.
TSettingsText::TLineId TSettingsText::AddLine(std::initializer_list<std::string_view> Pieces) {
    const std::string_view Text = Kept(Pieces);
    FAscii = FAscii && IsAscii(Text);
    FLines.push_back(Parsed(Text));
    return static_cast<TLineId>(FLines.size() - 1);
}

std::string TSettingsText::NewLine() const {
    for (const TLineId Id : FOrder) {
        const std::string_view Text = FLines[Id].Text;
        if (Text.ends_with("\r\n")) return "\r\n";
        if (Text.ends_with('\n')) return "\n";
    }
    return "\r\n"; // one form for new files on every system
}

void TSettingsText::EndLastLine() {
    if (FOrder.empty()) return;
    TLine& Last = FLines[FOrder.back()];
    if (Last.Text.ends_with('\n')) return;
    Last.Text = Kept({Last.Text, NewLine()}); // its parts are where they were
}

// Behind the last line of the section that says something: comments in front of the next one stay with it.
void TSettingsText::InsertKey(std::uint32_t Section, std::string_view Key, std::string_view Value) {
    const auto Last = std::find_if(FOrder.rbegin(), FOrder.rend(), [this, Section](TLineId Id) {
        const TLine& Known = FLines[Id];
        return Known.Section == Section && Known.Kind != TKind::Blank && Known.Kind != TKind::Comment;
    });
    const auto Place = Last.base() - FOrder.begin();
    if (Last == FOrder.rbegin()) EndLastLine();
    const TLineId Id = AddLine({Key, "=", Value, NewLine()});
    FLines[Id].Section = Section;
    FOrder.insert(FOrder.begin() + Place, Id);
    EnterKey(Id);
}

void TSettingsText::AppendSection(std::string_view Name, std::string_view Key, std::string_view Value) {
    const std::string End = NewLine();
    EndLastLine();
    const TLineId Header = AddLine({"[", Name, "]", End});
    FOrder.push_back(Header);
    EnterSection(Header);
    FSections.back().Read = true;
    const TLineId Line = AddLine({Key, "=", Value, End});
    FOrder.push_back(Line);
    FLines[Line].Section = FLines[Header].Section;
    EnterKey(Line);
}

void TSettingsText::ToMarkedUtf8() {
    std::string Text;
    for (const TLineId Id : FOrder) {
        const std::optional<std::u16string> Line = Decoded(FLines[Id].Text);
        if (!Line) {
            throw TSettingsError(u"Cannot keep this text: the file's encoding lacks it, and line " +
                                 NumberText(static_cast<std::size_t>(&Id - FOrder.data()) + 1) + u" holds " +
                                 std::u16string(NoText) + u". Save the file as UTF-8 in an editor.");
        }
        Text += Utf16ToUtf8(*Line);
    }
    Load(std::string(Utf8Mark) + Text);
}

// ---- what is wrong with a file

std::vector<TSettingsFault> TSettingsText::Faults() const {
    ReadAllSections();
    std::vector<TSettingsFault> Found;
    for (std::size_t Place = 0; Place < FOrder.size(); ++Place) {
        if (const std::u16string_view Reason = FaultOf(FOrder[Place]); !Reason.empty())
            Found.push_back({Place + 1, std::u16string(Reason)});
    }
    return Found;
}

std::u16string_view TSettingsText::FaultOf(TLineId Id) const {
    const TLine& Line = FLines[Id];
    if (!Decoded(Line.Text)) return NoText;
    switch (Line.Kind) {
    case TKind::Unread:
    case TKind::Blank:
    case TKind::Comment:
        return {};
    case TKind::Unknown: {
        const std::size_t Begin = Line.Text.find_first_not_of(" \t");
        return Line.Text[Begin] == '[' ? OpenSection : Line.Text[Begin] == '=' ? EmptyKey : NoKey;
    }
    case TKind::Section:
        return FSections[*FindSection(Line.Name())].Header == Id ? std::u16string_view() : SecondSection;
    case TKind::Key:
        break;
    }
    if (Line.Section == 0) return NoSection;
    if (FindKey(Line.Section, Line.Name()) != Id) return SecondKey;
    return {};
}

std::u16string_view TSettingsText::Damage() const {
    if (!FTail.empty()) return u"it ends within a character";
    const bool HasNul = FTexts.front().find('\0') != std::string::npos;
    return HasNul ? std::u16string_view(u"it holds NUL characters") : std::u16string_view();
}

} // namespace zutools::platform
