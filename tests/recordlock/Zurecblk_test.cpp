// The rules of the blocker, its messages, and what is kept although it looks wrong.

#include "recordlock/BlockLists.h"
#include "tests/recordlock/FakeHost.h"
#include "tests/support/Raised.h"
#include "tests/support/TestClock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace zutools::tests {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

class Zurecblk : public ::testing::Test, protected TBench {
protected:
    std::shared_ptr<TZURecordBlockerObject> Take(std::u16string_view Session, std::u16string_view Table,
                                                 std::u16string_view Record, TZUBlockerObjectType Action) {
        const TAs As(Session);
        return Blocker.GetRecord(Table, Record, Action);
    }
};

TEST(ZurecblkNames, ActionsAndCodesHaveTheirTexts) {
    EXPECT_EQ(ObjectTypeToStr(otEdit), u"Edit");
    EXPECT_EQ(ObjectTypeToStr(otDelete), u"Delete");
    EXPECT_EQ(ObjectTypeToStr(otInsert), u"Insert");
    EXPECT_EQ(ObjectTypeToStr(otTable), u"LockTable");
    EXPECT_EQ(ObjectTypeToStr(static_cast<TZUBlockerObjectType>(4)), u"Unknown");

    const std::pair<std::int32_t, std::u16string_view> Texts[] = {
        {101, u"Таблица залочена"},
        {102, u"В таблице редактируется запись"},
        {103, u"В таблицу вставляется запись"},
        {201, u"Запись редактируется в другой сессии"},
        {202, u"Запись удаляется в другой сессии"},
        {203, u"Запись вставляется в другой сессии"},
        {211, u"Запись уже редактируется в текущей сессии"},
        {212, u"Запись уже удаляется в текущей сессии"},
        {220, u"По указаным параметрам запись не найдена"},
        {301, u"Ошибка при открытии таблицы"},
        {302, u"Не найдена запись по идентификатору"},
        {401, u"Исключительная ситуация при проверке прав пользователя"},
        {402, u"У пользователя нет прав на совершение операции"},
        {0, u"Unknown error code: 0"},
        {200, u"Unknown error code: 200"},
        {-7, u"Unknown error code: -7"},
    };
    for (const auto& [Code, Text] : Texts) EXPECT_EQ(BlockerErrorText(Code), Text) << Code;
}

TEST_F(Zurecblk, RecordsThatCannotBeTakenSayWhy) {
    const TAs As(u"A", u"Lee");
    App.NullTables = true;
    EXPECT_EQ(Blocker.GetRecord(u"Orders", u"1", otEdit), nullptr);
    EXPECT_EQ(Message(), u"Ошибка при открытии таблицы");
    EXPECT_EQ(Blocker.GetRecord(u"Orders", u"1", otTable), nullptr) << "no action on a record";
    EXPECT_EQ(Code(), 220);
    App.NullTables = false;
    ASSERT_NE(Blocker.GetRecord(u"Orders", u"1", otEdit), nullptr);
    EXPECT_EQ(Code(), -1) << "the refusal before is forgotten";
    EXPECT_EQ(Blocker.UnLockTableByTableName(u"Orders"), false);
    EXPECT_FALSE(Blocker.UnLockTableByObject(Blocker.Objects(0).get())) << "no table lock";
    EXPECT_EQ(Code(), -1) << "a refusal without a reason, and none of the call before";
    EXPECT_EQ(Blocker.GetRecordByID(u"0123456789ABCDEF0123456789ABCDEg"), nullptr);
    EXPECT_FALSE(TBlockID::Parse(u"G123456789ABCDEF0123456789ABCDEF"));
}

TEST_F(Zurecblk, ASessionMayHaveSoManyBlocks) {
    Blocker.SetMaxBlocks(2);
    const TAs As(u"A");
    ASSERT_NE(Blocker.LockTable(u"Goods"), nullptr);
    const auto Second = Blocker.GetRecord(u"Orders", u"", otInsert);
    ASSERT_NE(Second, nullptr);
    App.Log.clear();
    EXPECT_EQ(Blocker.GetRecord(u"Orders", u"1", otEdit), nullptr);
    EXPECT_EQ(Code(), 502);
    EXPECT_EQ(Message(),
              u"У сессии слишком много блокировок (2): завершите или отмените начатое и повторите попытку");
    EXPECT_EQ(Blocker.LockTable(u"Stock"), nullptr);
    EXPECT_EQ(Code(), 502);
    EXPECT_THAT(App.Log, SizeIs(0)) << "the host was not asked";
    EXPECT_NE(Blocker.LockTable(u"Goods"), nullptr) << "its own one is given again";
    EXPECT_NE(Take(u"B", u"Orders", u"1", otEdit), nullptr) << "others have their own";
    EXPECT_TRUE(Blocker.DoneByObject(Second.get(), false, false, false));
    EXPECT_NE(Blocker.GetRecord(u"Orders", u"2", otEdit), nullptr);
}

// Its names are one text for all its blocks, until they are forgotten.
TEST_F(Zurecblk, ASessionIsRememberedUntilItEndsOrSixteenOthersCome) {
    std::shared_ptr<TZURecordBlockerObject> Last;
    std::vector<std::shared_ptr<TZURecordBlockerObject>> Kept; // so that no memory comes again
    const auto IsRemembered = [&](bool GiveBack = true) {
        const auto Block = Kept.emplace_back(Take(u"A", u"Orders", u"1", otEdit));
        const TAs As(u"A");
        if (GiveBack) (void)Blocker.DoneByObject(Block.get(), false, false, false);
        const auto Before = std::exchange(Last, Block);
        return Before != nullptr && &Before->SID() == &Block->SID();
    };
    auto Others = [&, Number = 0](int Count) mutable {
        for (; Count > 0; --Count) {
            const TAs As(u"S" + TKXVariant(++Number).AsString());
            const auto Block = Blocker.GetRecord(u"Goods", u"a", otEdit);
            (void)Blocker.DoneByObject(Block.get(), false, false, false);
        }
    };
    EXPECT_FALSE(IsRemembered());
    Others(15);
    EXPECT_TRUE(IsRemembered());
    Others(16);
    EXPECT_FALSE(IsRemembered(false));
    Others(40);
    {
        const TAs As(u"A");
        EXPECT_TRUE(Blocker.DoneByObject(Last.get(), false, false, false)) << "it was no idle one";
    }
    EXPECT_TRUE(IsRemembered(false));
    Blocker.DoneBySID(u"A");
    EXPECT_FALSE(IsRemembered());
    Blocker.DoneBySID(u"A");
    EXPECT_FALSE(IsRemembered());
    Others(40);
    EXPECT_EQ(Blocker.Count(), 0);
}

TEST_F(Zurecblk, OnlyItsOwnSessionSetsFieldsOfABlock) {
    const auto Block = Take(u"A", u"Orders", u"1", otEdit);
    const TKXVariant New(u"forged");
    TKXVariant Value;
    {
        const TAs As(u"B");
        const auto Seen =
            std::static_pointer_cast<TZURecordBlockerObject>(Blocker.GetRecordByID(Block->ID()));
        for (TIObject* const Fields :
             {static_cast<TIObject*>(Seen.get()), static_cast<TIObject*>(Seen->RecordInterface())}) {
            ExpectRaised<EZURecordBlockerInterface>(
                [&] { return Fields->SetPropertyInternal(u"Name", {&New, 1}, 0); },
                {"\"Name\"", "another session has the record \"1\" of table Orders"});
            EXPECT_TRUE(Fields->GetPropertyInternal(u"Name", {}, 0, Value));
            EXPECT_EQ(Value, TKXVariant(u"one"));
            EXPECT_EQ(Fields->KeepAlive(), Block);
        }
    }
    const TAs As(u"A");
    EXPECT_TRUE(Block->RecordInterface()->SetPropertyInternal(u"Name", {&New, 1}, 0));
    EXPECT_EQ(Block->Table().Field(u"Name").AsString(), u"forged");
}

// The host's tables hold "items" and "ITEMS" equal in every language; the Turkish collation does not.
TEST(BlockNames, AreThoseOfTheHostUnderEveryCollation) {
    for (const char* const Locale : {"", "ru-RU", "tr-TR", "az-Latn-AZ"}) {
        const platform::TCollator Collator(Locale);
        const TNameMatch Match(Collator, false);
        const TBlockNames Names(Match);
        EXPECT_EQ(Names.Compare(u"items", u"ITEMS"), 0) << Locale;
        EXPECT_EQ(Names.OrderKey(u"items").Compare(Names.OrderKey(u"ITEMS")), 0) << Locale;
        EXPECT_EQ(Names.Compare(u"заказы", u"ЗАКАЗЫ"), 0) << Locale;
        EXPECT_LT(Names.Compare(u"items", u"JTEMS"), 0) << Locale;
        EXPECT_GT(Names.Compare(u"items", u"item"), 0) << Locale;
        if (Match.Same(u"ITEMS", u"\u0131tems")) {
            EXPECT_EQ(Names.Compare(u"ITEMS", u"\u0131tems"), 0) << Locale;
        }
    }
}

TEST_F(Zurecblk, ABlockTellsAboutItself) {
    TTestClock Clock;
    TZURecordBlocker Own(
        {.ApplicationManager = std::make_shared<TFakeManager>(App), .Localizer = nullptr, .Logger = nullptr},
        Clock);
    const TAs As(u"A", u"Lee");
    const auto Block = Own.GetRecord(u"Orders", u"1", otDelete);
    ASSERT_NE(Block, nullptr);
    TKXVariant Value;
    const std::pair<std::u16string_view, TKXVariant> Rows[] = {
        {u"SID", u"A"},
        {u"UserName", u"Lee"},
        {u"TableName", u"Orders"},
        {u"RecAction", 1},
        {u"LastErrorMessage", u""},
        {u"LastErrorCode", 0},
        {u"ID", Block->ID()},
        {u"RecordID", u"1"},
        {u"Name", u"one"},
        {u"CreateTime", Block->CreateTime()},
        {u"RecordInterface", PointerAsLVar(Block->RecordInterface())},
    };
    for (const auto& [Name, Wanted] : Rows) {
        EXPECT_TRUE(Block->GetPropertyInternal(Name, {}, 0, Value));
        EXPECT_EQ(Value, Wanted) << TKXVariant(Name).AsAnsiString();
    }
    EXPECT_FALSE(Block->GetPropertyInternal(u"Nobody", {}, 0, Value));
    const TKXVariant New(u"uno");
    EXPECT_TRUE(Block->SetPropertyInternal(u"name", {&New, 1}, 0));
    EXPECT_EQ(Block->Table().Field(u"Name").AsString(), u"uno");
    EXPECT_FALSE(Block->SetPropertyInternal(u"Nobody", {&New, 1}, 0));
    EXPECT_THROW(Block->SetPropertyInternal(u"RecordID", {&New, 1}, 0), EIObjectError);
    EXPECT_THAT(Block->ID(), SizeIs(32));
    EXPECT_EQ(Block->ID()[12], u'7') << "a GUID that begins with the moment";

    const double Utc =
        25569 + std::chrono::duration<double, std::ratio<86400>>(Clock.Wall().time_since_epoch()).count();
    EXPECT_NEAR(Block->CreateTime().Days, Utc, 0.6) << "local time, at most 14 hours away";

    TZURecordBlockerObject Copy;
    Copy.Assign(*Block);
    EXPECT_EQ(Copy.ID(), Block->ID());
    EXPECT_EQ(Copy.RecordID(), u"1");
    EXPECT_EQ(Copy.UserName(), u"Lee");
    Copy.AddToHistroy(u"later");
    EXPECT_THAT(Copy.ActionHistory(), ElementsAre(Block->ActionHistory()[0], u"later\r\n"));
    EXPECT_EQ(Copy.RecordInterface(), nullptr);
}

TEST_F(Zurecblk, TheSessionIsReadThroughItsProperties) {
    class TOtherSession : public TObject {
    public:
        static const TClassInfo& StaticClass() {
            static constexpr TPropInfo Properties[] = {
                {u"SID", TTypeKind::tkUString, u"string", [](const TObject&) { return TKXVariant(u"S7"); },
                 nullptr},
                {u"USR", TTypeKind::tkUString, u"string", [](const TObject&) { return TKXVariant(u"Kim"); },
                 nullptr},
            };
            static constexpr TClassInfo Info{u"TOtherSession", &TObject::StaticClass, Properties};
            return Info;
        }
        const TClassInfo& ClassInfo() const override { return StaticClass(); }
    };
    EXPECT_EQ(Blocker.CetCurrentSession(), nullptr);
    EXPECT_EQ(Blocker.CurrentSID(), u"");
    ThreadObjects().Add(SessionObjectName, std::make_unique<TOtherSession>());
    EXPECT_EQ(Blocker.CurrentSID(), u"S7");
    const auto Block = Blocker.GetRecord(u"Orders", u"1", otEdit);
    ASSERT_NE(Block, nullptr);
    EXPECT_EQ(Block->UserName(), u"Kim");
    ThreadObjects().Remove(SessionObjectName);
    EXPECT_EQ(Blocker.CheckRecordByObject(Block.get()), 11);
    ThreadObjects().Remove(LastErrorObjectName);
}

// ---- history

TEST_F(Zurecblk, TheHistoryTellsWhatWasDone) {
    TFakeExecutor Executor;
    std::shared_ptr<TZURecordBlockerObject> Block;
    {
        const TScriptExecutorScope Running(Executor);
        Block = Take(u"A", u"Orders", u"1", otEdit);
    }
    ASSERT_NE(Block, nullptr);
    const TAs As(u"A");
    (void)Blocker.GetRecord(u"orders", u"1", otEdit);
    (void)Blocker.CheckRecordByObject(Block.get());
    Executor.Fails = true;
    {
        const TScriptExecutorScope Running(Executor);
        Block->AddToHistroy(u"by hand");
    }
    EXPECT_TRUE(Blocker.DoneByObject(Block.get(), false, false, true));
    EXPECT_TRUE(Blocker.DoneByID(Block->ID(), true, false, false, true));
    EXPECT_THAT(Block->ActionHistory(),
                ElementsAre(u"GetRecord create new object TableName: Orders RecordID: 1 ActionType: "
                            u"Edit\r\npage.lua:12",
                            u"GetRecord use old object TableName: orders RecordID: 1ActionType: Edit\r\n",
                            u"CheckRecordInternal\r\n", u"by hand\r\n", u"DoneInternal CommitChanges: 0\r\n",
                            u"CheckRecordInternal\r\n", u"DoneInternal CommitChanges: 1\r\n"));

    const auto Lock = Blocker.LockTable(u"Goods");
    (void)Blocker.LockTable(u"GOODS");
    EXPECT_TRUE(Blocker.UnLockTableByObject(Lock.get()));
    EXPECT_THAT(Lock->ActionHistory(), ElementsAre(u"LockTable create new object TableName: Goods\r\n",
                                                   u"LockTable use old object TableName: GOODS\r\n",
                                                   u"UnLockTableInternal\r\n", u"CheckRecordInternal\r\n"));
    Lock->AddToHistroy(u"too late");
    EXPECT_THAT(Lock->ActionHistory(), SizeIs(4)) << "the history of a released block is closed";

    const auto Insert = Blocker.GetRecord(u"Goods", u"a", otInsert);
    EXPECT_EQ(Insert->Table().Field(u"Name").AsString(), u"apple") << "a copy";
    EXPECT_TRUE(Blocker.DoneByObject(Insert.get(), true, false, true));
    EXPECT_EQ(Insert->RecordID(), u"New1;2");
    EXPECT_EQ(Insert->ActionHistory()[0],
              u"GetRecord create new object TableName: Goods RecordID: a ActionType: Insert\r\n")
        << "the record that it was asked with";
}

TEST_F(Zurecblk, KeptOnPurpose_NoBlankBeforeActionTypeOfAReusedBlock) {
    const auto Block = Take(u"A", u"Orders", u"1", otDelete);
    (void)Take(u"A", u"Orders", u"1", otDelete);
    EXPECT_EQ(Block->ActionHistory().back(),
              u"GetRecord use old object TableName: Orders RecordID: 1ActionType: Delete\r\n");
}

TEST_F(Zurecblk, TheHistoryIsBounded) {
    const auto Block = Take(u"A", u"Orders", u"1", otEdit);
    for (int Number = 0; Number < 250; ++Number) {
        Block->AddToHistroy(TKXVariant(Number).AsString());
        if (Number > 8) continue;
        ASSERT_THAT(Block->ActionHistory(), SizeIs(Number + 2)) << "the first of all is about the taking";
        EXPECT_EQ(Block->ActionHistory()[1], u"0\r\n");
    }
    std::vector<std::u16string> History = Block->ActionHistory();
    ASSERT_THAT(History, SizeIs(100));
    EXPECT_EQ(History.front(), u"150\r\n");
    EXPECT_EQ(History.back(), u"249\r\n");
    Block->AddToHistroy(std::u16string(4095, u'x') + u"\U0001F600 and more");
    EXPECT_EQ(Block->ActionHistory().back(), std::u16string(4095, u'x')) << "no half of a pair";
    TFakeExecutor Executor;
    Executor.Stack.assign(5000, u's');
    const TScriptExecutorScope Running(Executor);
    Block->AddToHistroy(u"t");
    EXPECT_EQ(Block->ActionHistory().back(), u"t\r\n" + std::u16string(4093, u's'));
    (void)Blocker.CheckRecordByObject(Block.get());
    EXPECT_THAT(Block->ActionHistory().back(), SizeIs(4096));
    TZURecordBlockerObject Copy;
    Copy.Assign(*Block);
    EXPECT_EQ(Copy.ActionHistory(), Block->ActionHistory()) << "in order";
}

// ---- giving back

TEST_F(Zurecblk, DocumentsThatAreNotEnteredSayWhy) {
    const TAs As(u"A");
    const auto Block = Blocker.GetRecord(u"Orders", u"", otInsert);
    App.InsertDocResult = -1;
    EXPECT_FALSE(Blocker.DoneByObject(Block.get(), true, true, false));
    EXPECT_EQ(Code(), 303);
    EXPECT_EQ(Message(), u"Error in InsertDoc function on GetDictionary");
    App.InsertDocResult = -2;
    EXPECT_FALSE(Blocker.DoneByObject(Block.get(), true, true, false));
    EXPECT_EQ(Message(),
              u"Error in InsertDoc function on InsertDocument.\r\nТаблица: Orders; Номер клиента: 42");
    EXPECT_EQ(Blocker.LastError()->ID(), Block->ID());
    EXPECT_TRUE(Block->Held()) << "nothing is lost";
    App.InsertDocResult = 7;
    EXPECT_TRUE(Blocker.DoneByObject(Block.get(), true, true, false));
}

TEST_F(Zurecblk, KeptOnPurpose_ABlockOfAnotherSessionGivesTwoHundredAndItsAction) {
    const std::tuple<TZUBlockerObjectType, std::int32_t, std::u16string_view> Rows[] = {
        {otEdit, 200, u"Unknown error code: 200"},
        {otDelete, 201, u"Запись редактируется в другой сессии"},
        {otInsert, 202, u"Запись удаляется в другой сессии"},
        {otTable, 203, u"Запись вставляется в другой сессии"},
    };
    for (const auto& [Action, Wanted, Text] : Rows) {
        std::shared_ptr<TZURecordBlockerTableObject> Block;
        if (Action == otTable) {
            const TAs As(u"A");
            Block = Blocker.LockTable(u"Goods");
        } else {
            Block = Take(u"A", u"Orders", Action == otInsert ? u"" : u"1", Action);
        }
        const TAs As(u"B");
        EXPECT_FALSE(Blocker.DoneByObject(Block.get(), false, false, false));
        EXPECT_EQ(Code(), Wanted);
        EXPECT_EQ(Message(), Text);
        Blocker.DoneBySID(u"A");
    }
}

TEST_F(Zurecblk, AListOfIDsEndsAtTheUnknownOne) {
    const TAs As(u"A");
    const auto Third = Blocker.GetRecord(u"Orders", u"3", otEdit);
    EXPECT_FALSE(Blocker.DoneByID(u" xyz ," + Third->ID(), false, true, false, false));
    EXPECT_EQ(Message(), u"По указаным параметрам запись не найдена AddInfo: ID: xyz");
    EXPECT_TRUE(Third->Held());
    EXPECT_FALSE(Blocker.DoneByID(Third->ID() + u",," + Third->ID(), false, true, false, false));
    EXPECT_EQ(Message(), u"По указаным параметрам запись не найдена AddInfo: ID: ");
    EXPECT_FALSE(Third->Held()) << "what stood before it was done";
}

TEST_F(Zurecblk, KeptOnPurpose_ASessionEndsFromItsLastBlockToItsFirst) {
    for (const auto* const Record : {u"1", u"3"}) (void)Take(u"A", u"Orders", Record, otEdit);
    (void)Take(u"B", u"Orders", u"2", otEdit);
    App.Gone.clear();
    Blocker.DoneBySID(u"nobody");
    Blocker.DoneBySID(u"A");
    EXPECT_EQ(App.Gone, u"31");
    EXPECT_EQ(Blocker.Count(), 1) << "it ends alone";
    EXPECT_EQ(Blocker.Objects(1), nullptr);
    EXPECT_EQ(Blocker.Objects(-1), nullptr);
    Blocker.DoneBySID(Blocker.Objects(0)->SID());
    EXPECT_EQ(App.Gone, u"312");
}

// ---- rights

TEST_F(Zurecblk, KeptOnPurpose_ACommitRefusedForLackOfRightsGivesTheBlockBack) {
    const TAs As(u"A", u"Lee");
    const auto Block = Blocker.GetRecord(u"Orders", u"1", otEdit);
    Block->Table().SetField(u"Name", u"new");
    App.Forbidden = {u"Lee Orders 1"};
    EXPECT_FALSE(Blocker.DoneByObject(Block.get(), true, false, false));
    EXPECT_EQ(Code(), 402);
    EXPECT_EQ(App.Tables[u"Orders"][u"1"], u"one");
    EXPECT_FALSE(Block->Held());
}

// ---- blocks that others let go

TEST_F(Zurecblk, AReleasedBlockStaysReadable) {
    const auto Block = Take(u"A", u"Orders", u"1", otEdit);
    TObjectRef Reference = Block->Reference();
    TObjectRef Fields = Block->RecordInterface()->Reference();
    ASSERT_EQ(Reference.Get(), Block.get());
    EXPECT_EQ(Block->KeepAlive(), Block);
    Blocker.DoneBySID(u"A");
    EXPECT_EQ(Reference.Get(), nullptr) << "gone for scripts";
    EXPECT_EQ(Fields.Get(), nullptr);
    EXPECT_EQ(Block->RecordID(), u"1");
    EXPECT_EQ(Block->Table().Field(u"Name").AsString(), u"one");
    const TAs As(u"A");
    EXPECT_EQ(Blocker.CheckRecordByObject(Block.get()), 0);
    EXPECT_FALSE(Blocker.DoneByObject(Block.get(), true, false, false));
    EXPECT_EQ(Code(), 220);
    EXPECT_FALSE(Blocker.UnLockTableByObject(Block.get()));
    EXPECT_EQ(Code(), 220);
}

TEST_F(Zurecblk, BlocksOutliveTheirBlocker) {
    std::shared_ptr<TZURecordBlockerObject> Block;
    {
        TBench Short;
        const TAs As(u"A");
        Block = Short.Blocker.GetRecord(u"Orders", u"1", otEdit);
    }
    EXPECT_FALSE(Block->Held());
    EXPECT_EQ(Block->RecordID(), u"1");
    EXPECT_THAT(Block->ActionHistory(), SizeIs(1));
}

// ---- administration

TEST_F(Zurecblk, BlocksAreListedPageByPageInOrderOfID) {
    for (int Number = 0; Number < 500; ++Number)
        ASSERT_NE(Take(Number % 2 == 0 ? u"A" : u"B", u"Orders", u"", otInsert), nullptr);
    std::vector<std::u16string> All;
    for (;;) {
        const auto Page = Blocker.ListBlocks(All.empty() ? std::u16string() : All.back(), 77);
        if (Page.empty()) break;
        EXPECT_LE(Page.size(), 77u);
        for (const TZUBlockInfo& Each : Page) All.push_back(Each.ID);
    }
    ASSERT_THAT(All, SizeIs(500));
    EXPECT_TRUE(std::ranges::is_sorted(All));
    for (std::size_t Number = 0; Number < All.size(); ++Number)
        EXPECT_EQ(Blocker.Objects(static_cast<int>(Number))->ID(), All[Number]);
    EXPECT_THAT(Blocker.ListBlocks({}, 0), SizeIs(0));
    EXPECT_THAT(Blocker.ListBlocks(u"no ID", 5), SizeIs(0));
}

TEST_F(Zurecblk, AnAdministratorReleasesAnyBlock) {
    std::shared_ptr<TZURecordBlockerObject> Block;
    {
        const TAs As(u"secret-session", u"Lee");
        Block = Blocker.GetRecord(u"Orders", u"1", otEdit);
    }
    App.Log.clear();
    EXPECT_FALSE(Blocker.ReleaseBlock(u"0123", u"Admin"));
    EXPECT_TRUE(Blocker.ReleaseBlock(LowerCase(Block->ID()), u"Admin"));
    EXPECT_FALSE(Block->Held());
    EXPECT_THAT(App.Log, SizeIs(0)) << "nothing was written";
    EXPECT_THAT(Logger->Lines(), ElementsAre("Record block released by Admin: Edit of table Orders, record "
                                             "\"1\", held by Lee"));
    EXPECT_EQ(Blocker.LastError(), nullptr);
}

} // namespace
} // namespace zutools::tests
