// The text of a settings file, kept line by line: changing one key changes only its own bytes.
//
//     ; comment            lines are kept as they are: comments, blanks, order, spacing, line ends,
//     [Section]            lines that are nothing of these, and later sections and keys of a name that is
//     taken: Key = "a value "     the first wins. One pair of equal quotes around a value is not part of it.
//
// The bytes are UTF-16 (mark FF FE or FE FF), UTF-8 (mark EF BB BF, or none when they are well-formed UTF-8),
// or else 8-bit text of the user's code page.

#pragma once

#include "platform/NameTable.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zutools::platform {

/// A line of a settings file that says nothing, and why.
struct TSettingsFault {
    std::size_t Line = 0; // 1-based
    std::u16string Reason;
};

class TSettingsText {
public:
    /// Takes any bytes.
    explicit TSettingsText(std::string Bytes = {});
    TSettingsText(TSettingsText&&) noexcept = default;
    TSettingsText& operator=(TSettingsText&&) noexcept = default;

    /// The bytes of the file: those it was made of, but for what was changed.
    [[nodiscard]] std::string Bytes() const;

    /// As those of TSettings.
    [[nodiscard]] std::optional<std::u16string> Read(std::u16string_view Section,
                                                     std::u16string_view Key) const;
    [[nodiscard]] std::vector<std::u16string> Sections() const;
    [[nodiscard]] std::vector<std::u16string> Keys(std::u16string_view Section) const;
    void EraseKey(std::u16string_view Section, std::u16string_view Key);
    void EraseSection(std::u16string_view Section);

    /// Sets a value. Nothing changes when it is there already. Text that the file's encoding lacks turns the
    /// whole file into UTF-8 with a mark.
    /// @throws TSettingsError as TSettings::Write, and when such a file holds bytes that are no text.
    void Write(std::u16string_view Section, std::u16string_view Key, std::u16string_view Value);

    /// Every line that is not blank and says nothing: in file order.
    [[nodiscard]] std::vector<TSettingsFault> Faults() const;

    /// Why the bytes that it was made of were not left by a whole save (NUL characters, half a character);
    /// empty when they may be good.
    [[nodiscard]] std::u16string_view Damage() const;

private:
    enum class TEncoding : std::uint8_t { Ansi, Utf8, Utf8Marked, Utf16Le, Utf16Be };
    enum class TKind : std::uint8_t { Unread, Blank, Comment, Section, Key, Unknown };
    // Offsets are within `Text`. A section has a name, a key has both.
    struct TLine {
        std::string_view Text; // with its line end; in FTexts
        std::uint32_t NameBegin = 0, NameEnd = 0, ValueBegin = 0, ValueEnd = 0;
        std::uint32_t Section = 0; // in FSections; 0 stands for the lines before the first
        TKind Kind = TKind::Blank;
        [[nodiscard]] std::string_view Name() const { return Text.substr(NameBegin, NameEnd - NameBegin); }
        [[nodiscard]] std::string_view Value() const {
            return Text.substr(ValueBegin, ValueEnd - ValueBegin);
        }
    };
    using TLineId = std::uint32_t;
    struct TSection {
        TLineId Header = 0;
        bool Read = false; // whether its lines are, and its keys among `Keys`
        TNameTable Keys{}; // the first line of each key
    };

    void Load(std::string Bytes);
    void Parse();
    [[nodiscard]] static TLine Parsed(std::string_view Text);
    void ReadSection(std::uint32_t Section) const;
    void ReadAllSections() const;
    void EnterSection(TLineId Id);
    void EnterKey(TLineId Id) const;
    void Reindex();
    [[nodiscard]] std::optional<std::uint32_t> FindSection(std::string_view Name) const;
    [[nodiscard]] std::optional<std::uint32_t> SectionOf(std::u16string_view Name) const;
    [[nodiscard]] std::optional<TLineId> FindKey(std::uint32_t Section, std::string_view Key) const;
    [[nodiscard]] std::optional<TLineId> FindKey(std::uint32_t Section, std::u16string_view Key) const;
    [[nodiscard]] std::optional<TLineId> Find(std::u16string_view Section, std::u16string_view Key) const;
    [[nodiscard]] auto IsNamed(std::string_view Name) const {
        return [this, Name](TLineId Id) { return SameName(FLines[Id].Name(), Name); };
    }
    [[nodiscard]] bool HasValue(TLineId Id, std::u16string_view Value) const;
    [[nodiscard]] std::optional<std::string> Encoded(std::u16string_view Text) const;
    [[nodiscard]] std::optional<std::u16string> Decoded(std::string_view Bytes) const;
    [[nodiscard]] std::string NewLine() const;
    [[nodiscard]] std::u16string_view FaultOf(TLineId Id) const;
    void ToMarkedUtf8();
    void EndLastLine();
    void SetValue(TLineId Id, std::string_view Value);
    [[nodiscard]] std::string_view Kept(std::initializer_list<std::string_view> Pieces);
    TLineId AddLine(std::initializer_list<std::string_view> Pieces);
    void InsertKey(std::uint32_t Section, std::string_view Key, std::string_view Value);
    void AppendSection(std::string_view Name, std::string_view Key, std::string_view Value);
    template <class TPredicate>
    void EraseLines(TPredicate Erased);

    // The text as it was loaded, without the mark (UTF-16 as UTF-8 that may hold lone surrogates), and behind
    // it the texts of changed lines. A deque of strings that never grow beyond their room: lines look into
    // them.
    std::deque<std::string> FTexts;
    // A section's lines are read when somebody asks for one of its keys: a form asks for one section.
    mutable std::vector<TLine> FLines;       // by id; erased ones stay
    std::vector<TLineId> FOrder;             // the lines of the file
    TLineId FLoaded = 0;                     // that many were loaded, in order; the others were added
    mutable std::vector<TSection> FSections; // the first stands for the lines before any
    TNameTable FSectionNames;                // the header of the first section of each name
    // The section that was asked for last: a form asks for one only. None when sections may have changed.
    mutable std::optional<std::pair<std::u16string, std::optional<std::uint32_t>>> FLastSection;
    std::string FTail; // half a UTF-16 unit at the end
    TEncoding FEncoding = TEncoding::Utf8;
    bool FAscii = true; // no character above U+007F so far
};

} // namespace zutools::platform
