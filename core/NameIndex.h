// The index that the lists sorted by name keep beside their order, and the name type that keeps it honest.
//
// Internal to the sorted lists; item classes show TZUItemName as their public name field.

#pragma once

#include "core/NameMatch.h"

#include <atomic>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zutools {

class TObject;
class TNameIndex;
class TZUItemName;

/// What a name is compared with and added to: any text but another name.
template <class T>
concept TNameOperand = std::convertible_to<const T&, std::u16string_view> && !std::same_as<T, TZUItemName>;

/// The name of a list item. A constant text for its readers: compared, added, given to Format and to variants
/// like one. Written like a text too; when the item stands in a list at that moment and the new text is
/// another one, the list is told that its order may no longer hold, and looks names up by the order alone
/// until it has looked the order through.
class TZUItemName {
public:
    TZUItemName() = default;
    TZUItemName(std::u16string Text)
        : FText(std::move(Text)) {}
    TZUItemName(const TZUItemName& Other)
        : FText(Other.FText) {}
    ~TZUItemName() = default;

    TZUItemName& operator=(std::u16string_view Text);
    TZUItemName& operator=(const std::u16string& Text) { return *this = std::u16string_view(Text); }
    TZUItemName& operator=(const char16_t* Text) { return *this = std::u16string_view(Text); }
    TZUItemName& operator=(const TZUItemName& Other) { return *this = std::u16string_view(Other.FText); }

    operator const std::u16string&() const { return FText; }
    operator std::u16string_view() const { return FText; }
    [[nodiscard]] const std::u16string& Text() const { return FText; }
    [[nodiscard]] bool empty() const { return FText.empty(); }
    [[nodiscard]] std::size_t size() const { return FText.size(); }

    friend bool operator==(const TZUItemName& Left, const TZUItemName& Right) {
        return Left.FText == Right.FText;
    }
    friend bool operator==(const TZUItemName& Left, const TNameOperand auto& Right) {
        return Left.FText == std::u16string_view(Right);
    }
    friend auto operator<=>(const TZUItemName& Left, const TZUItemName& Right) {
        return Left.FText <=> Right.FText;
    }
    friend auto operator<=>(const TZUItemName& Left, const TNameOperand auto& Right) {
        return std::u16string_view(Left.FText) <=> std::u16string_view(Right);
    }
    friend std::u16string operator+(const TZUItemName& Left, const TZUItemName& Right) {
        return Left.FText + Right.FText;
    }
    friend std::u16string operator+(const TZUItemName& Left, const TNameOperand auto& Right) {
        return std::u16string(Left.FText).append(Right);
    }
    friend std::u16string operator+(const TNameOperand auto& Left, const TZUItemName& Right) {
        return std::u16string(Left).append(Right.FText);
    }
    friend std::u16string operator+(const TZUItemName& Left, char16_t Right) { return Left.FText + Right; }
    friend std::u16string operator+(char16_t Left, const TZUItemName& Right) { return Left + Right.FText; }

private:
    friend class TNameIndex;

    std::u16string FText;
    TNameIndex* FIndex = nullptr; // of the list that holds the item
    TObject* FItem = nullptr;     // the item that this is the name of, while it is listed
    std::uint64_t FHash = 0;
    bool FSimple = true;
    mutable std::atomic<int> FPosition{-1}; // where the item was last seen; checked before it is believed
};

/// Items by name. Up to `Few` names stand in the order of the list and are looked through by their hashes; a
/// table is made of more than that. Filled and emptied with the list; looking up changes
/// nothing but the remembered positions, so that several threads may look up at once.
class TNameIndex {
public:
    TNameIndex() = default;
    TNameIndex(const TNameIndex&) = delete;
    TNameIndex& operator=(const TNameIndex&) = delete;
    ~TNameIndex() = default;

    static constexpr std::size_t Few = 64;

    /// True while the index answers for its list: it holds every item, and their names rise strictly under
    /// `Match`.
    [[nodiscard]] bool ValidFor(const TNameMatch& Match) const { return FMatch == &Match; }
    /// The same for the user's match of that kind, without asking for it.
    [[nodiscard]] bool ValidFor(bool CaseSensitive) const {
        return FMatch != nullptr && FMatch->CaseSensitive() == CaseSensitive;
    }
    /// While valid.
    [[nodiscard]] const TNameMatch& Match() const { return *FMatch; }
    /// Empty and valid.
    void Reset(const TNameMatch& Match);
    /// The order is not known to hold any more: answers nothing until Reset.
    void Invalidate() { FMatch = nullptr; }

    /// While valid: the hash of a name that is looked up or entered.
    [[nodiscard]] TNameMatch::THash Hash(std::u16string_view Name) const { return FMatch->Hash(Name); }
    /// While valid. False when another list has the item too: then this one cannot be told of changes to its
    /// name.
    [[nodiscard]] bool Enter(TZUItemName& Name, TObject& Item, int Position, TNameMatch::THash Hash);
    /// Takes out a name that stood at `Position`.
    void Leave(TZUItemName& Name, int Position);

    enum class TAnswer : std::uint8_t { Found, Absent, AskTheOrder };
    struct TFound {
        TAnswer Answer = TAnswer::AskTheOrder;
        const TZUItemName* Name = nullptr; // when found
        int Position = -1;                 // when found and known
    };
    /// While valid.
    [[nodiscard]] TFound Find(std::u16string_view Name, TNameMatch::THash Hash) const {
        return !FTable ? FindAmongFew(Name, Hash) : FindInTable(Name, Hash);
    }

    /// While valid: the name at a position, without asking its item; null when there are more than a few.
    [[nodiscard]] const TZUItemName* NameAt(int Position) const {
        return FTable ? nullptr : FSlots[static_cast<std::size_t>(Position)].Name;
    }
    [[nodiscard]] static TObject* ItemOf(const TZUItemName& Name) { return Name.FItem; }
    /// Where the item was last seen: for the caller to check.
    [[nodiscard]] static int PositionOf(const TZUItemName& Name) {
        return Name.FPosition.load(std::memory_order_relaxed);
    }
    static void RememberPosition(const TZUItemName& Name, int Position) {
        Name.FPosition.store(Position, std::memory_order_relaxed);
    }

private:
    struct TSlot {
        std::uint64_t Hash = 0;
        TZUItemName* Name = nullptr; // null: free
    };
    [[nodiscard]] TFound FindAmongFew(std::u16string_view Name, TNameMatch::THash Hash) const;
    [[nodiscard]] TFound FindInTable(std::u16string_view Name, TNameMatch::THash Hash) const;
    [[nodiscard]] bool Is(const TSlot& Slot, std::u16string_view Name, TNameMatch::THash Hash) const;
    void Grow();
    void Place(TSlot Slot);
    [[nodiscard]] std::size_t Next(std::size_t Slot) const { return (Slot + 1) & (FSlots.size() - 1); }
    [[nodiscard]] std::size_t Home(std::uint64_t Hash) const { return Hash & (FSlots.size() - 1); }

    const TNameMatch* FMatch = nullptr; // null: not valid
    // Few names: one slot each in the order of the list. A table: a power of two of slots, a quarter to half
    // full, probed in steps of one.
    std::vector<TSlot> FSlots;
    bool FTable = false;
    // Few names: a bit for each hash that came in, so that most misses look no further.
    std::uint64_t FMarks = 0;
    std::size_t FUsed = 0;    // names in the table
    std::size_t FComplex = 0; // names about which only the collator decides
};

} // namespace zutools
