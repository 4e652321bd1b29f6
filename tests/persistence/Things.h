// A component with a property of each kind that is stored, and a store that is a map.

#pragma once

#include "host/Components.h"
#include "host/Strings.h"
#include "host/Variant.h"
#include "persistence/Propunit.h"

#include <map>

namespace zutools::tests {

class TFont : public TObject {
public:
    static const TClassInfo& StaticClass();
    const TClassInfo& ClassInfo() const override { return StaticClass(); }
    std::u16string Face = u"Sans";
    int Size = 9;
};

class TColumn : public TObject {
public:
    static const TClassInfo& StaticClass();
    const TClassInfo& ClassInfo() const override { return StaticClass(); }
    int Width = 0;
};

class TColumns : public TCollection {
public:
    static const TClassInfo& StaticClass();
    const TClassInfo& ClassInfo() const override { return StaticClass(); }
    void BeginUpdate() override { ++Depth; }
    void EndUpdate() override { --Depth; }
    int Depth = 0;

protected:
    std::unique_ptr<TObject> MakeItem() override { return std::make_unique<TColumn>(); }
};

class TThing : public TComponent {
public:
    explicit TThing(TComponent* Owner, std::u16string_view ThingName)
        : TComponent(Owner) {
        SetName(ThingName);
    }
    static const TClassInfo& StaticClass();
    const TClassInfo& ClassInfo() const override { return StaticClass(); }

    int Integer = 0;
    std::int64_t Int64 = 0;
    char16_t Char = u'a', WChar = u'a';
    int Enum = 0, Set = 0;
    bool Boolean = false;
    double Single = 0, Double = 0, Extended = 0, Currency = 0;
    std::u16string Short, Ansi, Wide, Unicode;
    TKXVariant Variant;
    TStringList Lines;
    TColumns Columns;
    TFont Font;
    TComponent* Friend = nullptr;
};

/// "Section|Item" to value, as a settings file would keep them.
class TMapStore {
public:
    void Bind(TPropsStorage& Storage) {
        Storage.Section = u"S";
        Storage.OnReadString = [this](std::u16string_view Section, std::u16string_view Item,
                                      std::u16string_view Default) {
            const auto Found = Items.find(Key(Section, Item));
            return Found == Items.end() ? std::u16string(Default) : Found->second;
        };
        Storage.OnWriteString = [this](std::u16string_view Section, std::u16string_view Item,
                                       std::u16string_view Value) { Items[Key(Section, Item)] = Value; };
        Storage.OnEraseSection = [this](std::u16string_view Section) {
            std::erase_if(Items, [&](const auto& Item) { return Item.first.starts_with(Key(Section, u"")); });
        };
    }
    std::map<std::u16string, std::u16string> Items;

private:
    static std::u16string Key(std::u16string_view Section, std::u16string_view Item) {
        return std::u16string(Section).append(u"|").append(Item);
    }
};

} // namespace zutools::tests
