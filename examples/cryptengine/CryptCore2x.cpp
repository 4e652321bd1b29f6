// A crypto engine library: three types, parameters with Cyrillic names and values, and faults on demand.

#include "examples/cryptengine/CryptCore2x.h"

#include "crypto/EngineTable.h"
#include "examples/cryptengine/Signature.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using std::u16string_view;

constexpr int NameLength = 64;     // characters, the U+0000 among them
constexpr int ValueLength = 256;   // the same
constexpr int ErrorLength = 128;   // the same
constexpr int TypeLength = 2 * 64; // bytes

constexpr int WrongPin = 7;
constexpr int OnDemand = 42;

struct TParam {
    std::u16string Name, Value;
};

struct TEngine {
    std::vector<TParam> Params;
};

const u16string_view Types[] = {u"TypeA", u"TypeB", u"Тип В"};

std::vector<TParam> ParamsOf(u16string_view Type) {
    if (Type == Types[0])
        return {{u"Владелец", u"Иванов Иван"}, {u"Container", u"main"}, {u"PIN", u""}, {u"RootPath", u""}};
    if (Type == Types[1]) return {{u"Algorithm", u"Ed25519"}, {u"Private key", u"k-778"}, {u"Comment", u""}};
    return {{u"Имя", u"Значение"}};
}

// ---- faults

std::string& Fault() {
    static std::string Wanted = [] {
        const char* const Given = std::getenv("ZU_SAMPLE_FAULT");
        return std::string(Given != nullptr ? Given : "");
    }();
    return Wanted;
}

bool Wants(std::string_view Name) {
    return Fault() == Name;
}

bool WantsAt(std::string_view What, std::string_view Function) {
    return Fault() == std::string(What) + "@" + std::string(Function);
}

volatile std::size_t Nowhere = 64; // an address that is nobody's

/// What every function does first.
void Enter(std::string_view Function) {
    if (Fault().empty()) return;
    if (WantsAt("crash", Function)) *reinterpret_cast<volatile int*>(Nowhere) = 1;
    if (WantsAt("exit", Function)) std::_Exit(3);
    if (WantsAt("throw", Function)) throw std::runtime_error("thrown by " + std::string(Function));
    while (WantsAt("hang", Function)) std::this_thread::sleep_for(std::chrono::hours(1));
    if (Wants("noisy")) std::puts("An engine says whatever it likes.");
}

/// `Room` in characters, the U+0000 among them.
void Write(char16_t* Buffer, u16string_view Text, int Room) {
    if (Wants("unterminated")) {
        std::fill_n(Buffer, Room, u'x');
        return;
    }
    if (Wants("overrun")) {
        std::fill_n(Buffer, Room + 100, u'y');
        return;
    }
    const auto Length = std::min(Text.size(), static_cast<std::size_t>(Room) - 1);
    std::copy_n(Text.begin(), Length, Buffer);
    Buffer[Length] = u'\0';
}

int Length(int Honest) {
    if (Wants("negative")) return -5;
    return Wants("huge") ? std::numeric_limits<int>::max() : Honest;
}

TParam* ParamAt(void* Engine, std::int32_t Index) {
    auto& Params = static_cast<TEngine*>(Engine)->Params;
    return Index >= 1 && static_cast<std::size_t>(Index) <= Params.size()
               ? &Params[static_cast<std::size_t>(Index - 1)]
               : nullptr;
}

TParam* ParamOf(void* Engine, u16string_view Name) {
    for (TParam& Param : static_cast<TEngine*>(Engine)->Params)
        if (Param.Name == Name) return &Param;
    return nullptr;
}

} // namespace

// On Windows a library in which nothing is marked for export exports all its functions.
extern "C" {

sample::TSetFault SampleEngineFault;
sample::TVerify SampleEngineVerify;

void SampleEngineFault(const char* Name) {
    Fault() = Name;
}

std::int32_t SampleEngineVerify(const void* Data, std::int32_t DataLength, const void* Signature) {
    return sample::Verify(Data, static_cast<std::size_t>(DataLength),
                          static_cast<const unsigned char*>(Signature))
               ? 1
               : 0;
}

void* ZU_STDCALL InitCryptoEngine(const char16_t* Type) {
    Enter("InitCryptoEngine");
    const bool Known = std::find(std::begin(Types), std::end(Types), u16string_view(Type)) != std::end(Types);
    if (!Known || WantsAt("null", "InitCryptoEngine")) return nullptr;
    return new TEngine{ParamsOf(Type)};
}

void ZU_STDCALL DoneCryptoEngine(void* Engine) {
    Enter("DoneCryptoEngine");
    delete static_cast<TEngine*>(Engine);
}

void ZU_STDCALL SetRootPath(void* Engine, const char16_t* Directory) {
    Enter("SetRootPath");
    if (TParam* const Param = ParamOf(Engine, u"RootPath")) Param->Value = Directory;
}

std::int32_t ZU_STDCALL GetCryptoParamNumber(void* Engine) {
    Enter("GetCryptoParamNumber");
    if (Wants("many")) return std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(static_cast<TEngine*>(Engine)->Params.size());
}

void ZU_STDCALL GetCryptoParamName(void* Engine, std::int32_t Index, char16_t* Buffer) {
    Enter("GetCryptoParamName");
    if (const TParam* const Param = ParamAt(Engine, Index)) Write(Buffer, Param->Name, NameLength);
}

void ZU_STDCALL GetCryptoParamValue(void* Engine, std::int32_t Index, char16_t* Buffer) {
    Enter("GetCryptoParamValue");
    if (const TParam* const Param = ParamAt(Engine, Index)) Write(Buffer, Param->Value, ValueLength);
}

std::int32_t ZU_STDCALL SetCryptoParamValue(void* Engine, std::int32_t Index, const char16_t* Value) {
    Enter("SetCryptoParamValue");
    TParam* const Param = ParamAt(Engine, Index);
    if (Param == nullptr) return 1;
    Param->Value = Value;
    return 0;
}

std::int32_t ZU_STDCALL GetMaxCryptoParamNameLength(void*) {
    Enter("GetMaxCryptoParamNameLength");
    return Length(NameLength);
}

std::int32_t ZU_STDCALL GetMaxCryptoParamValueLength(void*) {
    Enter("GetMaxCryptoParamValueLength");
    return Length(ValueLength);
}

std::int32_t ZU_STDCALL GetMaxErrorStringLength(void*) {
    Enter("GetMaxErrorStringLength");
    return Length(2 * ErrorLength);
}

std::int32_t ZU_STDCALL GetMaxSignatureLength(void*) {
    Enter("GetMaxSignatureLength");
    return Length(sample::SignatureLength());
}

std::int32_t ZU_STDCALL GetMaxCryptoEngineTypeLength() {
    Enter("GetMaxCryptoEngineTypeLength");
    return Length(TypeLength);
}

void ZU_STDCALL GetCryptoErrorString(void*, std::int32_t Code, char16_t* Buffer) {
    Enter("GetCryptoErrorString");
    Write(Buffer, Code == WrongPin ? u"Неверный ПИН" : u"Ошибка по заказу", ErrorLength);
}

std::int32_t ZU_STDCALL SignData(void* Engine, const void* Data, std::int32_t DataLength, void* Signature,
                                 std::int32_t* SignatureLength, const char16_t*) {
    Enter("SignData");
    if (Wants("error")) return OnDemand;
    if (const TParam* const Pin = ParamOf(Engine, u"PIN"); Pin != nullptr && Pin->Value != u"1234")
        return WrongPin;
    if (*SignatureLength < sample::SignatureLength()) return OnDemand;
    *SignatureLength = Wants("liar") ? -1 : sample::SignatureLength();
    return sample::Sign(Data, static_cast<std::size_t>(DataLength), static_cast<unsigned char*>(Signature))
               ? 0
               : OnDemand;
}

void ZU_STDCALL GetCryptoEngineTypes(std::int32_t Index, char16_t* Buffer) {
    Enter("GetCryptoEngineTypes");
    if (Wants("types150") && Index <= 150) {
        const std::string Number = std::to_string(Index);
        Write(Buffer, u"Type " + std::u16string(Number.begin(), Number.end()), TypeLength / 2);
    } else if (Index >= 1 && static_cast<std::size_t>(Index) <= std::size(Types)) {
        Write(Buffer, Types[Index - 1], TypeLength / 2);
    }
}
}
