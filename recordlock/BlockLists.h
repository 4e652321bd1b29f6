// The living blocks of one blocker, found by identifier, by table and record, and by session.
//
// Guarded by the blocker's lock. Tables and sessions without blocks are dropped. Names of tables and records
// compare by the user's collation ignoring case; identifiers of sessions compare exactly.

#pragma once

#include "host/StringHelpers.h"
#include "recordlock/Caller.h"
#include "recordlock/ChunkedList.h"
#include "recordlock/Zurecblk.h"

#include <unordered_map>

namespace zutools {

struct TBlockSession {
    std::shared_ptr<const TZUBlockOwner> Owner;
    TZURecordBlockerTableObject* First = nullptr; // linked through the blocks
};

/// A name with what orders it mostly, and whose name it is.
template <class TItem>
struct TNamed {
    TNameMatch::TOrderKey Key;
    TItem* Item = nullptr;
};

struct TIdentified {
    TBlockID ID;
    TZURecordBlockerTableObject* Block = nullptr;
};

struct TBlockTable {
    std::shared_ptr<const std::u16string> Name; // as the first block spelled it
    TNameMatch::TOrderKey Key;
    TChunkedList<TNamed<TZURecordBlockerObject>> Records; // edit and delete blocks by record ID
    TChunkedList<TIdentified> Inserts;                    // insert blocks by ID
    TZURecordBlockerTableObject* Lock = nullptr;          // the lock of the whole table

    [[nodiscard]] bool Empty() const { return Lock == nullptr && Records.Empty() && Inserts.Empty(); }
};

/// Where a block stands, or will stand: found once, used when it is entered. Table and place are good
/// until the lists change.
struct TBlockSpot {
    TNameMatch::TOrderKey TableKey;
    TNameMatch::TOrderKey RecordKey;
    TBlockTable* Table = nullptr; // null: there is no block in it
    TChunkedList<TNamed<TZURecordBlockerObject>>::TPlace Place;
};

struct TBlockLists {
    using TBlock = TZURecordBlockerTableObject;
    using TRecord = TZURecordBlockerObject;

    TBlockLists();
    ~TBlockLists();
    TBlockLists(const TBlockLists&) = delete;
    TBlockLists& operator=(const TBlockLists&) = delete;

    const TNameMatch& Match;
    TChunkedList<TIdentified> Blocks;
    std::uint64_t Changes = 0; // of any list: places found before it changed are void

    // Look-ups; null when there is none.
    [[nodiscard]] TBlock* FindBlock(std::u16string_view ID) const;
    [[nodiscard]] TBlockTable* FindTable(std::u16string_view Name) const;
    [[nodiscard]] TRecord* FindRecord(std::u16string_view TableName, std::u16string_view RecordID) const;
    [[nodiscard]] TBlockSession* FindSession(std::u16string_view SID);
    /// Calls `Take(Entry)` for the blocks with a greater ID, in order, while it gives true.
    template <class TTake>
    void ForEachAfter(TBlockID ID, const TTake& Take) const {
        auto Place = FindID(Blocks, ID);
        if (Place.Found) ++Place.At;
        Blocks.ForEachFrom(Place, Take);
    }

    [[nodiscard]] TBlockSpot SpotOf(std::u16string_view TableName) const;
    [[nodiscard]] TBlockSpot SpotOf(std::u16string_view TableName, std::u16string_view RecordID) const;
    /// The edit or delete block there, or null.
    [[nodiscard]] static TRecord* RecordAt(const TBlockSpot& Spot) {
        return Spot.Place.Found ? Spot.Table->Records.At(Spot.Place).Item : nullptr;
    }

    /// Gives the block its names, its owner and an identifier, and enters it everywhere. No such record is
    /// held, and the lists have not changed since the spot was found.
    void Enter(const std::shared_ptr<TBlock>& Block, const TBlockSpot& Spot, std::u16string_view TableName,
               std::u16string_view SID, std::u16string_view UserName);
    /// Takes it out of everything and gives the ownership back.
    [[nodiscard]] std::shared_ptr<TBlock> Remove(TBlock& Block);

private:
    using TTables = TChunkedList<TNamed<TBlockTable>>;
    using TRecords = TChunkedList<TNamed<TRecord>>;
    using TIDs = TChunkedList<TIdentified>;

    struct THash {
        using is_transparent = void;
        [[nodiscard]] std::size_t operator()(std::u16string_view Text) const {
            return std::hash<std::u16string_view>()(Text);
        }
    };

    struct TSame {
        using is_transparent = void;
        [[nodiscard]] bool operator()(std::u16string_view Left, std::u16string_view Right) const {
            return SameUnits(Left, Right);
        }
    };

    [[nodiscard]] static const std::u16string& NameOf(const TBlockTable& Table) { return *Table.Name; }
    [[nodiscard]] static const std::u16string& NameOf(const TRecord& Record) { return Record.FRecordID; }
    template <class TItem>
    [[nodiscard]] typename TChunkedList<TNamed<TItem>>::TPlace
    FindName(const TChunkedList<TNamed<TItem>>& List, TNameMatch::TOrderKey Key,
             std::u16string_view Name) const;
    [[nodiscard]] static TIDs::TPlace FindID(const TIDs& List, TBlockID ID);
    static void EraseID(TIDs& List, const TBlock& Block);
    [[nodiscard]] TBlockTable& NewTable(const TBlockSpot& Spot, std::u16string_view Name);
    void DropTable(TBlockTable& Table);
    void EnterTable(TBlock& Block, const TBlockSpot& Spot, std::u16string_view TableName);
    void LeaveTable(TBlock& Block);
    void EnterSession(TBlock& Block, std::u16string_view SID, std::u16string_view UserName);
    [[nodiscard]] std::shared_ptr<const TZUBlockOwner> OwnerOf(std::u16string_view SID,
                                                               std::u16string_view UserName);
    void LeaveSession(TBlock& Block);

    TBlockIDSource FIDs;
    std::shared_ptr<const TZUBlockOwner> FLastOwner; // sessions mostly come back for more
    TTables FTables;                                 // owns its items
    std::unordered_map<std::u16string, TBlockSession, THash, TSame> FSessions;
};

} // namespace zutools
