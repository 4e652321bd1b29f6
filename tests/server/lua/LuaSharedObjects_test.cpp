// Objects that are not the script's alone: held by several threads, known by name only to their own hooks, or
// kept for the thread.

#include "core/Lthdata.h"
#include "host/UserTables.h"
#include "tests/server/lua/Things.h"
#include "tests/support/MemoryTable.h"

#include <atomic>
#include <memory>
#include <thread>

namespace zutools::server::tests {
namespace {

using testing::HasSubstr;

// ---- held by several threads

/// An object of a table that any thread may empty.
class TShared : public TIObject, public std::enable_shared_from_this<TShared> {
public:
    static const TClassInfo& StaticClass() {
        static constexpr TClassInfo Info{u"TShared", &TIObject::StaticClass};
        return Info;
    }
    [[nodiscard]] const TClassInfo& ClassInfo() const override { return StaticClass(); }
    TShared() { ++Living; }
    ~TShared() override { --Living; }
    [[nodiscard]] std::shared_ptr<const void> KeepAlive() override { return shared_from_this(); }
    void End() { Retire(); }
    bool GetPropertyInternal(std::u16string_view Name, TScriptArgs, int, TKXVariant& Result) override {
        if (Name != u"Number") return false;
        Result = Number.load();
        return true;
    }

    std::atomic<int> Number{7};
    static inline std::atomic<int> Living{0};
};

class LuaShared : public LuaTest {
protected:
    LuaShared() { Start(); }
    ~LuaShared() override { Engine.reset(); }
};

TEST_F(LuaShared, AHandleKeepsTheMemoryAndNoticesTheEnd) {
    auto Object = std::make_shared<TShared>();
    Engine->SetGlobal("shared", *Object);
    EXPECT_EQ(Result("kept = shared; thing.Value = kept.Number"), "7");
    Object->End();
    Object.reset();
    EXPECT_EQ(TShared::Living, 1); // the handle's
    EXPECT_EQ(Error("local x = kept.Number"), "test.lua:1: the object is gone (TShared)");
    Engine->ClearGlobal("shared");
    EXPECT_EQ(Result("kept = nil collectgarbage() collectgarbage() thing.Value = 'ok'"), "ok");
    EXPECT_EQ(TShared::Living, 0);
}

TEST_F(LuaShared, AnObjectThatEndedBeforeItsFirstHandleIsGone) {
    auto Object = std::make_shared<TShared>();
    Object->End();
    Engine->SetGlobal("shared", *Object);
    EXPECT_EQ(Error("local x = shared.Number"), "test.lua:1: the object is gone (TShared)");
}

// Meant for the sanitizers: another thread ends and drops the object while scripts of an engine use it.
TEST_F(LuaShared, AnotherThreadEndsTheObjectInUse) {
    for (int Round = 0; Round < 20; ++Round) {
        auto Object = std::make_shared<TShared>();
        Engine->SetGlobal("shared", *Object);
        std::thread Other([Mine = std::move(Object)]() mutable {
            Mine->Number = 8;
            Mine->End();
            Mine.reset();
        });
        const std::string Seen = Result(R"(
            local ok, message
            repeat ok, message = pcall(function() return shared.Number end) until not ok
            thing.Value = message)");
        EXPECT_THAT(Seen, HasSubstr("the object is gone (TShared)"));
        Other.join();
    }
    Engine.reset();
    EXPECT_EQ(TShared::Living, 0);
}

TEST_F(LuaShared, AnObjectOfAnEarlierRunInAnUpvalueIsGoneWithItsOwner) {
    auto Request = std::make_unique<TThing>();
    Engine->SetGlobal("request", *Request);
    Engine->RunText("local kept = request; function read() return kept.Fixed end", "test.lua");
    Engine->ClearGlobal("request");
    EXPECT_EQ(Result("thing.Value = read()"), "fixed");
    Request.reset();
    EXPECT_EQ(Error("read()"), "test.lua:1: the object is gone (TThing)");
}

// ---- a record, whose names are known to its hooks only

class TTable : public zutools::tests::TMemoryTable {
public:
    TTable()
        : TMemoryTable(zutools::tests::TFields{{u"Customer", u"first"}}) {}
    void SetField(std::u16string_view Name, const TKXVariant& Value) override {
        if (Value.IsNull()) throw EUserTableError(std::u16string(Name) + u" must not be empty");
        TMemoryTable::SetField(Name, Value);
    }
};

TEST_F(LuaShared, FieldsOfARecordByName) {
    TTable Table;
    Engine->SetGlobal("record", Table.RecordInterface());
    EXPECT_EQ(Result("record.Customer = record.Customer .. ' and second'; thing.Value = record.Customer"),
              "first and second");
    EXPECT_EQ(Table.Field(u"Customer"), TKXVariant(u"first and second"));
    const std::pair<const char*, const char*> Cases[] = {
        {"local x = record.Custmer", "class TRecordInterface has no property \"Custmer\""},
        {"record.Custmer = 1", "class TRecordInterface has no property \"Custmer\""},
        {"record.Customer = nil", "Customer must not be empty"},
        {"record.Customer = {}", "value of TRecordInterface.Customer: a table cannot be given"},
    };
    for (const auto& [Script, Message] : Cases)
        EXPECT_EQ(Error(Script), std::string("test.lua:1: ") + Message);
    Table.RecordInterface().RetireForScripts();
    EXPECT_EQ(Error("local x = record.Customer"), "test.lua:1: the object is gone (TRecordInterface)");
}

// ---- data of the thread

class LuaThreadData : public LuaTest {
protected:
    LuaThreadData() {
        ZUThreadDataContainer = std::make_unique<TZUThreadDataContainer>();
        RegisterLthdata(ScriptRegistry());
        Start();
    }
    ~LuaThreadData() override {
        Engine.reset();
        UnregisterLthdata(ScriptRegistry());
        ZUThreadDataContainer.reset();
    }
};

/// A thing for scripts that counts its life.
class TOrder : public TIRegObject {
public:
    TOrder() { ++Living; }
    ~TOrder() override { --Living; }
    static inline int Living = 0;
};

TEST_F(LuaThreadData, ASessionHasItsOwnAndItIsReleased) {
    ZUThreadDataContainer->CurrentData()->SetIRegObject(u"Order", new TOrder, 0);
    Engine->SetGlobal("publish", [this]() -> TObject* {
        ZUThreadDataContainer->CurrentData()->SetIRegObject(u"Inner", new TOrder, 0);
        return &Thing;
    });
    EXPECT_EQ(Result(R"(
        local seen = zu.as_session('s', 'u', function()
            local _ = publish.Fixed
            kept = ThreadData.Inner
            return tostring(ThreadData.Order) .. tostring(ThreadData.Inner)
        end)
        thing.Value = seen .. tostring(ThreadData.Order) .. tostring(ThreadData.Inner) .. tostring(kept))"),
              "nilTIRegObjectTIRegObjectnilTIRegObject (gone)");
    EXPECT_EQ(TOrder::Living, 1);
    EXPECT_EQ(Error("ThreadData.Nobody = 1"), "no error");
    EXPECT_EQ(Error("ThreadData.Order = nil"), "test.lua:1: You cannot change static object Order.");
    ZUThreadDataContainer.reset();
    EXPECT_EQ(TOrder::Living, 0);
    EXPECT_EQ(Result("thing.Value = tostring(ThreadData.Order)"), "nil");
}

} // namespace
} // namespace zutools::server::tests
