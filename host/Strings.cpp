#include "host/Strings.h"

#include "host/Exception.h"
#include "host/Format.h"
#include "host/StringHelpers.h"

#include <algorithm>
#include <utility>

namespace zutools {

namespace {

bool IsBlank(char16_t Character) {
    return Character <= u' ';
}

// A line must be quoted when reading would split it, or would not see it at all.
bool NeedsQuotes(std::u16string_view Line, char16_t Delimiter, char16_t Quote, bool Single) {
    if (Line.empty()) return Single || IsBlank(Delimiter);
    return std::any_of(Line.begin(), Line.end(), [=](char16_t Character) {
        return IsBlank(Character) || Character == Delimiter || Character == Quote;
    });
}

void AppendQuoted(std::u16string& Target, std::u16string_view Line, char16_t Quote) {
    Target.push_back(Quote);
    for (const char16_t Character : Line) {
        if (Character == Quote) Target.push_back(Quote);
        Target.push_back(Character);
    }
    Target.push_back(Quote);
}

void SkipBlanks(std::u16string_view& Rest) {
    while (!Rest.empty() && IsBlank(Rest.front())) Rest.remove_prefix(1);
}

// Cuts a quoted item off the front, which is its opening quote. Without a closing one it goes to the end.
std::u16string TakeQuoted(std::u16string_view& Rest, char16_t Quote) {
    std::u16string Item;
    Rest.remove_prefix(1);
    for (;;) {
        const std::size_t At = Rest.find(Quote);
        Item.append(Rest.substr(0, At));
        Rest.remove_prefix(At == Rest.npos ? Rest.size() : At + 1);
        if (Rest.empty() || Rest.front() != Quote) return Item;
        Item.push_back(Quote);
        Rest.remove_prefix(1);
    }
}

std::u16string TakePlain(std::u16string_view& Rest, char16_t Delimiter) {
    const auto End = std::find_if(Rest.begin(), Rest.end(), [Delimiter](char16_t Character) {
        return IsBlank(Character) || Character == Delimiter;
    });
    std::u16string Item(Rest.begin(), End);
    Rest.remove_prefix(Item.size());
    return Item;
}

} // namespace

const TClassInfo& TStrings::StaticClass() {
    static constexpr TClassInfo Info{u"TStrings", &TObject::StaticClass};
    return Info;
}
const TClassInfo& TStrings::ClassInfo() const {
    return StaticClass();
}

int TStrings::AddObject(std::u16string_view Line, TObject* Object) {
    const int Index = Add(Line);
    SetObjects(Index, Object);
    return Index;
}

int TStrings::IndexOf(std::u16string_view Line) const {
    for (int Index = 0, End = Count(); Index < End; ++Index) {
        if (AnsiCompareText(Strings(Index), Line) == 0) return Index;
    }
    return -1;
}

void TStrings::Assign(const TStrings& Source) {
    if (&Source == this) return;
    const TUpdateScope Scope(*this);
    Clear();
    AddStrings(Source);
}

void TStrings::AddStrings(const TStrings& Source) {
    struct TLine {
        std::u16string Text;
        TObject* Object;
        std::intptr_t Tag;
    };
    // Taken first: adding a sorted list to itself moves its lines.
    std::vector<TLine> Lines;
    for (int Index = 0, End = Source.Count(); Index < End; ++Index) {
        Lines.push_back({Source.Strings(Index), Source.Objects(Index), Source.Tags(Index)});
    }
    const TUpdateScope Scope(*this);
    for (const TLine& Line : Lines) {
        const int Index = AddObject(Line.Text, Line.Object);
        SetTags(Index, Line.Tag);
    }
}

std::u16string TStrings::Text() const {
    std::u16string Result;
    for (int Index = 0, End = Count(); Index < End; ++Index) Result.append(Strings(Index)).append(u"\r\n");
    return Result;
}

void TStrings::SetText(std::u16string_view Value) {
    const TUpdateScope Scope(*this);
    Clear();
    while (!Value.empty()) {
        const std::size_t End = std::min(Value.find_first_of(u"\r\n"), Value.size());
        Add(Value.substr(0, End));
        Value.remove_prefix(End);
        if (Value.starts_with(u"\r\n")) {
            Value.remove_prefix(2);
        } else if (!Value.empty()) {
            Value.remove_prefix(1);
        }
    }
}

std::u16string TStrings::DelimitedText(char16_t Delimiter, char16_t Quote) const {
    std::u16string Result;
    const int End = Count();
    for (int Index = 0; Index < End; ++Index) {
        if (Index > 0) Result.push_back(Delimiter);
        const std::u16string& Line = Strings(Index);
        if (Quote != u'\0' && NeedsQuotes(Line, Delimiter, Quote, End == 1)) {
            AppendQuoted(Result, Line, Quote);
        } else {
            Result.append(Line);
        }
    }
    return Result;
}

void TStrings::SetDelimitedText(std::u16string_view Value, char16_t Delimiter, char16_t Quote) {
    const TUpdateScope Scope(*this);
    Clear();
    SkipBlanks(Value);
    bool MoreToCome = !Value.empty();
    while (MoreToCome) {
        const bool Quoted = Quote != u'\0' && !Value.empty() && Value.front() == Quote;
        Add(Quoted ? TakeQuoted(Value, Quote) : TakePlain(Value, Delimiter));
        SkipBlanks(Value);
        MoreToCome = !Value.empty();
        if (MoreToCome && Value.front() == Delimiter) {
            // An item follows every delimiter, be it an empty one at the end.
            Value.remove_prefix(1);
            SkipBlanks(Value);
        }
    }
}

const TClassInfo& TStringList::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TStringList",
        .Parent = &TStrings::StaticClass,
        .Create = [] { return std::unique_ptr<TObject>(std::make_unique<TStringList>()); },
    };
    return Info;
}
const TClassInfo& TStringList::ClassInfo() const {
    return StaticClass();
}

// A negative index becomes a huge one, and fails as such.
std::size_t TStringList::Checked(int Index, std::size_t Limit) const {
    const auto Place = static_cast<std::size_t>(Index);
    if (Place >= Limit) throw Exception(Format(u"List index out of bounds (%d)", {Index}));
    return Place;
}

int TStringList::Count() const {
    return static_cast<int>(FItems.size());
}
const std::u16string& TStringList::Strings(int Index) const {
    return At(Index).Line;
}
TObject* TStringList::Objects(int Index) const {
    return At(Index).Object;
}
void TStringList::SetObjects(int Index, TObject* Object) {
    At(Index).Object = Object;
}
std::intptr_t TStringList::Tags(int Index) const {
    return At(Index).Tag;
}
void TStringList::SetTags(int Index, std::intptr_t Tag) {
    At(Index).Tag = Tag;
}

void TStringList::SetStrings(int Index, std::u16string_view Line) {
    if (FSorted) throw Exception(u"Operation not allowed on sorted list");
    FChanges.Touch();
    At(Index).Line = std::u16string(Line); // a copy first: `Line` may be the old text or a piece of it
}

int TStringList::Add(std::u16string_view Line) {
    return Place(TItem{std::u16string(Line)});
}

int TStringList::Place(TItem Item) {
    FChanges.Touch();
    auto Position = FItems.end();
    if (FSorted) {
        const auto Before = [](std::u16string_view Sought, const TItem& Other) {
            return AnsiCompareText(Sought, Other.Line) < 0;
        };
        Position = std::upper_bound(FItems.begin(), FItems.end(), std::u16string_view(Item.Line), Before);
    }
    Position = FItems.insert(Position, std::move(Item));
    return static_cast<int>(Position - FItems.begin());
}

void TStringList::Insert(int Index, std::u16string_view Line) {
    if (FSorted) throw Exception(u"Operation not allowed on sorted list");
    const auto Place = static_cast<std::ptrdiff_t>(Checked(Index, FItems.size() + 1));
    FChanges.Touch();
    FItems.insert(FItems.begin() + Place, TItem{std::u16string(Line)});
}

void TStringList::Delete(int Index) {
    FChanges.Touch();
    FItems.erase(FItems.begin() + static_cast<std::ptrdiff_t>(Checked(Index, FItems.size())));
}

void TStringList::Clear() {
    FChanges.Touch();
    FItems.clear();
}

int TStringList::IndexOf(std::u16string_view Line) const {
    if (!FSorted) return TStrings::IndexOf(Line);
    const auto Found = std::lower_bound(
        FItems.begin(), FItems.end(), Line,
        [](const TItem& Item, std::u16string_view Sought) { return AnsiCompareText(Item.Line, Sought) < 0; });
    if (Found == FItems.end() || AnsiCompareText(Found->Line, Line) != 0) return -1;
    return static_cast<int>(Found - FItems.begin());
}

void TStringList::SetSorted(bool Value) {
    if (FSorted == Value) return;
    FSorted = Value;
    if (!Value) return;
    for (TItem& Item : std::exchange(FItems, {})) Place(std::move(Item));
}

const TClassInfo& TKXStringList::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TKXStringList",
        .Parent = &TStringList::StaticClass,
        .Create = [] { return std::unique_ptr<TObject>(std::make_unique<TKXStringList>()); },
    };
    return Info;
}
const TClassInfo& TKXStringList::ClassInfo() const {
    return StaticClass();
}

} // namespace zutools
