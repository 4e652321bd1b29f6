#include "apps/zuhost/Dev.h"

#include "apps/zuhost/ServeChecks.h"
#include "host/Exception.h"
#include "platform/File.h"
#include "platform/Text.h"
#include "server/lua/LuaEngine.h"
#include "templates/Lint.h"

#include <filesystem>
#include <fstream>

namespace zutools::zuhost {

namespace {

using namespace zutools::server;
namespace fs = std::filesystem;

fs::path SessionsFile(std::u16string_view ConfigFile) {
    return fs::absolute(fs::path(ConfigFile)).parent_path() / ".zuhost-dev-sessions";
}

/// Calls `Visit` with every file below a folder of that ending.
template <class TVisit>
void EachFile(const std::u16string& Folder, std::string_view Ending, const TVisit& Visit) {
    if (Folder.empty()) return;
    std::error_code Ignored;
    for (const fs::directory_entry& Each : fs::recursive_directory_iterator(fs::path(Folder), Ignored))
        if (Each.is_regular_file(Ignored) && Each.path().string().ends_with(Ending)) Visit(Each.path());
}

} // namespace

void RequireLoopback(const TWebConfig& Config) {
    if (IsLoopback(Config.Address)) return;
    throw Exception(u"--dev shows sources and the log to everybody who reaches the service: it takes "
                    u"address = \"127.0.0.1\" or \"::1\" only");
}

void TRecentLog::Log(TLogLevel Level, std::u16string_view Text) noexcept {
    FNext->Log(Level, Text);
    try {
        constexpr std::size_t Most = 20;
        const std::scoped_lock Guard(FMutex);
        if (FLines.size() == Most) FLines.pop_front();
        FLines.emplace_back(Text);
    } catch (const std::exception&) {
        // A page without this line; the log has it.
    }
}

std::vector<std::u16string> TRecentLog::Lines() const {
    const std::scoped_lock Guard(FMutex);
    return {FLines.begin(), FLines.end()};
}

void CheckApplication(const TWebConfig& Config, TLogger& Logger) {
    const auto Tell = [&Logger](std::u16string_view Text) { Logger.Log(TLogLevel::Warning, Text); };
    for (const std::u16string& Fault : FaultsBesideConfig(Config)) Tell(Fault);
    EachFile(Config.Templates, ".html", [&](const fs::path& File) {
        const std::string Bytes = platform::TReadFile(File.u16string()).ReadAll();
        for (const TLintProblem& Problem : LintTemplate(Bytes).Problems)
            Tell(File.u16string() + u":" + platform::Utf8ToUtf16(std::to_string(Problem.Place.Line)) + u": " +
                 Problem.Message);
    });
    TLuaEngine Engine({});
    EachFile(Config.Modules, ".lua", [&](const fs::path& File) {
        try {
            Engine.CheckFile(File.u16string());
        } catch (const EScriptError& Error) {
            Tell(Error.Message());
        }
    });
}

std::uint64_t SourceStamp(const TWebConfig& Config, std::u16string_view ConfigFile) {
    std::uint64_t Stamp = 0;
    const auto Add = [&Stamp](const fs::path& File) {
        std::error_code Ignored;
        const auto Time =
            static_cast<std::uint64_t>(fs::last_write_time(File, Ignored).time_since_epoch().count());
        const std::uint64_t Size = fs::file_size(File, Ignored);
        Stamp +=
            (fs::hash_value(File) ^ Time) * 1099511628211U + Size; // in whatever order the folder gives them
    };
    Add(fs::path(ConfigFile));
    EachFile(Config.Templates, "", Add);
    EachFile(Config.Strings, ".json", Add);
    return Stamp;
}

std::string ReadDevSessions(std::u16string_view ConfigFile) {
    std::ifstream In(SessionsFile(ConfigFile), std::ios::binary);
    return {std::istreambuf_iterator<char>(In), {}};
}

void WriteDevSessions(std::u16string_view ConfigFile, const std::string& Text) {
    const fs::path File = SessionsFile(ConfigFile);
    std::error_code Ignored;
    fs::remove(File, Ignored);
    std::ofstream Out(File, std::ios::binary);
    fs::permissions(File, fs::perms::owner_read | fs::perms::owner_write, Ignored);
    Out << Text;
}

} // namespace zutools::zuhost
