// The bands of a colour wave: which colour stands where, and where the next paint begins.
// Arithmetic without a window.

#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>

namespace zutools {

/// 0x00BBGGRR.
using TColorRef = std::int32_t;

enum class TDirection { drLeftToRight, drRightToLeft, drTopToBottom, drBottomToTop };

/// `Color` one step nearer to `Target`, channel by channel: blue, green, red.
[[nodiscard]] TColorRef StepColorTo(TColorRef Color, TColorRef Target, std::int32_t Step);

/// How many bands a wave has there and back. Colours whose steps never meet are followed for
/// `MostBands` of them only.
[[nodiscard]] std::int32_t WavePeriod(TColorRef From, TColorRef To, std::int32_t Step);
inline constexpr std::int32_t MostBands = 1024; // one way

struct TWave {
    TColorRef From = 255;
    TColorRef To = 65535;
    std::int32_t StepSize = 10; // pixels of a band
    std::int32_t StepColor = 15;
    TDirection Direction = TDirection::drLeftToRight;
    std::int32_t Coord = 0;  // of the next band while painting
    std::int32_t Offset = 0; // where painting begins
    std::int32_t Period = 0; // bands of a whole wave

    void CountPeriod() { Period = WavePeriod(From, To, StepColor); }

    /// Turns the wave on a strip of that size; the place where it stands is mirrored or begins anew.
    void Turn(TDirection Value, std::int32_t Width, std::int32_t Height);

    /// Calls `Fill(Left, Top, Right, Bottom, Color)` for the ground and for each band, in painting order,
    /// with Left <= Right and Top <= Bottom; moves `Offset` one band on.
    template <class TFill>
    void Paint(std::int32_t Width, std::int32_t Height, TFill&& Fill) {
        Fill(0, 0, Width, Height, From);
        TColorRef Color = From;
        TColorRef Heading = To;
        Coord = Offset;
        for (std::int32_t Band = 0; Band < Period; ++Band) {
            Color = StepColorTo(Color, Heading, StepColor);
            if (Color == Heading) Heading = From;
            const auto [Low, High] = std::minmax({Coord, BandEnd(Coord)});
            if (Horizontal())
                Fill(Low, 0, High, Height, Color);
            else
                Fill(0, Low, Width, High, Color);
            Coord = NextCoord(Coord, Width, Height);
        }
        Offset = NextCoord(Offset, Width, Height);
    }

private:
    [[nodiscard]] bool Horizontal() const {
        return Direction == TDirection::drLeftToRight || Direction == TDirection::drRightToLeft;
    }
    [[nodiscard]] bool Forward() const {
        return Direction == TDirection::drLeftToRight || Direction == TDirection::drTopToBottom;
    }
    [[nodiscard]] std::int32_t BandEnd(std::int32_t Start) const;
    [[nodiscard]] std::int32_t NextCoord(std::int32_t Start, std::int32_t Width, std::int32_t Height) const;
};

} // namespace zutools
