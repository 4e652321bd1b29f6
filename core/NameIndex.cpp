#include "core/NameIndex.h"

#include "host/StringHelpers.h"

#include <cstddef>

namespace zutools {

namespace {

constexpr std::size_t SmallTable = 256; // slots

std::uint64_t MarkOf(std::uint64_t Hash) {
    return std::uint64_t{1} << (Hash >> 58);
}
} // namespace

TZUItemName& TZUItemName::operator=(std::u16string_view Text) {
    if (FText == Text) return *this;
    if (FIndex != nullptr) FIndex->Invalidate();
    FText = Text;
    return *this;
}

void TNameIndex::Reset(const TNameMatch& Match) {
    FSlots.clear();
    FTable = false;
    FMarks = 0;
    FUsed = 0;
    FComplex = 0;
    FMatch = &Match;
}

bool TNameIndex::Enter(TZUItemName& Name, TObject& Item, int Position, TNameMatch::THash Hash) {
    if (Name.FIndex != nullptr && Name.FIndex != this) return false;
    if (!FTable && FSlots.size() < Few) {
        if (FSlots.empty()) FSlots.reserve(16);
        FSlots.insert(FSlots.begin() + Position, {Hash.Value, &Name});
        FMarks |= MarkOf(Hash.Value);
    } else {
        // Small tables are kept emptier: they cost little, and a probe too many is much of a short look-up.
        if (!FTable || (FUsed + 1) * (FSlots.size() <= SmallTable ? 4 : 2) > FSlots.size()) Grow();
        Place({Hash.Value, &Name});
        ++FUsed;
    }
    Name.FIndex = this;
    Name.FItem = &Item;
    Name.FHash = Hash.Value;
    Name.FSimple = Hash.Simple;
    RememberPosition(Name, Position);
    if (!Hash.Simple) ++FComplex;
    return true;
}

void TNameIndex::Place(TSlot Slot) {
    std::size_t At = Home(Slot.Hash);
    while (FSlots[At].Name != nullptr) At = Next(At);
    FSlots[At] = Slot;
}

void TNameIndex::Grow() {
    std::vector<TSlot> Old(FTable ? FSlots.size() * 2 : Few * 8);
    Old.swap(FSlots);
    if (!FTable) FUsed = Old.size();
    FTable = true;
    for (const TSlot& Slot : Old)
        if (Slot.Name != nullptr) Place(Slot);
}

void TNameIndex::Leave(TZUItemName& Name, int Position) {
    if (Name.FIndex != this) return;
    Name.FIndex = nullptr;
    Name.FItem = nullptr;
    if (FMatch == nullptr) return;
    if (!Name.FSimple) --FComplex;
    if (!FTable) {
        FSlots.erase(FSlots.begin() + Position);
        return;
    }

    std::size_t Hole = Home(Name.FHash);
    while (FSlots[Hole].Name != &Name) Hole = Next(Hole);
    // What follows moves up, unless the hole lies before its home.
    for (std::size_t At = Next(Hole); FSlots[At].Name != nullptr; At = Next(At)) {
        const std::size_t Mask = FSlots.size() - 1;
        if (((At - Home(FSlots[At].Hash)) & Mask) < ((At - Hole) & Mask)) continue;
        FSlots[Hole] = FSlots[At];
        Hole = At;
    }
    FSlots[Hole] = TSlot{};
    --FUsed;
}

// Complex names spelled alike are the same; spelled differently they may be too, which the order tells.
inline bool TNameIndex::Is(const TSlot& Slot, std::u16string_view Name, TNameMatch::THash Hash) const {
    const TZUItemName& Candidate = *Slot.Name;
    return Candidate.FSimple == Hash.Simple &&
           (SameUnits(Candidate.FText, Name) || (Hash.Simple && FMatch->SameSimple(Candidate.FText, Name)));
}

TNameIndex::TFound TNameIndex::FindAmongFew(std::u16string_view Name, TNameMatch::THash Hash) const {
    if ((FMarks & MarkOf(Hash.Value)) != 0)
        for (const TSlot& Slot : FSlots)
            if (Slot.Hash == Hash.Value && Is(Slot, Name, Hash))
                return {TAnswer::Found, Slot.Name, static_cast<int>(&Slot - FSlots.data())};
    return {Hash.Simple && FComplex == 0 ? TAnswer::Absent : TAnswer::AskTheOrder};
}

TNameIndex::TFound TNameIndex::FindInTable(std::u16string_view Name, TNameMatch::THash Hash) const {
    for (std::size_t At = Home(Hash.Value); FSlots[At].Name != nullptr; At = Next(At))
        if (FSlots[At].Hash == Hash.Value && Is(FSlots[At], Name, Hash))
            return {TAnswer::Found, FSlots[At].Name};
    return {Hash.Simple && FComplex == 0 ? TAnswer::Absent : TAnswer::AskTheOrder};
}

} // namespace zutools
