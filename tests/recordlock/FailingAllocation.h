// Lets one allocation of the calling thread fail.

#pragma once

namespace zutools::tests {

/// From here to the end of the scope, the allocation with that number from 1 throws std::bad_alloc.
class TFailingAllocation {
public:
    explicit TFailingAllocation(int Number);
    ~TFailingAllocation();
    TFailingAllocation(const TFailingAllocation&) = delete;
    TFailingAllocation& operator=(const TFailingAllocation&) = delete;

    [[nodiscard]] bool Failed() const;
};

} // namespace zutools::tests
