#include "server/web/Sessions.h"

#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <vector>

using namespace zutools::server;
using namespace std::chrono_literals;

namespace {

class SessionsTest : public testing::Test {
protected:
    /// A session that a page used and left; its secret.
    std::string Visit(std::string_view Secret = {}) { return Sessions.Acquire(Secret).State().Secret; }

    std::chrono::steady_clock::time_point Now{};
    std::vector<std::u16string> Ended;
    TSessions Sessions{20min, 3, [this] { return Now; },
                       [this](const TSessionState& State) { Ended.push_back(State.SID); }};
};

TEST_F(SessionsTest, ASessionIsFoundByItsSecretOnly) {
    const TSessionLease First = Sessions.Acquire("");
    EXPECT_TRUE(First.State().New);
    const TSessionLease Again = Sessions.Acquire(First.State().Secret);
    EXPECT_FALSE(Again.State().New);
    EXPECT_EQ(Again.State().SID, First.State().SID);
    EXPECT_EQ(Again.State().FormToken, First.State().FormToken);
    const std::string Sid(First.State().SID.begin(), First.State().SID.end());
    for (const std::string& Other : {Sid, First.State().FormToken, std::string(32, '0')}) {
        EXPECT_TRUE(Sessions.Acquire(Other).State().New) << Other;
    }
}

TEST_F(SessionsTest, ASecretThatTheBrowserBringsIsNotAdopted) {
    const std::string Planted(32, 'a');
    EXPECT_NE(Visit(Planted), Planted);
}

TEST_F(SessionsTest, SecretsDifferAndHaveTheirBits) {
    const TSessionLease Lease = Sessions.Acquire("");
    const TSessionState& State = Lease.State();
    EXPECT_EQ(State.Secret.size(), 32U);
    EXPECT_EQ(State.FormToken.size(), 32U);
    EXPECT_EQ(State.SID.size(), 16U);
    EXPECT_NE(State.Secret, State.FormToken);
    EXPECT_EQ(State.Secret.find(std::string(State.SID.begin(), State.SID.end())), std::string::npos);
}

TEST_F(SessionsTest, EndsWhenIdleAndUseKeepsItAlive) {
    const std::string Secret = Visit();
    Now += 19min;
    EXPECT_EQ(Visit(Secret), Secret);
    Now += 19min;
    EXPECT_EQ(Visit(Secret), Secret);
    Now += 20min;
    EXPECT_NE(Visit(Secret), Secret);
    EXPECT_EQ(Ended.size(), 1U);
}

TEST_F(SessionsTest, SweepTellsWhatEnded) {
    const std::u16string Sid = Sessions.Acquire("").State().SID;
    Now += 10min;
    Visit();
    Now += 10min;
    Sessions.Sweep();
    EXPECT_EQ(Ended, std::vector{Sid});
    EXPECT_EQ(Sessions.Count(), 1U);
}

TEST_F(SessionsTest, TheOneIdleLongestMakesRoom) {
    const std::string First = Visit();
    const std::string Second = Visit();
    Visit();
    Visit(First);
    Visit(); // the fourth: the second goes
    EXPECT_EQ(Sessions.Count(), 3U);
    EXPECT_EQ(Visit(First), First);
    EXPECT_NE(Visit(Second), Second);
}

TEST_F(SessionsTest, SessionsInUseNeitherExpireNorMakeRoom) {
    std::vector<TSessionLease> Leases;
    for (int Count = 0; Count < 3; ++Count) Leases.push_back(Sessions.Acquire(""));
    Now += 60min;
    Leases.push_back(Sessions.Acquire(""));
    EXPECT_EQ(Sessions.Count(), 4U);
    EXPECT_TRUE(Ended.empty());
    const std::string First = Leases.front().State().Secret;
    while (!Leases.empty()) Leases.pop_back(); // idle from now on, the first one the shortest
    EXPECT_EQ(Visit(First), First);
    EXPECT_EQ(Sessions.Count(), 3U);
}

TEST_F(SessionsTest, LanguageIsKeptForLaterPages) {
    TSessionLease Lease = Sessions.Acquire("");
    Lease.SetLanguage(u"en");
    EXPECT_EQ(Lease.State().LanguageID, u"en");
    EXPECT_EQ(Sessions.Acquire(Lease.State().Secret).State().LanguageID, u"en");
}

// ---- signing in and out

TEST_F(SessionsTest, RenewGoesOnInAFreshSession) {
    TSessionLease Lease = Sessions.Acquire("");
    Lease.SetLanguage(u"en");
    const TSessionState Old = Lease.State();
    Lease.Renew(u"Anna");
    const TSessionState New = Lease.State();
    EXPECT_EQ(New.USR, u"Anna");
    EXPECT_EQ(New.LanguageID, u"en");
    EXPECT_TRUE(New.New);
    EXPECT_NE(New.Secret, Old.Secret);
    EXPECT_NE(New.FormToken, Old.FormToken);
    EXPECT_NE(New.SID, Old.SID);
    EXPECT_EQ(Ended, std::vector{Old.SID});
    EXPECT_EQ(Sessions.Acquire(New.Secret).State().USR, u"Anna");
    const TSessionLease Late = Sessions.Acquire(Old.Secret);
    EXPECT_TRUE(Late.State().New);
    EXPECT_EQ(Late.State().USR, u"");
}

TEST_F(SessionsTest, APageThatRunsInAnEndedSessionIsToldOfAtItsEnd) {
    std::optional<TSessionLease> Slow(Sessions.Acquire(""));
    const TSessionState Old = Slow->State();
    {
        TSessionLease Lease = Sessions.Acquire(Old.Secret);
        Lease.Renew(u"Anna");
        EXPECT_EQ(Ended, std::vector{Old.SID});
    }
    EXPECT_EQ(Sessions.Count(), 1U);
    Slow->SetLanguage(u"ru");
    EXPECT_EQ(Ended.size(), 1U);
    Slow.reset();
    EXPECT_EQ(Ended, (std::vector{Old.SID, Old.SID}));
    EXPECT_EQ(Sessions.Count(), 1U);
}

TEST_F(SessionsTest, TwoPagesOfOneSessionSignInAtOnce) {
    TSessionLease First = Sessions.Acquire("");
    TSessionLease Second = Sessions.Acquire(First.State().Secret);
    const std::u16string Old = First.State().SID;
    First.Renew(u"Anna");
    Second.Renew(u"Boris");
    EXPECT_EQ(Ended, (std::vector{Old, Old}));
    EXPECT_EQ(First.State().USR, u"Anna");
    EXPECT_EQ(Second.State().USR, u"Boris");
    EXPECT_NE(First.State().Secret, Second.State().Secret);
    First.Renew({});
    EXPECT_EQ(Ended.size(), 3U);
    EXPECT_EQ(Sessions.Count(), 2U);
}

TEST_F(SessionsTest, AnonymousSessionsMakeRoomBeforeUsers) {
    std::string Secret;
    {
        TSessionLease Lease = Sessions.Acquire("");
        Lease.Renew(u"Anna");
        Secret = Lease.State().Secret;
    }
    for (int Count = 0; Count < 10; ++Count) Visit();
    EXPECT_EQ(Sessions.Acquire(Secret).State().USR, u"Anna");
    Now += 20min;
    EXPECT_EQ(Sessions.Acquire(Secret).State().USR, u"");
}

TEST(Sessions, EverySessionIsToldOfAfterItsLastPage) {
    std::mutex Mutex;
    std::map<std::u16string, int> InUse;
    std::set<std::u16string> Quiet; // ended, and told of when no page ran in it
    TSessions Sessions(20min, 1000, std::chrono::steady_clock::now, [&](const TSessionState& State) {
        const std::lock_guard Guard(Mutex);
        if (InUse[State.SID] == 0) Quiet.insert(State.SID);
    });
    const auto Count = [&](const std::u16string& SID, int Change) {
        const std::lock_guard Guard(Mutex);
        InUse[SID] += Change;
    };
    std::string Shared = Sessions.Acquire("").State().Secret;
    std::vector<std::thread> Threads;
    for (int Index = 0; Index < 4; ++Index) {
        Threads.emplace_back([&, Index] {
            for (int Round = 0; Round < 300; ++Round) {
                std::string Secret;
                {
                    const std::lock_guard Guard(Mutex);
                    Secret = Shared;
                }
                TSessionLease Lease = Sessions.Acquire(Secret);
                Count(Lease.State().SID, 1);
                std::u16string SID = Lease.State().SID;
                if ((Round + Index) % 3 == 0) {
                    Count(SID, -1);
                    Lease.Renew(Round % 2 == 0 ? u"Anna" : u"");
                    SID = Lease.State().SID;
                    Count(SID, 1);
                    const std::lock_guard Guard(Mutex);
                    Shared = Lease.State().Secret;
                }
                Count(SID, -1);
            }
        });
    }
    for (std::thread& Thread : Threads) Thread.join();
    // What lives can still be found by nobody but the table: the rest was told of in quiet.
    EXPECT_EQ(InUse.size(), Quiet.size() + Sessions.Count());
}

TEST(Sessions, ManyThreadsShareTheTable) {
    TSessions Sessions(20min, 50);
    std::vector<std::thread> Threads;
    for (int Index = 0; Index < 4; ++Index) {
        Threads.emplace_back([&Sessions] {
            std::string Secret;
            for (int Round = 0; Round < 500; ++Round) {
                TSessionLease Lease = Sessions.Acquire(Round % 3 == 0 ? std::string() : Secret);
                Lease.SetLanguage(u"ru");
                Secret = Lease.State().Secret;
            }
        });
    }
    for (std::thread& Thread : Threads) Thread.join();
    EXPECT_LE(Sessions.Count(), 50U);
}

} // namespace
