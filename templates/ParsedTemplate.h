// TParsedTemplate: one text, parsed once into parts, literal pieces and tag names, and shared by every copy.
//
// TTemplate holds one and adds values; nobody else needs it. Immutable after Parse, so any number of threads
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

/// A caret of the parser: column and line, both counted from 0. Informative only.
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
        std::uint32_t Begin; // of the literal, in the text
        std::uint32_t Length;
        std::uint32_t Slot; // of the tag; NoSlot when a part or the end follows
    };
    /// A distinct tag name, spelled as it occurs first.
    struct TName {
        std::uint32_t Begin;
        std::uint32_t Length;
    };
    enum class TFault : std::uint8_t { None, UnclosedTag, UnclosedPart };
    struct TPart {
        TName Name{};             // as written; empty for the root
        TName Ident{};            // the name in upper case, a range of the identifiers' text
        std::uint32_t Start = 0;  // the stretch of text that was parsed for this part, closing mark included
        std::uint32_t Finish = 0; // one past its end
        std::uint32_t FirstPiece = 0;
        std::uint32_t PieceCount = 0;
        std::uint32_t FirstSlot = 0; // slots of a part are numbered from 0
        std::uint32_t SlotCount = 0;
        std::uint32_t FirstChild = 0;
        std::uint32_t ChildCount = 0;
        std::uint32_t BodyLength = 0;
        TFault Fault = TFault::None;
        bool Simple = true; // hashes tell its tag names apart; the collator is not needed
    };

    /// What the template that parses passes on to the parts, and the state of its carets before.
    struct TOrigin {
        std::u16string LanguageID;
        bool RaiseException = false;
        bool FromFile = false;
        bool IsPart = false; // the root was given a part name, so its closing mark must come
        TPlaces Before;
    };

    /// Parses `Text` from the 0-based `Start`. The root is part 0.
    /// @throws ETemplate when the text has 2^31 - 2 characters or more: positions are 32-bit.
    [[nodiscard]] static std::shared_ptr<const TParsedTemplate> Parse(std::u16string Text, std::size_t Start,
                                                                      TOrigin Origin);

    [[nodiscard]] const std::u16string& Text() const { return FText; }
    [[nodiscard]] const TOrigin& Origin() const { return FOrigin; }
    [[nodiscard]] const TPart& Part(std::uint32_t Index) const { return FParts[Index]; }
    [[nodiscard]] std::span<const TPiece> Pieces(const TPart& Part) const {
        return std::span(FPieces).subspan(Part.FirstPiece, Part.PieceCount);
    }
    /// The part whose missing mark was noticed first; null when nothing is missing.
    [[nodiscard]] const TPart* FirstFault() const { return FFirstFault; }
    /// Whether the fault, when there is one, was raised.
    [[nodiscard]] bool Raised() const { return FFirstFault != nullptr && FOrigin.RaiseException; }
    /// Indices of the direct parts in text order.
    [[nodiscard]] std::span<const std::uint32_t> Children(const TPart& Part) const {
        return std::span(FChildren).subspan(Part.FirstChild, Part.ChildCount);
    }
    [[nodiscard]] std::u16string_view PartName(const TPart& Part) const { return View(Part.Name); }
    [[nodiscard]] std::u16string_view PartIdent(const TPart& Part) const {
        return std::u16string_view(FIdents).substr(Part.Ident.Begin, Part.Ident.Length);
    }
    [[nodiscard]] std::u16string_view SlotName(const TPart& Part, std::uint32_t Slot) const {
        return View(FNames[Part.FirstSlot + Slot]);
    }

    /// The slot of a tag name, ignoring case by the user's collation; NoSlot when the part has no such tag.
    [[nodiscard]] std::uint32_t FindSlot(std::uint32_t Part, std::u16string_view Name) const;
    /// The slots in the sorted order of their names.
    [[nodiscard]] std::span<const std::uint32_t> SortedSlots(const TPart& Part) const;
    /// The carets after parsing; walks the part's text, so it is asked only when somebody wants to know.
    [[nodiscard]] TPlaces Places(std::uint32_t Part) const;

private:
    class TParser;
    struct TIndexEntry {
        std::uint64_t Hash = 0;
        std::uint32_t Part = 0;
        std::uint32_t Slot = NoSlot;
    };

    [[nodiscard]] std::u16string_view View(TName Range) const {
        return {FText.data() + Range.Begin, Range.Length};
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
    std::vector<TName> FNames;
    std::vector<std::uint32_t> FChildren;
    std::vector<TIndexEntry> FIndex; // open addressing over the folded names of all parts; a power of two

    mutable std::once_flag FSortOnce;
    mutable std::vector<std::uint32_t>
        FSorted; // parallel to FNames; made when an index first asks for the order
};

} // namespace zutools
