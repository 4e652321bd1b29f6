#include "crypto/Engine.h"

#include "host/Exception.h"
#include "host/Format.h"
#include "host/StringHelpers.h"
#include "platform/Text.h"

#include <algorithm>
#include <type_traits>

namespace zutools {

namespace {

constexpr std::size_t RoomBehind = 4096; // characters

std::size_t Characters(int Bytes) {
    return (static_cast<std::size_t>(Bytes) + 1) / 2;
}

// Behind the last separator of either system: names of libraries are written on Windows.
std::u16string_view BareName(std::u16string_view Path) {
    const std::size_t Separator = Path.find_last_of(u"/\\");
    return Separator == Path.npos ? Path : Path.substr(Separator + 1);
}

std::u16string Message(std::u16string_view Pattern, std::initializer_list<std::u16string_view> Names,
                       const platform::TModuleFault& Fault) {
    std::vector<TFormatArg> Args(Names.begin(), Names.end());
    Args.emplace_back(Fault.Code);
    Args.emplace_back(Fault.Text);
    return Format(Pattern, Args);
}

// A text of at most `Size` characters from a function that writes into a buffer of `Size` units of `UnitSize`
// bytes. Who counts in characters what is counted in bytes is served too.
template <class TWrite>
std::u16string TakeText(std::string_view Function, int Size, int UnitSize, TWrite Write) {
    if (Size == 0) return {}; // nothing could be written
    TEngineBuffer Buffer(std::min(Size, TEngineBuffer::MaxSize) * UnitSize);
    Write(Buffer.Text());
    Buffer.Check(Function, Size * 2);
    return Buffer.Taken(Size);
}

} // namespace

TEngineBuffer::TEngineBuffer(int Bytes) {
    if (Bytes < 0 || Bytes > MaxSize) throw Exception(Format(u"%d bytes are no size of a buffer", {Bytes}));
    // Twice the size: who asks in bytes may mean characters.
    FMemory.resize(2 * Characters(Bytes) + RoomBehind);
}

std::u16string TEngineBuffer::Taken(int Most) const {
    const std::u16string_view Whole(FMemory.data(), std::min(static_cast<std::size_t>(Most), FMemory.size()));
    return std::u16string(Whole.substr(0, Whole.find(u'\0')));
}

void TEngineBuffer::Check(std::string_view Function, int Bytes) const {
    const auto Behind = FMemory.begin() + static_cast<std::ptrdiff_t>(Characters(Bytes));
    if (std::all_of(Behind, FMemory.end(), [](char16_t Character) { return Character == 0; })) return;
    throw Exception(
        Format(u"%s wrote past its buffer of %d bytes", {platform::Utf8ToUtf16(Function), Bytes}));
}

TOpenEngine::~TOpenEngine() {
    try {
        if (FHandle != nullptr) FLibrary.DoneCryptoEngine(FHandle);
    } catch (...) { // what an engine throws while it is closed is nobody's business
    }
}

TCryptoEngine::TCryptoEngine() = default;
TCryptoEngine::~TCryptoEngine() = default;

void TCryptoEngine::HandleError(std::u16string_view Message) {
    FLastError = Message;
}

bool TCryptoEngine::LoadLib() {
    if (FModule) return true;
    std::vector<std::u16string> Names = platform::ModuleNames(FLibName);
    if (const std::u16string_view Bare = BareName(FLibName); Bare.size() < FLibName.size())
        for (std::u16string& Name : platform::ModuleNames(Bare)) Names.push_back(std::move(Name));
    platform::TModuleFault Fault;
    for (const std::u16string& Name : Names) {
        if (auto Module = platform::TDynamicLibrary::Search(Name, Fault)) {
            FModule.emplace(std::move(*Module));
            FLibPath = FModule->Path();
            return true;
        }
    }
    HandleError(Message(u"Error loading DLL '%s'. Error code %d with message '%s'.", {Names.back()}, Fault));
    return false;
}

void TCryptoEngine::FreeLib() {
    FModule.reset();
    FLibPath.clear();
}

void* TCryptoEngine::LoadProcedure(const char* Name) {
    if (!LoadLib()) return nullptr;
    platform::TModuleFault Fault;
    void* const Address = FModule->Find(Name, Fault);
    if (Address == nullptr)
        HandleError(Message(u"Error searching function '%s' in dll '%s'. Error code %d with message '%s'.",
                            {platform::Utf8ToUtf16(Name), FLibName}, Fault));
    return Address;
}

std::vector<std::string> TCryptoEngine::MissingFunctions() {
    const bool There = LoadLib();
    std::vector<std::string> Result;
    for (const char* const Name : engine::FunctionNames)
        if (!There || FModule->Find(Name) == nullptr) Result.emplace_back(Name);
    return Result;
}

template <class TFunction, class... TArgs>
auto TCryptoEngine::Call(const char* Name, TArgs... Args) {
    using TResult = std::invoke_result_t<TFunction*, TArgs...>;
    void* const Address = LoadProcedure(Name);
    if (Address == nullptr) return TResult();
    if (OnCall) OnCall(Name);
    return reinterpret_cast<TFunction*>(Address)(Args...);
}

TCryptoEngine::THandle TCryptoEngine::InitCryptoEngine(std::u16string_view Type) {
    THandle const Engine = Call<engine::InitCryptoEngine>("InitCryptoEngine", std::u16string(Type).c_str());
    if (Engine == nullptr) return nullptr;
    const std::size_t Name = BareName(FLibPath).size();
    const std::size_t End = FLibPath.size() - Name;
    const std::u16string_view Directory(FLibPath.data(), End > 0 ? End - 1 : 0);
    try {
        if (!Directory.empty()) SetRootPath(Engine, Directory);
    } catch (...) {
        DoneCryptoEngine(Engine);
        throw;
    }
    return Engine;
}

void TCryptoEngine::DoneCryptoEngine(THandle Engine) {
    Call<engine::DoneCryptoEngine>("DoneCryptoEngine", Engine);
}

void TCryptoEngine::SetRootPath(THandle Engine, std::u16string_view Directory) {
    Call<engine::SetRootPath>("SetRootPath", Engine, std::u16string(Directory).c_str());
}

int TCryptoEngine::GetCryptoParamNumber(THandle Engine) {
    return Call<engine::GetCryptoParamNumber>("GetCryptoParamNumber", Engine);
}

std::u16string TCryptoEngine::GetCryptoParamName(THandle Engine, int Index) {
    return TakeText("GetCryptoParamName", GetMaxCryptoParamNameLength(Engine), 2, [&](char16_t* Buffer) {
        Call<engine::GetCryptoParamName>("GetCryptoParamName", Engine, Index, Buffer);
    });
}

std::u16string TCryptoEngine::GetCryptoParamValue(THandle Engine, int Index) {
    return TakeText("GetCryptoParamValue", GetMaxCryptoParamValueLength(Engine), 2, [&](char16_t* Buffer) {
        Call<engine::GetCryptoParamValue>("GetCryptoParamValue", Engine, Index, Buffer);
    });
}

int TCryptoEngine::SetCryptoParamValue(THandle Engine, int Index, std::u16string_view Value) {
    return Call<engine::SetCryptoParamValue>("SetCryptoParamValue", Engine, Index,
                                             std::u16string(Value).c_str());
}

int TCryptoEngine::GetMaxCryptoParamNameLength(THandle Engine) {
    return Call<engine::GetMaxCryptoParamNameLength>("GetMaxCryptoParamNameLength", Engine);
}

int TCryptoEngine::GetMaxCryptoParamValueLength(THandle Engine) {
    return Call<engine::GetMaxCryptoParamValueLength>("GetMaxCryptoParamValueLength", Engine);
}

int TCryptoEngine::GetMaxErrorStringLength(THandle Engine) {
    return Call<engine::GetMaxErrorStringLength>("GetMaxErrorStringLength", Engine);
}

int TCryptoEngine::GetMaxSignatureLength(THandle Engine) {
    return Call<engine::GetMaxSignatureLength>("GetMaxSignatureLength", Engine);
}

int TCryptoEngine::GetMaxCryptoEngineTypeLength() {
    return Call<engine::GetMaxCryptoEngineTypeLength>("GetMaxCryptoEngineTypeLength");
}

std::u16string TCryptoEngine::GetCryptoErrorString(THandle Engine, int Code) {
    // Kept on purpose: the size counts bytes for the buffer and characters for the text.
    return TakeText("GetCryptoErrorString", GetMaxErrorStringLength(Engine), 1, [&](char16_t* Buffer) {
        Call<engine::GetCryptoErrorString>("GetCryptoErrorString", Engine, Code, Buffer);
    });
}

int TCryptoEngine::SignData(THandle Engine, const void* Data, int DataLength, void* Signature,
                            int& SignatureLength, std::u16string_view Comment) {
    std::int32_t Length = SignatureLength;
    const int Code = Call<engine::SignData>("SignData", Engine, Data, DataLength, Signature, &Length,
                                            std::u16string(Comment).c_str());
    SignatureLength = Length;
    return Code;
}

std::u16string TCryptoEngine::EngineType(int Index, int Size) {
    return TakeText("GetCryptoEngineTypes", Size, 1, [&](char16_t* Buffer) {
        Call<engine::GetCryptoEngineTypes>("GetCryptoEngineTypes", Index, Buffer);
    });
}

std::u16string TCryptoEngine::GetCryptoEngineTypes(int Index) {
    return EngineType(Index, GetMaxCryptoEngineTypeLength());
}

int TCryptoEngine::GetCryptoEngineParamIndex(THandle Engine, std::u16string_view Name) {
    const int Count = GetCryptoParamNumber(Engine);
    for (int Index = 1; Index <= Count; ++Index)
        if (AnsiCompareText(GetCryptoParamName(Engine, Index), Name) == 0) return Index;
    return -1;
}

void TCryptoEngine::SetCryptoEngineParamValue(THandle Engine, std::u16string_view Name,
                                              std::u16string_view Value) {
    const int Index = GetCryptoEngineParamIndex(Engine, Name);
    if (Index >= 1) SetCryptoParamValue(Engine, Index, Value);
}

void TCryptoEngine::FillCryptoEngineTypeList(TStrings& List) {
    if (!LoadLib()) return;
    int Size = 0;
    const auto Report = [&](std::u16string_view Why) {
        HandleError(Format(u"Error on getmem size: %d (%s)", {Size, Why}));
    };
    try {
        const TUpdateScope Update(List);
        List.Clear();
        Size = GetMaxCryptoEngineTypeLength();
        // Kept on purpose: further types are not listed, whatever the library offers.
        for (int Index = 1; Index <= MaxEngineTypes; ++Index) {
            const std::u16string Type = EngineType(Index, Size);
            if (Type.empty()) break;
            const int Position = List.Add(Type);
            List.SetTags(Position, Position);
        }
    } catch (const std::exception& Error) {
        Report(MessageOf(Error));
    } catch (...) {
        Report(u"unknown exception");
    }
}

void TCryptoEngine::FillCryptoParamsList(THandle Engine, TStrings& List) {
    List.Clear();
    const int Count = GetCryptoParamNumber(Engine);
    if (Count > MaxParams) throw Exception(Format(u"%d parameters, and %d at most", {Count, MaxParams}));
    for (int Index = 1; Index <= Count; ++Index) {
        const std::u16string Name = GetCryptoParamName(Engine, Index);
        List.Add(Name + u"=" + GetCryptoParamValue(Engine, Index));
    }
}

} // namespace zutools
