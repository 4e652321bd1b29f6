#include "controls/WaveBands.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>

namespace zutools {

namespace {

struct TChannel {
    std::int64_t Unit;
    std::uint32_t Mask;
};

constexpr std::array Channels{TChannel{65536, 0xFF0000}, TChannel{256, 0xFF00}, TChannel{1, 0xFF}};

std::int64_t ChannelOf(std::uint32_t Color, const TChannel& Channel) {
    return Color & Channel.Mask;
}

// A coordinate that stays a number of 32 bits whatever a person sets as thickness.
std::int32_t Bounded(std::int64_t Value) {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(Value, std::numeric_limits<std::int32_t>::min(),
                                                              std::numeric_limits<std::int32_t>::max()));
}

} // namespace

TColorRef StepColorTo(TColorRef Color, TColorRef Target, std::int32_t Step) {
    auto Bits = static_cast<std::uint32_t>(Color);
    const auto Goal = static_cast<std::uint32_t>(Target);
    for (const TChannel& Channel : Channels) {
        const std::int64_t Move = Step * Channel.Unit;
        const std::int64_t Wanted = ChannelOf(Goal, Channel);
        // Kept on purpose: the whole value moves, so what runs over a channel's end is borrowed from the next
        // one.
        if (Wanted < ChannelOf(Bits, Channel))
            Bits -= static_cast<std::uint32_t>(Move);
        else if (Wanted > ChannelOf(Bits, Channel))
            Bits += static_cast<std::uint32_t>(Move);
        if (std::abs(Wanted - ChannelOf(Bits, Channel)) < Move)
            Bits = (Bits & ~Channel.Mask) | (Goal & Channel.Mask);
    }
    return static_cast<TColorRef>(Bits);
}

std::int32_t WavePeriod(TColorRef From, TColorRef To, std::int32_t Step) {
    std::int32_t Bands = 0;
    for (TColorRef Color = From; Color != To && Bands < MostBands; ++Bands)
        Color = StepColorTo(Color, To, Step);
    return 2 * Bands;
}

std::int32_t TWave::BandEnd(std::int32_t Start) const {
    return Bounded(Forward() ? std::int64_t{Start} + StepSize : std::int64_t{Start} - StepSize);
}

std::int32_t TWave::NextCoord(std::int32_t Start, std::int32_t Width, std::int32_t Height) const {
    const std::int32_t Length = Horizontal() ? Width : Height;
    const std::int32_t Next = BandEnd(Start);
    if (Forward()) return Next >= Length ? 0 : Next;
    return Next < 1 ? Length : Next;
}

void TWave::Turn(TDirection Value, std::int32_t Width, std::int32_t Height) {
    if (Value == Direction) return;
    const bool WasHorizontal = Horizontal();
    Direction = Value;
    const std::int32_t Length = Horizontal() ? Width : Height;
    if (WasHorizontal == Horizontal()) {
        Offset = Coord;
        Coord = Bounded(std::int64_t{Length} - Coord);
        return;
    }
    Coord = Forward() ? 0 : Length;
    Offset = Coord;
}

} // namespace zutools
