// Taking records and tables.

#include "host/Security.h"
#include "recordlock/BlockLists.h"

#include <utility>

namespace zutools {

namespace {

TRecordRight RightFor(TZUBlockerObjectType Action) {
    return Action == otEdit     ? TRecordRight::Edit
           : Action == otDelete ? TRecordRight::Delete
                                : TRecordRight::Insert;
}

} // namespace

/// One call of GetRecord.
struct TZURecordBlocker::TAsked {
    TAsked(const TBlockAddress& Where, TZUBlockerObjectType What)
        : Address(Where)
        , Action(What) {}

    const TBlockAddress Address;
    const TZUBlockerObjectType Action;
    const TBlockTaker Caller;
    TPatience Patience;
};

/// Takes a block that is opening out of the lists again, unless it was shown or its session has ended.
class TZURecordBlocker::TOpening {
public:
    TOpening(TZURecordBlocker& Blocker, TAnyBlock& Block)
        : FBlocker(Blocker)
        , FBlock(Block) {}
    ~TOpening() {
        if (FBlock.State() != TBlockState::Opening) return;
        TAnyBlockPtr Owned; // freed without the lock
        const std::scoped_lock Guard(FBlocker);
        if (FBlock.State() == TBlockState::Opening) Owned = FBlocker.FLists->Remove(FBlock);
    }
    TOpening(const TOpening&) = delete;
    TOpening& operator=(const TOpening&) = delete;

private:
    TZURecordBlocker& FBlocker;
    TAnyBlock& FBlock;
};

std::shared_ptr<TZURecordBlockerObject> TZURecordBlocker::GetRecord(std::u16string_view TableName,
                                                                    std::u16string_view RecordID,
                                                                    TZUBlockerObjectType ActionType) {
    ClearLastError();
    if (ActionType > otInsert) {
        HandleError(ErrorRecordNotFound);
        return nullptr;
    }
    TRecordPtr Given;
    Ask(ErrorOpenTable, nullptr, [&] {
        TAsked Asked(FLists->AddressOf(TableName, RecordID), ActionType);
        Given = Take(Asked);
    });
    return Given;
}

TZURecordBlocker::TRecordPtr TZURecordBlocker::Take(TAsked& Asked) {
    auto Block = std::make_shared<TZURecordBlockerObject>();
    Block->FRecAction = Asked.Action;
    Block->FRecordID = Asked.Address.Record;
    Block->FCreateTime = FClock.Wall();
    Block->FID = NewBlockID(Block->FCreateTime);

    TRecordPtr Own;
    if (!Begin(Asked, Block, Own)) return Own;
    const TOpening Opening(*this, *Block);
    Block->FTable = OpenTable(Asked);
    if (!Block->FTable) return nullptr;
    Block->FFields.emplace(*Block, *Block->FTable);
    if (Asked.Action != otInsert) {
        if (CheckUserRights(*Block, *Block->FTable) != TRights::Granted) return nullptr;
        Block->FHistory.Add(TBlockEvent::Created, {}, Asked.Caller.Stack);
    } else { // its record ID will change
        std::u16string Text = u"GetRecord create new object TableName: ";
        Text.append(Asked.Address.Table).append(u" RecordID: ").append(Asked.Address.Record);
        Block->FHistory.Add(TBlockEvent::Text, Text + u" ActionType: Insert", Asked.Caller.Stack);
    }
    return Finish(Asked, Block);
}

/// Enters the block as opening. False when the lists have an answer already: `Own`, or null and a last error.
bool TZURecordBlocker::Begin(TAsked& Asked, const TRecordPtr& Block, TRecordPtr& Own) {
    const std::scoped_lock Guard(*this);
    TBlockSpot Spot;
    if (IsTaken(Asked, Spot, Own)) return false;
    TBlockSession* const Session = FLists->FindSession(Asked.Caller.Key);
    if (!MayHaveMore(Session)) return false;
    FLists->Enter(Block, Asked.Address, Spot, Asked.Caller, Session);
    return true;
}

/// True when the lists answer: with `Own`, or with null and a last error. Else `Spot` is free. Waits for
/// those who are at work on the record.
bool TZURecordBlocker::IsTaken(TAsked& Asked, TBlockSpot& Spot, TRecordPtr& Own) {
    for (;;) {
        Spot = FLists->SpotOf(Asked.Address);
        if (Spot.Table == nullptr) return false;
        if (Spot.Table->Lock != nullptr) {
            HandleError(ErrorTableLocked, Spot.Table->Lock);
            return true;
        }
        if (Asked.Action == otInsert) return false;
        TZURecordBlockerObject* const Block = TBlockLists::RecordAt(Spot);
        if (Block == nullptr) return false;
        const TBlockState State = Block->State();
        if (State == TBlockState::Opening && Block->WorkedByThisThread()) {
            FLists->PutOff(*Block);
            continue;
        }
        if (State != TBlockState::Held && (MayWaitFor(*Block) || !Visible(State))) {
            if (!Await(*Block, Asked.Patience)) return true;
            continue;
        }
        if (!SameUnits(Block->SID(), Asked.Caller.SID)) {
            HandleError(Block->FRecAction == otEdit ? ErrorEditInOtherSession : ErrorDeleteInOtherSession,
                        Block);
            return true;
        }
        if (Block->FRecAction != Asked.Action) {
            HandleError(Block->FRecAction == otEdit ? ErrorEditInThisSession : ErrorDeleteInThisSession,
                        Block);
            return true;
        }
        // Kept on purpose: no blank before "ActionType", unlike in the entry about a new block; logs are
        // searched for both.
        std::u16string Text = u"GetRecord use old object TableName: ";
        Text.append(Asked.Address.Table).append(u" RecordID: ").append(Asked.Address.Record);
        Text.append(u"ActionType: ").append(ObjectTypeToStr(Asked.Action));
        AddToHistory(*Block, TBlockEvent::Text, Asked.Caller, Text);
        Own = std::static_pointer_cast<TZURecordBlockerObject>(Block->shared_from_this());
        return true;
    }
}

std::unique_ptr<TUserTable> TZURecordBlocker::OpenTable(const TAsked& Asked) {
    std::unique_ptr<TUserTable> Table = ApplicationManager().GetTable(Asked.Address.Table);
    if (!Table) {
        HandleError(ErrorOpenTable);
        return nullptr;
    }
    if (Asked.Address.Record.empty() && Asked.Action == otInsert) {
        Table->OpenNew();
        return Table;
    }
    if (Table->Open(Asked.Address.Record)) return Table;
    HandleError(ErrorRecordIDNotFound);
    return nullptr;
}

TZURecordBlocker::TRights TZURecordBlocker::CheckUserRights(TZURecordBlockerObject& Block,
                                                            const TUserTable& Record,
                                                            std::optional<TTableRights>* Known) {
    if (Block.UserName().empty()) return TRights::Granted;
    bool Granted = false;
    const bool Told = Ask(ErrorRightsException, &Block, [&] {
        TSecurityManager& Manager = Security();
        const auto Rights = [&] {
            return Manager.BuildTableRightsFilter(Manager.RefreshUserInfo(Block.UserName()),
                                                  Block.TableName(), RightFor(Block.FRecAction));
        };
        if (Known == nullptr) {
            Granted = Manager.CheckRecordRights(Rights(), Record);
            return;
        }
        if (!*Known) *Known = Rights();
        Granted = Manager.CheckRecordRights(**Known, Record);
    });
    if (!Told) return TRights::Unknown;
    if (Granted) return TRights::Granted;
    HandleError(ErrorNoRights, &Block);
    return TRights::Refused;
}

/// Shows the block that was opened. Null with a last error, or another block, when a call from within the
/// host's own took the record meanwhile.
TZURecordBlocker::TRecordPtr TZURecordBlocker::Finish(TAsked& Asked, TRecordPtr& Block) {
    const std::scoped_lock Guard(*this);
    const auto Ended = [&Block] { return Block->State() == TBlockState::Gone; };
    const auto PutOff = [&Block] { return Block->FTableEntry == nullptr; };
    TBlockSpot Spot;
    TRecordPtr Own;
    if (!Ended() && PutOff() && IsTaken(Asked, Spot, Own)) return Own;
    if (Ended()) {
        HandleError(ErrorRecordNotFound);
        return nullptr;
    }
    if (PutOff()) FLists->Enter(Block, Asked.Address, Spot, Asked.Caller, Block->FSession);
    if (!MayHaveMore(Block->FSession)) return nullptr;
    FLists->Show(*Block);
    return std::move(Block);
}

std::shared_ptr<TZURecordBlockerTableObject> TZURecordBlocker::LockTable(std::u16string_view TableName) {
    ClearLastError();
    TAnyBlockPtr Given;
    Ask(ErrorOpenTable, nullptr, [&] { Given = TakeTable(TableName); });
    return Given;
}

TZURecordBlocker::TAnyBlockPtr TZURecordBlocker::TakeTable(std::u16string_view TableName) {
    const TBlockTaker Caller;
    const TBlockAddress Address = FLists->AddressOf(TableName);
    TPatience Patience;
    const auto Fresh = std::make_shared<TZURecordBlockerTableObject>();
    Fresh->FRecAction = otTable;
    Fresh->FCreateTime = FClock.Wall();
    Fresh->FID = NewBlockID(Fresh->FCreateTime);
    Fresh->FHistory.Add(TBlockEvent::Created, {}, Caller.Stack);

    const std::scoped_lock Guard(*this);
    while (const TBlockTable* const Table = FLists->FindTable(Address)) {
        if (TAnyBlock* const Lock = Table->Lock) {
            if (!SameUnits(Lock->SID(), Caller.SID)) {
                HandleError(ErrorTableLocked, Lock);
                return nullptr;
            }
            AddToHistory(*Lock, TBlockEvent::Text, Caller,
                         u"LockTable use old object TableName: " + std::u16string(TableName));
            return Lock->shared_from_this();
        }
        TAnyBlock& First = Table->FirstBlock();
        if (First.Held()) {
            HandleError(First.FRecAction == otInsert ? ErrorTableHasInsertRecord : ErrorTableHasEditRecord,
                        &First);
            return nullptr;
        }
        if (First.State() == TBlockState::Opening && First.WorkedByThisThread())
            FLists->PutOff(First);
        else if (!Await(First, Patience))
            return nullptr;
    }
    TBlockSession* const Session = FLists->FindSession(Caller.Key);
    if (!MayHaveMore(Session)) return nullptr;
    FLists->Enter(Fresh, Address, {}, Caller, Session);
    const TOpening Opening(*this, *Fresh);
    FLists->Show(*Fresh);
    return Fresh;
}

} // namespace zutools
