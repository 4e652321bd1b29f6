// A host that raises at its n-th call, for every n.

#include "tests/recordlock/FakeHost.h"

#include <gtest/gtest.h>

#include <set>

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
                EXPECT_EQ(Bench.Message(), u"host failed at " + Bench.App.Log.back());
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

} // namespace
} // namespace zutools::tests
