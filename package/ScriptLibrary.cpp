#include "package/ScriptLibrary.h"

#include "host/Format.h"
#include "platform/DynamicLibrary.h"

#include <filesystem>
#include <mutex>
#include <utility>
#include <vector>

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

// What a library showed may be in use while the process ends, so none is ever unloaded.
void KeepToTheEnd(platform::TDynamicLibrary Module) {
    static std::mutex Lock;
    static auto& Kept = *new std::vector<platform::TDynamicLibrary>;
    const std::scoped_lock Guard(Lock);
    Kept.push_back(std::move(Module));
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
    KeepToTheEnd(std::move(Module));
    return *Library;
}

} // namespace zutools
