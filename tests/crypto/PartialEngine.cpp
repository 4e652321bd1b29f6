// An engine library that exports three functions of the table.

#include "crypto/EngineTable.h"

extern "C" {

std::int32_t ZU_STDCALL GetMaxCryptoEngineTypeLength() {
    return 16;
}

void ZU_STDCALL GetCryptoEngineTypes(std::int32_t Index, char16_t* Buffer) {
    Buffer[0] = Index == 1 ? u'P' : u'\0';
}

void* ZU_STDCALL InitCryptoEngine(const char16_t*) {
    static int Engine;
    return &Engine;
}
}
