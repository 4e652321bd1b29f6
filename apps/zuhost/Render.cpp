// zuhost render: one template, filled from the command line.

#include "apps/zuhost/Commands.h"
#include "apps/zuhost/Library.h"

#include "host/Exception.h"
#include "server/strings/JsonLocalizator.h"
#include "templates/Ltemplt.h"
#include "templates/Ztstmplcache.h"

namespace zutools::zuhost {

namespace {

constexpr const char* Footer =
    R"(Fills the tags [[name]] of the template NAME, a file below the templates folder,
with the given values and prints the text. A tag without a value gives nothing.
Parts ([[!name]] ... [[/name]]) contribute nothing by themselves: scripts repeat
them. A name ends at the first "="; the value is everything behind it.

Examples:
  zuhost render letter.txt NAME=Anna "CITY=New York"
  zuhost render --templates pages --strings texts --language ru letter.txt NAME=Anna)";

struct TValue {
    std::u16string Tag;
    std::u16string Value;
};

[[nodiscard]] std::vector<TValue> SplitValues(const TArguments& Names) {
    std::vector<TValue> Result;
    for (std::size_t Index = 1; Index < Names.size(); ++Index) {
        const std::string& Argument = Names[Index];
        const std::size_t Equals = Argument.find('=');
        if (Equals == std::string::npos) throw EUsage("\"" + Argument + "\" is no name=value");
        if (Equals == 0) throw EUsage("\"" + Argument + "\" has no name before \"=\"");
        Result.push_back({Text(Argument.substr(0, Equals)), Text(Argument.substr(Equals + 1))});
    }
    return Result;
}

/// Keys would come out as they are, which is hard to tell from missing texts.
void WarnOfLanguage(const TServices& Services, std::u16string_view Language) {
    const auto* const Strings = dynamic_cast<const server::TJsonLocalizator*>(Services.Localizer.get());
    if (Strings == nullptr || Strings->HasLanguage(Language)) return;
    Complain(u"warning: there is no language file for \"" + std::u16string(Language) + u"\"");
}

struct TOptions {
    std::string Templates;
    std::string Strings;
    std::string Language;
};

int Render(const TOptions& Options, const TArguments& Names) {
    if (Names.empty()) throw EUsage("the template's name is missing");
    const std::u16string Name = Text(Names.front());
    const std::vector<TValue> Values = SplitValues(Names);

    const auto Manager = Options.Language.empty()
                             ? std::make_shared<TSimpleApplicationManager>()
                             : std::make_shared<TSimpleApplicationManager>(Text(Options.Language));
    const TServices Services = MakeServices(Manager, std::make_shared<TShellLogger>(), Text(Options.Strings));
    const TLibrary Library(Services, Text(Options.Templates));
    WarnOfLanguage(Services, Manager->GetDefaultLanguageID());
    TTemplate Page;
    // The error of a part that is not closed is the part's: raised, it is seen here as well.
    Page.SetRaiseException(true);
    try {
        Page.SetTemplateName(Name);
    } catch (const ETemplate& Error) {
        throw ETemplate(Name + u": " + Error.Message());
    }
    for (const TValue& Value : Values) {
        if (!Page.FindTag(Value.Tag)) {
            Complain(u"warning: " + Name + u" has no tag \"" + Value.Tag + u"\"");
        }
        Page.SetTagValue(Value.Tag, Value.Value);
    }
    WriteOut(Page.BuildTemplate());
    return ExitGood;
}

} // namespace

TJob DeclareRender(TDeclaration& Takes) {
    const auto Options = std::make_shared<TOptions>();
    Takes.Footer(Footer);
    Takes.Option("--templates", Options->Templates, "DIR",
                 "Folder of the templates; the current one when not given");
    Takes.Option("--strings", Options->Strings, "DIR", "Folder of the language files, <language>.json each");
    Takes.Option("--language", Options->Language, "ID",
                 "Language of the texts for {{key}}; \"en\" when not given");
    return [Options](const TArguments& Names) { return Render(*Options, Names); };
}

} // namespace zutools::zuhost
