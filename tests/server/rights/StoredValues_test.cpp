// Filters on records of real databases: what counts is the value that the database keeps, not how it was
// written.
#include "host/Services.h"
#include "host/Session.h"
#include "host/ThreadContainer.h"
#include "recordlock/Zurecblk.h"
#include "server/rights/Profiles.h"
#include "server/rights/RecordFilter.h"
#include "server/rights/SqlSecurity.h"
#include "server/rights/Users.h"
#include "server/sql/Schema.h"
#include "tests/server/rights/TablesOfDatabase.h"
#include "tests/server/sql/TestDatabases.h"
#include "tests/support/Raised.h"

namespace zutools::server {
namespace {

class StoredValues : public TDatabaseTest {
protected:
    void MakeTable() {
        Exec(Db(),
             u"CREATE TABLE Things (ID INTEGER PRIMARY KEY, N NUMERIC(10, 2), C CHAR(4), T TEXT, "
             u"F DOUBLE PRECISION, I INTEGER, B BOOLEAN, D DATE, H TIME, M TIMESTAMP, G INTEGER GENERATED "
             u"ALWAYS AS (I + 1) STORED, W VARCHAR(8) DEFAULT 'x' NOT NULL, " +
                 std::u16string(IsSqlite() ? u"S STRING)" : u"Z TIMESTAMPTZ, U UUID, S VARCHAR(8))"));
        Exec(Db(), u"INSERT INTO Things (ID) VALUES (1)");
    }
    [[nodiscard]] std::unique_ptr<TUserTable> Thing() {
        auto Record = MakeUserTable(u"Things", [this] { return &Db(); });
        EXPECT_TRUE(Record->Open(u"1"));
        return Record;
    }
    /// Checked as the record blocker does: before the write and with the row that came of it.
    [[nodiscard]] static bool Writes(TUserTable& Record, std::u16string_view Filter) {
        const auto Require = [Parsed = std::make_shared<TRecordFilter>(Filter)](const TUserTable& Row) {
            if (!Parsed->Covers({}, Row, TRecordState::Current)) throw EUserTableError(u"not covered");
        };
        try {
            TRecordWriting Writing(Record, Require);
            Require(Record);
            Record.RecordID().empty() ? Record.Insert() : Record.Post();
            Writing.Keep();
            return true;
        } catch (const EUserTableError& Error) {
            EXPECT_EQ(Error.Message(), u"not covered");
            return false;
        }
    }
};
ZU_ON_BOTH_DATABASES(StoredValues);

TEST_P(StoredValues, FiltersCompareWhatTheDatabaseKeeps) {
    MakeTable();
    enum TOn { Both, Sqlite, Postgres };
    enum TAgrees { AsSql, OurWay }; // whether the database itself says the same of this filter
    struct TCase {
        std::u16string_view Field;
        TKXVariant Given;
        std::u16string_view Filter;
        bool Covered;
        TOn On = Both;
        TAgrees Agrees = AsSql;
    };
    const TCase Cases[] = {
        // decimals, by value
        {u"N", u"0.0", u"N <> 0", false},
        {u"N", u"0.0", u"N <> '0'", false},
        {u"N", u"-0", u"N <> '0.00'", false},
        {u"N", u"0e5", u"N NOT IN (1, 0)", false},
        {u"N", u"0", u"N = 0", true},
        {u"N", u"+12.50", u"N = 12.5", true},
        {u"N", u"12.5", u"N = '1.25e1'", true},
        {u"N", u"12.51", u"N = 12.5", false},
        {u"N", u"-12.5", u"N = 12.5", false},
        {u"N", u"99999999.99", u"N = 99999999.99", true},
        {u"N", u"0.001", u"N <> 0", false, Postgres}, // rounded there
        {u"N", u"0.001", u"N <> 0", true, Sqlite},
        // padding and affinity, as the database has them
        {u"C", u"IT ", u"C <> 'IT'", false, Postgres},
        {u"C", u"IT", u"C = 'IT  '", true, Postgres},
        {u"C", u"IT ", u"C <> 'IT'", true, Sqlite},
        {u"C", u" IT", u"C <> 'IT'", true},
        {u"T", u"IT ", u"T <> 'IT'", true},
        {u"S", u"007", u"S <> '7'", false, Sqlite},
        {u"S", u" 7.0", u"S = 7", true, Sqlite},
        {u"S", u"7.5e0", u"S = 7.5", true, Sqlite},
        {u"S", u"-0", u"S = '0'", true, Sqlite},
        {u"S", u"007", u"S <> '7'", true, Postgres},
        {u"F", u"0.10", u"F = 0.1", true},
        {u"I", u" 007 ", u"I <> '7'", false},
        {u"B", u"1", u"B = 'True'", true, Both, OurWay},
        // dates and times, by the moment
        {u"D", u"2026-02-03", u"D <> '03.02.2026'", false, Both, OurWay},
        {u"D", u"2026-02-03", u"D = '2026-02-03 00:00:00'", true, Both, OurWay},
        {u"H", u"07:05", u"H <> '07:05:00.000'", false, Both, OurWay},
        {u"M", u"2026-02-03", u"M <> '2026-02-03T00:00'", false, Both, OurWay},
        {u"M", u"2026-02-03 00:00:00.5", u"M = '2026-02-03 00:00:00.500'", true, Both, OurWay},
        {u"M", u"2026-02-03 00:00:00.5", u"M = '2026-02-03'", false},
        {u"Z", u"2026-02-03 15:00:00+03", u"Z <> '2026-02-03 12:00:00+00'", false, Postgres},
        {u"Z", u"2026-02-03 00:30+05:30", u"Z = '2026-02-02 19:00:00Z'", true, Postgres},
        {u"Z", u"2024-03-01 00:10:00.25+0100", u"Z = '2024-02-29 23:10:00.25+00'", true, Postgres},
        {u"Z", u"2026-02-03 12:00:00", u"Z = '2026-02-03 12:00:01+00'", false, Postgres},
        {u"U", u"{123E4567-E89B-12D3-A456-426614174000}", u"U <> '123e4567-e89b-12d3-a456-426614174000'",
         false, Postgres},
        {u"U", u"123e4567-e89b-12d3-a456-426614174000", u"U = '{123E4567-E89B-12D3-A456-426614174000}'", true,
         Postgres},
        // what only the write tells
        {u"I", 5, u"G <> 6", false},
        {u"I", 5, u"G = 6", true},
        {u"I", 5, u"G IS NULL", false},
        {u"I", 5, u"NOT (G = 6 AND I = 5)", false},
    };
    for (const TCase& Case : Cases) {
        if (Case.On != Both && (Case.On == Sqlite) != IsSqlite()) continue;
        SCOPED_TRACE(platform::Utf16ToUtf8(std::u16string(Case.Field) + u" := " + Case.Given.AsString() +
                                           u"; " + std::u16string(Case.Filter)));
        Exec(Db(), u"UPDATE Things SET N = NULL, C = NULL, T = NULL, F = NULL, I = NULL, B = NULL, D = NULL, "
                   u"H = NULL, M = NULL, S = NULL" +
                       std::u16string(IsSqlite() ? u"" : u", Z = NULL, U = NULL"));
        const auto Record = Thing();
        Record->SetField(Case.Field, Case.Given);
        EXPECT_EQ(Writes(*Record, Case.Filter), Case.Covered);
        EXPECT_EQ(Thing()->Field(Case.Field).IsNull(), !Case.Covered); // refused: not written
        if (!Case.Covered) Record->Post();
        EXPECT_EQ(TRecordFilter(Case.Filter).Covers({}, *Thing(), TRecordState::Stored), Case.Covered);
        if (Case.Agrees == OurWay) continue;
        EXPECT_EQ(One(Db(), u"SELECT COUNT(*) FROM Things WHERE " + std::u16string(Case.Filter)).AsInteger(),
                  Case.Covered ? 1 : 0);
    }
    const auto Record = Thing();
    for (const auto& [Field, Value, Filter] :
         {std::tuple{u"N", u"1", u"N <> 'much'"}, std::tuple{u"D", u"2026-02-03", u"D <> 'someday'"},
          std::tuple{u"D", u"2026-02-03", u"D <> 46056"}, std::tuple{u"T", u"x", u"T <> 7"}}) {
        Record->SetField(Field, TKXVariant(Value));
        tests::ExpectRaised<ERecordFilter>([&] { (void)Writes(*Record, Filter); }, {"does not compare"});
    }
}

TEST_P(StoredValues, TriggersAndDefaultsAreSeen) {
    MakeTable();
    const auto New = MakeUserTable(u"Things", [this] { return &Db(); });
    New->OpenNew();
    New->SetField(u"ID", 2);
    New->SetField(u"I", 5);
    EXPECT_FALSE(Writes(*New, u"G = 7"));
    EXPECT_FALSE(Writes(*New, u"W <> 'x'"));
    EXPECT_TRUE(Writes(*New, u"G = 6 AND W = 'x'"));
    if (IsSqlite()) {
        Exec(Db(),
             u"CREATE TRIGGER Raise AFTER UPDATE OF I ON Things BEGIN UPDATE Things SET T = 'secret' WHERE "
             u"ID = NEW.ID; END");
    } else {
        Exec(Db(), u"CREATE FUNCTION Raise() RETURNS TRIGGER LANGUAGE plpgsql AS "
                   u"$$ BEGIN UPDATE Things SET T = 'secret' WHERE ID = NEW.ID; RETURN NULL; END $$");
        Exec(Db(), u"CREATE TRIGGER Raise AFTER UPDATE OF I ON Things FOR EACH ROW EXECUTE FUNCTION Raise()");
    }
    const auto Record = Thing();
    Record->SetField(u"T", u"open");
    Record->SetField(u"I", 1);
    EXPECT_FALSE(Writes(*Record, u"T <> 'secret'"));
    EXPECT_TRUE(Thing()->Field(u"I").IsNull());
    EXPECT_EQ(Record->Field(u"T"), TKXVariant(u"open")); // to be changed and written again
}

// What the record blocker does when a user takes a record, changes it and saves it.
TEST_P(StoredValues, TakesAndCommitsAskTheDatabaseSeldom) {
    MakeTable();
    UpgradeSchema(Db());
    const TDatabaseOfThread Database = [this] { return &Db(); };
    TProfiles(Database).Grant(u"Clerks", {u"Things", TRecordRight::Edit, u"N = 0 OR N IS NULL"});
    TUsers(Database, platform::SystemClock(), THashCost::Least())
        .Add(u"anna", u"correct horse", u"Clerks", false);
    TSqlSecurityManager Security(Database);
    (void)Security.IsSetUp();
    const auto Counted = [this](const auto& Call) {
        const std::uint64_t Before = Db().RoundTrips();
        Call();
        return Db().RoundTrips() - Before;
    };
    const auto Rights = [&] {
        return Security.BuildTableRightsFilter(Security.RefreshUserInfo(u"anna"), u"Things",
                                               TRecordRight::Edit);
    };
    const auto Take = [&] {
        auto Record = Thing();
        EXPECT_TRUE(Security.CheckRecordRights(Rights(), *Record));
        return Record;
    };
    const auto Commit = [&](TUserTable& Record) {
        TTableRights Known;
        const auto Require = [&](const TUserTable& Row) {
            if (!Security.CheckRecordRights(Known, Row)) throw EUserTableError(u"not covered");
        };
        TRecordWriting Writing(Record, Require);
        Known = Rights();
        Require(Record);
        Record.Post();
        Writing.Keep();
    };
    (void)Take(); // the shape of the table is known from here on
    std::unique_ptr<TUserTable> Record;
    EXPECT_EQ(Counted([&] { Record = Take(); }), 2U);
    Record->SetField(u"N", 0);
    EXPECT_EQ(Counted([&] { Commit(*Record); }), 3U); // the transaction begins with its first statement
    EXPECT_EQ(Counted([&] { EXPECT_FALSE(MakeUserTable(u"Things", Database)->Open(u"7")); }), 2U);

    Exec(Db(), IsSqlite()
                   ? u"CREATE TRIGGER Mark AFTER UPDATE OF N ON Things BEGIN UPDATE Things SET T = 'marked' "
                     u"WHERE ID = "
                     u"NEW.ID; END"
                   : u"CREATE FUNCTION Mark() RETURNS TRIGGER LANGUAGE plpgsql AS "
                     u"$$ BEGIN UPDATE Things SET T = 'marked' WHERE ID = NEW.ID; RETURN NULL; END $$");
    if (!IsSqlite())
        Exec(Db(), u"CREATE TRIGGER Mark AFTER UPDATE OF N ON Things FOR EACH ROW EXECUTE FUNCTION Mark()");
    Record = Take(); // notices
    Record->SetField(u"N", {});
    EXPECT_EQ(Counted([&] { Commit(*Record); }), 4U); // reads what the trigger made of it
    EXPECT_EQ(Record->Field(u"T"), TKXVariant(u"marked"));
}

TEST_P(StoredValues, TheRecordBlockerAsksOnceMore) {
    MakeTable();
    UpgradeSchema(Db());
    const TDatabaseOfThread Database = [this] { return &Db(); };
    TProfiles(Database).Grant(u"Clerks", {u"Things", TRecordRight::Edit, u"G IS NULL OR G <> 6"});
    TUsers(Database, platform::SystemClock(), THashCost::Least())
        .Add(u"anna", u"correct horse", u"Clerks", false);
    TZURecordBlocker Blocker{TServices{.ApplicationManager = std::make_shared<TTablesOfDatabase>(Database),
                                       .Localizer = nullptr,
                                       .Logger = nullptr,
                                       .Security = std::make_shared<TSqlSecurityManager>(Database)}};
    auto Session = std::make_unique<TSession>();
    Session->SID = u"sid";
    Session->USR = u"anna";
    ThreadObjects().Add(SessionObjectName, std::move(Session));
    const auto ExpectError = [&](std::int32_t Code, std::u16string_view Part) {
        ASSERT_NE(Blocker.LastError(), nullptr);
        EXPECT_EQ(Blocker.LastError()->LastErrorCode(), Code);
        const std::u16string Message = Blocker.LastError()->LastErrorMessage();
        EXPECT_NE(Message.find(Part), Message.npos) << platform::Utf16ToUtf8(Message);
    };
    auto Block = Blocker.GetRecord(u"Things", u"1", otEdit);
    ASSERT_TRUE(Block);
    Block->Table().SetField(u"I", 5);
    {
        const TTransaction Transaction(Db());
        EXPECT_FALSE(Blocker.DoneByObject(Block.get(), true, false, false));
        ExpectError(303, u"inside a transaction; do it before the transaction begins");
        EXPECT_FALSE(Blocker.GetRecord(u"Things", u"2", otEdit));
        ExpectError(301, u"inside a transaction; do it before the transaction begins");
    }
    EXPECT_FALSE(Blocker.DoneByObject(Block.get(), true, false, false));
    ExpectError(402, u"");
    EXPECT_TRUE(Thing()->Field(u"I").IsNull());
    Block = Blocker.GetRecord(u"Things", u"1", otEdit);
    ASSERT_TRUE(Block);
    Block->Table().SetField(u"I", 4);
    EXPECT_TRUE(Blocker.DoneByObject(Block.get(), true, false, false));
    EXPECT_EQ(Thing()->Field(u"G"), TKXVariant(std::int64_t{5}));
    ThreadObjects().Remove(SessionObjectName);
}

} // namespace
} // namespace zutools::server
