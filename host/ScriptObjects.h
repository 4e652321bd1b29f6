// The bases of the objects that scripts see, and the registry of the names that they see them by.
//
// A script call goes: engine -> TScriptRegistry by (class, name) -> the handler registered for it. Names that
// are not registered fall to the class's published properties, then to the object's own hooks. Registration
// happens at package start and stop, from the list of classes there (package/ZuTools.h); look-ups happen on
// every worker thread.

#pragma once

#include "host/Object.h"
#include "host/Variant.h"

#include <memory>
#include <shared_mutex>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zutools {

/// Names by class, compared ignoring the letter case of A to Z; a class also answers to the names of its
/// bases.
class TScriptRegistry {
public:
    TScriptRegistry();
    ~TScriptRegistry();
    TScriptRegistry(const TScriptRegistry&) = delete;
    TScriptRegistry& operator=(const TScriptRegistry&) = delete;

    // @throws Exception when a handler is missing, a name is empty, a count is below -1, or `ReadOnly` and
    // the setter contradict each other.

    /// Makes a class known (and, when its class info has a factory, creatable), with the script names that
    /// its class info declares.
    void RegisterClass(const TClassInfo& Class);
    /// A single name. A second registration of a name replaces the first.
    void RegisterProperty(const TClassInfo& Class, std::u16string_view Name, int ArgCount,
                          TScriptGetter Getter, TScriptSetter Setter, bool ReadOnly);
    void RegisterFunction(const TClassInfo& Class, std::u16string_view Name, int ArgCount,
                          TScriptFunction Handler);
    void RegisterProcedure(const TClassInfo& Class, std::u16string_view Name, int ArgCount,
                           TScriptProcedure Handler);
    /// Forgets the class and all its names; nothing happens for an unknown one.
    void UnregisterClass(const TClassInfo& Class);

    /// The member of the class or its nearest base that has one; null when there is none. Valid until the
    /// owning class is unregistered.
    [[nodiscard]] const TScriptMember* Find(const TClassInfo& Class, std::u16string_view Name) const;
    /// A registered class by name, ignoring case; null when unknown.
    [[nodiscard]] const TClassInfo* FindClass(std::u16string_view Name) const;
    /// Registered classes ordered by name, for reference pages.
    [[nodiscard]] std::vector<const TClassInfo*> Classes() const;
    /// The members registered for the class itself, in order of registration.
    [[nodiscard]] std::vector<const TScriptMember*> Members(const TClassInfo& Class) const;

private:
    struct TClassEntry;
    TClassEntry& EntryOf(const TClassInfo& Class);
    void Enter(const TClassInfo& Class, const TScriptMember& Member);

    mutable std::shared_mutex FMutex;
    std::unordered_map<const TClassInfo*, std::unique_ptr<TClassEntry>> FClasses;
};

/// The registry of the process, where the package registers its names.
[[nodiscard]] TScriptRegistry& ScriptRegistry();

/// A class, named by its declaration.
using TScriptClass = const TClassInfo& (*)();
/// Registers classes in the registry of the process, and forgets them. @throws as RegisterClass; what was
/// registered before that is forgotten again.
void RegisterScriptClasses(std::span<const TScriptClass> Classes);
void UnregisterScriptClasses(std::span<const TScriptClass> Classes);

/// Base of script-visible objects.
class TIObject : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    /// Reads a property or calls a function or procedure by name: registered names first, then published
    /// properties, then what a descendant adds. False when nobody knows the name. `ArgCount` is
    /// `Args.size()`.
    /// @throws EIObjectError for a wrong number of arguments; whatever the handler raises.
    virtual bool GetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount,
                                     TKXVariant& Result);
    /// Writes a property by name; the value is the last element of `Args`, index arguments stand before it,
    /// and `ArgCount` counts the index arguments only. False when nobody knows the name.
    virtual bool SetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount);
    /// True when GetPropertyInternal takes the name, which nobody registered, as something to call. Asked by
    /// engines whose syntax tells `object:Name(1)` from `object.Name`. Here: none.
    [[nodiscard]] virtual bool IsCallable(std::u16string_view Name) const;
};

/// A script-visible object that announces itself to the host while it lives.
class TIRegObject : public TIObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;
    ~TIRegObject() override;
};

/// Announces a living interface object; its destructor takes it back. Any thread.
void RegisterInterfaceObject(TIRegObject& Object);
/// Announced and still alive.
[[nodiscard]] bool IsInterfaceObjectRegistered(const TIRegObject& Object);

} // namespace zutools
