// The functions that a crypto engine library exports, by name.
//
// For those who call one and those who write one. Handles are opaque; text is UTF-16 that ends with U+0000;
// indices are 1-based; buffers are the caller's, of the sizes that the library's own functions tell.

#pragma once

#include "platform/DynamicLibrary.h"

#include <cstdint>

namespace zutools::engine {

using THandle = void*;

/// The engine of that type; null on failure.
using InitCryptoEngine = THandle ZU_STDCALL(const char16_t* Type);
using DoneCryptoEngine = void ZU_STDCALL(THandle Engine);
using SetRootPath = void ZU_STDCALL(THandle Engine, const char16_t* Directory);
using GetCryptoParamNumber = std::int32_t ZU_STDCALL(THandle Engine);
using GetCryptoParamName = void ZU_STDCALL(THandle Engine, std::int32_t Index, char16_t* Buffer);
using GetCryptoParamValue = void ZU_STDCALL(THandle Engine, std::int32_t Index, char16_t* Buffer);
using SetCryptoParamValue = std::int32_t ZU_STDCALL(THandle Engine, std::int32_t Index,
                                                    const char16_t* Value);
/// The sizes of buffers: names and values in characters, the others in bytes.
using GetMaxCryptoParamNameLength = std::int32_t ZU_STDCALL(THandle Engine);
using GetMaxCryptoParamValueLength = std::int32_t ZU_STDCALL(THandle Engine);
using GetMaxErrorStringLength = std::int32_t ZU_STDCALL(THandle Engine);
using GetMaxSignatureLength = std::int32_t ZU_STDCALL(THandle Engine);
using GetMaxCryptoEngineTypeLength = std::int32_t ZU_STDCALL();
using GetCryptoErrorString = void ZU_STDCALL(THandle Engine, std::int32_t Code, char16_t* Buffer);
/// 0 on success, else an error code. `SignatureLength` comes with the size of the buffer, and goes with the
/// length of the signature.
using SignData = std::int32_t ZU_STDCALL(THandle Engine, const void* Data, std::int32_t DataLength,
                                         void* Signature, std::int32_t* SignatureLength,
                                         const char16_t* Comment);
/// The type at that place; an empty text ends the list.
using GetCryptoEngineTypes = void ZU_STDCALL(std::int32_t Index, char16_t* Buffer);

/// Of all of them, in the order above.
inline constexpr const char* FunctionNames[] = {"InitCryptoEngine",
                                                "DoneCryptoEngine",
                                                "SetRootPath",
                                                "GetCryptoParamNumber",
                                                "GetCryptoParamName",
                                                "GetCryptoParamValue",
                                                "SetCryptoParamValue",
                                                "GetMaxCryptoParamNameLength",
                                                "GetMaxCryptoParamValueLength",
                                                "GetMaxErrorStringLength",
                                                "GetMaxSignatureLength",
                                                "GetMaxCryptoEngineTypeLength",
                                                "GetCryptoErrorString",
                                                "SignData",
                                                "GetCryptoEngineTypes"};

} // namespace zutools::engine
