#include "scripting/Pubintob.h"

#include "host/Exception.h"
#include "host/Format.h"

namespace zutools {

const TClassInfo& TPublishedInterfaceObject::StaticClass() {
    static constexpr TClassInfo Info{.Name = u"TPublishedInterfaceObject",
                                     .Parent = &TIObject::StaticClass,
                                     .Help = u"another object's published properties and methods"};
    return Info;
}
const TClassInfo& TPublishedInterfaceObject::ClassInfo() const {
    return StaticClass();
}

bool TPublishedInterfaceObject::GetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount,
                                                    TKXVariant& Result) {
    if (TIObject::GetPropertyInternal(Name, Args, ArgCount, Result)) return true;
    const TObject* const Object = AObject.Get();
    if (Object == nullptr) return false;
    const TPropInfo* const Property = Object->ClassInfo().FindProperty(Name);
    if (Property == nullptr) return false;
    if (ArgCount != 0) {
        throw EIObjectError(Format(u"Invalid number of arguments for property '%s' of class '%s'",
                                   {Property->Name, Object->ClassName()}));
    }
    Result = Property->Get(*Object);
    return true;
}

} // namespace zutools
