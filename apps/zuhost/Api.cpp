// zuhost api: the reference of what scripts can use, from the script registry and the classes themselves.

#include "apps/zuhost/Commands.h"

#include "host/ScriptObjects.h"
#include "host/Session.h"
#include "server/web/WebObjects.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace zutools::zuhost {

namespace {

constexpr const char* Footer =
    R"(Lists every class that scripts can reach: its registered names in the order of
their registration, then its published properties and methods. An indexed
property is read and written as object.Tag["X"], functions and procedures are
called as object:BuildTemplate().

Examples:
  zuhost api
  zuhost api --markdown > script-api.md)";

/// One line of the reference.
struct TEntry {
    std::u16string Name;
    std::u16string_view Kind;
    std::u16string Arguments;
    std::u16string Type; // of published properties; registered names decide at each call
    std::u16string_view Access;
};

[[nodiscard]] std::u16string Number(std::size_t Value) {
    return Text(std::to_string(Value));
}

[[nodiscard]] TEntry RegisteredEntry(const TScriptMember& Member) {
    TEntry Entry{Member.Name,
                 u"procedure",
                 Member.ArgCount < 0 ? u"any" : Number(static_cast<std::size_t>(Member.ArgCount)),
                 {},
                 {}};
    if (Member.Kind == TScriptMemberKind::smFunction) Entry.Kind = u"function";
    if (Member.Kind == TScriptMemberKind::smProperty) {
        Entry.Kind = u"property";
        Entry.Access = Member.ReadOnly() ? u"read-only" : u"read/write";
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
        Result.push_back({std::u16string(Property->Name), u"published property", u"0",
                          std::u16string(Property->TypeName),
                          Property->Set == nullptr ? u"read-only" : u"read/write"});
    }
    for (const TClassInfo* Base : Ancestry(Class)) {
        for (const TMethodInfo& Method : Base->Methods) {
            if (Method.Visibility != TVisibility::mvPublished) continue;
            Result.push_back(
                {std::u16string(Method.Name), u"published method", Number(Method.Params.size()), {}, {}});
        }
    }
    return Result;
}

/// The registered classes, and the session, of which scripts reach the published properties. Ordered by name.
[[nodiscard]] std::vector<const TClassInfo*> ReachableClasses() {
    std::vector<const TClassInfo*> Result = ScriptRegistry().Classes();
    if (std::find(Result.begin(), Result.end(), &TSession::StaticClass()) == Result.end()) {
        Result.push_back(&TSession::StaticClass());
    }
    std::sort(Result.begin(), Result.end(),
              [](const TClassInfo* Left, const TClassInfo* Right) { return Left->Name < Right->Name; });
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

[[nodiscard]] std::u16string Padded(std::u16string_view Word, std::size_t Width) {
    std::u16string Result(Word);
    if (Result.size() < Width) Result.resize(Width, u' ');
    return Result;
}

[[nodiscard]] std::u16string PlainClass(const TClassInfo& Class, const TClassInfo* Base) {
    std::u16string Result(Class.Name);
    if (Class.Create != nullptr) Result += u", made by zu.create(\"" + std::u16string(Class.Name) + u"\")";
    if (Base != nullptr) Result += u", with the names of " + std::u16string(Base->Name);
    Result += u"\n";
    const std::vector<TEntry> List = Entries(Class);
    std::size_t Width = 0;
    for (const TEntry& Entry : List) Width = std::max(Width, Entry.Name.size());
    for (const TEntry& Entry : List) {
        Result += u"  " + Padded(Entry.Name, Width) + u"  " + Padded(Entry.Kind, 18) + u"  " +
                  Padded(Entry.Arguments + (Entry.Arguments == u"1" ? u" argument" : u" arguments"), 13);
        if (!Entry.Access.empty()) Result += u"  " + std::u16string(Entry.Access);
        if (!Entry.Type.empty()) Result += u"  " + Entry.Type;
        while (Result.back() == u' ') Result.pop_back();
        Result += u"\n";
    }
    return Result;
}

[[nodiscard]] std::u16string MarkdownClass(const TClassInfo& Class, const TClassInfo* Base) {
    std::u16string Result = u"## " + std::u16string(Class.Name) + u"\n\n";
    if (Class.Create != nullptr) Result += u"Made by `zu.create(\"" + std::u16string(Class.Name) + u"\")`.\n";
    if (Base != nullptr) Result += u"Has the names of `" + std::u16string(Base->Name) + u"` too.\n";
    if (!Result.ends_with(u"\n\n")) Result += u"\n";
    Result += u"| Name | Kind | Arguments | Type | Access |\n|---|---|---|---|---|\n";
    for (const TEntry& Entry : Entries(Class)) {
        Result += u"| `" + Entry.Name + u"` | " + std::u16string(Entry.Kind) + u" | " + Entry.Arguments +
                  u" | " + Entry.Type + u" | " + std::u16string(Entry.Access) + u" |\n";
    }
    return Result;
}

} // namespace

int RunApi(const TArguments& Arguments) {
    bool Markdown = false;
    CLI::App App("Print the reference of what scripts can use");
    Describe(App, "zuhost api [OPTIONS]", Footer);
    App.add_flag("--markdown", Markdown, "Print it as Markdown, as in docs/script-api.md");
    if (!Parse(App, Arguments)) return ExitGood;

    const TLibrary Library(nullptr, {}, {});
    server::RegisterWebObjects(ScriptRegistry());
    const std::vector<const TClassInfo*> Classes = ReachableClasses();
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
    server::UnregisterWebObjects(ScriptRegistry());
    return ExitGood;
}

} // namespace zutools::zuhost
