// TParamsList, the general name/value list of script modules: request parameters, settings, error lists.
//
// Keeps the same entries twice: sorted, for look-up by name without case, and in insertion order, for access
// by index and for output. Scripts create it as "TParamsList". With `UseCritical` (the default) the compound
// operations and all script handlers run under the list's own re-entrant lock; the operations marked "no
// lock" are for callers that hold it or have the list to themselves.
//
// Text form: "name=value" lines parted by CRLF; a name ends at the first "=", so values may hold "=" but no
// line break.

#pragma once

#include "core/Zuslist.h"
#include "host/Exception.h"
#include "host/Locks.h"
#include "host/ScriptObjects.h"

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zutools {

class EParamsList : public Exception {
public:
    using Exception::Exception;
};

/// Returning with `CanSet` false vetoes a store, or blanks a value handed out.
using TOnSetParamValue =
    std::function<void(std::u16string_view ParamName, std::u16string_view ParamValue, bool& CanSet)>;

class TParamsList : public TIObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    TParamsList();
    ~TParamsList() override;

    bool UseCritical = true; // false: Lock and UnLock do nothing

    /// Stores under a name; a known name keeps its place and spelling. An empty name is ignored. The set
    /// event is asked before the lock is taken.
    void Add(std::u16string_view Name, std::u16string_view Value);
    /// Splits at the first `Delimer` and adds; without one the whole text is a name with an empty value.
    void AddStr(std::u16string_view Value, std::u16string_view Delimer);
    void SetPLValueByName(std::u16string_view Name, std::u16string_view Value) { Add(Name, Value); }
    /// Empty when unknown or blanked by the get event. No lock.
    [[nodiscard]] std::u16string GetPLValueByName(std::u16string_view Name) const;
    /// By insertion order; empty when out of range or blanked. No lock.
    [[nodiscard]] std::u16string GetPLValueByIndex(int Index) const;
    /// No lock. @throws EParamsList "Error value index: %d in Params."
    void SetPLValueByIndex(int Index, std::u16string_view Value);
    /// @throws EParamsList "Error name index: %d in Params."
    [[nodiscard]] std::u16string GetPLName(int Index) const;
    /// First entry of that name by insertion order, or -1; names compare as in look-ups by name. No lock.
    [[nodiscard]] int GetPLNameIndex(std::u16string_view Name) const;
    /// By insertion order; null out of range; the list's own. No lock.
    [[nodiscard]] TZUParamObject* GetParamObject(int Index) const;
    [[nodiscard]] int GetCount() const;
    /// Out of range: nothing. No lock.
    void Delete(int Index);
    void Clear();
    /// Adds every entry of another list in its order; nothing for null. A list may be added to itself.
    void Concate(const TParamsList* ConcateParams);
    /// The same for an object of any class, as scripts hand it in. @throws EIObjectError when it is no
    /// TParamsList; nothing is added.
    void LoadParams(TObject* Source);
    /// Adds the lines as "name=value", after what is there; nothing for null.
    void LoadStrings(const TStrings* AddStrings);
    void FromStrings(const TStrings* SourceList, std::u16string_view Delimer, bool ClearBeforeLoad);
    void ToStrings(TStrings* DestList, std::u16string_view Delimer, bool ClearBeforeStore) const;
    /// The text form, without a line break after the last line.
    [[nodiscard]] std::u16string GetAsString() const;
    void SetAsString(std::u16string_view Value);
    [[nodiscard]] std::u16string GetDebugInfo() const;
    /// Adds the items of a text parted by `Delimer` as "name=value"; empty items are passed over.
    void LoadString(std::u16string_view Text, std::u16string_view Delimer);
    /// Removes an entry by its name; nothing happens for an unknown one. No lock.
    void DeleteByName(std::u16string_view Name);

    void Lock() const;
    void UnLock() const;
    /// Lock for a scope. What was locked is unlocked, even when `UseCritical` changes meanwhile.
    [[nodiscard]] std::unique_lock<const TKXThreadSafetyClass> Locked() const;

    // The properties under their own names.
    [[nodiscard]] int Count() const { return GetCount(); }
    [[nodiscard]] std::u16string DebugInfo() const { return GetDebugInfo(); }
    [[nodiscard]] TZUParamObject* ParamObject(int Index) const { return GetParamObject(Index); }
    [[nodiscard]] std::u16string Name(int Index) const { return GetPLName(Index); }
    [[nodiscard]] int Names(std::u16string_view EntryName) const { return GetPLNameIndex(EntryName); }
    [[nodiscard]] std::u16string Value(std::u16string_view EntryName) const {
        return GetPLValueByName(EntryName);
    }
    void SetValue(std::u16string_view EntryName, std::u16string_view NewValue) { Add(EntryName, NewValue); }
    [[nodiscard]] std::u16string Values(int Index) const { return GetPLValueByIndex(Index); }
    void SetValues(int Index, std::u16string_view NewValue) { SetPLValueByIndex(Index, NewValue); }
    [[nodiscard]] std::u16string AsString() const { return GetAsString(); }
    [[nodiscard]] const TOnSetParamValue& OnSetParamValue() const { return FOnSetParamValue; }
    void SetOnSetParamValue(TOnSetParamValue Event) { FOnSetParamValue = std::move(Event); }
    [[nodiscard]] const TOnSetParamValue& OnGetParamValue() const { return FOnGetParamValue; }
    void SetOnGetParamValue(TOnSetParamValue Event) { FOnGetParamValue = std::move(Event); }

    /// Unknown names are parameter names: reading gives the value, writing stores it; both are always
    /// handled.
    bool GetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount,
                             TKXVariant& Result) override;
    bool SetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount) override;

private:
    [[nodiscard]] std::u16string Filtered(std::u16string_view Name, std::u16string Value) const;
    [[nodiscard]] std::vector<std::pair<std::u16string, std::u16string>> Entries() const;

    TKXThreadSafetyClass FLock;              // outlives the entries, which may be freed under it
    TZUSortedParams FParams;                 // owns the entries
    std::vector<TZUParamObject*> ParamsList; // the same entries in insertion order
    TOnSetParamValue FOnSetParamValue;
    TOnSetParamValue FOnGetParamValue;
};

/// Makes TParamsList known to scripts, with its names; the package's start and stop call these.
void RegisterLparams(TScriptRegistry& Registry);
void UnregisterLparams(TScriptRegistry& Registry);

} // namespace zutools
