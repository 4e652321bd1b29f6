// What administration pages ask: who has what, and away with it.

#include "recordlock/BlockLists.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace zutools {

namespace {

// How much is copied under the lock at a time: so many blocks, or about so much text of their histories.
constexpr std::size_t SliceBlocks = 32;
constexpr std::size_t SliceUnits = 256 * 1024;

} // namespace

std::shared_ptr<TZURecordBlockerTableObject> TZURecordBlocker::Objects(int Index) const {
    const std::scoped_lock Lock(*this);
    if (Index < 0 || static_cast<std::size_t>(Index) >= FLists->Blocks.Count()) return nullptr;
    return FLists->Blocks.ByNumber(static_cast<std::size_t>(Index)).Block->shared_from_this();
}

int TZURecordBlocker::Count() const {
    return static_cast<int>(BlockCount());
}

std::size_t TZURecordBlocker::BlockCount() const {
    const std::scoped_lock Lock(*this);
    return FLists->Blocks.Count();
}

bool TZURecordBlocker::HasBlocks(std::u16string_view SID) const {
    const TSessionKey Key(SID);
    const std::scoped_lock Lock(*this);
    const TBlockSession* const Session = FLists->FindSession(Key);
    return Session != nullptr && Session->First != nullptr;
}

TZUBlockInfo TZURecordBlocker::InfoOf(const TAnyBlock& Block) const {
    TZUBlockInfo Info;
    Info.ID = Block.ID();
    Info.TableName = Block.TableName();
    if (Block.FRecAction != otTable)
        Info.RecordID = static_cast<const TZURecordBlockerObject&>(Block).RecordID();
    Info.SID = Block.SID();
    Info.UserName = Block.UserName();
    Info.RecAction = Block.FRecAction;
    Info.CreateTime = Block.CreateTime();
    return Info;
}

/// Copies blocks after `After`, which follows; true when there may be more.
bool TZURecordBlocker::CopySlice(TBlockID& After, std::size_t Most, std::vector<TZUBlockInfo>& Slice) const {
    std::size_t Units = 0;
    bool More = false;
    const std::scoped_lock Lock(*this);
    FLists->ForEachAfter(After, [&](const TIdentified& Entry) {
        More = Slice.size() == Most || Units >= SliceUnits;
        if (More) return false;
        After = Entry.ID;
        TZUBlockInfo& Info = Slice.emplace_back(InfoOf(*Entry.Block));
        Info.History = Entry.Block->ActionHistory();
        for (const std::u16string& Each : Info.History) Units += Each.size();
        return true;
    });
    return More;
}

std::vector<TZUBlockInfo> TZURecordBlocker::ListBlocks(std::u16string_view AfterID, std::size_t Limit) const {
    std::vector<TZUBlockInfo> Result;
    TBlockID After; // less than every identifier
    if (!AfterID.empty()) {
        const auto Parsed = TBlockID::Parse(AfterID);
        if (!Parsed) return Result;
        After = *Parsed;
    }
    std::vector<TZUBlockInfo> Slice; // a list that grows must not do so under the lock
    for (bool More = true; More && Result.size() < Limit;) {
        const std::size_t Most = std::min(SliceBlocks, Limit - Result.size());
        Slice.reserve(Most);
        More = CopySlice(After, Most, Slice);
        std::ranges::move(Slice, std::back_inserter(Result));
        Slice.clear();
    }
    return Result;
}

bool TZURecordBlocker::ReleaseBlock(std::u16string_view ID, std::u16string_view By) {
    TAnyBlockPtr Gone; // freed without the lock
    {
        const std::scoped_lock Lock(*this);
        TAnyBlock* const Block = FLists->FindBlock(ID);
        if (Block == nullptr) return false;
        Gone = FLists->Release(*Block);
    }
    // Without the session's identifier and the block's: either may open doors.
    std::u16string Entry = u"Record block released by " + std::u16string(By) + u": ";
    Entry += ObjectTypeToStr(Gone->FRecAction);
    Entry += u" of table " + Gone->TableName();
    if (Gone->FRecAction != otTable)
        Entry += u", record \"" + static_cast<const TZURecordBlockerObject&>(*Gone).RecordID() + u"\"";
    Entry += u", held by " + Gone->UserName();
    Logger().Log(TLogLevel::Info, Entry);
    return true;
}

std::optional<TZUBlockInfo> TZURecordBlocker::FindHolder(std::u16string_view TableName,
                                                         std::u16string_view RecordID) const {
    const TBlockAddress Address = FLists->AddressOf(TableName, RecordID);
    const std::scoped_lock Guard(*this);
    const TBlockSpot Spot = FLists->SpotOf(Address);
    if (Spot.Table == nullptr) return std::nullopt;
    if (Spot.Table->Lock != nullptr) return InfoOf(*Spot.Table->Lock);
    const TZURecordBlockerObject* const Block = TBlockLists::RecordAt(Spot);
    if (!Has(Block)) return std::nullopt;
    return InfoOf(*Block);
}

} // namespace zutools
