#include "server/web/LuaModuleRunner.h"

namespace zutools::server {

TLuaOptions WebLuaOptions(const TWebConfig& Config) {
    TLuaOptions Options;
    Options.Sandboxed = true;
    Options.ModuleDirectory = Config.Modules;
    Options.InstructionLimit = Config.Limits.Instructions;
    Options.MemoryLimit = Config.Limits.MemoryBytes;
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

void TLuaModuleRunner::Run(std::u16string_view ModuleFile, TWebRequest& Request, TWebResponse& Response) {
    FEngine->SetGlobal("request", Request);
    FEngine->SetGlobal("response", Response);
    FSession = Request.Session;
    FEngine->RunModule(ModuleFile); // after an error nobody asks for the session before the next page sets it
}

} // namespace zutools::server
