// What both databases promise.

#include "host/WorkClock.h"
#include "tests/server/sql/TestDatabases.h"

#include <chrono>
#include <limits>
#include <vector>

namespace zutools::server {
namespace {

class SqlDatabase : public TDatabaseTest {
protected:
    void MakeTable() {
        Exec(Db(),
             u"CREATE TABLE Items (ID INTEGER NOT NULL PRIMARY KEY, Big BIGINT, Price DOUBLE PRECISION, "
             u"Title VARCHAR(200), Notes TEXT)");
    }
    std::int64_t Count() { return One(Db(), u"SELECT COUNT(*) FROM Items").AsInt64(); }
    void Insert(int ID) { Exec(Db(), u"INSERT INTO Items (ID) VALUES (:ID)", {{u"ID", ID}}); }
};
ZU_ON_BOTH_DATABASES(SqlDatabase);

TEST_P(SqlDatabase, ValuesComeBackExactly) {
    MakeTable();
    const std::int64_t Integers[] = {0,
                                     -1,
                                     std::int64_t{1} << 53,
                                     (std::int64_t{1} << 53) + 1,
                                     std::numeric_limits<std::int64_t>::max(),
                                     std::numeric_limits<std::int64_t>::min()};
    const double Floats[] = {0.1, -0.0, 1e308, 5e-324, -1.0 / 3, std::numeric_limits<double>::infinity()};
    std::u16string Everything; // each character of the first plane that both can keep, and some above it
    for (unsigned Unit = 1; Unit < 0xFFFE; ++Unit) {
        if (Unit < 0xD800 || Unit > 0xDFFF) Everything += static_cast<char16_t>(Unit);
    }
    Everything += u"\U0001F600\U0010FFFF";
    const std::u16string Texts[] = {u"",       u" ",      u"it's \"quoted\" \\ \\' % _ $1 :ID ? ;--",
                                    u"\\",     u"'",      u"Привет, мир",
                                    u"\r\n\t", Everything};
    for (const auto Value : Integers) {
        EXPECT_EQ(One(Db(), u"SELECT CAST(:V AS BIGINT)", {{u"V", Value}}), TKXVariant(Value));
    }
    Insert(1);
    for (const auto Value : Floats) {
        Exec(Db(), u"UPDATE Items SET Price = :V", {{u"V", Value}});
        EXPECT_EQ(One(Db(), u"SELECT Price FROM Items"), TKXVariant(Value));
    }
    for (const auto& Value : Texts) {
        Exec(Db(), u"UPDATE Items SET Notes = :V", {{u"V", Value}});
        EXPECT_TRUE(One(Db(), u"SELECT Notes FROM Items") == TKXVariant(Value)) << Value.size();
        EXPECT_EQ(One(Db(), u"SELECT COUNT(*) FROM Items WHERE Notes = :V", {{u"V", Value}}).AsInteger(), 1);
    }
}

TEST_P(SqlDatabase, LongTextsAreUnbounded) {
    MakeTable();
    std::u16string Long;
    while (Long.size() < 800'000) Long += u"Ёжик \U0001F994 'в' тумане\\ ";
    const auto Query = Db().CreateExecQuery();
    Query->SetSQL(u"INSERT INTO Items (ID, Notes) VALUES (:ID, :Notes)");
    Query->SetInteger(u"ID", 1);
    Query->SetLongText(u"Notes", Long);
    Query->Execute();
    const auto Read = Opened(Db(), u"SELECT Notes FROM Items");
    ASSERT_TRUE(Read->Step());
    EXPECT_TRUE(Read->FieldAsString(u"notes") == Long);
}

TEST_P(SqlDatabase, EmptyTextIsNotNull) {
    MakeTable();
    Exec(Db(), u"INSERT INTO Items (ID, Title, Notes) VALUES (1, :Empty, :Null)",
         {{u"Empty", std::u16string_view()}, {u"Null", TKXVariant()}});
    const auto Query = Opened(Db(), u"SELECT * FROM Items");
    ASSERT_TRUE(Query->Step());
    EXPECT_FALSE(Query->FieldIsNull(u"Title"));
    EXPECT_TRUE(Query->FieldIsNull(u"Notes"));
    EXPECT_EQ(Query->FieldValue(Query->FieldIndex(u"Notes")), TKXVariant());
    EXPECT_EQ(Query->FieldAsString(u"Notes"), u"");
    EXPECT_EQ(Query->FieldAsInteger(u"Big"), 0);
    EXPECT_EQ(Query->FieldAsInt64(u"Big"), 0);
    EXPECT_EQ(Query->FieldAsFloat(u"Price"), 0.0);
}

TEST_P(SqlDatabase, UnstorableTextIsRefused) {
    MakeTable();
    const std::u16string_view Malformed[] = {u"a\xD800", u"\xDC00x", u"\xD800\xD800\xDC00"};
    for (const auto Value : Malformed) {
        ExpectRefusal(
            [&] { Exec(Db(), u"INSERT INTO Items (ID, Title) VALUES (1, :Title)", {{u"Title", Value}}); },
            {":Title", "unpaired surrogate"});
        ExpectRefusal([&] { Exec(Db(), u"SELECT '" + std::u16string(Value) + u"'"); },
                      {"unpaired surrogate"});
    }
    ExpectRefusal([&] { Exec(Db(), std::u16string_view(u"SELECT 1\0;", 10)); }, {"U+0000"});
    ExpectRefusal([&] { (void)One(Db(), u"SELECT :V", {{u"V", std::numeric_limits<double>::quiet_NaN()}}); },
                  {":V is not a number"});
    EXPECT_EQ(Count(), 0);
}

TEST_P(SqlDatabase, NamesMustMatch) {
    MakeTable();
    const std::u16string_view Insert = u"INSERT INTO Items (ID, Title) VALUES (:ID, :Title) -- not :this";
    ExpectRefusal([&] { Exec(Db(), Insert, {{u"ID", 1}}); },
                  {"No value was given for :Title.", "INSERT INTO"});
    ExpectRefusal([&] { Exec(Db(), Insert, {}); }, {"No value was given for :ID, :Title."});
    ExpectRefusal([&] { Exec(Db(), Insert, {{u"ID", 1}, {u"Title", u"x"}, {u"Tytle", u"x"}}); },
                  {"The statement has no parameter :Tytle."});
    ExpectRefusal([&] { (void)Opened(Db(), u"SELECT 1", {{u"this", 1}}); }, {"no parameter :this"});
    EXPECT_EQ(Exec(Db(), Insert, {{u"id", 1}, {u"TITLE", u"x"}}), 1);
    ExpectRefusal([&] { Exec(Db(), IsSqlite() ? u"SELECT ?" : u"SELECT $1"); }, {"placeholder"});

    const auto Query = Db().CreateExecQuery();
    Query->SetSQL(Insert);
    Query->SetInteger(u"ID", 2);
    Query->SetString(u"Title", u"first");
    Query->SetString(u"title", u"second");
    Query->Execute();
    EXPECT_EQ(One(Db(), u"SELECT Title FROM Items WHERE ID = 2"), TKXVariant(u"second"));
    Query->SetSQL(Insert);
    ExpectRefusal([&] { Query->Execute(); }, {"No value was given for :ID, :Title."});
}

TEST_P(SqlDatabase, OneParameterInSeveralPlaces) {
    EXPECT_EQ(One(Db(), u"SELECT CAST(:A AS TEXT) || ':A' || CAST(:a AS TEXT) || :B /* ':B' */",
                  {{u"A", u"x"}, {u"B", u"y"}}),
              TKXVariant(u"x:Axy"));
}

TEST_P(SqlDatabase, RowsAndColumns) {
    MakeTable();
    Insert(1);
    Insert(2);
    const auto Query = Opened(Db(), u"SELECT ID AS Number, Title AS \"Заголовок\" FROM Items ORDER BY ID");
    EXPECT_EQ(Query->FieldCount(), 2);
    EXPECT_EQ(Query->FieldIndex(u"NUMBER"), 0);
    EXPECT_EQ(Query->FieldIndex(u"Заголовок"), 1);
    EXPECT_EQ(Query->FieldIndex(u"заголовок"), -1);
    EXPECT_EQ(Query->FieldName(1), u"Заголовок");
    ExpectRefusal([&] { (void)Query->FieldAsInteger(u"Number"); }, {"stands on no row"});
    ASSERT_TRUE(Query->Step());
    EXPECT_EQ(Query->FieldAsInteger(u"number"), 1);
    ExpectRefusal([&] { (void)Query->FieldAsString(u"Nummer"); }, {"no column Nummer", "FROM Items"});
    ExpectRefusal([&] { (void)Query->FieldValue(2); }, {"no column of index 2"});
    ASSERT_TRUE(Query->Step());
    EXPECT_FALSE(Query->Step());
    EXPECT_FALSE(Query->Step());
    ExpectRefusal([&] { (void)Query->FieldValue(0); }, {"stands on no row"});
    Query->Open(); // once more from the start
    ASSERT_TRUE(Query->Step());
    Query->Close();
    ExpectRefusal([&] { (void)Query->Step(); }, {"not open"});
}

TEST_P(SqlDatabase, TypedReadingNeverGuesses) {
    const auto Query =
        Opened(Db(), u"SELECT 'abc' AS Word, '12' AS Digits, '5.00' AS Zeros, 3000000000 AS Big, "
                     u"CAST(2.5 AS DOUBLE PRECISION) AS Half, CAST(4 AS DOUBLE PRECISION) AS Four");
    ASSERT_TRUE(Query->Step());
    EXPECT_EQ(Query->FieldAsInteger(u"Digits"), 12);
    EXPECT_EQ(Query->FieldAsInteger(u"Zeros"), 5);
    EXPECT_EQ(Query->FieldAsFloat(u"Zeros"), 5.0);
    EXPECT_EQ(Query->FieldAsInt64(u"Big"), 3'000'000'000);
    EXPECT_EQ(Query->FieldAsInteger(u"Four"), 4);
    EXPECT_EQ(Query->FieldAsString(u"Half"), u"2.5");
    ExpectRefusal([&] { (void)Query->FieldAsInteger(u"Big"); }, {"Column Big", "3000000000"});
    ExpectRefusal([&] { (void)Query->FieldAsInteger(u"Half"); }, {"Column Half", "2.5"});
    ExpectRefusal([&] { (void)Query->FieldAsFloat(u"Word"); }, {"Column Word", "abc"});
}

TEST_P(SqlDatabase, RowsAffected) {
    MakeTable();
    for (int ID = 1; ID <= 3; ++ID) Insert(ID);
    EXPECT_EQ(Exec(Db(), u"UPDATE Items SET Big = 1 WHERE ID > 1"), 2);
    EXPECT_EQ(Exec(Db(), u"UPDATE Items SET Big = 1 WHERE ID > :ID", {{u"ID", 3}}), 0);
    EXPECT_EQ(Exec(Db(), u"UPDATE Items SET Big = 2 RETURNING ID"), 3);
    EXPECT_EQ(Exec(Db(), u"CREATE TABLE Others (ID INTEGER)"), 0); // and not the 3 of before
    EXPECT_EQ(Exec(Db(), u"SELECT * FROM Items"), 0);
    EXPECT_EQ(Exec(Db(), u"WITH x AS (SELECT 2 AS ID) DELETE FROM Items WHERE ID IN (SELECT ID FROM x)"), 1);
    const auto Returned = Opened(Db(), u"DELETE FROM Items WHERE ID = 3 RETURNING ID");
    ASSERT_TRUE(Returned->Step());
    EXPECT_EQ(Returned->FieldAsInteger(u"ID"), 3);
}

TEST_P(SqlDatabase, ErrorsNameTheStatement) {
    ExpectRefusal([&] { Exec(Db(), u"DELETE FROM Nowhere WHERE ID = :ID", {{u"ID", 1}}); },
                  {"owhere", "Statement: DELETE FROM Nowhere WHERE ID = :ID"});
    MakeTable();
    Insert(1);
    ExpectRefusal([&] { Insert(1); }, {"Statement: INSERT INTO Items (ID) VALUES (:ID)"});
    const std::string Long = Refusal([&] { Exec(Db(), u"BAD " + std::u16string(100'000, u'x')); });
    EXPECT_LT(Long.size(), 2000U);
    ExpectRefusal([&] { Exec(Db(), u"SELECT 1; DELETE FROM Items"); }, {"statement"});
    EXPECT_EQ(Count(), 1);
}

TEST_P(SqlDatabase, SelectsStayOpenBesideOtherStatements) {
    MakeTable();
    for (int ID = 1; ID <= 3; ++ID) Insert(ID);
    const std::u16string_view Select = u"SELECT ID FROM Items WHERE ID > :ID ORDER BY ID";
    const auto Outer = Opened(Db(), Select, {{u"ID", 0}});
    std::string Seen;
    while (Outer->Step()) {
        Exec(Db(), u"UPDATE Items SET Big = 1 WHERE ID = :ID", {{u"ID", Outer->FieldAsInteger(u"ID")}});
        const auto Inner =
            Opened(Db(), Select, {{u"ID", Outer->FieldAsInteger(u"ID")}}); // the same statement again
        Seen += std::to_string(Outer->FieldAsInteger(u"ID")) + ":";
        while (Inner->Step()) Seen += std::to_string(Inner->FieldAsInteger(u"ID"));
        Seen += " ";
    }
    EXPECT_EQ(Seen, "1:23 2:3 3: ");
}

TEST_P(SqlDatabase, ColumnsFollowTheirTables) {
    MakeTable();
    Insert(1);
    const auto Other = Connect();
    const auto Check = [&](int Columns) {
        const auto Query = Opened(Db(), u"SELECT * FROM Items WHERE ID = :ID", {{u"ID", 1}});
        EXPECT_TRUE(Query->Step());
        EXPECT_EQ(Query->FieldCount(), Columns);
        EXPECT_TRUE(Query->FieldValue(Columns - 1).IsNull());
    };
    for (int Columns = 5; Columns < 40; ++Columns) {
        Check(Columns);
        const auto Name = platform::Utf8ToUtf16("Extra" + std::to_string(Columns));
        Exec(Columns % 2 == 0 ? *Other : Db(), u"ALTER TABLE Items ADD COLUMN " + Name + u" TEXT");
        if (Columns % 3 == 0) {
            TTransaction Transaction(Db());
            Check(Columns + 1);
        }
    }
    Exec(*Other, u"DROP TABLE Items");
    ExpectRefusal([&] { Check(0); }, {"tems"});
}

TEST_P(SqlDatabase, ColumnsChangeWhileOthersRead) {
    MakeTable();
    Insert(1);
    std::atomic<bool> Done{false};
    std::string Error;
    std::thread Changer([&] {
        Error = Refusal([&] {
            const auto Other = Connect();
            for (int Column = 0; Column < 60; ++Column) {
                const auto Name = platform::Utf8ToUtf16("Extra" + std::to_string(Column));
                Exec(*Other, u"ALTER TABLE Items ADD COLUMN " + Name + u" TEXT");
            }
        });
        Done = true;
    });
    const std::string ReadError = Refusal([&] {
        while (!Done) {
            const auto Query = Opened(Db(), u"SELECT * FROM Items WHERE ID = :ID", {{u"ID", 1}});
            EXPECT_TRUE(Query->Step());
            EXPECT_EQ(Query->FieldAsInteger(u"ID"), 1);
        }
    });
    Changer.join();
    EXPECT_EQ(Error, "nothing raised");
    EXPECT_EQ(ReadError, "nothing raised");
}

TEST_P(SqlDatabase, StatementsRunAgainAndLeaveNothingOnTheServer) {
    for (int Index = 0; Index < 200; ++Index) { // more than are kept
        const auto Number = platform::Utf8ToUtf16(std::to_string(Index));
        for (int Round = 0; Round < 2; ++Round) {
            EXPECT_EQ(One(Db(), u"SELECT CAST(:V AS INTEGER) + " + Number, {{u"V", Round}}).AsInteger(),
                      Index + Round);
        }
        ExpectRefusal([&] { (void)One(Db(), u"SELECT :V FROM Nowhere" + Number, {{u"V", 1}}); }, {"owhere"});
    }
    if (IsSqlite()) return; // it has no server
    EXPECT_EQ(One(Db(), u"SELECT COUNT(*) FROM pg_prepared_statements").AsInteger(), 0);
}

TEST_P(SqlDatabase, WhatOthersKeepIsNotWaitedForForEver) {
    MakeTable();
    Insert(1);
    const auto Impatient = Connect({.Lock = std::chrono::milliseconds(50)});
    const auto Update = [&] { Exec(*Impatient, u"UPDATE Items SET Big = 1 WHERE ID = 1"); };
    {
        const TTransaction Transaction(Db());
        Exec(Db(), u"UPDATE Items SET Big = 2 WHERE ID = 1");
        ExpectRefusal(Update,
                      {"for longer than the lock time-out of 0.05 seconds", "Statement: UPDATE Items"});
        Impatient->SetTimeouts({.Lock = std::chrono::milliseconds(1)});
        ExpectRefusal(Update, {"time-out of 0.001 seconds"});
    }
    Update();
    EXPECT_EQ(One(Db(), u"SELECT Big FROM Items").AsInteger(), 1);
}

TEST_P(SqlDatabase, AStampTellsThatATableChanged) {
    MakeTable();
    const auto Other = Connect();
    const auto Stamp = [&] {
        const TSqlTable Table = Db().FindTables(u"ITEMS").at(0);
        EXPECT_EQ(One(Db(), u"SELECT " + Db().Engine().TableStamp(Table)).AsString(), Table.Stamp);
        return Table.Stamp;
    };
    std::u16string Before = Stamp();
    Insert(1);
    EXPECT_EQ(Stamp(), Before);
    std::vector<std::u16string_view> Changes{u"ALTER TABLE Items ADD COLUMN Extra INTEGER DEFAULT 5",
                                             u"ALTER TABLE Items RENAME COLUMN Extra TO More",
                                             u"ALTER TABLE Items DROP COLUMN More"};
    if (!IsSqlite()) {
        Changes.insert(Changes.end(), {u"ALTER TABLE Items ALTER COLUMN Title TYPE VARCHAR(300)",
                                       u"ALTER TABLE Items ALTER COLUMN Title SET DEFAULT 'x'",
                                       u"ALTER TABLE Items ALTER COLUMN Title SET DEFAULT 'y'",
                                       u"ALTER TABLE Items ALTER COLUMN Title SET NOT NULL",
                                       u"ALTER TABLE Items DROP CONSTRAINT items_pkey"});
    }
    for (const auto Change : Changes) {
        if (Change.ends_with(u"NOT NULL")) Exec(*Other, u"UPDATE Items SET Title = ''");
        Exec(*Other, Change);
        const std::u16string Now = Stamp();
        EXPECT_NE(Now, Before) << platform::Utf16ToUtf8(Change);
        Before = Now;
    }
}

TEST_P(SqlDatabase, APartOfATransactionIsUndoneAlone) {
    MakeTable();
    using enum TTransaction::TWithin;
    {
        TTransaction Whole(Db(), Any);
        Insert(1);
        {
            const TTransaction Part(Db(), Any);
            Insert(2);
        }
        TTransaction Part(Db(), Any);
        Insert(3);
        Part.Commit();
        EXPECT_EQ(Count(), 2);
        ExpectRefusal([&] { const TTransaction Second(Db()); }, {"do not nest"});
        Whole.Commit();
    }
    EXPECT_EQ(Count(), 2);
}

TEST_P(SqlDatabase, TableExists) {
    EXPECT_FALSE(Db().TableExists(u"Items"));
    MakeTable();
    EXPECT_TRUE(Db().TableExists(u"Items"));
    EXPECT_TRUE(Db().TableExists(u"ITEMS"));
    EXPECT_FALSE(Db().TableExists(u"Item_"));
    EXPECT_FALSE(Db().TableExists(u"Items' OR '1'='1"));
    Exec(Db(), u"CREATE VIEW Names AS SELECT Title FROM Items");
    EXPECT_TRUE(Db().TableExists(u"names"));
}

TEST_P(SqlDatabase, Transactions) {
    MakeTable();
    const auto Other = Connect();
    {
        TTransaction Transaction(Db());
        Insert(1);
        EXPECT_TRUE(Db().InTransaction());
        EXPECT_EQ(One(*Other, u"SELECT COUNT(*) FROM Items").AsInteger(), 0);
        ExpectRefusal([&] { Db().StartTransaction(); }, {"do not nest"});
        Transaction.Commit();
    }
    EXPECT_EQ(One(*Other, u"SELECT COUNT(*) FROM Items").AsInteger(), 1);
    {
        TTransaction Transaction(Db());
        Insert(2);
        Exec(Db(), u"SAVEPOINT s");
        Insert(3);
        Exec(Db(), u"ROLLBACK TO s");
        EXPECT_EQ(Count(), 2);
    }
    EXPECT_EQ(Count(), 1);
    EXPECT_FALSE(Db().InTransaction());
    ExpectRefusal([&] { Db().Commit(); }, {"no transaction"});
    ExpectRefusal([&] { Db().Rollback(); }, {"no transaction"});
    for (const auto Statement : {u"BEGIN", u"COMMIT", u"rollback", u" /* x */ END;"}) {
        ExpectRefusal([&] { Exec(Db(), Statement); }, {"by calls"});
    }
}

TEST_P(SqlDatabase, RefusedCommitEndsInRollback) {
    Exec(Db(), u"CREATE TABLE Parents (ID INTEGER PRIMARY KEY)");
    Exec(Db(),
         u"CREATE TABLE Children (ID INTEGER PRIMARY KEY, Parent INTEGER REFERENCES Parents (ID) DEFERRABLE "
         u"INITIALLY DEFERRED)");
    Db().StartTransaction();
    Exec(Db(), u"INSERT INTO Children VALUES (1, 7)");
    ExpectRefusal([&] { Db().Commit(); }, {"COMMIT"});
    ExpectRefusal([&] { Exec(Db(), u"INSERT INTO Parents VALUES (7)"); }, {"transaction has ended"});
    ExpectRefusal([&] { Db().Commit(); }, {"transaction has ended"});
    Db().Rollback();
    Exec(Db(), u"INSERT INTO Parents VALUES (7)");
    EXPECT_EQ(One(Db(), u"SELECT COUNT(*) FROM Children").AsInteger(), 0);
}

TEST_P(SqlDatabase, TransactionEndedByTheDatabaseRaisesUntilRollback) {
    MakeTable();
    Insert(1);
    Db().StartTransaction();
    Insert(2);
    ExpectRefusal(
        [&] {
            Exec(Db(), IsSqlite() ? u"INSERT OR ROLLBACK INTO Items (ID) VALUES (1)"
                                  : u"INSERT INTO Items (ID) VALUES (1)");
        },
        {"Statement:"});
    ExpectRefusal([&] { Insert(3); }, {"transaction"});
    ExpectRefusal([&] { Db().Commit(); }, {"transaction"});
    Db().Rollback();
    Insert(4);
    EXPECT_EQ(Count(), 2);
}

TEST_P(SqlDatabase, TheEndOfTheWorkCancelsItsStatement) {
    Exec(Db(), u"CREATE TABLE W (N INTEGER)");
    constexpr std::u16string_view Endless =
        u"WITH RECURSIVE N(X) AS (SELECT 1 UNION ALL SELECT X + 1 FROM N WHERE X > 0) SELECT COUNT(*) FROM N";
    {
        TTransaction Transaction(Db());
        Exec(Db(), u"INSERT INTO W VALUES (1)");
        TWorkClock Clock;
        Clock.Deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
        const TWorkClockScope Scope(&Clock);
        ExpectRefusal([&] { (void)One(Db(), Endless); }, {"the time of its page is over"});
        ExpectRefusal([&] { Exec(Db(), u"INSERT INTO W VALUES (2)"); }, {""}); // nothing begins any more
    }
    EXPECT_EQ(One(Db(), u"SELECT COUNT(*) FROM W").AsInteger(), 0); // rolled back, and the connection is good
}

TEST_P(SqlDatabase, BelongsToItsThread) {
    MakeTable();
    const auto Query = Opened(Db(), u"SELECT 1");
    std::string Texts[3];
    std::thread([&] {
        Texts[0] = Refusal([&] { (void)Query->Step(); });
        Texts[1] = Refusal([&] { (void)Db().TableExists(u"Items"); });
        Texts[2] = Refusal([&] { Db().StartTransaction(); });
    }).join();
    for (const auto& Text : Texts) EXPECT_EQ(Text, "The database connection belongs to another thread");
}

} // namespace
} // namespace zutools::server
