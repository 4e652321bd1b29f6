// What runs a script module for the web host: Lua in the service, anything in a test.

#pragma once

#include "server/web/WebObjects.h"

#include <functional>
#include <memory>
#include <string_view>

namespace zutools::server {

/// Made, used and destroyed on one worker thread, which has the session under "Session" in ThreadObjects()
/// during Run.
class TModuleRunner {
public:
    virtual ~TModuleRunner() = default;
    /// Runs a module file to its end. Both objects die soon after.
    /// @throws EScriptError, or any other exception; the user sees a plain page, the log the message.
    virtual void Run(std::u16string_view ModuleFile, TWebRequest& Request, TWebResponse& Response) = 0;
    /// Writes a page that no module made, in the application's own frame. False: it has none. Raises as Run.
    virtual bool RunFrame(std::u16string_view /*Title*/, std::string_view /*Content*/,
                          TWebRequest& /*Request*/, TWebResponse& /*Response*/) {
        return false;
    }
};

/// Called on each worker thread at its first page, and again when it raised.
using TModuleRunnerFactory = std::function<std::unique_ptr<TModuleRunner>()>;

} // namespace zutools::server
