// The values of one template's tags: spans of one growing block, so that filling a page allocates almost
// nothing.
//
// Belongs to one TTemplate and is used by its thread only.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zutools {

class TTagValues {
public:
    /// `Slots` empty values. Memory is taken at the first Set and kept from one filling to the next.
    void Reset(std::size_t Slots) {
        FSlots = Slots;
        FSpans.clear();
        FBlock.clear();
        FWaste = 0;
    }
    /// Makes every value empty.
    void Clear() { Reset(FSlots); }

    /// The value of `Slot`, which is below the count given to Reset; valid until the next Set.
    [[nodiscard]] std::u16string_view Get(std::uint32_t Slot) const {
        if (FSpans.empty()) return {};
        return {FBlock.data() + FSpans[Slot].Begin, FSpans[Slot].Length};
    }

    /// `Value` may not be a view of a value of this object.
    void Set(std::uint32_t Slot, std::u16string_view Value) {
        if (FSpans.empty()) FSpans.resize(FSlots);
        TSpan& Span = FSpans[Slot];
        if (Value.size() > Span.Room) {
            // The old room is lost until it has become half of the block.
            if (Span.Room != 0) Abandon(Span);
            Span.Begin = FBlock.size();
            FBlock.append(Value);
            Span.Room = Value.size();
        } else {
            Value.copy(FBlock.data() + Span.Begin, Value.size());
        }
        Span.Length = Value.size();
    }

    /// Whether no value was set since Reset or Clear.
    [[nodiscard]] bool Untouched() const { return FSpans.empty(); }

private:
    struct TSpan {
        std::size_t Begin = 0;
        std::size_t Length = 0;
        std::size_t Room = 0; // units of the block that belong to the slot, from Begin
    };

    void Abandon(TSpan& Span) {
        FWaste += Span.Room;
        Span = {};
        if (FWaste * 2 <= FBlock.size()) return;
        std::u16string Packed;
        Packed.reserve(FBlock.size() - FWaste);
        for (TSpan& Kept : FSpans) {
            const std::size_t Begin = Packed.size();
            Packed.append(FBlock, Kept.Begin, Kept.Length);
            Kept = {Begin, Kept.Length, Kept.Length};
        }
        FBlock.swap(Packed);
        FWaste = 0;
    }

    std::size_t FSlots = 0;
    std::size_t FWaste = 0;    // units of the block that belong to no slot
    std::vector<TSpan> FSpans; // empty until the first Set
    std::u16string FBlock;
};

} // namespace zutools
