// The record blocker: which session has which record for editing, deletion or insertion, and which table
// locked whole. docs/record-blocking.md explains it with examples.
//
//     auto Block = ZURecordBlocker->GetRecord(u"Orders", u"17", otEdit);
//     if (!Block) return ShowReason();           // the reason stands in the last-error object of this thread
//     Block->Table().SetField(u"Customer", u"Lee");
//     ZURecordBlocker->DoneByObject(Block.get(), true, false, false); // write it and give it back
//
// One blocker serves all threads of the process. Its lock guards the lists only: while the application opens,
// checks or writes a record, only calls that need that record's outcome wait for it, and no longer than
// WaitLimit (BlockState.h says who waits for what). Whoever holds Lock() himself sees lists that stand still:
// his own calls keep it while the application works, and are refused with 501 where they would have to wait.
//
// Refusals and failures of the host are never raised: operations give false or null and leave the reason in a
// last-error object of the calling thread, under LastErrorObjectName in ThreadObjects(). The next operation
// on that thread removes it. Only std::bad_alloc may come out; the lists are whole then too.
//
// Blocks are shared: a block may be released by another session's thread or by an administrator while
// somebody still holds it. Its memory then stays, its fields read as they were, operations with it give "not
// found" and script handles to it are dead.

#pragma once

#include "core/NameMatch.h"
#include "host/Exception.h"
#include "host/Locks.h"
#include "host/ScriptObjects.h"
#include "host/Services.h"
#include "host/UserTables.h"
#include "platform/Clock.h"
#include "recordlock/BlockHistory.h"
#include "recordlock/BlockID.h"
#include "recordlock/BlockState.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace zutools {

struct TTableRights;
class TBlockCaller;
class TZURecordBlocker;
class TZURecordBlockerObject;
struct TBlockAddress;
struct TBlockLists;
struct TBlockSession;
struct TBlockSpot;
struct TBlockTable;

/// What a block is for. The ordinals are published and part of the codes below.
enum TZUBlockerObjectType : std::uint8_t { otEdit = 0, otDelete = 1, otInsert = 2, otTable = 3 };

/// "Edit", "Delete", "Insert", "LockTable"; "Unknown" for any other value.
[[nodiscard]] std::u16string_view ObjectTypeToStr(TZUBlockerObjectType ObjectType);

/// Codes of the last-error object.
enum TZUBlockerErrorCode : std::int32_t {
    ErrorNone = 0,                   // left by a successful Done
    ErrorTableLocked = 101,          // carries the table lock
    ErrorTableHasEditRecord = 102,   // carries the first such block in order of record ID
    ErrorTableHasInsertRecord = 103, // carries the first such block in order of ID
    ErrorEditInOtherSession = 201,   // carries the block, as do the three below
    ErrorDeleteInOtherSession = 202,
    ErrorInsertInOtherSession = 203, // in the table of messages only
    ErrorEditInThisSession = 211,
    ErrorDeleteInThisSession = 212,
    ErrorRecordNotFound = 220,
    ErrorOpenTable = 301, // the message is the host's when it raised
    ErrorRecordIDNotFound = 302,
    ErrorCommitFailed = 303,    // the message is the host's; the block stays and nothing is lost
    ErrorRightsException = 401, // the message is the host's
    ErrorNoRights = 402,
    ErrorStillBusy = 501,     // another call is at work on the record; carries its block
    ErrorTooManyBlocks = 502, // the session has MaxBlocks already
};

/// The text for a code; "Unknown error code: " and the number for one without a text, 0 included.
[[nodiscard]] std::u16string BlockerErrorText(std::int32_t Code);

/// The name of the last-error object in ThreadObjects().
inline constexpr std::u16string_view LastErrorObjectName = u"ZURecordBlockerLastErrorObject";

/// Whose a block is; shared by all blocks of a session.
struct TZUBlockOwner {
    std::u16string SID;
    std::u16string UserName;
};

/// A block; of this very class for a table lock. Also the class of last-error objects. Any thread may read
/// it.
class TZURecordBlockerTableObject : public TIObject,
                                    public std::enable_shared_from_this<TZURecordBlockerTableObject> {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    TZURecordBlockerTableObject();
    ~TZURecordBlockerTableObject() override = default;

    // Published under these names. They do not change while the block lives.

    /// 32 hexadecimal digits in capitals; empty when there is none.
    [[nodiscard]] std::u16string ID() const;
    /// The identifier of the owner's session.
    [[nodiscard]] const std::u16string& SID() const;
    [[nodiscard]] const std::u16string& UserName() const;
    /// As spelled by the caller that took the block.
    [[nodiscard]] const std::u16string& TableName() const;
    [[nodiscard]] TZUBlockerObjectType RecAction() const { return FRecAction; }
    /// Local time.
    [[nodiscard]] TDateTime CreateTime() const;
    /// Of last-error objects; empty and 0 in blocks.
    [[nodiscard]] std::u16string LastErrorMessage() const;
    [[nodiscard]] std::int32_t LastErrorCode() const { return FlastErrorCode; }

    /// Copies the fields, the history included. Not for blocks that a blocker holds: for copies of them.
    virtual void Assign(const TZURecordBlockerTableObject& Source);
    /// Appends an entry: the text, a line break, and the call stack of the script that runs on this thread
    /// (empty when none does, or when it cannot be told). The newest 100 entries are kept, each cut at 4096
    /// UTF-16 units. The history of a released block is closed: nothing happens.
    void AddToHistroy(std::u16string_view Text);
    /// The entries, oldest first.
    [[nodiscard]] std::vector<std::u16string> ActionHistory() const;

    /// False once the block was released, and for objects that never were in a blocker.
    [[nodiscard]] bool Held() const { return Visible(FState.load(std::memory_order_acquire)); }
    [[nodiscard]] std::shared_ptr<const void> KeepAlive() override { return weak_from_this().lock(); }

protected:
    /// What a block tells of itself in a last-error object: everything but the history, which may be long
    /// and is not for the session that was refused.
    virtual void CopyFields(const TZURecordBlockerTableObject& Source);
    /// The record that the entry about the block's creation names.
    [[nodiscard]] virtual std::u16string_view HistoryRecordID() const { return {}; }
    /// For scripts the block is gone.
    virtual void RetireForScripts() { Retire(); }

    mutable std::mutex FMutex; // guards what changes in a held block: the history, an insert's record ID

private:
    friend class TZURecordBlocker;
    friend struct TBlockLists;

    [[nodiscard]] TBlockState State() const { return FState.load(std::memory_order_relaxed); }
    [[nodiscard]] bool WorkedByThisThread() const { return FWorker == std::this_thread::get_id(); }
    [[nodiscard]] std::vector<std::u16string> HistoryTexts() const;

    // Set once, before anybody else knows the block.
    TBlockID FID;
    TZUBlockerObjectType FRecAction = otEdit;
    std::int32_t FlastErrorCode = 0;
    bool FMessageByCode = false; // the message is the text for the code, made when it is read
    std::shared_ptr<const std::u16string> FTableName;
    std::shared_ptr<const TZUBlockOwner> FOwner;
    std::shared_ptr<const std::u16string> FLastErrorMessage;
    std::chrono::system_clock::time_point FCreateTime{};
    const TBlockLists* FLists = nullptr; // those that it entered, for telling blockers apart

    TBlockHistory FHistory;

    // Changed under the blocker's lock only.
    std::atomic<TBlockState> FState{TBlockState::Loose};
    std::thread::id FWorker; // whose host call is at work, while one is
    TBlockWaiters FWaiters;
    TBlockSession* FSession = nullptr;
    TBlockTable* FTableEntry = nullptr;
    std::shared_ptr<TZURecordBlockerTableObject> FNextOfSession; // a session owns its blocks in a chain
    TZURecordBlockerTableObject* FPreviousOfSession = nullptr;
};

/// The fields of a block's record for scripts. Only the session that has the block may set them.
class TBlockFields : public TRecordInterface {
public:
    TBlockFields(TZURecordBlockerObject& Block, TUserTable& Table)
        : TRecordInterface(Table)
        , FBlock(Block) {}
    /// @throws EZURecordBlockerInterface on a thread of another session.
    bool SetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount) override;
    [[nodiscard]] std::shared_ptr<const void> KeepAlive() override;

private:
    TZURecordBlockerObject& FBlock;
};

/// A block on a record.
class TZURecordBlockerObject : public TZURecordBlockerTableObject {
public:
    TZURecordBlockerObject();

    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    /// The key that the record was asked for with; of an insert, once committed, the new record's. Published.
    [[nodiscard]] std::u16string RecordID() const;
    /// The record, for C++ callers; a last-error object has none. Lives as long as the block's memory. Whose
    /// block it is, is theirs to check before they change it.
    [[nodiscard]] bool HasTable() const { return FTable != nullptr; }
    [[nodiscard]] TUserTable& Table() const { return *FTable; }
    /// The record's fields for scripts, or null. Published.
    [[nodiscard]] TRecordInterface* RecordInterface() const { return FFields ? &*FFields : nullptr; }

    void Assign(const TZURecordBlockerTableObject& Source) override;

    /// Names that nobody else knows are fields of the record.
    bool GetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount,
                             TKXVariant& Result) override;
    bool SetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount) override;

protected:
    void CopyFields(const TZURecordBlockerTableObject& Source) override;
    [[nodiscard]] std::u16string_view HistoryRecordID() const override { return FRecordID; }
    void RetireForScripts() override;

private:
    friend class TZURecordBlocker;
    friend struct TBlockLists;

    std::unique_ptr<TUserTable> FTable;          // set once
    mutable std::optional<TBlockFields> FFields; // goes with it
    TNameMatch::TOrderKey FOrderKey;             // of the record ID, for edit and delete; set once
    std::u16string FRecordID;                    // of an insert: guarded by FMutex once the block is held
};

/// A wrong call of the script interface.
class EZURecordBlockerInterface : public Exception {
public:
    using Exception::Exception;
};

/// What scripts see of a blocker.
class TZURecordBlockerInterface : public TIRegObject {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    explicit TZURecordBlockerInterface(TZURecordBlocker& Owner)
        : FOwnerRecordBlocker(Owner) {}
    [[nodiscard]] TZURecordBlocker& OwnerRecordBlocker() const { return FOwnerRecordBlocker; }

private:
    TZURecordBlocker& FOwnerRecordBlocker;
};

/// One block as administration pages show it: a copy of the moment.
struct TZUBlockInfo {
    std::u16string ID;
    std::u16string TableName;
    std::u16string RecordID; // empty for a table lock
    std::u16string SID;      // may be the key of a signed-in session: not for pages and logs
    std::u16string UserName;
    TZUBlockerObjectType RecAction = otEdit;
    TDateTime CreateTime;
    std::vector<std::u16string> History; // oldest first
};

class TZURecordBlocker : public TKXThreadSafetyClass {
public:
    static const TClassInfo& StaticClass();
    [[nodiscard]] const TClassInfo& ClassInfo() const override;

    /// Null members of `Host` mean those of Services() at the time of each call. `Clock` outlives the
    /// blocker.
    explicit TZURecordBlocker(TServices Host = {}, const platform::TClock& Clock = platform::SystemClock());
    /// Releases every block. No other thread may use the blocker any more.
    ~TZURecordBlocker() override;

    /// How long a call waits for another one's work on the record that it asks for, in all; 10 seconds as
    /// made. None at all is as good as 0. Any thread may set it at any time.
    void SetWaitLimit(std::chrono::milliseconds Limit) { FWaitLimit = Limit; }
    [[nodiscard]] std::chrono::milliseconds WaitLimit() const { return FWaitLimit; }
    /// How many blocks one session may have, table locks included; 1,000 as made. Calls without a session
    /// count as one session. Any thread may set it at any time; blocks beyond a lower one stay.
    void SetMaxBlocks(std::size_t Blocks) { FMaxBlocks = Blocks; }
    [[nodiscard]] std::size_t MaxBlocks() const { return FMaxBlocks; }

    /// Takes a record. A record that this session has for the same action already gives the block again.
    /// A `RecordID` that is not empty must exist: an insert then starts from a copy of it. An insert with an
    /// empty one starts from an empty record.
    /// Waits for another call that is opening or writing the same record.
    /// @returns null with 101, 201, 202, 211, 212, 301, 302, 401, 402, 501, 502, and with 220 for an action
    /// that is none of the three, or when the session ended meanwhile.
    std::shared_ptr<TZURecordBlockerObject>
    GetRecord(std::u16string_view TableName, std::u16string_view RecordID, TZUBlockerObjectType ActionType);
    /// A living block, a table lock included, whoever has it; null with 220. Identifiers are 32 hexadecimal
    /// digits in either case.
    std::shared_ptr<TZURecordBlockerTableObject> GetRecordByID(std::u16string_view ID);

    // The state of a block: 0 when there is none; 1 to 4 (edit, delete, insert, table) when this session has
    // it, 11 to 14 when another one has. Looking adds to the block's history; there is no last error.

    std::int32_t CheckRecordByObject(TZURecordBlockerTableObject* CurObject);
    std::int32_t CheckRecordByID(std::u16string_view ID);
    /// Of the edit or delete block on the record.
    std::int32_t CheckRecordByTableNameRecordID(std::u16string_view TableName, std::u16string_view RecordID);

    // Give blocks back, after writing the record when `CommitChanges` (as a document when `AsDoc`). A block
    // stays held when `KeepInCashe`. Success leaves a last-error object with code 0, which after a commit
    // carries the block and with it the new record's ID. False with 200 + RecAction (another session has it;
    // with CheckForRights only), 220, 303 (writing failed), 401 (rights could not be told), 501 (another call
    // is writing it) - in these the block stays - and with 402 (no right to write), after which the block is
    // given back without a commit. A block that is released before its write begins is not written: 220. When
    // one is released while it is written, the write goes on: a success when it succeeds, else 220.

    /// CheckForRights is true. No object: true at once. A block that was released already: 220.
    bool DoneByObject(TZURecordBlockerTableObject* CurObject, bool CommitChanges, bool AsDoc,
                      bool KeepInCashe);
    /// One ID or several with commas between; the first failure ends the list. An unknown one is 220, with
    /// the ID in the message. To others the blocks of a list go all at once, when the call ends.
    bool DoneByID(std::u16string_view IDs, bool CommitChanges, bool CheckForRights, bool AsDoc,
                  bool KeepInCashe);
    /// The edit or delete block on a record. Its flags count one place on: CheckForRights is `AsDoc`, AsDoc
    /// is `KeepInCashe`, and the block is always given back.
    bool DoneByTableNameRecordID(std::u16string_view TableName, std::u16string_view RecordID,
                                 bool CommitChanges, bool AsDoc, bool KeepInCashe);
    /// Gives back every block of a session from the last one taken to the first, without commit. Costs what
    /// the session has, not what others have, and waits for nobody: what is being opened is not given, what
    /// is being written is written to the end.
    void DoneBySID(std::u16string_view SID);

    /// Locks a table whole; this session's own lock is given again. Waits for records of the table that are
    /// being opened. Null with 101, 102, 103, 501, 502.
    std::shared_ptr<TZURecordBlockerTableObject> LockTable(std::u16string_view TableName);
    /// False, with the lock in place, when another session has it or the object is no table lock; 220 for no
    /// object and a released one.
    bool UnLockTableByObject(TZURecordBlockerTableObject* CurObject);
    /// 220 when the table is not locked.
    bool UnLockTableByTableName(std::u16string_view TableName);

    /// Made at the first call, under the lock; lives as long as the blocker.
    TZURecordBlockerInterface& GetInterface();

    /// The object "Session" of the calling thread, or null.
    [[nodiscard]] TObject* CetCurrentSession() const;
    /// Its identifier; empty without a session.
    [[nodiscard]] std::u16string CurrentSID() const;

    /// Leaves a last-error object on the calling thread: the fields of `Object` if given, the code, the
    /// message of `Error` or else the text for the code, and " AddInfo: " with `AddInfo` unless it is empty.
    void HandleError(std::int32_t Code, const TZURecordBlockerTableObject* Object = nullptr,
                     const std::exception* Error = nullptr, std::u16string_view AddInfo = {});
    /// Removes it.
    void ClearLastError();
    /// The calling thread's last-error object, until its next operation; null when there is none.
    [[nodiscard]] TZURecordBlockerObject* LastError() const;

    /// Published: the living blocks in order of ID; null out of range.
    [[nodiscard]] std::shared_ptr<TZURecordBlockerTableObject> Objects(int Index) const;
    [[nodiscard]] int Count() const;

    // For administration: on any thread, without a session, without history entries or last errors. Whether
    // the caller may ask is the caller's to check.

    /// At most `Limit` blocks after `AfterID` (empty: from the start) in order of ID. Blocks that come and go
    /// between pages, or while a long page is made, may be missed. The lock is held for a few dozen at a
    /// time.
    [[nodiscard]] std::vector<TZUBlockInfo> ListBlocks(std::u16string_view AfterID, std::size_t Limit) const;
    /// Drops a block whoever has it, without commit, and logs it with the name `By`. False for an unknown ID.
    /// Waits for nobody: a block that is being written goes at once, its write goes on to the end.
    bool ReleaseBlock(std::u16string_view ID, std::u16string_view By);
    [[nodiscard]] std::size_t BlockCount() const;
    /// Whether a session has any, so that DoneBySID has something to do. One look into a table.
    [[nodiscard]] bool HasBlocks(std::u16string_view SID) const;
    /// Who has a record for editing or deletion, or else its table locked; without the history.
    [[nodiscard]] std::optional<TZUBlockInfo> FindHolder(std::u16string_view TableName,
                                                         std::u16string_view RecordID) const;

private:
    enum class TRights : std::uint8_t { Granted, Refused, Unknown };
    using TAnyBlock = TZURecordBlockerTableObject;
    using TAnyBlockPtr = std::shared_ptr<TAnyBlock>;
    using TRecordPtr = std::shared_ptr<TZURecordBlockerObject>;
    struct TAsked;
    class TDone;
    class TOpening;
    /// What one call waits for: until when, and blocks whose memory goes after the lock was given back.
    struct TPatience {
        std::optional<TBlockWaiters::TMoment> Until;
        std::vector<TAnyBlockPtr> Kept;
    };
    struct TDoneFlags {
        bool CommitChanges = false;
        bool CheckForRights = false;
        bool AsDoc = false;
        bool KeepInCashe = false;
    };

    [[nodiscard]] TApplicationManager& ApplicationManager() const;
    [[nodiscard]] TSecurityManager& Security() const;
    [[nodiscard]] TDictionaryService& Dictionary() const;
    [[nodiscard]] TLogger& Logger() const;

    template <class TCall>
    bool Ask(std::int32_t Code, const TAnyBlock* Block, const TCall& Call);
    [[nodiscard]] bool MayWaitFor(const TAnyBlock& Block) const;
    [[nodiscard]] bool Await(TAnyBlock& Block, TPatience& Patience);
    [[nodiscard]] bool MayHaveMore(const TBlockSession* Session);
    static void AddToHistory(TAnyBlock& Block, TBlockEvent Event, const TBlockCaller& Caller,
                             std::u16string_view Text = {});

    [[nodiscard]] TRecordPtr Take(TAsked& Asked);
    [[nodiscard]] bool Begin(TAsked& Asked, const TRecordPtr& Block, TRecordPtr& Own);
    [[nodiscard]] bool IsTaken(TAsked& Asked, TBlockSpot& Spot, TRecordPtr& Own);
    [[nodiscard]] TRecordPtr Finish(TAsked& Asked, TRecordPtr& Block);
    [[nodiscard]] std::unique_ptr<TUserTable> OpenTable(const TAsked& Asked);
    /// `Known` keeps what the security manager said of the user, to be asked about the record once more.
    [[nodiscard]] TRights CheckUserRights(TZURecordBlockerObject& Block, const TUserTable& Record,
                                          std::optional<TTableRights>* Known = nullptr);
    [[nodiscard]] TAnyBlockPtr TakeTable(std::u16string_view TableName);

    [[nodiscard]] std::int32_t CheckRecordInternal(TAnyBlock* Block, const TBlockCaller& Caller);
    template <class TFind>
    bool DoneInternal(const TDoneFlags& Flags, std::size_t Count, const TFind& Find,
                      const std::u16string* IDs = nullptr);
    template <class TFind>
    bool UnLockTableInternal(const TFind& Find);
    [[nodiscard]] bool Has(const TAnyBlock* Block) const;
    [[nodiscard]] TZUBlockInfo InfoOf(const TAnyBlock& Block) const;
    bool CopySlice(TBlockID& After, std::size_t Most, std::vector<TZUBlockInfo>& Slice) const;

    // Read without the lock, so not on the line of memory that everybody who takes the lock writes to.
    alignas(64) const TServices FHost;
    const platform::TClock& FClock;
    std::atomic<std::chrono::milliseconds> FWaitLimit{std::chrono::seconds(10)};
    std::atomic<std::size_t> FMaxBlocks{1000};
    const std::unique_ptr<TBlockLists> FLists; // guarded by the lock
    std::unique_ptr<TZURecordBlockerInterface> IRegObject;
    std::atomic<TZURecordBlockerInterface*> FInterface{nullptr}; // the same, once it is made
};

/// Calls the host without the lock. False when it raises whatever it may be: then the last error has the
/// code, the block and the message.
template <class TCall>
bool TZURecordBlocker::Ask(std::int32_t Code, const TAnyBlock* Block, const TCall& Call) {
    try {
        Call();
        return true;
    } catch (const std::exception& Error) {
        HandleError(Code, Block, &Error);
    } catch (...) {
        const Exception Error(u"Неизвестная ошибка приложения");
        HandleError(Code, Block, &Error);
    }
    return false;
}

/// The blocker of the process; made and freed by the package's start and stop.
extern std::unique_ptr<TZURecordBlocker> ZURecordBlocker;

/// Makes the blocker's interface and the blocks known to scripts; the package's start and stop call these.
void RegisterZurecblk(TScriptRegistry& Registry);
void UnregisterZurecblk(TScriptRegistry& Registry);

} // namespace zutools
