// zuhost api: the reference of what scripts can use, from the script registry and the classes themselves.

#include "apps/zuhost/Commands.h"
#include "apps/zuhost/Library.h"

#include "host/ScriptObjects.h"
#include "server/lua/LuaLibraryNames.h"

#include <algorithm>

namespace zutools::zuhost {

namespace {

constexpr const char* Footer =
    R"(Lists every class that scripts can reach: its registered names in the order of
their registration, then its published properties and methods; then the
functions for documents and automation objects. An indexed
property is read and written as object.Tag["X"], functions and procedures are
called as object:BuildTemplate().

Examples:
  zuhost api
  zuhost api --config orders.toml
  zuhost api --markdown > script-api.md)";

/// One line of the reference.
struct TEntry {
    std::u16string_view Name;
    std::u16string_view Kind;
    std::u16string Arguments;
    std::u16string_view Type; // of published properties; registered names decide at each call
    std::u16string_view Access;
    std::u16string_view Help;
};

[[nodiscard]] std::u16string Number(std::size_t Value) {
    return Text(std::to_string(Value));
}

[[nodiscard]] std::u16string_view AccessText(bool ReadOnly) {
    return ReadOnly ? u"read-only" : u"read/write";
}

[[nodiscard]] TEntry RegisteredEntry(const TScriptMember& Member) {
    TEntry Entry{.Name = Member.Name,
                 .Kind = u"procedure",
                 .Arguments =
                     Member.ArgCount < 0 ? u"any" : Number(static_cast<std::size_t>(Member.ArgCount)),
                 .Type = {},
                 .Access = {},
                 .Help = Member.Help};
    if (Member.Kind == TScriptMemberKind::smFunction) Entry.Kind = u"function";
    if (Member.Kind == TScriptMemberKind::smProperty) {
        Entry.Kind = u"property";
        Entry.Access = AccessText(Member.ReadOnly());
    }
    return Entry;
}

/// The class and what it is derived from, nearest first.
[[nodiscard]] std::vector<const TClassInfo*> Ancestry(const TClassInfo& Class) {
    std::vector<const TClassInfo*> Result{&Class};
    while (Result.back()->Parent != nullptr) Result.push_back(&Result.back()->Parent());
    return Result;
}

[[nodiscard]] std::vector<TEntry> Entries(const TClassInfo& Class) {
    std::vector<TEntry> Result;
    for (const TScriptMember* Member : ScriptRegistry().Members(Class))
        Result.push_back(RegisteredEntry(*Member));
    for (const TPropInfo* Property : Class.AllProperties()) {
        Result.push_back({Property->Name, u"published property", u"0", Property->TypeName,
                          AccessText(Property->Set == nullptr), Property->Help});
    }
    for (const TClassInfo* Base : Ancestry(Class)) {
        for (const TMethodInfo& Method : Base->Methods) {
            if (Method.Visibility != TVisibility::mvPublished) continue;
            Result.push_back(
                {Method.Name, u"published method", Number(Method.Params.size()), {}, {}, Method.Help});
        }
    }
    return Result;
}

/// The nearest base that scripts know, whose names hold too; null when there is none.
[[nodiscard]] const TClassInfo* KnownBase(const TClassInfo& Class,
                                          const std::vector<const TClassInfo*>& Known) {
    const std::vector<const TClassInfo*> Line = Ancestry(Class);
    const auto Found = std::find_if(Line.begin() + 1, Line.end(), [&Known](const TClassInfo* Base) {
        return std::find(Known.begin(), Known.end(), Base) != Known.end();
    });
    return Found != Line.end() ? *Found : nullptr;
}

/// What a class is, and how scripts come to an object of it; a sentence a line, names between `Quote`.
[[nodiscard]] std::u16string About(const TClassInfo& Class, const TClassInfo* Base,
                                   std::u16string_view Quote) {
    const auto Quoted = [Quote](std::u16string_view Name) {
        return std::u16string(Quote) + std::u16string(Name) + std::u16string(Quote);
    };
    std::u16string Result(Class.Help);
    if (!Result.empty()) Result += u"\n";
    if (const TScriptGlobal& Global = Class.Global; !Global.Name.empty()) {
        Result += u"The global " + Quoted(Global.Name) + u": " + std::u16string(Global.Help) + u".\n";
    }
    if (Class.Create != nullptr) {
        Result += u"Made by " + Quoted(u"zu.create(\"" + std::u16string(Class.Name) + u"\")") + u".\n";
    }
    if (Base != nullptr) Result += u"Has the names of " + Quoted(Base->Name) + u" too.\n";
    return Result;
}

[[nodiscard]] std::u16string Padded(std::u16string_view Word, std::size_t Width) {
    std::u16string Result(Word);
    if (Result.size() < Width) Result.resize(Width, u' ');
    return Result;
}

[[nodiscard]] std::u16string PlainClass(const TClassInfo& Class, const TClassInfo* Base) {
    std::u16string Result = std::u16string(Class.Name) + u"\n" + About(Class, Base, {});
    const std::vector<TEntry> List = Entries(Class);
    std::size_t Width = 0;
    for (const TEntry& Entry : List) Width = std::max(Width, Entry.Name.size());
    for (const TEntry& Entry : List) {
        Result += u"  " + Padded(Entry.Name, Width) + u"  " + Padded(Entry.Kind, 18) + u"  " +
                  Padded(Entry.Arguments + (Entry.Arguments == u"1" ? u" argument" : u" arguments"), 13) +
                  u"  " + Padded(Entry.Access, 10) + u"  ";
        if (!Entry.Type.empty()) Result += std::u16string(Entry.Type) + u": ";
        Result += std::u16string(Entry.Help) + u"\n";
    }
    return Result;
}

[[nodiscard]] std::u16string MarkdownClass(const TClassInfo& Class, const TClassInfo* Base) {
    std::u16string Result = u"## " + std::u16string(Class.Name) + u"\n\n" + About(Class, Base, u"`");
    const std::vector<TEntry> List = Entries(Class);
    if (!List.empty()) {
        Result += u"\n| Name | Kind | Arguments | Type | Access | What it is |\n|---|---|---|---|---|---|\n";
    }
    for (const TEntry& Entry : List) {
        Result += u"| `" + std::u16string(Entry.Name) + u"` | " + std::u16string(Entry.Kind) + u" | " +
                  Entry.Arguments + u" | " + std::u16string(Entry.Type) + u" | " +
                  std::u16string(Entry.Access) + u" | " + std::u16string(Entry.Help) + u" |\n";
    }
    return Result;
}

/// A cell of a Markdown table.
[[nodiscard]] std::u16string InCell(std::u16string_view Text) {
    std::u16string Result;
    for (const char16_t C : Text) Result += C == u'|' ? std::u16string(u"\\|") : std::u16string(1, C);
    return Result;
}

[[nodiscard]] std::u16string Functions(bool Markdown) {
    std::u16string Result = Markdown ? u"## Functions\n\n`zu.page` and texts are told in pages.md, `zu.form` "
                                       u"in forms.md, `zu.automation` in "
                                       u"automation.md. What stands\nbehind `-->` is the example's value.\n\n"
                                       u"| Name | Arguments | What it is | Example |\n|---|---|---|---|\n"
                                     : u"Functions\n";
    for (const server::TLibraryName& Each : server::LibraryNames()) {
        const std::u16string Name(Each.Name), Arguments(Each.Arguments), Help(Each.Help);
        const std::u16string Example =
            Each.Example.empty() ? std::u16string() : u"`` " + InCell(Each.Example) + u" ``";
        Result += Markdown ? u"| `" + Name + u"` | " + InCell(Arguments) + u" | " + Help + u" | " + Example +
                                 u" |\n"
                           : u"  " + Name + u"(" + Arguments + u")  " + Help + u"\n";
    }
    return Result;
}

int PrintReference(bool Markdown, const std::string& ConfigFile) {
    std::vector<server::TLibraryConfig> Added;
    if (!ConfigFile.empty()) Added = server::LoadWebConfig(Text(ConfigFile)).Libraries;
    const TLibrary Library({}, {}, Added);
    const std::vector<const TClassInfo*> Classes = ScriptRegistry().Classes();
    if (Markdown) {
        WriteOut(std::u16string_view(u"# Script reference\n\nWhat scripts reach by name. Made by `zuhost api "
                                     u"--markdown`, not by hand.\n\nA property with arguments is indexed: "
                                     u"`object.Tag[\"X\"]`. Functions and procedures are called: "
                                     u"`object:BuildTemplate()`.\nNames are found ignoring letter case.\n"));
    }
    bool First = true;
    for (const TClassInfo* Class : Classes) {
        if (Markdown || !First) WriteOut(u"\n");
        First = false;
        const TClassInfo* const Base = KnownBase(*Class, Classes);
        WriteOut(Markdown ? MarkdownClass(*Class, Base) : PlainClass(*Class, Base));
    }
    WriteOut(u"\n" + Functions(Markdown));
    return ExitGood;
}

} // namespace

TJob DeclareApi(TDeclaration& Takes) {
    const auto Markdown = std::make_shared<bool>(false);
    Takes.Footer(Footer);
    Takes.Flag("--markdown", *Markdown, "Print it as Markdown, as in docs/script-api.md");
    const auto Config = std::make_shared<std::string>();
    Takes.Option("--config", *Config, "FILE", "Configuration whose libraries' classes are listed too");
    return [Markdown, Config](const TArguments& Names) {
        RefuseNames(Names);
        return PrintReference(*Markdown, *Config);
    };
}

} // namespace zutools::zuhost
