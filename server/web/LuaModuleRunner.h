// Runs web modules in a Lua state of the worker thread's own.

#pragma once

#include "server/lua/LuaEngine.h"
#include "server/web/Config.h"
#include "server/web/ModuleRunner.h"

#include <functional>
#include <optional>
#include <string_view>

namespace zutools::server {

/// The options of a web module's engine: sandboxed, with the configured limits, without a database.
[[nodiscard]] TLuaOptions WebLuaOptions(const TWebConfig& Config);

class TLuaModuleRunner : public TModuleRunner {
public:
    explicit TLuaModuleRunner(TLuaOptions Options);
    /// Calls the options' ThreadEnd when the engine is gone.
    ~TLuaModuleRunner() override;

    /// The module finds its page under the globals `request` and `response`.
    void Run(std::u16string_view ModuleFile, TWebRequest& Request, TWebResponse& Response) override;
    bool RunFrame(std::u16string_view Title, std::string_view Content, TWebRequest& Request,
                  TWebResponse& Response) override;

private:
    void Show(TWebRequest& Request, TWebResponse& Response);
    const std::function<void()> FThreadEnd;
    TSessionControl* FSession = nullptr; // of the page that runs
    std::optional<TLuaEngine> FEngine;
};

} // namespace zutools::server
