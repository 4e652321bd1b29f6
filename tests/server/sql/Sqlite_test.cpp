// What is SQLite's own: the file.

#include "tests/server/sql/TestDatabases.h"

#include <QSqlDatabase>
#include <QSqlQuery>

#include <filesystem>
#include <vector>

namespace zutools::server {
namespace {

class Sqlite : public testing::Test {
protected:
    [[nodiscard]] std::u16string Url(std::u16string_view Name = u"test.db") const {
        return u"sqlite3://" + FFolder.File(Name);
    }
    [[nodiscard]] std::unique_ptr<TDatabase> Connect(std::u16string_view Name = u"test.db") const {
        return OpenDatabase(Url(Name));
    }
    const tests::TTempFolder FFolder;
};

TEST_F(Sqlite, FileIsMadeBelowTheBaseFolder) {
    const auto Database = OpenDatabase(u"sqlite3://Заказы 100%.db", FFolder.Path());
    EXPECT_TRUE(std::filesystem::exists(FFolder.File(u"Заказы 100%.db")));
    EXPECT_EQ(One(*Database, u"PRAGMA journal_mode"), TKXVariant(u"wal"));
    EXPECT_EQ(One(*Database, u"PRAGMA foreign_keys").AsInteger(), 1);
}

TEST_F(Sqlite, MemoryIsPrivateToItsConnection) {
    const auto First = OpenDatabase(u"sqlite3://:memory:", FFolder.Path());
    const auto Second = OpenDatabase(u"sqlite3://:memory:");
    Exec(*First, u"CREATE TABLE T (ID INTEGER)");
    EXPECT_FALSE(Second->TableExists(u"T"));
}

TEST_F(Sqlite, UnusableFilesAreNamed) {
    ExpectRefusal([&] { (void)Connect(u"missing/deep/test.db"); },
                  {"missing/deep/test.db: there is no folder " +
                   platform::Utf16ToUtf8(FFolder.File(u"missing/deep")) + ";"});
    ExpectRefusal([&] { (void)OpenDatabase(u"sqlite3://" + FFolder.Path()); }, {"it is a folder"});
    FFolder.Write(u"text.db", "This is a letter to a friend and no database. " + std::string(500, 'x'));
    ExpectRefusal([&] { (void)Connect(u"text.db"); }, {"text.db", "not a database"});
}

TEST_F(Sqlite, EightThreadsOpenAndWriteANewFile) {
    std::vector<std::string> Errors(8);
    std::vector<std::thread> Threads;
    for (auto& Error : Errors) {
        Threads.emplace_back([&] {
            Error = Refusal([&] {
                const auto Database = Connect();
                Exec(*Database, u"CREATE TABLE IF NOT EXISTS Counters (Value INTEGER)");
                for (int Round = 0; Round < 5; ++Round) {
                    TTransaction Transaction(*Database);
                    const int Rows = One(*Database, u"SELECT COUNT(*) FROM Counters").AsInteger();
                    Exec(*Database, u"INSERT INTO Counters VALUES (:V)", {{u"V", Rows}});
                    Transaction.Commit();
                }
            });
        });
    }
    for (auto& Thread : Threads) Thread.join();
    for (const auto& Error : Errors) EXPECT_EQ(Error, "nothing raised");
    // Nobody read what another was changing: every count was seen once.
    EXPECT_EQ(One(*Connect(), u"SELECT COUNT(DISTINCT Value) FROM Counters").AsInteger(), 40);
}

TEST_F(Sqlite, TextThatItWouldAlterIsRefused) {
    const auto Database = Connect();
    for (const auto Value : {u"\xFFFE"
                             u"ab",
                             u"a\xFFFF"}) {
        ExpectRefusal([&] { (void)One(*Database, u"SELECT :V", {{u"V", Value}}); },
                      {":V holds U+FFFE or U+FFFF"});
    }
    // And what it keeps only with our help, or at all.
    for (const auto& Value :
         {std::u16string(u"\xFEFF"), std::u16string(u"\xFEFF\xFEFFx"), std::u16string(u"a\0b", 3)}) {
        EXPECT_EQ(One(*Database, u"SELECT :V", {{u"V", Value}}), TKXVariant(Value));
    }
}

TEST_F(Sqlite, ForeignValuesAreNotGuessed) {
    EnsureQtApplication();
    {
        // A file of another program: its texts are UTF-16, and one is malformed.
        auto Other = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("other"));
        Other.setDatabaseName(QString::fromStdU16String(FFolder.File(u"test.db")));
        ASSERT_TRUE(Other.open());
        QSqlQuery Query(Other);
        ASSERT_TRUE(Query.exec(QStringLiteral("PRAGMA encoding = 'UTF-16le'")));
        ASSERT_TRUE(Query.exec(QStringLiteral("CREATE TABLE T (Bad TEXT, Good TEXT, Bytes BLOB)")));
        ASSERT_TRUE(Query.prepare(QStringLiteral("INSERT INTO T VALUES (?, ?, X'00FF')")));
        Query.bindValue(0, QString(QChar(0xD800)));
        Query.bindValue(1, QString(QChar(0xFFFF)));
        ASSERT_TRUE(Query.exec());
    }
    QSqlDatabase::removeDatabase(QStringLiteral("other"));
    const auto Database = Connect();
    const auto Query = Opened(*Database, u"SELECT * FROM T");
    ASSERT_TRUE(Query->Step());
    ExpectRefusal([&] { (void)Query->FieldAsString(u"Bad"); }, {"Column Bad holds an unpaired surrogate"});
    ExpectRefusal([&] { (void)Query->FieldValue(2); }, {"Column Bytes holds binary data"});
    EXPECT_EQ(Query->FieldAsString(u"Good"), u"\xFFFF");
}

TEST_F(Sqlite, ReturningAllColumnsNeedsATransaction) {
    const auto Database = Connect();
    Exec(*Database, u"CREATE TABLE T (ID INTEGER)");
    const auto Insert = [&] { return One(*Database, u"INSERT INTO T VALUES (5) RETURNING *").AsInteger(); };
    ExpectRefusal(Insert, {"needs a transaction"});
    TTransaction Transaction(*Database);
    EXPECT_EQ(Insert(), 5);
    Transaction.Commit();
}

TEST_F(Sqlite, TriggerBodiesMayHoldStatements) {
    const auto Database = Connect();
    Exec(*Database, u"CREATE TABLE T (ID INTEGER)");
    Exec(*Database, u"CREATE TABLE Log (ID INTEGER)");
    Exec(*Database, u"CREATE TRIGGER Trace AFTER INSERT ON T BEGIN INSERT INTO Log VALUES (new.ID); END;");
    Exec(*Database, u"INSERT INTO T VALUES (1)");
    EXPECT_EQ(One(*Database, u"SELECT COUNT(*) FROM Log").AsInteger(), 1);
}

} // namespace
} // namespace zutools::server
