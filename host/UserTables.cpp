#include "host/UserTables.h"

#include "host/Format.h"

namespace zutools {

const TClassInfo& TRecordInterface::StaticClass() {
    static constexpr TClassInfo Info{u"TRecordInterface", &TIObject::StaticClass};
    return Info;
}

const TClassInfo& TRecordInterface::ClassInfo() const {
    return StaticClass();
}

bool TRecordInterface::GetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount,
                                           TKXVariant& Result) {
    if (TIObject::GetPropertyInternal(Name, Args, ArgCount, Result)) return true;
    if (!FTable.HasField(Name)) return false;
    if (ArgCount != 0)
        throw EIObjectError(Format(u"The field \"%s\" of %s takes no index", {Name, FTable.TableName()}));
    Result = FTable.Field(Name);
    return true;
}

bool TRecordInterface::SetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount) {
    if (TIObject::SetPropertyInternal(Name, Args, ArgCount)) return true;
    if (!FTable.HasField(Name)) return false;
    if (ArgCount != 0)
        throw EIObjectError(Format(u"The field \"%s\" of %s takes no index", {Name, FTable.TableName()}));
    FTable.SetField(Name, Args.back());
    return true;
}

} // namespace zutools
