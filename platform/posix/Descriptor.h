// An open file of the system, closed with its owner.

#pragma once

#include <unistd.h>

#include <utility>

namespace zutools::platform {

class TDescriptor {
public:
    TDescriptor() = default;
    explicit TDescriptor(int Number)
        : FNumber(Number) {}
    TDescriptor(TDescriptor&& Other) noexcept
        : FNumber(std::exchange(Other.FNumber, -1)) {}
    TDescriptor& operator=(TDescriptor&& Other) noexcept {
        std::swap(FNumber, Other.FNumber);
        return *this;
    }
    ~TDescriptor() {
        if (FNumber >= 0) ::close(FNumber);
    }

    [[nodiscard]] bool IsOpen() const { return FNumber >= 0; }
    [[nodiscard]] int Number() const { return FNumber; }
    void Close() { *this = TDescriptor(); }

private:
    int FNumber = -1;
};

} // namespace zutools::platform
