// zuhost filters: the filters in a database, listed and changed.

#include "apps/zuhost/Commands.h"
#include "apps/zuhost/DatabaseManager.h"
#include "apps/zuhost/ServeChecks.h"

#include "checking/Dbchprms.h"
#include "checking/Presets.h"
#include "host/Exception.h"
#include "host/Format.h"
#include "host/Numbers.h"
#include "host/Queries.h"
#include "platform/File.h"
#include "platform/Text.h"
#include "server/sql/Schema.h"

#include <nlohmann/json.hpp>

#include <fstream>
#include <functional>
#include <optional>

namespace zutools::zuhost {

namespace {

using TJson = nlohmann::ordered_json;

constexpr const char* Footer =
    R"(ACTION is one of
  list                     the filters: ID and name
  show ID                  one filter with its rules
  add ID NAME              a new, empty filter, or a new name for one
  set-rule ID PARAMS       the rule for the parameters PARAMS (names with commas
                           between, or <Default>), from --wrong and --right
  remove-rule ID PARAMS    takes the rule for PARAMS away
  delete ID                a filter and its rules; 0 to 2 are reserved and stay
  export ID FILE           a filter as a file of bytes
  import FILE              a filter from such a file, under the ID and the name in
                           it, or --id and --name

The tables are made and the reserved filters High (0), Medium (1) and Low (2) are
seeded when the database has none; High and Medium get their rules back when they
have none. Names are unique, since a service finds its filter by name when it starts.

Examples:
  zuhost filters --database sqlite3://orders.db list
  zuhost filters --database sqlite3://orders.db add 10 Orders
  zuhost filters --database sqlite3://orders.db set-rule 10 name,city --wrong '<,>'
  zuhost filters --database sqlite3://orders.db remove-rule 10 name,city
  zuhost filters --database sqlite3://orders.db export 10 orders.filter)";

struct TOptions {
    std::string Database;
    std::string Wrong;
    std::string Right;
    std::string Describe;
    std::string Name;
    std::optional<int> ID;
    bool Create = false;
    bool Json = false;
};

[[nodiscard]] std::string Utf8(std::u16string_view Value) {
    return platform::Utf16ToUtf8(Value);
}

[[nodiscard]] int ReadID(const std::string& Argument) {
    const auto Value = TryStrToInt64(Text(Argument));
    if (!Value || *Value < std::numeric_limits<std::int32_t>::min() ||
        *Value > std::numeric_limits<std::int32_t>::max()) {
        throw EUsage("\"" + Argument + "\" is no filter ID, which is a whole number");
    }
    return static_cast<int>(*Value);
}

[[nodiscard]] Exception NoFilter(int ID) {
    return Exception(u"there is no filter " + IntToStr(ID) + u" in the database");
}

void Load(const TCheckParamsDBConfig& Filters, int ID, TParamsConfig& Filter) {
    if (!Filters.ReadCheckParamsByID(ID, Filter, TCheckParamsDBConfig::All)) throw NoFilter(ID);
}

void List(const TCheckParamsDBConfig& Filters, const TOptions& Options) {
    TStringList Names;
    Filters.ReadFiltersNames(Names, false, false);
    TJson Json = TJson::array();
    std::u16string Lines;
    for (int Index = 0; Index < Names.Count(); ++Index) {
        const auto ID = static_cast<std::int64_t>(Names.Tags(Index));
        Json.push_back({{"id", ID}, {"name", Utf8(Names.Strings(Index))}});
        Lines += IntToStr(ID) + u"\t" + Cell(Names.Strings(Index)) + u"\n";
    }
    if (Options.Json) {
        WriteOut(Json.dump(2) + "\n");
    } else {
        WriteOut(Lines);
    }
}

void Show(const TCheckParamsDBConfig& Filters, int ID, const TOptions& Options) {
    TParamsConfig Filter;
    Load(Filters, ID, Filter);
    TJson Rules = TJson::array();
    std::u16string Lines =
        IntToStr(ID) + u"\t" + Cell(Filter.FilterName) + u"\t" + Cell(Filter.FilterDescribe) + u"\n";
    for (int Index = 0; Index < Filter.ParamsCfgCount(); ++Index) {
        const TParamsCfg& Rule = *Filter.ParamsCfg(Index);
        Rules.push_back({{"params", Utf8(Rule.Params)},
                         {"wrong", Utf8(Rule.WrongValues)},
                         {"right", Utf8(Rule.RightValues)}});
        Lines += u"\n" + Cell(Rule.Params) + u"\n  wrong: " + Cell(Rule.WrongValues) + u"\n  right: " +
                 Cell(Rule.RightValues) + u"\n";
    }
    if (!Options.Json) {
        WriteOut(Lines);
        return;
    }
    const TJson Json{{"id", ID},
                     {"name", Utf8(Filter.FilterName)},
                     {"describe", Utf8(Filter.FilterDescribe)},
                     {"rules", Rules}};
    WriteOut(Json.dump(2) + "\n");
}

/// Changes a filter that is there, alone with it.
void Change(const TCheckParamsDBConfig& Filters, int ID, const std::function<void(TParamsConfig&)>& Work) {
    if (!Filters.ChangeFilter(ID, Work)) throw NoFilter(ID);
}

void Add(const TCheckParamsDBConfig& Filters, int ID, const std::string& Name, const TOptions& Options) {
    const auto Rename = [&](TParamsConfig& Filter) {
        Filter.FilterName = Text(Name);
        if (!Options.Describe.empty()) Filter.FilterDescribe = Text(Options.Describe);
    };
    if (Filters.ChangeFilter(ID, Rename)) return;
    TParamsConfig Filter;
    Rename(Filter);
    Filters.StoreFilter(ID, Filter, TCheckParamsDBConfig::FilterOnly);
}

void SetRule(const TCheckParamsDBConfig& Filters, int ID, const std::string& Params,
             const TOptions& Options) {
    Change(Filters, ID, [&](TParamsConfig& Filter) {
        Filter.AddParams(Text(Params), Text(Options.Wrong), Text(Options.Right));
    });
}

void RemoveRule(const TCheckParamsDBConfig& Filters, int ID, const std::string& Params) {
    Change(Filters, ID, [&](TParamsConfig& Filter) {
        const int Rules = Filter.ParamsCfgCount();
        const TParamsCfg& Removed = Filter.AddParamsCfg(Text(Params)); // found as set-rule finds it
        TParamsConfig Rest;
        std::u16string Names;
        for (int Index = 0; Index < Rules; ++Index) {
            const TParamsCfg& Rule = *Filter.ParamsCfg(Index);
            if (&Rule == &Removed) continue;
            Rest.AddParams(Rule.Params, Rule.WrongValues, Rule.RightValues);
            Names += (Names.empty() ? u"\"" : u", \"") + Rule.Params + u"\"";
        }
        if (Filter.ParamsCfgCount() > Rules) {
            throw Exception(Format(u"filter %d has no rule for \"%s\"; it has rules for: %s",
                                   {ID, Text(Params), Names.empty() ? std::u16string(u"nothing") : Names}));
        }
        Filter.AssignParams(Rest);
    });
}

void Delete(const TCheckParamsDBConfig& Filters, int ID) {
    TParamsConfig Filter;
    Load(Filters, ID, Filter);
    if (ID >= 0 && ID <= 2)
        throw Exception(u"filter " + IntToStr(ID) + u" is reserved and cannot be deleted");
    TTransaction Transaction(*Filters.Database());
    Filters.DeleteFilter(ID);
    Transaction.Commit();
}

void Export(const TCheckParamsDBConfig& Filters, int ID, const std::string& File) {
    TParamsConfig Filter;
    Load(Filters, ID, Filter);
    const std::string Bytes = Filter.AsString();
    std::ofstream Stream(File, std::ios::binary | std::ios::trunc);
    Stream.write(Bytes.data(), static_cast<std::streamsize>(Bytes.size()));
    Stream.close();
    if (!Stream) throw Exception(u"cannot write file \"" + Text(File) + u"\"");
}

void Import(const TCheckParamsDBConfig& Filters, const std::string& File, const TOptions& Options) {
    constexpr std::uint64_t Largest = 64 * 1024 * 1024;
    platform::TReadFile Stream(Text(File));
    if (Stream.Size() > Largest) throw Exception(u"file \"" + Text(File) + u"\" is larger than 64 MB");
    const std::string Bytes = Stream.ReadAll();
    TParamsConfig Filter;
    Filter.SetAsString(Bytes);
    // The reader takes anything; bytes that it would write otherwise are no
    // filter.
    if (Filter.AsString() != Bytes) throw Exception(u"file \"" + Text(File) + u"\" is no exported filter");
    const int ID = Options.ID.value_or(Filter.FilterID);
    if (!Options.Name.empty()) Filter.FilterName = Text(Options.Name);
    Filters.StoreFilter(ID, Filter, TCheckParamsDBConfig::All);
    WriteOut(IntToStr(ID) + u"\t" + Filter.FilterName + u"\n");
}

/// The action's arguments, or wrong usage.
void Expect(const TArguments& Words, std::size_t Count, std::string_view Form) {
    if (Words.size() != Count + 1) throw EUsage("use it as: " + std::string(Form));
}

int RunFilters(const TOptions& Options, const TArguments& Words) {
    if (Words.empty()) throw EUsage("the action is missing");
    if (Options.Database.empty()) throw EUsage("--database is missing");

    if (!Options.Create) RequireDatabaseFile(Text(Options.Database));
    TDatabaseManager Manager(u"en", Text(Options.Database));
    server::UpgradeSchema(Manager.Connection());
    const TCheckParamsDBConfig Filters(Manager);
    SeedReservedFilters(Filters);
    const std::string& Action = Words.front();
    if (Action == "list") {
        Expect(Words, 0, "list");
        List(Filters, Options);
    } else if (Action == "show") {
        Expect(Words, 1, "show ID");
        Show(Filters, ReadID(Words[1]), Options);
    } else if (Action == "add") {
        Expect(Words, 2, "add ID NAME");
        Add(Filters, ReadID(Words[1]), Words[2], Options);
    } else if (Action == "set-rule") {
        Expect(Words, 2, "set-rule ID PARAMS [--wrong RULE] [--right RULE]");
        SetRule(Filters, ReadID(Words[1]), Words[2], Options);
    } else if (Action == "remove-rule") {
        Expect(Words, 2, "remove-rule ID PARAMS");
        RemoveRule(Filters, ReadID(Words[1]), Words[2]);
    } else if (Action == "delete") {
        Expect(Words, 1, "delete ID");
        Delete(Filters, ReadID(Words[1]));
    } else if (Action == "export") {
        Expect(Words, 2, "export ID FILE");
        Export(Filters, ReadID(Words[1]), Words[2]);
    } else if (Action == "import") {
        Expect(Words, 1, "import FILE [--id ID] [--name NAME]");
        Import(Filters, Words[1], Options);
    } else {
        throw EUsage("unknown action \"" + Action + "\"");
    }
    return ExitGood;
}

} // namespace

TJob DeclareFilters(TDeclaration& Takes) {
    const auto Options = std::make_shared<TOptions>();
    Takes.Footer(Footer);
    Takes.Option("--database", Options->Database, "URL",
                 "sqlite3://FILE or postgresql://user@host:port/name");
    Takes.Flag("--create", Options->Create, "make the SQLite file when it is not there");
    Takes.Option("--wrong", Options->Wrong, "RULE", "set-rule: what must not occur in a value");
    Takes.Option("--right", Options->Right, "RULE", "set-rule: what must occur, or alone is allowed");
    Takes.Option("--describe", Options->Describe, "TEXT", "add: the filter's description");
    Takes.Option("--name", Options->Name, "NAME", "import: the name to store the filter under");
    Takes.Option("--id", Options->ID, "ID", "import: the ID to store the filter under");
    Takes.Flag("--json", Options->Json, "list, show: print JSON");
    return [Options](const TArguments& Words) { return RunFilters(*Options, Words); };
}

} // namespace zutools::zuhost
