// The values of one template's tags: spans of one growing block, so that filling a page allocates almost
// nothing.
//
// Belongs to one TTemplate and is used by its thread only.

#pragma once

#include "templates/CopyUnits.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zutools {

class TTagValues {
    struct TSpan {
        char16_t* Begin = nullptr; // in the block, or of a value that was taken over
        std::size_t Length = 0;
        std::size_t Room = 0; // units of the block that belong to the slot, from Begin

        [[nodiscard]] std::u16string_view View() const { return {Begin, Length}; }
    };

public:
    /// `Slots` empty values. Memory is taken at the first Set and kept from one filling to the next.
    explicit TTagValues(std::size_t Slots)
        : FSlots(Slots) {}

    /// Makes every value empty. Each keeps its room, because the next one is mostly as long.
    void Clear() {
        for (TSpan& Span : Spans()) Span.Length = 0;
        FTaken.clear();
        FTotal = 0;
    }

    /// Reads values; valid until the next change. Behind each value CopySlack more units may be read.
    class TReader {
    public:
        explicit TReader(const TTagValues& Values)
            : FSpans(Values.FSpans.get()) {}
        /// The value of `Slot`, which is below the count given to the constructor.
        [[nodiscard]] std::u16string_view operator[](std::uint32_t Slot) const {
            return FSpans == nullptr ? std::u16string_view() : FSpans[Slot].View();
        }

    private:
        const TSpan* FSpans; // null before the first Set
    };
    [[nodiscard]] std::u16string_view Get(std::uint32_t Slot) const { return TReader(*this)[Slot]; }

    /// `Value` may not be a view of a value of this object.
    void Set(std::uint32_t Slot, std::u16string_view Value) {
        if (FSpans == nullptr || Value.size() > FSpans[Slot].Room) return SetInNewRoom(Slot, Value);
        TSpan& Span = FSpans[Slot];
        FTotal += Value.size() - Span.Length;
        Span.Length = Value.size();
        CopyUnits(Span.Begin, Value.data(), Value.size());
    }

    /// The length of all values together.
    [[nodiscard]] std::size_t Total() const { return FTotal; }

    /// Takes a long value over instead of copying it.
    void Take(std::uint32_t Slot, std::u16string Value) {
        constexpr std::size_t Long = 256;
        if (Value.size() < Long) return Set(Slot, Value);
        if (FSpans == nullptr) FSpans = std::make_unique<TSpan[]>(FSlots);
        auto Taken =
            std::find_if(FTaken.begin(), FTaken.end(), [&](const TTaken& Each) { return Each.Slot == Slot; });
        if (Taken == FTaken.end()) Taken = FTaken.insert(Taken, {Slot, {}});
        Taken->Value = std::move(Value);
        TSpan& Span = FSpans[Slot];
        FWaste += Span.Room;
        FTotal += Taken->Value.size() - Span.Length;
        Span = {Taken->Value.data(), Taken->Value.size(), 0};
    }

private:
    struct TTaken {
        std::uint32_t Slot;
        std::u16string
            Value; // too long to lie inside the string object, so its address holds when this moves
    };

    [[nodiscard]] std::span<TSpan> Spans() const { return {FSpans.get(), FSpans == nullptr ? 0 : FSlots}; }

    /// Apart from Set, so that the usual way through it stays short.
    [[gnu::noinline]] void SetInNewRoom(std::uint32_t Slot, std::u16string_view Value) {
        if (FSpans == nullptr) FSpans = std::make_unique<TSpan[]>(FSlots);
        TSpan& Span = FSpans[Slot];
        FTotal -= Span.Length;
        MakeRoom(Span, Value.size());
        FTotal += Value.size();
        Span.Length = Value.size();
        CopyUnits(Span.Begin, Value.data(), Value.size());
    }

    /// New room at the end of the block; the old room is lost until the block moves.
    void MakeRoom(TSpan& Span, std::size_t Room) {
        FWaste += Span.Room;
        Span = {};
        if (FUsed + Room > FSize) Move(Room);
        Span.Begin = FBlock.get() + FUsed;
        Span.Room = Room;
        FUsed += Room;
    }

    /// The values to a larger block, or to one of the same size when enough of the old one is lost.
    void Move(std::size_t Room) {
        constexpr std::size_t UnitsForAValue = 16;
        const std::size_t Needed = FUsed - FWaste + Room;
        const std::size_t Size = std::max(Needed + Needed / 2, FSlots * UnitsForAValue);
        auto Block = std::make_unique_for_overwrite<char16_t[]>(Size + CopySlack);
        char16_t* Place = Block.get();
        for (TSpan& Span : Spans()) {
            if (Span.Room == 0) continue;
            CopyUnits(Place, Span.Begin, Span.Length);
            Span.Begin = Place;
            Place += Span.Room;
        }
        FUsed = static_cast<std::size_t>(Place - Block.get());
        FBlock = std::move(Block);
        FSize = Size;
        FWaste = 0;
    }

    std::size_t FSlots;
    std::size_t FTotal = 0;          // of all lengths
    std::unique_ptr<TSpan[]> FSpans; // of all slots; null until the first Set
    std::unique_ptr<char16_t[]> FBlock;
    std::size_t FSize = 0;      // units of the block
    std::size_t FUsed = 0;      // of them given to slots so far
    std::size_t FWaste = 0;     // of these left by slots for a larger room
    std::vector<TTaken> FTaken; // at most one a slot
};

} // namespace zutools
