#include "platform/Clock.h"

namespace zutools::platform {

namespace {

class TSystemClock final : public TClock {
public:
    std::chrono::milliseconds Steady() const override {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now().time_since_epoch());
    }
    std::chrono::system_clock::time_point Wall() const override { return std::chrono::system_clock::now(); }
};

} // namespace

const TClock& SystemClock() {
    static const TSystemClock Clock;
    return Clock;
}

} // namespace zutools::platform
