// Giving blocks back, with and without writing the record.

#include "host/Dictionary.h"
#include "host/Format.h"
#include "host/Security.h"
#include "host/StringHelpers.h"
#include "recordlock/BlockLists.h"

#include <algorithm>
#include <span>
#include <utility>

namespace zutools {

namespace {

constexpr std::u16string_view NoDictionaryText = u"Error in InsertDoc function on GetDictionary";
constexpr std::u16string_view NotInsertedText =
    u"Error in InsertDoc function on InsertDocument.\r\nТаблица: %S; Номер клиента: %D";

} // namespace

/// One call that gives blocks back: finds them, writes them in turn without the lock, and settles all of them
/// at once. While they are written others see them as they were, and wait when they want the outcome.
class TZURecordBlocker::TDone {
public:
    TDone(TZURecordBlocker& Blocker, const TDoneFlags& Flags)
        : FBlocker(Blocker)
        , FFlags(Flags) {}
    ~TDone() {
        if (std::ranges::none_of(FItems, &TItem::Claimed)) return;
        const std::scoped_lock Guard(FBlocker);
        LetGo();
    }
    TDone(const TDone&) = delete;
    TDone& operator=(const TDone&) = delete;

    template <class TFind>
    [[nodiscard]] bool Find(std::size_t Count, const TFind& Find);
    void Claim();
    void Write();
    void Settle();
    /// Leaves the last error. With the lock when it tells about a block, which may change without.
    [[nodiscard]] bool Report(const std::u16string* IDs);
    [[nodiscard]] bool TellsAboutBlock() const { return FTold != nullptr; }

private:
    enum class TOutcome : std::uint8_t { Nothing, Written, Refused, Failed, Lost };
    struct TItem {
        TAnyBlock* Block = nullptr; // null: there is none
        TAnyBlockPtr Owned;         // keeps it while the lock is given back, and once it is gone
        TOutcome Outcome = TOutcome::Nothing;
        bool Claimed = false;
        bool Goes = false;
        std::optional<std::u16string> NewRecordID;
    };

    [[nodiscard]] bool IsForeign(const TAnyBlock& Block) const {
        return FFlags.CheckForRights && !SameUnits(Block.SID(), FCaller.SID);
    }
    [[nodiscard]] TOutcome WriteOne(TItem& Item);
    [[nodiscard]] TOutcome CheckAndWrite(TItem& Item, TZURecordBlockerObject& Record);
    [[nodiscard]] std::optional<std::u16string> Commit(TZURecordBlockerObject& Block);
    [[nodiscard]] bool SettleOne(TItem& Item);
    /// In the block's history. What is gone is noted without the lock: nobody finds it any more.
    void Note(TItem& Item) const;
    void LetGo() noexcept;

    TZURecordBlocker& FBlocker;
    const TDoneFlags FFlags;
    const TBlockCaller FCaller;
    TPatience FPatience;
    TItem FOne; // mostly it is one
    std::vector<TItem> FMany;
    std::span<TItem> FItems; // one or many, in turn; the last one may be what ends the list

    // What becomes of the last item that was settled.
    std::int32_t FCode = -1; // of the last error; -1: it stands there already, or there is none
    const TAnyBlock* FTold = nullptr;
    std::size_t FFailed = 0; // the number of the item that ended the list, from 1
};

/// With the lock, which is given back while others work on the blocks. False with a last error.
template <class TFind>
bool TZURecordBlocker::TDone::Find(std::size_t Count, const TFind& Find) {
    if (Count > 1) FMany.resize(Count);
    FItems = Count > 1 ? std::span(FMany) : std::span(&FOne, Count);
    for (std::size_t Number = 0; Number < Count;) {
        TAnyBlock* const Block = Find(Number);
        if (!FBlocker.Has(Block) || IsForeign(*Block)) break;
        const bool Mine = Block->WorkedByThisThread() && !FFlags.CommitChanges;
        if (Block->State() == TBlockState::Held || Mine) {
            ++Number;
            continue;
        }
        if (!FBlocker.Await(*Block, FPatience)) return false;
        Number = 0; // those before it may have changed meanwhile
    }
    for (std::size_t Number = 0; Number < Count; ++Number) {
        TAnyBlock* const Block = Find(Number);
        const bool There = FBlocker.Has(Block);
        if (There) FItems[Number].Block = Block;
        if (There && !IsForeign(*Block)) continue;
        FItems = FItems.first(Number + 1);
        break;
    }
    return true;
}

/// With the lock: nobody else gives back or writes what is going to be written.
void TZURecordBlocker::TDone::Claim() {
    for (TItem& Each : FItems) {
        if (Each.Block == nullptr) continue;
        Each.Owned = Each.Block->shared_from_this();
        if (IsForeign(*Each.Block) || Each.Block->State() != TBlockState::Held) continue;
        FBlocker.FLists->Set(*Each.Block, TBlockState::Checking);
        Each.Claimed = true;
    }
}

/// Without the lock.
void TZURecordBlocker::TDone::Write() {
    for (std::size_t Number = 0; Number < FItems.size(); ++Number) {
        TItem& Item = FItems[Number];
        if (Item.Block == nullptr || IsForeign(*Item.Block)) return;
        const auto Before = FItems.first(Number);
        if (!FFlags.KeepInCashe && std::ranges::find(Before, Item.Block, &TItem::Block) != Before.end())
            return; // named twice: given back already when its turn comes again
        Item.Outcome = WriteOne(Item);
        if (Item.Outcome > TOutcome::Written) return;
    }
}

TZURecordBlocker::TDone::TOutcome TZURecordBlocker::TDone::WriteOne(TItem& Item) {
    if (Item.Block->FRecAction == otTable) return TOutcome::Nothing;
    auto& Record = static_cast<TZURecordBlockerObject&>(*Item.Block);
    if (!Record.HasTable()) return TOutcome::Nothing;
    TOutcome Outcome = TOutcome::Failed;
    FBlocker.Ask(ErrorCommitFailed, &Record, [&] { Outcome = CheckAndWrite(Item, Record); });
    return Outcome;
}

/// What is written is what was checked: the record stands still meanwhile, and the rights are asked once more
/// about what the database made of it.
TZURecordBlocker::TDone::TOutcome TZURecordBlocker::TDone::CheckAndWrite(TItem& Item,
                                                                         TZURecordBlockerObject& Record) {
    struct TNotGranted {};
    TRights Rights = TRights::Granted;
    std::optional<TTableRights> Known;
    TRecordCheck Check;
    if (FFlags.CheckForRights) {
        Check = [&](const TUserTable& Row) {
            Rights = FBlocker.CheckUserRights(Record, Row, &Known);
            if (Rights != TRights::Granted) throw TNotGranted();
        };
    }
    try {
        TRecordWriting Writing(Record.Table(), Check);
        if (Check) Check(Record.Table());
        {
            const std::scoped_lock Guard(FBlocker);
            if (!Record.Held()) return TOutcome::Lost; // released before anything was written
            FBlocker.FLists->Set(Record, TBlockState::Writing);
        }
        Item.NewRecordID = Commit(Record);
        Writing.Keep();
        return TOutcome::Written;
    } catch (const TNotGranted&) {
        // When nobody said no the changes stay, to be written when the rights can be told again.
        return Rights == TRights::Unknown ? TOutcome::Failed : TOutcome::Refused;
    }
}

/// The record's ID when it is a new one.
std::optional<std::u16string> TZURecordBlocker::TDone::Commit(TZURecordBlockerObject& Block) {
    TUserTable& Table = Block.Table();
    if (Block.FRecAction == otEdit) {
        if (FFlags.AsDoc)
            FBlocker.Dictionary().UpdateDoc(Table);
        else
            Table.Post();
        return std::nullopt;
    }
    if (Block.FRecAction == otDelete) {
        Table.Delete();
        return std::nullopt;
    }

    if (FFlags.AsDoc) {
        TDictionaryService& Dictionary = FBlocker.Dictionary();
        const std::int64_t Number = Dictionary.InsertDoc(Table);
        if (Number == TDictionaryService::NoDictionary) throw Exception(std::u16string(NoDictionaryText));
        if (Number == TDictionaryService::NotInserted)
            throw Exception(Format(NotInsertedText, {Block.TableName(), Dictionary.ClientNumber()}));
    } else {
        Table.Insert();
    }
    // The record is written, and a failure told now would have it written twice.
    std::u16string Reason;
    try {
        return Table.RecordID();
    } catch (const std::exception& Error) {
        Reason = MessageOf(Error);
    } catch (...) {
        Reason = u"?";
    }
    FBlocker.Logger().Log(TLogLevel::Warning,
                          u"The key of a new record of " + Block.TableName() + u" cannot be told: " + Reason);
    return std::nullopt;
}

/// With the lock: what was written or need not be is given back, or kept as asked; the first failure ends it.
void TZURecordBlocker::TDone::Settle() {
    for (TItem& Each : FItems) {
        if (SettleOne(Each)) continue;
        FFailed = static_cast<std::size_t>(&Each - FItems.data()) + 1;
        break;
    }
    LetGo();
}

bool TZURecordBlocker::TDone::SettleOne(TItem& Item) {
    FCode = ErrorRecordNotFound;
    FTold = nullptr;
    if (Item.Block == nullptr || Item.Outcome == TOutcome::Lost) return false;
    TAnyBlock& Block = *Item.Block;
    const bool Written = Item.Outcome == TOutcome::Written;
    if (!Written && !Block.Held()) return false; // released meanwhile, or named twice
    const bool Foreign = IsForeign(Block);
    Item.Goes = !Foreign && !FFlags.KeepInCashe && Item.Outcome != TOutcome::Failed;
    if (!Item.Goes || FFlags.CommitChanges) Note(Item);
    if (Foreign) {
        // Kept on purpose: 200 and not 201, so an edit block gives 200, a code without a text, and a delete
        // block the text about editing.
        FCode = 200 + Block.FRecAction;
        FTold = &Block;
        return false;
    }
    FCode = ErrorNone;
    if (Written) FTold = &Block;
    if (!Written && Item.Outcome != TOutcome::Nothing) FCode = -1; // told when it happened
    if (Item.Outcome == TOutcome::Failed) return false;
    // Kept on purpose: a block whose commit was refused for lack of rights is given back too; its changes
    // could never be written.
    if (Item.Goes) {
        // One that this thread is writing further up goes when that write has ended.
        const bool Mine = std::exchange(Item.Claimed, false);
        TAnyBlockPtr Gone = Mine ? FBlocker.FLists->Remove(Block) : FBlocker.FLists->Release(Block);
        if (!Item.Owned) Item.Owned = std::move(Gone);
    }
    return Item.Outcome != TOutcome::Refused;
}

void TZURecordBlocker::TDone::Note(TItem& Item) const {
    TAnyBlock& Block = *Item.Block;
    const std::scoped_lock Guard(Block.FMutex);
    Block.FHistory.Add(FFlags.CommitChanges ? TBlockEvent::DoneCommit : TBlockEvent::Done, {}, FCaller.Stack);
    if (FFlags.CheckForRights) Block.FHistory.Add(TBlockEvent::Checked, {}, FCaller.Stack);
    if (Item.NewRecordID)
        static_cast<TZURecordBlockerObject&>(Block).FRecordID = std::move(*Item.NewRecordID);
}

/// With the lock: what this call has claimed is held again, or gone when it was released while it was
/// written.
void TZURecordBlocker::TDone::LetGo() noexcept {
    for (TItem& Each : FItems) {
        if (!std::exchange(Each.Claimed, false)) continue;
        if (Each.Block->Held())
            FBlocker.FLists->Set(*Each.Block, TBlockState::Held);
        else if (Each.Block->State() == TBlockState::Leaving)
            static_cast<void>(FBlocker.FLists->Remove(*Each.Block));
    }
}

bool TZURecordBlocker::TDone::Report(const std::u16string* IDs) {
    if (!FFlags.CommitChanges)
        for (TItem& Each : FItems)
            if (Each.Goes) Note(Each);
    if (FCode == ErrorRecordNotFound && IDs != nullptr)
        FBlocker.HandleError(FCode, nullptr, nullptr, u"ID: " + IDs[FFailed - 1]);
    else if (FCode >= 0)
        FBlocker.HandleError(FCode, FTold);
    return FFailed == 0;
}

/// Gives back the blocks that `Find(Number)` finds for the numbers below `Count`, one after the other. `IDs`
/// names those that are not found.
template <class TFind>
bool TZURecordBlocker::DoneInternal(const TDoneFlags& Flags, std::size_t Count, const TFind& Find,
                                    const std::u16string* IDs) {
    ClearLastError();
    TDone Done(*this, Flags); // frees the blocks without the lock
    std::unique_lock<const TKXThreadSafetyClass> Guard(*this);
    if (!Done.Find(Count, Find)) return false;
    if (Flags.CommitChanges) {
        Done.Claim();
        Guard.unlock();
        Done.Write();
        Guard.lock();
    }
    Done.Settle();
    if (!Done.TellsAboutBlock()) Guard.unlock();
    return Done.Report(IDs);
}

bool TZURecordBlocker::DoneByObject(TZURecordBlockerTableObject* CurObject, bool CommitChanges, bool AsDoc,
                                    bool KeepInCashe) {
    if (CurObject == nullptr) {
        ClearLastError();
        return true;
    }
    return DoneInternal({CommitChanges, true, AsDoc, KeepInCashe}, 1,
                        [CurObject](std::size_t) { return CurObject; });
}

bool TZURecordBlocker::DoneByID(std::u16string_view IDs, bool CommitChanges, bool CheckForRights, bool AsDoc,
                                bool KeepInCashe) {
    std::vector<std::u16string> List;
    for (std::u16string Item; KX_GetNextParam(IDs, u",", Item);) List.emplace_back(Trim(Item));
    return DoneInternal(
        {CommitChanges, CheckForRights, AsDoc, KeepInCashe}, List.size(),
        [&](std::size_t Number) { return FLists->FindBlock(List[Number]); }, List.data());
}

bool TZURecordBlocker::DoneByTableNameRecordID(std::u16string_view TableName, std::u16string_view RecordID,
                                               bool CommitChanges, bool AsDoc, bool KeepInCashe) {
    const TBlockAddress Address = FLists->AddressOf(TableName, RecordID);
    // Kept on purpose: each flag counts one place on, so AsDoc asks for the check of rights, KeepInCashe
    // writes as a document, and nothing keeps the block. Scripts rely on it.
    return DoneInternal({CommitChanges, AsDoc, KeepInCashe, false}, 1,
                        [&](std::size_t) { return TBlockLists::RecordAt(FLists->SpotOf(Address)); });
}

void TZURecordBlocker::DoneBySID(std::u16string_view SID) {
    ClearLastError();
    const std::u16string Own(SID); // may be a block's own text
    const TSessionKey Key(Own);
    std::vector<TAnyBlockPtr> Gone; // freed without the lock
    const std::scoped_lock Guard(*this);
    FLists->EndSession(Key, Gone);
}

// ---- tables

template <class TFind>
bool TZURecordBlocker::UnLockTableInternal(const TFind& Find) {
    ClearLastError();
    const TBlockCaller Caller;
    TPatience Patience;
    TAnyBlockPtr Gone; // freed without the lock
    const std::scoped_lock Guard(*this);
    TAnyBlock* Block = Find();
    for (; Has(Block); Block = Find()) {
        if (Block->State() == TBlockState::Held || Block->FRecAction != otTable ||
            Block->WorkedByThisThread())
            break;
        if (!Await(*Block, Patience)) return false;
    }
    if (!Has(Block)) {
        HandleError(ErrorRecordNotFound);
        return false;
    }
    AddToHistory(*Block, TBlockEvent::UnLockTable, Caller);
    if (CheckRecordInternal(Block, Caller) > 10 || Block->FRecAction != otTable) return false;
    Gone = FLists->Release(*Block);
    return true;
}

bool TZURecordBlocker::UnLockTableByObject(TZURecordBlockerTableObject* CurObject) {
    return UnLockTableInternal([CurObject] { return CurObject; });
}

bool TZURecordBlocker::UnLockTableByTableName(std::u16string_view TableName) {
    const TBlockAddress Address = FLists->AddressOf(TableName);
    return UnLockTableInternal([&]() -> TAnyBlock* {
        const TBlockTable* const Table = FLists->FindTable(Address);
        return Table == nullptr ? nullptr : Table->Lock;
    });
}

} // namespace zutools
