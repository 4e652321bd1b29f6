// One suite for both databases: each test gets an empty database of its own, in a temporary folder or on the
// server of scripts/postgres-for-tests.

#pragma once

#include "platform/Text.h"
#include "server/sql/SqlDatabase.h"
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

/// The message of the EDatabaseError that the call raises; "nothing raised" without one.
template <class TCall>
std::string Refusal(TCall Call) {
    try {
        Call();
    } catch (const EDatabaseError& Error) {
        return Error.what();
    }
    return "nothing raised";
}

template <class TCall>
void ExpectRefusal(TCall Call, std::initializer_list<std::string_view> Parts) {
    const std::string Text = Refusal(Call);
    for (const auto Part : Parts) EXPECT_NE(Text.find(Part), std::string::npos) << Part << "\nin: " << Text;
}

/// An empty database of the server; dropped at the end with whoever is still connected.
class TServerDatabase {
public:
    explicit TServerDatabase(const char* ServerUrl) {
        static std::atomic<int> Last{0};
        FServer = ParseDatabaseUrl(platform::Utf8ToUtf16(ServerUrl));
        FName = platform::Utf8ToUtf16("t" + std::to_string(getpid()) + "_" + std::to_string(++Last));
        TSqlDatabase Server(FServer);
        Exec(Server, u"CREATE DATABASE " + FName);
    }
    ~TServerDatabase() {
        TSqlDatabase Server(FServer);
        Exec(Server, u"DROP DATABASE " + FName + u" WITH (FORCE)");
    }
    TServerDatabase(const TServerDatabase&) = delete;
    TServerDatabase& operator=(const TServerDatabase&) = delete;
    [[nodiscard]] std::u16string Url() const {
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

/// Base of the suites; Url() is empty when the test is skipped.
class TDatabaseTest : public testing::TestWithParam<TSqlDialect> {
protected:
    void SetUp() override {
        if (IsSqlite()) {
            FFolder = std::make_unique<tests::TTempFolder>();
            FUrl = u"sqlite3://" + FFolder->File(u"test.db");
            return;
        }
        if (TestServer() == nullptr) GTEST_SKIP() << NoServer;
        FServerDatabase = std::make_unique<TServerDatabase>(TestServer());
        FUrl = FServerDatabase->Url();
    }
    void TearDown() override {
        FDatabase.reset();
        FServerDatabase.reset();
    }

    [[nodiscard]] bool IsSqlite() const { return GetParam() == TSqlDialect::Sqlite; }
    [[nodiscard]] const std::u16string& Url() const { return FUrl; }
    [[nodiscard]] std::unique_ptr<TSqlDatabase> Connect() const {
        return std::make_unique<TSqlDatabase>(ParseDatabaseUrl(FUrl));
    }
    /// The test's first connection.
    [[nodiscard]] TSqlDatabase& Db() {
        if (!FDatabase) FDatabase = Connect();
        return *FDatabase;
    }

private:
    std::unique_ptr<tests::TTempFolder> FFolder;
    std::unique_ptr<TServerDatabase> FServerDatabase;
    std::u16string FUrl;
    std::unique_ptr<TSqlDatabase> FDatabase;
};

inline std::string DialectName(const testing::TestParamInfo<TSqlDialect>& Info) {
    return Info.param == TSqlDialect::Sqlite ? "Sqlite" : "Postgres";
}

} // namespace zutools::server

#define ZU_ON_BOTH_DATABASES(Suite)                                                                          \
    INSTANTIATE_TEST_SUITE_P(Both, Suite, testing::Values(TSqlDialect::Sqlite, TSqlDialect::Postgres),       \
                             DialectName)
