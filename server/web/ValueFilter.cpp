#include "server/web/ValueFilter.h"

#include "checking/Dbchprms.h"
#include "host/Format.h"
#include "host/Numbers.h"
#include "host/StringHelpers.h"
#include "platform/TextTools.h"
#include "server/web/WebObjects.h"

#include <vector>

namespace zutools::server {

namespace {

/// The page's sentence in the language of the request; a file of texts may have its own under
/// "http.400.field".
std::u16string Note(TLocalizatorTable& Localizer, const TWebRequest& Request, std::u16string_view Field) {
    constexpr std::u16string_view Key = u"http.400.field";
    constexpr std::size_t LongestName = 60; // a name comes from outside too
    std::u16string Text = Localizer.GetString(Key, Request.Language);
    if (Text == Key) Text = u"The value of this field cannot be accepted:";
    return Text + u" " + std::u16string(Field.substr(0, LongestName));
}

/// The checker's message with at most so much of what came from outside as a log should hold.
std::u16string LogText(std::u16string_view Name, std::u16string_view Value, std::u16string_view Message) {
    constexpr std::size_t MaxUnits = 100;
    // Behind the value, which may hold the same words, stand only those of the rule.
    std::size_t Reason = std::u16string_view::npos;
    for (const std::u16string_view Words : {u"\" contain ", u"\" not contain "}) {
        const std::size_t Found = Message.rfind(Words);
        if (Found != Message.npos && (Reason == Message.npos || Found > Reason)) Reason = Found;
    }
    const auto Plain = [](std::u16string_view Text) {
        return platform::Masked(platform::Shortened(Text, MaxUnits), u'?');
    };
    std::u16string Text = u"parameter \"" + Plain(Name) + u"\", value \"" + Plain(Value) + u"\"";
    if (Value.size() > MaxUnits) Text += Format(u" (%d units)", {Value.size()});
    if (Reason != Message.npos) Text += Message.substr(Reason + 1);
    return Text;
}

} // namespace

void LoadValueFilter(TParamsChecker& Checker, std::u16string_view NameOrID) {
    const TCheckParamsDBConfig Filters;
    TStringList Names;
    Filters.ReadFiltersNames(Names, false, false);
    std::u16string Known;
    std::u16string Meant;
    std::vector<int> Found;
    const auto Append = [](std::u16string& List, const std::u16string& Filter) {
        List += (List.empty() ? u"" : u", ") + Filter;
    };
    for (int Index = 0; Index < Names.Count(); ++Index) {
        const auto ID = static_cast<int>(Names.Tags(Index));
        const std::u16string Filter = Names.Strings(Index) + u" (" + IntToStr(ID) + u")";
        Append(Known, Filter);
        if (!SameText(Names.Strings(Index), NameOrID) && IntToStr(ID) != NameOrID) continue;
        Append(Meant, Filter);
        Found.push_back(ID);
    }
    if (Found.size() > 1) {
        throw Exception(
            Format(u"the value filter \"%s\" may be any of these: %s; rename them so that one is meant",
                   {NameOrID, Meant}));
    }
    TParamsConfig Filter;
    if (Found.empty() || !Filters.ReadCheckParamsByID(Found.front(), Filter, TCheckParamsDBConfig::All)) {
        throw Exception(Format(u"there is no value filter \"%s\" in the database; there are: %s",
                               {NameOrID, Known.empty() ? std::u16string(u"none") : Known}));
    }
    Checker.LoadFrom(Filter);
}

TRequestFilter MakeValueFilter(const TParamsChecker& Checker, TLocalizatorTable& Localizer) {
    return [&Checker, &Localizer](const TWebRequest& Request) -> std::optional<TRefusal> {
        const TParamsList& Params = Request.Params;
        for (int Index = 0; Index < Params.GetCount(); ++Index) {
            const std::u16string Name = Params.GetPLName(Index);
            const std::u16string Value = Params.GetPLValueByIndex(Index);
            try {
                static_cast<void>(Checker.CheckParamValue(Name, Value, true));
            } catch (const EParamValueChecker& Error) {
                return TRefusal{400, Note(Localizer, Request, Name), LogText(Name, Value, Error.Message())};
            }
        }
        return std::nullopt;
    };
}

} // namespace zutools::server
