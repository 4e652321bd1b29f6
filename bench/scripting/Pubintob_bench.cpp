// Published properties and methods: from C++ against Qt's meta-object, from Lua against a hand-written C
// function over the same object, and by the number of members.

#include "bench/scripting/QtCounter.h"
#include "bench/support/Ratio.h"
#include "host/Published.h"
#include "platform/Text.h"
#include "scripting/Pubintob.h"
#include "server/lua/LuaEngine.h"

#include <QMetaMethod>
#include <QMetaProperty>
#include <benchmark/benchmark.h>
#include <lua.hpp>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace zutools {
namespace {

class TCounter : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override { return StaticClass(); }

    [[nodiscard]] int GetCount() const { return FCount; }
    void SetCount(int Value) { FCount = Value; }
    [[nodiscard]] const std::u16string& Note() const { return FNote; }
    [[nodiscard]] int Add(int A, int B) const { return FCount + A + B; }

private:
    int FCount = 7;
    std::u16string FNote = u"a note of thirty characters...";
};
constexpr TPropInfo Properties[] = {PublishedProperty<&TCounter::GetCount, &TCounter::SetCount>(u"Count"),
                                    PublishedProperty<&TCounter::Note>(u"Note")};
constexpr TMethodInfo Methods[] = {PublishedMethod<&TCounter::Add, u"A", u"B">(u"Add")};
const TClassInfo& TCounter::StaticClass() {
    static constexpr TClassInfo Info{u"TCounter", &TObject::StaticClass, Properties, Methods};
    return Info;
}

// The same class with very many members beside them, each of which is a `Count` of another name.
class TWide : public TCounter {
public:
    static const TClassInfo& StaticClass() {
        static const std::vector<std::u16string> Names = [] {
            std::vector<std::u16string> Result;
            for (int I = 0; I < 2000; ++I)
                Result.push_back(u"Member" + platform::Utf8ToUtf16(std::to_string(I)));
            return Result;
        }();
        static const std::vector<TPropInfo> Many = [] {
            std::vector<TPropInfo> Result;
            for (const std::u16string& Name : Names) {
                Result.push_back(Properties[0]);
                Result.back().Name = Name;
            }
            return Result;
        }();
        static const TClassInfo Info{u"TWide", &TCounter::StaticClass, Many};
        return Info;
    }
    [[nodiscard]] const TClassInfo& ClassInfo() const override { return StaticClass(); }
};

// ---- from C++

void PublishedRead(benchmark::State& State, std::u16string_view Name) {
    const TCounter Counter;
    const TPropInfo& Property = *Counter.ClassInfo().FindProperty(Name);
    for (auto _ : State) benchmark::DoNotOptimize(ReadPublished(Counter, Property, Name));
}
void QtRead(benchmark::State& State, const char* Name) {
    const TQtCounter Counter;
    const QMetaObject& Meta = TQtCounter::staticMetaObject;
    const QMetaProperty Property = Meta.property(Meta.indexOfProperty(Name));
    for (auto _ : State) benchmark::DoNotOptimize(Property.read(&Counter));
}

void PublishedWrite(benchmark::State& State) {
    TCounter Counter;
    const TPropInfo& Property = *Counter.ClassInfo().FindProperty(u"Count");
    const TKXVariant Value = 3;
    for (auto _ : State) WritePublished(Counter, Property, Property.Name, Value);
    benchmark::DoNotOptimize(Counter.GetCount());
}
void QtWrite(benchmark::State& State) {
    TQtCounter Counter;
    const QMetaObject& Meta = TQtCounter::staticMetaObject;
    const QMetaProperty Property = Meta.property(Meta.indexOfProperty("Count"));
    const QVariant Value = 3;
    for (auto _ : State) Property.write(&Counter, Value);
    benchmark::DoNotOptimize(Counter.Count());
}

void PublishedCall(benchmark::State& State) {
    TCounter Counter;
    const TMethodInfo& Method = *Counter.ClassInfo().FindMethod(u"Add");
    for (auto _ : State) {
        TKXVariant Values[] = {2, 1};
        benchmark::DoNotOptimize(CallPublished(Counter, Method, Method.Name, Values));
    }
}
void QtCall(benchmark::State& State) {
    TQtCounter Counter;
    const QMetaObject& Meta = TQtCounter::staticMetaObject;
    const QMetaMethod Method = Meta.method(Meta.indexOfMethod("Add(int,int)"));
    for (auto _ : State) {
        int Result = 0;
        Method.invoke(&Counter, Qt::DirectConnection, Q_RETURN_ARG(int, Result), Q_ARG(int, 1),
                      Q_ARG(int, 2));
        benchmark::DoNotOptimize(Result);
    }
}

template <class TObjectClass>
void HookRead(benchmark::State& State) {
    TObjectClass Counter;
    TPublishedInterfaceObject Wrapper;
    Wrapper.AObject = Counter.Reference();
    for (auto _ : State) {
        TKXVariant Result;
        Wrapper.GetPropertyInternal(u"Count", {}, 0, Result);
        benchmark::DoNotOptimize(Result);
    }
}
void QtReadByName(benchmark::State& State) {
    const TQtCounter Counter;
    for (auto _ : State) benchmark::DoNotOptimize(Counter.property("Count"));
}

void HookCall(benchmark::State& State) {
    TCounter Counter;
    TPublishedInterfaceObject Wrapper;
    Wrapper.AObject = Counter.Reference();
    const std::array<TKXVariant, 2> Args{1, 2};
    for (auto _ : State) {
        TKXVariant Result;
        Wrapper.GetPropertyInternal(u"Add", Args, 2, Result);
        benchmark::DoNotOptimize(Result);
    }
}
void QtCallByName(benchmark::State& State) {
    TQtCounter Counter;
    for (auto _ : State) {
        int Result = 0;
        QMetaObject::invokeMethod(&Counter, "Add", Qt::DirectConnection, Q_RETURN_ARG(int, Result),
                                  Q_ARG(int, 1), Q_ARG(int, 2));
        benchmark::DoNotOptimize(Result);
    }
}

// ---- from Lua

// Ten uses in a turn, so that the loop itself counts little.
std::string Loop(const std::string& Use) {
    std::string Text = "local o = counter local x for i = 1, 1000 do ";
    for (int I = 0; I < 10; ++I) Text += Use + " ";
    return Text + "end";
}
constexpr double UsesPerRun = 10'000;

const struct {
    const char* Name;
    const char* Use;
} Uses[] = {{"read a property", "x = o.Count"},
            {"read a text of 30", "x = o.Note"},
            {"write a property", "o.Count = 7"},
            {"call a method", "x = o:Add(1, 2)"}};

template <class TObjectClass>
void ByPublished(benchmark::State& State, const char* Use) {
    TObjectClass Counter;
    server::TLuaEngine Engine({});
    Engine.Publish("counter", Counter);
    const std::string Text = Loop(Use);
    for (auto _ : State) Engine.RunText(Text, "bench");
}

// What one would write by hand for this class: a metatable whose __index is a C function that compares names.
constexpr const char* HandClass = "counter";
int HandAdd(lua_State* L) {
    auto* const Self = *static_cast<TCounter**>(luaL_checkudata(L, 1, HandClass));
    lua_pushinteger(
        L, Self->Add(static_cast<int>(luaL_checkinteger(L, 2)), static_cast<int>(luaL_checkinteger(L, 3))));
    return 1;
}
int HandIndex(lua_State* L) {
    auto* const Self = *static_cast<TCounter**>(luaL_checkudata(L, 1, HandClass));
    const char* const Name = luaL_checkstring(L, 2);
    if (std::strcmp(Name, "Count") == 0) {
        lua_pushinteger(L, Self->GetCount());
    } else if (std::strcmp(Name, "Note") == 0) {
        const std::string Text = platform::Utf16ToUtf8(Self->Note());
        lua_pushlstring(L, Text.data(), Text.size());
    } else if (std::strcmp(Name, "Add") == 0) {
        lua_pushcfunction(L, HandAdd);
    } else {
        return luaL_error(L, "no property %s", Name);
    }
    return 1;
}
int HandNewIndex(lua_State* L) {
    auto* const Self = *static_cast<TCounter**>(luaL_checkudata(L, 1, HandClass));
    const char* const Name = luaL_checkstring(L, 2);
    if (std::strcmp(Name, "Count") != 0) return luaL_error(L, "no property %s to write", Name);
    Self->SetCount(static_cast<int>(luaL_checkinteger(L, 3)));
    return 0;
}

void ByHand(benchmark::State& State, const char* Use) {
    TCounter Counter;
    const std::unique_ptr<lua_State, decltype(&lua_close)> Owner(luaL_newstate(), lua_close);
    lua_State* const L = Owner.get();
    luaL_openlibs(L);
    luaL_newmetatable(L, HandClass);
    lua_pushcfunction(L, HandIndex);
    lua_setfield(L, -2, "__index");
    lua_pushcfunction(L, HandNewIndex);
    lua_setfield(L, -2, "__newindex");
    *static_cast<TCounter**>(lua_newuserdatauv(L, sizeof(TCounter*), 0)) = &Counter;
    luaL_setmetatable(L, HandClass);
    lua_setglobal(L, "counter");
    const std::string Text = Loop(Use);
    for (auto _ : State) {
        if (luaL_loadbuffer(L, Text.data(), Text.size(), "bench") != LUA_OK ||
            lua_pcall(L, 0, 0, 0) != LUA_OK)
            std::abort();
    }
}

// ---- the table

const struct {
    const char* What;
    const char* Ours;
    const char* Qt;
} Pairs[] = {{"read a property, known", "published read", "QMetaProperty::read"},
             {"read a text of 30, known", "published read text", "QMetaProperty::read text"},
             {"write a property, known", "published write", "QMetaProperty::write"},
             {"call a method, known", "published call", "QMetaMethod::invoke"},
             {"read a property by name", "hook read", "QObject::property"},
             {"call a method by name", "hook call", "QMetaObject::invokeMethod"}};

void PrintTables(const TRatioReporter& Reporter) {
    std::printf("\n%-26s %10s %10s %11s\n", "from C++", "Qt ns", "ours ns", "ours/Qt");
    for (const auto& Each : Pairs) {
        const double Ours = Reporter.Best(Each.Ours), Qt = Reporter.Best(Each.Qt);
        if (Ours != 0 && Qt != 0) std::printf("%-26s %10.1f %10.1f %11.2f\n", Each.What, Qt, Ours, Ours / Qt);
    }
    std::printf("\n%-26s %10s %10s %11s %11s\n", "from Lua", "hand ns", "ours ns", "ours/hand", "2000 more");
    for (const auto& Each : Uses) {
        const std::string Name = Each.Name;
        const double Hand = Reporter.Best("hand " + Name), Ours = Reporter.Best("lua " + Name);
        if (Hand == 0 || Ours == 0) continue;
        std::printf("%-26s %10.1f %10.1f %11.2f %11.2f\n", Each.Name, Hand / UsesPerRun, Ours / UsesPerRun,
                    Ours / Hand, Reporter.Best("wide " + Name) / Ours);
    }
    if (const double Few = Reporter.Best("hook read"); Few != 0) {
        std::printf("\nby name among 2000 members more, from C++: %.2f times as long\n",
                    Reporter.Best("hook read wide") / Few);
    }
}

} // namespace
} // namespace zutools

int main(int Count, char** Arguments) {
    using namespace zutools;
    benchmark::Initialize(&Count, Arguments);
    if (benchmark::ReportUnrecognizedArguments(Count, Arguments)) return 2;
    const auto Enter = [](const std::string& Name, auto Work) {
        benchmark::RegisterBenchmark(Name.c_str(), Work)->MinTime(0.05)->Repetitions(5);
    };
    Enter("published read", [](benchmark::State& State) { PublishedRead(State, u"Count"); });
    Enter("QMetaProperty::read", [](benchmark::State& State) { QtRead(State, "Count"); });
    Enter("published read text", [](benchmark::State& State) { PublishedRead(State, u"Note"); });
    Enter("QMetaProperty::read text", [](benchmark::State& State) { QtRead(State, "Note"); });
    Enter("published write", PublishedWrite);
    Enter("QMetaProperty::write", QtWrite);
    Enter("published call", PublishedCall);
    Enter("QMetaMethod::invoke", QtCall);
    Enter("hook read", HookRead<TCounter>);
    Enter("hook read wide", HookRead<TWide>);
    Enter("QObject::property", QtReadByName);
    Enter("hook call", HookCall);
    Enter("QMetaObject::invokeMethod", QtCallByName);
    for (const auto& Each : Uses) {
        const std::string Name = Each.Name;
        Enter("hand " + Name, [Use = Each.Use](benchmark::State& State) { ByHand(State, Use); });
        Enter("lua " + Name,
              [Use = Each.Use](benchmark::State& State) { ByPublished<TCounter>(State, Use); });
        Enter("wide " + Name, [Use = Each.Use](benchmark::State& State) { ByPublished<TWide>(State, Use); });
    }
    TRatioReporter Reporter;
    benchmark::RunSpecifiedBenchmarks(&Reporter);
    PrintTables(Reporter);
    return 0;
}
