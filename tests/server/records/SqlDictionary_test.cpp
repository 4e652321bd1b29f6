#include "server/records/SqlDictionary.h"

#include "host/Services.h"
#include "host/Session.h"
#include "host/ThreadContainer.h"
#include "host/UserTables.h"
#include "server/sql/Schema.h"
#include "tests/server/sql/TestDatabases.h"
#include "tests/support/TestClock.h"

#include <mutex>
#include <set>

namespace zutools::server {
namespace {

class TKeptLog : public TLogger {
public:
    void Log(TLogLevel, std::u16string_view Text) noexcept override { FText += Text; }
    std::u16string FText;
};

class SqlDictionary : public TDatabaseTest {
protected:
    void SetUp() override {
        TDatabaseTest::SetUp();
        if (IsSkipped()) return;
        FPool = std::make_unique<TDatabasePool>(Url());
        FDictionary = std::make_unique<TSqlDictionary>(Database(), 3, FClock);
        Exec(Db(),
             IsSqlite()
                 ? u"CREATE TABLE Invoices (ID INTEGER PRIMARY KEY, Customer TEXT NOT NULL, Total INTEGER)"
                 : u"CREATE TABLE Invoices (ID SERIAL PRIMARY KEY, Customer TEXT NOT NULL, "
                   u"Total INTEGER)");
    }
    void TearDown() override {
        FDictionary.reset();
        FPool.reset();
        TDatabaseTest::TearDown();
    }
    void MakeKinds() {
        UpgradeSchema(Db());
        Exec(Db(), u"INSERT INTO ZuDocumentKinds (TableName, Kind, NumberPrefix) "
                   u"VALUES ('Invoices', 'invoice', 'INV-')");
    }
    [[nodiscard]] TDatabaseOfThread Database() {
        return [this] { return &FPool->Get(); };
    }
    [[nodiscard]] std::unique_ptr<TUserTable> NewInvoice(std::u16string_view Customer) {
        auto Record = MakeUserTable(u"Invoices", Database());
        Record->OpenNew();
        Record->SetField(u"Customer", Customer);
        return Record;
    }
    [[nodiscard]] TKXVariant Value(std::u16string_view Statement) { return One(Db(), Statement); }
    [[nodiscard]] std::int64_t Count(std::u16string_view Table) {
        return Value(u"SELECT COUNT(*) FROM " + std::u16string(Table)).AsInt64();
    }

    tests::TTestClock FClock;
    std::unique_ptr<TDatabasePool> FPool;
    std::unique_ptr<TSqlDictionary> FDictionary;
};
ZU_ON_BOTH_DATABASES(SqlDictionary);

/// The user of this thread while it lives.
class TSignedIn {
public:
    explicit TSignedIn(std::u16string User) {
        auto Session = std::make_unique<TSession>();
        Session->USR = std::move(User);
        ThreadObjects().Add(SessionObjectName, std::move(Session));
    }
    ~TSignedIn() { ThreadObjects().Remove(SessionObjectName); }
    TSignedIn(const TSignedIn&) = delete;
    TSignedIn& operator=(const TSignedIn&) = delete;
};

TEST_P(SqlDictionary, WithoutAKindThereIsNoDocument) {
    const auto Record = NewInvoice(u"Smith");
    EXPECT_EQ(FDictionary->InsertDoc(*Record), TDictionaryService::NoDictionary); // no tables at all
    EXPECT_FALSE(Db().TableExists(u"ZuDocuments"));
    UpgradeSchema(Db());
    EXPECT_EQ(FDictionary->InsertDoc(*Record), TDictionaryService::NoDictionary);
    EXPECT_EQ(Count(u"Invoices"), 0);
    Record->Insert(); // still a new record
    Record->SetField(u"Customer", u"Jones");
    try {
        FDictionary->UpdateDoc(*Record);
        ADD_FAILURE() << "nothing raised";
    } catch (const EUserTableError& Error) {
        EXPECT_NE(Error.Message().find(u"no document kind; enter one in ZuDocumentKinds"),
                  Error.Message().npos);
    }
    EXPECT_EQ(Value(u"SELECT Customer FROM Invoices"), TKXVariant(u"Smith"));
    EXPECT_EQ(Record->StoredField(u"Customer"), TKXVariant(u"Smith"));
    EXPECT_EQ(Record->Field(u"Customer"), TKXVariant(u"Jones"));
    Record->Post();
    TSqlDictionary None([] { return nullptr; });
    EXPECT_EQ(None.InsertDoc(*Record), TDictionaryService::NoDictionary);
    EXPECT_THROW(None.UpdateDoc(*Record), EUserTableError);
    EXPECT_EQ(None.ClientNumber(), 1);
    EXPECT_EQ(FDictionary->ClientNumber(), 3);
}

TEST_P(SqlDictionary, InsertAndUpdateAreNumberedAndJournalled) {
    MakeKinds();
    const TSignedIn User(u"anna");
    const auto First = NewInvoice(u"Smith");
    EXPECT_EQ(FDictionary->InsertDoc(*First), 1);
    const auto Second = NewInvoice(u"O'Hara \"\u0416\"");
    EXPECT_EQ(FDictionary->InsertDoc(*Second), 2);
    Second->SetField(u"Total", 5);
    FDictionary->UpdateDoc(*Second);

    const auto Document = Opened(Db(), u"SELECT * FROM ZuDocuments ORDER BY Number DESC");
    ASSERT_TRUE(Document->Step());
    EXPECT_TRUE(Document->FieldAsString(u"Kind") == u"invoice");
    EXPECT_TRUE(Document->FieldAsString(u"NumberText") == u"INV-2");
    EXPECT_TRUE(Document->FieldAsString(u"RecordID") == Second->RecordID());
    EXPECT_TRUE(SameSqlName(Document->FieldAsString(u"TableName"), u"Invoices"));
    EXPECT_TRUE(Document->FieldAsString(u"CreatedBy") == u"anna");
    EXPECT_TRUE(Document->FieldAsString(u"CreatedAt") == u"2024-01-02 03:04:05");
    EXPECT_TRUE(
        Document->FieldAsString(u"DocumentDate").starts_with(u"2024-01-0")); // the host's zone decides
    const auto Journal = Opened(Db(), u"SELECT * FROM ZuDocumentJournal WHERE DocumentID = :ID ORDER BY ID",
                                {{u"ID", Document->FieldAsInt64(u"ID")}});
    const bool Sqlite = IsSqlite();
    ASSERT_TRUE(Journal->Step());
    EXPECT_TRUE(Journal->FieldAsString(u"Action") == u"insert");
    EXPECT_TRUE(Journal->FieldAsString(u"Who") == u"anna");
    EXPECT_EQ(platform::Utf16ToUtf8(Journal->FieldAsString(u"Changes")),
              Sqlite ? R"({"Customer":[null,"O'Hara \"Ж\""],"ID":[null,2]})"
                     : R"({"customer":[null,"O'Hara \"Ж\""],"id":[null,2]})");
    ASSERT_TRUE(Journal->Step());
    EXPECT_TRUE(Journal->FieldAsString(u"Action") == u"update");
    EXPECT_EQ(platform::Utf16ToUtf8(Journal->FieldAsString(u"Changes")),
              Sqlite ? R"({"Total":[null,5]})" : R"({"total":[null,5]})");
    EXPECT_FALSE(Journal->Step());
}

TEST_P(SqlDictionary, ARecordWithoutDocumentGetsOneAndKeepsItWhenItsKeyChanges) {
    MakeKinds();
    const auto Record = NewInvoice(u"Smith");
    Record->Insert();
    FDictionary->UpdateDoc(*Record);
    Record->SetField(u"ID", 70);
    FDictionary->UpdateDoc(*Record);
    FDictionary->UpdateDoc(*Record);
    EXPECT_EQ(Count(u"ZuDocuments"), 1);
    EXPECT_EQ(Count(u"ZuDocumentJournal"), 3);
    EXPECT_EQ(Value(u"SELECT RecordID FROM ZuDocuments"), TKXVariant(u"70"));
}

TEST_P(SqlDictionary, ARefusedDocumentTakesItsRecordAlong) {
    MakeKinds();
    const auto Log = std::make_shared<TKeptLog>();
    SetServices({nullptr, nullptr, Log});
    Exec(Db(), u"ALTER TABLE ZuDocumentJournal RENAME TO Away");
    const auto Record = NewInvoice(u"Smith");
    EXPECT_EQ(FDictionary->InsertDoc(*Record), TDictionaryService::NotInserted);
    EXPECT_TRUE(Record->RecordID().empty());
    EXPECT_FALSE(FPool->Get().InTransaction());
    EXPECT_NE(Log->FText.find(u"its document could not be entered"), Log->FText.npos);
    SetServices({});
    EXPECT_EQ(Count(u"Invoices"), 0);
    EXPECT_EQ(Count(u"ZuDocuments"), 0);
    Exec(Db(), u"ALTER TABLE Away RENAME TO ZuDocumentJournal");
    EXPECT_EQ(FDictionary->InsertDoc(*Record), 1); // no number was lost

    Exec(Db(), u"ALTER TABLE ZuDocumentJournal RENAME TO Away");
    Record->SetField(u"Total", 5);
    EXPECT_THROW(FDictionary->UpdateDoc(*Record), EDatabaseError);
    EXPECT_TRUE(Record->StoredField(u"Total").IsNull());
    Exec(Db(), u"ALTER TABLE Away RENAME TO ZuDocumentJournal");
    FDictionary->UpdateDoc(*Record); // no conflict with itself
    EXPECT_EQ(Value(u"SELECT Total FROM Invoices WHERE Customer = 'Smith'"), TKXVariant(std::int64_t{5}));
}

TEST_P(SqlDictionary, ARefusedRecordTakesNoNumber) {
    MakeKinds();
    const auto Record = NewInvoice(u"Smith");
    Record->SetField(u"ID", 1);
    Exec(Db(), u"INSERT INTO Invoices (ID, Customer) VALUES (1, 'there')");
    EXPECT_THROW((void)FDictionary->InsertDoc(*Record), EDatabaseError);
    Record->SetField(u"ID", 2);
    EXPECT_EQ(FDictionary->InsertDoc(*Record), 1);
}

TEST_P(SqlDictionary, NumbersHaveNoGapsWhateverFailsAtOnce) {
    MakeKinds();
    constexpr int Workers = 4;
    constexpr int Each = 15;
    std::mutex Mutex;
    std::multiset<std::int64_t> Numbers;
    std::vector<std::thread> Threads;
    for (int Worker = 0; Worker < Workers; ++Worker) {
        Threads.emplace_back([&, this] {
            try {
                for (int Index = 0; Index < Each; ++Index) {
                    const auto Record = NewInvoice(u"Smith");
                    if (Index % 3 == 2) { // rolled back with its number
                        const TRecordWriting Writing(*Record);
                        const TTransaction Transaction(FPool->Get());
                        EXPECT_GT(FDictionary->InsertDoc(*Record), 0);
                        continue;
                    }
                    const std::int64_t Number = FDictionary->InsertDoc(*Record);
                    const std::lock_guard Lock(Mutex);
                    Numbers.insert(Number);
                }
            } catch (const std::exception& Error) {
                ADD_FAILURE() << Error.what();
            }
            FPool->ReleaseThread();
        });
    }
    for (auto& Thread : Threads) Thread.join();
    std::multiset<std::int64_t> Wanted;
    for (int Number = 1; Number <= Workers * Each * 2 / 3; ++Number) Wanted.insert(Number);
    EXPECT_EQ(Numbers, Wanted);
    EXPECT_EQ(Count(u"Invoices"), static_cast<std::int64_t>(Wanted.size()));
    EXPECT_EQ(Count(u"ZuDocuments"), static_cast<std::int64_t>(Wanted.size()));
}

} // namespace
} // namespace zutools::server
