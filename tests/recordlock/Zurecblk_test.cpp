// The rules of the blocker, its messages, and what is kept although it looks wrong.

#include "tests/recordlock/FakeHost.h"
#include "tests/support/TestClock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

// Who comes second, with what, and what it is told.
TEST_F(Zurecblk, ASecondTakerIsTold) {
    const struct {
        TZUBlockerObjectType First;
        std::u16string_view Session;
        TZUBlockerObjectType Second;
        std::int32_t Code; // -1: none, the block is given
    } Rows[] = {
        {otEdit, u"B", otEdit, 201},     {otEdit, u"B", otDelete, 201},  {otDelete, u"B", otEdit, 202},
        {otDelete, u"B", otDelete, 202}, {otEdit, u"A", otDelete, 211},  {otDelete, u"A", otEdit, 212},
        {otEdit, u"A", otEdit, -1},      {otDelete, u"A", otDelete, -1}, {otEdit, u"B", otInsert, -1},
        {otEdit, u"a", otEdit, 201}, // identifiers of sessions compare exactly
    };
    for (const auto& Row : Rows) {
        SCOPED_TRACE(::testing::Message() << Row.First << " then " << Row.Second);
        const auto First = Take(u"A", u"Orders", u"1", Row.First);
        ASSERT_NE(First, nullptr);
        {
            const TAs As(Row.Session);
            const auto Second = Blocker.GetRecord(u"ORDERS", u"1", Row.Second);
            EXPECT_EQ(Code(), Row.Code);
            EXPECT_EQ(Second != nullptr, Row.Code == -1);
            if (Row.Code != -1) {
                EXPECT_EQ(Message(), BlockerErrorText(Row.Code));
                EXPECT_EQ(Blocker.LastError()->SID(), u"A") << "it tells who has the record";
                EXPECT_EQ(Blocker.LastError()->RecordID(), u"1");
            } else if (Row.Second != otInsert) {
                EXPECT_EQ(Second, First);
            }
        }
        for (const auto Session : {u"A", u"B", u"a"}) Blocker.DoneBySID(Session);
        EXPECT_EQ(Blocker.Count(), 0);
    }
}

TEST_F(Zurecblk, NamesOfTablesAndRecordsCompareIgnoringCase) {
    const auto Block = Take(u"A", u"Goods", u"a", otEdit);
    const TAs As(u"A");
    EXPECT_EQ(Blocker.GetRecord(u"gOODS", u"A", otEdit), Block);
    EXPECT_EQ(Blocker.CheckRecordByTableNameRecordID(u"GOODS", u"A"), 1);
    EXPECT_EQ(Block->TableName(), u"Goods");
    EXPECT_EQ(Block->RecordID(), u"a");
}

TEST_F(Zurecblk, StatesOfBlocks) {
    std::vector<std::shared_ptr<TZURecordBlockerTableObject>> Blocks{Take(u"A", u"Orders", u"1", otEdit),
                                                                     Take(u"A", u"Orders", u"2", otDelete),
                                                                     Take(u"A", u"Orders", u"", otInsert)};
    {
        const TAs As(u"A");
        Blocks.push_back(Blocker.LockTable(u"Goods"));
    }
    for (int Number = 0; Number < 4; ++Number) {
        auto& Block = Blocks[static_cast<std::size_t>(Number)];
        ASSERT_NE(Block, nullptr);
        for (const auto& [Session, Added] : {std::pair{u"A", 1}, std::pair{u"B", 11}}) {
            const TAs As(Session);
            EXPECT_EQ(Blocker.CheckRecordByObject(Block.get()), Number + Added);
            EXPECT_EQ(Blocker.CheckRecordByID(Block->ID()), Number + Added);
            EXPECT_EQ(Blocker.CheckRecordByID(LowerCase(Block->ID())), Number + Added);
            EXPECT_EQ(Code(), -1);
        }
    }
    EXPECT_EQ(Blocker.CheckRecordByObject(nullptr), 0);
    EXPECT_EQ(Blocker.CheckRecordByID(u"nobody"), 0);
    EXPECT_EQ(Blocker.CheckRecordByTableNameRecordID(u"Orders", u"3"), 0);
    EXPECT_EQ(Blocker.CheckRecordByTableNameRecordID(u"Orders", u"2"), 12);
}

TEST_F(Zurecblk, TablesAreLockedWhole) {
    {
        const TAs As(u"A");
        const auto Lock = Blocker.LockTable(u"Orders");
        ASSERT_NE(Lock, nullptr);
        EXPECT_EQ(Blocker.LockTable(u"orders"), Lock);
        EXPECT_EQ(Blocker.GetRecord(u"Orders", u"1", otEdit), nullptr) << "not even the session itself";
        EXPECT_EQ(Code(), 101);
    }
    const TAs As(u"B");
    EXPECT_EQ(Blocker.LockTable(u"Orders"), nullptr);
    EXPECT_EQ(Code(), 101);
    EXPECT_EQ(Blocker.LastError()->SID(), u"A");
    for (const auto Action : {otEdit, otDelete, otInsert}) {
        EXPECT_EQ(Blocker.GetRecord(u"ORDERS", u"1", Action), nullptr);
        EXPECT_EQ(Code(), 101);
    }
    EXPECT_FALSE(Blocker.UnLockTableByTableName(u"Orders"));
    EXPECT_EQ(Code(), -1) << "a refusal without a reason";
    EXPECT_EQ(Blocker.Count(), 1);
    EXPECT_FALSE(Blocker.UnLockTableByTableName(u"Goods"));
    EXPECT_EQ(Code(), 220);
    EXPECT_FALSE(Blocker.UnLockTableByObject(nullptr));
    EXPECT_EQ(Code(), 220);
    const TAs Owner(u"A");
    EXPECT_TRUE(Blocker.UnLockTableByTableName(u"ORDERS"));
    EXPECT_EQ(Blocker.Count(), 0);
}

TEST_F(Zurecblk, ATableWithBlocksCannotBeLocked) {
    const auto Insert = Take(u"A", u"Orders", u"", otInsert);
    const TAs As(u"B");
    EXPECT_EQ(Blocker.LockTable(u"Orders"), nullptr);
    EXPECT_EQ(Code(), 103);
    EXPECT_EQ(Blocker.LastError()->ID(), Insert->ID());
    ASSERT_NE(Blocker.GetRecord(u"Orders", u"3", otEdit), nullptr);
    ASSERT_NE(Blocker.GetRecord(u"Orders", u"2", otDelete), nullptr);
    EXPECT_EQ(Blocker.LockTable(u"Orders"), nullptr);
    EXPECT_EQ(Code(), 102);
    EXPECT_EQ(Blocker.LastError()->RecordID(), u"2") << "the first in order of record ID";
    EXPECT_FALSE(Blocker.UnLockTableByObject(Blocker.Objects(0).get())) << "no table lock";
    EXPECT_EQ(Blocker.Count(), 3);
}

TEST_F(Zurecblk, OpeningFails) {
    const TAs As(u"A", u"Lee");
    EXPECT_EQ(Blocker.GetRecord(u"Orders", u"99", otEdit), nullptr);
    EXPECT_EQ(Code(), 302);
    EXPECT_EQ(Blocker.GetRecord(u"Orders", u"99", otInsert), nullptr) << "a copy of nothing";
    EXPECT_EQ(Code(), 302);
    EXPECT_EQ(Blocker.GetRecord(u"Orders", u"", otDelete), nullptr);
    EXPECT_EQ(Code(), 302);
    App.NullTables = true;
    EXPECT_EQ(Blocker.GetRecord(u"Orders", u"1", otEdit), nullptr);
    EXPECT_EQ(Message(), u"Ошибка при открытии таблицы");
    App.NullTables = false;
    App.FailAt = App.Calls + 2;
    EXPECT_EQ(Blocker.GetRecord(u"Orders", u"1", otEdit), nullptr);
    EXPECT_EQ(Code(), 301);
    EXPECT_EQ(Message(), u"host failed at Open");
    EXPECT_EQ(Blocker.GetRecord(u"Orders", u"1", otTable), nullptr) << "no action on a record";
    EXPECT_EQ(Code(), 220);
    EXPECT_EQ(Blocker.Count(), 0);
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
    EXPECT_EQ(Copy.ActionHistory(), Block->ActionHistory());
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

TEST_F(Zurecblk, OneSessionMayChangeItsUser) {
    const auto Before = Take(u"A", u"Orders", u"1", otEdit);
    const TAs As(u"A", u"Lee");
    const auto After = Blocker.GetRecord(u"Orders", u"2", otEdit);
    EXPECT_EQ(Before->UserName(), u"");
    EXPECT_EQ(After->UserName(), u"Lee");
    Blocker.DoneBySID(u"A");
    EXPECT_EQ(Blocker.Count(), 0);
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
    EXPECT_TRUE(Blocker.DoneByObject(Insert.get(), true, false, true));
    EXPECT_EQ(Insert->ActionHistory()[0],
              u"GetRecord create new object TableName: Goods RecordID: a ActionType: Insert\r\n")
        << "the record that it was asked with";
}

TEST_F(Zurecblk, KeptOnPurpose_NoBlankBeforeActionTypeOfAReusedBlock) {
    const auto Block = Take(u"A", u"Orders", u"1", otDelete);
    const TAs As(u"A");
    (void)Blocker.GetRecord(u"Orders", u"1", otDelete);
    EXPECT_EQ(Block->ActionHistory().back(),
              u"GetRecord use old object TableName: Orders RecordID: 1ActionType: Delete\r\n");
}

TEST_F(Zurecblk, TheHistoryIsBounded) {
    const auto Block = Take(u"A", u"Orders", u"1", otEdit);
    for (int Number = 0; Number < 250; ++Number) Block->AddToHistroy(TKXVariant(Number).AsString());
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
}

// ---- giving back

TEST_F(Zurecblk, DoneWritesWhatTheBlockIsFor) {
    const struct {
        TZUBlockerObjectType Action;
        bool Commit;
        bool AsDoc;
        std::u16string_view Call; // the last one
    } Rows[] = {
        {otEdit, true, false, u"Post"},       {otEdit, true, true, u"UpdateDoc"},
        {otDelete, true, false, u"Delete"},   {otDelete, true, true, u"Delete"},
        {otInsert, true, false, u"RecordID"}, {otInsert, true, true, u"RecordID"},
        {otEdit, false, true, u""},           {otInsert, false, false, u""},
    };
    for (const auto& Row : Rows) {
        SCOPED_TRACE(::testing::Message() << Row.Action << Row.Commit << Row.AsDoc);
        App.Tables[u"Orders"] = {{u"1", u"one"}};
        const auto Block = Take(u"A", u"Orders", Row.Action == otInsert ? u"" : u"1", Row.Action);
        ASSERT_NE(Block, nullptr);
        App.Log.clear();
        Block->Table().SetField(u"Name", u"new");
        const TAs As(u"A");
        EXPECT_TRUE(Blocker.DoneByObject(Block.get(), Row.Commit, Row.AsDoc, false));
        EXPECT_EQ(App.Log.empty() ? std::u16string() : App.Log.back(), Row.Call);
        EXPECT_EQ(Code(), 0);
        EXPECT_EQ(Message(), u"Unknown error code: 0");
        EXPECT_EQ(Blocker.LastError()->ID(), Row.Commit ? Block->ID() : std::u16string());
        EXPECT_FALSE(Block->Held());
        EXPECT_EQ(Blocker.Count(), 0);
    }
}

TEST_F(Zurecblk, AnInsertedRecordHasANewID) {
    const TAs As(u"A");
    for (const bool AsDoc : {false, true}) {
        const auto Block = Blocker.GetRecord(u"Orders", u"1", otInsert);
        ASSERT_NE(Block, nullptr);
        EXPECT_EQ(Block->Table().Field(u"Name").AsString(), u"one") << "a copy";
        EXPECT_TRUE(Blocker.DoneByObject(Block.get(), true, AsDoc, true));
        const std::u16string Wanted = AsDoc ? u"New2;2" : u"New1;2";
        EXPECT_EQ(Blocker.LastError()->RecordID(), Wanted);
        EXPECT_EQ(Block->RecordID(), Wanted);
        EXPECT_EQ(Blocker.CheckRecordByID(Block->ID()), 3) << "kept";
    }
}

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

TEST_F(Zurecblk, ANewRecordWhoseKeyCannotBeToldIsNotWrittenTwice) {
    const TAs As(u"A");
    const auto Block = Blocker.GetRecord(u"Orders", u"", otInsert);
    App.FailAt = App.Calls + 2; // Insert, RecordID
    EXPECT_TRUE(Blocker.DoneByObject(Block.get(), true, false, false));
    EXPECT_EQ(Block->RecordID(), u"");
    EXPECT_THAT(Logger->Entries,
                ElementsAre(u"The key of a new record of Orders cannot be told: host failed at RecordID"));
}

TEST_F(Zurecblk, AnotherSessionCannotGiveBackByObjectOrID) {
    const auto Block = Take(u"A", u"Orders", u"1", otDelete);
    const TAs As(u"B");
    EXPECT_FALSE(Blocker.DoneByObject(Block.get(), true, false, false));
    EXPECT_EQ(Code(), 201);
    EXPECT_FALSE(Blocker.DoneByID(Block->ID(), false, true, false, false));
    EXPECT_EQ(Code(), 201);
    EXPECT_EQ(Blocker.LastError()->SID(), u"A");
    EXPECT_TRUE(Block->Held());
    EXPECT_TRUE(Blocker.DoneByID(Block->ID(), false, false, false, false)) << "without the check";
    EXPECT_FALSE(Block->Held());
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

TEST_F(Zurecblk, DoneByIDTakesAList) {
    const TAs As(u"A");
    const auto First = Blocker.GetRecord(u"Orders", u"1", otEdit);
    const auto Second = Blocker.GetRecord(u"Orders", u"2", otEdit);
    const auto Third = Blocker.GetRecord(u"Orders", u"3", otEdit);
    EXPECT_TRUE(Blocker.DoneByID(First->ID() + u", " + LowerCase(Second->ID()), false, true, false, false));
    EXPECT_EQ(Blocker.Count(), 1);
    EXPECT_FALSE(Blocker.DoneByID(u" xyz ," + Third->ID(), false, true, false, false));
    EXPECT_EQ(Code(), 220);
    EXPECT_EQ(Message(), u"По указаным параметрам запись не найдена AddInfo: ID: xyz");
    EXPECT_TRUE(Third->Held()) << "the list ends at the unknown one";
    EXPECT_FALSE(Blocker.DoneByID(Third->ID() + u",," + Third->ID(), false, true, false, false));
    EXPECT_EQ(Message(), u"По указаным параметрам запись не найдена AddInfo: ID: ");
    EXPECT_FALSE(Third->Held()) << "what stood before it was done";
    EXPECT_TRUE(Blocker.DoneByID(u"", false, true, false, false)) << "none at all";
}

TEST_F(Zurecblk, KeptOnPurpose_ByTableNameTheFlagsCountOnePlaceOn) {
    {
        const auto Block = Take(u"A", u"Orders", u"1", otEdit);
        const TAs As(u"B");
        EXPECT_FALSE(Blocker.DoneByTableNameRecordID(u"Orders", u"1", true, true, false));
        EXPECT_EQ(Code(), 200) << "AsDoc asks for the check";
        EXPECT_TRUE(Block->Held());
        EXPECT_TRUE(Blocker.DoneByTableNameRecordID(u"Orders", u"1", true, false, true));
        EXPECT_EQ(App.Log.back(), u"UpdateDoc") << "KeepInCashe writes as a document";
        EXPECT_FALSE(Block->Held()) << "and keeps nothing";
    }
    const TAs As(u"A");
    EXPECT_FALSE(Blocker.DoneByTableNameRecordID(u"Orders", u"1", true, false, false));
    EXPECT_EQ(Code(), 220);
}

TEST_F(Zurecblk, ASessionEndsAlone) {
    (void)Take(u"A", u"Orders", u"1", otEdit);
    (void)Take(u"A", u"Goods", u"", otInsert);
    const auto Other = Take(u"B", u"Orders", u"2", otEdit);
    Blocker.DoneBySID(u"A");
    EXPECT_EQ(Blocker.Count(), 1);
    EXPECT_EQ(Blocker.Objects(0), Other);
    EXPECT_EQ(Blocker.Objects(1), nullptr);
    EXPECT_EQ(Blocker.Objects(-1), nullptr);
    Blocker.DoneBySID(u"nobody");
    Blocker.DoneBySID(Other->SID());
    EXPECT_EQ(Blocker.Count(), 0);
}

// ---- rights

TEST_F(Zurecblk, RightsAreAskedForTheUserTheTableAndTheOperation) {
    const TAs As(u"A", u"Lee");
    App.Forbidden = {u"Lee Orders 1", u"Lee Goods 2", u"Lee Goods 3"};
    EXPECT_EQ(Blocker.GetRecord(u"Orders", u"1", otEdit), nullptr);
    EXPECT_EQ(Code(), 402);
    EXPECT_EQ(Message(), u"У пользователя нет прав на совершение операции");
    EXPECT_EQ(Blocker.Count(), 0);
    EXPECT_NE(Blocker.GetRecord(u"Orders", u"1", otDelete), nullptr);
    EXPECT_EQ(Blocker.GetRecord(u"Goods", u"a", otDelete), nullptr);
    EXPECT_EQ(Code(), 402);
    App.Log.clear();
    const auto Insert = Blocker.GetRecord(u"Goods", u"", otInsert);
    ASSERT_NE(Insert, nullptr) << "asked when it is written";
    EXPECT_THAT(App.Log, ElementsAre(u"GetTable", u"OpenNew"));
    EXPECT_FALSE(Blocker.DoneByObject(Insert.get(), true, false, true));
    EXPECT_EQ(Code(), 402);
    EXPECT_TRUE(Insert->Held()) << "kept as asked";
    EXPECT_TRUE(Blocker.DoneByID(Insert->ID(), true, false, false, false)) << "without the check";
}

TEST_F(Zurecblk, WithoutAUserNameEverythingIsAllowed) {
    const TAs As(u"A");
    App.Forbidden = {u" Orders 1"};
    EXPECT_NE(Blocker.GetRecord(u"Orders", u"1", otEdit), nullptr);
    EXPECT_THAT(App.Log, ElementsAre(u"GetTable", u"Open"));
}

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

TEST_F(Zurecblk, RightsThatCannotBeToldLeaveTheBlockAndItsChanges) {
    const TAs As(u"A", u"Lee");
    for (int Step = 1; Step <= 3; ++Step) {
        const auto Block = Blocker.GetRecord(u"Orders", u"1", otEdit);
        App.FailAt = App.Calls + Step;
        EXPECT_FALSE(Blocker.DoneByObject(Block.get(), true, false, false));
        EXPECT_EQ(Code(), 401);
        EXPECT_EQ(Message(), u"host failed at " + App.Log.back());
        EXPECT_TRUE(Block->Held());
        EXPECT_TRUE(Blocker.DoneByObject(Block.get(), true, false, false));
    }
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

// The host may come back to the blocker on the same thread.
TEST_F(Zurecblk, AHostThatTakesTheRecordMeanwhileWins) {
    const TAs As(u"A");
    std::shared_ptr<TZURecordBlockerObject> Inner;
    App.OnCall = [&](std::u16string_view What) {
        if (What != u"Open") return;
        App.OnCall = nullptr;
        Inner = Take(u"B", u"Orders", u"1", otEdit);
    };
    EXPECT_EQ(Blocker.GetRecord(u"Orders", u"1", otEdit), nullptr);
    EXPECT_EQ(Code(), 201);
    EXPECT_EQ(Blocker.Count(), 1);
}

TEST_F(Zurecblk, AHostThatDropsTheBlockWhileItIsWrittenDoesNoHarm) {
    const auto Block = Take(u"A", u"Orders", u"1", otEdit);
    App.OnCall = [&](std::u16string_view What) {
        if (What == u"Post") Blocker.DoneBySID(u"A");
    };
    const TAs As(u"A");
    EXPECT_TRUE(Blocker.DoneByObject(Block.get(), true, false, false));
    EXPECT_EQ(Blocker.Count(), 0);
}

// ---- administration

TEST_F(Zurecblk, BlocksAreListedPageByPageInOrderOfID) {
    for (int Number = 0; Number < 500; ++Number) {
        App.Tables[u"Orders"][TKXVariant(Number).AsString()] = u"x";
        ASSERT_NE(Take(Number % 2 == 0 ? u"A" : u"B", u"Orders", TKXVariant(Number).AsString(), otEdit),
                  nullptr);
    }
    std::vector<TZUBlockInfo> All;
    for (;;) {
        const auto Page = Blocker.ListBlocks(All.empty() ? std::u16string() : All.back().ID, 77);
        if (Page.empty()) break;
        EXPECT_LE(Page.size(), 77u);
        All.insert(All.end(), Page.begin(), Page.end());
    }
    ASSERT_THAT(All, SizeIs(500));
    for (std::size_t Number = 0; Number < All.size(); ++Number) {
        EXPECT_TRUE(Number == 0 || All[Number - 1].ID < All[Number].ID);
        EXPECT_EQ(Blocker.Objects(static_cast<int>(Number))->ID(), All[Number].ID);
    }
    EXPECT_EQ(All[0].TableName, u"Orders");
    EXPECT_THAT(All[0].History, SizeIs(1));
    EXPECT_EQ(Blocker.BlockCount(), 500u);
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
    EXPECT_THAT(Logger->Entries, ElementsAre(u"Record block released by Admin: Edit of table Orders, record "
                                             u"\"1\", held by Lee"));
    EXPECT_EQ(Blocker.LastError(), nullptr);
}

TEST_F(Zurecblk, PagesSeeWhoHasARecord) {
    const auto Block = Take(u"A", u"Orders", u"1", otEdit);
    const auto Holder = Blocker.FindHolder(u"ORDERS", u"1");
    ASSERT_TRUE(Holder);
    EXPECT_EQ(Holder->ID, Block->ID());
    EXPECT_EQ(Holder->RecordID, u"1");
    EXPECT_THAT(Block->ActionHistory(), SizeIs(1)) << "looking leaves no trace";
    EXPECT_EQ(Blocker.LastError(), nullptr);
    EXPECT_FALSE(Blocker.FindHolder(u"Orders", u"2"));
    EXPECT_FALSE(Blocker.FindHolder(u"Goods", u"a"));
    const TAs As(u"B");
    (void)Blocker.LockTable(u"Goods");
    EXPECT_EQ(Blocker.FindHolder(u"Goods", u"a")->RecAction, otTable);
}

} // namespace
} // namespace zutools::tests
