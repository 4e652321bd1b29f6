// Random calls of several threads on a slow and failing host. Every history of calls and results must equal
// one in which the calls ran one after the other: such an order is searched for, against a model of the
// rules.

#include "tests/recordlock/FakeHost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdio>
#include <random>
#include <thread>

namespace zutools::tests {
namespace {

enum class TKind { Get, Lock, UnLock, Check, DoneByIDs, DoneBySID, Release, List, Count };

struct TCall {
    TKind Kind = TKind::List;
    std::u16string SID;
    std::u16string Table;
    std::u16string Record;
    TZUBlockerObjectType Action = otEdit;
    std::vector<std::u16string> IDs;
    bool Commit = false;
    bool Rights = false;
    bool Keep = false;

    // What came of it.
    int Start = 0;
    int End = 0;
    int Number = 0;                                             // true, a state, or 1 for a block
    int Code = -1;                                              // of the last error
    std::u16string ID;                                          // of the block given or carried
    std::vector<std::pair<std::u16string, std::size_t>> Listed; // IDs and lengths of histories
    int FailIn = 0;                                             // the host call that raises; 0: none
    std::u16string Failed;                                      // its name, once it has
    int Written = 0;
};

struct TLiving {
    std::u16string ID;
    std::u16string Table;
    std::u16string Record;
    std::u16string SID;
    TZUBlockerObjectType Action = otEdit;
    std::size_t Entries = 1;
    auto operator<=>(const TLiving&) const = default;
};

constexpr std::size_t MaxBlocks = 4;
const std::set<std::u16string> RightsCalls{u"RefreshUserInfo", u"BuildTableRightsFilter",
                                           u"CheckRecordRights"};

/// The rules, one call after the other.
struct TSerial {
    const std::vector<TCall>& Calls;
    std::vector<TLiving> Living;
    std::set<std::u16string> Deleted; // records, as "table/record"
    // By a release or a session's end: the number of that call, and the block.
    std::map<std::u16string, std::pair<std::size_t, TLiving>> Dropped;

    TLiving* ByID(std::u16string_view ID) {
        const auto Found = std::ranges::find(Living, ID, &TLiving::ID);
        return Found == Living.end() ? nullptr : &*Found;
    }
    template <class TIs>
    TLiving* First(const TIs& Is) {
        TLiving* Least = nullptr;
        for (TLiving& Each : Living)
            if (Is(Each) &&
                (Least == nullptr || std::tie(Each.Record, Each.ID) < std::tie(Least->Record, Least->ID)))
                Least = &Each;
        return Least;
    }
    void Drop(const TLiving& Block) { Living.erase(Living.begin() + (&Block - Living.data())); }
    bool Overlap(std::size_t One, std::size_t Other) const {
        return Calls[One].Start < Calls[Other].End && Calls[Other].Start < Calls[One].End;
    }

    /// Makes the call; false when it would have given something else.
    bool Make(std::size_t Number) {
        const TCall& Call = Calls[Number];
        const auto Gives = [&Call](int Result, int Code, const TLiving* Carried = nullptr) {
            return Call.Number == Result && Call.Code == Code &&
                   (Carried == nullptr || Call.ID == Carried->ID);
        };
        switch (Call.Kind) {
        case TKind::Get:
            return Get(Number, Gives);
        case TKind::Lock: {
            if (TLiving* const Held =
                    First([&](auto& Each) { return Each.Table == Call.Table && Each.Action == otTable; })) {
                if (Held->SID != Call.SID) return Gives(0, 101, Held);
                ++Held->Entries;
                return Gives(1, -1, Held);
            }
            if (const TLiving* const Edit =
                    First([&](auto& Each) { return Each.Table == Call.Table && Each.Action != otInsert; }))
                return Gives(0, 102, Edit);
            if (const TLiving* const Insert = First([&](auto& Each) { return Each.Table == Call.Table; }))
                return Gives(0, 103, Insert);
            return Enter(Call, otTable, Gives);
        }
        case TKind::UnLock: {
            TLiving* const Held =
                First([&](auto& Each) { return Each.Table == Call.Table && Each.Action == otTable; });
            if (Held == nullptr) return Gives(0, 220);
            Held->Entries += 2;
            if (Held->SID != Call.SID) return Gives(0, -1);
            Drop(*Held);
            return Gives(1, -1);
        }
        case TKind::Check: {
            TLiving* const Held = Call.IDs.empty() ? RecordOf(Call) : ByID(Call.IDs[0]);
            if (Held != nullptr) ++Held->Entries;
            return Gives(Held == nullptr ? 0 : Held->Action + (Held->SID == Call.SID ? 1 : 11), -1);
        }
        case TKind::DoneByIDs:
            return Done(Number, Gives);
        case TKind::DoneBySID:
            for (const TLiving& Each : Living)
                if (Each.SID == Call.SID) Dropped[Each.ID] = {Number, Each};
            std::erase_if(Living, [&](const TLiving& Each) { return Each.SID == Call.SID; });
            return Gives(0, -1);
        case TKind::Release: {
            const TLiving* const Held = ByID(Call.IDs[0]);
            if (Held == nullptr) return Gives(0, -1);
            Dropped[Held->ID] = {Number, *Held};
            Drop(*Held);
            return Gives(1, -1);
        }
        case TKind::List: {
            std::vector<std::pair<std::u16string, std::size_t>> Wanted;
            for (const TLiving& Each : Living) Wanted.emplace_back(Each.ID, Each.Entries);
            std::ranges::sort(Wanted);
            return Wanted == Call.Listed;
        }
        case TKind::Count:
            return Gives(static_cast<int>(Living.size()), -1);
        }
        return false;
    }

    TLiving* RecordOf(const TCall& Call) {
        return First([&](auto& Each) {
            return Each.Table == Call.Table && Each.Record == Call.Record && Each.Action < otInsert;
        });
    }

    template <class TGives>
    bool Enter(const TCall& Call, TZUBlockerObjectType Action, const TGives& Gives) {
        if (std::ranges::count(Living, Call.SID, &TLiving::SID) >= static_cast<int>(MaxBlocks))
            return Gives(0, 502);
        Living.push_back({Call.ID, Call.Table, Action == otTable ? u"" : Call.Record, Call.SID, Action});
        return Gives(1, -1);
    }

    template <class TGives>
    bool Get(std::size_t Number, const TGives& Gives) {
        const TCall& Call = Calls[Number];
        if (const TLiving* const Lock =
                First([&](auto& Each) { return Each.Table == Call.Table && Each.Action == otTable; }))
            return Gives(0, 101, Lock);
        if (TLiving* const Held = Call.Action == otInsert ? nullptr : RecordOf(Call)) {
            const int Other = Held->Action == otEdit ? 0 : 1;
            if (Held->SID != Call.SID) return Gives(0, 201 + Other, Held);
            if (Held->Action != Call.Action) return Gives(0, 211 + Other, Held);
            ++Held->Entries;
            return Gives(1, -1, Held);
        }
        // A session that ends while its record is opened counts as ended by the host that opens it.
        if (Call.Code == 220) {
            for (std::size_t Other = 0; Other < Calls.size(); ++Other)
                if (Calls[Other].Kind == TKind::DoneBySID && Calls[Other].SID == Call.SID &&
                    Overlap(Number, Other))
                    return Gives(0, 220);
            return false;
        }
        if (Call.Code == 502) return Enter(Call, Call.Action, Gives);
        const bool Opened = Call.Failed != u"GetTable" && Call.Failed.find(u"Open") != 0;
        if (!Opened) return Gives(0, 301);
        if (Deleted.contains(Call.Table + u"/" + Call.Record)) return Gives(0, 302);
        if (!Call.Failed.empty()) return Gives(0, 401);
        if (Call.Action == otDelete && Call.SID == u"B") return Gives(0, 402);
        return Enter(Call, Call.Action, Gives);
    }

    void Write(const TLiving& Block) {
        if (Block.Action == otDelete) Deleted.insert(Block.Table + u"/" + Block.Record);
    }

    template <class TGives>
    bool Done(std::size_t Number, const TGives& Gives) {
        const TCall& Call = Calls[Number];
        int Written = 0;
        for (const std::u16string& ID : Call.IDs) {
            TLiving* const Held = ByID(ID);
            if (Held == nullptr) {
                // A release that comes while the host writes counts as made by that host.
                const auto By = Dropped.find(ID);
                if (By == Dropped.end() || !Overlap(Number, By->second.first) || Written == Call.Written)
                    return Gives(0, 220);
                Write(By->second.second);
                ++Written;
                continue;
            }
            Held->Entries += Call.Rights ? 2 : 1;
            if (Call.Rights && Held->SID != Call.SID) return Gives(0, 200 + Held->Action, Held);
            bool Refused = false;
            if (Call.Commit && Held->Action != otTable) {
                Refused = Call.Rights && Held->Action == otInsert && Call.SID == u"B";
                const bool Here = Written == Call.Written;
                if (Here && !Call.Failed.empty())
                    return Gives(0, RightsCalls.contains(Call.Failed) ? 401 : 303, Held);
                if (Refused != Here) return false;
                if (Refused && !Gives(0, 402, Held)) return false;
                if (!Refused) Write(*Held);
                if (!Refused) ++Written;
            }
            if (!Call.Keep) Drop(*Held);
            if (Refused) return true;
        }
        return Gives(1, 0) && Written == Call.Written;
    }
};

/// Whether there is an order of the calls that the model agrees with.
class TSearch {
public:
    explicit TSearch(const std::vector<TCall>& Calls)
        : FCalls(Calls) {}
    bool Found() { return From(0, {FCalls, {}, {}, {}}); }

private:
    bool From(unsigned Made, const TSerial& Before) {
        if (Made == (1U << FCalls.size()) - 1) return true;
        auto Living = Before.Living;
        std::ranges::sort(Living);
        if (!FSeen.emplace(Made, std::move(Living), Before.Deleted).second) return false;
        int FirstEnd = INT_MAX;
        for (std::size_t Number = 0; Number < FCalls.size(); ++Number)
            if ((Made >> Number & 1) == 0) FirstEnd = std::min(FirstEnd, FCalls[Number].End);
        for (std::size_t Number = 0; Number < FCalls.size(); ++Number) {
            if ((Made >> Number & 1) != 0 || FCalls[Number].Start > FirstEnd) continue;
            TSerial After = Before;
            if (After.Make(Number) && From(Made | 1U << Number, After)) return true;
        }
        return false;
    }

    const std::vector<TCall>& FCalls;
    std::set<std::tuple<unsigned, std::vector<TLiving>, std::set<std::u16string>>> FSeen;
};

thread_local TCall* Running = nullptr;

class THistory : protected TBench {
public:
    explicit THistory(unsigned Seed)
        : FSeed(Seed) {
        Blocker.SetMaxBlocks(MaxBlocks);
        Blocker.SetWaitLimit(std::chrono::minutes(5));
        App.Forbidden = {u"Kim Orders 2", u"Kim Goods 2", u"Kim Orders 3", u"Kim Goods 3"};
        App.Tables[u"Goods"] = App.Tables[u"Orders"];
        App.OnCall = [](std::u16string_view What) {
            if (Running == nullptr) return;
            for (unsigned Turn = 0; Turn < 4 + What.size() % 5; ++Turn) std::this_thread::yield();
            if (--Running->FailIn == 0) {
                Running->Failed = What;
                if (What.size() % 2 == 0) throw 5; // no std::exception
                throw EUserTableError(u"failed");
            }
            if (What == u"Post" || What == u"Delete" || What == u"Insert") ++Running->Written;
        };
    }

    std::vector<TCall> Record() {
        std::vector<TCall> All;
        std::mutex Mutex;
        {
            std::vector<std::jthread> Workers;
            for (unsigned Thread = 0; Thread < Threads; ++Thread)
                Workers.emplace_back([&, Thread] {
                    auto Own = Work(Thread);
                    const std::scoped_lock Guard(Mutex);
                    All.insert(All.end(), Own.begin(), Own.end());
                });
        }
        return All;
    }

private:
    static constexpr unsigned Threads = 4;
    static constexpr int PerThread = 6;

    std::vector<TCall> Work(unsigned Thread) {
        const std::u16string SID = Thread % 2 == 0 ? u"A" : u"B";
        const TAs As(SID, SID == u"A" ? u"Lee" : u"Kim");
        std::minstd_rand Random(FSeed * 7919 + Thread);
        const auto Below = [&Random](unsigned Limit) { return static_cast<unsigned>(Random() >> 8) % Limit; };
        std::vector<TCall> Calls;
        ++FReady;
        while (FReady < Threads) std::this_thread::yield();
        for (int Each = 0; Each < PerThread; ++Each) {
            TCall Call;
            constexpr TKind Kinds[] = {TKind::Get,       TKind::Get,       TKind::Get,       TKind::Get,
                                       TKind::Lock,      TKind::UnLock,    TKind::Check,     TKind::DoneByIDs,
                                       TKind::DoneByIDs, TKind::DoneByIDs, TKind::DoneBySID, TKind::Release,
                                       TKind::List,      TKind::Count};
            Call.Kind = Kinds[Below(std::size(Kinds))];
            Call.SID = SID;
            Call.Table = Below(3) == 0 ? u"Goods" : u"Orders";
            Call.Action = static_cast<TZUBlockerObjectType>(Below(8) == 0 ? 2 : Below(3) == 0);
            Call.Record = Call.Action == otInsert ? u"" : Below(3) == 0 ? u"2" : u"1";
            Call.Commit = Below(4) != 0;
            Call.Rights = Below(2) == 0;
            Call.Keep = Below(4) == 0;
            if (Below(6) == 0) Call.FailIn = 1 + static_cast<int>(Below(5));
            if (Call.Kind == TKind::Release || Call.Kind == TKind::DoneByIDs ||
                (Call.Kind == TKind::Check && Below(2) == 0)) {
                const std::scoped_lock Guard(FMutex);
                const unsigned Count = Call.Kind == TKind::DoneByIDs ? 1 + Below(2) : 1;
                for (unsigned Item = 0; Item < Count; ++Item)
                    Call.IDs.push_back(FIDs.empty()
                                           ? u"nobody"
                                           : FIDs[FIDs.size() - 1 -
                                                  Below(std::min(3U, static_cast<unsigned>(FIDs.size())))]);
            }
            Make(Call);
            if (Call.Number == 1 && (Call.Kind == TKind::Get || Call.Kind == TKind::Lock)) {
                const std::scoped_lock Guard(FMutex);
                FIDs.push_back(Call.ID);
            }
            Calls.push_back(Call);
        }
        Running = nullptr;
        return Calls;
    }

    void Make(TCall& Call) {
        Blocker.ClearLastError();
        Running = &Call;
        std::shared_ptr<TZURecordBlockerTableObject> Given;
        Call.Start = ++FNow;
        switch (Call.Kind) {
        case TKind::Get:
            Given = Blocker.GetRecord(Call.Table, Call.Record, Call.Action);
            break;
        case TKind::Lock:
            Given = Blocker.LockTable(Call.Table);
            break;
        case TKind::UnLock:
            Call.Number = Blocker.UnLockTableByTableName(Call.Table);
            break;
        case TKind::Check:
            Call.Number = Call.IDs.empty() ? Blocker.CheckRecordByTableNameRecordID(Call.Table, Call.Record)
                                           : Blocker.CheckRecordByID(Call.IDs[0]);
            break;
        case TKind::DoneByIDs: {
            std::u16string List = Call.IDs[0];
            if (Call.IDs.size() > 1) List += u"," + Call.IDs[1];
            Call.Number = Blocker.DoneByID(List, Call.Commit, Call.Rights, false, Call.Keep);
            break;
        }
        case TKind::DoneBySID:
            Blocker.DoneBySID(Call.SID);
            break;
        case TKind::Release:
            Call.Number = Blocker.ReleaseBlock(Call.IDs[0], u"Admin");
            break;
        case TKind::List:
            for (const TZUBlockInfo& Block : Blocker.ListBlocks({}, 30))
                Call.Listed.emplace_back(Block.ID, Block.History.size());
            break;
        case TKind::Count:
            Call.Number = Blocker.Count();
            break;
        }
        Call.End = ++FNow;
        Call.Code = Code();
        if (Given) {
            Call.Number = 1;
            Call.ID = Given->ID();
        } else if (const auto* Error = Blocker.LastError()) {
            Call.ID = Error->ID();
        }
    }

    const unsigned FSeed;
    std::atomic<unsigned> FReady = 0;
    std::atomic<int> FNow = 0;
    std::mutex FMutex;
    std::vector<std::u16string> FIDs;
};

TEST(ZurecblkLinear, EveryHistoryEqualsASerialOne) {
    for (unsigned Seed = 1; Seed <= 400; ++Seed) {
        const std::vector<TCall> Calls = THistory(Seed).Record();
        if (TSearch(Calls).Found()) continue;
        ADD_FAILURE() << "seed " << Seed;
        for (const TCall& Each : Calls)
            std::printf(
                "%3d-%3d %s kind %d %s %s a%d c%d r%d k%d ids %zu -> %d code %d %s fail %s written %d\n",
                Each.Start, Each.End, TKXVariant(Each.SID).AsAnsiString().c_str(),
                static_cast<int>(Each.Kind), TKXVariant(Each.Table).AsAnsiString().c_str(),
                TKXVariant(Each.Record).AsAnsiString().c_str(), Each.Action, Each.Commit, Each.Rights,
                Each.Keep, Each.IDs.size(), Each.Number, Each.Code,
                TKXVariant(Each.ID).AsAnsiString().substr(0, 20).c_str(),
                TKXVariant(Each.Failed).AsAnsiString().c_str(), Each.Written);
        return;
    }
}

} // namespace
} // namespace zutools::tests
