#include "core/Lthdata.h"

#include "host/Format.h"

namespace zutools {

namespace {

constexpr std::u16string_view StaticParam = u"You cannot change the value of the static param %s.";
constexpr std::u16string_view StaticObject = u"You cannot change static object %s.";
constexpr std::u16string_view ParamExists = u"Error set object %s already exists param with this name.";
constexpr std::u16string_view ForeignItem = u"Invalid class typecast: %s is no %s.";

} // namespace

std::unique_ptr<TZUThreadDataContainer> ZUThreadDataContainer;

const TClassInfo& TZUThreadDataInterface::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TZUThreadDataInterface",
        .Parent = &TIRegObject::StaticClass,
        .Global = {u"ThreadData",
                   []() -> TObject* {
                       return ZUThreadDataContainer ? ZUThreadDataContainer->CurrentData() : nullptr;
                   },
                   u"what the application published for this request"},
        .Help = u"Its names are those of the published parameters and objects; any other one reads as nil."};
    return Info;
}

const TClassInfo& TZUThreadDataInterface::ClassInfo() const {
    return StaticClass();
}

TZUThreadDataInterface::TZUThreadDataInterface() {
    Objects.FlagDestroyObject = true;
    RegisterInterfaceObject(*this);
}

// In this order, which is not the reverse of the fields': when published objects go, the parameters and the
// further objects are gone already.
TZUThreadDataInterface::~TZUThreadDataInterface() {
    CustomObjects.Clear();
    Params.Clear();
    Objects.Clear();
}

void TZUThreadDataInterface::Clear() {
    Params.Clear();
    Objects.Clear();
    CustomObjects.Clear();
}

void TZUThreadDataInterface::Assign(const TZUThreadDataInterface& Source) {
    // Kept on purpose: a space that is assigned to itself ends up empty, as it is cleared first.
    Clear();
    Params.Assign(Source.Params);
    Objects.Assign(Source.Objects);
    CustomObjects.Assign(Source.CustomObjects);
}

void TZUThreadDataInterface::SetIRegObject(std::u16string_view Name, TIRegObject* Obj,
                                           std::uint8_t DelObject) {
    if (Params.GetParamIndex(Name) != -1) throw EZUThreadData(Format(ParamExists, {Name}));
    Objects.AddObject(Name, Obj, DelObject);
}

bool TZUThreadDataInterface::GetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount,
                                                 TKXVariant& Result) {
    if (TIRegObject::GetPropertyInternal(Name, Args, ArgCount, Result)) return true;
    // Kept on purpose: an unknown name is a null object and no error, so that a script can ask whether an
    // object is there; parameters are not seen this way.
    Result = PointerAsLVar(Objects.ObjectByName(Name));
    return true;
}

bool TZUThreadDataInterface::SetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount) {
    if (TIRegObject::SetPropertyInternal(Name, Args, ArgCount)) return true;
    if (Params.GetParamIndex(Name) != -1) throw EZUThreadData(Format(StaticParam, {Name}));
    int Index = -1;
    if (Objects.FindObject(Name, Index)) throw EZUThreadData(Format(StaticObject, {Name}));
    // Kept on purpose: a write to an unknown name succeeds and is dropped.
    return true;
}

const TClassInfo& TThreadContainerZUInterfaceObject::StaticClass() {
    static constexpr TClassInfo Info{u"TThreadContainerZUInterfaceObject",
                                     &TThreadContainerParentObject::StaticClass};
    return Info;
}

const TClassInfo& TThreadContainerZUInterfaceObject::ClassInfo() const {
    return StaticClass();
}

TThreadContainerZUInterfaceObject::TThreadContainerZUInterfaceObject()
    : FInterfaceObject(std::make_unique<TZUThreadDataInterface>()) {}

TZUThreadDataContainer::TZUThreadDataContainer() {
    SetReuseObjects(false);
}

std::unique_ptr<TThreadContainerParentObject> TZUThreadDataContainer::CreateData() {
    return std::make_unique<TThreadContainerZUInterfaceObject>();
}

TZUThreadDataInterface* TZUThreadDataContainer::CurrentData() {
    TThreadContainerParentObject* const Data = GetData();
    if (Data == nullptr) return nullptr;
    const auto* const Item = ObjectCast<TThreadContainerZUInterfaceObject>(Data);
    if (Item == nullptr) {
        throw EIObjectError(
            Format(ForeignItem, {Data->ClassName(), TThreadContainerZUInterfaceObject::StaticClass().Name}));
    }
    return Item->InterfaceObject();
}

const TClassInfo& TZUCustomObject::StaticClass() {
    static constexpr TClassInfo Info{u"TZUCustomObject", &TObject::StaticClass};
    return Info;
}

const TClassInfo& TZUCustomObject::ClassInfo() const {
    return StaticClass();
}

TZUCustomObject::~TZUCustomObject() {
    if (Value.Kind() == TVariantKind::vkObject) delete Value.AsObject();
}

void ReleaseCurrentThreadData() {
    if (ZUThreadDataContainer) ZUThreadDataContainer->ReleaseThreadData();
}

void RegisterLthdata(TScriptRegistry& Registry) {
    Registry.RegisterClass(TZUThreadDataInterface::StaticClass());
}

void UnregisterLthdata(TScriptRegistry& Registry) {
    Registry.UnregisterClass(TZUThreadDataInterface::StaticClass());
}

} // namespace zutools
