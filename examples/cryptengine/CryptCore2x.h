// What the sample engine exports besides the table of engines, for those who test with it.

#pragma once

#include <cstdint>

namespace sample {

/// SampleEngineFault: from now on that fault; README.md names them, "" is none.
using TSetFault = void(const char* Name);
/// SampleEngineVerify: 1 when the signature is that of the data, else 0.
using TVerify = std::int32_t(const void* Data, std::int32_t DataLength, const void* Signature);

} // namespace sample
