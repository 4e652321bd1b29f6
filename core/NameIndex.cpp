#include "core/NameIndex.h"

#include "host/StringHelpers.h"

namespace zutools {

namespace {
constexpr std::size_t SmallTable = 256; // slots
} // namespace

TZUItemName& TZUItemName::operator=(std::u16string Text) {
    if (FIndex != nullptr) FIndex->Invalidate();
    FText = std::move(Text);
    return *this;
}

void TNameIndex::Reset(const TNameMatch& Match) {
    for (TSlot& Slot : FSlots) Slot = TSlot{};
    FUsed = 0;
    FComplex = 0;
    FMatch = &Match;
}

bool TNameIndex::Enter(TZUItemName& Name, TObject& Item, int Position) {
    if (Name.FIndex != nullptr && Name.FIndex != this) return false;
    // Small tables are kept emptier: they cost little, and a probe too many is much of a short look-up.
    if ((FUsed + 1) * (FSlots.size() <= SmallTable ? 4 : 2) > FSlots.size()) Grow();
    const TNameMatch::THash Hash = FMatch->Hash(Name.FText);
    Name.FIndex = this;
    Name.FItem = &Item;
    Name.FHash = Hash.Value;
    Name.FSimple = Hash.Simple;
    RememberPosition(Name, Position);
    Place({Hash.Value, &Name});
    ++FUsed;
    if (!Hash.Simple) ++FComplex;
    return true;
}

void TNameIndex::Place(TSlot Slot) {
    std::size_t At = Home(Slot.Hash);
    while (FSlots[At].Name != nullptr) At = Next(At);
    FSlots[At] = Slot;
}

void TNameIndex::Grow() {
    std::vector<TSlot> Old(FSlots.empty() ? 16 : FSlots.size() * 2);
    Old.swap(FSlots);
    for (const TSlot& Slot : Old)
        if (Slot.Name != nullptr) Place(Slot);
}

void TNameIndex::Leave(TZUItemName& Name) {
    if (Name.FIndex != this) return;
    Name.FIndex = nullptr;
    Name.FItem = nullptr;
    if (FMatch == nullptr) return;

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
    if (!Name.FSimple) --FComplex;
}

TNameIndex::TFound TNameIndex::Find(std::u16string_view Name) const {
    if (FUsed == 0) return {TAnswer::Absent};
    const TNameMatch::THash Hash = FMatch->Hash(Name);
    for (std::size_t At = Home(Hash.Value); FSlots[At].Name != nullptr; At = Next(At)) {
        const TZUItemName& Candidate = *FSlots[At].Name;
        if (FSlots[At].Hash != Hash.Value || Candidate.FSimple != Hash.Simple) continue;
        // Complex names spelled alike are the same; spelled differently they may be too, which the order
        // tells.
        if (SameUnits(Candidate.FText, Name) || (Hash.Simple && FMatch->SameSimple(Candidate.FText, Name)))
            return {TAnswer::Found, &Candidate};
    }
    return {Hash.Simple && FComplex == 0 ? TAnswer::Absent : TAnswer::AskTheOrder};
}

} // namespace zutools
