// One Lua state with the script registry's objects in it.
//
// A worker thread makes one engine and runs scripts in it one after the other; an engine is used by one
// thread at a time. Objects of the library are reached by their registered names first, then by their
// published properties and methods, then by their own hooks: `tpl.Name = "page"`, `tpl.Tag["X"] = "1"`,
// `tpl:BuildTemplate()`.
//
// An engine has the globals that the registered classes declare, and remembers what their names mean:
// register classes before the engines are made, and unregister them after the engines are gone.

#pragma once

#include "host/Exception.h"
#include "host/Object.h"
#include "host/Queries.h"
#include "host/Services.h"
#include "scripting/Pubintob.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zutools {}

namespace zutools::server {

/// A script that failed. The message begins with the place, `script.lua:12: what happened`, unless the script
/// raised a text without one; the traceback is for the log, one call a line, and empty for a script that does
/// not compile.
class EScriptError : public Exception {
public:
    EScriptError(std::u16string Message, std::u16string Traceback)
        : Exception(std::move(Message))
        , FTraceback(std::make_shared<const std::u16string>(std::move(Traceback))) {}
    [[nodiscard]] const std::u16string& Traceback() const { return *FTraceback; }

private:
    std::shared_ptr<const std::u16string> FTraceback;
};

class TSessionControl;

/// What pages of a service have in common.
struct TPageOptions {
    std::u16string Frame;                  // template around each page; empty: none
    std::u16string SignIn;                 // path of the page where users sign in
    std::vector<std::u16string> Languages; // that there are
};

struct TLuaOptions {
    /// For web modules: no os.execute, io, debug, native modules; no reading of files by load, dofile or
    /// loadfile, `require` finds Lua files in ModuleDirectory only, `print` goes to the log, and no run sees
    /// what an earlier one left behind.
    bool Sandboxed = false;
    /// Where `require` looks; empty means nowhere when sandboxed, and Lua's own places otherwise.
    std::u16string ModuleDirectory;
    /// Virtual machine instructions a run may take, rounded up to a thousand; 0 means no limit. Passing it is
    /// a script error that the script cannot go on from. When sandboxed, the work of library functions that
    /// has no other bound counts too. The time of the thread's work (host/WorkClock.h) ends a run likewise.
    std::uint64_t InstructionLimit = 0;
    /// Bytes the state may hold; 0 means no limit. Passing it is a script error that the script cannot go on
    /// from. The texts of templates that scripts made count; when sandboxed, the library's objects that a run
    /// made end with it.
    std::size_t MemoryLimit = 0;
    /// Who may do what, and where `print` of web modules goes; those of the process when not given.
    TServices Services = zutools::Services();
    TPageOptions Pages;
    /// For `db`, and what `db.kind` tells of it.
    TDatabaseOfThread Database;
    std::string DatabaseKind;
    /// Called at the end of each thread that `zu.as_session` made, to release what is kept by thread (the
    /// database connection); may be empty.
    std::function<void()> ThreadEnd;
    /// The session of the page that runs, for the global `session` (SessionControl.h); null when none runs.
    /// Empty: scripts have no such global.
    std::function<TSessionControl*()> Session;
    /// Called once for each engine, on the thread that makes it, to publish the application's own objects;
    /// may be empty.
    std::function<void(TScriptPublisher&)> Publish;
};

class TLuaEngine : public TScriptPublisher {
public:
    /// @throws EScriptError when the memory limit is too small for the libraries.
    explicit TLuaEngine(TLuaOptions Options);
    ~TLuaEngine() override;
    TLuaEngine(const TLuaEngine&) = delete;
    TLuaEngine& operator=(const TLuaEngine&) = delete;

    /// Makes an object a global of the scripts. Not owned: when it dies, scripts get an error instead of the
    /// object. Between runs only, as everything below. `Name` is UTF-8.
    void SetGlobal(std::string_view Name, TObject& Object);
    /// Makes a global of what `Object` gives at each use, on the thread that uses it: data of the calling
    /// thread. While it gives null, every name of the global reads as nil.
    void SetGlobal(std::string_view Name, std::function<TObject*()> Object);
    /// Makes a global through which scripts use the published properties and methods of any object.
    void Publish(std::string_view Name, TObject& Object, bool ReadOnly = false) override;
    void Publish(std::string_view Name, std::unique_ptr<TObject> Object, bool ReadOnly = false) override;
    /// Makes a global nil again.
    void ClearGlobal(std::string_view Name);

    /// Runs a script file with `arg` as stand-alone Lua has it. Blocks until it ends.
    /// @throws EScriptError for any error in it, platform::TSystemError when the file cannot be read,
    /// Exception when
    ///         called from inside a script of this engine.
    void RunFile(std::u16string_view File, const std::vector<std::string>& Args = {});
    /// Runs a web module: compiled at its first call, and again when the file's time or size changed; globals
    /// that it sets do not stay for the next run.
    /// @throws as RunFile.
    void RunModule(std::u16string_view File);
    /// Calls a function that the library itself wrote in Lua (prelude/), by its name in their shared table,
    /// with texts and gives whether it returned true. Globals as in a module. @throws as RunFile.
    bool CallOwn(const char* Function, const std::vector<std::string>& Args);
    /// Compiles a script file and forgets it. @throws EScriptError for what is wrong in it.
    void CheckFile(std::u16string_view File);
    /// Runs a text; `ChunkName` stands in messages.
    /// @throws as RunFile.
    void RunText(std::string_view Text, std::string_view ChunkName);

    /// Runs a script file that returns a function, and keeps the function for CallFunction.
    /// @throws as RunFile; EScriptError also when it returns no function.
    void LoadFunction(std::u16string_view File);
    /// Calls the kept function with a byte string and gives the byte string that it returns.
    /// @throws EScriptError for any error in it, and when it returns anything else.
    [[nodiscard]] std::string CallFunction(std::string_view Bytes);

    struct TImpl;

private:
    std::unique_ptr<TImpl> FImpl;
};

} // namespace zutools::server
