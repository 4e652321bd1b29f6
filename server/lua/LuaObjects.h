// Objects of the library as Lua sees them. For the sources of this folder.
//
// A handle is one userdata per object and state. It holds a TObjectRef, so it notices the object's death; the
// object itself when a script made it, or what keeps an object that several threads hold; and the userdata
// that it was reached through, so that an owner outlives its parts' handles. What a name means is looked up
// once per class and spelling and then kept in a Lua table.

#pragma once

#include "host/Object.h"
#include "host/ScriptObjects.h"

#include <lua.hpp>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace zutools::server {

struct TClassCache;

/// What a name means for a class.
struct TEntry {
    enum class TKind : std::uint8_t {
        Property,  // registered, without arguments
        Indexed,   // registered, with arguments or any number of them
        Call,      // registered function or procedure
        Published, // published property
        Wrapped,   // published property of the object behind a published object
        Method,    // published method
        Hook,      // for the object's own hooks to know
    };
    TKind Kind = TKind::Hook;
    const TClassCache* Class = nullptr;
    std::u16string Name;
    TScriptMember Member{}; // a copy: the registry's own may be replaced
    const TPropInfo* Property = nullptr;
    const TMethodInfo* Method = nullptr;
};

/// What the engine knows about a class; of published objects, one for each class behind them.
struct TClassCache {
    const TClassInfo* Info = nullptr;
    const TClassInfo* Behind = nullptr; // of the object that a published object stands for
    bool HasHooks = false;
    int Metatable = LUA_NOREF;
    int Names = LUA_NOREF; // Lua table from a name as spelled to a function or a TEntry
    int NameCount = 0;
    std::map<std::u16string, TEntry> Entries; // by the name's own spelling

    /// The class whose published members scripts see.
    [[nodiscard]] const TClassInfo& Shown() const { return Behind != nullptr ? *Behind : *Info; }
};

/// What the engine keeps about objects.
class TObjectBridge {
public:
    /// Makes the tables; inside a protected call.
    void Open(lua_State* L);
    [[nodiscard]] TClassCache& ClassOf(lua_State* L, const TClassInfo& Info,
                                       const TClassInfo* Behind = nullptr);
    /// Pushes what the string at `Key` means for a class: a function, or a TEntry as light userdata, which
    /// lives until the next call. @throws EIObjectError when the key is no name.
    void PushMeaning(lua_State* L, TClassCache& Class, int Key);

    /// Pops a function and makes it a method of a class beside its registered names: one that takes values
    /// which are no text.
    void SetMethod(lua_State* L, const TClassInfo& Info, const char* Name);

    /// Ends the objects that scripts own; their handles stay, as those of objects that are gone.
    void EndOwned(lua_State* L);

    std::unordered_set<void*> Owning;                                      // the handles of such objects
    std::map<std::string, std::function<TObject*()>, std::less<>> Dynamic; // by global; entries stay
    int Handles = LUA_NOREF;                                               // weak: address to handle
    int DynamicMetatable = LUA_NOREF;
    int IndexedMetatable = LUA_NOREF;

private:
    [[nodiscard]] TEntry Resolve(const TClassCache& Class, std::u16string Name) const;

    std::map<std::pair<const TClassInfo*, const TClassInfo*>, TClassCache> FClasses; // by Info and Behind
    TEntry FScratch;
};

/// Pushes the handle of an object; `Owner` as in PushVariant.
void PushObject(lua_State* L, TObject& Object, int Owner);
/// Pushes the handle of an object that the script owns from now on.
void PushOwned(lua_State* L, std::unique_ptr<TObject> Object);
/// Pushes a handle through which scripts use the published members of an object, and nothing else.
void PushPublished(lua_State* L, TObject& Object, bool ReadOnly);
/// The same, and the script owns the object from now on.
void PushPublished(lua_State* L, std::unique_ptr<TObject> Object, bool ReadOnly);
/// Pushes a global that stands for whatever `Bridge.Dynamic[Name]` gives at each use.
void PushDynamic(lua_State* L, std::string_view Name);

/// A handle, or a global of the calling thread's data.
[[nodiscard]] bool IsObject(lua_State* L, int Index);
/// The object of such a userdata; null when the thread has none. @throws EIObjectError when it is gone.
[[nodiscard]] TObject* ObjectAt(lua_State* L, int Index);
/// The property when the value is one that still wants its index; else null.
[[nodiscard]] const TEntry* IndexedAt(lua_State* L, int Index);

} // namespace zutools::server
