#include "tests/server/sql/TestDatabases.h"

#include <QCoreApplication>

#include <clocale>
#include <filesystem>
#include <set>
#include <vector>

namespace zutools::server {
namespace {

class DatabasePool : public TDatabaseTest {};
ZU_ON_BOTH_DATABASES(DatabasePool);

TEST_P(DatabasePool, OneConnectionAThread) {
    TDatabasePool Pool(Url());
    EXPECT_EQ(Pool.OpenConnections(), 0U);
    Exec(Pool.Get(), u"CREATE TABLE T (ID INTEGER PRIMARY KEY)");
    EXPECT_EQ(&Pool.Get(), &Pool.Get());

    constexpr int ThreadCount = 6;
    std::atomic<int> Ready{0};
    std::mutex Mutex;
    std::set<const TDatabase*> Seen{&Pool.Get()};
    std::vector<std::thread> Threads;
    for (int Index = 0; Index < ThreadCount; ++Index) {
        Threads.emplace_back([&, Index] {
            for (int Round = 0; Round < 10; ++Round) {
                Exec(Pool.Get(), u"INSERT INTO T VALUES (:ID)", {{u"ID", Index * 100 + Round}});
            }
            {
                const std::lock_guard Guard(Mutex);
                Seen.insert(&Pool.Get());
            }
            // All are there together, so that no address is used twice.
            ++Ready;
            while (Ready < ThreadCount) std::this_thread::yield();
            Pool.ReleaseThread();
            Pool.ReleaseThread();
        });
    }
    for (auto& Thread : Threads) Thread.join();
    EXPECT_EQ(Seen.size(), ThreadCount + 1U);
    EXPECT_EQ(Pool.OpenConnections(), 1U);
    EXPECT_EQ(One(Pool.Get(), u"SELECT COUNT(*) FROM T").AsInteger(), ThreadCount * 10);
}

TEST_P(DatabasePool, ReleaseRollsBack) {
    TDatabasePool Pool(Url());
    Exec(Pool.Get(), u"CREATE TABLE T (ID INTEGER PRIMARY KEY)");
    EXPECT_FALSE(Pool.InTransaction());
    Pool.Get().StartTransaction();
    EXPECT_TRUE(Pool.InTransaction());
    Exec(Pool.Get(), u"INSERT INTO T VALUES (1)");
    Pool.ReleaseThread();
    EXPECT_FALSE(Pool.InTransaction());
    EXPECT_EQ(Pool.OpenConnections(), 0U);
    EXPECT_EQ(One(Pool.Get(), u"SELECT COUNT(*) FROM T").AsInteger(), 0);
}

TEST(DatabasePoolStart, FailedOpenIsTriedAgain) {
    const tests::TTempFolder Folder;
    TDatabasePool Pool(u"sqlite3://later/test.db", Folder.Path());
    ExpectRefusal([&] { (void)Pool.Get(); }, {"there is no folder"});
    EXPECT_EQ(Pool.OpenConnections(), 0U);
    std::filesystem::create_directory(Folder.File(u"later"));
    EXPECT_EQ(One(Pool.Get(), u"SELECT 1").AsInteger(), 1);
}

TEST(DatabasePoolStart, MakesTheApplicationWithoutNoise) {
    if (QCoreApplication::instance() != nullptr) GTEST_SKIP() << "an earlier test of this process made it";
    const char* Locale = std::getenv("LC_ALL");
    const std::string Before = Locale == nullptr ? "" : Locale;
    setenv("LC_ALL", "C", 1);
    testing::internal::CaptureStderr();
    EnsureQtApplication();
    EnsureQtApplication();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_NE(QCoreApplication::instance(), nullptr);
    EXPECT_STREQ(std::localeconv()->decimal_point, ".");
    if (Locale == nullptr) {
        unsetenv("LC_ALL");
    } else {
        setenv("LC_ALL", Before.c_str(), 1);
    }
}

} // namespace
} // namespace zutools::server
