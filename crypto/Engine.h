// A crypto engine library: loaded when it is first asked, called through its table of functions.
//
// One thread uses an object; calls block as long as the library does. What the library does wrong beyond its
// results (a crash, an endless loop) is done in this process: `zuhost crypto-probe` asks in one of its own.
// Two failures reach the caller as exceptions, from the functions that return text and from SignData: a size
// that is none of a buffer, and a text written past its buffer; and what the library itself throws.

#pragma once

#include "crypto/EngineTable.h"
#include "host/Strings.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace zutools {

class TCryptoEngine {
public:
    using THandle = engine::THandle;

    TCryptoEngine();
    /// Unloads the library.
    virtual ~TCryptoEngine();
    TCryptoEngine(const TCryptoEngine&) = delete;
    TCryptoEngine& operator=(const TCryptoEngine&) = delete;

    static constexpr std::u16string_view DefaultLibName = u"CryptCore2x.dll";
    static constexpr int MaxEngineTypes = 100; // as many are listed at most
    static constexpr int MaxParams = 10'000;   // of an engine; FillCryptoParamsList throws above

    /// A path or a file name; a library that is loaded already stays.
    void SetLibName(std::u16string_view Value) { FLibName = Value; }
    [[nodiscard]] const std::u16string& LibName() const { return FLibName; }

    /// Loads the library unless it is. A bare name is looked for as the system does; so is the name of a path
    /// that cannot be loaded. @return false after HandleError.
    bool LoadLib();
    void FreeLib();
    [[nodiscard]] bool Loaded() const { return FModule.has_value(); }
    /// The absolute path of the loaded library; empty without one.
    [[nodiscard]] const std::u16string& LibPath() const { return FLibPath; }

    /// The address of an exported function; null after HandleError.
    void* LoadProcedure(const char* Name);
    /// The functions of the table that the library does not export; all of them when it cannot be loaded.
    [[nodiscard]] std::vector<std::string> MissingFunctions();

    // The functions of the table. One that the library does not export is told to HandleError; it does
    // nothing and gives 0, null or an empty text.

    /// Also tells the engine the directory of the library.
    THandle InitCryptoEngine(std::u16string_view Type);
    void DoneCryptoEngine(THandle Engine);
    void SetRootPath(THandle Engine, std::u16string_view Directory);
    int GetCryptoParamNumber(THandle Engine);
    std::u16string GetCryptoParamName(THandle Engine, int Index);
    std::u16string GetCryptoParamValue(THandle Engine, int Index);
    int SetCryptoParamValue(THandle Engine, int Index, std::u16string_view Value);
    int GetMaxCryptoParamNameLength(THandle Engine);
    int GetMaxCryptoParamValueLength(THandle Engine);
    int GetMaxErrorStringLength(THandle Engine);
    int GetMaxSignatureLength(THandle Engine);
    int GetMaxCryptoEngineTypeLength();
    std::u16string GetCryptoErrorString(THandle Engine, int Code);
    /// Signs `DataLength` bytes. `SignatureLength` comes with the size of `Signature` in bytes, which is real
    /// memory, and goes with what the engine says.
    int SignData(THandle Engine, const void* Data, int DataLength, void* Signature, int& SignatureLength,
                 std::u16string_view Comment);
    std::u16string GetCryptoEngineTypes(int Index);

    // What stands on them.

    /// The 1-based index of the first parameter of that name, ignoring case; -1 without one.
    int GetCryptoEngineParamIndex(THandle Engine, std::u16string_view Name);
    /// An unknown name is ignored.
    void SetCryptoEngineParamValue(THandle Engine, std::u16string_view Name, std::u16string_view Value);
    /// The types, each with its 0-based position as its tag; untouched when the library cannot be loaded.
    void FillCryptoEngineTypeList(TStrings& List);
    /// A line name=value for each parameter of the engine.
    void FillCryptoParamsList(THandle Engine, TStrings& List);

    /// Keeps the message as the last error. Override it to show the message too.
    virtual void HandleError(std::u16string_view Message);
    [[nodiscard]] const std::u16string& LastError() const { return FLastError; }

    /// Hears the name of each function of the library before it is called.
    std::function<void(std::string_view Name)> OnCall;

private:
    template <class TFunction, class... TArgs>
    auto Call(const char* Name, TArgs... Args);
    std::u16string EngineType(int Index, int Size);

    std::u16string FLibName{DefaultLibName};
    std::optional<platform::TDynamicLibrary> FModule;
    std::u16string FLibPath;
    std::u16string FLastError;
};

/// An engine that is closed in any case.
class TOpenEngine {
public:
    TOpenEngine(TCryptoEngine& Library, std::u16string_view Type)
        : FLibrary(Library)
        , FHandle(Library.InitCryptoEngine(Type)) {}
    ~TOpenEngine();
    TOpenEngine(const TOpenEngine&) = delete;
    TOpenEngine& operator=(const TOpenEngine&) = delete;

    /// Null when it did not open.
    [[nodiscard]] TCryptoEngine::THandle Handle() const { return FHandle; }

private:
    TCryptoEngine& FLibrary;
    TCryptoEngine::THandle FHandle;
};

/// Memory for what an engine writes, all zero, with room behind it: an engine that writes a little too far
/// damages nothing and is found out.
class TEngineBuffer {
public:
    /// @throws Exception for a size below 0 or above MaxSize.
    explicit TEngineBuffer(int Bytes);
    static constexpr int MaxSize = 1 << 20;

    [[nodiscard]] void* Data() { return FMemory.data(); }
    [[nodiscard]] char16_t* Text() { return FMemory.data(); }
    /// Up to the first U+0000, `Most` characters at most.
    [[nodiscard]] std::u16string Taken(int Most) const;
    /// Whether nothing but zeros stands in it.
    [[nodiscard]] bool Blank() const { return FMemory.find_first_not_of(u'\0') == FMemory.npos; }
    /// @throws Exception when `Function` wrote something behind the first `Bytes` bytes.
    void Check(std::string_view Function, int Bytes) const;

private:
    std::u16string FMemory;
};

} // namespace zutools
