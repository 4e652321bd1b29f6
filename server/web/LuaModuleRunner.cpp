#include "server/web/LuaModuleRunner.h"

#include "platform/Text.h"
#include "server/sql/SqlDatabase.h"

namespace zutools::server {

TLuaOptions WebLuaOptions(const TWebConfig& Config) {
    TLuaOptions Options;
    Options.Sandboxed = true;
    Options.ModuleDirectory = Config.Modules;
    Options.InstructionLimit = Config.Limits.Instructions;
    Options.MemoryLimit = Config.Limits.MemoryBytes;
    Options.Pages = {Config.Frame, Config.Session.SignIn, Config.Languages};
    if (!Config.Database.empty())
        Options.DatabaseKind = platform::Utf16ToUtf8(ParseDatabaseUrl(Config.Database).Engine->Words().Kind);
    return Options;
}

TLuaModuleRunner::TLuaModuleRunner(TLuaOptions Options)
    : FThreadEnd(Options.ThreadEnd) {
    Options.Session = [this] { return FSession; };
    FEngine.emplace(std::move(Options));
}

TLuaModuleRunner::~TLuaModuleRunner() {
    FEngine.reset();
    if (FThreadEnd) FThreadEnd();
}

bool TLuaModuleRunner::RunFrame(std::u16string_view Title, std::string_view Content, TWebRequest& Request,
                                TWebResponse& Response) {
    Show(Request, Response);
    return FEngine->CallOwn("write_fault", {platform::Utf16ToUtf8(Title), std::string(Content)});
}

void TLuaModuleRunner::Show(TWebRequest& Request, TWebResponse& Response) {
    FEngine->SetGlobal("request", Request);
    FEngine->SetGlobal("response", Response);
    FSession = Request.Session;
}

void TLuaModuleRunner::Run(std::u16string_view ModuleFile, TWebRequest& Request, TWebResponse& Response) {
    Show(Request, Response);
    FEngine->RunModule(ModuleFile); // after an error nobody asks for the session before the next page sets it
}

} // namespace zutools::server
