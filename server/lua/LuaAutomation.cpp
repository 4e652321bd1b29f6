#include "server/lua/LuaAutomation.h"

#include "host/Format.h"
#include "platform/Text.h"
#include "platform/TextTools.h"
#include "scripting/AutomationValues.h"
#include "scripting/Reflected.h"
#include "server/lua/LuaState.h"

#include <algorithm>
#include <new>

namespace zutools::server {

using platform::TAutomationOutcome;
using platform::TAutomationPtr;
using platform::TAutomationValue;
using platform::TInvokeKind;

namespace {

constexpr const char* ClassName = "automation object";
constexpr int MaxDepth = 32; // of arrays in arrays

// Places in Lua's registry.
constexpr char HandlesKey = 0; // weak: address to userdata
constexpr char AliveKey = 0;

enum TUserValue { Table = 1 };

TAutomationPtr* HandleAt(lua_State* L, int Index) {
    return static_cast<TAutomationPtr*>(luaL_testudata(L, Index, ClassName));
}

// Leaves the userdata of an object, or nil.
int PushKnown(lua_State* L, const platform::TAutomationObject* Object) {
    lua_rawgetp(L, LUA_REGISTRYINDEX, &HandlesKey);
    const int Type = lua_rawgetp(L, -1, Object);
    lua_remove(L, -2);
    return Type;
}

void PushNew(lua_State* L, const TAutomationPtr& Object) {
    new (lua_newuserdatauv(L, sizeof(TAutomationPtr), 1)) TAutomationPtr(Object);
    luaL_setmetatable(L, ClassName); // from here on the collector ends it
    lua_rawgetp(L, LUA_REGISTRYINDEX, &HandlesKey);
    lua_pushvalue(L, -2);
    lua_rawsetp(L, -2, Object.get());
    lua_pop(L, 1);
}

int Collect(lua_State* L) {
    if (TAutomationPtr* const Handle = HandleAt(L, 1)) std::exchange(*Handle, nullptr);
    return 0;
}

int Describe(lua_State* L) {
    lua_pushfstring(L, "%s: %p", ClassName, lua_topointer(L, 1));
    return 1;
}

// ---- a table as an object

// The state, as long as there is one.
using TAlive = std::shared_ptr<lua_State*>;

int EndAlive(lua_State* L) {
    auto& Alive = *static_cast<TAlive*>(lua_touserdata(L, 1));
    *Alive = nullptr;
    Alive.~TAlive();
    return 0;
}

class TTableObject final : public platform::TAutomationObject {
public:
    explicit TTableObject(TAlive Alive)
        : FAlive(std::move(Alive)) {}

    [[nodiscard]] std::optional<std::int32_t> FindMember(std::u16string_view Name) override {
        TCall Call{*this};
        Call.Name = platform::Utf16ToUtf8(Name);
        return Run<Find>(Call) ? Call.Id : std::nullopt;
    }
    [[nodiscard]] TAutomationOutcome Invoke(std::int32_t Member, TInvokeKind Kind,
                                            std::span<const TAutomationValue> Args,
                                            bool WantResult) override {
        if (Member < 1 || static_cast<std::size_t>(Member) > FNames.size())
            return platform::AutomationRefusal(platform::AutomationCode::MemberNotFound);
        TCall Call{*this};
        Call.Id = Member;
        Call.Kind = Kind;
        Call.Args = Args;
        Call.WantResult = WantResult;
        if (!Run<Use>(Call)) return platform::AutomationRefusal(Call.Code, std::move(Call.Error));
        return {Call.Code, {}, std::move(Call.Result)};
    }
    [[nodiscard]] std::optional<platform::TAutomationType> DescribeType() override {
        TCall Call{*this};
        Call.Type.Name = u"table";
        return Run<ListMembers>(Call) ? std::optional(std::move(Call.Type)) : std::nullopt;
    }

private:
    struct TCall {
        TTableObject& Self;
        std::string Name{};
        std::optional<std::int32_t> Id{};
        TInvokeKind Kind = TInvokeKind::Method;
        std::span<const TAutomationValue> Args{};
        bool WantResult = false;
        std::int32_t Code = platform::AutomationCode::Done;
        TAutomationValue Result{};
        platform::TAutomationType Type{};
        std::u16string Error{};
    };

    // Runs Body(L, Call) with the table at 1, protected. False: refused, with Code and Error.
    template <void (*Body)(lua_State*, TCall&)>
    bool Run(TCall& Call) {
        lua_State* const Main = *FAlive;
        lua_State* const Current = Main != nullptr ? StateOf(Main).Executor.Current : nullptr;
        lua_State* const L = Current != nullptr ? Current : Main;
        constexpr int Needed = 4;
        if (L == nullptr || lua_checkstack(L, Needed) == 0) {
            Call.Code = platform::AutomationCode::ObjectGone;
            return false;
        }
        lua_pushcfunction(L, Border<Enter<Body>>);
        lua_pushlightuserdata(L, &Call);
        if (lua_pcall(L, 1, 0, 0) != LUA_OK) {
            Call.Code = platform::AutomationCode::Raised;
            Call.Error = lua_type(L, -1) == LUA_TSTRING ? platform::Utf8ToUtf16(StringAt(L, -1))
                                                        : u"(error object is no text)";
            lua_pop(L, 1);
        }
        return Call.Code >= 0;
    }
    template <void (*Body)(lua_State*, TCall&)>
    static int Enter(lua_State* L) {
        auto& Call = *static_cast<TCall*>(lua_touserdata(L, 1));
        if (PushKnown(L, &Call.Self) == LUA_TNIL || lua_getiuservalue(L, -1, Table) != LUA_TTABLE) {
            Call.Code = platform::AutomationCode::ObjectGone;
            return 0;
        }
        lua_replace(L, 1);
        lua_settop(L, 1);
        Body(L, Call);
        return 0;
    }

    // The id of a key; ids stay, whatever happens to the table.
    std::int32_t IdOf(std::string_view Key) {
        auto Found = std::find(FNames.begin(), FNames.end(), Key);
        if (Found == FNames.end()) Found = FNames.emplace(FNames.end(), Key);
        return static_cast<std::int32_t>(Found - FNames.begin()) + 1;
    }
    void PushMember(lua_State* L, std::int32_t Id) const {
        PushString(L, FNames[static_cast<std::size_t>(Id) - 1]);
        lua_gettable(L, 1);
    }

    static void Find(lua_State* L, TCall& Call) {
        PushString(L, Call.Name);
        if (lua_gettable(L, 1) != LUA_TNIL) {
            Call.Id = Call.Self.IdOf(Call.Name);
            return;
        }
        for (lua_pushnil(L), lua_replace(L, 2); lua_next(L, 1) != 0; lua_pop(L, 1)) {
            if (lua_type(L, -2) != LUA_TSTRING || !platform::EqualAsciiNoCase(StringAt(L, -2), Call.Name))
                continue;
            Call.Id = Call.Self.IdOf(StringAt(L, -2));
            return;
        }
    }
    static void Use(lua_State* L, TCall& Call) {
        const TValuePlace Place{u"", u"a member of a table", -1};
        const auto Allows = [&Call](TInvokeKind Wanted) {
            return (static_cast<unsigned>(Call.Kind) & static_cast<unsigned>(Wanted)) != 0;
        };
        if (Call.Kind == TInvokeKind::PropertyPut) {
            if (Call.Args.size() != 1) {
                Call.Code = platform::AutomationCode::BadArgumentCount;
                return;
            }
            PushString(L, Call.Self.FNames[static_cast<std::size_t>(*Call.Id) - 1]);
            PushAutomationValue(L, Call.Args.front(), Place);
            lua_settable(L, 1);
            return;
        }
        Call.Self.PushMember(L, *Call.Id);
        const bool IsFunction = lua_isfunction(L, -1);
        if (!Allows(IsFunction ? TInvokeKind::Method : TInvokeKind::PropertyGet)) {
            Call.Code = platform::AutomationCode::MemberNotFound;
            return;
        }
        if (IsFunction) {
            luaL_checkstack(L, static_cast<int>(Call.Args.size()) + 2, nullptr);
            lua_pushvalue(L, 1);
            // The last argument stands first.
            for (std::size_t I = Call.Args.size(); I > 0; --I)
                PushAutomationValue(L, Call.Args[I - 1], Place);
            lua_call(L, static_cast<int>(Call.Args.size()) + 1, 1);
        } else if (!Call.Args.empty()) {
            Call.Code = platform::AutomationCode::BadArgumentCount;
            return;
        }
        if (Call.WantResult) Call.Result = AutomationValueAt(L, -1, Place);
    }
    static void ListMembers(lua_State* L, TCall& Call) {
        for (lua_pushnil(L); lua_next(L, 1) != 0; lua_pop(L, 1)) {
            if (lua_type(L, -2) != LUA_TSTRING) continue;
            auto& List = lua_isfunction(L, -1) ? Call.Type.Functions : Call.Type.Variables;
            List.push_back({platform::Utf8ToUtf16(StringAt(L, -2)), Call.Self.IdOf(StringAt(L, -2))});
        }
        for (auto* List : {&Call.Type.Functions, &Call.Type.Variables})
            std::sort(List->begin(), List->end(),
                      [](const auto& A, const auto& B) { return A.Name < B.Name; });
    }

    const TAlive FAlive;
    std::vector<std::string> FNames; // by id
};

TAutomationValue ValueAt(lua_State* L, int Index, const TValuePlace& Place, int Depth);

TAutomationValue ListAt(lua_State* L, int Index, const TValuePlace& Place, int Depth) {
    luaL_checkstack(L, 2, nullptr);
    const int List = lua_absindex(L, Index);
    const auto Length = static_cast<lua_Integer>(lua_rawlen(L, List));
    lua_Integer Count = 0;
    for (lua_pushnil(L); lua_next(L, List) != 0; lua_pop(L, 1)) ++Count;
    if (Count != Length) {
        throw EIObjectError(
            Format(u"%s: a table that is no list cannot be given; zu.automation.object(table) makes "
                   u"an object of it",
                   {Place.Text()}));
    }
    if (Depth == MaxDepth) throw EIObjectError(Format(u"%s: lists are nested too deep", {Place.Text()}));
    TAutomationValue::TArray Items;
    for (lua_Integer I = 1; I <= Length; ++I) {
        lua_rawgeti(L, List, I);
        Items.push_back(ValueAt(L, -1, Place, Depth + 1));
        lua_pop(L, 1);
    }
    return Items;
}

TAutomationValue ValueAt(lua_State* L, int Index, const TValuePlace& Place, int Depth) {
    if (const TAutomationPtr* const Handle = HandleAt(L, Index)) return *Handle;
    if (lua_type(L, Index) == LUA_TTABLE) return ListAt(L, Index, Place, Depth);
    return ToAutomation(ToVariant(L, Index, Place));
}

} // namespace

void OpenAutomationObjects(lua_State* L) {
    luaL_newmetatable(L, ClassName);
    lua_pushcfunction(L, Collect);
    lua_setfield(L, -2, "__gc");
    lua_pushcfunction(L, Describe);
    lua_setfield(L, -2, "__tostring");
    lua_pushboolean(L, 0);
    lua_setfield(L, -2, "__metatable");
    lua_pop(L, 1);

    lua_createtable(L, 0, 0);
    lua_createtable(L, 0, 1);
    lua_pushliteral(L, "v");
    lua_setfield(L, -2, "__mode");
    lua_setmetatable(L, -2);
    lua_rawsetp(L, LUA_REGISTRYINDEX, &HandlesKey);

    new (lua_newuserdatauv(L, sizeof(TAlive), 0)) TAlive(std::make_shared<lua_State*>(StateOf(L).L));
    lua_createtable(L, 0, 1);
    lua_pushcfunction(L, EndAlive);
    lua_setfield(L, -2, "__gc");
    lua_setmetatable(L, -2);
    lua_rawsetp(L, LUA_REGISTRYINDEX, &AliveKey);
}

void PushAutomation(lua_State* L, const TAutomationPtr& Object) {
    if (Object == nullptr) return lua_pushnil(L);
    if (TObject* const Target = ReflectedTarget(Object)) return PushObject(L, *Target, 0);
    if (PushKnown(L, Object.get()) != LUA_TNIL) return;
    lua_pop(L, 1);
    PushNew(L, Object);
}

void PushAutomationValue(lua_State* L, const TAutomationValue& Value, const TValuePlace& Place) {
    luaL_checkstack(L, 3, nullptr);
    if (Value.As<TAutomationPtr>() != nullptr) return PushAutomation(L, Value.Object());
    if (const auto* const Error = Value.As<platform::TAutomationError>())
        return PushText(L, platform::AutomationErrorText(Error->Code), Place);
    if (const auto* const Items = Value.As<TAutomationValue::TArray>()) {
        lua_createtable(L, static_cast<int>(Items->size()), 0);
        for (std::size_t I = 0; I < Items->size(); ++I) {
            PushAutomationValue(L, (*Items)[I], Place);
            lua_rawseti(L, -2, static_cast<lua_Integer>(I) + 1);
        }
        return;
    }
    PushVariant(L, FromAutomation(Value), 0, Place);
}

TAutomationPtr AutomationAt(lua_State* L, int Index, const TValuePlace& Place) {
    if (lua_isnoneornil(L, Index)) return nullptr;
    if (const TAutomationPtr* const Handle = HandleAt(L, Index)) return *Handle;
    TObject* const Object = IsObject(L, Index) ? ObjectAt(L, Index) : nullptr;
    if (Object == nullptr) {
        throw EIObjectError(Format(u"%s: an automation object is wanted, not a %s",
                                   {Place.Text(), platform::Utf8ToUtf16(luaL_typename(L, Index))}));
    }
    return ReflectedObject(*Object);
}

TAutomationValue AutomationValueAt(lua_State* L, int Index, const TValuePlace& Place) {
    return ValueAt(L, Index, Place, 0);
}

void PushTableObject(lua_State* L, int Index) {
    const int Source = lua_absindex(L, Index);
    lua_rawgetp(L, LUA_REGISTRYINDEX, &AliveKey);
    const TAlive Alive = *static_cast<TAlive*>(lua_touserdata(L, -1));
    lua_pop(L, 1);
    PushNew(L, std::make_shared<TTableObject>(Alive));
    lua_pushvalue(L, Source);
    lua_setiuservalue(L, -2, Table);
}

} // namespace zutools::server
