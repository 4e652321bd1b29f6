// A crashed test program must say so by its exit code.

#pragma once

namespace zutools::tests {

/// Wine reports an unhandled crash as exit code 0 every few runs; this makes it 5 every time. Nothing on
/// POSIX.
void ExitOnCrash();

} // namespace zutools::tests
