// The blocks of one blocker, found by identifier, by table and record, and by session.
//
// Guarded by the blocker's lock, but for what is said to need none. Tables without blocks are dropped. A
// session without blocks is remembered until 16 others have none, or until it ends: its identifier may be a
// key. Identifiers of sessions compare exactly.

#pragma once

#include "host/StringHelpers.h"
#include "recordlock/Caller.h"
#include "recordlock/ChunkedList.h"
#include "recordlock/Zurecblk.h"

#include <array>
#include <unordered_map>
#include <vector>

namespace zutools {

/// How names of tables and records compare: by a collation ignoring case, and A to Z like a to z whatever the
/// language. The hosts' tables know no other case, while the Turkish collation tells "ITEMS" from "items".
class TBlockNames {
public:
    explicit TBlockNames(const TNameMatch& Match);
    /// Negative, zero or positive.
    [[nodiscard]] int Compare(std::u16string_view Left, std::u16string_view Right) const;
    [[nodiscard]] TNameMatch::TOrderKey OrderKey(std::u16string_view Name) const;

private:
    const TNameMatch& FMatch;
    const bool FPlain; // the collation itself holds A to Z and a to z equal
};

struct TBlockSession {
    std::shared_ptr<const TZUBlockOwner> Named; // holds the text of the key
    TSessionKey Key;
    std::shared_ptr<const TZUBlockOwner> Owner;         // of new blocks: the user's name may have changed
    std::shared_ptr<const std::u16string> Table;        // as it spelled the one that it took last
    std::shared_ptr<TZURecordBlockerTableObject> First; // the last one taken; owns the next one, and so on
    std::size_t Visible = 0;                            // how many of them others see
    TBlockSession** Idle = nullptr;                     // its place among those that gave all back
};

/// An entry of a list ordered by name. The key is the beginning of the name as a number: it mostly decides,
/// and the name itself, which `Item` knows, is compared only when it does not.
template <class TItem>
struct TNamed {
    TNameMatch::TOrderKey Key;
    TItem* Item = nullptr;
};

/// An entry of a list ordered by identifier.
struct TIdentified {
    TBlockID ID;
    TZURecordBlockerTableObject* Block = nullptr;
};

struct TBlockTable {
    std::shared_ptr<const std::u16string> Name; // as the first block spelled it
    TNameMatch::TOrderKey Key;
    TChunkedList<TNamed<TZURecordBlockerObject>> Records; // edit and delete blocks by record ID
    TChunkedList<TIdentified> Inserts;                    // insert blocks by ID
    std::vector<TZURecordBlockerTableObject*> NewInserts; // those that are opening
    TZURecordBlockerTableObject* Lock = nullptr;          // the lock of the whole table

    [[nodiscard]] bool Empty() const {
        return Lock == nullptr && Records.Empty() && Inserts.Empty() && NewInserts.empty();
    }
    /// The first block on a record that others see: the edit and delete blocks in order of record ID, then
    /// the insert blocks in order of ID. When there is none, one that a host is at work on. Not for a locked
    /// table.
    [[nodiscard]] TZURecordBlockerTableObject& FirstBlock() const;
};

/// Where an edit or delete block stands, or would stand. Good until the lists change.
struct TBlockSpot {
    TBlockTable* Table = nullptr; // null: there is no block in it
    TChunkedList<TNamed<TZURecordBlockerObject>>::TPlace Record;
};

/// What a block is asked for by, with the beginnings of the names as numbers. The texts are the caller's.
struct TBlockAddress {
    std::u16string_view Table;
    std::u16string_view Record;
    TNameMatch::TOrderKey TableKey;
    TNameMatch::TOrderKey RecordKey;
};

struct TBlockLists {
    using TAnyBlock = TZURecordBlockerTableObject;
    using TAnyBlockPtr = std::shared_ptr<TAnyBlock>;
    using TRecord = TZURecordBlockerObject;

    explicit TBlockLists(const TNameMatch& Match);
    ~TBlockLists();
    TBlockLists(const TBlockLists&) = delete;
    TBlockLists& operator=(const TBlockLists&) = delete;

    const TBlockNames Names;
    TChunkedList<TIdentified> Blocks; // those that everybody sees

    /// Needs no lock.
    [[nodiscard]] TBlockAddress AddressOf(std::u16string_view Table, std::u16string_view Record = {}) const;

    // Look-ups; null when there is none.
    [[nodiscard]] TAnyBlock* FindBlock(std::u16string_view ID) const;
    [[nodiscard]] TBlockTable* FindTable(const TBlockAddress& Address) const;
    [[nodiscard]] TBlockSpot SpotOf(const TBlockAddress& Address) const;
    /// The edit or delete block there, which may be opening or leaving.
    [[nodiscard]] static TRecord* RecordAt(const TBlockSpot& Spot) {
        return Spot.Record.Found ? Spot.Table->Records.At(Spot.Record).Item : nullptr;
    }
    [[nodiscard]] TBlockSession* FindSession(const TSessionKey& Key);
    /// Calls `Visit(Entry)` for the blocks with a greater ID, in order, while it gives true.
    template <class TVisit>
    void ForEachAfter(TBlockID ID, const TVisit& Visit) const {
        auto Place = FindID(Blocks, ID);
        if (Place.Found) ++Place.At;
        Blocks.ForEachFrom(Place, Visit);
    }

    // Steps in the life of a block. Enter and Show leave everything as it was when memory cannot be had; the
    // others need none.

    /// Loose -> Opening, worked by this thread; with its owner and its table's name. An opening block that
    /// was put off enters its table again. No record stands at the spot, which is that of the address;
    /// `Session` is the taker's, null when it is not known.
    void Enter(const TAnyBlockPtr& Block, const TBlockAddress& Address, const TBlockSpot& Spot,
               const TBlockTaker& Taker, TBlockSession* Session);
    /// Opening -> Held.
    void Show(TAnyBlock& Block);
    /// An opening block leaves its table, not its session: somebody else may take the record.
    void PutOff(TAnyBlock& Block) noexcept;
    /// Held, Checking or Writing -> another one of these; worked by this thread.
    void Set(TAnyBlock& Block, TBlockState State) noexcept;
    /// -> Gone. Whoever receives what owns it, frees it without the lock; null for a leaving block, which its
    /// writer owns.
    [[nodiscard]] TAnyBlockPtr Remove(TAnyBlock& Block) noexcept;
    /// Writing -> Leaving, anything else -> Gone.
    [[nodiscard]] TAnyBlockPtr Release(TAnyBlock& Block) noexcept;
    /// Releases what a session has, from the last block to the first, and forgets its names. Without memory
    /// it stops between two blocks.
    void EndSession(const TSessionKey& Key, std::vector<TAnyBlockPtr>& Gone);

private:
    using TTables = TChunkedList<TNamed<TBlockTable>>;
    using TRecords = TChunkedList<TNamed<TRecord>>;
    using TIDs = TChunkedList<TIdentified>;

    struct THash {
        [[nodiscard]] std::size_t operator()(const TSessionKey& Key) const noexcept { return Key.Hash; }
    };
    struct TSame {
        [[nodiscard]] bool operator()(const TSessionKey& Left, const TSessionKey& Right) const noexcept {
            return SameUnits(Left.SID, Right.SID);
        }
    };

    [[nodiscard]] static const std::u16string& NameOf(const TBlockTable& Table) { return *Table.Name; }
    [[nodiscard]] static const std::u16string& NameOf(const TRecord& Record) { return Record.FRecordID; }
    template <class TItem>
    [[nodiscard]] typename TChunkedList<TNamed<TItem>>::TPlace
    FindName(const TChunkedList<TNamed<TItem>>& List, TNameMatch::TOrderKey Key,
             std::u16string_view Name) const;
    template <class TItem>
    void EraseName(TChunkedList<TNamed<TItem>>& List, TNameMatch::TOrderKey Key, const TItem& Item) noexcept;
    [[nodiscard]] static TIDs::TPlace FindID(const TIDs& List, TBlockID ID);

    [[nodiscard]] TBlockTable& NewTable(const TBlockAddress& Address);
    void DropIfEmpty(TBlockTable& Table) noexcept;
    void EnterTable(TAnyBlock& Block, const TBlockAddress& Address, const TBlockSpot& Spot);
    void LeaveTable(TAnyBlock& Block) noexcept;
    void EnterSession(const TAnyBlockPtr& Block, std::u16string_view Table, const TBlockTaker& Taker,
                      TBlockSession* Session);
    [[nodiscard]] TAnyBlockPtr LeaveSession(TAnyBlock& Block) noexcept;
    void Rest(TBlockSession& Session) noexcept;
    void Drop(TBlockSession& Session) noexcept;
    [[nodiscard]] TAnyBlockPtr LeaveAll(TAnyBlock& Block) noexcept;

    TTables FTables; // owns its items
    std::unordered_map<TSessionKey, TBlockSession, THash, TSame> FSessions;
    std::array<TBlockSession*, 16> FIdle{}; // some gave everything back, and mostly come again
    std::size_t FNextIdle = 0;
};

} // namespace zutools
