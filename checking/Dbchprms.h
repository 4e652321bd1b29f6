// Filters in the application's database: one row a filter in CheckParamsFilters, one row a rule in
// CheckParams.
//
// IDs 0 to 2 are reserved for the filters "High", "Medium" and "Low": they cannot be deleted and are no user
// filters. Every operation asks the application manager for the calling thread's database and makes a query
// of its own, so one object serves any number of threads. While the two tables do not exist, every operation
// does nothing. Database errors (EDatabaseError) pass to the caller. Example:
//
//     TCheckParamsDBConfig Filters;
//     TParamsConfig Loaded;
//     if (Filters.ReadCheckParamsByID(1, Loaded, TCheckParamsDBConfig::All)) { ... }

#pragma once

#include "checking/Chekprms.h"
#include "host/Services.h"

#include <functional>
#include <string_view>

namespace zutools {

class TQuery;

class TCheckParamsDBConfig {
public:
    /// What the read and write operations handle (ParamsType). Reading knows no "rules only".
    static constexpr int All = 0;
    static constexpr int FilterOnly = 1;
    static constexpr int RulesOnly = 2;
    static constexpr int FilterAndRules = 3;

    /// Uses the services of the process.
    TCheckParamsDBConfig() = default;
    /// Uses this manager, which must outlive the object.
    explicit TCheckParamsDBConfig(TApplicationManager& Manager)
        : FManager(&Manager) {}

    [[nodiscard]] bool TablesExists() const;
    /// The calling thread's database; null when the application has none.
    [[nodiscard]] TDatabase* Database() const;

    /// Fills `List`, cleared first, with the names of the filters; a line's tag is the filter's ID.
    /// `CustomOnly` leaves out the reserved filters and any negative ID; `EnabledOnly` changes nothing.
    void ReadFiltersNames(TStrings& List, bool CustomOnly, bool EnabledOnly) const;

    /// Loads filter `ID`. The configuration is cleared and carries the ID even when there is no such filter
    /// (false). ParamsType 0, 1 and 3 read the filter and its rules; any other value reads nothing and gives
    /// true.
    bool ReadCheckParamsByID(int ID, TParamsConfig& CurChecker, int ParamsType) const;

    /// Stores `CurChecker` as filter `ID`: the filter row for ParamsType 0, 1 and 3, the rules for 0, 2
    /// and 3. Not in a transaction: a failure between the statements leaves the filter without rules (see
    /// StoreFilter).
    void SetCheckParamsByID(int ID, const TParamsConfig& CurChecker, int ParamsType) const;

    /// The same in one transaction, one after the other with all who store or change a filter: after a
    /// failure the old filter stands. The caller must be in no transaction.
    /// @throws Exception when the filter row is to be written and another filter has the name already
    /// (ignoring the case of A to Z), since services find their filter by name.
    void StoreFilter(int ID, const TParamsConfig& CurChecker, int ParamsType) const;

    /// Reads filter `ID`, lets `Change` alter it, and stores it whole, in one transaction as StoreFilter: a
    /// change that was stored before is there to be seen, none is lost. False, and `Change` is not called,
    /// when there is no such filter.
    /// @throws what `Change` raises, and as StoreFilter; nothing has changed then.
    bool ChangeFilter(int ID, const std::function<void(TParamsConfig&)>& Change) const;

    /// Renames filter `ID`, or makes it, with an empty description.
    void AddFilterToDB(std::u16string_view Name, int ID) const;

    /// Deletes a filter and its rules; nothing happens for a reserved one.
    void DeleteFilter(int ID) const;

    /// All reserved filters are there, and "High" and "Medium" have rules.
    [[nodiscard]] bool DataExists() const;

    /// Makes the reserved filters that are missing and gives "High" and "Medium" the rules of `DefParams`
    /// where they have none. Rules that exist are never overwritten.
    void SetDefaultParams(const TParamsConfig& DefParams) const;

private:
    TApplicationManager* FManager = nullptr; // null: the process's
};

} // namespace zutools
