// One Lua state with the script registry's objects in it.
//
// A worker thread makes one engine and runs scripts in it one after the other; an engine is used by one thread at a
// time. Objects of the library are reached by their registered names first, then by their published properties, then by
// their own hooks: `tpl.Name = "page"`, `tpl.Tag["X"] = "1"`, `tpl:BuildTemplate()`.

#pragma once

#include "host/Exception.h"
#include "host/Object.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zutools {
class TDatabase;
}

namespace zutools::hosting {

/// A script that failed. The message is one line, `script.lua:12: what happened`; the traceback is for the log.
class EScriptError : public Exception {
public:
    EScriptError(std::u16string Message, std::u16string Traceback)
        : Exception(std::move(Message)), FTraceback(std::make_shared<const std::u16string>(std::move(Traceback))) {}
    [[nodiscard]] const std::u16string& Traceback() const { return *FTraceback; }

private:
    std::shared_ptr<const std::u16string> FTraceback;
};

struct TLuaOptions {
    /// For web modules: no os.execute, io, debug, native modules; no reading of files by load, dofile or loadfile, and
    /// `require` finds Lua files in ModuleDirectory only.
    bool Sandboxed = false;
    std::u16string ModuleDirectory;
    /// Virtual machine instructions a Run may take; 0 means no limit. Passing it is a script error.
    std::uint64_t InstructionLimit = 0;
    /// Bytes the state may hold; 0 means no limit. Passing it is a script error ("not enough memory").
    std::size_t MemoryLimit = 0;
    /// The calling thread's database for `db`; null when there is none.
    std::function<TDatabase*()> Database;
};

class TLuaEngine {
public:
    explicit TLuaEngine(TLuaOptions Options);
    ~TLuaEngine();
    TLuaEngine(const TLuaEngine&) = delete;
    TLuaEngine& operator=(const TLuaEngine&) = delete;

    /// Makes an object a global of the scripts. Not owned: when it dies, scripts get an error instead of the object.
    void SetGlobal(std::string_view Name, TObject& Object);
    /// Makes a global nil again.
    void ClearGlobal(std::string_view Name);

    /// Runs a script file with `arg` as stand-alone Lua has it. Blocks until it ends.
    /// @throws EScriptError for any error in it, platform::TSystemError when the file cannot be read.
    void RunFile(std::u16string_view File, const std::vector<std::string>& Args = {});
    /// Runs a web module: compiled at its first call, and again when its file changed; globals that it sets do not
    /// stay for the next run.
    /// @throws as RunFile.
    void RunModule(std::u16string_view File);
    /// Runs a text; `ChunkName` stands in messages.
    void RunText(std::string_view Text, std::string_view ChunkName);

    struct TImpl;

private:
    std::unique_ptr<TImpl> FImpl;
};

} // namespace zutools::hosting
