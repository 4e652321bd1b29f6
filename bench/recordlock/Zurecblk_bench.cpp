// What a record block costs: take and give back with all its lists and its history, beside a mutex around an
// unordered_map with the same keys and an index of sessions. Both make the same record in memory; what that
// alone costs is measured too ("host"), so that it can be taken off.
//
// Times are wall times of the best of several runs. A third thread is alive throughout, as in a server.
//
// `Zurecblk_bench pairs` measures only taking and giving back, `slow` only commits on a slow database.
// `Zurecblk_bench only blocker 10000 300000 1` runs one case alone, on so many threads, for counting
// instructions.

#include "host/Security.h"
#include "host/Session.h"
#include "host/ThreadContainer.h"
#include "recordlock/Zurecblk.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace zutools {
namespace {

using TSeconds = std::chrono::duration<double>;

std::u16string Text(std::size_t Number) {
    return TKXVariant(static_cast<std::int64_t>(Number)).AsString();
}

class TMemoryTable : public TUserTable {
public:
    static inline std::chrono::milliseconds WriteTime{0}; // what a commit takes in the database

    explicit TMemoryTable(std::u16string_view Name)
        : FName(Name) {}
    std::u16string TableName() const override { return FName; }
    bool Open(std::u16string_view ID) override {
        FID = ID;
        return true;
    }
    void OpenNew() override {}
    std::u16string RecordID() const override { return FID; }
    std::vector<std::u16string> FieldNames() const override { return {}; }
    bool HasField(std::u16string_view) const override { return false; }
    TKXVariant Field(std::u16string_view) const override { return {}; }
    TKXVariant StoredField(std::u16string_view) const override { return {}; }
    void SetField(std::u16string_view, const TKXVariant&) override {}
    void Post() override {
        if (WriteTime.count() > 0) std::this_thread::sleep_for(WriteTime);
    }
    void Delete() override {}
    void Insert() override {}

private:
    std::u16string FName;
    std::u16string FID;
};

class TMemoryManager : public TSimpleApplicationManager {
public:
    std::unique_ptr<TUserTable> GetTable(std::u16string_view Name) override {
        return std::make_unique<TMemoryTable>(Name);
    }
};

/// What both ask the application for one record: the record, and the three steps of its rights.
std::unique_ptr<TUserTable> AskHost(TApplicationManager& Manager, std::u16string_view Table,
                                    std::u16string_view Record) {
    static TOpenSecurityManager Security;
    auto Opened = Manager.GetTable(Table);
    if (!Opened->Open(Record)) std::abort();
    const TTableRights Rights = Security.BuildTableRightsFilter(
        Security.RefreshUserInfo(u"user of the bench"), Table, TRecordRight::Edit);
    if (!Security.CheckRecordRights(Rights, *Opened)) std::abort();
    return Opened;
}

/// The least that does the job without rules, history, states or errors.
class TFloor {
public:
    bool Take(TApplicationManager& Manager, std::u16string_view Table, std::u16string_view Record,
              std::u16string_view SID) {
        const std::lock_guard Guard(FMutex);
        std::u16string Key(Table);
        Key.append(1, u'\x1').append(Record);
        const auto [Place, Fresh] = FBlocks.try_emplace(std::move(Key));
        if (!Fresh) return false;
        Place->second.Record = AskHost(Manager, Table, Record);
        Place->second.SID = SID;
        FSessions[Place->second.SID].insert(&Place->first);
        return true;
    }
    bool Release(std::u16string_view Table, std::u16string_view Record, std::u16string_view SID) {
        const std::lock_guard Guard(FMutex);
        std::u16string Key(Table);
        Key.append(1, u'\x1').append(Record);
        const auto Found = FBlocks.find(Key);
        if (Found == FBlocks.end() || Found->second.SID != SID) return false;
        const auto Session = FSessions.find(Found->second.SID);
        Session->second.erase(&Found->first);
        if (Session->second.empty()) FSessions.erase(Session);
        FBlocks.erase(Found);
        return true;
    }

private:
    struct TEntry {
        std::u16string SID;
        std::unique_ptr<TUserTable> Record;
    };
    std::mutex FMutex;
    std::unordered_map<std::u16string, TEntry> FBlocks;
    std::unordered_map<std::u16string, std::unordered_set<const std::u16string*>> FSessions;
};

/// The calling thread's session for a scope.
class TAs {
public:
    explicit TAs(std::u16string SID) {
        auto Session = std::make_unique<TSession>();
        Session->SID = std::move(SID);
        Session->USR = u"user of the bench";
        ThreadObjects().Add(SessionObjectName, std::move(Session));
    }
    ~TAs() { ThreadObjects().Clear(); }
    TAs(const TAs&) = delete;
    TAs& operator=(const TAs&) = delete;
};

constexpr std::size_t PerSession = 1000;
constexpr std::size_t Tables = 20;

std::u16string SidOf(std::size_t Number) {
    return u"session-0123456789abcdef-" + Text(Number);
}
std::u16string TableOf(std::size_t Number) {
    return u"Table" + Text(Number % Tables);
}
/// Far apart, as keys of real records are.
std::u16string RecordOf(std::size_t Number) {
    return Text(100000000 + Number * 2654435761U % 1000000007U);
}

struct TWorld {
    std::shared_ptr<TMemoryManager> Manager = std::make_shared<TMemoryManager>();
    TZURecordBlocker Blocker{TServices{.ApplicationManager = Manager,
                                       .Localizer = nullptr,
                                       .Logger = nullptr,
                                       .Security = std::make_shared<TOpenSecurityManager>(),
                                       .Dictionary = nullptr}};
    TFloor Floor;

    void Fill(std::size_t Live, bool WithFloor) {
        for (std::size_t Number = 0; Number < Live;) {
            const TAs As(SidOf(Number / PerSession));
            const std::size_t End = std::min(Live, Number + PerSession);
            for (; Number < End; ++Number) {
                const std::u16string Table = TableOf(Number);
                if (!Blocker.GetRecord(Table, RecordOf(Number), otEdit)) std::abort();
                if (WithFloor && !Floor.Take(*Manager, Table, RecordOf(Number), SidOf(Number / PerSession)))
                    std::abort();
            }
        }
    }
};

/// What one thread asks for, made before the clock starts.
struct TAsked {
    std::vector<std::u16string> Records;
    std::u16string Table = TableOf(7);
    std::u16string SID;
    explicit TAsked(std::size_t Thread)
        : SID(u"asking-0123456789abcdef-" + Text(Thread)) {
        for (std::size_t Number = 0; Number < 1024; ++Number)
            Records.push_back(RecordOf(50000000 + Thread * 5000 + Number * 3));
    }
};

using TTurn = std::function<void(const TAsked&, std::size_t)>;

/// Nanoseconds of wall time a turn, over all threads.
double Measure(std::size_t Threads, std::size_t Turns, const TTurn& Turn) {
    std::mutex Mutex;
    std::condition_variable Changed;
    std::size_t Ready = 0;
    bool Go = false;
    std::vector<std::jthread> Running;
    for (std::size_t Thread = 0; Thread < Threads; ++Thread)
        Running.emplace_back([&, Thread] {
            const TAsked Asked(Thread);
            const TAs As(Asked.SID);
            for (std::size_t Each = 0; Each < 1000; ++Each) Turn(Asked, Each);
            {
                std::unique_lock Lock(Mutex);
                ++Ready;
                Changed.notify_all();
                Changed.wait(Lock, [&] { return Go; });
            }
            for (std::size_t Each = 0; Each < Turns; ++Each) Turn(Asked, Each);
        });
    std::unique_lock Lock(Mutex);
    Changed.wait(Lock, [&] { return Ready == Threads; });
    const auto Start = std::chrono::steady_clock::now();
    Go = true;
    Changed.notify_all();
    Lock.unlock();
    Running.clear();
    return TSeconds(std::chrono::steady_clock::now() - Start).count() * 1e9 /
           static_cast<double>(Turns * Threads);
}

TTurn TurnOf(TWorld& World, std::string_view Who) {
    if (Who == "host")
        return [&World](const TAsked& Asked, std::size_t Number) {
            (void)AskHost(*World.Manager, Asked.Table, Asked.Records[Number % 1024]);
        };
    if (Who == "floor")
        return [&World](const TAsked& Asked, std::size_t Number) {
            const std::u16string& Record = Asked.Records[Number % 1024];
            if (!World.Floor.Take(*World.Manager, Asked.Table, Record, Asked.SID) ||
                !World.Floor.Release(Asked.Table, Record, Asked.SID))
                std::abort();
        };
    return [&World](const TAsked& Asked, std::size_t Number) {
        const auto Block = World.Blocker.GetRecord(Asked.Table, Asked.Records[Number % 1024], otEdit);
        if (!Block || !World.Blocker.DoneByObject(Block.get(), false, false, false)) std::abort();
    };
}

double Best(TWorld& World, std::string_view Who, std::size_t Threads) {
    const TTurn Turn = TurnOf(World, Who);
    double Least = 1e18;
    for (int Run = 0; Run < 7; ++Run) Least = std::min(Least, Measure(Threads, 60000 / Threads, Turn));
    return Least;
}

void TakeAndRelease() {
    std::printf("take + release, ns of wall time a pair, the pairs of all threads counted\n"
                "%9s %7s %8s %8s %8s %8s %14s %24s\n",
                "live", "threads", "host", "floor", "blocker", "ratio", "without host",
                "pairs/s against 1 thread");
    for (const std::size_t Live : {std::size_t{0}, std::size_t{10000}, std::size_t{1000000}}) {
        TWorld World;
        World.Fill(Live, true);
        double One = 0;
        for (const std::size_t Threads : {std::size_t{1}, std::size_t{2}}) {
            const double Host = Best(World, "host", Threads);
            const double Floor = Best(World, "floor", Threads);
            const double Blocker = Best(World, "blocker", Threads);
            if (Threads == 1) One = Blocker;
            std::printf("%9zu %7zu %8.0f %8.0f %8.0f %8.2f %14.2f %24.2f\n", Live, Threads, Host, Floor,
                        Blocker, Blocker / Floor, (Blocker - Host) / (Floor - Host), One / Blocker);
        }
    }
}

void DropAndList() {
    std::printf("\n%9s %22s %22s %18s %16s\n", "live", "drop 1,000 of one, us", "drop 100 of one, us",
                "page of 100, us", "Objects[i], ns");
    for (const std::size_t Live : {std::size_t{10000}, std::size_t{1000000}}) {
        TWorld World;
        World.Fill(Live, false);
        double Drop[2] = {1e18, 1e18};
        for (std::size_t Run = 0; Run < 20; ++Run) {
            const std::size_t Count = Run % 2 == 0 ? 1000 : 100;
            {
                const TAs As(u"ending");
                for (std::size_t Number = 0; Number < Count; ++Number)
                    if (!World.Blocker.GetRecord(TableOf(Number), RecordOf(60000000 + Number), otEdit))
                        std::abort();
            }
            const auto Start = std::chrono::steady_clock::now();
            World.Blocker.DoneBySID(u"ending");
            const double Took = TSeconds(std::chrono::steady_clock::now() - Start).count() * 1e6;
            Drop[Run % 2] = std::min(Drop[Run % 2], Took);
        }
        // The lock is taken several times a page: the whole page is the upper bound of one holding.
        std::vector<double> Pages;
        std::size_t Listed = 0;
        for (std::u16string After;;) {
            const auto Start = std::chrono::steady_clock::now();
            const auto Page = World.Blocker.ListBlocks(After, 100);
            Pages.push_back(TSeconds(std::chrono::steady_clock::now() - Start).count() * 1e6);
            if (Page.empty()) break;
            Listed += Page.size();
            After = Page.back().ID;
        }
        if (Listed != Live) std::abort();
        const auto Start = std::chrono::steady_clock::now();
        for (std::size_t Number = 0; Number < 100000; ++Number)
            if (!World.Blocker.Objects(static_cast<int>(Number * 7919 % Live))) std::abort();
        const double Index = TSeconds(std::chrono::steady_clock::now() - Start).count() * 1e4;
        std::ranges::sort(Pages);
        std::printf("%9zu %22.0f %22.0f %8.0f (99%% %4.0f) %13.0f\n", Live, Drop[0], Drop[1],
                    Pages[Pages.size() / 2], Pages[Pages.size() * 99 / 100], Index);
    }
}

/// A database that takes 5 ms for each write: how many commits many threads make together, and how long a
/// session waits that only asks for a state.
void SlowWrites() {
    std::printf("\ntake + commit, 5 ms a write\n%9s %12s %8s %18s %18s\n", "threads", "commits/s", "ratio",
                "state, us (99%)", "idle, us (99%)");
    const auto Ask = [](TWorld& World, std::size_t Times) {
        std::vector<double> Took;
        for (std::size_t Each = 0; Each < Times; ++Each) {
            const auto Start = std::chrono::steady_clock::now();
            if (World.Blocker.CheckRecordByTableNameRecordID(TableOf(Each), RecordOf(Each)) == 0)
                std::abort();
            Took.push_back(TSeconds(std::chrono::steady_clock::now() - Start).count() * 1e6);
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        std::ranges::sort(Took);
        return std::pair(Took[Took.size() / 2], Took[Took.size() * 99 / 100]);
    };
    double One = 0;
    for (const std::size_t Threads : {std::size_t{1}, std::size_t{8}, std::size_t{32}}) {
        TWorld World;
        World.Fill(10000, false);
        const TAs As(u"asks");
        constexpr std::size_t Turns = 200;
        const auto Idle = Ask(World, 1000);
        TMemoryTable::WriteTime = std::chrono::milliseconds(5);
        std::vector<std::jthread> Running;
        const auto Start = std::chrono::steady_clock::now();
        for (std::size_t Thread = 0; Thread < Threads; ++Thread)
            Running.emplace_back([&World, Thread] {
                const TAsked Asked(Thread);
                const TAs Own(Asked.SID);
                for (std::size_t Each = 0; Each < Turns; ++Each) {
                    const auto Block = World.Blocker.GetRecord(Asked.Table, Asked.Records[Each], otEdit);
                    if (!Block || !World.Blocker.DoneByObject(Block.get(), true, false, false)) std::abort();
                }
            });
        const auto Busy = Ask(World, 200);
        Running.clear();
        const double Each =
            static_cast<double>(Threads * Turns) / TSeconds(std::chrono::steady_clock::now() - Start).count();
        TMemoryTable::WriteTime = std::chrono::milliseconds(0);
        if (Threads == 1) One = Each;
        std::printf("%9zu %12.0f %8.1f %8.1f (%7.1f) %8.1f (%7.1f)\n", Threads, Each, Each / One, Busy.first,
                    Busy.second, Idle.first, Idle.second);
    }
}

} // namespace
} // namespace zutools

int main(int Count, char** Arguments) {
    using namespace zutools;
    if (Count == 6 && std::strcmp(Arguments[1], "only") == 0) {
        TWorld World;
        World.Fill(std::strtoul(Arguments[3], nullptr, 10), std::strcmp(Arguments[2], "floor") == 0);
        std::printf("%.0f ns\n",
                    Measure(std::strtoul(Arguments[5], nullptr, 10), std::strtoul(Arguments[4], nullptr, 10),
                            TurnOf(World, Arguments[2])));
        return 0;
    }
    // A third thread, so that nothing takes the shortcuts of a process with one.
    std::mutex Mutex;
    std::condition_variable Changed;
    bool End = false;
    std::jthread Third([&] {
        std::unique_lock Lock(Mutex);
        Changed.wait(Lock, [&] { return End; });
    });
    if (Count == 2 && std::strcmp(Arguments[1], "slow") == 0) {
        SlowWrites();
    } else if (Count == 2 && std::strcmp(Arguments[1], "pairs") == 0) {
        TakeAndRelease();
    } else {
        TakeAndRelease();
        DropAndList();
        SlowWrites();
    }
    {
        const std::lock_guard Guard(Mutex);
        End = true;
    }
    Changed.notify_all();
    return 0;
}
