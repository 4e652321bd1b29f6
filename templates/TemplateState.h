// What stands behind a TTemplate: a stretch of a parsed text that all copies share, and beside it the values,
// the parts and the carets of this one.

#pragma once

#include "host/StringHelpers.h"
#include "templates/Carets.h"
#include "templates/Ltemplt.h"
#include "templates/ParsedTemplate.h"
#include "templates/TagValues.h"

#include <optional>
#include <utility>
#include <variant>

namespace zutools {

/// The values of the tags of a parsed text, which does not change.
struct TSlots {
    explicit TSlots(std::span<const std::u16string_view> Names_)
        : Names(Names_)
        , Values(Names_.size()) {}

    std::span<const std::u16string_view> Names; // of the text, by slot
    TTagValues Values;
    mutable std::uint32_t Next = 0; // callers set the tags in the same order time after time

    /// The slot whose turn it is, when its name is spelled so; else NoSlot.
    [[nodiscard]] std::uint32_t FindNext(std::u16string_view Name) const {
        const std::uint32_t Slot = Next;
        if (Slot >= Names.size() || !SameUnits(Names[Slot], Name)) return TParsedTemplate::NoSlot;
        Next = Slot + 1 == Names.size() ? 0 : Slot + 1;
        return Slot;
    }
};

/// Body and tags once somebody asked for the tags as lists, which he may change.
struct TLoose {
    std::u16string Body;
    TTags Tags;
};

struct TTemplate::TState {
    /// A part of the text that nobody has asked for yet, or a part that was made.
    using TPartSlot = std::variant<const TParsedTemplate::TPart*, std::unique_ptr<TTemplate>>;
    using TPartSlots = std::vector<TPartSlot>;

    explicit TState(const std::optional<TTemplateEnvironment>& Environment_)
        : Environment(Environment_) {}

    std::optional<TTemplateEnvironment> Environment; // none: the process-wide objects
    // Those of the text, which most templates share, until this one is given others.
    std::optional<std::u16string> OwnName;
    std::optional<std::u16string> OwnLanguageID;
    std::u16string IdentName;
    std::u16string LastError;
    bool RaiseException = false;
    TTextStretch Text;
    std::variant<TSlots, std::unique_ptr<TLoose>> Content{TSlots({})};
    TPartSlots Parts;
    TCarets Carets;

    /// The file name; empty for parts and loose texts.
    [[nodiscard]] const std::u16string& Name() const {
        return OwnName ? *OwnName : Text.Parsed->Origin().Name;
    }
    [[nodiscard]] const std::u16string& LanguageID() const {
        return OwnLanguageID ? *OwnLanguageID : Text.Parsed->Origin().LanguageID;
    }
    [[nodiscard]] TZTSTemplateCache* Cache() const;
    [[nodiscard]] const TServices& Services() const;

    /// Null while the lists count, and the other way round.
    [[nodiscard]] const TSlots* Slots() const { return std::get_if<TSlots>(&Content); }
    [[nodiscard]] TSlots* Slots() { return std::get_if<TSlots>(&Content); }
    [[nodiscard]] const TLoose* Loose() const {
        const auto* const Found = std::get_if<std::unique_ptr<TLoose>>(&Content);
        return Found != nullptr ? Found->get() : nullptr;
    }
    [[nodiscard]] TLoose* Loose() { return const_cast<TLoose*>(std::as_const(*this).Loose()); }
    /// Leaves the parsed text: body and tags become lists that may change.
    TLoose& Loosen();

    [[nodiscard]] std::uint32_t FindSlot(const TSlots& Slots, std::u16string_view TagName) const {
        const std::uint32_t Slot = Slots.FindNext(TagName);
        return Slot != TParsedTemplate::NoSlot ? Slot : FindSlotByHash(Slots, TagName);
    }
    [[nodiscard]] std::uint32_t FindSlotByHash(const TSlots& Slots, std::u16string_view TagName) const;

    /// Gives a value to a tag whose turn it is not, or to an entry of the lists; nothing for an unknown name.
    [[gnu::noinline]] void SetOutOfTurn(std::u16string_view TagName, std::u16string_view TagValue);

    /// Takes a text with empty values; its parts are appended, not yet made.
    void TakeText(TTextStretch NewText);
    /// The same with the name and the language that the text has.
    void TakeNamedText(std::shared_ptr<const TParsedTemplate> Parsed);
    void Parse(std::u16string NewText, std::size_t Start, std::u16string_view PartName, bool FromFile);
    /// Before the text goes and parts stay: these, and the carets, are told by it for the last time.
    void Settle();
    /// Everything of another template but its parts and its values.
    void CopyWithoutParts(const TState& Source);

    [[nodiscard]] std::u16string_view IdentOfPart(const TPartSlot& Slot) const;
    TTemplate& MakePart(std::size_t Index);
    [[nodiscard]] TPartSlots CopyParts() const;
    static void FreeParts(TPartSlots Parts);
};

} // namespace zutools
