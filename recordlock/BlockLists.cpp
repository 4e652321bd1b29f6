#include "recordlock/BlockLists.h"

#include <utility>

namespace zutools {

namespace {

int Sign(auto Order) {
    return Order < 0 ? -1 : Order > 0 ? 1 : 0;
}

} // namespace

TBlockLists::TBlockLists()
    : Match(UserNameMatch(false)) {}

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
        if (const int Order = Entry.Key.Compare(Key)) return Order;
        const std::u16string& Own = NameOf(*Entry.Item);
        return SameUnits(Own, Name) ? 0 : Match.Compare(Own, Name);
    });
}

TBlockLists::TIDs::TPlace TBlockLists::FindID(const TIDs& List, TBlockID ID) {
    return List.Find([ID](const TIdentified& Entry) { return Sign(Entry.ID <=> ID); });
}

TBlockLists::TBlock* TBlockLists::FindBlock(std::u16string_view ID) const {
    const std::optional<TBlockID> Parsed = TBlockID::Parse(ID);
    if (!Parsed) return nullptr;
    const auto Place = FindID(Blocks, *Parsed);
    return Place.Found ? Blocks.At(Place).Block : nullptr;
}

TBlockTable* TBlockLists::FindTable(std::u16string_view Name) const {
    return SpotOf(Name).Table;
}

TBlockSpot TBlockLists::SpotOf(std::u16string_view TableName) const {
    TBlockSpot Spot;
    Spot.TableKey = Match.OrderKey(TableName);
    const auto Place = FindName(FTables, Spot.TableKey, TableName);
    if (Place.Found) Spot.Table = FTables.At(Place).Item;
    return Spot;
}

TBlockSpot TBlockLists::SpotOf(std::u16string_view TableName, std::u16string_view RecordID) const {
    TBlockSpot Spot = SpotOf(TableName);
    Spot.RecordKey = Match.OrderKey(RecordID);
    if (Spot.Table != nullptr) Spot.Place = FindName(Spot.Table->Records, Spot.RecordKey, RecordID);
    return Spot;
}

TBlockLists::TRecord* TBlockLists::FindRecord(std::u16string_view TableName,
                                              std::u16string_view RecordID) const {
    return RecordAt(SpotOf(TableName, RecordID));
}

TBlockSession* TBlockLists::FindSession(std::u16string_view SID) {
    const auto Found = FSessions.find(SID);
    return Found == FSessions.end() ? nullptr : &Found->second;
}

void TBlockLists::Enter(const std::shared_ptr<TBlock>& Block, const TBlockSpot& Spot,
                        std::u16string_view TableName, std::u16string_view SID,
                        std::u16string_view UserName) {
    ++Changes;
    TIDs::TPlace Place;
    do {
        Block->FID = FIDs.Next(Block->FCreateTime);
        Place = FindID(Blocks, Block->FID);
    } while (Place.Found);
    Blocks.Insert(Place, {Block->FID, Block.get()});
    EnterTable(*Block, Spot, TableName);
    EnterSession(*Block, SID, UserName);
    Block->FSelf = Block;
}

std::shared_ptr<TBlockLists::TBlock> TBlockLists::Remove(TBlock& Block) {
    ++Changes;
    LeaveSession(Block);
    LeaveTable(Block);
    EraseID(Blocks, Block);
    return std::move(Block.FSelf);
}

// ---- by table

TBlockTable& TBlockLists::NewTable(const TBlockSpot& Spot, std::u16string_view Name) {
    auto Table = std::make_unique<TBlockTable>();
    Table->Name = std::make_shared<const std::u16string>(Name);
    Table->Key = Spot.TableKey;
    FTables.Insert(FindName(FTables, Spot.TableKey, Name), {Spot.TableKey, Table.get()});
    return *Table.release();
}

void TBlockLists::DropTable(TBlockTable& Table) {
    auto Place = FindName(FTables, Table.Key, *Table.Name);
    if (!Place.Found || FTables.At(Place).Item != &Table)
        Place = FTables.Scan([&](const TNamed<TBlockTable>& Entry) { return Entry.Item == &Table; });
    FTables.Erase(Place);
    delete &Table;
}

void TBlockLists::EnterTable(TBlock& Block, const TBlockSpot& Spot, std::u16string_view TableName) {
    TBlockTable& Table = Spot.Table != nullptr ? *Spot.Table : NewTable(Spot, TableName);
    Block.FTableEntry = &Table;
    Block.FTableName =
        SameUnits(*Table.Name, TableName) ? Table.Name : std::make_shared<const std::u16string>(TableName);
    switch (Block.FRecAction) {
    case otTable:
        Table.Lock = &Block;
        return;
    case otInsert:
        Table.Inserts.Insert(FindID(Table.Inserts, Block.FID), {Block.FID, &Block});
        return;
    case otEdit:
    case otDelete:
        break;
    }
    auto& Record = static_cast<TRecord&>(Block);
    Record.FOrderKey = Spot.RecordKey;
    Table.Records.Insert(Spot.Place, {Record.FOrderKey, &Record});
}

void TBlockLists::LeaveTable(TBlock& Block) {
    TBlockTable& Table = *Block.FTableEntry;
    switch (Block.FRecAction) {
    case otTable:
        Table.Lock = nullptr;
        break;
    case otInsert:
        EraseID(Table.Inserts, Block);
        break;
    case otEdit:
    case otDelete: {
        const auto& Record = static_cast<const TRecord&>(Block);
        auto Place = Table.Records.Find([&](const TNamed<TRecord>& Entry) {
            if (Entry.Item == &Record) return 0;
            const int Order = Entry.Key.Compare(Record.FOrderKey);
            return Order != 0 ? Order : Match.Compare(Entry.Item->FRecordID, Record.FRecordID);
        });
        // The system's order may contradict itself for strange texts: the block must go all the same.
        if (!Place.Found || Table.Records.At(Place).Item != &Record)
            Place = Table.Records.Scan([&](const TNamed<TRecord>& Entry) { return Entry.Item == &Record; });
        Table.Records.Erase(Place);
        break;
    }
    }
    Block.FTableEntry = nullptr;
    if (Table.Empty()) DropTable(Table);
}

void TBlockLists::EraseID(TIDs& List, const TBlock& Block) {
    List.Erase(FindID(List, Block.FID));
}

// ---- by session

/// The owner that the blocks of a session share; made anew when the user's name changed.
std::shared_ptr<const TZUBlockOwner> TBlockLists::OwnerOf(std::u16string_view SID,
                                                          std::u16string_view UserName) {
    if (!FLastOwner || !SameUnits(FLastOwner->SID, SID) || !SameUnits(FLastOwner->UserName, UserName))
        FLastOwner = std::make_shared<const TZUBlockOwner>(
            TZUBlockOwner{std::u16string(SID), std::u16string(UserName)});
    return FLastOwner;
}

void TBlockLists::EnterSession(TBlock& Block, std::u16string_view SID, std::u16string_view UserName) {
    TBlockSession* Session = FindSession(SID);
    if (Session == nullptr) Session = &FSessions[std::u16string(SID)];
    if (!Session->Owner || !SameUnits(Session->Owner->UserName, UserName))
        Session->Owner = OwnerOf(SID, UserName);
    Block.FOwner = Session->Owner;
    Block.FSession = Session;
    Block.FNextOfSession = Session->First;
    if (Session->First != nullptr) Session->First->FPreviousOfSession = &Block;
    Session->First = &Block;
}

void TBlockLists::LeaveSession(TBlock& Block) {
    TBlock* const Next = std::exchange(Block.FNextOfSession, nullptr);
    TBlock* const Previous = std::exchange(Block.FPreviousOfSession, nullptr);
    TBlockSession& Session = *std::exchange(Block.FSession, nullptr);
    if (Next != nullptr) Next->FPreviousOfSession = Previous;
    if (Previous != nullptr) {
        Previous->FNextOfSession = Next;
        return;
    }
    Session.First = Next;
    if (Next == nullptr) FSessions.erase(FSessions.find(Block.FOwner->SID));
}

} // namespace zutools
