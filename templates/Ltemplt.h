// TTemplate: a text with tags, parts and language keys, filled with values and built into a page.
//
// Script modules make one for each request; C++ callers use it directly:
//
//     TTemplate Page;
//     Page.SetTemplateName(u"orders/list.html");
//     TTemplate* Row = Page.GetPartByName(u"ROW");
//     std::u16string Rows;
//     for (const TOrder& Order : Orders) {
//         Row->Clear();
//         Row->SetTagValue(u"NUMBER", Order.Number);
//         Row->AppendTemplate(Rows);
//     }
//     Page.SetTagValue(u"ROWS", Rows);
//     return Page.BuildTemplate();
//
// A template belongs to one thread at a time; the parsed text behind it is shared by all its copies. Loading
// blocks on the disk and on the template cache. Tag and part names compare ignoring case by the user's
// collation.
//
// Errors: a template keeps the text of its last error, and raises it as ETemplate only when RaiseException is
// set. What is raised always: a file that cannot be opened (TSystemError), a name that leaves the template
// directory, a tag index out of range and a text beyond the 32-bit positions (ETemplate).

#pragma once

#include "core/Zuslist.h"
#include "host/Exception.h"
#include "host/ScriptObjects.h"

#include <concepts>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zutools {

class TParamsList;
class TParsedTemplate;
class TZTSTemplateCache;
struct TServices;

class ETemplate : public Exception {
public:
    using Exception::Exception;
};

/// One place in a body where a value is inserted.
class TTagParam : public TObject {
public:
    /// The name and value, an entry of TagsValues that all places of the same name share. Not owned.
    TZUParamObject* Param = nullptr;
    /// 1-based: the value stands before this character of the body.
    int Position = 0;
    /// Kept on purpose: 0 - (length of the name + 4), never the caret.
    int CaretX = 0;
    /// Always 0.
    int CaretY = 0;
};

/// The tags of a template as lists that may be changed. An entry that a place refers to must not be removed
/// before the place is.
class TTags : public TObject {
public:
    /// Appends a place for `Name`, which shares the entry of an equal name and empties its value.
    TTagParam& AddTag(std::u16string_view Name);

    TZUSortedParams TagsValues;
    std::vector<std::unique_ptr<TTagParam>> TagsPosition; // in text order
};

/// A resolved tag name, for loops. Holds for the template that gave it, and for other copies of the same
/// text, until the next load; a stale one sets some other tag or nothing, never anything outside.
class TTagHandle {
public:
    TTagHandle() = default;
    /// False when the template has no such tag; setting it then does nothing.
    explicit operator bool() const { return FSlot != NoSlot; }

private:
    friend class TTemplate;
    static constexpr std::uint32_t NoSlot = UINT32_MAX;
    explicit TTagHandle(std::uint32_t Slot)
        : FSlot(Slot) {}
    std::uint32_t FSlot = NoSlot;
};

/// What templates lean on, for callers that do not want the process-wide objects. Both outlive the templates.
struct TTemplateEnvironment {
    TZTSTemplateCache* Cache =
        nullptr; // null: nothing is cached and names are relative to the current directory
    const TServices* Services = nullptr; // null: those of the process
};

class TTemplate : public TIObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    /// An empty template in the language of the calling thread's session, on the process-wide cache and
    /// services.
    TTemplate();
    /// The same on others. The environment itself is copied.
    explicit TTemplate(const TTemplateEnvironment& Environment);
    ~TTemplate() override;

    // --- Loading ---

    /// Loads the named template from the cache or, when that is disabled, from its file. The same name in
    /// another letter case does nothing. An empty name empties the body.
    /// @throws TSystemError, ETemplate as told above.
    void SetTemplateName(std::u16string_view Name);
    [[nodiscard]] const std::u16string& Name() const;

    /// Changes the language and loads a named template again. The same language in another letter case does
    /// nothing; a blank one means the application's default.
    void SetLanguageID(std::u16string_view Value);
    [[nodiscard]] const std::u16string& LanguageID() const;

    /// Replaces the text: tags and parts go, the name is cleared. Language keys are not replaced.
    void SetBody(std::u16string Text);

    /// Reads, decodes and parses the file named by Name(), below the cache's template directory.
    void ReadTemplate();

    /// Replaces every "{{key}}" by its text in this template's language. A key that is open at the end is
    /// dropped.
    void ReplaceLanguageTags(std::u16string& Text) const;

    /// Parses `TBuff` from the 1-based `CurPos` and returns the 1-based place after what was consumed. Parts
    /// are added to those that are there. A text with a non-empty `PartName` must end with a closing mark.
    int ComposeTemplate(int CurPos, std::u16string TBuff, std::u16string_view PartName);

    /// Appends a part that parses `TBuff` from `CurPos`; where the parent goes on.
    int AddPart(int CurPos, std::u16string TBuff, std::u16string_view PartName);
    /// Appends a part that was made elsewhere, and owns it. @throws ETemplate for null.
    TTemplate& AddPart(std::unique_ptr<TTemplate> Part);

    /// Copies text, tags and parts without the values; null does nothing. Copies are independent: what they
    /// share is immutable. Takes over RaiseException too. The source may be a part of this template, and this
    /// one a part of the source.
    void Assign(const TTemplate* Source);
    /// The same from a text that was read from a file: what the cache hands out.
    void Assign(std::shared_ptr<const TParsedTemplate> Text);

    void ClearTagsList();
    void ClearParts();

    // --- Filling ---

    /// An unknown or empty name is an error and gives the empty text.
    [[nodiscard]] std::u16string GetTagValue(std::u16string_view TagName);
    /// An unknown name is ignored, so that a list with more names fills any template; an empty one is an
    /// error.
    void SetTagValue(std::u16string_view TagName, std::u16string_view TagValue);
    /// The same for a string that is given away: a long one, such as the rows of a table, is not copied.
    template <std::same_as<std::u16string> TString>
    void SetTagValue(std::u16string_view TagName, TString&& TagValue) {
        TakeTagValue(TagName, std::move(TagValue));
    }
    /// All entries in their order; of a name that stands twice the later value stays.
    void FillTemplatePL(TParamsList& Params);
    /// Empties the values of this template and of all parts below it.
    void Clear();

    /// For loops: resolves a name once. An unknown or empty name gives an empty handle, no error; so does a
    /// tag that was added through LTags().
    [[nodiscard]] TTagHandle FindTag(std::u16string_view TagName) const;
    void SetTagValue(TTagHandle Tag, std::u16string_view TagValue);

    // --- Building ---

    /// The body with the values; unfilled tags and parts contribute nothing.
    [[nodiscard]] std::u16string BuildTemplate() const;
    /// The same into a string of the caller, whose memory is used again.
    void BuildTemplate(std::u16string& Output) const;
    /// The same after what `Output` holds, for repeated parts.
    void AppendTemplate(std::u16string& Output) const;
    /// The body with the values, and tags without a value written back as tags. Parts are not written back.
    [[nodiscard]] std::u16string ReBuildTemplate() const;

    // --- Structure ---

    /// The number of distinct tag names.
    [[nodiscard]] int GetNumTags() const;
    /// Name `Index` in sorted order, from 0. @throws ETemplate out of range, always.
    [[nodiscard]] std::u16string GetTagName(int Index) const;
    /// Where a name stands in that order; -1 when unknown.
    [[nodiscard]] int GetTagIndex(std::u16string_view TagName) const;
    /// Occurrence `Index` in text order, from 0; null out of range. Belongs to LTags().
    [[nodiscard]] TTagParam* GetTag(int Index);

    /// The number of direct parts + 1.
    [[nodiscard]] int GetNumParts() const;
    /// Direct part `Index` from 1; below 1 this template; null and an error above. Owned by this template.
    [[nodiscard]] TTemplate* GetPart(int Index);
    /// The first direct part of that name; this template for the empty name; null and an error when absent.
    [[nodiscard]] TTemplate* GetPartByName(std::u16string_view Name);

    /// The tags as lists. The first call makes them; from then on they are what counts until the next load,
    /// and filling and building walk them, which is slower.
    [[nodiscard]] TTags& LTags();
    /// The direct parts in text order, all of them made. They stay this template's.
    [[nodiscard]] std::vector<TTemplate*> LParts();
    /// The text without tags and parts.
    [[nodiscard]] std::u16string Body() const;
    /// The whole text last parsed; for a part that of the enclosing template.
    [[nodiscard]] const std::u16string& FullBody() const;

    /// The part name in upper case; empty for a whole template.
    [[nodiscard]] const std::u16string& PartName() const;
    void SetsIdentName(std::u16string_view Name);

    // Carets of the parser, informative, computed when asked.
    [[nodiscard]] int BeginPositionX() const;
    [[nodiscard]] int BeginPositionY() const;
    [[nodiscard]] int EndPositionX() const;
    [[nodiscard]] int EndPositionY() const;
    [[nodiscard]] int CaretX() const;
    [[nodiscard]] int CaretY() const;

    // --- Errors ---

    /// The first mark that the text lacks, in words; empty when it has all. Copies tell it too.
    [[nodiscard]] std::u16string Fault() const;

    /// Keeps `Msg` as the last error and raises it when RaiseException is set.
    void HandleError(std::u16string_view Msg);
    [[nodiscard]] bool RaiseException() const;
    void SetRaiseException(bool Value);
    [[nodiscard]] const std::u16string& LastError() const;
    void SetLastError(std::u16string_view Value);
    [[nodiscard]] std::u16string GetDebugInfo() const;

    /// Names that are neither registered nor published are tags.
    bool GetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount,
                             TKXVariant& Result) override;
    bool SetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount) override;

private:
    struct TState; // TemplateState.h

    explicit TTemplate(std::unique_ptr<TState> State);
    void TakeTagValue(std::u16string_view TagName, std::u16string TagValue);

    std::unique_ptr<TState> FState; // never null
};

class TScriptRegistry;

/// Whether scripts reach something of templates by that name, so that a tag of it is no property.
[[nodiscard]] bool IsTemplateMember(std::u16string_view Name);

/// Registers the script names of TTemplate, and takes them back.
void RegisterLtemplt(TScriptRegistry& Registry);
void UnregisterLtemplt(TScriptRegistry& Registry);

} // namespace zutools
