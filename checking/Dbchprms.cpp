#include "checking/Dbchprms.h"

#include "host/Format.h"
#include "host/Numbers.h"
#include "host/Queries.h"
#include "host/StringHelpers.h"

#include <array>

namespace zutools {

namespace {

constexpr std::u16string_view FiltersTable = u"CheckParamsFilters";
constexpr std::u16string_view RulesTable = u"CheckParams";

struct TReserved {
    int ID;
    std::u16string_view Name;
    std::u16string_view Describe;
};

constexpr std::array Reserved = {
    TReserved{0, u"High", u"High CSS level"},
    TReserved{1, u"Medium", u"Medium CSS level"},
    TReserved{2, u"Low", u"Low CSS level"},
};
constexpr int LowID = 2; // the one reserved filter that has no rules

bool IsReserved(int ID) {
    return ID >= 0 && ID <= LowID;
}

bool HandlesFilter(int ParamsType) {
    return ParamsType == TCheckParamsDBConfig::All || ParamsType == TCheckParamsDBConfig::FilterOnly ||
           ParamsType == TCheckParamsDBConfig::FilterAndRules;
}

bool HandlesRules(int ParamsType) {
    return ParamsType == TCheckParamsDBConfig::All || ParamsType == TCheckParamsDBConfig::RulesOnly ||
           ParamsType == TCheckParamsDBConfig::FilterAndRules;
}

/// A statement that ends in the ID.
std::u16string WithID(std::u16string_view Statement, int ID) {
    return std::u16string(Statement) + IntToStr(ID);
}

std::int64_t CountOf(TDatabase& Database, std::u16string_view Statement) {
    const auto Query = Database.CreateSelectQuery();
    Query->SetSQL(Statement);
    Query->Open();
    return Query->Step() ? Query->FieldValue(0).AsInt64() : 0;
}

int Run(TDatabase& Database, std::u16string_view Statement) {
    const auto Query = Database.CreateExecQuery();
    Query->SetSQL(Statement);
    Query->Execute();
    return Query->RowsAffected();
}

void WriteFilterRow(TDatabase& Database, int ID, const TParamsConfig& Config) {
    const auto Update = Database.CreateExecQuery();
    Update->SetSQL(
        WithID(u"UPDATE CheckParamsFilters SET Name=:Name, FilterDescribe=:Describe  where ID=", ID));
    Update->SetString(u"Name", Config.FilterName);
    Update->SetString(u"Describe", Config.FilterDescribe);
    Update->Execute();
    if (Update->RowsAffected() > 0) return;

    const auto Insert = Database.CreateExecQuery();
    Insert->SetSQL(
        u"INSERT INTO CheckParamsFilters ( ID, Name, FilterDescribe) VALUES (:ID, :Name, :Describe)");
    Insert->SetInteger(u"ID", ID);
    Insert->SetString(u"Name", Config.FilterName);
    Insert->SetString(u"Describe", Config.FilterDescribe);
    Insert->Execute();
}

void WriteRules(TDatabase& Database, int ID, const TParamsConfig& Config) {
    Run(Database, WithID(u"Delete FROM CheckParams where FilterID=", ID));
    for (int Index = 0; Index < Config.ParamsCfgCount(); ++Index) {
        const TParamsCfg& Rule = *Config.ParamsCfg(Index);
        const auto Insert = Database.CreateExecQuery();
        Insert->SetSQL(u"INSERT INTO CheckParams ( FilterID, ParamIndex, Params, WrongValues, RightValues) "
                       u"VALUES (:ID, :ParamIndex, :Param, :WrongValues, :RightValues)");
        Insert->SetInteger(u"ID", ID);
        Insert->SetInteger(u"ParamIndex", Index);
        Insert->SetString(u"Param", Rule.Params);
        Insert->SetLongText(u"WrongValues", Rule.WrongValues);
        Insert->SetLongText(u"RightValues", Rule.RightValues);
        Insert->Execute();
    }
}

/// Whoever writes to this row waits for the end of the transaction of who did so before, so filters change
/// one after the other. High is in every database that was seeded.
void LockFilters(TDatabase& Database) {
    Run(Database, u"UPDATE CheckParamsFilters SET Name=Name where ID=0");
}

void RequireFreeName(const TCheckParamsDBConfig& Filters, int ID, std::u16string_view Name) {
    TStringList Names;
    Filters.ReadFiltersNames(Names, false, false);
    for (int Index = 0; Index < Names.Count(); ++Index) {
        const auto Other = static_cast<int>(Names.Tags(Index));
        if (Other == ID || !SameText(Names.Strings(Index), Name)) continue;
        throw Exception(
            Format(u"filter %d has the name \"%s\" already; a service finds its filter by name, so "
                   u"each needs one of its own",
                   {Other, Name}));
    }
}

} // namespace

TDatabase* TCheckParamsDBConfig::Database() const {
    return FManager != nullptr ? FManager->GetDatabase() : Services().ApplicationManager->GetDatabase();
}

bool TCheckParamsDBConfig::TablesExists() const {
    TDatabase* Base = Database();
    return Base != nullptr && Base->TableExists(FiltersTable) && Base->TableExists(RulesTable);
}

void TCheckParamsDBConfig::ReadFiltersNames(TStrings& List, bool CustomOnly, bool /*EnabledOnly*/) const {
    // Kept on purpose: EnabledOnly is accepted and ignored, since the switch is not stored.
    if (!TablesExists()) return;
    const TUpdateScope Updating(List);
    List.Clear();
    const auto Query = Database()->CreateSelectQuery();
    Query->SetSQL(CustomOnly ? u"SELECT * FROM CheckParamsFilters where ID>2"
                             : u"SELECT * FROM CheckParamsFilters");
    Query->Open();
    while (Query->Step()) {
        const int Line = List.Add(Query->FieldAsString(u"Name"));
        List.SetTags(Line, Query->FieldAsInteger(u"ID"));
    }
}

bool TCheckParamsDBConfig::ReadCheckParamsByID(int ID, TParamsConfig& CurChecker, int ParamsType) const {
    CurChecker.Clear();
    if (!TablesExists()) return false;
    CurChecker.FilterID = ID;
    // Kept on purpose: reading is not the mirror of writing; "rules only" reads nothing.
    if (!HandlesFilter(ParamsType)) return true;

    TDatabase& Base = *Database();
    {
        const auto Filter = Base.CreateSelectQuery();
        Filter->SetSQL(WithID(u"SELECT * FROM CheckParamsFilters where ID=", ID));
        Filter->Open();
        if (!Filter->Step()) return false;
        CurChecker.FilterName = Filter->FieldAsString(u"Name");
        CurChecker.FilterDescribe = Filter->FieldAsString(u"FilterDescribe");
    }
    const auto Rules = Base.CreateSelectQuery();
    Rules->SetSQL(WithID(u"SELECT * FROM CheckParams where FilterID=", ID) + u" ORDER BY ParamIndex");
    Rules->Open();
    while (Rules->Step()) {
        CurChecker.AddParams(Rules->FieldAsString(u"Params"), Rules->FieldAsString(u"WrongValues"),
                             Rules->FieldAsString(u"RightValues"));
    }
    return true;
}

void TCheckParamsDBConfig::SetCheckParamsByID(int ID, const TParamsConfig& CurChecker, int ParamsType) const {
    if (!TablesExists()) return;
    TDatabase& Base = *Database();
    if (HandlesFilter(ParamsType)) WriteFilterRow(Base, ID, CurChecker);
    if (HandlesRules(ParamsType)) WriteRules(Base, ID, CurChecker);
}

void TCheckParamsDBConfig::StoreFilter(int ID, const TParamsConfig& CurChecker, int ParamsType) const {
    if (!TablesExists()) return;
    TTransaction Transaction(*Database());
    LockFilters(*Database());
    if (HandlesFilter(ParamsType)) RequireFreeName(*this, ID, CurChecker.FilterName);
    SetCheckParamsByID(ID, CurChecker, ParamsType);
    Transaction.Commit();
}

bool TCheckParamsDBConfig::ChangeFilter(int ID, const std::function<void(TParamsConfig&)>& Change) const {
    if (!TablesExists()) return false;
    TTransaction Transaction(*Database());
    LockFilters(*Database());
    TParamsConfig Config;
    if (!ReadCheckParamsByID(ID, Config, All)) return false;
    const std::u16string Name = Config.FilterName;
    Change(Config);
    if (Config.FilterName != Name) RequireFreeName(*this, ID, Config.FilterName);
    SetCheckParamsByID(ID, Config, All);
    Transaction.Commit();
    return true;
}

void TCheckParamsDBConfig::AddFilterToDB(std::u16string_view Name, int ID) const {
    if (!TablesExists()) return;
    TDatabase& Base = *Database();
    const auto Update = Base.CreateExecQuery();
    Update->SetSQL(WithID(u"UPDATE CheckParamsFilters SET Name=:Name where ID=", ID));
    Update->SetString(u"Name", Name);
    Update->Execute();
    if (Update->RowsAffected() > 0) return;

    const auto Insert = Base.CreateExecQuery();
    Insert->SetSQL(u"INSERT INTO CheckParamsFilters ( ID, Name) VALUES (:ID, :Name)");
    Insert->SetInteger(u"ID", ID);
    Insert->SetString(u"Name", Name);
    Insert->Execute();
}

void TCheckParamsDBConfig::DeleteFilter(int ID) const {
    if (!TablesExists() || IsReserved(ID)) return;
    TDatabase& Base = *Database();
    Run(Base, WithID(u"Delete FROM CheckParams where FilterID=", ID));
    Run(Base, WithID(u"Delete FROM CheckParamsFilters where ID=", ID));
}

bool TCheckParamsDBConfig::DataExists() const {
    if (!TablesExists()) return false;
    TDatabase& Base = *Database();
    if (CountOf(Base, u"SELECT Count(*) FROM CheckParamsFilters where ID>=0 and ID<=2") != 3) return false;
    for (int ID = 0; ID < LowID; ++ID) {
        if (CountOf(Base, WithID(u"SELECT Count(*) FROM CheckParams where FilterID=", ID)) == 0) return false;
    }
    return true;
}

void TCheckParamsDBConfig::SetDefaultParams(const TParamsConfig& DefParams) const {
    if (!TablesExists()) return;
    TParamsConfig Config;
    for (const TReserved& Filter : Reserved) {
        const bool Found = ReadCheckParamsByID(Filter.ID, Config, All);
        if (Found && (Filter.ID == LowID || Config.ParamsCfgCount() > 0)) continue;
        if (!Found) {
            Config.FilterName = Filter.Name;
            Config.FilterDescribe = Filter.Describe;
        }
        if (Filter.ID != LowID) Config.AssignParams(DefParams);
        SetCheckParamsByID(Filter.ID, Config, Found ? RulesOnly : All);
    }
}

} // namespace zutools
