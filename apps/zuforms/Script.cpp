#include "apps/zuforms/Script.h"

#include "apps/zuforms/TerminalAsk.h"
#include "controls/ParamFields.h"
#include "controls/Zuaskval.h"
#include "core/Lparams.h"
#include "host/Format.h"
#include "host/Numbers.h"
#include "host/Published.h"
#include "host/Strings.h"
#include "package/ZuTools.h"
#include "platform/Text.h"
#include "server/lua/LuaEngine.h"

#include <array>
#include <cstdio>
#include <utility>

namespace zutools::zuforms {

namespace {

// Tables become parameter lists on their way, which the library's objects take.
constexpr std::string_view Prelude = R"(
local asker = zu_asker
function zu.ask_values(list, title, text, fields)
    asker:Begin()
    for _, field in ipairs(fields or {}) do
        local described = zu.create("TParamsList")
        for key, value in pairs(field) do
            if type(value) == "table" then value = table.concat(value, "\n") end
            described:Add(tostring(key), tostring(value))
        end
        asker:Field(described)
    end
    return asker:Ask(list, title or "", text or "")
end
)";

TParamKind KindFrom(std::u16string_view Name) {
    static constexpr std::array<std::pair<std::u16string_view, TParamKind>, 8> Kinds{{
        {u"text", TParamKind::Text},
        {u"number", TParamKind::Number},
        {u"date", TParamKind::Date},
        {u"choice", TParamKind::Choice},
        {u"file", TParamKind::File},
        {u"color", TParamKind::Color},
        {u"yesno", TParamKind::YesNo},
        {u"secret", TParamKind::Secret},
    }};
    std::u16string All;
    for (const auto& [Each, Kind] : Kinds) {
        if (Each == Name) return Kind;
        All.append(All.empty() ? u"" : u", ").append(Each);
    }
    throw Exception(Format(u"zu.ask_values: no kind is called \"%s\"; there are %s", {Name, All}));
}

double NumberFrom(std::u16string_view Key, std::u16string_view Value) {
    const auto Number = TryStrToFloat(Value);
    if (!Number) throw Exception(Format(u"zu.ask_values: \"%s\" of a field is a number", {Key}));
    return *Number;
}

void Describe(TParamField& Field, const std::u16string& Key, const std::u16string& Value) {
    if (Key == u"name") {
        Field.Name = Value;
    } else if (Key == u"label") {
        Field.Label = Value;
    } else if (Key == u"hint") {
        Field.Hint = Value;
    } else if (Key == u"kind") {
        Field.Kind = KindFrom(Value);
    } else if (Key == u"required") {
        Field.Required = YesOrNo(Value).value_or(false);
    } else if (Key == u"choices") {
        TStringList Lines;
        Lines.SetText(Value);
        for (int Line = 0; Line < Lines.Count(); ++Line) Field.Choices.push_back(Lines.Strings(Line));
    } else if (Key == u"least") {
        Field.Least = NumberFrom(Key, Value);
    } else if (Key == u"most") {
        Field.Most = NumberFrom(Key, Value);
    } else if (Key == u"wrong") {
        Field.WrongValues = Value;
    } else if (Key == u"right") {
        Field.RightValues = Value;
    } else {
        throw Exception(
            Format(u"zu.ask_values: a field has no \"%s\"; it has name, label, hint, kind, required, "
                   u"choices, least, most, wrong, right",
                   {Key}));
    }
}

TParamsList& ListFrom(const TKXVariant& Value) {
    auto* const List = ObjectCast<TParamsList>(Value.AsObject());
    if (List == nullptr) throw Exception(u"zu.ask_values takes a TParamsList first");
    return *List;
}

// What the prelude calls.
class TAsker : public TObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override { return StaticClass(); }

    explicit TAsker(TAskedOn Where)
        : FWhere(Where) {}

    void Begin() { FFields.clear(); }
    void Field(const TKXVariant& Description) {
        const TParamsList& Said = ListFrom(Description);
        TParamField Each;
        for (int Index = 0; Index < Said.GetCount(); ++Index)
            Describe(Each, Said.GetPLName(Index), Said.GetPLValueByIndex(Index));
        if (Each.Name.empty()) throw Exception(u"zu.ask_values: a field has no name");
        FFields.push_back(std::move(Each));
    }
    bool Ask(const TKXVariant& List, const std::u16string& Title, const std::u16string& Text) {
        TParamsList& Asked = ListFrom(List);
        std::vector<TParamField> Fields = std::exchange(FFields, {});
        if (FWhere == TAskedOn::Terminal) return AskOnTerminal(Asked, Title, Text, std::move(Fields));
        return TAskValuesDlg::Ask(Asked, QString::fromStdU16String(Title), QString::fromStdU16String(Text),
                                  std::move(Fields));
    }

private:
    TAskedOn FWhere;
    std::vector<TParamField> FFields;
};

const TClassInfo& TAsker::StaticClass() {
    static constexpr TMethodInfo Methods[] = {
        PublishedMethod<&TAsker::Begin>(u"Begin"), PublishedMethod<&TAsker::Field, u"Description">(u"Field"),
        PublishedMethod<&TAsker::Ask, u"List", u"Title", u"Text">(u"Ask")};
    static constexpr TClassInfo Info{u"TAsker", &TObject::StaticClass, {}, Methods};
    return Info;
}

class TStarted {
public:
    TStarted() { StartZuTools(); }
    ~TStarted() { StopZuTools(); }
    TStarted(const TStarted&) = delete;
    TStarted& operator=(const TStarted&) = delete;
};

void Tell(std::u16string_view Text) {
    std::fprintf(stderr, "zuforms: %s\n", platform::Utf16ToUtf8(Text).c_str());
}

} // namespace

bool RunScript(const QString& File, const QStringList& Arguments, TAskedOn Where) {
    const TStarted Library;
    TAsker Asker(Where);
    std::vector<std::string> Given;
    for (const QString& Argument : Arguments) Given.push_back(Argument.toStdString());
    try {
        server::TLuaEngine Engine{server::TLuaOptions()};
        Engine.Publish("zu_asker", Asker);
        Engine.RunText(Prelude, "zu.ask_values");
        Engine.ClearGlobal("zu_asker");
        Engine.RunFile(File.toStdU16String(), Given);
        return true;
    } catch (const server::EScriptError& Error) {
        Tell(Error.Message() + (Error.Traceback().empty() ? u"" : u"\n") + Error.Traceback());
    } catch (const std::exception& Error) {
        Tell(MessageOf(Error));
    }
    return false;
}

} // namespace zutools::zuforms
