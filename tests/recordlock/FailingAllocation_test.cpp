#include "tests/recordlock/FailingAllocation.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

thread_local int Left = 0; // 0: none fails; plain data, as MinGW wants it

} // namespace

#ifndef ZU_NO_FAILING_ALLOCATIONS
void* operator new(std::size_t Size) {
    if (Left > 0 && --Left == 0) throw std::bad_alloc();
    if (void* const Memory = std::malloc(Size == 0 ? 1 : Size)) return Memory;
    throw std::bad_alloc();
}
void operator delete(void* Memory) noexcept {
    std::free(Memory);
}
void operator delete(void* Memory, std::size_t /*Size*/) noexcept {
    std::free(Memory);
}
#endif

namespace zutools::tests {

TFailingAllocation::TFailingAllocation(int Number) {
    Left = Number;
}
TFailingAllocation::~TFailingAllocation() {
    Left = 0;
}
bool TFailingAllocation::Failed() const {
    return Left == 0;
}

} // namespace zutools::tests
