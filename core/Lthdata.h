// The scratch space of the calling thread: what a server-side script keeps while it answers one request.
//
// Each thread has a space of its own: fixed parameters, objects that scripts reach by name, and further
// objects that they do not. Modules reach it through the process's container:
//
//     TZUThreadDataInterface* Data = ZUThreadDataContainer->CurrentData();
//     Data->Params.AddParam(u"Department", u"7");
//     Data->SetIRegObject(u"Order", Order, 2);     // scripts: ThreadData.Order
//
// A space is touched by its own thread only and needs no lock. The host calls
// ZUThreadDataContainer->ReleaseThreadData at the end of each request and thread.

#pragma once

#include "core/Zuslist.h"
#include "host/Exception.h"
#include "host/ScriptObjects.h"
#include "host/ThreadContainer.h"
#include "host/Variant.h"

#include <cstdint>
#include <memory>
#include <string_view>

namespace zutools {

class EZUThreadData : public Exception {
public:
    using Exception::Exception;
};

/// One thread's space. A script that reads a name that nobody published gets a null object; one that writes
/// such a name is told nothing, and nothing is stored.
class TZUThreadDataInterface : public TIRegObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    TZUThreadDataInterface();
    ~TZUThreadDataInterface() override;

    TZUSortedParams Params;              // fixed parameters of the request
    TZUSortedNamedObjects Objects;       // what scripts see; frees what its entries give to it
    TZUSortedNamedObjects CustomObjects; // further objects; owned by others unless an entry says otherwise

    void Clear();
    /// Empties this space, then takes over the lists of the other one. Both then hold the same objects under
    /// the same rules: objects that a list frees (DelObject 0 or 1 in Objects) must leave one of the spaces,
    /// or be given another rule, before the second one goes.
    void Assign(const TZUThreadDataInterface& Source);
    /// Publishes `Obj` to the scripts of this thread, replacing what stood under that name. With `DelObject`
    /// 0 or 1 it is freed when it is replaced, removed or cleared; with 2 and more it stays its owner's.
    /// @throws EZUThreadData when a parameter has that name; the object stays the caller's.
    void SetIRegObject(std::u16string_view Name, TIRegObject* Obj, std::uint8_t DelObject);

    bool GetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount,
                             TKXVariant& Result) override;
    /// @throws EZUThreadData for the name of a parameter or a published object: both are fixed for scripts.
    bool SetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount) override;
};

/// What the container keeps for a thread: owns its space.
class TThreadContainerZUInterfaceObject : public TThreadContainerParentObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    TThreadContainerZUInterfaceObject();
    [[nodiscard]] TZUThreadDataInterface* InterfaceObject() const { return FInterfaceObject.get(); }

private:
    std::unique_ptr<TZUThreadDataInterface> FInterfaceObject;
};

/// The spaces of all threads. A released space is freed, never handed to another thread. Any thread may ask.
class TZUThreadDataContainer : public TThreadContainer {
public:
    TZUThreadDataContainer();
    /// The calling thread's space, made at its first call; null when the container has none to give.
    /// @throws EIObjectError when the thread's item is of a foreign class.
    [[nodiscard]] TZUThreadDataInterface* CurrentData();

protected:
    [[nodiscard]] std::unique_ptr<TThreadContainerParentObject> CreateData() override;
};

/// A value as an object, for lists of objects. Frees the object that stands in `Value` when it goes.
class TZUCustomObject : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;
    ~TZUCustomObject() override;

    TKXVariant Value;
};

/// The container of the process; the package makes and frees it.
extern std::unique_ptr<TZUThreadDataContainer> ZUThreadDataContainer;

/// The calling thread's request or work is over: frees its space in the process's container, if there is one.
void ReleaseCurrentThreadData();

/// Makes the class known to scripts, and forgets it. The package calls both.
void RegisterLthdata(TScriptRegistry& Registry);
void UnregisterLthdata(TScriptRegistry& Registry);

} // namespace zutools
