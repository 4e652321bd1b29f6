// zuhost lint: what every template file holds, and what is wrong in it.

#include "apps/zuhost/Commands.h"

#include "host/Exception.h"
#include "platform/File.h"
#include "platform/Text.h"
#include "platform/TextTools.h"
#include "server/strings/JsonLocalizator.h"
#include "templates/Lint.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <optional>

namespace zutools::zuhost {

namespace {

using TJson = nlohmann::ordered_json;
using server::TJsonLocalizator;

constexpr const char* Footer =
    R"(NAME is a template file below the templates folder; without one, every file below
it is taken. For each file the tags, the tree of parts and the language keys are
listed with the line and column where they stand first, then the problems, each
as file:line:column: message. Lines and columns count from 1, columns in
characters. Exits with 1 when there is a problem.

Reported: tags, parts and language keys that are not closed, closing marks without
an open part, tags that differ only in letter case, tags and parts without a name,
parts of one name side by side, keys that a language lacks (with --strings),
malformed UTF-8, empty files, and file names that templates refuse. A tag named like
a member of templates ("Name", "Body", ...) is no problem, and is marked in the list.

The file's own text is looked at. When a template is loaded, its language keys are
replaced before its tags are found, so marks inside a language's text are not seen
here.

Examples:
  zuhost lint --templates pages --strings texts
  zuhost lint --quiet --templates pages orders/list.html)";

/// Deeper parts are listed at this depth, so that a listing grows with the file and not with its square.
constexpr std::size_t MaxIndent = 20;

[[nodiscard]] std::u16string Number(std::size_t Value) {
    return Text(std::to_string(Value));
}

[[nodiscard]] std::u16string Counted(std::size_t Value, std::u16string_view Word) {
    return Number(Value) + u' ' + std::u16string(Word) + (Value == 1 ? u"" : u"s");
}

[[nodiscard]] std::u16string PlaceText(TLintPlace Place) {
    return Number(Place.Line) + u':' + Number(Place.Column);
}

[[nodiscard]] TLintReport LintFile(std::u16string_view Folder, std::u16string_view Name) {
    platform::TReadFile File(Folder, Name);
    return File.Size() > MaxLintBytes ? LintOversize(File.Size()) : LintTemplate(File.ReadAll());
}

void AddMissingTexts(TLintReport& Report, const TJsonLocalizator& Strings) {
    for (const std::u16string& Language : Strings.Languages()) {
        for (const TLintName& Key : Report.Keys) {
            if (Strings.Find(Key.Name, Language) != nullptr) continue;
            Report.AddProblem(Key.Place, u"language key " + QuoteLintName(Key.Name) +
                                             u" is missing in language " + QuoteLintName(Language));
        }
    }
    Report.SortProblems();
}

void AppendName(std::u16string& Output, std::size_t Depth, std::u16string_view Kind, const TLintName& Name) {
    Output.append(2 * std::min(Depth + 1, MaxIndent), u' ');
    Output += std::u16string(Kind) + u' ' + QuoteLintName(Name.Name) + u' ' + PlaceText(Name.Place);
    if (Name.Count > 1) Output += u", " + Counted(Name.Count, u"place");
    if (Name.IsMember)
        Output += u", a member's name: scripts fill it as Tag[" + QuoteLintName(Name.Name) + u"]";
    Output += u'\n';
}

[[nodiscard]] std::u16string Listing(std::u16string_view Path, const TLintReport& Report) {
    std::size_t Tags = 0;
    for (const TLintPart& Part : Report.Parts) Tags += Part.Tags.size();
    std::u16string Output = std::u16string(Path) + u": " + Counted(Tags, u"tag") + u", " +
                            Counted(Report.Parts.size() - 1, u"part") + u", " +
                            Counted(Report.Keys.size(), u"key") + u'\n';
    for (const TLintPart& Part : Report.Parts) {
        if (Part.Depth > 0) {
            Output.append(2 * std::min(Part.Depth, MaxIndent), u' ');
            Output += u"part " + QuoteLintName(Part.Name) + u' ' + PlaceText(Part.Place);
            if (Part.Depth > MaxIndent) Output += u", depth " + Number(Part.Depth);
            Output += u'\n';
        }
        for (const TLintName& Tag : Part.Tags) AppendName(Output, Part.Depth, u"tag", Tag);
    }
    for (const TLintName& Key : Report.Keys) AppendName(Output, 0, u"key", Key);
    return Output;
}

[[nodiscard]] std::u16string ProblemLines(std::u16string_view Path, const TLintReport& Report) {
    std::u16string Output;
    for (const TLintProblem& Problem : Report.Problems) {
        Output += std::u16string(Path) + u':' + PlaceText(Problem.Place) + u": " + Problem.Message + u'\n';
    }
    if (Report.MoreProblems > 0) {
        Output += std::u16string(Path) + u": " + Counted(Report.MoreProblems, u"more problem") + u'\n';
    }
    return Output;
}

[[nodiscard]] TJson PlaceJson(TLintPlace Place) {
    return {{"line", Place.Line}, {"column", Place.Column}};
}

[[nodiscard]] TJson NamesJson(const std::vector<TLintName>& Names) {
    TJson Result = TJson::array();
    for (const TLintName& Name : Names) {
        TJson Entry{{"name", platform::Utf16ToUtf8(Name.Name)}};
        Entry.update(PlaceJson(Name.Place));
        Entry["count"] = Name.Count;
        if (Name.IsMember) Entry["member"] = true;
        Result.push_back(std::move(Entry));
    }
    return Result;
}

/// Parts stand in a flat list, each with the index of its parent in it (-1: the template itself): a tree of
/// any depth.
[[nodiscard]] TJson FileJson(std::u16string_view Path, const TLintReport& Report) {
    TJson Parts = TJson::array();
    for (std::size_t Index = 1; Index < Report.Parts.size(); ++Index) {
        const TLintPart& Part = Report.Parts[Index];
        TJson Entry{{"name", platform::Utf16ToUtf8(Part.Name)}};
        Entry.update(PlaceJson(Part.Place));
        Entry["parent"] = static_cast<std::int64_t>(Part.Parent) - 1;
        Entry["tags"] = NamesJson(Part.Tags);
        Parts.push_back(std::move(Entry));
    }
    TJson Problems = TJson::array();
    for (const TLintProblem& Problem : Report.Problems) {
        TJson Entry = PlaceJson(Problem.Place);
        Entry["message"] = platform::Utf16ToUtf8(Problem.Message);
        Problems.push_back(std::move(Entry));
    }
    return {{"file", platform::Utf16ToUtf8(Path)}, {"tags", NamesJson(Report.Parts.front().Tags)},
            {"parts", std::move(Parts)},           {"keys", NamesJson(Report.Keys)},
            {"problems", std::move(Problems)},     {"moreProblems", Report.MoreProblems}};
}

enum class TOutput { Full, Quiet, Json };

/// Writes one file after the other, so that memory holds one report at a time.
class TLintWriter {
public:
    explicit TLintWriter(TOutput Output)
        : FOutput(Output) {
        if (FOutput == TOutput::Json) WriteOut(u"[");
    }

    void Write(std::u16string_view Path, const TLintReport& Report) {
        if (FOutput == TOutput::Json) {
            WriteOut(FFirst ? u"\n" : u",\n");
            WriteOut(FileJson(Path, Report).dump());
        } else {
            if (FOutput == TOutput::Full) WriteOut(platform::Utf16ToUtf8(Listing(Path, Report)));
            WriteOut(platform::Utf16ToUtf8(ProblemLines(Path, Report)));
        }
        FFirst = false;
    }

    void Finish() const {
        if (FOutput == TOutput::Json) WriteOut(u"\n]\n");
    }

private:
    const TOutput FOutput;
    bool FFirst = true;
};

/// The keys of `zu.text("key"` and `zu.text "key"` in modules that a language lacks; how many. Keys that are
/// put together at run time are not seen.
std::size_t TellMissingModuleTexts(std::u16string_view Folder, const TJsonLocalizator& Strings) {
    std::size_t Missing = 0;
    for (const std::u16string& Name : platform::ListFiles(Folder)) {
        if (!Name.ends_with(u".lua")) continue;
        const std::string Source = platform::TReadFile(Folder, Name).ReadAll();
        constexpr std::string_view Call = "zu.text";
        for (std::size_t At = Source.find(Call); At != Source.npos; At = Source.find(Call, At + 1)) {
            const std::size_t Open = Source.find_first_not_of(" (", At + Call.size());
            if (Open == Source.npos || (Source[Open] != '"' && Source[Open] != '\'')) continue;
            const std::size_t Close = Source.find_first_of(Source[Open] == '"' ? "\"\n" : "'\n", Open + 1);
            if (Close == Source.npos || Source[Close] == '\n') continue;
            const std::size_t Behind = Source.find_first_not_of(' ', Close + 1);
            if (Behind != Source.npos && Source[Behind] == '.') continue; // ("key." .. name)
            const std::u16string Key = Text(Source.substr(Open + 1, Close - Open - 1));
            for (const std::u16string& Language : Strings.Languages()) {
                if (Strings.Find(Key, Language) != nullptr) continue;
                const auto Line =
                    1 + std::count(Source.begin(), Source.begin() + static_cast<std::ptrdiff_t>(At), '\n');
                WriteOut(platform::Utf16ToUtf8(platform::Masked(platform::JoinPath(Folder, Name)) + u":" +
                                               Number(static_cast<std::size_t>(Line)) + u": language key " +
                                               QuoteLintName(Key) + u" is missing in language " +
                                               QuoteLintName(Language) + u"\n"));
                ++Missing;
            }
        }
    }
    return Missing;
}

struct TOptions {
    std::string Templates;
    std::string Strings;
    std::string Modules;
    bool Quiet = false;
    bool Json = false;
};

int Lint(const TOptions& Options, const TArguments& Given) {
    std::optional<TJsonLocalizator> Strings;
    if (!Options.Strings.empty()) Strings.emplace(Text(Options.Strings));
    const std::u16string Folder = Text(Options.Templates);
    std::vector<std::u16string> Names;
    std::vector<std::u16string> NotText;
    for (const std::string& Name : Given) Names.push_back(Text(Name));
    if (Names.empty()) {
        Names = platform::ListFiles(Folder.empty() ? u"." : Folder, &NotText);
        if (Names.empty() && NotText.empty())
            throw Exception(u"there is no file below \"" + (Folder.empty() ? u"." : Folder) + u"\"");
    }

    bool Good = NotText.empty();
    for (const std::u16string& Name : NotText) {
        Complain(platform::Masked(platform::JoinPath(Folder, Name)) +
                 u": the file's name is not UTF-8, so no template can be asked for by it");
    }
    TLintWriter Writer(Options.Json ? TOutput::Json : Options.Quiet ? TOutput::Quiet : TOutput::Full);
    for (const std::u16string& Name : Names) {
        const std::u16string Path = platform::Masked(platform::JoinPath(Folder, Name));
        TLintReport Report;
        if (const std::u16string_view Reason = platform::UnsafeNameReason(Name); !Reason.empty()) {
            Report.Parts.emplace_back();
            Report.AddProblem({}, u"templates refuse this file name: " + std::u16string(Reason));
        } else {
            try {
                Report = LintFile(Folder, Name);
            } catch (const platform::TSystemError& Error) {
                Complain(Error.Message());
                Good = false;
                continue;
            }
            if (Strings) AddMissingTexts(Report, *Strings);
        }
        Good = Good && Report.Problems.empty();
        Writer.Write(Path, Report);
    }
    Writer.Finish();
    if (!Options.Modules.empty()) {
        if (!Strings) throw EUsage("--modules needs --strings");
        if (TellMissingModuleTexts(Text(Options.Modules), *Strings) > 0) Good = false;
    }
    return Good ? ExitGood : ExitFailed;
}

} // namespace

TJob DeclareLint(TDeclaration& Takes) {
    const auto Options = std::make_shared<TOptions>();
    Takes.Footer(Footer);
    Takes.Option("--templates", Options->Templates, "DIR",
                 "Folder of the templates; the current one when not given");
    Takes.Option("--strings", Options->Strings, "DIR",
                 "Folder of the language files; keys are looked up in each of them");
    Takes.Option("--modules", Options->Modules, "DIR",
                 "Folder of the Lua modules, whose zu.text keys are looked up too; needs --strings");
    Takes.Flag("--quiet", Options->Quiet, "Print the problems only");
    Takes.Flag("--json", Options->Json, "Print one JSON array, an object a file");
    Takes.Exclude("--json", "--quiet");
    Takes.Exclude("--json", "--modules");
    return [Options](const TArguments& Names) { return Lint(*Options, Names); };
}

} // namespace zutools::zuhost
