// A host that raises at its n-th call, an allocation that fails, a host that comes back: for every n.

#include "tests/recordlock/FailingAllocation.h"
#include "tests/recordlock/FakeHost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <utility>

namespace zutools::tests {
namespace {

/// Every list tells the same blocks; nothing is left behind when all sessions end.
void ExpectConsistent(TBench& Bench) {
    const auto Blocks = Bench.Blocker.ListBlocks({}, 100);
    ASSERT_EQ(static_cast<int>(Blocks.size()), Bench.Blocker.Count());
    for (const TZUBlockInfo& Each : Blocks) {
        EXPECT_NE(Bench.Blocker.GetRecordByID(Each.ID), nullptr);
        if (Each.RecAction == otInsert) continue;
        const auto Holder = Bench.Blocker.FindHolder(Each.TableName, Each.RecordID);
        ASSERT_TRUE(Holder);
        EXPECT_EQ(Holder->ID, Each.ID);
    }
}

struct TPath {
    const char* Name;
    TZUBlockerObjectType Action;
    bool AsDoc;
    std::vector<std::int32_t> Codes; // what the failure of each host call of the path leaves
};

TEST(ZurecblkFaults, EveryHostCallMayFail) {
    // GetTable, Open, three steps of rights, three again, the write; an insert asks its rights once.
    const TPath Paths[] = {
        {"edit", otEdit, false, {301, 301, 401, 401, 401, 401, 401, 401, 303}},
        {"edit as document", otEdit, true, {301, 301, 401, 401, 401, 401, 401, 401, 303}},
        {"delete", otDelete, false, {301, 301, 401, 401, 401, 401, 401, 401, 303}},
        {"insert", otInsert, false, {301, 301, 401, 401, 401, 303, 0}}, // the last: the new record's key
        {"insert as document", otInsert, true, {301, 301, 401, 401, 401, 303, 0}},
    };
    for (const TPath& Path : Paths) {
        for (int Fail = 1;; ++Fail) {
            SCOPED_TRACE(::testing::Message() << Path.Name << ", call " << Fail);
            TBench Bench;
            Bench.App.FailsStrangely = Fail % 2 == 0;
            TFakeExecutor Executor;
            Executor.Fails = true; // and no call stack to be had, all the way
            const TScriptExecutorScope Running(Executor);
            const TAs As(u"A", u"Lee");
            const auto Other = Bench.Blocker.GetRecord(u"Goods", u"a", otEdit);
            ASSERT_NE(Other, nullptr);

            Bench.App.Calls = 0;
            Bench.App.FailAt = Fail;
            const auto Block =
                Bench.Blocker.GetRecord(u"Orders", Path.Action == otInsert ? u"" : u"1", Path.Action);
            const bool Done = Block && Bench.Blocker.DoneByObject(Block.get(), true, Path.AsDoc, false);
            ASSERT_NE(Bench.Blocker.LastError(), nullptr);
            const auto Number = static_cast<std::size_t>(Fail) - 1;
            if (Number >= Path.Codes.size()) {
                EXPECT_TRUE(Done);
                EXPECT_EQ(Bench.App.Calls, static_cast<int>(Path.Codes.size())) << "a path not listed here";
                break;
            }
            EXPECT_EQ(Bench.Code(), Path.Codes[Number]);
            EXPECT_EQ(Done, Path.Codes[Number] == 0);
            if (!Done) {
                EXPECT_EQ(Bench.Message(), Fail % 2 == 0 ? u"Неизвестная ошибка приложения"
                                                         : u"host failed at " + Bench.App.Log.back());
            }
            EXPECT_EQ(Bench.Blocker.Count(), Block && !Done ? 2 : 1);
            EXPECT_TRUE(!Block || Block->Held() == !Done);
            ExpectConsistent(Bench);

            // What failed once works when it is tried again.
            if (Block && !Done) {
                EXPECT_TRUE(Bench.Blocker.DoneByObject(Block.get(), true, Path.AsDoc, false));
            }
            const auto Again = Bench.Blocker.GetRecord(u"Orders", u"3", otEdit);
            EXPECT_NE(Again, nullptr);
            Bench.Blocker.DoneBySID(u"A");
            EXPECT_EQ(Bench.Blocker.Count(), 0);
        }
    }
}

/// What every caller may do with a blocker, one thing after the other.
void DoEverything(TZURecordBlocker& Blocker) {
    const TAs As(u"A", u"Lee");
    const auto Edit = Blocker.GetRecord(u"Orders", u"1", otEdit);
    const auto New = Blocker.GetRecord(u"Orders", u"", otInsert);
    const auto Lock = Blocker.LockTable(u"Goods");
    if (Edit) (void)Blocker.GetRecord(u"ORDERS", u"1", otEdit);
    if (Edit) (void)Blocker.DoneByObject(Edit.get(), true, false, false);
    if (New && Lock) (void)Blocker.DoneByID(New->ID() + u"," + Lock->ID(), true, true, false, false);
    Blocker.DoneBySID(u"A");
}

TEST(ZurecblkFaults, EveryAllocationMayFail) {
    for (int Number = 1;; ++Number) {
        SCOPED_TRACE(::testing::Message() << "allocation " << Number);
        TBench Bench;
        {
            const TAs As(u"B");
            ASSERT_NE(Bench.Blocker.GetRecord(u"Orders", u"2", otEdit), nullptr);
        }
        bool Failed = false;
        {
            const TFailingAllocation Failing(Number);
            try {
                DoEverything(Bench.Blocker);
            } catch (const std::bad_alloc&) { // when not even the last error can be made
            }
            Failed = Failing.Failed();
        }
        ExpectConsistent(Bench);
        Bench.Blocker.DoneBySID(u"A");
        EXPECT_EQ(Bench.Blocker.Count(), 1);
        DoEverything(Bench.Blocker);
        EXPECT_EQ(Bench.Blocker.Count(), 1);
        const TAs As(u"C");
        EXPECT_NE(Bench.Blocker.LockTable(u"Goods"), nullptr) << "a block was left behind";
        EXPECT_NE(Bench.Blocker.GetRecord(u"Orders", u"1", otEdit), nullptr);
        ThreadObjects().Clear();
        if (!Failed) break;
    }
}

/// At one of the host's calls the host itself calls the blocker, in every way and on the same record.
TEST(ZurecblkFaults, AHostMayComeBackAtEveryCall) {
    using TBack = void (*)(TZURecordBlocker&);
    const TBack Backs[] = {
        [](TZURecordBlocker& Blocker) { Blocker.DoneBySID(u"A"); },
        [](TZURecordBlocker& Blocker) {
            for (const TZUBlockInfo& Each : Blocker.ListBlocks({}, 9))
                (void)Blocker.ReleaseBlock(Each.ID, u"Admin");
        },
        [](TZURecordBlocker& Blocker) {
            (void)Blocker.DoneByTableNameRecordID(u"Orders", u"1", false, false, false);
        },
        [](TZURecordBlocker& Blocker) {
            (void)Blocker.DoneByTableNameRecordID(u"Orders", u"1", true, false, false);
        },
        [](TZURecordBlocker& Blocker) { (void)Blocker.GetRecord(u"Orders", u"1", otEdit); },
        [](TZURecordBlocker& Blocker) {
            const TAs Other(u"B", u"Kim");
            (void)Blocker.GetRecord(u"Orders", u"1", otEdit);
        },
        [](TZURecordBlocker& Blocker) { (void)Blocker.LockTable(u"Orders"); },
    };
    for (std::size_t Back = 0; Back < std::size(Backs); ++Back)
        for (int Call = 1; Call <= 9; ++Call) { // as in the paths above: 5 to take, 4 to write
            SCOPED_TRACE(::testing::Message() << "way " << Back << ", call " << Call);
            TBench Bench;
            bool Came = false;
            Bench.App.OnCall = [&](std::u16string_view) {
                if (Bench.App.Calls == Call && !std::exchange(Came, true)) Backs[Back](Bench.Blocker);
            };
            const TAs As(u"A", u"Lee");
            const auto Block = Bench.Blocker.GetRecord(u"Orders", u"1", otEdit);
            const std::int32_t Refused = Bench.Code();
            ExpectConsistent(Bench);
            // The first one drops what is being opened, the others of the first three find nothing yet.
            if (Call <= 5 && (Back == 0 || Back == 5 || Back == 6)) {
                EXPECT_EQ(Block, nullptr);
                EXPECT_EQ(Refused, Back == 0 ? 220 : Back == 5 ? 201 : 101);
                continue;
            }
            ASSERT_NE(Block, nullptr);
            EXPECT_TRUE(Block->Held());
            EXPECT_EQ(Bench.Blocker.CheckRecordByObject(Block.get()), 1);
            const bool Done = Bench.Blocker.DoneByObject(Block.get(), true, false, false);
            const bool Dropped = Back < 3 && Call > 5 && Call < 9; // while the rights are asked
            EXPECT_EQ(Done, !Dropped);
            EXPECT_EQ(Bench.Code(), Dropped ? 220 : 0);
            EXPECT_EQ(std::ranges::count(Bench.App.Log, u"Post"), Dropped ? 0 : 1);
            EXPECT_FALSE(Block->Held());
            EXPECT_EQ(Bench.Blocker.Count(), 0);
            ExpectConsistent(Bench);
        }
}

} // namespace
} // namespace zutools::tests
