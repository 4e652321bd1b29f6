// A class with every kind of script name, and an engine to use it from, for the tests of this folder.

#pragma once

#include "host/ScriptObjects.h"
#include "server/lua/LuaEngine.h"

#include <gmock/gmock.h>

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace zutools::server::tests {

class TThing : public TIObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override { return StaticClass(); }
    TThing() { ++Living; }
    ~TThing() override { --Living; }

    /// Names that begin with "Tag" are its own.
    bool GetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount,
                             TKXVariant& Result) override;
    bool SetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount) override;

    TKXVariant Value; // what a script wrote last
    double Weight = 1.5;
    std::map<std::u16string, TKXVariant> Items;
    std::unique_ptr<TThing> Child;

    static inline std::atomic<int> Living = 0;
};

/// Known to scripts, not to be made by them.
class TFixed : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override { return StaticClass(); }
};

void RegisterThings();
void UnregisterThings();

/// An engine with a thing as its global `thing`.
class LuaTest : public testing::Test {
protected:
    LuaTest() { RegisterThings(); }
    ~LuaTest() override {
        Engine.reset();
        UnregisterThings();
    }

    void Start(TLuaOptions Options = {}) {
        Engine = std::make_unique<TLuaEngine>(std::move(Options));
        Engine->SetGlobal("thing", Thing);
    }
    /// The text that the script wrote to `thing.Value`.
    std::string Result(std::string_view Script);
    /// The message that the script ends with; "no error" when it does not.
    std::string Error(std::string_view Script);

    TThing Thing;
    std::unique_ptr<TLuaEngine> Engine;
};

} // namespace zutools::server::tests
