// One suite for both databases: each test gets an empty database of its own, in a temporary folder or on the
// server of scripts/postgres-for-tests.

#pragma once

#include "platform/Text.h"
#include "server/sql/SqlDatabase.h"
#include "tests/support/Raised.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <initializer_list>
#include <thread>
#include <utility>

#include <unistd.h>

namespace zutools {

inline void PrintTo(const TKXVariant& Value, std::ostream* Out) {
    *Out << platform::Utf16ToUtf8(std::u16string(VariantKindName(Value.Kind())) + u" " + Value.AsString());
}

} // namespace zutools

namespace zutools::server {

struct TParam {
    std::u16string_view Name;
    TKXVariant Value;
};
using TParams = std::initializer_list<TParam>;

inline void Bind(TQuery& Query, TParams Params) {
    for (const auto& [Name, Value] : Params) {
        switch (Value.Kind()) {
        case TVariantKind::vkNull:
            Query.SetNull(Name);
            break;
        case TVariantKind::vkFloat:
            Query.SetFloat(Name, Value.AsFloat());
            break;
        case TVariantKind::vkString:
            Query.SetString(Name, Value.StringView());
            break;
        default:
            Query.SetInteger(Name, Value.AsInt64());
        }
    }
}

/// Runs a statement; the number of rows affected.
inline int Exec(TDatabase& Database, std::u16string_view Statement, TParams Params = {}) {
    const auto Query = Database.CreateExecQuery();
    Query->SetSQL(Statement);
    Bind(*Query, Params);
    Query->Execute();
    return Query->RowsAffected();
}

inline std::unique_ptr<TSelectQuery> Opened(TDatabase& Database, std::u16string_view Statement,
                                            TParams Params = {}) {
    auto Query = Database.CreateSelectQuery();
    Query->SetSQL(Statement);
    Bind(*Query, Params);
    Query->Open();
    return Query;
}

/// The first column of the first row.
inline TKXVariant One(TDatabase& Database, std::u16string_view Statement, TParams Params = {}) {
    const auto Query = Opened(Database, Statement, Params);
    if (!Query->Step()) return u"no row";
    return Query->FieldValue(0);
}

/// tests::Raised and tests::ExpectRaised of the database.
template <class TCall>
std::string Refusal(TCall Call) {
    return tests::Raised<EDatabaseError>(Call);
}
template <class TCall>
void ExpectRefusal(TCall Call, std::initializer_list<std::string_view> Parts) {
    tests::ExpectRaised<EDatabaseError>(Call, Parts);
}

/// An empty database for one test, gone with this.
class TTestDatabase {
public:
    virtual ~TTestDatabase() = default;
    [[nodiscard]] virtual std::u16string Url() const = 0;
};

class TFileDatabase final : public TTestDatabase {
public:
    [[nodiscard]] std::u16string Url() const override { return u"sqlite3://" + FFolder.File(u"test.db"); }

private:
    const tests::TTempFolder FFolder;
};

/// Dropped at the end with whoever is still connected.
class TServerDatabase final : public TTestDatabase {
public:
    explicit TServerDatabase(const char* ServerUrl) {
        static std::atomic<int> Last{0};
        FServer = ParseDatabaseUrl(platform::Utf8ToUtf16(ServerUrl));
        FName = platform::Utf8ToUtf16("t" + std::to_string(getpid()) + "_" + std::to_string(++Last));
        TSqlDatabase Server(FServer);
        Exec(Server, u"CREATE DATABASE " + FName);
    }
    ~TServerDatabase() override {
        TSqlDatabase Server(FServer);
        Exec(Server, u"DROP DATABASE " + FName + u" WITH (FORCE)");
    }
    TServerDatabase(const TServerDatabase&) = delete;
    TServerDatabase& operator=(const TServerDatabase&) = delete;
    [[nodiscard]] std::u16string Url() const override {
        TDatabaseUrl Mine = FServer;
        Mine.Name = FName;
        return Mine.Display();
    }

private:
    TDatabaseUrl FServer;
    std::u16string FName;
};

inline const char* TestServer() {
    return std::getenv("ZU_TEST_POSTGRES");
}
constexpr const char* NoServer =
    "no PostgreSQL: run it as scripts/postgres-for-tests ctest ... (ZU_TEST_POSTGRES is "
    "not set)";

/// An engine's row of the suites.
struct TTestEngine {
    const char* Name;
    /// Null when this machine has none.
    std::unique_ptr<TTestDatabase> (*Make)();
};
inline void PrintTo(const TTestEngine& Engine, std::ostream* Out) {
    *Out << Engine.Name;
}
inline constexpr TTestEngine TestEngines[] = {
    {"Sqlite", []() -> std::unique_ptr<TTestDatabase> { return std::make_unique<TFileDatabase>(); }},
    {"Postgres",
     []() -> std::unique_ptr<TTestDatabase> {
         return TestServer() ? std::make_unique<TServerDatabase>(TestServer()) : nullptr;
     }},
};
inline constexpr const TTestEngine& SqliteRow = TestEngines[0];

/// Base of the suites; Url() is empty when the test is skipped.
class TDatabaseTest : public testing::TestWithParam<TTestEngine> {
protected:
    void SetUp() override {
        FTestDatabase = GetParam().Make();
        if (!FTestDatabase) GTEST_SKIP() << NoServer;
        FUrl = FTestDatabase->Url();
    }
    void TearDown() override {
        FDatabase.reset();
        FTestDatabase.reset();
    }

    [[nodiscard]] bool IsSqlite() const { return GetParam().Make == SqliteRow.Make; }
    [[nodiscard]] const std::u16string& Url() const { return FUrl; }
    [[nodiscard]] std::unique_ptr<TSqlDatabase> Connect(const TSqlTimeouts& Timeouts = {}) const {
        return std::make_unique<TSqlDatabase>(ParseDatabaseUrl(FUrl), Timeouts);
    }
    /// The test's first connection.
    [[nodiscard]] TSqlDatabase& Db() {
        if (!FDatabase) FDatabase = Connect();
        return *FDatabase;
    }

private:
    std::unique_ptr<TTestDatabase> FTestDatabase;
    std::u16string FUrl;
    std::unique_ptr<TSqlDatabase> FDatabase;
};

inline std::string EngineName(const testing::TestParamInfo<TTestEngine>& Info) {
    return Info.param.Name;
}

} // namespace zutools::server

#define ZU_ON_BOTH_DATABASES(Suite)                                                                          \
    INSTANTIATE_TEST_SUITE_P(Both, Suite, testing::ValuesIn(TestEngines), EngineName)
