#include "package/ScriptLibrary.h"

#include "host/Format.h"
#include "platform/DynamicLibrary.h"

#include <filesystem>
#include <utility>

namespace zutools {

namespace {

platform::TDynamicLibrary Load(std::u16string_view File) {
    std::error_code Ignored;
    if (!std::filesystem::exists(std::filesystem::path(File), Ignored)) {
        throw EScriptLibrary(Format(u"library \"%s\": there is no such file", {File}));
    }
    try {
        return platform::TDynamicLibrary(File);
    } catch (const std::exception& Error) {
        throw EScriptLibrary(MessageOf(Error));
    }
}

} // namespace

const TScriptLibrary& LoadScriptLibrary(std::u16string_view File) {
    platform::TDynamicLibrary Module = Load(File);
    const auto Entry = reinterpret_cast<TScriptLibraryEntry>(Module.Find(ScriptLibraryEntryName));
    if (Entry == nullptr) {
        throw EScriptLibrary(
            Format(u"library \"%s\" is none for scripts: it shows no function ZuScriptLibrary", {File}));
    }
    const TScriptLibrary* const Library = Entry();
    if (Library == nullptr || Library->Major != VersionMajor || Library->Minor != VersionMinor) {
        const int Major = Library != nullptr ? Library->Major : 0;
        const int Minor = Library != nullptr ? Library->Minor : 0;
        throw EScriptLibrary(
            Format(u"library \"%s\" was built with ZuTools %d.%d, and this is %s: build it anew",
                   {File, Major, Minor, HeaderVersion}));
    }
    static_cast<void>(new platform::TDynamicLibrary(std::move(Module))); // stays to the end of the process
    return *Library;
}

} // namespace zutools
