// TParsedTemplate: one text, parsed once into parts, literal pieces and tag names, and shared by every copy.
//
// TTemplate holds one and adds values; the cache keeps them. Immutable after Parse, so any number of threads
// may read it. Everything is flat: pieces and names are ranges of the text, parts stand in one array in the
// order in which they open, so that nesting of any depth is parsed, copied and freed without recursion.

#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zutools {

class TLogger;

/// Column and line, both counted from 0.
struct TCaret {
    int X = 0;
    int Y = 0;
};

/// The carets that a template tells about its text.
struct TPlaces {
    TCaret Begin; // where the last part opened; where parsing started when there is none
    TCaret End;   // where that part had been parsed, or the text ended (after reading a file)
    TCaret Caret; // the running caret
};

class TParsedTemplate {
public:
    static constexpr std::uint32_t NoSlot = UINT32_MAX;

    /// A run of literal text and the tag after it.
    struct TPiece {
        const char16_t* Begin; // of the literal, in the text
        std::uint32_t Length;
        std::uint32_t Slot; // of the tag; NoSlot when a part or the end follows

        [[nodiscard]] std::u16string_view Literal() const { return {Begin, Length}; }
    };
    enum class TFault : std::uint8_t { None, UnclosedTag, UnclosedPart };
    struct TPart {
        std::u16string_view Name;     // as written; empty for the root
        std::uint32_t FirstIdent = 0; // the name in upper case, in the text of all identifiers
        std::uint32_t IdentLength = 0;
        std::uint32_t Start = 0;  // the stretch of text that was parsed for this part, closing mark included
        std::uint32_t Finish = 0; // one past its end
        std::uint32_t FirstPiece = 0;
        std::uint32_t PieceCount = 0;
        std::uint32_t FirstSlot = 0; // slots of a part are numbered from 0
        std::uint32_t SlotCount = 0;
        std::uint32_t FirstChild = 0;
        std::uint32_t ChildCount = 0;
        std::uint32_t BodyLength = 0;
        std::uint32_t TagCount = 0; // places of tags; SlotCount when no tag stands twice
        TFault Fault = TFault::None;
        bool Simple = true; // hashes tell its tag names apart; the collator is not needed
    };

    /// Where a text comes from, and what the template that parses it passes on to the parts.
    struct TOrigin {
        std::u16string Name; // of the template; empty for a text that was not read from a file
        std::u16string LanguageID;
        bool RaiseException = false;
        bool FromFile = false;
        bool IsPart = false; // the root was given a part name, so its closing mark must come
        TPlaces Before{};    // the carets of that template
    };

    /// Parses `Text` from the 0-based `Start`.
    /// @throws ETemplate when the text has 2^31 - 2 characters or more: positions are 32-bit.
    [[nodiscard]] static std::shared_ptr<const TParsedTemplate> Parse(std::u16string Text, std::size_t Start,
                                                                      TOrigin Origin);
    /// The text that a template has before it is given one. One for all, without a counter.
    [[nodiscard]] static std::shared_ptr<const TParsedTemplate> Empty();

    [[nodiscard]] const std::u16string& Text() const { return FText; }
    [[nodiscard]] const TOrigin& Origin() const { return FOrigin; }
    [[nodiscard]] const TPart& Root() const { return FParts.front(); }
    /// All parts in the order in which they open, the root first.
    [[nodiscard]] std::span<const TPart> Parts() const { return FParts; }
    [[nodiscard]] std::span<const TPiece> Pieces(const TPart& Part) const {
        return std::span(FPieces).subspan(Part.FirstPiece, Part.PieceCount);
    }
    /// The part whose missing mark was noticed first; null when nothing is missing.
    [[nodiscard]] const TPart* FirstFault() const { return FFirstFault; }
    /// Whether the fault, when there is one, was raised.
    [[nodiscard]] bool Raised() const { return FFirstFault != nullptr && FOrigin.RaiseException; }
    /// Direct part `Index` in text order, from 0.
    [[nodiscard]] const TPart& Child(const TPart& Part, std::size_t Index) const {
        return FParts[FChildren[Part.FirstChild + Index]];
    }
    [[nodiscard]] std::u16string_view PartIdent(const TPart& Part) const {
        return std::u16string_view(FIdents).substr(Part.FirstIdent, Part.IdentLength);
    }
    /// The distinct tag names by slot, each spelled as it occurs first.
    [[nodiscard]] std::span<const std::u16string_view> Names(const TPart& Part) const {
        return std::span(FNames).subspan(Part.FirstSlot, Part.SlotCount);
    }

    /// The slot of a tag name, ignoring case by the user's collation; NoSlot when the part has no such tag.
    [[nodiscard]] std::uint32_t FindSlot(const TPart& Part, std::u16string_view Name) const;
    /// The slots in the sorted order of their names.
    [[nodiscard]] std::span<const std::uint32_t> SortedSlots(const TPart& Part) const;

private:
    class TParser;
    struct TIndexEntry {
        std::uint64_t Hash = 0;
        std::uint32_t Part = 0;
        std::uint32_t Slot = NoSlot;
    };

    [[nodiscard]] std::uint32_t IndexOf(const TPart& Part) const {
        return static_cast<std::uint32_t>(&Part - FParts.data());
    }
    /// The index entry of a folded name in a part, or the empty entry where it would stand.
    template <class TSame>
    [[nodiscard]] const TIndexEntry& Probe(std::uint32_t Part, std::uint64_t Hash, TSame Same) const;

    std::u16string FText;
    TOrigin FOrigin;
    const TPart* FFirstFault = nullptr;
    std::u16string FIdents;
    std::vector<TPart> FParts;
    std::vector<TPiece> FPieces;
    std::vector<std::u16string_view> FNames;
    std::vector<std::uint32_t> FChildren;
    std::vector<TIndexEntry> FIndex; // open addressing over the folded names of all parts; a power of two

    mutable std::once_flag FSortOnce;
    mutable std::vector<std::uint32_t>
        FSorted; // the slots of all parts; made when somebody asks for the order
};

/// What a template is made of: a parsed text, or one part of it.
struct TTextStretch {
    std::shared_ptr<const TParsedTemplate> Parsed = TParsedTemplate::Empty(); // never null
    const TParsedTemplate::TPart* Part = &Parsed->Root();

    [[nodiscard]] std::span<const TParsedTemplate::TPiece> Pieces() const { return Parsed->Pieces(*Part); }
    [[nodiscard]] std::span<const std::u16string_view> Names() const { return Parsed->Names(*Part); }
};

/// The identifier of a part: its name in upper case, character by character, so that it keeps its length and
/// "Straße" stays another name than "Strasse".
[[nodiscard]] std::u16string PartIdentOf(std::u16string_view Name);

/// A part name that somebody asks for, in any letter case.
class TPartName {
public:
    explicit TPartName(std::u16string_view Name)
        : FName(Name)
        , FIdent(PartIdentOf(Name)) {}
    [[nodiscard]] bool IsOf(std::u16string_view Ident) const;

private:
    std::u16string_view FName;
    std::u16string FIdent;
};

/// Tells the log, as errors, every mark that the text of a file lacks: its pages are cut short there.
void LogFaults(const TParsedTemplate& Text, std::u16string_view TemplateName, TLogger& Logger);

/// What is wrong with a text, as templates tell it. `PartName` as written.
[[nodiscard]] std::u16string FaultText(TParsedTemplate::TFault Fault, std::u16string_view PartName,
                                       std::u16string_view TemplateName);

} // namespace zutools
