// The blocks: their fields, their log, their published properties.

#include "host/Format.h"
#include "host/StringHelpers.h"
#include "recordlock/Caller.h"
#include "recordlock/Zurecblk.h"

#include <utility>

namespace zutools {

namespace {

const std::u16string NoText;

const std::u16string& TextOf(const std::shared_ptr<const std::u16string>& Text) {
    return Text ? *Text : NoText;
}

TDateTime LocalDays(std::chrono::system_clock::time_point Moment) {
    using TDays = std::chrono::duration<double, std::ratio<86400>>;
    constexpr double DaysTo1970 = 25569;
    const auto Local = Moment.time_since_epoch() + platform::LocalTimeOffset(Moment);
    return {DaysTo1970 + std::chrono::duration_cast<TDays>(Local).count()};
}

const TZURecordBlockerTableObject& AsBlock(const TObject& Self) {
    return static_cast<const TZURecordBlockerTableObject&>(Self);
}
const TZURecordBlockerObject& AsRecord(const TObject& Self) {
    return static_cast<const TZURecordBlockerObject&>(Self);
}

constexpr std::u16string_view ActionNames[] = {u"otEdit", u"otDelete", u"otInsert", u"otTable"};

constexpr TPropInfo BlockProperties[] = {
    {u"ID", TTypeKind::tkUString, u"string",
     [](const TObject& Self) { return TKXVariant(AsBlock(Self).ID()); }, nullptr, u"the block's own ID"},
    {u"SID", TTypeKind::tkUString, u"string",
     [](const TObject& Self) { return TKXVariant(AsBlock(Self).SID()); }, nullptr,
     u"the session that has it"},
    {u"UserName", TTypeKind::tkUString, u"string",
     [](const TObject& Self) { return TKXVariant(AsBlock(Self).UserName()); }, nullptr,
     u"the user of that session"},
    {u"TableName", TTypeKind::tkUString, u"string",
     [](const TObject& Self) { return TKXVariant(AsBlock(Self).TableName()); }, nullptr, u"the table"},
    {u"RecAction", TTypeKind::tkEnumeration, u"TZUBlockerObjectType",
     [](const TObject& Self) { return TKXVariant(int{AsBlock(Self).RecAction()}); }, nullptr,
     u"what it was taken for", ActionNames},
    {u"LastErrorMessage", TTypeKind::tkUString, u"string",
     [](const TObject& Self) { return TKXVariant(AsBlock(Self).LastErrorMessage()); }, nullptr,
     u"why the last call for it was refused"},
    {u"LastErrorCode", TTypeKind::tkInteger, u"Integer",
     [](const TObject& Self) { return TKXVariant(int{AsBlock(Self).LastErrorCode()}); }, nullptr,
     u"the same as a number; 0 when it was not"},
    {u"CreateTime", TTypeKind::tkFloat, u"TDateTime",
     [](const TObject& Self) { return TKXVariant(AsBlock(Self).CreateTime()); }, nullptr,
     u"when it was taken"},
};

constexpr TPropInfo RecordProperties[] = {
    {u"RecordID", TTypeKind::tkUString, u"string",
     [](const TObject& Self) { return TKXVariant(AsRecord(Self).RecordID()); }, nullptr,
     u"the key columns' values, joined with ;"},
    {u"RecordInterface", TTypeKind::tkClass, u"TRecordInterface",
     [](const TObject& Self) { return PointerAsLVar(AsRecord(Self).RecordInterface()); }, nullptr,
     u"the record's fields by name; nil without a record"},
};

} // namespace

std::u16string_view ObjectTypeToStr(TZUBlockerObjectType ObjectType) {
    switch (ObjectType) {
    case otEdit:
        return u"Edit";
    case otDelete:
        return u"Delete";
    case otInsert:
        return u"Insert";
    case otTable:
        return u"LockTable";
    }
    return u"Unknown";
}

// Not in the header: who makes one would then fill it with zeros first.
TZURecordBlockerTableObject::TZURecordBlockerTableObject() = default;
TZURecordBlockerObject::TZURecordBlockerObject() = default;

const TClassInfo& TZURecordBlockerTableObject::StaticClass() {
    static constexpr TClassInfo Info{.Name = u"TZURecordBlockerTableObject",
                                     .Parent = &TIObject::StaticClass,
                                     .Properties = BlockProperties,
                                     .Help = u"A table that one session has."};
    return Info;
}
const TClassInfo& TZURecordBlockerTableObject::ClassInfo() const {
    return StaticClass();
}

std::u16string TZURecordBlockerTableObject::ID() const {
    return FID == TBlockID() ? std::u16string() : FID.Text();
}
const std::u16string& TZURecordBlockerTableObject::SID() const {
    return FOwner ? FOwner->SID : NoText;
}
const std::u16string& TZURecordBlockerTableObject::UserName() const {
    return FOwner ? FOwner->UserName : NoText;
}
const std::u16string& TZURecordBlockerTableObject::TableName() const {
    return TextOf(FTableName);
}
TDateTime TZURecordBlockerTableObject::CreateTime() const {
    return FCreateTime == std::chrono::system_clock::time_point() ? TDateTime() : LocalDays(FCreateTime);
}
std::u16string TZURecordBlockerTableObject::LastErrorMessage() const {
    return FMessageByCode ? BlockerErrorText(FlastErrorCode) : TextOf(FLastErrorMessage);
}

void TZURecordBlockerTableObject::CopyFields(const TZURecordBlockerTableObject& Source) {
    FID = Source.FID;
    FRecAction = Source.FRecAction;
    FlastErrorCode = Source.FlastErrorCode;
    FMessageByCode = Source.FMessageByCode;
    FTableName = Source.FTableName;
    FOwner = Source.FOwner;
    FLastErrorMessage = Source.FLastErrorMessage;
    FCreateTime = Source.FCreateTime;
}

void TZURecordBlockerTableObject::Assign(const TZURecordBlockerTableObject& Source) {
    CopyFields(Source);
    FHistory.Assign(Source.ActionHistory());
}

void TZURecordBlockerTableObject::AddToHistroy(std::u16string_view Text) {
    const TCallStack Stack = CurrentCallStack();
    const std::scoped_lock Guard(FMutex);
    const TBlockState State = FState.load(std::memory_order_acquire);
    if (State == TBlockState::Loose || Visible(State)) FHistory.Add(TBlockEvent::Text, Text, Stack);
}

std::vector<std::u16string> TZURecordBlockerTableObject::ActionHistory() const {
    const std::scoped_lock Guard(FMutex);
    return HistoryTexts();
}

std::vector<std::u16string> TZURecordBlockerTableObject::HistoryTexts() const {
    std::u16string Created;
    if (FRecAction == otTable) {
        Created = u"LockTable create new object TableName: " + TableName();
    } else {
        Created = u"GetRecord create new object TableName: " + TableName();
        Created.append(u" RecordID: ").append(HistoryRecordID());
        Created.append(u" ActionType: ").append(ObjectTypeToStr(FRecAction));
    }
    return FHistory.Texts(Created);
}

const TClassInfo& TZURecordBlockerObject::StaticClass() {
    static constexpr TClassInfo Info{.Name = u"TZURecordBlockerObject",
                                     .Parent = &TZURecordBlockerTableObject::StaticClass,
                                     .Properties = RecordProperties,
                                     .Help = u"A record that one session has."};
    return Info;
}
const TClassInfo& TZURecordBlockerObject::ClassInfo() const {
    return StaticClass();
}

std::u16string TZURecordBlockerObject::RecordID() const {
    const std::scoped_lock Guard(FMutex);
    return FRecordID;
}

void TZURecordBlockerObject::CopyFields(const TZURecordBlockerTableObject& Source) {
    TZURecordBlockerTableObject::CopyFields(Source);
    if (Source.ClassInfo().InheritsFrom(StaticClass()))
        FRecordID = static_cast<const TZURecordBlockerObject&>(Source).RecordID();
}

// The record itself stays with the source.
void TZURecordBlockerObject::Assign(const TZURecordBlockerTableObject& Source) {
    TZURecordBlockerTableObject::Assign(Source);
}

void TZURecordBlockerObject::RetireForScripts() {
    TZURecordBlockerTableObject::RetireForScripts();
    if (FFields) FFields->RetireForScripts();
}

bool TZURecordBlockerObject::GetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount,
                                                 TKXVariant& Result) {
    if (TIObject::GetPropertyInternal(Name, Args, ArgCount, Result)) return true;
    return FFields && FFields->GetPropertyInternal(Name, Args, ArgCount, Result);
}

bool TZURecordBlockerObject::SetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount) {
    if (TIObject::SetPropertyInternal(Name, Args, ArgCount)) return true;
    return FFields && FFields->SetPropertyInternal(Name, Args, ArgCount);
}

bool TBlockFields::SetPropertyInternal(std::u16string_view Name, TScriptArgs Args, int ArgCount) {
    if (!SameUnits(TBlockCaller().SID, FBlock.SID()))
        throw EZURecordBlockerInterface(
            Format(u"The field \"%s\" cannot be set: another session has the record \"%s\" of table %s.",
                   {Name, FBlock.RecordID(), FBlock.TableName()}));
    return TRecordInterface::SetPropertyInternal(Name, Args, ArgCount);
}

std::shared_ptr<const void> TBlockFields::KeepAlive() {
    return FBlock.KeepAlive();
}

} // namespace zutools
