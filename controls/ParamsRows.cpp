#include "controls/ParamsRows.h"

#include "core/Lparams.h"
#include "host/Strings.h"
#include "platform/Text.h"

#include <algorithm>
#include <iterator>
#include <numeric>

namespace zutools {

namespace {

constexpr std::u16string_view LineBreaks = u"\r\n";
constexpr std::u16string_view UnfitInNames = u"=\r\n";
constexpr std::size_t UnitsOfARow = 32; // what a row takes beside its texts

bool Holds(std::u16string_view Text, std::u16string_view AnyOf) {
    return Text.find_first_of(AnyOf) != Text.npos;
}

// "name=value"; without "=" the whole is the name.
TParamsRows::TRow Parted(std::u16string_view Line) {
    const std::size_t Equals = Line.find(u'=');
    if (Equals == Line.npos) return {std::u16string(Line), {}};
    return {std::u16string(Line.substr(0, Equals)), std::u16string(Line.substr(Equals + 1))};
}

TParamsRows::TRow RowFrom(const TCellRow& Cells) {
    return Cells.size() == 1 ? Parted(Cells[0]) : TParamsRows::TRow{Cells[0], Cells[1]};
}

// What the event vetoes is in `Result` as it is in `List`, which is not changed yet.
void KeepVetoed(const TOnSetParamValue& Event, const TParamsList& List, TParamsList& Result) {
    std::unordered_map<std::string, std::u16string> Known;
    for (int Index = 0; Index < List.GetCount(); ++Index) {
        const TZUParamObject& Entry = *List.GetParamObject(Index);
        Known.emplace(TParamFields::Key(Entry.FName), Entry.FValue);
    }
    for (int Index = Result.GetCount() - 1; Index >= 0; --Index) {
        const TZUParamObject& Entry = *Result.GetParamObject(Index);
        const auto Before = Known.find(TParamFields::Key(Entry.FName));
        if (Before != Known.end() && Before->second == Entry.FValue) continue;
        bool CanSet = true;
        Event(Entry.FName, Entry.FValue, CanSet);
        if (CanSet) continue;
        if (Before != Known.end())
            Result.SetPLValueByIndex(Index, Before->second);
        else
            Result.Delete(Index);
    }
}

} // namespace

// ---- the list

void TParamsRows::Load(const TParamsList& List) {
    TParamsList Copy; // read under the list's lock, without its events there
    Copy.Concate(&List);
    std::vector<TKept> Rows;
    for (int Index = 0; Index < Copy.GetCount(); ++Index) {
        const TZUParamObject& Entry = *Copy.GetParamObject(Index);
        Rows.push_back(NewRow(Entry.FName, Entry.FValue));
    }
    Showing([&] {
        FRows = std::move(Rows);
        FSteps.clear();
        FDone = FDropped = FSaved = FUnits = 0;
        FTouched.clear();
        FStaying.clear();
    });
}

void TParamsRows::Store(TParamsList& List) const {
    TParamsList Result;
    for (const TKept& Row : FRows) Result.Add(Row.Name, Row.Value);
    const TOnSetParamValue Event = List.OnSetParamValue();
    if (Event) KeepVetoed(Event, List, Result);
    const auto Guard = List.Locked();
    List.SetOnSetParamValue({});
    List.Clear();
    List.Concate(&Result);
    List.SetOnSetParamValue(Event);
}

std::u16string TParamsRows::Text() const {
    std::u16string Result;
    for (const TKept& Row : FRows) {
        if (Row.Name.empty() && Row.Value.empty()) continue;
        if (!Result.empty()) Result.append(u"\r\n");
        Result.append(Row.Name).append(u"=").append(Row.Value);
    }
    return Result;
}

bool TParamsRows::SetText(std::u16string_view Value) {
    if (Value == Text()) return false;
    TStringList Lines;
    Lines.SetText(Value);
    std::vector<TKept> Rows;
    for (int Index = 0; Index < Lines.Count(); ++Index) {
        if (Lines.Strings(Index).empty()) continue;
        const TRow Row = Parted(Lines.Strings(Index));
        Rows.push_back(NewRow(Row.Name, Row.Value));
    }
    return Replace(0, FRows.size(), std::move(Rows));
}

int TParamsRows::UnfitForText() const {
    const auto Found = std::ranges::find_if(FRows, [](const TKept& Row) {
        return Holds(Row.Name, UnfitInNames) || Holds(Row.Value, LineBreaks) ||
               (Row.Name.empty() && !Row.Value.empty());
    });
    return Found == FRows.end() ? -1 : static_cast<int>(Found - FRows.begin());
}

// ---- the rows

TParamsRows::TKept TParamsRows::NewRow(std::u16string_view Name, std::u16string_view Value) {
    TKept Row;
    Row.Name = Name;
    Row.Value = Value;
    Row.Id = FNextId++;
    return Row;
}

std::vector<int> TParamsRows::RowsOf(std::span<const TId> Ids) const {
    const std::unordered_set<TId> Wanted(Ids.begin(), Ids.end());
    std::vector<int> Rows;
    for (int Index = 0; Index < Count() && Rows.size() < Wanted.size(); ++Index)
        if (Wanted.contains(Id(Index))) Rows.push_back(Index);
    return Rows;
}

std::vector<std::size_t> TParamsRows::Positions(std::span<const int> Rows) const {
    std::vector<std::size_t> Result;
    for (const int Index : Rows) Result.push_back(Position(Index));
    std::ranges::sort(Result);
    const auto Twice = std::ranges::unique(Result);
    Result.erase(Twice.begin(), Twice.end());
    return Result;
}

const std::string& TParamsRows::KeyOf(const TKept& Row) {
    if (Row.Key.empty()) Row.Key = TParamFields::Key(Row.Name);
    return Row.Key;
}

const std::u16string& TParamsRows::FoldedOf(const TKept& Row) {
    if (Row.Folded.empty()) Row.Folded = platform::LowerCase(Row.Name + u'\n' + Row.Value);
    return Row.Folded;
}

// ---- steps

bool TParamsRows::Replace(std::size_t From, std::size_t To, std::vector<TKept> After) {
    const auto Same = [](const TKept& Left, const TKept& Right) {
        return Left.Id == Right.Id && Left.Name == Right.Name && Left.Value == Right.Value;
    };
    // What is the same at both ends stays out of the step.
    std::size_t Head = 0;
    while (From + Head < To && Head < After.size() && Same(FRows[From + Head], After[Head])) ++Head;
    std::size_t Tail = 0;
    while (To - Tail > From + Head && After.size() - Tail > Head &&
           Same(FRows[To - Tail - 1], After[After.size() - Tail - 1]))
        ++Tail;
    From += Head;
    To -= Tail;
    After.resize(After.size() - Tail);
    After.erase(After.begin(), After.begin() + static_cast<std::ptrdiff_t>(Head));
    if (From == To && After.empty()) return false;

    TStep Step;
    Step.At = From;
    Step.Before.assign(FRows.begin() + static_cast<std::ptrdiff_t>(From),
                       FRows.begin() + static_cast<std::ptrdiff_t>(To));
    Step.After = std::move(After);
    for (const auto* const Rows : {&Step.Before, &Step.After})
        for (const TKept& Row : *Rows) Step.Units += UnitsOfARow + Row.Name.size() + Row.Value.size();
    while (CanRedo()) {
        FUnits -= FSteps.back().Units;
        FSteps.pop_back();
    }
    if (FSaved > FDone) FSaved = Never;
    FUnits += Step.Units;
    FSteps.push_back(std::move(Step));
    ++FDone;
    ForgetOldSteps();
    Apply(FSteps.back(), TDirection::Forth);
    return true;
}

void TParamsRows::ForgetOldSteps() {
    while (FUnits > MostKept && FSteps.size() > 1) {
        FUnits -= FSteps.front().Units;
        FSteps.pop_front();
        if (FSaved == FDropped) FSaved = Never;
        ++FDropped;
    }
}

bool TParamsRows::Undo() {
    if (!CanUndo()) return false;
    --FDone;
    Apply(FSteps[StepsDone()], TDirection::Back);
    return true;
}

bool TParamsRows::Redo() {
    if (!CanRedo()) return false;
    ++FDone;
    Apply(FSteps[StepsDone() - 1], TDirection::Forth);
    return true;
}

void TParamsRows::Apply(const TStep& Step, TDirection Direction) {
    const auto& [Before, After] = Direction == TDirection::Forth ? std::tie(Step.Before, Step.After)
                                                                 : std::tie(Step.After, Step.Before);
    std::unordered_map<TId, const TKept*> Known;
    for (const TKept& Row : Before) Known.emplace(Row.Id, &Row);
    FTouched.clear();
    bool NamesStay = true;
    for (const TKept& Row : After) {
        const auto Was = Known.find(Row.Id);
        const bool SameName = Was != Known.end() && Was->second->Name == Row.Name;
        NamesStay = NamesStay && SameName;
        if (!SameName || Was->second->Value != Row.Value) FTouched.push_back(Row.Id);
    }
    const bool Stays = std::ranges::equal(Before, After, {}, &TKept::Id, &TKept::Id);
    FNamesCounted = FNamesCounted && NamesStay && Stays;
    if (!FFilter.empty()) FStaying.insert(FTouched.begin(), FTouched.end());

    const auto Put = [&] {
        const auto At = FRows.begin() + static_cast<std::ptrdiff_t>(Step.At);
        const auto Common = static_cast<std::ptrdiff_t>(std::min(Before.size(), After.size()));
        std::copy_n(After.begin(), Common, At);
        if (Before.size() > After.size())
            FRows.erase(At + Common, At + static_cast<std::ptrdiff_t>(Before.size()));
        else
            FRows.insert(At + Common, After.begin() + Common, After.end());
    };
    if (!Stays || FOrder) return Showing(Put);
    Put();
    if (OnCellsChanged) OnCellsChanged();
}

// ---- edits

bool TParamsRows::Insert(int Before, std::vector<TRow> Rows) {
    // Behind the last shown row: at the end of the list, or where that row stands when some are hidden.
    const std::size_t At = Before < Count()                          ? Position(Before)
                           : FShown.size() == FRows.size() || FOrder ? FRows.size()
                           : FShown.empty()                          ? 0
                                                                     : FShown.back() + 1;
    std::vector<TKept> New;
    for (const TRow& Row : Rows) New.push_back(NewRow(Row.Name, Row.Value));
    return Replace(At, At, std::move(New));
}

bool TParamsRows::Delete(std::span<const int> Rows) {
    const std::vector<std::size_t> Gone = Positions(Rows);
    if (Gone.empty()) return false;
    std::vector<TKept> Left;
    auto Next = Gone.begin();
    for (std::size_t At = Gone.front(); At <= Gone.back(); ++At) {
        if (*Next == At)
            ++Next;
        else
            Left.push_back(FRows[At]);
    }
    return Replace(Gone.front(), Gone.back() + 1, std::move(Left));
}

bool TParamsRows::SetCell(int Index, std::u16string TRow::* Cell, std::u16string_view Text) {
    TKept Row = At(Index);
    Row.*Cell = Text;
    Row.Key.clear();
    Row.Folded.clear();
    const std::size_t At = Position(Index);
    return Replace(At, At + 1, {std::move(Row)});
}

bool TParamsRows::SetName(int Index, std::u16string_view Name) {
    return SetCell(Index, &TRow::Name, Name);
}

bool TParamsRows::SetValue(int Index, std::u16string_view Value) {
    return SetCell(Index, &TRow::Value, Value);
}

bool TParamsRows::SetValues(std::span<const int> Rows, std::u16string_view Value) {
    const std::vector<std::size_t> Changed = Positions(Rows);
    if (Changed.empty()) return false;
    const auto First = static_cast<std::ptrdiff_t>(Changed.front());
    std::vector<TKept> After(FRows.begin() + First,
                             FRows.begin() + static_cast<std::ptrdiff_t>(Changed.back()) + 1);
    for (const std::size_t At : Changed) {
        TKept& Row = After[At - Changed.front()];
        Row.Value = Value;
        Row.Folded.clear();
    }
    return Replace(Changed.front(), Changed.back() + 1, std::move(After));
}

bool TParamsRows::Move(std::span<const int> Rows, bool Down) {
    if (FOrder || Rows.empty()) return false;
    const auto [First, Last] = std::ranges::minmax(Rows);
    const int Neighbour = Down ? std::min(Last + 1, Count() - 1) : std::max(First - 1, 0);
    const std::size_t Anchor = Position(Neighbour);
    const std::vector<std::size_t> Moved = Positions(Rows);
    const std::size_t From = std::min(Anchor, Moved.front());
    const std::size_t To = std::max(Anchor, Moved.back()) + 1;

    std::vector<TKept> After;
    After.reserve(To - From);
    const auto TakeMoved = [&] {
        for (const std::size_t At : Moved) After.push_back(FRows[At]);
    };
    for (std::size_t At = From; At < To; ++At) {
        if (At == Anchor && !Down) TakeMoved();
        if (!std::ranges::binary_search(Moved, At)) After.push_back(FRows[At]);
        if (At == Anchor && Down) TakeMoved();
    }
    return Replace(From, To, std::move(After));
}

bool TParamsRows::KeepOrder() {
    if (!FOrder) return false;
    std::vector<std::size_t> All(FRows.size());
    std::iota(All.begin(), All.end(), std::size_t{0});
    std::vector<TKept> After;
    After.reserve(FRows.size());
    for (const std::size_t At : InOrder(std::move(All))) After.push_back(FRows[At]);
    SetOrder(std::nullopt);
    return Replace(0, FRows.size(), std::move(After));
}

// ---- pasting

bool TParamsRows::Paste(const std::vector<TCellRow>& Cells, int Current, TParamColumn Column,
                        std::span<const int> Selected) {
    if (Cells.empty()) return false;
    const bool OneColumn = std::ranges::all_of(Cells, [](const TCellRow& Row) { return Row.size() == 1; });
    if (!OneColumn || Current < 0) return PasteParams(Cells, Current);
    const std::u16string& First = Cells[0][0];
    if (Column == TParamColumn::Value) {
        if (Cells.size() > 1) return PasteValues(Cells, Current);
        return SetValues(Selected.empty() ? std::span(&Current, 1) : Selected, First);
    }
    if (Cells.size() == 1 && First.find(u'=') == First.npos) return SetName(Current, First);
    return PasteParams(Cells, Current);
}

bool TParamsRows::PasteParams(const std::vector<TCellRow>& Cells, int Current) {
    std::unordered_map<std::string, std::size_t> Known; // positions; behind those of all rows: new ones
    Known.reserve(FRows.size() + Cells.size());
    for (std::size_t At = 0; At < FRows.size(); ++At) Known.try_emplace(KeyOf(FRows[At]), At);
    std::vector<TKept> After = FRows;
    std::vector<TKept> New;
    for (const TCellRow& Line : Cells) {
        TRow Row = RowFrom(Line);
        if (Row.Name.empty() && Row.Value.empty()) continue;
        TKept Fresh = NewRow(Row.Name, Row.Value);
        // What has no name is a row of its own each time.
        const auto [Place, IsNew] = Row.Name.empty()
                                        ? std::pair(Known.end(), true)
                                        : Known.try_emplace(KeyOf(Fresh), FRows.size() + New.size());
        if (IsNew) {
            New.push_back(std::move(Fresh));
            continue;
        }
        const std::size_t At = Place->second;
        TKept& Target = At < FRows.size() ? After[At] : New[At - FRows.size()];
        if (Line.size() == 1 && Line[0].find(u'=') == Line[0].npos) continue; // a name alone, which is there
        Target.Value = std::move(Row.Value);
        Target.Folded.clear();
    }
    const std::size_t Behind = Current < 0 ? FRows.size() : Position(Current) + 1;
    After.insert(After.begin() + static_cast<std::ptrdiff_t>(Behind), std::make_move_iterator(New.begin()),
                 std::make_move_iterator(New.end()));
    return Replace(0, FRows.size(), std::move(After));
}

bool TParamsRows::PasteValues(const std::vector<TCellRow>& Cells, int Current) {
    std::vector<TKept> After = FRows;
    for (std::size_t Line = 0; Line < Cells.size(); ++Line) {
        const std::size_t Row = static_cast<std::size_t>(Current) + Line;
        if (Row >= FShown.size()) { // nothing is lost: the fault says that a name is wanted
            After.push_back(NewRow({}, Cells[Line][0]));
            continue;
        }
        TKept& Target = After[FShown[Row]];
        Target.Value = Cells[Line][0];
        Target.Folded.clear();
    }
    return Replace(0, FRows.size(), std::move(After));
}

// ---- for the eye

template <class TAction>
void TParamsRows::Showing(TAction Action) {
    if (OnRowsChanging) OnRowsChanging();
    Action();
    FNamesCounted = false;
    Show();
    if (OnRowsChanged) OnRowsChanged();
}

bool TParamsRows::Passes(const TKept& Row) const {
    if (FFilter.empty() || FStaying.contains(Row.Id)) return true;
    const std::u16string_view Folded = FoldedOf(Row);
    const std::size_t Found = Folded.find(FFoldedFilter);
    if (Found == Folded.npos) return false;
    return Found + FFoldedFilter.size() <= Folded.find(u'\n') || KindOf(Row) != TParamKind::Secret;
}

void TParamsRows::Show() {
    FShown.clear();
    FShown.reserve(FRows.size());
    for (std::size_t At = 0; At < FRows.size(); ++At)
        if (Passes(FRows[At])) FShown.push_back(At);
    if (FOrder) FShown = InOrder(std::move(FShown));
}

std::vector<std::size_t> TParamsRows::InOrder(std::vector<std::size_t> Positions) const {
    struct TItem {
        std::string Key;
        bool Empty;
        std::size_t At;
    };
    std::vector<TItem> Items;
    Items.reserve(Positions.size());
    for (const std::size_t At : Positions) {
        const TKept& Row = FRows[At];
        TItem& Item = Items.emplace_back(TItem{{}, false, At});
        if (FOrder->By == TParamColumn::Name) {
            Item.Empty = Row.Name.empty();
            Item.Key = KeyOf(Row);
            continue;
        }
        const TParamField* const Known = FFields.FindByKey(KeyOf(Row));
        std::u16string_view Text;
        if (FOrder->By == TParamColumn::Hint)
            Text = Known != nullptr ? std::u16string_view(Known->Hint) : std::u16string_view();
        else if (KindOf(Row) != TParamKind::Secret) // the order of secrets would tell of them
            Text = Row.Value;
        Item.Empty = Text.empty();
        Item.Key = TParamFields::Key(Text);
    }
    std::ranges::sort(Items, [Descending = FOrder->Descending](const TItem& Left, const TItem& Right) {
        if (Left.Empty != Right.Empty) return Right.Empty;
        const int Sign = Left.Key.compare(Right.Key);
        return Sign != 0 ? (Sign < 0) != Descending : Left.At < Right.At;
    });
    std::ranges::transform(Items, Positions.begin(), &TItem::At);
    return Positions;
}

void TParamsRows::SetFilter(std::u16string_view Text) {
    if (FFilter == Text) return;
    Showing([&] {
        FFilter = Text;
        FFoldedFilter = platform::LowerCase(Text);
        FStaying.clear();
    });
}

void TParamsRows::SetOrder(std::optional<TParamOrder> Order) {
    if (FOrder == Order) return;
    Showing([&] { FOrder = Order; });
}

void TParamsRows::SetFields(TParamFields Fields) {
    Showing([&] { FFields = std::move(Fields); });
}

const TParamField* TParamsRows::Field(int Index) const {
    return FFields.FindByKey(KeyOf(At(Index)));
}

TParamKind TParamsRows::Kind(int Index) const {
    return KindOf(At(Index));
}

// ---- faults

void TParamsRows::CountNames() const {
    if (FNamesCounted) return;
    FNames.clear();
    for (const TKept& Row : FRows)
        if (!Row.Name.empty()) ++FNames[KeyOf(Row)];
    FNamesCounted = true;
}

TParamFault TParamsRows::NameFaultOf(const TKept& Row) const {
    if (Row.Name.empty()) return {TParamFaultKind::NameWanted};
    if (Holds(Row.Name, UnfitInNames)) return {TParamFaultKind::NameUnfit};
    CountNames();
    return {FNames.at(KeyOf(Row)) > 1 ? TParamFaultKind::NameTwice : TParamFaultKind::None};
}

TParamFault TParamsRows::ValueFaultOf(const TKept& Row) const {
    return FFields.CheckByKey(KeyOf(Row), Row.Value);
}

int TParamsRows::CountOfFaults() const {
    return static_cast<int>(std::ranges::count_if(FRows, [this](const TKept& Row) { return HasFault(Row); }));
}

int TParamsRows::NextFault(int After) const {
    for (int Step = 1; Step <= Count(); ++Step) {
        const int Index = (After + Step) % Count();
        if (HasFault(At(Index))) return Index;
    }
    return -1;
}

std::vector<const TParamField*> TParamsRows::Missing() const {
    CountNames();
    std::vector<const TParamField*> Result;
    for (const TParamField& Field : FFields.All())
        if (Field.Required && !FNames.contains(TParamFields::Key(Field.Name))) Result.push_back(&Field);
    return Result;
}

} // namespace zutools
