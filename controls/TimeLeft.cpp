#include "controls/TimeLeft.h"

#include <QCoreApplication>

#include <algorithm>
#include <cmath>

namespace zutools {

namespace {

constexpr std::int64_t LeastTime = 1000; // milliseconds of work before anything is told
constexpr double SmoothingTime = 5000;   // milliseconds after which the pace before weighs a third

constexpr std::int64_t OneSecond = 1000;
constexpr std::int64_t OneMinute = 60 * OneSecond;
constexpr std::int64_t OneHour = 60 * OneMinute;

} // namespace

void TTimeLeft::Note(double Done, std::int64_t Now) {
    if (FLast && Done < FLast->Done) Restart();
    const TNote Note{Done, Now};
    if (!FFirst) {
        FFirst = FLast = Note;
        return;
    }
    if (Now <= FLast->At) {
        FLast->Done = Done;
        return;
    }
    const auto Elapsed = static_cast<double>(Now - FLast->At);
    const double Pace = (Done - FLast->Done) / Elapsed;
    const double Weight = FPerMs == 0 ? 1 : 1 - std::exp(-Elapsed / SmoothingTime);
    FPerMs += Weight * (Pace - FPerMs);
    FLast = Note;
}

std::optional<std::int64_t> TTimeLeft::Estimate(std::int64_t Now) const {
    if (!FLast || FLast->At - FFirst->At < LeastTime || FPerMs <= 0) return std::nullopt;
    const double Left = (1 - FLast->Done) / FPerMs - static_cast<double>(Now - FLast->At);
    return static_cast<std::int64_t>(std::clamp(Left, 0.0, 1e15));
}

QString TimeLeftText(std::int64_t Milliseconds) {
    const auto Tr = [](const char* Text) { return QCoreApplication::translate("TZUProgress", Text); };
    const auto Rounded = [&](std::int64_t Unit) { return QString::number((Milliseconds + Unit / 2) / Unit); };
    if (Milliseconds < 5 * OneSecond) return Tr("a few seconds left");
    if (Milliseconds < 90 * OneSecond) return Tr("about %1 s left").arg(Rounded(OneSecond));
    if (Milliseconds < 90 * OneMinute) return Tr("about %1 min left").arg(Rounded(OneMinute));
    return Tr("about %1 h left").arg(Rounded(OneHour));
}

} // namespace zutools
