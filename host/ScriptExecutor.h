// The script engine that runs on the calling thread, as far as the package asks it.

#pragma once

#include <string>

namespace zutools {

class TScriptExecutor {
public:
    virtual ~TScriptExecutor() = default;
    /// The calls that lead to the running handler, innermost first, one a line, each with script and line.
    /// Called on the thread that runs the script. May raise.
    [[nodiscard]] virtual std::u16string CallStack() = 0;
};

/// The executor bound to the calling thread, or null.
[[nodiscard]] TScriptExecutor* CurrentScriptExecutor();

/// Binds an executor to the calling thread for a scope; scopes nest, and the outer one comes back.
class TScriptExecutorScope {
public:
    explicit TScriptExecutorScope(TScriptExecutor& Executor);
    ~TScriptExecutorScope();
    TScriptExecutorScope(const TScriptExecutorScope&) = delete;
    TScriptExecutorScope& operator=(const TScriptExecutorScope&) = delete;

private:
    TScriptExecutor* FOuter;
};

} // namespace zutools
