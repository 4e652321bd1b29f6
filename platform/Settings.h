// Settings: sections of keys with text values, wherever they are kept: a settings file, the registry, or
// memory.
//
// One thread at a time uses an object. Opening and `Flush` block on the disk. Names of sections and keys
// compare ignoring the letter case of ASCII letters.

#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::platform {

/// Settings that cannot be read, kept or changed; the message names the file, key or section and says why.
class TSettingsError : public std::exception {
public:
    explicit TSettingsError(std::u16string Message);
    [[nodiscard]] const std::u16string& Message() const { return FMessage; }
    [[nodiscard]] const char* what() const noexcept override { return FUtf8.c_str(); }

private:
    std::u16string FMessage;
    std::string FUtf8;
};

class TSettings {
public:
    virtual ~TSettings() = default;

    /// The value; nothing when the section or the key is not there. What was written is read back the same,
    /// blanks and quotes at its ends included.
    [[nodiscard]] virtual std::optional<std::u16string> Read(std::u16string_view Section,
                                                             std::u16string_view Key) const = 0;
    /// Sets a value, making the section when it is missing.
    /// @throws TSettingsError for a name or value that cannot be kept (SettingsRefusal).
    virtual void Write(std::u16string_view Section, std::u16string_view Key, std::u16string_view Value) = 0;
    /// Removes a key, or a section with all its keys; nothing happens when it is not there.
    virtual void EraseKey(std::u16string_view Section, std::u16string_view Key) = 0;
    virtual void EraseSection(std::u16string_view Section) = 0;

    /// The names as they are kept, in the order of the store.
    [[nodiscard]] virtual std::vector<std::u16string> Sections() const = 0;
    [[nodiscard]] virtual std::vector<std::u16string> Keys(std::u16string_view Section) const = 0;

    /// Takes what other programs changed since, where the store does not follow by itself. Own changes stay.
    virtual void Refresh() {}
    /// Makes the changes since the last call last. The registry of Windows and memory keep each change at
    /// once.
    /// @throws TSystemError or TSettingsError when it cannot; the changes are kept for another try.
    virtual void Flush() = 0;
};

/// Why these cannot be kept, the same for every store; empty when they can: line breaks and NUL anywhere,
/// empty names, blanks at the ends of names, "]" in a section, and a key that begins with "[", ";" or "#" or
/// holds "=".
[[nodiscard]] std::u16string SettingsRefusal(std::u16string_view Section, std::u16string_view Key,
                                             std::u16string_view Value);

/// The roots that a store of the whole system has.
enum class TSettingsRoot : std::uint8_t {
    CurrentUser,
    LocalMachine,
    CurrentConfig,
    ClassesRoot,
    Users,
    DynData,
};

/// Whether a store may be changed.
enum class TSettingsAccess : std::uint8_t { Read, ReadWrite };

/// The settings below a key of the system's store: sections are the keys below it. On Windows this is the
/// registry; elsewhere a settings file for each root, `CurrentUser.ini` and so on, in the folder `zutools` of
/// the user's configuration folder ($XDG_CONFIG_HOME) for the user and of the system's ($XDG_CONFIG_DIRS) for
/// all other roots. `Key` may have several parts with "\" between them. For `ReadWrite` a missing key is
/// made; for `Read` it reads as empty, and every change raises TSettingsError.
/// @throws TSystemError when the system refuses.
[[nodiscard]] std::unique_ptr<TSettings> OpenRegistry(TSettingsRoot Root, std::u16string_view Key,
                                                      TSettingsAccess Access);

/// Hears what a person should know and no error says: a damaged file that was set aside.
using TSettingsNotice = std::function<void(std::u16string_view Text)>;

} // namespace zutools::platform
