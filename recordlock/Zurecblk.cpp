#include "recordlock/Zurecblk.h"

#include "host/Format.h"
#include "host/Session.h"
#include "host/StringHelpers.h"
#include "host/ThreadContainer.h"
#include "recordlock/BlockLists.h"
#include "recordlock/Caller.h"

#include <algorithm>
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

constexpr std::u16string_view StillBusyText =
    u"Запись ещё открывается или записывается другим запросом; повторите попытку позже";
constexpr std::u16string_view TooManyBlocksText =
    u"У сессии слишком много блокировок (%d): завершите или отмените начатое и повторите попытку";

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
    , FLists(std::make_unique<TBlockLists>(UserNameMatch(false))) {}

TZURecordBlocker::~TZURecordBlocker() {
    while (!FLists->Blocks.Empty()) (void)FLists->Remove(*FLists->Blocks.First().Block);
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
    if (auto* const Made = FInterface.load(std::memory_order_acquire)) return *Made;
    const std::scoped_lock Guard(*this);
    if (!IRegObject) {
        IRegObject = std::make_unique<TZURecordBlockerInterface>(*this);
        RegisterInterfaceObject(*IRegObject);
        FInterface.store(IRegObject.get(), std::memory_order_release);
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

// ---- what several operations need

bool TZURecordBlocker::Has(const TAnyBlock* Block) const {
    return Block != nullptr && Block->FLists == FLists.get() && Visible(Block->State());
}

/// Neither does this thread's own host call end while it waits for it, nor does another thread get anywhere
/// while the caller himself holds the lock.
bool TZURecordBlocker::MayWaitFor(const TAnyBlock& Block) const {
    return !Block.WorkedByThisThread() && Depth() == 1;
}

/// Gives the lock back until the host's call on the block has ended. False, with a last error, when waiting
/// cannot help or took too long.
bool TZURecordBlocker::Await(TAnyBlock& Block, TPatience& Patience) {
    if (MayWaitFor(Block)) {
        if (!Patience.Until)
            Patience.Until = std::chrono::steady_clock::now() +
                             std::min<std::chrono::milliseconds>(WaitLimit(), std::chrono::hours(24));
        Patience.Kept.push_back(Block.shared_from_this());
        if (Block.FWaiters.Wait(*this, *Patience.Until)) return true;
    }
    const Exception Error{std::u16string(StillBusyText)};
    HandleError(ErrorStillBusy, &Block, &Error);
    return false;
}

/// False, with a last error, when the session has as many blocks as it may have. Null has none.
bool TZURecordBlocker::MayHaveMore(const TBlockSession* Session) {
    const std::size_t Most = MaxBlocks();
    if (Session == nullptr || Session->Visible < Most) return true;
    const Exception Error(Format(TooManyBlocksText, {Most}));
    HandleError(ErrorTooManyBlocks, nullptr, &Error);
    return false;
}

void TZURecordBlocker::AddToHistory(TAnyBlock& Block, TBlockEvent Event, const TBlockCaller& Caller,
                                    std::u16string_view Text) {
    const std::scoped_lock Guard(Block.FMutex);
    Block.FHistory.Add(Event, Text, Caller.Stack);
}

// ---- looking

std::int32_t TZURecordBlocker::CheckRecordInternal(TAnyBlock* Block, const TBlockCaller& Caller) {
    if (!Has(Block)) return 0;
    AddToHistory(*Block, TBlockEvent::Checked, Caller);
    const std::int32_t State = Block->FRecAction + 1;
    return SameUnits(Block->SID(), Caller.SID) ? State : State + 10;
}

std::int32_t TZURecordBlocker::CheckRecordByObject(TZURecordBlockerTableObject* CurObject) {
    ClearLastError();
    const TBlockCaller Caller;
    const std::scoped_lock Guard(*this);
    return CheckRecordInternal(CurObject, Caller);
}

std::int32_t TZURecordBlocker::CheckRecordByID(std::u16string_view ID) {
    ClearLastError();
    const TBlockCaller Caller;
    const std::scoped_lock Guard(*this);
    return CheckRecordInternal(FLists->FindBlock(ID), Caller);
}

std::int32_t TZURecordBlocker::CheckRecordByTableNameRecordID(std::u16string_view TableName,
                                                              std::u16string_view RecordID) {
    ClearLastError();
    const TBlockCaller Caller;
    const TBlockAddress Address = FLists->AddressOf(TableName, RecordID);
    const std::scoped_lock Guard(*this);
    return CheckRecordInternal(TBlockLists::RecordAt(FLists->SpotOf(Address)), Caller);
}

std::shared_ptr<TZURecordBlockerTableObject> TZURecordBlocker::GetRecordByID(std::u16string_view ID) {
    ClearLastError();
    {
        const std::scoped_lock Guard(*this);
        if (TAnyBlock* const Block = FLists->FindBlock(ID)) return Block->shared_from_this();
    }
    HandleError(ErrorRecordNotFound);
    return nullptr;
}

} // namespace zutools
