// What is PostgreSQL's own: a server that can go away, and richer types.

#include "server/sql/Schema.h"
#include "tests/server/sql/TestDatabases.h"

#include <optional>

#include <signal.h>

namespace zutools::server {
namespace {

class Postgres : public testing::Test {
protected:
    void SetUp() override {
        if (TestServer() == nullptr) GTEST_SKIP() << NoServer;
        FServerDatabase = std::make_unique<TServerDatabase>(TestServer());
        FDatabase = std::make_unique<TSqlDatabase>(ParseDatabaseUrl(FServerDatabase->Url()));
    }

    /// Ends the connection from outside and waits until it is gone.
    void CutConnection() {
        const int Process = One(*FDatabase, u"SELECT pg_backend_pid()").AsInteger();
        TSqlDatabase Other(ParseDatabaseUrl(FServerDatabase->Url()));
        ASSERT_EQ(One(Other, u"SELECT pg_terminate_backend(:P, 20000)", {{u"P", Process}}).AsInteger(), 1);
    }

    std::unique_ptr<TServerDatabase> FServerDatabase;
    std::unique_ptr<TSqlDatabase> FDatabase;
};

TEST_F(Postgres, ReconnectsAfterALostConnection) {
    const std::u16string_view Select = u"SELECT CAST(:V AS INTEGER)";
    EXPECT_EQ(One(*FDatabase, Select, {{u"V", 1}}).AsInteger(), 1);
    const auto Rows = Opened(*FDatabase, u"SELECT * FROM generate_series(1, 3)");
    ASSERT_TRUE(Rows->Step());
    CutConnection();
    ExpectRefusal([&] { (void)One(*FDatabase, Select, {{u"V", 2}}); },
                  {"The connection to the database postgresql://", "is lost", "Statement: SELECT CAST"});
    EXPECT_EQ(One(*FDatabase, Select, {{u"V", 3}}).AsInteger(), 3);
    ExpectRefusal([&] { (void)Rows->Step(); }, {"lost with the connection"});
}

TEST_F(Postgres, StartTransactionReplacesALostConnection) {
    CutConnection();
    TTransaction Transaction(*FDatabase);
    EXPECT_EQ(One(*FDatabase, u"SELECT 5").AsInteger(), 5);
    Transaction.Commit();
}

TEST_F(Postgres, NothingRunsOutsideALostTransaction) {
    Exec(*FDatabase, u"CREATE TABLE T (ID INTEGER)");
    {
        TTransaction Transaction(*FDatabase);
        Exec(*FDatabase, u"INSERT INTO T VALUES (1)");
        CutConnection();
        ExpectRefusal([&] { Exec(*FDatabase, u"INSERT INTO T VALUES (2)"); }, {"is lost"});
        ExpectRefusal([&] { Exec(*FDatabase, u"INSERT INTO T VALUES (3)"); }, {"transaction has ended"});
        ExpectRefusal([&] { Transaction.Commit(); }, {"transaction has ended"});
    }
    Exec(*FDatabase, u"INSERT INTO T VALUES (4)");
    EXPECT_EQ(One(*FDatabase, u"SELECT string_agg(ID::text, ',') FROM T"), TKXVariant(u"4"));
}

TEST_F(Postgres, LossNoticedByCommit) {
    Exec(*FDatabase, u"CREATE TABLE T (ID INTEGER)");
    FDatabase->StartTransaction();
    Exec(*FDatabase, u"INSERT INTO T VALUES (1)");
    CutConnection();
    ExpectRefusal([&] { FDatabase->Commit(); }, {"is lost", "unknown"});
    FDatabase->Rollback();
    EXPECT_EQ(One(*FDatabase, u"SELECT COUNT(*) FROM T").AsInteger(), 0);
}

TEST_F(Postgres, CommitAfterAnErrorRaises) {
    Exec(*FDatabase, u"CREATE TABLE T (ID INTEGER)");
    FDatabase->StartTransaction();
    Exec(*FDatabase, u"INSERT INTO T VALUES (1)");
    ExpectRefusal([&] { Exec(*FDatabase, u"SELECT 1/0"); }, {"division by zero"});
    EXPECT_NE(Refusal([&] { FDatabase->Commit(); }),
              "nothing raised"); // the server answers ROLLBACK without an error
    FDatabase->Rollback();
    EXPECT_EQ(One(*FDatabase, u"SELECT COUNT(*) FROM T").AsInteger(), 0);
}

TEST_F(Postgres, TextThatItCannotStoreIsRefused) {
    const std::u16string Zero(u"a\0b", 3);
    ExpectRefusal([&] { (void)One(*FDatabase, u"SELECT CAST(:V AS TEXT)", {{u"V", Zero}}); },
                  {":V holds U+0000, which PostgreSQL cannot store (at unit 1)"});
    for (const std::u16string_view Kept : {u"\xFEFFx", u"\xFFFE\xFFFF"}) {
        EXPECT_EQ(One(*FDatabase, u"SELECT CAST(:V AS TEXT)", {{u"V", Kept}}), TKXVariant(Kept));
    }
}

TEST_F(Postgres, ValuesNeverBecomeStatements) {
    for (const auto Setting : {u"on", u"off"}) {
        Exec(*FDatabase, u"SET standard_conforming_strings = " + std::u16string(Setting));
        for (const auto Value : {u"\\'; SELECT 2; --", u"'; SELECT 2; --", u"\\", u"$$", u"E'"}) {
            EXPECT_EQ(One(*FDatabase, u"SELECT CAST(:V AS TEXT)", {{u"V", Value}}), TKXVariant(Value));
        }
    }
}

TEST_F(Postgres, KindsOfTheServersTypes) {
    struct TRow {
        std::u16string_view Expression;
        TKXVariant Value;
    };
    const TRow Rows[] = {
        {u"true", std::int64_t{1}},
        {u"CAST(7 AS SMALLINT)", std::int64_t{7}},
        {u"COUNT(*)", std::int64_t{1}},
        {u"CAST(1.5 AS REAL)", 1.5},
        {u"CAST('12345678901234567890.10' AS NUMERIC)", u"12345678901234567890.10"},
        {u"DATE '2026-02-03'", u"2026-02-03"},
        {u"TIME '04:05:06.5'", u"04:05:06.500"},
        {u"TIMESTAMP '2026-02-03 04:05:06'", u"2026-02-03 04:05:06"},
        {u"TIMESTAMP '2026-02-03 04:05:06.789'", u"2026-02-03 04:05:06.789"},
        {u"CAST('{\"a\": 1}' AS jsonb)", u"{\"a\": 1}"},
        {u"CAST('a0eebc99-9c0b-4ef8-bb6d-6bb9bd380a11' AS uuid)", u"a0eebc99-9c0b-4ef8-bb6d-6bb9bd380a11"},
        {u"CAST(NULL AS DATE)", TKXVariant()},
    };
    for (const TRow& Row : Rows) {
        EXPECT_EQ(One(*FDatabase, u"SELECT " + std::u16string(Row.Expression)), Row.Value)
            << platform::Utf16ToUtf8(Row.Expression);
    }
    const auto Numeric = Opened(*FDatabase, u"SELECT SUM(CAST(2.50 AS NUMERIC(10, 2))) AS Total");
    ASSERT_TRUE(Numeric->Step());
    EXPECT_EQ(Numeric->FieldAsFloat(u"Total"), 2.5);
    ExpectRefusal([&] { (void)One(*FDatabase, u"SELECT DATE 'infinity' AS Day"); },
                  {"Column day", "cast it to text"});
    ExpectRefusal([&] { (void)One(*FDatabase, u"SELECT CAST('x' AS bytea) AS B"); },
                  {"Column b holds binary data"});
}

TEST_F(Postgres, ParametersTakeTheTypeOfTheirPlace) {
    Exec(*FDatabase,
         u"CREATE TABLE T (Flag BOOLEAN, Day DATE, Amount NUMERIC(10, 2), Name TEXT, Whole INTEGER)");
    EXPECT_EQ(
        Exec(*FDatabase, u"INSERT INTO T VALUES (:Flag, :Day, :Amount, :Name, :Whole)",
             {{u"Flag", 1}, {u"Day", u"2026-02-03"}, {u"Amount", 19.99}, {u"Name", 5}, {u"Whole", u"6"}}),
        1);
    EXPECT_EQ(
        One(*FDatabase, u"SELECT T::text FROM T WHERE Day = :D LIMIT:N", {{u"D", u"2026-02-03"}, {u"N", 1}}),
        TKXVariant(u"(t,2026-02-03,19.99,5,6)"));
    // Refused, not rounded; and the message shows the statement as written, not our way of running it.
    const std::string Text = Refusal([&] { Exec(*FDatabase, u"UPDATE T SET Whole = :V", {{u"V", 5.5}}); });
    EXPECT_NE(Text.find("5.5"), std::string::npos) << Text;
    EXPECT_EQ(Text.find("EXECUTE"), std::string::npos) << Text;
}

TEST_F(Postgres, PunctuationThatLooksLikePlaceholders) {
    EXPECT_EQ(
        One(*FDatabase, u"SELECT CAST('{\"a\":1}' AS jsonb) ? 'a' AND :V = 'x' -- don't ?", {{u"V", u"x"}}),
        TKXVariant(std::int64_t{1}));
    EXPECT_EQ(One(*FDatabase, u"SELECT $q$:a 'b$q$ || E'\\':c' || CAST(:V AS TEXT)", {{u"V", u"!"}}),
              TKXVariant(u":a 'b':c!"));
}

TEST_F(Postgres, StatementsHaveTheirTime) {
    FDatabase->SetTimeouts({.Statement = std::chrono::milliseconds(50)});
    ExpectRefusal([&] { Exec(*FDatabase, u"SELECT pg_sleep(600)"); }, {"a statement may take 0.05 seconds"});
    EXPECT_EQ(One(*FDatabase, u"SELECT 5").AsInteger(), 5);
}

TEST_F(Postgres, AFrozenServerIsGivenUp) {
    enum class TIn { Nothing, Transaction, Schema };
    for (const TIn In : {TIn::Nothing, TIn::Transaction, TIn::Schema}) {
        constexpr std::chrono::milliseconds Short(50);
        const std::chrono::milliseconds Statement = In == TIn::Schema ? std::chrono::hours(1) : Short;
        FDatabase->SetTimeouts({.Statement = Statement, .Network = Short, .Schema = Short});
        const int Process = One(*FDatabase, u"SELECT pg_backend_pid()").AsInteger();
        const bool Transaction = In == TIn::Transaction;
        std::optional<TSchemaLock> Lock;
        if (In == TIn::Schema) Lock.emplace(*FDatabase);
        if (Transaction) FDatabase->StartTransaction();
        ASSERT_EQ(kill(Process, SIGSTOP), 0);
        ExpectRefusal([&] { (void)One(*FDatabase, u"SELECT 1"); },
                      {"is lost", "the server gave no answer within 0.1 seconds", "Statement: SELECT 1"});
        EXPECT_EQ(kill(Process, SIGCONT), 0);
        Lock.reset();
        if (Transaction) FDatabase->Rollback();
        FDatabase->SetTimeouts({}); // on a new connection
        EXPECT_NE(One(*FDatabase, u"SELECT pg_backend_pid()").AsInteger(), Process);
    }
}

TEST_F(Postgres, RefusedConnectionsKeepThePassword) {
    auto Url = ParseDatabaseUrl(FServerDatabase->Url());
    Url.Password = u"geheim";
    Url.Name = u"absent";
    const std::string Text = Refusal([&] { TSqlDatabase Database(Url); });
    EXPECT_NE(Text.find("Cannot open the database postgresql://zu@127.0.0.1:"), std::string::npos) << Text;
    EXPECT_NE(Text.find("absent"), std::string::npos) << Text;
    EXPECT_EQ(Text.find("geheim"), std::string::npos) << Text;
}

} // namespace
} // namespace zutools::server
