// Random calls of several sessions, held against a model written from the rules: a plain vector of blocks,
// looked through from end to end.

#include "tests/recordlock/FakeHost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace zutools::tests {
namespace {

struct TModelBlock {
    std::u16string ID;
    std::u16string Table; // lower case, as is the record
    std::u16string Record;
    std::u16string SID;
    std::u16string User;
    int Action = 0;
};

/// What a call is expected to leave.
struct TOutcome {
    bool Given = false; // a block or true
    std::int32_t Code = -1;
    std::u16string Carried; // the ID that the last error carries
};

class TModel {
public:
    TModel(TBench& Bench, std::uint32_t Seed)
        : FBench(Bench)
        , FRandom(Seed) {
        FBench.App.Forbidden = {u" Orders 1", u"Lee Orders 1", u"Kim Goods 2", u"Kim Goods 3"};
        for (int Number = 0; Number < 4; ++Number)
            FBench.App.Tables[u"Stock"][TKXVariant(Number).AsString() + u"x"] = u"s";
    }

    void Step() {
        FSID = Pick({u"A", u"B", u"b"}); // compare exactly
        FUser = FSID == u"A" ? u"" : FSID == u"B" ? u"Lee" : u"Kim";
        const TAs As(FSID, FUser);
        switch (Number(10)) {
        case 0:
        case 1:
        case 2:
            return Get();
        case 3:
            return LockTable();
        case 4:
            return UnLockTable();
        case 5:
            return Check();
        case 6:
            return DoneByObject();
        case 7:
            return DoneByIDs();
        case 8:
            return DoneByName();
        default:
            return Number(4) == 0 ? DoneBySID() : ByID();
        }
    }

    void Compare() {
        std::vector<std::u16string> Wanted;
        for (const TModelBlock& Each : FBlocks) Wanted.push_back(Each.ID);
        std::ranges::sort(Wanted);
        std::vector<std::u16string> Given;
        for (const TZUBlockInfo& Each : FBench.Blocker.ListBlocks({}, 1000)) {
            Given.push_back(Each.ID);
            const TModelBlock* Block = ByIDOf(Each.ID);
            ASSERT_NE(Block, nullptr);
            EXPECT_EQ(LowerCase(Each.TableName), Block->Table);
            EXPECT_EQ(LowerCase(Each.RecordID), Block->Record);
            EXPECT_EQ(Each.SID, Block->SID);
            EXPECT_EQ(Each.UserName, Block->User);
            EXPECT_EQ(Each.RecAction, Block->Action);
        }
        EXPECT_EQ(Given, Wanted);
        EXPECT_EQ(FBench.Blocker.Count(), static_cast<int>(Wanted.size()));
        for (const std::u16string_view Record : {u"1", u"0X"})
            for (const std::u16string_view Table : {u"ORDERS", u"stock"}) {
                const auto Holder = FBench.Blocker.FindHolder(Table, Record);
                const TModelBlock* Block = Lock(Table);
                if (Block == nullptr) Block = RecordOf(Table, Record);
                EXPECT_EQ(Holder ? Holder->ID : std::u16string(),
                          Block != nullptr ? Block->ID : std::u16string());
            }
    }

private:
    int Number(int Below) { return std::uniform_int_distribution(0, Below - 1)(FRandom); }
    std::u16string Pick(std::initializer_list<std::u16string_view> From) {
        return std::u16string(From.begin()[Number(static_cast<int>(From.size()))]);
    }
    std::u16string Table() { return Pick({u"Orders", u"ORDERS", u"Goods", u"goods", u"Stock", u"sTOCK"}); }
    std::u16string Record() {
        return Pick({u"1", u"2", u"3", u"a", u"A", u"b", u"0x", u"0X", u"3x", u"99", u""});
    }
    std::u16string AnyID() {
        if (FBlocks.empty() || Number(8) == 0)
            return Pick({u"", u"nobody", u"00000000000000000000000000000000"});
        const std::u16string& ID =
            FBlocks[static_cast<std::size_t>(Number(static_cast<int>(FBlocks.size())))].ID;
        return Number(2) == 0 ? ID : LowerCase(ID);
    }

    TModelBlock* ByIDOf(std::u16string_view ID) {
        for (TModelBlock& Each : FBlocks)
            if (SameText(Each.ID, ID)) return &Each;
        return nullptr;
    }
    const TModelBlock* Lock(std::u16string_view Name) const {
        for (const TModelBlock& Each : FBlocks)
            if (Each.Action == otTable && SameText(Each.Table, Name)) return &Each;
        return nullptr;
    }
    const TModelBlock* RecordOf(std::u16string_view Name, std::u16string_view ID) const {
        for (const TModelBlock& Each : FBlocks)
            if (Each.Action <= otDelete && SameText(Each.Table, Name) && SameText(Each.Record, ID))
                return &Each;
        return nullptr;
    }
    const TModelBlock* FirstOf(std::u16string_view Name, bool Insert) const {
        const TModelBlock* First = nullptr;
        for (const TModelBlock& Each : FBlocks) {
            if (!SameText(Each.Table, Name) || (Each.Action == otInsert) != Insert || Each.Action == otTable)
                continue;
            const bool Before =
                First == nullptr ||
                (Insert ? Each.ID < First->ID : AnsiCompareText(Each.Record, First->Record) < 0);
            if (Before) First = &Each;
        }
        return First;
    }
    [[nodiscard]] bool Exists(const std::u16string& Name, const std::u16string& ID) const {
        const auto Found = FBench.App.Tables.find(Name);
        return Found != FBench.App.Tables.end() && Found->second.contains(ID);
    }
    [[nodiscard]] bool Allowed(const std::u16string& User, const std::u16string& Name, int Action) const {
        return User.empty() ||
               !FBench.App.Forbidden.contains(User + u" " + Name + u" " + TKXVariant(Action + 1).AsString());
    }
    void Drop(const std::u16string& ID) {
        std::erase_if(FBlocks, [&](const TModelBlock& Each) { return SameText(Each.ID, ID); });
    }

    void Expect(bool Given, const TOutcome& Wanted, const char* What) {
        EXPECT_EQ(Given, Wanted.Given) << What;
        EXPECT_EQ(FBench.Code(), Wanted.Code) << What;
        if (Wanted.Code < 0) return;
        EXPECT_EQ(FBench.Blocker.LastError()->ID(), Wanted.Carried) << What;
        const std::u16string Message = FBench.Message();
        EXPECT_TRUE(Message.starts_with(BlockerErrorText(Wanted.Code))) << What;
    }

    void Get() {
        const std::u16string Name = Table();
        const std::u16string ID = Record();
        const auto Action = static_cast<TZUBlockerObjectType>(Number(3));
        TOutcome Wanted;
        std::u16string Reused;
        const TModelBlock* const Held = Action == otInsert ? nullptr : RecordOf(Name, ID);
        if (const TModelBlock* const Locked = Lock(Name)) {
            Wanted = {false, 101, Locked->ID};
        } else if (Held != nullptr && Held->SID != FSID) {
            Wanted = {false, Held->Action == otEdit ? 201 : 202, Held->ID};
        } else if (Held != nullptr && Held->Action != Action) {
            Wanted = {false, Held->Action == otEdit ? 211 : 212, Held->ID};
        } else if (Held != nullptr) {
            Wanted = {true, -1, {}};
            Reused = Held->ID;
        } else if ((Action != otInsert || !ID.empty()) && !Exists(Name, ID)) {
            Wanted = {false, 302, {}};
        } else if (Action != otInsert && !Allowed(FUser, Name, Action)) {
            Wanted = {false, 402, {}};
        } else {
            Wanted = {true, -1, {}};
        }
        const auto Block = FBench.Blocker.GetRecord(Name, ID, Action);
        if (Wanted.Code == 402 && FBench.Blocker.LastError() != nullptr)
            Wanted.Carried = FBench.Blocker.LastError()->ID(); // of a block that was never given
        Expect(Block != nullptr, Wanted, "GetRecord");
        if (!Block) return;
        if (!Reused.empty()) {
            EXPECT_EQ(Block->ID(), Reused);
            return;
        }
        FBlocks.push_back({Block->ID(), LowerCase(Name), LowerCase(ID), FSID, FUser, Action});
    }

    void LockTable() {
        const std::u16string Name = Table();
        TOutcome Wanted{true, -1, {}};
        const TModelBlock* const Held = Lock(Name);
        if (Held != nullptr && Held->SID != FSID)
            Wanted = {false, 101, Held->ID};
        else if (const TModelBlock* const Edit = FirstOf(Name, false); Edit != nullptr && Held == nullptr)
            Wanted = {false, 102, Edit->ID};
        else if (const TModelBlock* const Insert = FirstOf(Name, true); Insert != nullptr && Held == nullptr)
            Wanted = {false, 103, Insert->ID};
        const auto Block = FBench.Blocker.LockTable(Name);
        Expect(Block != nullptr, Wanted, "LockTable");
        if (!Block) return;
        if (Held != nullptr) {
            EXPECT_EQ(Block->ID(), Held->ID);
            return;
        }
        FBlocks.push_back({Block->ID(), LowerCase(Name), u"", FSID, FUser, otTable});
    }

    void UnLockTable() {
        if (Number(2) == 0) {
            const std::u16string Name = Table();
            const TModelBlock* const Held = Lock(Name);
            const TOutcome Wanted{Held != nullptr && Held->SID == FSID, Held == nullptr ? 220 : -1, {}};
            Expect(FBench.Blocker.UnLockTableByTableName(Name), Wanted, "UnLockTableByTableName");
            if (Wanted.Given) Drop(std::u16string(Held->ID));
            return;
        }
        const auto Block = FBench.Blocker.GetRecordByID(AnyID());
        const TModelBlock* const Held = Block ? ByIDOf(Block->ID()) : nullptr;
        const TOutcome Wanted{
            Held != nullptr && Held->SID == FSID && Held->Action == otTable, Held == nullptr ? 220 : -1, {}};
        Expect(FBench.Blocker.UnLockTableByObject(Block.get()), Wanted, "UnLockTableByObject");
        if (Wanted.Given) Drop(Block->ID());
    }

    [[nodiscard]] int StateOf(const TModelBlock* Block) const {
        return Block == nullptr ? 0 : Block->Action + 1 + (Block->SID == FSID ? 0 : 10);
    }

    void Check() {
        const std::u16string Name = Table();
        const std::u16string Key = Record();
        const std::u16string ID = AnyID();
        EXPECT_EQ(FBench.Blocker.CheckRecordByTableNameRecordID(Name, Key), StateOf(RecordOf(Name, Key)));
        EXPECT_EQ(FBench.Blocker.CheckRecordByID(ID), StateOf(ByIDOf(ID)));
        const auto Block = FBench.Blocker.GetRecordByID(ID);
        EXPECT_EQ(FBench.Blocker.CheckRecordByObject(Block.get()), StateOf(ByIDOf(ID)));
        EXPECT_EQ(FBench.Code(), -1);
    }

    /// What giving one block back leaves; drops it from the model.
    TOutcome Done(std::u16string ID, bool Commit, bool Rights, bool AsDoc, bool Keep,
                  std::vector<std::u16string>& Writes) {
        TModelBlock& Block = *ByIDOf(ID);
        if (Rights && Block.SID != FSID) return {false, 200 + Block.Action, Block.ID};
        TOutcome Wanted{true, 0, {}};
        if (Commit && Block.Action != otTable) {
            if (Rights && !Allowed(Block.User, Block.Table, Block.Action)) {
                Wanted = {false, 402, Block.ID};
            } else {
                constexpr std::u16string_view Plain[] = {u"Post", u"Delete", u"Insert"};
                constexpr std::u16string_view Docs[] = {u"UpdateDoc", u"Delete", u"InsertDoc"};
                Writes.emplace_back((AsDoc ? Docs : Plain)[Block.Action]);
                Wanted.Carried = Block.ID;
                if (Block.Action == otInsert) {
                    const int New = FBench.App.NewRecords + ++FInserted;
                    Block.Record = u"new" + TKXVariant(New).AsString() + u";2";
                }
            }
        }
        if (!Keep) Drop(ID);
        return Wanted;
    }

    template <class TCall>
    void Run(const TCall& Call, const TOutcome& Wanted, const std::vector<std::u16string>& Writes,
             const char* What) {
        FBench.App.Log.clear();
        Expect(Call(), Wanted, What);
        std::vector<std::u16string> Given;
        for (const std::u16string& Each : FBench.App.Log)
            if (Each == u"Post" || Each == u"UpdateDoc" || Each == u"Delete" || Each.starts_with(u"Insert"))
                Given.push_back(Each);
        EXPECT_EQ(Given, Writes) << What;
        FInserted = 0;
    }

    void DoneByObject() {
        const auto Block = FBench.Blocker.GetRecordByID(AnyID());
        const bool Commit = Number(2) == 0;
        const bool AsDoc = Number(2) == 0;
        const bool Keep = Number(4) == 0;
        std::vector<std::u16string> Writes;
        const TOutcome Wanted =
            Block ? Done(Block->ID(), Commit, true, AsDoc, Keep, Writes) : TOutcome{true, -1, {}};
        Run([&] { return FBench.Blocker.DoneByObject(Block.get(), Commit, AsDoc, Keep); }, Wanted, Writes,
            "DoneByObject");
    }

    void DoneByIDs() {
        const bool Commit = Number(2) == 0;
        const bool Rights = Number(2) == 0;
        const bool AsDoc = Number(2) == 0;
        const bool Keep = Number(4) == 0;
        std::u16string IDs;
        std::vector<std::u16string> Writes;
        TOutcome Wanted{true, -1, {}};
        const int Count = 1 + Number(3);
        for (int Item = 0; Item < Count; ++Item) {
            const std::u16string ID = AnyID();
            if (Item > 0) IDs += u", ";
            IDs += ID;
            if (!Wanted.Given) continue;
            if (ByIDOf(ID) != nullptr)
                Wanted = Done(ID, Commit, Rights, AsDoc, Keep, Writes);
            else if (Count > 1 || !ID.empty()) // no text at all is no list
                Wanted = {false, 220, {}};
        }
        Run([&] { return FBench.Blocker.DoneByID(IDs, Commit, Rights, AsDoc, Keep); }, Wanted, Writes,
            "DoneByID");
    }

    void DoneByName() {
        const std::u16string Name = Table();
        const std::u16string Key = Record();
        const bool Commit = Number(2) == 0;
        const bool AsDoc = Number(2) == 0;
        const bool Keep = Number(2) == 0;
        std::vector<std::u16string> Writes;
        const TModelBlock* const Block = RecordOf(Name, Key);
        const TOutcome Wanted =
            Block == nullptr ? TOutcome{false, 220, {}} : Done(Block->ID, Commit, AsDoc, Keep, false, Writes);
        Run([&] { return FBench.Blocker.DoneByTableNameRecordID(Name, Key, Commit, AsDoc, Keep); }, Wanted,
            Writes, "DoneByTableNameRecordID");
    }

    void DoneBySID() {
        const std::u16string SID = Pick({u"A", u"B", u"b", u"D"});
        std::erase_if(FBlocks, [&](const TModelBlock& Each) { return Each.SID == SID; });
        FBench.Blocker.DoneBySID(SID);
        EXPECT_EQ(FBench.Code(), -1);
    }

    void ByID() {
        const std::u16string ID = AnyID();
        const TModelBlock* const Wanted = ByIDOf(ID);
        if (Number(6) == 0) {
            EXPECT_EQ(FBench.Blocker.ReleaseBlock(ID, u"Admin"), Wanted != nullptr);
            if (Wanted != nullptr) Drop(std::u16string(Wanted->ID));
            return;
        }
        const auto Block = FBench.Blocker.GetRecordByID(ID);
        Expect(Block != nullptr, {Wanted != nullptr, Wanted != nullptr ? -1 : 220, {}}, "GetRecordByID");
    }

    TBench& FBench;
    std::mt19937 FRandom;
    std::vector<TModelBlock> FBlocks;
    std::u16string FSID;
    std::u16string FUser;
    int FInserted = 0; // records that the running call inserts
};

TEST(ZurecblkModel, RandomCallsOfSeveralSessions) {
    for (std::uint32_t Seed = 1; Seed <= 2000; ++Seed) {
        TBench Bench;
        TModel Model(Bench, Seed);
        for (int Step = 0; Step < 60; ++Step) {
            SCOPED_TRACE(::testing::Message() << "seed " << Seed << ", step " << Step);
            Model.Step();
            Model.Compare();
            if (::testing::Test::HasFailure()) return;
        }
    }
}

} // namespace
} // namespace zutools::tests
