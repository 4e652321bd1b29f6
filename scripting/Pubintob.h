// TPublishedInterfaceObject lets scripts use any object through its class's declaration: published properties
// are read and written by name, published methods are called by name, and every value is converted by the
// declared kind.
//
// An object is published to an engine in one call, `Engine.Publish("Orders", Orders)`.

#pragma once

#include "host/Reflection.h"
#include "host/ScriptObjects.h"

#include <memory>
#include <span>
#include <string_view>

namespace zutools {

/// Stands for another object in scripts. Names that are registered for its own class come first, and never
/// reach the wrapped object.
///
/// For one thread at a time, which may use the wrapped object.
class TPublishedInterfaceObject : public TIObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    /// Reads a published property, or calls a published method. False when nothing is wrapped, or it has
    /// neither.
    /// @throws EIObjectError when the wrapped object is gone, and as ReadPublished and CallPublished;
    /// whatever
    ///         the member raises.
    bool GetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount,
                             TKXVariant& Result) override;
    /// Writes a published property. False also when `ReadOnly` is set.
    /// @throws as WritePublished.
    bool SetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount) override;
    /// A published method of the wrapped object whose name no property has.
    [[nodiscard]] bool IsCallable(std::u16string_view Name) const override;

    TObjectRef AObject;    // the wrapped object, not owned; empty: nothing is dispatched
    bool ReadOnly = false; // property writes are not dispatched

protected:
    /// The wrapped object; null when there is none. @throws EIObjectError when it is gone.
    [[nodiscard]] TObject* Wrapped() const;

private:
    [[nodiscard]] TRttiType::TMembers Find(const TObject& Object, std::u16string_view Name) const;

    mutable TRttiContext* FRTTIContext = nullptr; // that of the process, from the first look-up on
    mutable const TRttiType* FRttiType = nullptr; // of the wrapped object's class, from the first look-up on
};

// What stands behind it, for engines that know the member already. `Name` is what messages call it.

/// The property's value as scripts get it.
/// @throws EIObjectError "Invalid property type (tkSet) for property '...' of class '...'" for a kind that
///         scripts cannot take; whatever the getter raises.
[[nodiscard]] TKXVariant ReadPublished(const TObject& Object, const TPropInfo& Property,
                                       std::u16string_view Name);

/// Converts the value by the property's kind and stores it. A property of a class takes the object behind a
/// wrapper.
/// @throws EIObjectError for a kind that scripts cannot give, a property that is read-only, and a value that
///         does not convert; whatever the setter raises.
void WritePublished(TObject& Object, const TPropInfo& Property, std::u16string_view Name,
                    const TKXVariant& Value);

/// Calls a method. `Values` are the arguments from the last to the first; they are converted in their places
/// and handed to the method, so that nothing of use is left of them.
/// @throws EIObjectError for a wrong number of arguments, a parameter by reference, and an argument that does
///         not convert; EFormatError for kinds whose message cannot be made; whatever the method raises.
[[nodiscard]] TKXVariant CallPublished(TObject& Object, const TMethodInfo& Method, std::u16string_view Name,
                                       std::span<TKXVariant> Values);

/// A script engine that objects are published to. What scripts find under the name is the object itself to
/// them: `Orders.Count`, `Orders:Add("lamp", 2)`.
class TScriptPublisher {
public:
    virtual ~TScriptPublisher() = default;

    /// Makes a global of the object. Not owned: when it dies, scripts get an error instead of it. `Name` is
    /// UTF-8. `ReadOnly` refuses scripts all writing of properties.
    virtual void Publish(std::string_view Name, TObject& Object, bool ReadOnly = false) = 0;
    /// The same, and the object lives as long as the engine.
    virtual void Publish(std::string_view Name, std::unique_ptr<TObject> Object, bool ReadOnly = false) = 0;
};

} // namespace zutools
