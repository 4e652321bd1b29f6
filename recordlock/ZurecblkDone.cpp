// Giving blocks back, with and without writing the record.

#include "host/Dictionary.h"
#include "host/Format.h"
#include "host/StringHelpers.h"
#include "recordlock/BlockLists.h"
#include "recordlock/Caller.h"

#include <utility>

namespace zutools {

namespace {

constexpr std::u16string_view NoDictionaryText = u"Error in InsertDoc function on GetDictionary";
constexpr std::u16string_view NotInsertedText =
    u"Error in InsertDoc function on InsertDocument.\r\nТаблица: %S; Номер клиента: %D";

} // namespace

bool TZURecordBlocker::DoneByObject(TZURecordBlockerTableObject* CurObject, bool CommitChanges, bool AsDoc,
                                    bool KeepInCashe) {
    ClearLastError();
    if (CurObject == nullptr) return true;
    TBlockPtr Gone; // freed without the lock
    const std::scoped_lock Lock(*this);
    if (Holds(CurObject)) return DoneInternal(*CurObject, CommitChanges, true, AsDoc, KeepInCashe, Gone);
    HandleError(ErrorRecordNotFound);
    return false;
}

bool TZURecordBlocker::DoneByID(std::u16string_view IDs, bool CommitChanges, bool CheckForRights, bool AsDoc,
                                bool KeepInCashe) {
    ClearLastError();
    std::vector<TBlockPtr> Gone; // freed without the lock
    const std::scoped_lock Lock(*this);
    std::u16string Item;
    while (KX_GetNextParam(IDs, u",", Item)) {
        const std::u16string_view ID = Trim(Item);
        TBlock* const Block = FLists->FindBlock(ID);
        if (Block == nullptr) {
            HandleError(ErrorRecordNotFound, nullptr, nullptr, u"ID: " + std::u16string(ID));
            return false;
        }
        if (!DoneInternal(*Block, CommitChanges, CheckForRights, AsDoc, KeepInCashe, Gone.emplace_back()))
            return false;
    }
    return true;
}

bool TZURecordBlocker::DoneByTableNameRecordID(std::u16string_view TableName, std::u16string_view RecordID,
                                               bool CommitChanges, bool AsDoc, bool KeepInCashe) {
    ClearLastError();
    TBlockPtr Gone; // freed without the lock
    const std::scoped_lock Lock(*this);
    TBlock* const Block = FLists->FindRecord(TableName, RecordID);
    if (Block == nullptr) {
        HandleError(ErrorRecordNotFound);
        return false;
    }
    // Kept on purpose: each flag counts one place on, so AsDoc asks for the check of rights, KeepInCashe
    // writes as a document, and nothing keeps the block. Scripts rely on it.
    return DoneInternal(*Block, CommitChanges, AsDoc, KeepInCashe, false, Gone);
}

void TZURecordBlocker::DoneBySID(std::u16string_view SID) {
    ClearLastError();
    std::vector<TBlockPtr> Gone; // freed without the lock
    const std::scoped_lock Lock(*this);
    const std::u16string Own(SID); // may be a block's own text
    // The entry goes with its last block.
    while (const TBlockSession* const Session = FLists->FindSession(Own))
        Gone.push_back(RemoveObject(*Session->First));
}

/// `Gone` receives the block when it was given back.
bool TZURecordBlocker::DoneInternal(TBlock& Block, bool CommitChanges, bool CheckForRights, bool AsDoc,
                                    bool KeepInCashe, TBlockPtr& Gone) {
    Gone = Block.FSelf; // the host may come back and drop the block
    Block.AddToHistory(CommitChanges ? TBlockEvent::DoneCommit : TBlockEvent::Done);
    if (CheckForRights && CheckRecordInternal(&Block) > 10) {
        // Kept on purpose: 200 and not 201, so an edit block gives 200, a code without a text, and a delete
        // block the text about editing.
        HandleError(200 + Block.FRecAction, &Block);
        return false;
    }

    bool Refused = false;
    bool Committed = false;
    if (CommitChanges && Block.FRecAction != otTable && static_cast<TZURecordBlockerObject&>(Block).FTable) {
        auto& Record = static_cast<TZURecordBlockerObject&>(Block);
        const TRights Rights = CheckForRights ? CheckUserRights(Record) : TRights::Granted;
        // Nobody said no: the changes stay, to be written when the rights can be told again.
        if (Rights == TRights::Unknown) return false;
        Refused = Rights == TRights::Refused;
        if (!Refused) {
            try {
                Commit(Record, AsDoc);
            } catch (const std::exception& Error) {
                HandleError(ErrorCommitFailed, &Block, &Error);
                return false;
            }
            Committed = true;
        }
    }
    if (!Refused) HandleError(ErrorNone, Committed ? &Block : nullptr);
    // Kept on purpose: a block whose commit was refused for lack of rights is given back too; its changes
    // could never be written.
    if (!KeepInCashe && Holds(&Block)) Gone = RemoveObject(Block);
    return !Refused;
}

void TZURecordBlocker::Commit(TZURecordBlockerObject& Block, bool AsDoc) {
    TUserTable& Table = *Block.FTable;
    if (Block.FRecAction == otEdit) {
        if (AsDoc)
            Dictionary().UpdateDoc(Table);
        else
            Table.Post();
        return;
    }
    if (Block.FRecAction == otDelete) return Table.Delete();

    if (AsDoc) {
        const std::int64_t Number = Dictionary().InsertDoc(Table);
        if (Number == TDictionaryService::NoDictionary) throw Exception(std::u16string(NoDictionaryText));
        if (Number == TDictionaryService::NotInserted)
            throw Exception(Format(NotInsertedText, {Block.TableName(), Dictionary().ClientNumber()}));
    } else {
        Table.Insert();
    }
    try {
        Block.FRecordID = Table.RecordID();
    } catch (const std::exception& Error) {
        // The record is written, and a failure told now would have it written twice.
        Logger().Log(TLogLevel::Warning, u"The key of a new record of " + Block.TableName() +
                                             u" cannot be told: " + MessageOf(Error));
    }
}

/// Takes the block out of all lists. The result is freed without the lock where that can be had.
std::shared_ptr<TZURecordBlockerTableObject> TZURecordBlocker::RemoveObject(TBlock& Block) {
    TBlockPtr Gone = FLists->Remove(Block);
    Gone->RetireForScripts();
    Gone->FReleased.store(true, std::memory_order_release);
    Gone->FBlocker.store(nullptr, std::memory_order_release);
    return Gone;
}

bool TZURecordBlocker::UnLockTableInternal(TBlock* Block, TBlockPtr& Gone) {
    if (!Holds(Block)) {
        HandleError(ErrorRecordNotFound);
        return false;
    }
    Block->AddToHistory(TBlockEvent::UnLockTable);
    if (CheckRecordInternal(Block) > 10 || Block->FRecAction != otTable) return false;
    Gone = RemoveObject(*Block);
    return true;
}

bool TZURecordBlocker::UnLockTableByObject(TZURecordBlockerTableObject* CurObject) {
    ClearLastError();
    TBlockPtr Gone; // freed without the lock
    const std::scoped_lock Lock(*this);
    return UnLockTableInternal(CurObject, Gone);
}

bool TZURecordBlocker::UnLockTableByTableName(std::u16string_view TableName) {
    ClearLastError();
    TBlockPtr Gone; // freed without the lock
    const std::scoped_lock Lock(*this);
    const TBlockTable* const Table = FLists->FindTable(TableName);
    return UnLockTableInternal(Table == nullptr ? nullptr : Table->Lock, Gone);
}

} // namespace zutools
