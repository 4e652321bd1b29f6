// The script names of the record blocker.

#include "host/Format.h"
#include "host/ThreadContainer.h"
#include "recordlock/Zurecblk.h"

#include <utility>

namespace zutools {

namespace {

// Kept on purpose: the commit of a document calls itself CommitDocTable, and clearing the cache calls itself
// a rollback; callers search their logs for these names.
constexpr std::u16string_view CheckName = u"CheckRecordAccess";
constexpr std::u16string_view CommitName = u"CommitRecord";
constexpr std::u16string_view CommitDocName = u"CommitDocTable";
constexpr std::u16string_view RollBackName = u"RollBackRecord";
constexpr std::u16string_view UnLockName = u"UnLockTable";
constexpr std::u16string_view GetLockName = u"GetLockRecord";

// Where a thread keeps its last result alive until the engine holds it.
constexpr std::u16string_view ResultName = u"ZURecordBlockerScriptResult";

class TResultKeeper : public TObject {
public:
    explicit TResultKeeper(std::shared_ptr<const void> Result)
        : FResult(std::move(Result)) {}

private:
    const std::shared_ptr<const void> FResult;
};

/// A block for the script. Another thread may release it before the engine has taken hold of it: this thread
/// keeps it until its next result.
TKXVariant Result(const std::shared_ptr<TZURecordBlockerTableObject>& Block) {
    if (Block) ThreadObjects().Add(ResultName, std::make_unique<TResultKeeper>(Block));
    return PointerAsLVar(Block.get());
}

TZURecordBlocker& BlockerOf(TObject& Target) {
    return static_cast<TZURecordBlockerInterface&>(Target).OwnerRecordBlocker();
}

[[noreturn]] void FailCount(std::size_t Count, std::u16string_view Function) {
    throw EZURecordBlockerInterface(
        Format(u"Error number (%d) of arguments in function " + std::u16string(Function) + u".", {Count}));
}

[[noreturn]] void FailType(const TKXVariant& Value, std::u16string_view Function) {
    // Kept on purpose: the name of the type does not fit %d, so scripts get the error of Format instead of
    // this message.
    throw EZURecordBlockerInterface(
        Format(u"Error type (%d) of first argument in function " + std::u16string(Function) + u".",
               {VariantKindName(Value.Kind())}));
}

/// Scripts have no null reference but their nil: both are no object.
bool IsReference(const TKXVariant& Value) {
    return Value.Kind() == TVariantKind::vkObject || Value.Kind() == TVariantKind::vkNull;
}

/// A block, or null for no object. @throws EZURecordBlockerInterface for an object of another class.
TZURecordBlockerTableObject* BlockOf(const TKXVariant& Value) {
    TObject* const Object = Value.Kind() == TVariantKind::vkObject ? Value.AsObject() : nullptr;
    if (Object == nullptr) return nullptr;
    auto* const Block = ObjectCast<TZURecordBlockerTableObject>(Object);
    if (Block == nullptr)
        throw EZURecordBlockerInterface(
            Format(u"An object of class %s is not a record block.", {Object->ClassName()}));
    return Block;
}

TKXVariant F_CheckRecordAccess(TObject& Target, TScriptArgs Args) {
    TZURecordBlocker& Blocker = BlockerOf(Target);
    if (Args.size() == 2)
        return Blocker.CheckRecordByTableNameRecordID(Args[0].AsString(), Args[1].AsString());
    if (Args.size() != 1) FailCount(Args.size(), CheckName);
    if (Args[0].IsString()) return Blocker.CheckRecordByID(Args[0].AsString());
    if (!IsReference(Args[0])) FailType(Args[0], CheckName);
    return Blocker.CheckRecordByObject(BlockOf(Args[0]));
}

TKXVariant Done(TObject& Target, TScriptArgs Args, bool Commit, bool AsDoc, bool Keep,
                std::u16string_view Function) {
    TZURecordBlocker& Blocker = BlockerOf(Target);
    if (Args.size() == 2)
        return Blocker.DoneByTableNameRecordID(Args[0].AsString(), Args[1].AsString(), Commit, AsDoc, Keep);
    if (Args.size() != 1) FailCount(Args.size(), Function);
    if (Args[0].IsString()) return Blocker.DoneByID(Args[0].AsString(), Commit, true, AsDoc, Keep);
    if (!IsReference(Args[0])) FailType(Args[0], Function);
    return Blocker.DoneByObject(BlockOf(Args[0]), Commit, AsDoc, Keep);
}

TKXVariant DoneWithCommit(TObject& Target, TScriptArgs Args, bool AsDoc, std::u16string_view Function) {
    bool Keep = false;
    if (!Args.empty() && Args.back().Kind() == TVariantKind::vkBoolean) {
        Keep = Args.back().AsBoolean();
        Args = Args.first(Args.size() - 1);
    }
    return Done(Target, Args, true, AsDoc, Keep, Function);
}

TKXVariant F_CommitRecord(TObject& Target, TScriptArgs Args) {
    return DoneWithCommit(Target, Args, false, CommitName);
}

TKXVariant F_CommitDocInTable(TObject& Target, TScriptArgs Args) {
    return DoneWithCommit(Target, Args, true, CommitDocName);
}

TKXVariant F_RollBackRecord(TObject& Target, TScriptArgs Args) {
    return Done(Target, Args, false, false, false, RollBackName);
}

TKXVariant F_UnLockTable(TObject& Target, TScriptArgs Args) {
    if (Args.size() != 1) FailCount(Args.size(), UnLockName);
    if (Args[0].IsString()) return BlockerOf(Target).UnLockTableByTableName(Args[0].AsString());
    if (!IsReference(Args[0])) FailType(Args[0], UnLockName);
    return BlockerOf(Target).UnLockTableByObject(BlockOf(Args[0]));
}

TKXVariant F_LockTable(TObject& Target, TScriptArgs Args) {
    return Result(BlockerOf(Target).LockTable(Args[0].AsString()));
}

TKXVariant F_GetLockRecord(TObject& Target, TScriptArgs Args) {
    if (Args.size() == 1) return Result(BlockerOf(Target).GetRecordByID(Args[0].AsString()));
    if (Args.size() != 2) FailCount(Args.size(), GetLockName);
    const std::u16string RecordID = Args[1].AsString();
    return Result(
        BlockerOf(Target).GetRecord(Args[0].AsString(), RecordID, RecordID.empty() ? otInsert : otEdit));
}

TKXVariant F_DeleteRecord(TObject& Target, TScriptArgs Args) {
    return Result(BlockerOf(Target).GetRecord(Args[0].AsString(), Args[1].AsString(), otDelete));
}

TKXVariant F_LastError(TObject& Target, TScriptArgs /*Args*/) {
    return PointerAsLVar(BlockerOf(Target).LastError());
}

void P_RollBackAll(TObject& Target, TScriptArgs /*Args*/) {
    TZURecordBlocker& Blocker = BlockerOf(Target);
    if (Blocker.CetCurrentSession() != nullptr) Blocker.DoneBySID(Blocker.CurrentSID());
}

constexpr TScriptMember ScriptNames[] = {
    ScriptFunction(
        u"CheckRecordAccess", -1, F_CheckRecordAccess,
        u"(table, record), (ID) or (block): 0 nobody has it, 1 to 4 this session, 11 to 14 another"),
    ScriptFunction(u"CommitRecord", -1, F_CommitRecord,
                   u"(table, record), (IDs) or (block) [, keep]: writes the record and gives it back"),
    ScriptFunction(u"CommitDocInTable", -1, F_CommitDocInTable, u"the same, written as a document"),
    ScriptFunction(u"RollBackRecord", -1, F_RollBackRecord,
                   u"(table, record), (IDs) or (block): gives the record back unwritten"),
    ScriptFunction(u"ClearCacheRecord", -1, F_RollBackRecord, u"the same as RollBackRecord"),
    ScriptFunction(u"UnLockTable", 1, F_UnLockTable, u"(table or lock): ends the lock of a table"),
    ScriptFunction(u"LockTable", 1, F_LockTable,
                   u"(table): locks a whole table; nil when refused, see LastError"),
    ScriptFunction(u"GetLockRecord", -1, F_GetLockRecord,
                   u"(ID), (table, record) to edit or (table, \"\") to insert: a block; nil when refused"),
    ScriptFunction(u"DeleteRecord", 2, F_DeleteRecord,
                   u"(table, record): a block whose commit deletes the record; nil when refused"),
    ScriptFunction(u"LastError", 0, F_LastError,
                   u"why this thread's last call was refused; nil when it was not"),
    ScriptFunction(u"LastObjectParams", 0, F_LastError, u"the same as LastError"),
    ScriptProcedure(u"RollBackAll", 0, P_RollBackAll,
                    u"gives back everything that this session has, unwritten"),
    ScriptProcedure(u"ClearCacheAll", 0, P_RollBackAll, u"the same as RollBackAll"),
};

TKXVariant P_GetObjects(TObject& Target, TScriptArgs Args) {
    return Result(static_cast<TZURecordBlocker&>(Target).Objects(Args[0].AsInteger()));
}

constexpr TPropInfo BlockerProperties[] = {
    {u"Count", TTypeKind::tkInteger, u"Integer",
     [](const TObject& Self) { return TKXVariant(static_cast<const TZURecordBlocker&>(Self).Count()); },
     nullptr, u"how many blocks there are"},
};

constexpr TScriptMember BlockerNames[] = {
    ScriptProperty(u"Objects", 1, P_GetObjects, nullptr,
                   u"a block, by its index from 0; nil when there is none"),
};

} // namespace

const TClassInfo& TZURecordBlocker::StaticClass() {
    static constexpr TClassInfo Info{.Name = u"TZURecordBlocker",
                                     .Parent = &TObject::StaticClass,
                                     .Properties = BlockerProperties,
                                     .Script = BlockerNames,
                                     .Help = u"Every block of every session, for pages of administrators."};
    return Info;
}
const TClassInfo& TZURecordBlocker::ClassInfo() const {
    return StaticClass();
}

const TClassInfo& TZURecordBlockerInterface::StaticClass() {
    static constexpr TClassInfo Info{
        .Name = u"TZURecordBlockerInterface",
        .Parent = &TIRegObject::StaticClass,
        .Script = ScriptNames,
        .Global = {u"RecordBlocker",
                   []() -> TObject* { return ZURecordBlocker ? &ZURecordBlocker->GetInterface() : nullptr; },
                   u"takes records for this session, writes them and gives them back"},
        .Help = u"Records and tables that one session has at a time."};
    return Info;
}
const TClassInfo& TZURecordBlockerInterface::ClassInfo() const {
    return StaticClass();
}

void RegisterZurecblk(TScriptRegistry& Registry) {
    Registry.RegisterClass(TZURecordBlockerInterface::StaticClass());
    Registry.RegisterClass(TZURecordBlocker::StaticClass());
    Registry.RegisterClass(TZURecordBlockerTableObject::StaticClass());
    Registry.RegisterClass(TZURecordBlockerObject::StaticClass());
}

void UnregisterZurecblk(TScriptRegistry& Registry) {
    Registry.UnregisterClass(TZURecordBlocker::StaticClass());
    Registry.UnregisterClass(TZURecordBlockerObject::StaticClass());
    Registry.UnregisterClass(TZURecordBlockerTableObject::StaticClass());
    Registry.UnregisterClass(TZURecordBlockerInterface::StaticClass());
}

} // namespace zutools
