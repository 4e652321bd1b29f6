// Any object in a script's hands, through its published properties and methods.

#include "host/Published.h"
#include "platform/Text.h"
#include "tests/server/lua/Things.h"

namespace zutools::server::tests {
namespace {

class TShop : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override { return StaticClass(); }

    [[nodiscard]] int Zero() const { return 0; }
    [[nodiscard]] std::u16string One(std::u16string_view A) const { return Text(A); }
    [[nodiscard]] std::u16string Two(int A, std::u16string_view B) const { return Text(A) + Text(B); }
    [[nodiscard]] std::u16string Three(double A, bool B, char16_t C) const {
        return Text(A) + Text(B) + Text(C);
    }
    [[nodiscard]] std::u16string Four(std::u16string_view A, TDateTime B, std::uint8_t C,
                                      TKXVariant D) const {
        return Text(A) + Text(B) + Text(C) + Text(D);
    }
    [[nodiscard]] std::u16string Five(bool A, int B, std::u16string_view C, double D, std::int64_t E) const {
        return Text(A) + Text(B) + Text(C) + Text(D) + Text(E);
    }
    TShop* Branch() { return Other; }

    int Count = 3;
    TShop* Other = nullptr;

private:
    static std::u16string Text(const TKXVariant& Value) { return Value.AsString() + u";"; }
};

constexpr TPropInfo Properties[] = {PublishedProperty<&TShop::Count>(u"Count"),
                                    PublishedProperty<&TShop::Other>(u"Other")};
constexpr TMethodInfo Methods[] = {PublishedMethod<&TShop::Zero>(u"Zero"),
                                   PublishedMethod<&TShop::One, u"A">(u"One"),
                                   PublishedMethod<&TShop::Two, u"A", u"B">(u"Two"),
                                   PublishedMethod<&TShop::Three, u"A", u"B", u"C">(u"Three"),
                                   PublishedMethod<&TShop::Four, u"A", u"B", u"C", u"D">(u"Four"),
                                   PublishedMethod<&TShop::Five, u"A", u"B", u"C", u"D", u"E">(u"Five"),
                                   PublishedMethod<&TShop::Branch>(u"Branch")};
const TClassInfo& TShop::StaticClass() {
    static constexpr TClassInfo Info{u"TShop", &TObject::StaticClass, Properties, Methods};
    return Info;
}

/// A wrapper with a name of its own, which only its hooks know.
class TCounted : public TPublishedInterfaceObject {
public:
    static const TClassInfo& StaticClass() {
        static constexpr TClassInfo Info{.Name = u"TCounted",
                                         .Parent = &TPublishedInterfaceObject::StaticClass};
        return Info;
    }
    [[nodiscard]] const TClassInfo& ClassInfo() const override { return StaticClass(); }
    bool GetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount,
                             TKXVariant& Result) override {
        ++Asked;
        return TPublishedInterfaceObject::GetPropertyInternal(Name, Args, ArgCount, Result);
    }
    int Asked = 0;
};

class LuaPublished : public LuaTest {
protected:
    LuaPublished() {
        Start();
        Shop = std::make_unique<TShop>();
        Shop->Other = &Branch;
        Engine->Publish("shop", *Shop);
        Engine->Publish("shown", *Shop, true);
        Counted.AObject = Shop->Reference();
        Engine->SetGlobal("counted", Counted);
    }
    TShop Branch;
    std::unique_ptr<TShop> Shop;
    TCounted Counted;
};

TEST_F(LuaPublished, EveryArgumentComesToItsPlace) {
    // By the wrapper, by a descendant whose hooks are asked each time, and by an object that came from a
    // call.
    for (const char* const Object : {"shop", "counted", "shop:Branch()", "shop.Other"}) {
        SCOPED_TRACE(Object);
        EXPECT_EQ(
            Result(std::string("local o = ") + Object + R"(
            thing.Value = table.concat({ o:Zero(), o:One("Ж"), o:Two(1, "b"), o:Three(1.5, true, "ж"),
                o:FOUR("a", "2024-02-29", 255, 2.25), o:Five(false, -1, "c", 1e10, 1 << 40) }, "|"))"),
            "0|Ж;|1;b;|1.5;True;ж;|a;2024-02-29 00:00:00;255;2.25;|False;-1;c;10000000000;1099511627776;");
    }
    EXPECT_EQ(Counted.Asked, 6);
}

TEST_F(LuaPublished, PropertiesAreReadAndWritten) {
    for (const char* const Object : {"shop", "counted"}) {
        EXPECT_EQ(Result(std::string("local o = ") + Object + " o.count = 40; o.Count = o.Count + 2; " +
                         "thing.Value = shown.Count"),
                  "42");
    }
    // A published object given for a property of a class is the object behind it.
    EXPECT_EQ(Result("shop.Other = shop; thing.Value = tostring(shop.Other) .. ' ' .. tostring(shop)"),
              "TShop TShop");
    EXPECT_EQ(Shop->Other, Shop.get());
}

TEST_F(LuaPublished, WhatFailsIsAnErrorOfTheScript) {
    const struct {
        const char* Script;
        const char* Error;
    } Rows[] = {
        {"shop.Count = 'x'", "Cannot convert String \"x\" to Integer: property 'Count' of class 'TShop'"},
        {"shop:Two('x', 'y')",
         "Cannot convert String \"x\" to Integer: parameter 'A' of method 'Two' of class 'TShop'"},
        {"shop:Two(1, {})", "argument 2 of TShop.Two: a table cannot be given"},
        {"shop:Two(1)", "Invalid number of arguments for method 'Two' of class 'TShop'"},
        {"counted:Two(1)", "Invalid number of arguments for method 'Two' of class 'TShop'"},
        {"shop.Two(1, 'b')", "Two is called with a colon on an object of class TShop: object:Two(...)"},
        {"shop.Two = 1", "Two of class TShop is called, not written"},
        {"shown.Count = 1", "Property 'Count' of class 'TShop' is read-only"},
        {"local x = shop.Cuont", "class TShop has no property \"Cuont\"; is it Count?"},
        {"shop:Thre()", "class TShop has no property \"Thre\"; is it Three?"},
        {"shop.Warehouse = 1", "class TShop has no property \"Warehouse\""},
        {"local two = shop.Two; two(thing, 1, 'b')",
         "Two is called with a colon on an object of class TShop: object:Two(...)"},
    };
    for (const auto& Row : Rows) EXPECT_EQ(Error(Row.Script), std::string("test.lua:1: ") + Row.Error);
}

TEST_F(LuaPublished, DeadObjectRaises) {
    EXPECT_EQ(Result("kept = shop.Two; thing.Value = shop.Count"), "3");
    Shop.reset();
    const char* const Gone = "test.lua:1: the object is gone (TShop)";
    for (const char* const Script :
         {"local x = shop.Count", "shop.Count = 1", "shop:Zero()", "kept(shop, 1, 'b')"})
        EXPECT_EQ(Error(Script), Gone);
    EXPECT_EQ(Error("counted:Zero()"), "test.lua:1: the object is gone");
    EXPECT_EQ(Result("thing.Value = tostring(shop)"), "TShop (gone)");
}

TEST_F(LuaPublished, EngineOwnsWhatItIsGiven) {
    const TObjectRef Ref = [this] {
        auto Own = std::make_unique<TShop>();
        const TObjectRef Result = Own->Reference();
        Engine->Publish("own", std::move(Own));
        return Result;
    }();
    EXPECT_EQ(Result("collectgarbage() thing.Value = own:One('x')"), "x;");
    Engine.reset();
    EXPECT_TRUE(Ref.IsGone());
}

} // namespace
} // namespace zutools::server::tests
