// The names that scripts call, their counts, types and messages.

#include "tests/recordlock/FakeHost.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zutools::tests {
namespace {

class ZurecblkScript : public ::testing::Test, protected TBench {
protected:
    ZurecblkScript() { RegisterZurecblk(Registry); }

    TKXVariant Call(std::u16string_view Name, std::vector<TKXVariant> Args = {}) {
        const TScriptMember* const Member = Registry.Find(TZURecordBlockerInterface::StaticClass(), Name);
        if (Member == nullptr) throw Exception(u"no such name");
        return Member->Invoke(Blocker.GetInterface(), Args);
    }
    TZURecordBlockerObject& Taken(std::vector<TKXVariant> Args) {
        auto* Block = ObjectCast<TZURecordBlockerObject>(Call(u"GetLockRecord", std::move(Args)).AsObject());
        if (Block == nullptr) throw Exception(u"not given");
        return *Block;
    }
    template <class TError>
    std::u16string Raised(std::u16string_view Name, std::vector<TKXVariant> Args) {
        try {
            (void)Call(Name, std::move(Args));
        } catch (const TError& Error) {
            return Error.Message();
        }
        return u"nothing was raised";
    }

    TScriptRegistry Registry;
    const TAs Session{u"A"};
};

TEST_F(ZurecblkScript, NamesAreRegisteredInOrderWithTheirCounts) {
    const std::tuple<std::u16string_view, TScriptMemberKind, int> Wanted[] = {
        {u"CheckRecordAccess", TScriptMemberKind::smFunction, -1},
        {u"CommitRecord", TScriptMemberKind::smFunction, -1},
        {u"CommitDocInTable", TScriptMemberKind::smFunction, -1},
        {u"RollBackRecord", TScriptMemberKind::smFunction, -1},
        {u"ClearCacheRecord", TScriptMemberKind::smFunction, -1},
        {u"UnLockTable", TScriptMemberKind::smFunction, 1},
        {u"LockTable", TScriptMemberKind::smFunction, 1},
        {u"GetLockRecord", TScriptMemberKind::smFunction, -1},
        {u"DeleteRecord", TScriptMemberKind::smFunction, 2},
        {u"LastError", TScriptMemberKind::smFunction, 0},
        {u"LastObjectParams", TScriptMemberKind::smFunction, 0},
        {u"RollBackAll", TScriptMemberKind::smProcedure, 0},
        {u"ClearCacheAll", TScriptMemberKind::smProcedure, 0},
    };
    const auto Members = Registry.Members(TZURecordBlockerInterface::StaticClass());
    ASSERT_EQ(Members.size(), std::size(Wanted));
    for (std::size_t Number = 0; Number < Members.size(); ++Number) {
        EXPECT_EQ(Members[Number]->Name, std::get<0>(Wanted[Number]));
        EXPECT_EQ(Members[Number]->Kind, std::get<1>(Wanted[Number]));
        EXPECT_EQ(Members[Number]->ArgCount, std::get<2>(Wanted[Number]));
    }
    UnregisterZurecblk(Registry);
    EXPECT_EQ(Registry.FindClass(u"TZURecordBlockerInterface"), nullptr);
    EXPECT_TRUE(IsInterfaceObjectRegistered(Blocker.GetInterface()));
    EXPECT_EQ(&Blocker.GetInterface(), &Blocker.GetInterface());
}

// ClearCacheRecord calls itself RollBackRecord, CommitDocInTable CommitDocTable.
TEST_F(ZurecblkScript, KeptOnPurpose_WrongCountsAreRefusedUnderOtherNames) {
    const std::tuple<std::u16string_view, int, int, std::u16string_view> Rows[] = {
        {u"CheckRecordAccess", 0, 0, u"CheckRecordAccess"},
        {u"CheckRecordAccess", 3, 3, u"CheckRecordAccess"},
        {u"CommitRecord", 0, 0, u"CommitRecord"},
        {u"CommitRecord", 3, 3, u"CommitRecord"},
        {u"CommitDocInTable", 4, 4, u"CommitDocTable"},
        {u"RollBackRecord", 3, 3, u"RollBackRecord"},
        {u"ClearCacheRecord", 0, 0, u"RollBackRecord"},
        {u"GetLockRecord", 3, 3, u"GetLockRecord"},
    };
    for (const auto& [Name, Given, Told, Function] : Rows)
        EXPECT_EQ(Raised<EZURecordBlockerInterface>(
                      Name, std::vector<TKXVariant>(static_cast<std::size_t>(Given), TKXVariant(u"x"))),
                  u"Error number (" + TKXVariant(Told).AsString() + u") of arguments in function " +
                      std::u16string(Function) + u".");
    EXPECT_EQ(Raised<EZURecordBlockerInterface>(u"CommitRecord", {true}),
              u"Error number (0) of arguments in function CommitRecord.")
        << "the flag is not counted";
    EXPECT_EQ(Raised<EZURecordBlockerInterface>(u"CommitDocInTable", {u"a", u"b", u"c", true}),
              u"Error number (3) of arguments in function CommitDocTable.");
    EXPECT_THROW(Call(u"UnLockTable", {u"a", u"b"}), EIObjectError) << "the registry counts";
    const TScriptMember* const UnLock =
        Registry.Find(TZURecordBlockerInterface::StaticClass(), u"UnLockTable");
    try {
        (void)UnLock->Function(Blocker.GetInterface(), {});
        FAIL();
    } catch (const EZURecordBlockerInterface& Error) {
        EXPECT_EQ(Error.Message(), u"Error number (0) of arguments in function UnLockTable.");
    }
}

TEST_F(ZurecblkScript, KeptOnPurpose_AWrongTypeRaisesTheErrorOfFormat) {
    const std::pair<std::u16string_view, std::u16string_view> Rows[] = {
        {u"CheckRecordAccess", u"CheckRecordAccess"}, {u"CommitRecord", u"CommitRecord"},
        {u"CommitDocInTable", u"CommitDocTable"},     {u"RollBackRecord", u"RollBackRecord"},
        {u"ClearCacheRecord", u"RollBackRecord"},     {u"UnLockTable", u"UnLockTable"},
    };
    for (const auto& [Name, Function] : Rows)
        EXPECT_EQ(Raised<EFormatError>(Name, {5}),
                  u"Format \"Error type (%d) of first argument in function " + std::u16string(Function) +
                      u".\" invalid or incompatible with argument");
}

TEST_F(ZurecblkScript, AnObjectThatIsNoBlockIsRefused) {
    TSession Other;
    EXPECT_EQ(Raised<EZURecordBlockerInterface>(u"CommitRecord", {PointerAsLVar(&Other)}),
              u"An object of class TSession is not a record block.");
    for (const TKXVariant& None : {PointerAsLVar(nullptr), TKXVariant()}) { // nil is no object too
        EXPECT_EQ(Call(u"CheckRecordAccess", {None}), TKXVariant(0));
        EXPECT_EQ(Call(u"CommitRecord", {None}), TKXVariant(true));
        EXPECT_EQ(Call(u"RollBackRecord", {None}), TKXVariant(true));
        EXPECT_EQ(Call(u"UnLockTable", {None}), TKXVariant(false));
        EXPECT_EQ(Code(), 220);
    }
}

TEST_F(ZurecblkScript, BlocksAreNamedInThreeWays) {
    TZURecordBlockerObject& Block = Taken({u"Orders", u"1"});
    EXPECT_EQ(Block.RecAction(), otEdit);
    EXPECT_EQ(Call(u"CheckRecordAccess", {u"Orders", u"1"}), TKXVariant(1));
    EXPECT_EQ(Call(u"CheckRecordAccess", {Block.ID()}), TKXVariant(1));
    EXPECT_EQ(Call(u"CheckRecordAccess", {TKXVariant::AnsiString("nobody")}), TKXVariant(0));
    EXPECT_EQ(Call(u"CheckRecordAccess", {PointerAsLVar(&Block)}), TKXVariant(1));
    EXPECT_EQ(Call(u"GetLockRecord", {Block.ID()}), PointerAsLVar(&Block));
    EXPECT_EQ(Call(u"GetLockRecord", {u"nobody"}), PointerAsLVar(nullptr));
    EXPECT_EQ(Code(), 220);
    EXPECT_EQ(Taken({u"Orders", u""}).RecAction(), otInsert);
    EXPECT_EQ(
        ObjectCast<TZURecordBlockerObject>(Call(u"DeleteRecord", {u"Orders", u"2"}).AsObject())->RecAction(),
        otDelete);
    const TKXVariant Lock = Call(u"LockTable", {u"Goods"});
    EXPECT_EQ(Call(u"CheckRecordAccess", {Lock}), TKXVariant(4));
    EXPECT_EQ(Call(u"UnLockTable", {Lock}), TKXVariant(true));
    EXPECT_EQ(Call(u"UnLockTable", {u"Goods"}), TKXVariant(false));
    EXPECT_EQ(Call(u"LockTable", {u"Orders"}), PointerAsLVar(nullptr));
    EXPECT_EQ(Code(), 102);
}

TEST_F(ZurecblkScript, CommitsAndRollBacks) {
    const struct {
        std::u16string_view Name;
        bool ByObject;
        std::vector<TKXVariant> Flags;
        std::u16string_view Call;
        bool Kept;
    } Rows[] = {
        {u"CommitRecord", true, {}, u"Post", false},
        {u"CommitRecord", true, {true}, u"Post", true},
        {u"CommitRecord", true, {false}, u"Post", false},
        {u"CommitRecord", false, {true}, u"Post", true},
        {u"CommitDocInTable", true, {}, u"UpdateDoc", false},
        {u"CommitDocInTable", false, {true}, u"UpdateDoc", true},
        {u"RollBackRecord", true, {}, u"", false},
        {u"ClearCacheRecord", false, {}, u"", false},
    };
    for (const auto& Row : Rows) {
        TZURecordBlockerObject& Block = Taken({u"Orders", u"1"});
        const auto Hold = Block.KeepAlive();
        App.Log.clear();
        std::vector<TKXVariant> Args{Row.ByObject ? PointerAsLVar(&Block) : TKXVariant(Block.ID())};
        Args.insert(Args.end(), Row.Flags.begin(), Row.Flags.end());
        EXPECT_EQ(Call(Row.Name, Args), TKXVariant(true));
        EXPECT_EQ(App.Log.empty() ? std::u16string() : App.Log.back(), Row.Call);
        EXPECT_EQ(Block.Held(), Row.Kept);
        (void)Call(u"RollBackAll");
        EXPECT_EQ(Blocker.Count(), 0);
    }
}

TEST_F(ZurecblkScript, KeptOnPurpose_ByTableNameTheKeepFlagWritesADocumentAndKeepsNothing) {
    (void)Taken({u"Orders", u"1"});
    EXPECT_EQ(Call(u"CommitRecord", {u"Orders", u"1", true}), TKXVariant(true));
    EXPECT_EQ(App.Log.back(), u"UpdateDoc");
    EXPECT_EQ(Blocker.Count(), 0);
    {
        const TAs Other(u"B");
        (void)Taken({u"Orders", u"1"});
        (void)Taken({u"Orders", u"2"});
    }
    EXPECT_EQ(Call(u"CommitDocInTable", {u"Orders", u"1"}), TKXVariant(false)) << "rights are checked";
    EXPECT_EQ(Code(), 200);
    const std::u16string ID = Blocker.FindHolder(u"Orders", u"1")->ID;
    EXPECT_EQ(Call(u"CommitRecord", {ID}), TKXVariant(false)) << "by ID too";
    EXPECT_EQ(Code(), 200);
    EXPECT_EQ(Call(u"CommitRecord", {u"Orders", u"1"}), TKXVariant(true)) << "and here they are not";
    EXPECT_EQ(App.Log.back(), u"Post");
    EXPECT_EQ(Call(u"RollBackRecord", {u"Orders", u"2"}), TKXVariant(true));
    EXPECT_EQ(Blocker.Count(), 0);
}

TEST_F(ZurecblkScript, LastErrorAndLastObjectParamsAreTheSameObject) {
    EXPECT_EQ(Call(u"LastError"), PointerAsLVar(nullptr));
    TZURecordBlockerObject& Block = Taken({u"Orders", u""});
    const std::u16string ID = Block.ID();
    EXPECT_EQ(Call(u"CommitRecord", {ID}), TKXVariant(true));
    const TKXVariant Params = Call(u"LastObjectParams");
    EXPECT_EQ(Params, Call(u"LastError"));
    TKXVariant Value;
    auto* const Object = ObjectCast<TZURecordBlockerObject>(Params.AsObject());
    ASSERT_NE(Object, nullptr);
    EXPECT_TRUE(Object->GetPropertyInternal(u"RecordID", {}, 0, Value));
    EXPECT_EQ(Value, TKXVariant(u"New1;2"));
    EXPECT_TRUE(Object->GetPropertyInternal(u"ID", {}, 0, Value));
    EXPECT_EQ(Value, TKXVariant(ID));
    EXPECT_EQ(Call(u"CheckRecordAccess", {ID}), TKXVariant(0));
    EXPECT_EQ(Call(u"LastError"), PointerAsLVar(nullptr)) << "the next operation removes it";
}

TEST_F(ZurecblkScript, RollBackAllDropsTheSessionsBlocksOnly) {
    (void)Taken({u"Orders", u"1"});
    {
        const TAs Other(u"B");
        (void)Taken({u"Orders", u"2"});
    }
    (void)Call(u"ClearCacheAll");
    EXPECT_EQ(Blocker.Count(), 1);
    auto Hidden = ThreadObjects().Take(SessionObjectName);
    {
        ThreadObjects().Remove(SessionObjectName);
        ASSERT_NE(Blocker.GetRecord(u"Orders", u"3", otEdit), nullptr);
        (void)Call(u"RollBackAll");
        EXPECT_EQ(Blocker.Count(), 2) << "without a session nothing happens";
    }
    ThreadObjects().Add(SessionObjectName, std::move(Hidden));
}

TEST_F(ZurecblkScript, AResultLivesUntilTheNextAlthoughItIsReleased) {
    TZURecordBlockerObject& Block = Taken({u"Orders", u"1"});
    Blocker.DoneBySID(u"A"); // what another thread may do before the engine has hold of it
    EXPECT_EQ(Block.RecordID(), u"1");
    EXPECT_FALSE(Block.Held());
    (void)Call(u"LockTable", {u"Goods"});
}

TEST_F(ZurecblkScript, TheBlockerPublishesItsBlocks) {
    TZURecordBlockerObject& Block = Taken({u"Orders", u"1"});
    EXPECT_EQ(Blocker.ClassInfo().FindProperty(u"Count")->Get(Blocker), TKXVariant(1));
    const TScriptMember* const Objects = Registry.Find(TZURecordBlocker::StaticClass(), u"Objects");
    const TKXVariant First(0);
    EXPECT_EQ(Objects->Invoke(Blocker, {&First, 1}), PointerAsLVar(&Block));
}

} // namespace
} // namespace zutools::tests
