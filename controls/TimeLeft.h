// How long work will still take, judged by how it went on so far.

#pragma once

#include <QString>

#include <cstdint>
#include <optional>

namespace zutools {

/// Fractions done are from 0 to 1; times are milliseconds of one clock that only goes on.
class TTimeLeft {
public:
    /// A fraction below the last one is a new beginning.
    void Note(double Done, std::int64_t Now);
    /// Milliseconds until all is done, less the time since the last note; never below 0. None while too
    /// little is known.
    [[nodiscard]] std::optional<std::int64_t> Estimate(std::int64_t Now) const;
    void Restart() { *this = TTimeLeft(); }

private:
    struct TNote {
        double Done;
        std::int64_t At;
    };
    std::optional<TNote> FFirst;
    std::optional<TNote> FLast;
    double FPerMs = 0; // smoothed fraction a millisecond
};

/// Such as "about 3 min left".
[[nodiscard]] QString TimeLeftText(std::int64_t Milliseconds);

} // namespace zutools
