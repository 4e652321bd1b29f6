// Many sessions at once on few records; ThreadSanitizer looks on.

#include "tests/recordlock/FakeHost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <random>
#include <thread>

namespace zutools::tests {
namespace {

constexpr int Threads = 16;
constexpr int Rounds = 400;
constexpr int Records = 12;

/// One thread is one session.
class TStress : protected TBench {
public:
    TStress() {
        for (int Number = 0; Number < Records; ++Number)
            App.Tables[u"Orders"][TKXVariant(Number).AsString()] = u"x";
    }

    void Run() {
        {
            std::vector<std::jthread> Running;
            for (int Number = 0; Number < Threads; ++Number)
                Running.emplace_back([this, Number] { Work(Number); });
            Running.emplace_back([this] { Administer(); });
        }
        EXPECT_EQ(Blocker.Count(), 0) << "a block without an owner";
        for (const auto& Each : FHolders) EXPECT_EQ(Each.load(), 0);
    }

private:
    void Work(int Number) {
        const TAs As(u"session " + TKXVariant(Number).AsString(), u"Lee");
        std::minstd_rand Random(static_cast<unsigned>(Number) + 1);
        for (int Round = 0; Round < Rounds; ++Round) {
            const auto Record = static_cast<int>(Random() % Records);
            switch (Random() % 8) {
            case 0:
                Insert(Random() % 2 == 0);
                break;
            case 1:
                LockTable();
                break;
            case 2:
                for (const TZUBlockInfo& Each : Blocker.ListBlocks({}, 8))
                    if (const auto Block = Blocker.GetRecordByID(Each.ID)) Look(*Block);
                break;
            default:
                Edit(Record, static_cast<int>(Random() % 3));
            }
        }
        Blocker.DoneBySID(Blocker.CurrentSID());
        ThreadObjects().Clear();
    }

    void Edit(int Record, int How) {
        const std::u16string ID = TKXVariant(Record).AsString();
        const auto Block = Blocker.GetRecord(u"Orders", ID, otEdit);
        if (!Block) {
            const std::int32_t Refused = Code();
            EXPECT_TRUE(Refused == 201 || Refused == 101) << Refused;
            return;
        }
        // Never two holders: nobody but the owner gives these back.
        auto& Holder = FHolders[static_cast<std::size_t>(Record)];
        EXPECT_EQ(Holder.fetch_add(1), 0);
        Look(*Block);
        Block->AddToHistroy(u"by hand");
        EXPECT_EQ(Blocker.CheckRecordByObject(Block.get()), 1) << "lost";
        Holder.fetch_sub(1);
        EXPECT_TRUE(How == 0 ? Blocker.DoneByTableNameRecordID(u"ORDERS", ID, false, false, false)
                             : Blocker.DoneByObject(Block.get(), How == 1, false, false));
    }

    void Insert(bool Commit) {
        const auto Block = Blocker.GetRecord(u"Goods", u"", otInsert);
        if (!Block) return;
        Look(*Block);
        // An administrator may have been faster.
        if (Blocker.DoneByID(Block->ID(), Commit, true, false, false)) {
            EXPECT_FALSE(Block->Held());
        }
        (void)Block->RecordID();
    }

    void LockTable() {
        const auto Lock = Blocker.LockTable(u"Goods");
        if (!Lock) return;
        (void)Lock->ActionHistory();
        (void)Blocker.UnLockTableByTableName(u"Goods");
    }

    static void Look(TZURecordBlockerTableObject& Block) {
        TKXVariant Value;
        for (const std::u16string_view Name : {u"RecordID", u"TableName", u"RecordInterface", u"ID"})
            (void)Block.GetPropertyInternal(Name, {}, 0, Value);
        (void)Block.Reference().Get();
        (void)Block.KeepAlive();
        (void)Block.ActionHistory();
    }

    void Administer() {
        for (int Round = 0; Round < Rounds; ++Round) {
            for (const TZUBlockInfo& Each : Blocker.ListBlocks({}, 5))
                if (Each.TableName == u"Goods") (void)Blocker.ReleaseBlock(Each.ID, u"Admin");
            (void)Blocker.FindHolder(u"Orders", u"3");
            (void)Blocker.Objects(Round % 4);
        }
    }

    std::array<std::atomic<int>, Records> FHolders{};
};

TEST(ZurecblkThreads, NoRecordHasTwoHoldersAndNoBlockIsLeftBehind) {
    TStress().Run();
}

// Two threads of one session use the block that both were given.
TEST(ZurecblkThreads, TwoThreadsOfASessionShareABlock) {
    TBench Bench;
    std::atomic<int> Given = 0;
    const auto Work = [&] {
        const TAs As(u"A");
        for (int Round = 0; Round < 300; ++Round) {
            const auto Block = Bench.Blocker.GetRecord(u"Orders", u"", otInsert);
            const auto Shared = Bench.Blocker.GetRecord(u"Orders", u"1", otEdit);
            if (!Shared || !Block) continue;
            ++Given;
            (void)Shared->RecordID();
            (void)Shared->Reference().Get();
            (void)Bench.Blocker.DoneByObject(Block.get(), true, false, true);
            (void)Block->RecordID();
            if (Round % 3 == 0) (void)Bench.Blocker.DoneByObject(Shared.get(), false, false, false);
            if (Round % 5 == 0) Bench.Blocker.DoneBySID(u"A");
        }
        ThreadObjects().Clear();
    };
    {
        std::jthread First(Work);
        std::jthread Second(Work);
    }
    EXPECT_GT(Given.load(), 0);
    Bench.Blocker.DoneBySID(u"A");
    EXPECT_EQ(Bench.Blocker.Count(), 0);
}

class TGate {
public:
    void Open() {
        const std::scoped_lock Guard(FMutex);
        FOpen = true;
        FChanged.notify_all();
    }
    void Pass() {
        std::unique_lock Guard(FMutex);
        FChanged.wait(Guard, [this] { return FOpen; });
    }

private:
    std::mutex FMutex;
    std::condition_variable FChanged;
    bool FOpen = false;
};

// A host that stands still at one of its calls holds up those who ask for its record, and nobody else.
TEST(ZurecblkThreads, OnlyWhoNeedsTheOutcomeWaits) {
    for (const std::u16string_view Stop : {u"Open", u"CheckRecordRights", u"Post"}) {
        const bool Opening = Stop != u"Post";
        for (const bool Ends : {false, true}) { // the session, meanwhile
            SCOPED_TRACE(TKXVariant(Stop).AsAnsiString() + (Ends ? ", session ends" : ""));
            TBench Bench;
            TGate Stopped;
            TGate GoOn;
            const auto Session = [&Bench] { return Bench.Blocker.CurrentSID(); };
            Bench.App.OnCall = [&](std::u16string_view What) {
                if (What != Stop || Session() != u"A") return;
                Stopped.Open();
                GoOn.Pass();
            };
            bool Given = false;
            bool Written = false;
            std::int32_t Code = 0;
            std::jthread Slow([&] {
                const TAs As(u"A", u"Lee");
                const auto Block = Bench.Blocker.GetRecord(u"Orders", u"1", otEdit);
                Given = Block != nullptr;
                Written = Given && Bench.Blocker.DoneByObject(Block.get(), true, false, false);
                Code = Bench.Code();
            });
            Stopped.Pass();

            const TAs As(u"B", u"Kim");
            TZURecordBlocker& Blocker = Bench.Blocker;
            Blocker.SetWaitLimit(std::chrono::milliseconds(0));
            EXPECT_EQ(Blocker.GetRecord(u"Orders", u"1", otEdit), nullptr);
            EXPECT_EQ(Bench.Code(), 501);
            EXPECT_EQ(Bench.Message(),
                      u"Запись ещё открывается или записывается другим запросом; повторите попытку позже");
            EXPECT_EQ(Blocker.LastError()->SID(), u"A");
            EXPECT_EQ(Blocker.LockTable(u"Orders"), nullptr);
            EXPECT_EQ(Bench.Code(), Opening ? 501 : 102);
            Blocker.SetWaitLimit(std::chrono::hours(1)); // from here on waiting would never end
            EXPECT_EQ(Blocker.CheckRecordByTableNameRecordID(u"Orders", u"1"), Opening ? 0 : 11);
            EXPECT_EQ(Blocker.Count(), Opening ? 0 : 1);
            EXPECT_EQ(Blocker.FindHolder(u"Orders", u"1").has_value(), !Opening);
            const auto Other = Blocker.GetRecord(u"Orders", u"2", otEdit);
            ASSERT_NE(Other, nullptr);
            EXPECT_TRUE(Blocker.DoneByObject(Other.get(), true, false, false));
            {
                const std::scoped_lock Guard(Blocker); // nobody could go on meanwhile
                EXPECT_EQ(Blocker.GetRecord(u"Orders", u"1", otEdit), nullptr);
                EXPECT_EQ(Bench.Code(), Opening ? 501 : 201);
            }
            if (Ends) {
                Blocker.DoneBySID(u"A");
                EXPECT_EQ(Blocker.Count(), 0);
            }
            std::shared_ptr<TZURecordBlockerObject> Waited;
            std::jthread Waiting([&] {
                const TAs Third(u"C", u"Kim");
                Waited = Blocker.GetRecord(u"Orders", u"1", otEdit);
                ThreadObjects().Clear();
            });
            GoOn.Open();
            Slow.join();
            Waiting.join();
            EXPECT_EQ(Given, !Ends || !Opening);
            EXPECT_EQ(Written, Given) << "what is being written is written to the end";
            EXPECT_EQ(Code, Given ? 0 : 220);
            EXPECT_EQ(std::ranges::count(Bench.App.Log, u"Post"), Given ? 2 : 1);
            // Told that A had it, or given it when A was done.
            if (Waited) {
                EXPECT_EQ(Blocker.Count(), 1);
            }
            EXPECT_TRUE(Waited != nullptr || (Opening && !Ends));
        }
    }
}

TEST(ZurecblkThreads, FieldsAndTheInterfaceNeedNoLock) {
    TBench Bench;
    const TAs As(u"A");
    const auto Block = Bench.Blocker.GetRecord(u"Orders", u"1", otEdit);
    ASSERT_NE(Block, nullptr);
    const auto* const Interface = &Bench.Blocker.GetInterface();
    TGate Locked;
    TGate GoOn;
    std::jthread Holding([&] {
        const std::scoped_lock Guard(Bench.Blocker);
        Locked.Open();
        GoOn.Pass();
    });
    Locked.Pass();
    EXPECT_EQ(&Bench.Blocker.GetInterface(), Interface);
    Block->AddToHistroy(u"by hand");
    EXPECT_EQ(Block->ActionHistory().size(), 2u);
    EXPECT_EQ(Block->RecordID(), u"1");
    EXPECT_TRUE(Block->Held());
    GoOn.Open();
}

} // namespace
} // namespace zutools::tests
