#include "recordlock/BlockLists.h"

#include <algorithm>
#include <utility>

namespace zutools {

namespace {

int Sign(auto Order) {
    return Order < 0 ? -1 : Order > 0 ? 1 : 0;
}

/// What the host's tables hold equal, and with it what the Turkish collation does: every "i" is one.
std::u16string FoldI(std::u16string_view Name) {
    std::u16string Folded = LowerCase(Name);
    for (char16_t& Each : Folded)
        if (Each == u'\u0130' || Each == u'\u0131') Each = u'i';
    return Folded;
}

} // namespace

// ---- names

TBlockNames::TBlockNames(const TNameMatch& Match)
    : FMatch(Match)
    , FPlain(Match.Same(u"ABCDEFGHIJKLMNOPQRSTUVWXYZ", u"abcdefghijklmnopqrstuvwxyz")) {}

int TBlockNames::Compare(std::u16string_view Left, std::u16string_view Right) const {
    if (SameUnits(Left, Right)) return 0;
    return FPlain ? FMatch.Compare(Left, Right) : FMatch.Compare(FoldI(Left), FoldI(Right));
}

TNameMatch::TOrderKey TBlockNames::OrderKey(std::u16string_view Name) const {
    return FPlain ? FMatch.OrderKey(Name) : FMatch.OrderKey(FoldI(Name));
}

// ---- look-ups

TBlockLists::TBlockLists(const TNameMatch& Match)
    : Names(Match) {}

TBlockLists::~TBlockLists() {
    FTables.ForEachFrom({}, [](const TNamed<TBlockTable>& Entry) {
        delete Entry.Item;
        return true;
    });
}

template <class TItem>
typename TChunkedList<TNamed<TItem>>::TPlace TBlockLists::FindName(const TChunkedList<TNamed<TItem>>& List,
                                                                   TNameMatch::TOrderKey Key,
                                                                   std::u16string_view Name) const {
    return List.Find([&](const TNamed<TItem>& Entry) {
        const int Order = Entry.Key.Compare(Key);
        return Order != 0 ? Order : Names.Compare(NameOf(*Entry.Item), Name);
    });
}

template <class TItem>
void TBlockLists::EraseName(TChunkedList<TNamed<TItem>>& List, TNameMatch::TOrderKey Key,
                            const TItem& Item) noexcept {
    auto Place = FindName(List, Key, NameOf(Item));
    // The system's order may contradict itself for strange texts: the entry must go all the same.
    if (!Place.Found || List.At(Place).Item != &Item)
        Place = List.Scan([&](const TNamed<TItem>& Entry) { return Entry.Item == &Item; });
    List.Erase(Place);
}

TBlockLists::TIDs::TPlace TBlockLists::FindID(const TIDs& List, TBlockID ID) {
    // The youngest ones stand at the end, and most blocks do not grow old.
    return List.FindFromEnd([ID](const TIdentified& Entry) { return Sign(Entry.ID <=> ID); });
}

TBlockAddress TBlockLists::AddressOf(std::u16string_view Table, std::u16string_view Record) const {
    return {Table, Record, Names.OrderKey(Table), Names.OrderKey(Record)};
}

TBlockLists::TAnyBlock* TBlockLists::FindBlock(std::u16string_view ID) const {
    const std::optional<TBlockID> Parsed = TBlockID::Parse(ID);
    if (!Parsed) return nullptr;
    const auto Place = FindID(Blocks, *Parsed);
    return Place.Found ? Blocks.At(Place).Block : nullptr;
}

TBlockTable* TBlockLists::FindTable(const TBlockAddress& Address) const {
    const auto Place = FindName(FTables, Address.TableKey, Address.Table);
    return Place.Found ? FTables.At(Place).Item : nullptr;
}

TBlockSpot TBlockLists::SpotOf(const TBlockAddress& Address) const {
    TBlockSpot Spot{FindTable(Address), {}};
    if (Spot.Table != nullptr) Spot.Record = FindName(Spot.Table->Records, Address.RecordKey, Address.Record);
    return Spot;
}

TZURecordBlockerTableObject& TBlockTable::FirstBlock() const {
    TZURecordBlockerTableObject* First = NewInserts.empty() ? nullptr : NewInserts.front();
    const auto IsInFlight = [&First](TZURecordBlockerTableObject* Block) {
        First = Block;
        return !Block->Held();
    };
    Records.ForEachFrom({},
                        [&](const TNamed<TZURecordBlockerObject>& Entry) { return IsInFlight(Entry.Item); });
    if (First == nullptr || !First->Held())
        Inserts.ForEachFrom({}, [&](const TIdentified& Entry) { return IsInFlight(Entry.Block); });
    return *First;
}

TBlockSession* TBlockLists::FindSession(const TSessionKey& Key) {
    const auto Found = FSessions.find(Key);
    return Found == FSessions.end() ? nullptr : &Found->second;
}

// ---- steps in the life of a block

void TBlockLists::Enter(const TAnyBlockPtr& Block, const TBlockAddress& Address, const TBlockSpot& Spot,
                        const TBlockTaker& Taker, TBlockSession* Session) {
    EnterTable(*Block, Address, Spot);
    try {
        if (Block->FSession == nullptr) EnterSession(Block, Address.Table, Taker, Session);
    } catch (...) {
        LeaveTable(*Block);
        throw;
    }
    Block->FLists = this;
    Block->FWorker = std::this_thread::get_id();
    Block->FState.store(TBlockState::Opening, std::memory_order_release);
}

void TBlockLists::Show(TAnyBlock& Block) {
    auto Place = FindID(Blocks, Block.FID);
    for (; Place.Found; Place = FindID(Blocks, Block.FID)) Block.FID = NewBlockID(Block.FCreateTime);
    Blocks.Insert(Place, {Block.FID, &Block});
    if (Block.FRecAction == otInsert) {
        try {
            TBlockTable& Table = *Block.FTableEntry;
            Table.Inserts.Insert(FindID(Table.Inserts, Block.FID), {Block.FID, &Block});
            std::erase(Table.NewInserts, &Block);
        } catch (...) {
            Blocks.Erase(FindID(Blocks, Block.FID));
            throw;
        }
    }
    ++Block.FSession->Visible;
    Set(Block, TBlockState::Held);
}

void TBlockLists::PutOff(TAnyBlock& Block) noexcept {
    LeaveTable(Block);
    Block.FWaiters.Wake();
}

void TBlockLists::Set(TAnyBlock& Block, TBlockState State) noexcept {
    Block.FWorker = std::this_thread::get_id();
    Block.FState.store(State, std::memory_order_release);
    if (State == TBlockState::Held) Block.FWaiters.Wake();
}

TBlockLists::TAnyBlockPtr TBlockLists::Remove(TAnyBlock& Block) noexcept {
    TAnyBlockPtr Owned = LeaveAll(Block);
    if (Block.FTableEntry != nullptr) LeaveTable(Block);
    Block.FState.store(TBlockState::Gone, std::memory_order_release);
    Block.FWaiters.Wake();
    return Owned;
}

TBlockLists::TAnyBlockPtr TBlockLists::Release(TAnyBlock& Block) noexcept {
    if (Block.State() != TBlockState::Writing) return Remove(Block);
    TAnyBlockPtr Owned = LeaveAll(Block);
    Block.FState.store(TBlockState::Leaving, std::memory_order_release);
    return Owned;
}

/// All lists but the table's.
TBlockLists::TAnyBlockPtr TBlockLists::LeaveAll(TAnyBlock& Block) noexcept {
    if (Block.FSession == nullptr) return nullptr;
    if (Visible(Block.State())) {
        Blocks.Erase(FindID(Blocks, Block.FID));
        --Block.FSession->Visible;
        Block.RetireForScripts();
    }
    return LeaveSession(Block);
}

// ---- by table

TBlockTable& TBlockLists::NewTable(const TBlockAddress& Address) {
    auto Table = std::make_unique<TBlockTable>();
    Table->Name = std::make_shared<const std::u16string>(Address.Table);
    Table->Key = Address.TableKey;
    FTables.Insert(FindName(FTables, Address.TableKey, Address.Table), {Address.TableKey, Table.get()});
    return *Table.release();
}

void TBlockLists::DropIfEmpty(TBlockTable& Table) noexcept {
    if (!Table.Empty()) return;
    EraseName(FTables, Table.Key, Table);
    delete &Table;
}

void TBlockLists::EnterTable(TAnyBlock& Block, const TBlockAddress& Address, const TBlockSpot& Spot) {
    TBlockTable& Table = Spot.Table != nullptr ? *Spot.Table : NewTable(Address);
    try {
        switch (Block.FRecAction) {
        case otTable:
            Table.Lock = &Block;
            break;
        case otInsert:
            Table.NewInserts.push_back(&Block);
            break;
        case otEdit:
        case otDelete: {
            auto& Record = static_cast<TRecord&>(Block);
            Record.FOrderKey = Address.RecordKey;
            Table.Records.Insert(Spot.Record, {Address.RecordKey, &Record});
            break;
        }
        }
    } catch (...) {
        DropIfEmpty(Table);
        throw;
    }
    Block.FTableEntry = &Table;
}

void TBlockLists::LeaveTable(TAnyBlock& Block) noexcept {
    TBlockTable& Table = *std::exchange(Block.FTableEntry, nullptr);
    switch (Block.FRecAction) {
    case otTable:
        Table.Lock = nullptr;
        break;
    case otInsert:
        if (Block.State() <= TBlockState::Opening)
            std::erase(Table.NewInserts, &Block);
        else
            Table.Inserts.Erase(FindID(Table.Inserts, Block.FID));
        break;
    case otEdit:
    case otDelete: {
        const auto& Record = static_cast<const TRecord&>(Block);
        EraseName(Table.Records, Record.FOrderKey, Record);
        break;
    }
    }
    DropIfEmpty(Table);
}

// ---- by session

void TBlockLists::EnterSession(const TAnyBlockPtr& Block, std::u16string_view Table, const TBlockTaker& Taker,
                               TBlockSession* Session) {
    // Who comes for a table again gets the name for himself: threads that count references to one text wait
    // for each other.
    const auto IsSpelledSo = [Table](const auto& Name) { return Name && SameUnits(*Name, Table); };
    const auto& Common = Block->FTableEntry->Name;
    const auto Last = Session != nullptr ? Session->Table : nullptr;
    auto Name = IsSpelledSo(Last) && Last != Common     ? Last
                : IsSpelledSo(Common) && Last != Common ? Common
                                                        : std::make_shared<const std::u16string>(Table);
    if (Session == nullptr || !SameUnits(Session->Owner->UserName, Taker.UserName)) {
        auto Owner = std::make_shared<const TZUBlockOwner>(
            TZUBlockOwner{std::u16string(Taker.SID), std::u16string(Taker.UserName)});
        TSessionKey Key = Taker.Key;
        Key.SID = Owner->SID; // which lives as long as the entry
        if (Session == nullptr)
            Session = &FSessions.try_emplace(Key, TBlockSession{Owner, Key, nullptr, nullptr, nullptr})
                           .first->second;
        Session->Owner = std::move(Owner);
    }
    if (Session->Table != Name) Session->Table = Name;
    Block->FTableName = std::move(Name);
    Block->FOwner = Session->Owner;
    Block->FSession = Session;
    if (Session->First) Session->First->FPreviousOfSession = Block.get();
    Block->FNextOfSession = std::exchange(Session->First, Block);
}

TBlockLists::TAnyBlockPtr TBlockLists::LeaveSession(TAnyBlock& Block) noexcept {
    TBlockSession& Session = *std::exchange(Block.FSession, nullptr);
    TAnyBlock* const Previous = std::exchange(Block.FPreviousOfSession, nullptr);
    if (Block.FNextOfSession) Block.FNextOfSession->FPreviousOfSession = Previous;
    TAnyBlockPtr& Link = Previous == nullptr ? Session.First : Previous->FNextOfSession;
    TAnyBlockPtr Owned = std::exchange(Link, std::move(Block.FNextOfSession));
    if (!Session.First) Rest(Session);
    return Owned;
}

/// A session without blocks: takes the place of one that gave all back longer ago, which is dropped unless it
/// has blocks again.
void TBlockLists::Rest(TBlockSession& Session) noexcept {
    if (Session.Idle != nullptr) return;
    TBlockSession*& Place = FIdle[FNextIdle];
    FNextIdle = (FNextIdle + 1) % FIdle.size();
    if (Place != nullptr && Place->First)
        Place->Idle = nullptr;
    else if (Place != nullptr)
        Drop(*Place);
    Place = &Session;
    Session.Idle = &Place;
}

void TBlockLists::Drop(TBlockSession& Session) noexcept {
    if (Session.Idle != nullptr) *Session.Idle = nullptr;
    FSessions.erase(FSessions.find(Session.Key));
}

void TBlockLists::EndSession(const TSessionKey& Key, std::vector<TAnyBlockPtr>& Gone) {
    TBlockSession* const Session = FindSession(Key);
    if (Session == nullptr) return;
    while (Session->First) {
        Gone.emplace_back();
        Gone.back() = Release(*Session->First);
    }
    Drop(*Session);
}

} // namespace zutools
