#include "server/records/SqlUserTable.h"
#include "tests/server/sql/TestDatabases.h"
#include "tests/support/Raised.h"

#include <functional>

namespace zutools::server {
namespace {

using tests::ExpectRaised;

class SqlUserTable : public TDatabaseTest {
protected:
    [[nodiscard]] std::unique_ptr<TUserTable> Table(std::u16string_view Name) {
        return MakeUserTable(Name, [this] { return &Db(); });
    }
    [[nodiscard]] std::unique_ptr<TUserTable> Opened(std::u16string_view Name, std::u16string_view RecordID) {
        auto Record = Table(Name);
        EXPECT_TRUE(Record->Open(RecordID)) << platform::Utf16ToUtf8(RecordID);
        return Record;
    }
    /// Orders with a number of its own, one row of ID 1.
    void MakeOrders() {
        Exec(Db(), IsSqlite()
                       ? u"CREATE TABLE Orders (ID INTEGER PRIMARY KEY, Customer VARCHAR(10) NOT NULL, "
                         u"Total NUMERIC(8, 2), State VARCHAR(8) DEFAULT 'new' NOT NULL, "
                         u"Note TEXT, Seen TIMESTAMP DEFAULT CURRENT_TIMESTAMP)"
                       : u"CREATE TABLE Orders (ID SERIAL PRIMARY KEY, Customer VARCHAR(10) NOT NULL, "
                         u"Total NUMERIC(8, 2), State VARCHAR(8) DEFAULT 'new' NOT NULL, "
                         u"Note TEXT, Seen TIMESTAMP DEFAULT CURRENT_TIMESTAMP)");
        Exec(Db(), u"INSERT INTO Orders (Customer, Total, Note) VALUES ('Smith', 12.5, 'first')");
    }
    [[nodiscard]] TKXVariant Stored(std::u16string_view Field) {
        return One(Db(), u"SELECT " + std::u16string(Field) + u" FROM Orders WHERE ID = 1");
    }
};
ZU_ON_BOTH_DATABASES(SqlUserTable);

constexpr std::u16string_view SqliteTypes =
    u"CREATE TABLE Types (ID INTEGER PRIMARY KEY, I BIGINT, Must INTEGER DEFAULT 7 NOT NULL, F DOUBLE "
    u"PRECISION, "
    u"N NUMERIC(12, 2), T TEXT, V VARCHAR(5), B BOOLEAN, D DATE, C TIME, M TIMESTAMP, X BLOB, "
    u"G INTEGER GENERATED ALWAYS AS (I + 1) STORED)";
constexpr std::u16string_view PostgresTypes =
    u"CREATE TABLE Types (ID SERIAL PRIMARY KEY, I BIGINT, Must INTEGER DEFAULT 7 NOT NULL, F DOUBLE "
    u"PRECISION, "
    u"N NUMERIC(12, 2), T TEXT, V VARCHAR(5), B BOOLEAN, D DATE, C TIME, M TIMESTAMP, X BYTEA, "
    u"G BIGINT GENERATED ALWAYS AS (I + 1) STORED, Z TIMESTAMPTZ, U UUID, J JSONB, S SMALLINT, "
    u"L NUMERIC)";

TEST_P(SqlUserTable, FieldsKeepTheirTypesThroughTheDatabase) {
    Exec(Db(), IsSqlite() ? SqliteTypes : PostgresTypes);
    struct TCase {
        std::u16string_view Field;
        TKXVariant Given;
        TKXVariant Read;
        bool PostgresOnly = false;
    };
    const std::int64_t Big = std::numeric_limits<std::int64_t>::min();
    const TCase Cases[] = {
        {u"I", Big, Big},
        {u"I", u" 42 ", std::int64_t{42}},
        {u"i", 3.0, std::int64_t{3}},
        {u"I", true, std::int64_t{1}},
        {u"I", u"", {}},
        {u"F", 0.1, 0.1},
        {u"F", u"-2.5e-300", -2.5e-300},
        {u"F", 7, 7.0},
        {u"F", u" ", {}},
        {u"N", u"-1234567890.25", u"-1234567890.25"},
        {u"N", u"", {}},
        {u"T", u"", u""},
        {u"T", u"a'b\"c\\d;:x --/* \u0416\U0001F600\n", u"a'b\"c\\d;:x --/* \u0416\U0001F600\n"},
        {u"T", 17, u"17"},
        {u"V", u"\U0001F600\u0416xyz", u"\U0001F600\u0416xyz"}, // five characters
        {u"B", true, true},
        {u"B", u"False", false},
        {u"B", 1, true},
        {u"B", u"", {}},
        {u"D", u"2024-02-29", u"2024-02-29"},
        {u"D", u"29.02.2024", u"2024-02-29"},
        {u"D", TKXVariant(u"2024-02-29").AsDateTime(), u"2024-02-29"},
        {u"D", u"", {}},
        {u"C", u"07:05", u"07:05:00"},
        {u"C", u"23:59:59.000125", u"23:59:59.000125"},
        {u"M", u"2024-02-29T12:30", u"2024-02-29 12:30:00"},
        {u"M", u"2024-02-29 12:30:00.123450", u"2024-02-29 12:30:00.12345"},
        {u"M", u"2024-02-29", u"2024-02-29 00:00:00"},
        {u"N", u"12.50", u"12.50", true},
        {u"L", u"123456789012345678901234567890.123456789", u"123456789012345678901234567890.123456789",
         true},
        {u"Z", u"2024-02-29 12:30:00", u"2024-02-29 12:30:00+00", true},
        {u"Z", u"2024-02-29T12:30:00.5+03:00", u"2024-02-29 09:30:00.5+00", true},
        {u"Z", u"2024-02-29 12:30Z", u"2024-02-29 12:30:00+00", true},
        {u"U", u"{123E4567-E89B-12D3-A456-426614174000}", u"123e4567-e89b-12d3-a456-426614174000", true},
        {u"J", u"{\"a\": [1, 2]}", u"{\"a\": [1, 2]}", true},
        {u"S", -32768, std::int64_t{-32768}, true},
    };
    if (!IsSqlite()) Exec(Db(), u"SET TimeZone = 'Asia/Tokyo'"); // neither decides
    if (!IsSqlite()) Exec(Db(), u"SET DateStyle = 'German'");
    for (const TCase& Case : Cases) {
        if (Case.PostgresOnly && IsSqlite()) continue;
        SCOPED_TRACE(platform::Utf16ToUtf8(Case.Field) + " = " +
                     platform::Utf16ToUtf8(Case.Given.AsString()));
        const auto Record = Table(u"Types");
        Record->OpenNew();
        Record->SetField(Case.Field, Case.Given);
        Record->Insert();
        EXPECT_EQ(Record->Field(Case.Field), Case.Read);
        const auto Again = Opened(u"Types", Record->RecordID());
        EXPECT_EQ(Again->Field(Case.Field), Case.Read);
        EXPECT_EQ(Again->Field(u"Must"), TKXVariant(std::int64_t{7}));
        Again->SetField(Case.Field, {});
        Again->Post();
        EXPECT_TRUE(Again->Field(Case.Field).IsNull());
        Again->SetField(Case.Field, Case.Read); // what was read can be written
        Again->Post();
        EXPECT_EQ(Again->Field(Case.Field), Case.Read);
    }
}

TEST_P(SqlUserTable, ValuesThatDoNotFitAreNamed) {
    Exec(Db(), IsSqlite() ? SqliteTypes : PostgresTypes);
    struct TCase {
        std::u16string_view Field;
        TKXVariant Given;
        std::initializer_list<std::string_view> Parts;
        bool PostgresOnly = false;
    };
    const TCase Cases[] = {
        {u"I", u"abc", {"ypes.", "\"abc\"", "a whole number"}},
        {u"I", 1.5, {"\"1.5\"", "a whole number"}},
        {u"I", u"9223372036854775808", {"to 9223372036854775807"}},
        {u"F", u"1,5", {"\"1,5\"", "a number"}},
        {u"F", std::numeric_limits<double>::infinity(), {"a number"}},
        {u"N", u"12,5", {"a decimal number with \".\""}},
        {u"N", u"--1", {"a decimal number"}},
        {u"N", u"1.5.5", {"a decimal number"}},
        {u"N", u".", {"a decimal number"}},
        {u"N", u"12345678901", {"at most 10 digits before the point"}},
        {u"N", u"1e10", {"at most 10 digits before the point"}},
        {u"V", u"sixsix", {"at most 5 characters, not 6"}},
        {u"T", TKXVariant::Object(nullptr), {"an object", "text"}},
        {u"T", std::u16string(1, u'\xD800'), {"unpaired surrogate"}},
        {u"B", u"yes", {"\"yes\"", "true or false"}},
        {u"D", u"2023-02-29", {"\"2023-02-29\"", "a date as YYYY-MM-DD"}},
        {u"D", u"2024-02-29 01:00", {"a date as"}},
        {u"C", u"25:00", {"a time as"}},
        {u"M", u"2024-02-29 12:30:00.1234567", {"a date and time as"}},
        {u"M", u"soon", {"a date and time as"}},
        {u"M", 5, {"a date and time as"}},
        {u"X", u"abc", {"is binary"}},
        {u"G", 5, {"is computed"}},
        {u"Nix", 5, {"no field \"Nix\""}},
        {u"T", std::u16string(u"a\0b", 3), {"U+0000"}, true},
        {u"S", 32768, {"from -32768 to 32767"}, true},
        {u"U", u"123", {"an identifier as"}, true},
        {u"Z", u"2024-02-29 12:30+3", {"a date and time"}, true},
    };
    Exec(Db(), u"INSERT INTO Types (T) VALUES ('kept')");
    const auto Record = Opened(u"Types", u"1");
    for (const TCase& Case : Cases) {
        if (Case.PostgresOnly && IsSqlite()) continue;
        SCOPED_TRACE(platform::Utf16ToUtf8(Case.Field));
        ExpectRaised<EUserTableError>([&] { Record->SetField(Case.Field, Case.Given); }, Case.Parts);
    }
    EXPECT_EQ(Record->Field(u"T"), TKXVariant(u"kept"));
    Record->SetField(u"Must", {});
    ExpectRaised<EUserTableError>([&] { Record->Post(); }, {"ust needs a value"});
    EXPECT_FALSE(Db().InTransaction());
}

TEST_P(SqlUserTable, BinaryFieldsAreComparedButNotRead) {
    Exec(Db(), IsSqlite() ? SqliteTypes : PostgresTypes);
    const auto Fill = [&](std::u16string_view Tail) {
        Exec(Db(),
             IsSqlite() ? u"UPDATE Types SET X = CAST(:A || :B AS BLOB)"
                        : u"UPDATE Types SET X = convert_to(CAST(:A AS TEXT) || CAST(:B AS TEXT), 'UTF8')",
             {{u"A", std::u16string(5000, u'x')}, {u"B", Tail}});
    };
    Exec(Db(), u"INSERT INTO Types (I) VALUES (1)");
    EXPECT_TRUE(Opened(u"Types", u"1")->Field(u"X").IsNull());
    Fill(u"a");
    const auto Record = Opened(u"Types", u"1");
    ExpectRaised<EUserTableError>([&] { (void)Record->Field(u"X"); }, {"ypes.", "binary"});
    Record->SetField(u"I", 2);
    Record->Post();
    EXPECT_EQ(One(Db(), u"SELECT LENGTH(X) FROM Types").AsInteger(), 5001);
    Fill(u"b");
    Record->SetField(u"I", 3);
    ExpectRaised<ERecordChanged>([&] { Record->Post(); }, {"changed by somebody else"});
}

TEST_P(SqlUserTable, RecordIDsOfKeysWithSeveralColumns) {
    Exec(Db(), u"CREATE TABLE Lines (Amount INTEGER, Article VARCHAR(20) NOT NULL, OrderID INTEGER NOT NULL, "
               u"PRIMARY KEY (OrderID, Article))" +
                   std::u16string(IsSqlite() ? u" WITHOUT ROWID" : u""));
    const std::u16string_view Articles[] = {u"", u"ab", u"a;b", u"a\\", u"\\;", u";;", u"\u0416'\""};
    for (const auto Article : Articles) {
        const auto Record = Table(u"LINES");
        Record->OpenNew();
        Record->SetField(u"OrderID", 5);
        Record->SetField(u"Article", Article);
        Record->Insert();
        EXPECT_TRUE(Record->RecordID().starts_with(u"5;"));
        EXPECT_EQ(Opened(u"Lines", Record->RecordID())->Field(u"article"), TKXVariant(Article));
    }
    EXPECT_FALSE(Table(u"Lines")->Open(u"6;ab"));
    EXPECT_FALSE(Table(u"Lines")->Open(u"5;AB"));
    const std::pair<std::u16string_view, std::string_view> Bad[] = {
        {u"5", "rticle"},
        {u"5;a;b", "is written"},
        {u"x;ab", "a whole number"},
        {u"05;ab", "write it as \"5;ab\""},
        {u"5;a\\b", "is written"},
        {u"", "is written"},
        {u";ab", "a whole number"},
        {u" 5;ab", "write it as"},
        {u"$5;ab", "write it as"},
        {u"5;this article is too long", "at most 20 characters"},
    };
    for (const auto& [RecordID, Part] : Bad) {
        ExpectRaised<EUserTableError>([&] { (void)Table(u"Lines")->Open(RecordID); },
                                      {"no record ID of the table", Part});
    }
    // The key may change, and the record with it.
    const auto Record = Opened(u"Lines", u"5;ab");
    Record->SetField(u"Article", u"c;d");
    Record->Post();
    EXPECT_TRUE(Record->RecordID() == u"5;c\\;d");
    EXPECT_FALSE(Table(u"Lines")->Open(u"5;ab"));
    Record->Delete();
    EXPECT_FALSE(Table(u"Lines")->Open(u"5;c\\;d"));
}

TEST_P(SqlUserTable, NamesAreThoseOfTheCatalogue) {
    Exec(Db(),
         u"CREATE TABLE \"My \"\"odd\"\" :Table\" (\"The Key\" INTEGER PRIMARY KEY, \"a:b \"\"c\"\"\" TEXT)");
    Exec(Db(), u"INSERT INTO \"My \"\"odd\"\" :Table\" VALUES (1, 'x')");
    const auto Record = Opened(u"my \"ODD\" :table", u"1");
    EXPECT_TRUE(Record->TableName() == u"My \"odd\" :Table");
    Record->SetField(u"A:B \"c\"", u"y");
    Record->Post();
    EXPECT_EQ(Record->Field(u"a:b \"c\""), TKXVariant(u"y"));

    MakeOrders();
    Exec(Db(), u"CREATE VIEW Late AS SELECT * FROM Orders");
    Exec(Db(), u"CREATE TABLE Keyless (ID INTEGER)");
    const std::pair<std::u16string, std::string_view> Refused[] = {
        {u"", "no table"},
        {u"Nowhere", "no table \"Nowhere\""},
        {u"Orders; DROP TABLE Orders", "no table"},
        {u"Orders\" --", "no table"},
        {u"Orders'", "no table"},
        {u"public.Orders", "no table"},
        {std::u16string(u"Orders\0", 7), "no table"},
        {u"Orders\xD800", "no table"},
        {std::u16string(100'000, u'x'), "no table"},
        {u"pg_authid", "no table"},
        {u"Late", "is a view"},
        {u"Keyless", "no primary key"},
        {u"zuusers", "the host's own"}, // an editor of "every table" must not become an administrator
    };
    for (const auto& [Name, Part] : Refused) {
        ExpectRaised<EUserTableError>([&, &Given = Name] { (void)Table(Given); }, {Part});
    }
    ExpectRaised<EUserTableError>([] { (void)MakeUserTable(u"Orders", [] { return nullptr; }); },
                                  {"no database"});
    const auto Order = Opened(u"Orders", u"1");
    EXPECT_FALSE(Order->HasField(u"Customer\" = 'x', \"Note"));
    Order->SetField(u"Note", u"'); DROP TABLE Orders; --");
    Order->Post();
    EXPECT_EQ(Stored(u"Note"), TKXVariant(u"'); DROP TABLE Orders; --"));
    ExpectRaised<EUserTableError>([&] { (void)Table(u"Orders")->Open(u"1 OR 1=1"); }, {"no record ID"});
    if (IsSqlite()) return;
    Exec(Db(), u"CREATE TABLE \"Twice\" (ID INTEGER PRIMARY KEY)");
    Exec(Db(), u"CREATE TABLE Twice (ID INTEGER PRIMARY KEY)");
    EXPECT_TRUE(Table(u"Twice")->TableName() == u"Twice");
    ExpectRaised<EUserTableError>([&] { (void)Table(u"TWICE"); }, {"Several tables"});
}

TEST_P(SqlUserTable, NewTablesAndColumnsAreNoticed) {
    MakeOrders();
    const auto Record = Opened(u"Orders", u"1");
    Exec(Db(), u"ALTER TABLE Orders ADD Colour TEXT DEFAULT 'red'");
    EXPECT_FALSE(Record->HasField(u"Colour"));
    ASSERT_TRUE(Record->Open(u"1"));
    EXPECT_EQ(Record->Field(u"Colour"), TKXVariant(u"red"));
}

TEST_P(SqlUserTable, InsertTakesDefaultsAndGivesTheNumber) {
    MakeOrders();
    const auto Record = Table(u"Orders");
    ExpectRaised<EUserTableError>([&] { (void)Record->Field(u"Note"); }, {"none is open"});
    Record->OpenNew();
    EXPECT_TRUE(Record->RecordID().empty());
    EXPECT_EQ(Record->Field(u"State"), TKXVariant(u"new")); // shown before
    EXPECT_TRUE(Record->StoredField(u"State").IsNull());
    ExpectRaised<EDatabaseError>([&] { Record->Insert(); }, {"ustomer"});
    Record->SetField(u"Customer", u"Jones");
    Record->SetField(u"ID", u""); // as a form sends it
    Record->Insert();
    EXPECT_FALSE(Record->Field(u"Seen").IsNull());
    EXPECT_EQ(Record->Field(u"State"), TKXVariant(u"new"));
    EXPECT_EQ(Record->Field(u"ID").AsString(), Record->RecordID());
    EXPECT_TRUE(Opened(u"Orders", Record->RecordID())->Field(u"Customer") == TKXVariant(u"Jones"));
    ExpectRaised<EUserTableError>([&] { Record->Insert(); }, {"in the table already"});
    Record->SetField(u"Customer", u"Brown");
    Record->Post();
    EXPECT_EQ(One(Db(), u"SELECT COUNT(*) FROM Orders").AsInteger(), 2);

    Record->OpenNew();
    Record->SetField(u"ID", 40);
    Record->SetField(u"Customer", u"Forty");
    Record->Insert();
    EXPECT_TRUE(Record->RecordID() == u"40");
    Exec(Db(), u"CREATE TABLE Defaults (ID " + std::u16string(IsSqlite() ? u"INTEGER" : u"SERIAL") +
                   u" PRIMARY KEY, A TEXT DEFAULT 'it''s', B INTEGER DEFAULT -3, C NUMERIC(5,1) DEFAULT 1.5, "
                   u"D TEXT DEFAULT ('a' || 'b'))");
    const auto Defaults = Table(u"Defaults");
    Defaults->OpenNew();
    EXPECT_EQ(Defaults->Field(u"A"), TKXVariant(u"it's"));
    EXPECT_EQ(Defaults->Field(u"B"), TKXVariant(std::int64_t{-3}));
    EXPECT_EQ(Defaults->Field(u"C"), TKXVariant(u"1.5"));
    Defaults->Insert(); // nothing set at all
    EXPECT_EQ(Defaults->Field(u"D"), TKXVariant(u"ab"));
}

TEST_P(SqlUserTable, InsertOfAnOpenedRecordIsACopy) {
    MakeOrders();
    const auto Record = Opened(u"Orders", u"1");
    Record->SetField(u"Note", u"copied");
    Record->Insert();
    EXPECT_TRUE(Record->RecordID() == u"2");
    EXPECT_EQ(Record->Field(u"Customer"), TKXVariant(u"Smith"));
    EXPECT_EQ(Stored(u"Note"), TKXVariant(u"first"));
    ExpectRaised<EUserTableError>([&] { Record->Insert(); }, {"in the table already"}); // once
    Record->SetField(u"Note", u"later");
    Record->Post();
    EXPECT_EQ(One(Db(), u"SELECT Note FROM Orders WHERE ID = 2"), TKXVariant(u"later"));
    ASSERT_TRUE(Record->Open(u"1"));
    Record->SetField(u"ID", 7);
    Record->Insert();
    EXPECT_TRUE(Record->RecordID() == u"7");

    Exec(Db(), IsSqlite() ? SqliteTypes : PostgresTypes);
    Exec(Db(), IsSqlite() ? u"INSERT INTO Types (I, X) VALUES (1, NULL), (2, x'00')"
                          : u"INSERT INTO Types (I, X) VALUES (1, NULL), (2, '\\x00')");
    const auto Plain = Opened(u"Types", u"1");
    Plain->Insert();
    EXPECT_EQ(Plain->Field(u"G"), TKXVariant(std::int64_t{2}));
    ExpectRaised<EUserTableError>([&] { Opened(u"Types", u"2")->Insert(); }, {"cannot be copied", "binary"});
}

TEST_P(SqlUserTable, ChangesOfOthersStopAWrite) {
    MakeOrders();
    struct TCase {
        const char* Name;
        std::function<void(TDatabase&)> Meanwhile;
        std::initializer_list<std::string_view> Parts; // none: no conflict
    };
    const TCase Cases[] = {
        {"another field",
         [](TDatabase& Other) { Exec(Other, u"UPDATE Orders SET Note = 'theirs'"); },
         {"record 1 of", "changed by somebody else", ": ",
          "ote. Nothing was written; open the record again"}},
        {"two fields",
         [](TDatabase& Other) { Exec(Other, u"UPDATE Orders SET Note = NULL, Total = 13"); },
         {"otal, ", "ote"}},
        {"changed back",
         [](TDatabase& Other) {
             Exec(Other, u"UPDATE Orders SET Note = 'theirs'");
             Exec(Other, u"UPDATE Orders SET Note = 'first'");
         },
         {}},
        {"another row",
         [](TDatabase& Other) { Exec(Other, u"INSERT INTO Orders (Customer) VALUES ('x')"); },
         {}},
        {"deleted",
         [](TDatabase& Other) { Exec(Other, u"DELETE FROM Orders WHERE ID = 1"); },
         {"record 1 of", "was deleted, or its key was changed", "Nothing was written"}},
        {"moved",
         [](TDatabase& Other) { Exec(Other, u"UPDATE Orders SET ID = 99 WHERE ID = 1"); },
         {"its key was changed"}},
    };
    for (const TCase& Case : Cases) {
        for (const bool Deleting : {false, true}) {
            SCOPED_TRACE(Case.Name + std::string(Deleting ? ", deleting" : ", posting"));
            Exec(Db(), u"DELETE FROM Orders");
            Exec(Db(), u"INSERT INTO Orders (ID, Customer, Total, Note) VALUES (1, 'Smith', 12.5, 'first')");
            const auto Record = Opened(u"Orders", u"1");
            Record->SetField(u"Customer", u"Mine");
            Case.Meanwhile(*Connect());
            const auto Write = [&] { Deleting ? Record->Delete() : Record->Post(); };
            if (Case.Parts.size() == 0) {
                Write();
                EXPECT_EQ(Stored(u"Customer"), TKXVariant(Deleting ? u"no row" : u"Mine"));
                continue;
            }
            ExpectRaised<ERecordChanged>(Write, Case.Parts);
            ExpectRaised<ERecordChanged>(Write, Case.Parts); // as often as it is tried
            EXPECT_NE(Stored(u"Customer"), TKXVariant(u"Mine"));
            EXPECT_EQ(Record->Field(u"Customer"), TKXVariant(u"Mine"));
            EXPECT_FALSE(Db().InTransaction());
        }
    }
}

TEST_P(SqlUserTable, OnlyChangedFieldsAreWrittenAndTriggersAreSeen) {
    MakeOrders();
    if (IsSqlite()) {
        Exec(Db(), u"CREATE TRIGGER Mark AFTER UPDATE OF Customer ON Orders BEGIN "
                   u"UPDATE Orders SET State = 'marked' WHERE ID = NEW.ID; END");
    } else {
        Exec(Db(), u"CREATE FUNCTION Mark() RETURNS TRIGGER LANGUAGE plpgsql AS "
                   u"$$ BEGIN UPDATE Orders SET State = 'marked' WHERE ID = NEW.ID; RETURN NULL; END $$");
        Exec(Db(),
             u"CREATE TRIGGER Mark AFTER UPDATE OF Customer ON Orders FOR EACH ROW EXECUTE FUNCTION Mark()");
    }
    const auto Record = Opened(u"Orders", u"1");
    Record->SetField(u"Note", u"other");
    Record->SetField(u"Customer", u"Smith"); // as it is
    Record->Post();
    EXPECT_EQ(Stored(u"State"), TKXVariant(u"new"));
    Record->SetField(u"Customer", u"Jones");
    EXPECT_EQ(Record->StoredField(u"Customer"), TKXVariant(u"Smith"));
    Record->Post();
    EXPECT_EQ(Record->Field(u"State"), TKXVariant(u"marked"));
    EXPECT_EQ(Record->StoredField(u"Customer"), TKXVariant(u"Jones"));
    Record->SetField(u"Note", u"again"); // no conflict with what the trigger wrote
    Record->Post();
    EXPECT_EQ(Stored(u"Note"), TKXVariant(u"again"));
}

TEST_P(SqlUserTable, FailedWritesLoseNothingAndCanBeRepeated) {
    MakeOrders();
    Exec(Db(), u"CREATE UNIQUE INDEX Notes ON Orders (Note)");
    Exec(Db(), u"INSERT INTO Orders (Customer, Note) VALUES ('Jones', 'second')");
    Exec(Db(), u"CREATE TABLE Parts (OrderID INTEGER REFERENCES Orders (ID))");
    Exec(Db(), u"INSERT INTO Parts VALUES (1)");
    const auto Record = Opened(u"Orders", u"1");
    const auto New = Table(u"Orders");
    New->OpenNew();
    New->SetField(u"Customer", u"Brown");
    New->SetField(u"Note", u"second");
    Record->SetField(u"Customer", u"Mine");
    Record->SetField(u"Note", u"second");
    ExpectRaised<EDatabaseError>([&] { Record->Post(); });
    EXPECT_EQ(Record->Field(u"Note"), TKXVariant(u"second"));
    EXPECT_EQ(Record->StoredField(u"Note"), TKXVariant(u"first"));
    ExpectRaised<EDatabaseError>([&] { Record->Delete(); });
    ExpectRaised<EDatabaseError>([&] { New->Insert(); });
    EXPECT_TRUE(New->RecordID().empty());
    EXPECT_FALSE(Db().InTransaction());
    EXPECT_EQ(Stored(u"Customer"), TKXVariant(u"Smith"));
    Record->SetField(u"Note", u"third");
    Record->Post();
    EXPECT_EQ(Stored(u"Customer"), TKXVariant(u"Mine"));
    New->SetField(u"Note", u"fourth");
    New->Insert();
    EXPECT_FALSE(New->RecordID().empty());
    Exec(Db(), u"DELETE FROM Parts");
    Record->Delete();
    EXPECT_EQ(Record->Field(u"Note"), TKXVariant(u"third")); // still told to those who ask
    ExpectRaised<EUserTableError>([&] { Record->Post(); }, {"it was deleted"});
    ExpectRaised<EUserTableError>([&] { Record->SetField(u"Note", u"x"); }, {"it was deleted"});
}

// Whoever holds a row and waits for a record, and whoever holds the record and waits for the row, wait for
// ever.
TEST_P(SqlUserTable, InsideATransactionOfTheThreadNothingIsOpenedOrWritten) {
    MakeOrders();
    const auto Record = Opened(u"Orders", u"1");
    const auto New = Table(u"Orders");
    New->OpenNew();
    New->SetField(u"Customer", u"new");
    Record->SetField(u"Note", u"mine");
    {
        const TTransaction Transaction(Db());
        const std::function<void()> Calls[] = {[&] { (void)Opened(u"Orders", u"1"); },
                                               [&] { New->OpenNew(); },
                                               [&] { Record->Post(); },
                                               [&] { Record->Delete(); },
                                               [&] { New->Insert(); },
                                               [&] { const TRecordWriting Writing(*Record); }};
        for (const auto& Call : Calls)
            ExpectRaised<EUserTableError>(Call, {"inside a transaction; do it before"});
    }
    Record->Post();
    New->Insert();
    EXPECT_EQ(Stored(u"Note"), TKXVariant(u"mine"));

    // Several records in one transaction: the writings begin first.
    Record->SetField(u"Note", u"both");
    TRecordWriting First(*Record);
    TRecordWriting Second(*New);
    TTransaction Transaction(Db());
    Record->Post();
    New->Delete();
    Transaction.Commit();
    First.Keep();
    EXPECT_EQ(Stored(u"Note"), TKXVariant(u"both"));
}

TEST_P(SqlUserTable, ATriggerThatSwallowsAWriteIsAnError) {
    MakeOrders();
    if (IsSqlite()) {
        Exec(Db(), u"CREATE TRIGGER NoUpdate BEFORE UPDATE ON Orders BEGIN SELECT RAISE(IGNORE); END");
        Exec(Db(), u"CREATE TRIGGER NoDelete BEFORE DELETE ON Orders BEGIN SELECT RAISE(IGNORE); END");
        Exec(Db(), u"CREATE TRIGGER NoInsert BEFORE INSERT ON Orders BEGIN SELECT RAISE(IGNORE); END");
    } else {
        Exec(Db(),
             u"CREATE FUNCTION Nothing() RETURNS TRIGGER LANGUAGE plpgsql AS $$ BEGIN RETURN NULL; END $$");
        Exec(Db(), u"CREATE TRIGGER NoWrite BEFORE INSERT OR UPDATE OR DELETE ON Orders FOR EACH ROW "
                   u"EXECUTE FUNCTION Nothing()");
    }
    const auto Record = Opened(u"Orders", u"1");
    Record->SetField(u"Note", u"x");
    ExpectRaised<EUserTableError>([&] { Record->Post(); }, {"did not change the record 1"});
    ExpectRaised<EUserTableError>([&] { Record->Delete(); }, {"did not delete the record 1"});
    Record->OpenNew();
    Record->SetField(u"Customer", u"x");
    ExpectRaised<EUserTableError>([&] { Record->Insert(); }, {"did not keep the new record"});
}

TEST_P(SqlUserTable, WhileItIsCheckedAndWrittenOthersReadOnly) {
    MakeOrders();
    TDatabasePool Pool(Url());
    const auto Record = MakeUserTable(u"Orders", [&] { return &Pool.Get(); });
    ASSERT_TRUE(Record->Open(u"1"));
    Record->SetField(u"Note", u"checked");
    const auto Elsewhere = [&](const std::function<void()>& Call) {
        std::thread([&] {
            Call();
            Pool.ReleaseThread();
        }).join();
    };
    {
        TRecordWriting Writing(*Record);
        Elsewhere([&] {
            EXPECT_EQ(Record->Field(u"Note"), TKXVariant(u"checked"));
            const std::function<void()> Calls[] = {[&] { Record->SetField(u"Note", u"forbidden"); },
                                                   [&] { Record->Post(); }, [&] { (void)Record->Open(u"1"); },
                                                   [&] { const TRecordWriting Other(*Record); }};
            for (const auto& Call : Calls)
                ExpectRaised<EUserTableError>(Call, {"being written by another request"});
        });
        Record->Post();
        EXPECT_EQ(Record->StoredField(u"Note"), TKXVariant(u"first")); // until it is kept
        Writing.Keep();
    }
    EXPECT_EQ(Record->StoredField(u"Note"), TKXVariant(u"checked"));
    EXPECT_EQ(Stored(u"Note"), TKXVariant(u"checked"));
    Elsewhere([&] { Record->SetField(u"Note", u"later"); });
    EXPECT_EQ(Record->Field(u"Note"), TKXVariant(u"later"));
}

TEST_P(SqlUserTable, TheCheckSeesTheRowOfTheDatabaseBeforeItIsCommitted) {
    MakeOrders();
    Exec(Db(), IsSqlite() ? SqliteTypes : PostgresTypes);
    Exec(Db(), u"INSERT INTO Types (I) VALUES (1)");
    const auto Record = Opened(u"Types", u"1");
    const auto New = Table(u"Types");
    New->OpenNew();
    for (TUserTable* const Each : {Record.get(), New.get()}) {
        const bool Inserted = Each == New.get();
        const auto Write = [&] { Inserted ? Each->Insert() : Each->Post(); };
        Each->SetField(u"I", 5);
        Each->SetField(u"N", u"+0.50");
        for (const bool Refuse : {true, false}) {
            int Asked = 0;
            TRecordWriting Writing(*Each, [&](const TUserTable& Row) {
                ++Asked;
                EXPECT_EQ(Row.Field(u"G"), TKXVariant(std::int64_t{6}));
                EXPECT_EQ(Row.Field(u"N"), TKXVariant(IsSqlite() ? u"0.5" : u"0.50"));
                EXPECT_EQ(Row.StoredField(u"I"), Inserted ? TKXVariant() : TKXVariant(std::int64_t{1}));
                EXPECT_FALSE(Row.IsPending(u"G"));
                EXPECT_TRUE(Db().InTransaction());
                if (Refuse) throw EUserTableError(u"refused");
            });
            EXPECT_TRUE(Each->IsPending(u"G"));
            EXPECT_FALSE(Each->IsPending(u"I"));
            if (Refuse) {
                ExpectRaised<EUserTableError>(Write, {"refused"});
            } else {
                Write();
                Writing.Keep();
            }
            EXPECT_EQ(Asked, 1);
            EXPECT_EQ(One(Db(), u"SELECT COUNT(*) FROM Types WHERE G = 6").AsInteger(), Refuse ? 0 : 1);
            EXPECT_EQ(Each->Field(u"N"), TKXVariant(Refuse ? u"0.50" : IsSqlite() ? u"0.5" : u"0.50"));
        }
        Exec(Db(), u"UPDATE Types SET I = 9");
    }
}

TEST_P(SqlUserTable, OfWritersAtOnceOneWins) {
    MakeOrders();
    constexpr int Writers = 6;
    TDatabasePool Pool(Url());
    std::atomic<int> Won{0};
    std::atomic<int> Lost{0};
    std::vector<std::unique_ptr<TUserTable>> Records;
    for (int Index = 0; Index < Writers; ++Index) {
        Records.push_back(MakeUserTable(u"Orders", [&] { return &Pool.Get(); }));
        ASSERT_TRUE(Records.back()->Open(u"1"));
        Records.back()->SetField(u"Note", Index);
    }
    std::vector<std::thread> Threads;
    for (auto& Record : Records) {
        Threads.emplace_back([&] { // a record outlives the thread that opened it
            try {
                Record->Post();
                ++Won;
            } catch (const ERecordChanged&) {
                ++Lost;
            } catch (const std::exception& Error) {
                ADD_FAILURE() << Error.what();
            }
            Pool.ReleaseThread();
        });
    }
    for (auto& Thread : Threads) Thread.join();
    EXPECT_EQ(Won, 1);
    EXPECT_EQ(Lost, Writers - 1);
}

class SqliteOnly : public TDatabaseTest {};
INSTANTIATE_TEST_SUITE_P(One, SqliteOnly, testing::Values(SqliteRow), EngineName);

TEST_P(SqliteOnly, RowsThatDoNotKeepToTheirColumns) {
    Exec(Db(), u"CREATE TABLE Loose (K TEXT PRIMARY KEY, I INTEGER, D DATE, N NUMERIC, Any)");
    Exec(Db(), u"INSERT INTO Loose VALUES ('a', 'many', 1700000000, 'much', 5)");
    Exec(Db(), u"INSERT INTO Loose VALUES (NULL, 1, 1, 1, 1)");
    const auto Record = MakeUserTable(u"Loose", [this] { return &Db(); });
    ASSERT_TRUE(Record->Open(u"a"));
    EXPECT_EQ(Record->Field(u"I"), TKXVariant(u"many"));
    EXPECT_EQ(Record->Field(u"D"), TKXVariant(std::int64_t{1700000000}));
    EXPECT_EQ(Record->Field(u"N"), TKXVariant(u"much"));
    EXPECT_EQ(Record->Field(u"Any"), TKXVariant(std::int64_t{5}));
    Record->SetField(u"Any", u"text");
    Record->SetField(u"I", 3);
    Record->Post();
    EXPECT_EQ(One(Db(), u"SELECT typeof(Any) || typeof(D) FROM Loose WHERE K = 'a'"),
              TKXVariant(u"textinteger"));
    Record->SetField(u"N", u"1234567890.12345");
    ExpectRaised<EUserTableError>([&] { Record->SetField(u"N", u"1234567890.123456"); },
                                  {"at most 15 digits"});
    Record->OpenNew();
    ExpectRaised<EUserTableError>([&] { Record->Insert(); }, {"null"}); // its key would be null
    EXPECT_EQ(One(Db(), u"SELECT COUNT(*) FROM Loose").AsInteger(), 2);

    Exec(Db(), u"CREATE TABLE Untyped (K PRIMARY KEY, V)");
    Exec(Db(), u"INSERT INTO Untyped VALUES (5, 'number'), ('x', 'text')");
    const auto Untyped = MakeUserTable(u"Untyped", [this] { return &Db(); });
    ASSERT_TRUE(Untyped->Open(u"5"));
    Untyped->SetField(u"V", u"changed");
    Untyped->Post();
    EXPECT_EQ(One(Db(), u"SELECT V FROM Untyped WHERE K = 5"), TKXVariant(u"changed"));
    Exec(Db(), u"INSERT INTO Untyped VALUES ('5', 'text')");
    ExpectRaised<EUserTableError>([&] { (void)Untyped->Open(u"5"); }, {"does not tell its rows apart"});
}

TEST(SqlUserTableKeys, CaseThatAKeyForgivesIsOneIDStill) {
    TSqlDatabase Database(ParseDatabaseUrl(u"sqlite3://:memory:"));
    Exec(Database, u"CREATE TABLE Names (Name TEXT COLLATE NOCASE PRIMARY KEY)");
    Exec(Database, u"INSERT INTO Names VALUES ('Smith')");
    const auto Record = MakeUserTable(u"Names", [&] { return &Database; });
    EXPECT_TRUE(Record->Open(u"Smith"));
    ExpectRaised<EUserTableError>([&] { (void)Record->Open(u"SMITH"); }, {"write it as \"Smith\""});
}

} // namespace
} // namespace zutools::server
