#include "host/ScriptExecutor.h"

#include <utility>

namespace zutools {

namespace {

TScriptExecutor*& Bound() {
    static thread_local TScriptExecutor* Executor = nullptr;
    return Executor;
}

} // namespace

TScriptExecutor* CurrentScriptExecutor() {
    return Bound();
}

TScriptExecutorScope::TScriptExecutorScope(TScriptExecutor& Executor)
    : FOuter(std::exchange(Bound(), &Executor)) {}

TScriptExecutorScope::~TScriptExecutorScope() {
    Bound() = FOuter;
}

} // namespace zutools
