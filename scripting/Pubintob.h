// TPublishedInterfaceObject lets scripts use any object through its class's declaration: published properties
// are read and written by name, published methods are called by name.

#pragma once

#include "host/ScriptObjects.h"

namespace zutools {

/// Stands for another object in scripts. Names that are registered for its own class come first.
///
/// For the thread that uses the wrapped object.
class TPublishedInterfaceObject : public TIObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    /// True when the name is one of this object's own or a published one of the wrapped object.
    /// @throws EIObjectError when the wrapped object is gone, and for arguments to a property.
    bool GetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount,
                             TKXVariant& Result) override;

    TObjectRef AObject;    // the wrapped object, not owned; empty: nothing is dispatched
    bool ReadOnly = false; // property writes are not dispatched
};

} // namespace zutools
