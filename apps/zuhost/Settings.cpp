// zuhost settings: a look into a settings file, and a change of one key.

#include "apps/zuhost/Commands.h"

#include "host/Exception.h"
#include "host/Numbers.h"
#include "platform/ReplaceFile.h"
#include "platform/SettingsFile.h"
#include "platform/Text.h"

namespace zutools::zuhost {

namespace {

constexpr const char* Footer =
    R"(Actions:
  get FILE SECTION KEY         print the value; exit code 1 when there is none
  set FILE SECTION KEY VALUE   change or add one key; every other byte stays
  list FILE [SECTION]          print what programs read from the file
  check FILE                   name each line that says nothing, with its number

A section or a key that is named twice counts once: the first is read.

Examples:
  zuhost settings list app.prm
  zuhost settings set app.prm MainForm ShowCmd 3
  zuhost settings check app.prm)";

void RequireFile(const std::u16string& Path) {
    if (!platform::FileExists(Path)) throw Exception(u"There is no settings file \"" + Path + u"\"");
}

// Files are read as they are: what is damaged is told, and repaired by the program that owns the file.
platform::TSettingsText Opened(const std::u16string& Path) {
    RequireFile(Path);
    platform::TSettingsText Settings = platform::ReadSettingsText(Path);
    if (const std::u16string_view Damage = Settings.Damage(); !Damage.empty())
        throw Exception(u"The settings file \"" + Path + u"\" is damaged: " + std::u16string(Damage));
    return Settings;
}

int Get(const std::u16string& Path, const TArguments& Names) {
    const std::u16string Section = Text(Names[2]), Key = Text(Names[3]);
    const std::optional<std::u16string> Value = Opened(Path).Read(Section, Key);
    if (!Value)
        throw Exception(u"There is no key \"" + Key + u"\" in [" + Section + u"] of \"" + Path + u"\"");
    WriteOut(*Value + u"\n");
    return ExitGood;
}

int Set(const std::u16string& Path, const TArguments& Names) {
    if (platform::FileExists(Path)) static_cast<void>(Opened(Path));
    platform::TSettingsFile File(Path);
    File.Write(Text(Names[2]), Text(Names[3]), Text(Names[4]));
    File.Flush();
    return ExitGood;
}

void ListSection(const platform::TSettingsText& Settings, const std::u16string& Section) {
    WriteOut(u"[" + Cell(Section) + u"]\n");
    for (const std::u16string& Key : Settings.Keys(Section))
        WriteOut(Cell(Key) + u"=" + Cell(Settings.Read(Section, Key).value_or(u"")) + u"\n");
}

int List(const std::u16string& Path, const TArguments& Names) {
    const platform::TSettingsText Settings = Opened(Path);
    const std::vector<std::u16string> Sections =
        Names.size() > 2 ? std::vector{Text(Names[2])} : Settings.Sections();
    for (const std::u16string& Section : Sections) ListSection(Settings, Section);
    return ExitGood;
}

int Check(const std::u16string& Path, const TArguments&) {
    RequireFile(Path);
    const platform::TSettingsText Settings = platform::ReadSettingsText(Path);
    const std::vector<platform::TSettingsFault> Faults = Settings.Faults();
    const std::u16string_view Damage = Settings.Damage();
    if (!Damage.empty()) WriteOut(Path + u": damaged: " + std::u16string(Damage) + u"\n");
    for (const platform::TSettingsFault& Fault : Faults)
        WriteOut(Path + u":" + IntToStr(static_cast<std::int64_t>(Fault.Line)) + u": " + Fault.Reason +
                 u"\n");
    if (Damage.empty() && Faults.empty()) WriteOut(u"ok\n");
    return Damage.empty() && Faults.empty() ? ExitGood : ExitFailed;
}

struct TAction {
    std::string_view Name;
    std::size_t Least, Most; // names, its own and the file's among them
    int (*Run)(const std::u16string& Path, const TArguments& Names);
};

constexpr TAction Actions[] = {
    {"get", 4, 4, Get}, {"set", 5, 5, Set}, {"list", 2, 3, List}, {"check", 2, 2, Check}};

int Settings(const TArguments& Names) {
    if (Names.empty()) throw EUsage("the action is missing: get, set, list or check");
    for (const TAction& Action : Actions) {
        if (Action.Name != Names.front()) continue;
        if (Names.size() < Action.Least || Names.size() > Action.Most)
            throw EUsage("\"" + Names.front() + "\" takes " + std::to_string(Action.Least - 1) +
                         (Action.Least == Action.Most ? "" : " or " + std::to_string(Action.Most - 1)) +
                         " names behind it");
        return Action.Run(Text(Names[1]), Names);
    }
    throw EUsage("unknown action \"" + Names.front() + "\" (get, set, list or check)");
}

} // namespace

TJob DeclareSettings(TDeclaration& Takes) {
    Takes.Footer(Footer);
    return [](const TArguments& Names) { return Settings(Names); };
}

} // namespace zutools::zuhost
