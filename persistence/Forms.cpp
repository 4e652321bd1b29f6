#include "persistence/Forms.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

namespace zutools {

namespace {

constexpr std::int64_t GripWidth = 96;          // of the title bar, to be seen
constexpr std::int64_t FarthestPlace = 1 << 20; // no screen is so far away; keeps the arithmetic in range

std::int64_t Limited(std::int64_t Value) {
    return std::clamp(Value, -FarthestPlace, FarthestPlace);
}

} // namespace

const TClassInfo& TForm::StaticClass() {
    static constexpr TClassInfo Info{.Name = u"TForm", .Parent = &TComponent::StaticClass};
    return Info;
}

const TClassInfo& TForm::ClassInfo() const {
    return StaticClass();
}

TRect Reachable(const TRect& Window, std::span<const TRect> WorkAreas, int TitleHeight) {
    const std::int64_t Left = Limited(Window.Left), Top = Limited(Window.Top);
    const std::int64_t Width = Limited(Window.Right) - Left, Height = Limited(Window.Bottom) - Top;
    struct TMove {
        std::int64_t X, Y;
        [[nodiscard]] std::int64_t Length() const { return std::abs(X) + std::abs(Y); }
    };
    std::optional<TMove> Least;
    for (const TRect& Area : WorkAreas) {
        const std::int64_t Seen = std::clamp<std::int64_t>(
            Width, 0, std::min<std::int64_t>(GripWidth, std::int64_t{Area.Right} - Area.Left));
        const std::int64_t Lowest = std::max<std::int64_t>(Area.Top, std::int64_t{Area.Bottom} - TitleHeight);
        const TMove Move{std::clamp<std::int64_t>(Left, Area.Left - Width + Seen, Area.Right - Seen) - Left,
                         std::clamp<std::int64_t>(Top, Area.Top, Lowest) - Top};
        if (!Least || Move.Length() < Least->Length()) Least = Move;
    }
    if (!Least) Least = TMove{0, 0};
    const auto Place = [](std::int64_t Value) { return static_cast<int>(Value); };
    return {Place(Left + Least->X), Place(Top + Least->Y), Place(Left + Least->X + Width),
            Place(Top + Least->Y + Height)};
}

} // namespace zutools
