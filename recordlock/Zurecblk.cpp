#include "recordlock/Zurecblk.h"

#include "host/Dictionary.h"
#include "host/Security.h"
#include "host/Session.h"
#include "host/StringHelpers.h"
#include "host/ThreadContainer.h"
#include "recordlock/BlockLists.h"
#include "recordlock/Caller.h"

#include <utility>

namespace zutools {

namespace {

struct TErrorText {
    std::int32_t Code;
    std::u16string_view Text;
};

constexpr TErrorText ErrorTexts[] = {
    {ErrorTableLocked, u"Таблица залочена"},
    {ErrorTableHasEditRecord, u"В таблице редактируется запись"},
    {ErrorTableHasInsertRecord, u"В таблицу вставляется запись"},
    {ErrorEditInOtherSession, u"Запись редактируется в другой сессии"},
    {ErrorDeleteInOtherSession, u"Запись удаляется в другой сессии"},
    {ErrorInsertInOtherSession, u"Запись вставляется в другой сессии"},
    {ErrorEditInThisSession, u"Запись уже редактируется в текущей сессии"},
    {ErrorDeleteInThisSession, u"Запись уже удаляется в текущей сессии"},
    {ErrorRecordNotFound, u"По указаным параметрам запись не найдена"},
    {ErrorOpenTable, u"Ошибка при открытии таблицы"},
    {ErrorRecordIDNotFound, u"Не найдена запись по идентификатору"},
    {ErrorRightsException, u"Исключительная ситуация при проверке прав пользователя"},
    {ErrorNoRights, u"У пользователя нет прав на совершение операции"},
};

TRecordRight RightFor(TZUBlockerObjectType Action) {
    return Action == otEdit     ? TRecordRight::Edit
           : Action == otDelete ? TRecordRight::Delete
                                : TRecordRight::Insert;
}

/// An object's text property, read through its class information.
std::u16string TextProperty(const TObject& Object, std::u16string_view Name) {
    const TPropInfo* const Property = Object.ClassInfo().FindProperty(Name);
    return Property == nullptr ? std::u16string() : Property->Get(Object).AsString();
}

} // namespace

std::unique_ptr<TZURecordBlocker> ZURecordBlocker;

std::u16string BlockerErrorText(std::int32_t Code) {
    for (const TErrorText& Each : ErrorTexts)
        if (Each.Code == Code) return std::u16string(Each.Text);
    return u"Unknown error code: " + TKXVariant(int{Code}).AsString();
}

// ---- whose call it is

TBlockCaller::TBlockCaller() {
    const TObject* const Session = ThreadObjects().Get(SessionObjectName);
    if (Session == nullptr) return;
    if (&Session->ClassInfo() == &TSession::StaticClass()) {
        SID = static_cast<const TSession*>(Session)->SID;
        UserName = static_cast<const TSession*>(Session)->USR;
        return;
    }
    FSID = TextProperty(*Session, u"SID");
    FUserName = TextProperty(*Session, u"USR");
    SID = FSID;
    UserName = FUserName;
}

TObject* TZURecordBlocker::CetCurrentSession() const {
    return ThreadObjects().Get(SessionObjectName);
}

std::u16string TZURecordBlocker::CurrentSID() const {
    return std::u16string(TBlockCaller().SID);
}

// ---- life

TZURecordBlocker::TZURecordBlocker(TServices Host, const platform::TClock& Clock)
    : FHost(std::move(Host))
    , FClock(Clock)
    , FLists(std::make_unique<TBlockLists>()) {}

TZURecordBlocker::~TZURecordBlocker() {
    while (!FLists->Blocks.Empty()) (void)RemoveObject(*FLists->Blocks.First().Block);
}

TApplicationManager& TZURecordBlocker::ApplicationManager() const {
    return FHost.ApplicationManager ? *FHost.ApplicationManager : *Services().ApplicationManager;
}
TSecurityManager& TZURecordBlocker::Security() const {
    return FHost.Security ? *FHost.Security : *Services().Security;
}
TDictionaryService& TZURecordBlocker::Dictionary() const {
    return FHost.Dictionary ? *FHost.Dictionary : *Services().Dictionary;
}
TLogger& TZURecordBlocker::Logger() const {
    return FHost.Logger ? *FHost.Logger : *Services().Logger;
}

TZURecordBlockerInterface& TZURecordBlocker::GetInterface() {
    const std::scoped_lock Lock(*this);
    if (!IRegObject) {
        IRegObject = std::make_unique<TZURecordBlockerInterface>(*this);
        RegisterInterfaceObject(*IRegObject);
    }
    return *IRegObject;
}

// ---- last error

void TZURecordBlocker::ClearLastError() {
    ThreadObjects().Remove(LastErrorObjectName);
}

TZURecordBlockerObject* TZURecordBlocker::LastError() const {
    return ObjectCast<TZURecordBlockerObject>(ThreadObjects().Get(LastErrorObjectName));
}

void TZURecordBlocker::HandleError(std::int32_t Code, const TZURecordBlockerTableObject* Object,
                                   const std::exception* Error, std::u16string_view AddInfo) {
    auto Left = std::make_unique<TZURecordBlockerObject>();
    if (Object != nullptr) Left->CopyFields(*Object);
    Left->FlastErrorCode = Code;
    Left->FMessageByCode = Error == nullptr && AddInfo.empty();
    if (!Left->FMessageByCode) {
        std::u16string Message = Error != nullptr ? MessageOf(*Error) : BlockerErrorText(Code);
        if (!AddInfo.empty()) Message.append(u" AddInfo: ").append(AddInfo);
        Left->FLastErrorMessage = std::make_shared<const std::u16string>(std::move(Message));
    }
    ThreadObjects().Add(LastErrorObjectName, std::move(Left));
}

// ---- taking

std::shared_ptr<TZURecordBlockerObject> TZURecordBlocker::GetRecord(std::u16string_view TableName,
                                                                    std::u16string_view RecordID,
                                                                    TZUBlockerObjectType ActionType) {
    ClearLastError();
    if (ActionType > otInsert) {
        HandleError(ErrorRecordNotFound);
        return nullptr;
    }
    TBlockPtr Refused; // freed without the lock
    const std::scoped_lock Lock(*this);
    TRecordPtr Block;
    TBlockSpot Spot = FLists->SpotOf(TableName, RecordID);
    if (FindTaken(Spot, TableName, RecordID, ActionType, Block)) return Block;

    const std::uint64_t Before = FLists->Changes;
    std::unique_ptr<TUserTable> Table = OpenTable(TableName, RecordID, ActionType);
    if (!Table) return nullptr;
    // The host may have come back to the blocker on this very thread.
    if (FLists->Changes != Before) {
        Spot = FLists->SpotOf(TableName, RecordID);
        if (FindTaken(Spot, TableName, RecordID, ActionType, Block)) return Block;
    }

    Block = std::make_shared<TZURecordBlockerObject>();
    Block->FTable = std::move(Table);
    Block->FRecordID = RecordID;
    FillObjectParams(Block, Spot, TableName, ActionType);
    if (ActionType != otInsert && CheckUserRights(*Block) != TRights::Granted) {
        Refused = RemoveObject(*Block);
        return nullptr;
    }
    if (ActionType != otInsert) {
        Block->AddToHistory(TBlockEvent::Created);
    } else { // its record ID will change
        Block->AddToHistory(TBlockEvent::Text, u"GetRecord create new object TableName: " +
                                                   std::u16string(TableName) + u" RecordID: " +
                                                   Block->FRecordID + u" ActionType: Insert");
    }
    return Block;
}

/// True when the lists answer already: with `Own`, or with null and a last error.
bool TZURecordBlocker::FindTaken(const TBlockSpot& Spot, std::u16string_view TableName,
                                 std::u16string_view RecordID, TZUBlockerObjectType ActionType,
                                 TRecordPtr& Own) {
    const TBlockTable* const Table = Spot.Table;
    if (Table == nullptr) return false;
    if (Table->Lock != nullptr) {
        HandleError(ErrorTableLocked, Table->Lock);
        return true;
    }
    if (ActionType == otInsert) return false;
    TZURecordBlockerObject* const Block = TBlockLists::RecordAt(Spot);
    if (Block == nullptr) return false;
    if (!SameUnits(Block->SID(), TBlockCaller().SID)) {
        HandleError(Block->FRecAction == otEdit ? ErrorEditInOtherSession : ErrorDeleteInOtherSession, Block);
        return true;
    }
    if (Block->FRecAction != ActionType) {
        HandleError(Block->FRecAction == otEdit ? ErrorEditInThisSession : ErrorDeleteInThisSession, Block);
        return true;
    }
    // Kept on purpose: no blank before "ActionType", unlike in the entry about a new block; logs are searched
    // for both.
    Block->AddToHistory(TBlockEvent::Text, u"GetRecord use old object TableName: " +
                                               std::u16string(TableName) + u" RecordID: " +
                                               std::u16string(RecordID) + u"ActionType: " +
                                               std::u16string(ObjectTypeToStr(ActionType)));
    Own = std::static_pointer_cast<TZURecordBlockerObject>(Block->FSelf);
    return true;
}

std::unique_ptr<TUserTable> TZURecordBlocker::OpenTable(std::u16string_view TableName,
                                                        std::u16string_view RecordID,
                                                        TZUBlockerObjectType ActionType) {
    try {
        std::unique_ptr<TUserTable> Table = ApplicationManager().GetTable(TableName);
        if (!Table) {
            HandleError(ErrorOpenTable);
            return nullptr;
        }
        if (RecordID.empty() && ActionType == otInsert) {
            Table->OpenNew();
            return Table;
        }
        if (Table->Open(RecordID)) return Table;
        HandleError(ErrorRecordIDNotFound);
    } catch (const std::exception& Error) {
        HandleError(ErrorOpenTable, nullptr, &Error);
    }
    return nullptr;
}

/// Names, owner and identifier; the block is held from here on.
void TZURecordBlocker::FillObjectParams(const TBlockPtr& Block, const TBlockSpot& Spot,
                                        std::u16string_view TableName, TZUBlockerObjectType ActionType) {
    const TBlockCaller Caller;
    Block->FRecAction = ActionType;
    Block->FCreateTime = FClock.Wall();
    FLists->Enter(Block, Spot, TableName, Caller.SID, Caller.UserName);
    Block->FBlocker.store(this, std::memory_order_release);
}

TZURecordBlocker::TRights TZURecordBlocker::CheckUserRights(TZURecordBlockerObject& Block) {
    if (Block.UserName().empty() || !Block.FTable) return TRights::Granted;
    try {
        TSecurityManager& Manager = Security();
        const TTableRights Rights = Manager.BuildTableRightsFilter(
            Manager.RefreshUserInfo(Block.UserName()), Block.TableName(), RightFor(Block.FRecAction));
        if (Manager.CheckRecordRights(Rights, *Block.FTable)) return TRights::Granted;
    } catch (const std::exception& Error) {
        HandleError(ErrorRightsException, &Block, &Error);
        return TRights::Unknown;
    }
    HandleError(ErrorNoRights, &Block);
    return TRights::Refused;
}

std::shared_ptr<TZURecordBlockerTableObject> TZURecordBlocker::GetRecordByID(std::u16string_view ID) {
    ClearLastError();
    const std::scoped_lock Lock(*this);
    TBlock* const Block = FLists->FindBlock(ID);
    if (Block != nullptr) return Block->FSelf;
    HandleError(ErrorRecordNotFound);
    return nullptr;
}

std::shared_ptr<TZURecordBlockerTableObject> TZURecordBlocker::LockTable(std::u16string_view TableName) {
    ClearLastError();
    const std::scoped_lock Lock(*this);
    const TBlockSpot Spot = FLists->SpotOf(TableName);
    if (const TBlockTable* const Table = Spot.Table) {
        if (TBlock* const Held = Table->Lock) {
            if (!SameUnits(Held->SID(), TBlockCaller().SID)) {
                HandleError(ErrorTableLocked, Held);
                return nullptr;
            }
            Held->AddToHistory(TBlockEvent::Text,
                               u"LockTable use old object TableName: " + std::u16string(TableName));
            return Held->FSelf;
        }
        if (!Table->Records.Empty())
            HandleError(ErrorTableHasEditRecord, Table->Records.First().Item);
        else
            HandleError(ErrorTableHasInsertRecord, Table->Inserts.First().Block);
        return nullptr;
    }
    auto Block = std::make_shared<TZURecordBlockerTableObject>();
    FillObjectParams(Block, Spot, TableName, otTable);
    Block->AddToHistory(TBlockEvent::Created);
    return Block;
}

// ---- looking

std::int32_t TZURecordBlocker::CheckRecordInternal(TBlock* Block) {
    if (!Holds(Block)) return 0;
    Block->AddToHistory(TBlockEvent::Checked);
    const std::int32_t State = Block->FRecAction + 1;
    return SameUnits(Block->SID(), TBlockCaller().SID) ? State : State + 10;
}

std::int32_t TZURecordBlocker::CheckRecordByObject(TZURecordBlockerTableObject* CurObject) {
    ClearLastError();
    const std::scoped_lock Lock(*this);
    return CheckRecordInternal(CurObject);
}

std::int32_t TZURecordBlocker::CheckRecordByID(std::u16string_view ID) {
    ClearLastError();
    const std::scoped_lock Lock(*this);
    return CheckRecordInternal(FLists->FindBlock(ID));
}

std::int32_t TZURecordBlocker::CheckRecordByTableNameRecordID(std::u16string_view TableName,
                                                              std::u16string_view RecordID) {
    ClearLastError();
    const std::scoped_lock Lock(*this);
    return CheckRecordInternal(FLists->FindRecord(TableName, RecordID));
}

} // namespace zutools
