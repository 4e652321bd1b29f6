#include "platform/File.h"
#include "platform/Settings.h"
#include "platform/win32/Wide.h"

#include <windows.h>

#include <array>

namespace zutools::platform {

namespace {

constexpr std::u16string_view CannotOpenKey = u"Cannot open registry key";
constexpr std::u16string_view CannotReadKey = u"Cannot read registry key";
constexpr std::u16string_view CannotWriteKey = u"Cannot write registry key";

// Closes with the scope; null when the key is not there.
class TKey {
public:
    TKey() = default;
    ~TKey() {
        if (FHandle != nullptr) RegCloseKey(FHandle);
    }
    TKey(const TKey&) = delete;
    TKey& operator=(const TKey&) = delete;
    [[nodiscard]] HKEY Get() const { return FHandle; }
    [[nodiscard]] HKEY* Out() { return &FHandle; }

private:
    HKEY FHandle = nullptr;
};

void Check(LSTATUS Status, std::u16string_view Action, std::u16string_view Name) {
    if (Status != ERROR_SUCCESS) throw TSystemError(Action, Name, static_cast<int>(Status));
}

HKEY RootOf(TSettingsRoot Root) {
    const std::array<HKEY, 6> Roots = {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_CURRENT_CONFIG,
                                       HKEY_CLASSES_ROOT, HKEY_USERS,         HKEY_DYN_DATA};
    return Roots[static_cast<std::size_t>(Root)];
}

class TRegistry final : public TSettings {
public:
    TRegistry(TSettingsRoot Root, std::u16string_view Key, TSettingsAccess Access)
        : FName(Key)
        , FAccess(Access) {
        const LSTATUS Status =
            Access == TSettingsAccess::Read
                ? RegOpenKeyExW(RootOf(Root), Wide(FName.c_str()), 0, KEY_READ, FKey.Out())
                : RegCreateKeyExW(RootOf(Root), Wide(FName.c_str()), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                  KEY_READ | KEY_WRITE | DELETE, nullptr, FKey.Out(), nullptr);
        if (Access == TSettingsAccess::Read && Status == ERROR_FILE_NOT_FOUND) return;
        Check(Status, CannotOpenKey, FName);
    }

    std::optional<std::u16string> Read(std::u16string_view Section, std::u16string_view Key) const override {
        const std::u16string SectionName(Section), KeyName(Key);
        std::u16string Value;
        for (DWORD Size = 256;;) { // bytes
            Value.resize(Size / sizeof(char16_t) + 1);
            Size = static_cast<DWORD>(Value.size() * sizeof(char16_t));
            const LSTATUS Status =
                FKey.Get() == nullptr
                    ? LSTATUS{ERROR_FILE_NOT_FOUND}
                    : RegGetValueW(FKey.Get(), Wide(SectionName.c_str()), Wide(KeyName.c_str()),
                                   RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND, nullptr, Value.data(),
                                   &Size);
            if (Status == ERROR_FILE_NOT_FOUND || Status == ERROR_UNSUPPORTED_TYPE) return std::nullopt;
            if (Status == ERROR_MORE_DATA) continue;
            Check(Status, CannotReadKey, Full(Section));
            Value.resize(Size / sizeof(char16_t));
            while (Value.ends_with(u'\0')) Value.pop_back();
            return Value;
        }
    }

    void Write(std::u16string_view Section, std::u16string_view Key, std::u16string_view Value) override {
        Writable();
        if (const std::u16string Reason = SettingsRefusal(Section, Key, Value); !Reason.empty())
            throw TSettingsError(u"Cannot keep [" + Full(Section) + u"] " + std::u16string(Key) + u": " +
                                 Reason);
        const std::u16string SectionName(Section), KeyName(Key), Text(Value);
        TKey Below;
        Check(RegCreateKeyExW(FKey.Get(), Wide(SectionName.c_str()), 0, nullptr, REG_OPTION_NON_VOLATILE,
                              KEY_WRITE, nullptr, Below.Out(), nullptr),
              CannotWriteKey, Full(Section));
        Check(RegSetValueExW(Below.Get(), Wide(KeyName.c_str()), 0, REG_SZ,
                             reinterpret_cast<const BYTE*>(Text.c_str()),
                             static_cast<DWORD>((Text.size() + 1) * sizeof(char16_t))),
              CannotWriteKey, Full(Section));
    }

    void EraseKey(std::u16string_view Section, std::u16string_view Key) override {
        Writable();
        const std::u16string SectionName(Section), KeyName(Key);
        const LSTATUS Status =
            RegDeleteKeyValueW(FKey.Get(), Wide(SectionName.c_str()), Wide(KeyName.c_str()));
        if (Status != ERROR_FILE_NOT_FOUND) Check(Status, CannotWriteKey, Full(Section));
    }

    void EraseSection(std::u16string_view Section) override {
        Writable();
        const std::u16string Name(Section);
        const LSTATUS Status = RegDeleteTreeW(FKey.Get(), Wide(Name.c_str()));
        if (Status != ERROR_FILE_NOT_FOUND) Check(Status, CannotWriteKey, Full(Section));
    }

    std::vector<std::u16string> Sections() const override {
        std::vector<std::u16string> Names;
        wchar_t Name[256] = {}; // the longest that there is
        for (DWORD Index = 0; FKey.Get() != nullptr; ++Index) {
            DWORD Length = 256;
            if (RegEnumKeyExW(FKey.Get(), Index, Name, &Length, nullptr, nullptr, nullptr, nullptr) !=
                ERROR_SUCCESS)
                break;
            Names.emplace_back(Narrow(Name), Length);
        }
        return Names;
    }

    std::vector<std::u16string> Keys(std::u16string_view Section) const override {
        std::vector<std::u16string> Names;
        const std::u16string SectionName(Section);
        TKey Below;
        if (FKey.Get() == nullptr ||
            RegOpenKeyExW(FKey.Get(), Wide(SectionName.c_str()), 0, KEY_READ, Below.Out()) != ERROR_SUCCESS)
            return Names;
        std::u16string Name(16384, u'\0'); // the longest that there is
        for (DWORD Index = 0;; ++Index) {
            auto Length = static_cast<DWORD>(Name.size());
            if (RegEnumValueW(Below.Get(), Index, Wide(Name.data()), &Length, nullptr, nullptr, nullptr,
                              nullptr) != ERROR_SUCCESS)
                break;
            Names.emplace_back(Name.data(), Length);
        }
        return Names;
    }

    void Flush() override {} // each change is kept at once

private:
    void Writable() const {
        if (FAccess == TSettingsAccess::Read)
            throw TSettingsError(u"The settings below \"" + FName + u"\" were opened for reading only");
    }
    [[nodiscard]] std::u16string Full(std::u16string_view Section) const {
        return FName + u"\\" + std::u16string(Section);
    }

    std::u16string FName;
    TSettingsAccess FAccess;
    TKey FKey;
};

} // namespace

std::unique_ptr<TSettings> OpenRegistry(TSettingsRoot Root, std::u16string_view Key, TSettingsAccess Access) {
    return std::make_unique<TRegistry>(Root, Key, Access);
}

} // namespace zutools::platform
