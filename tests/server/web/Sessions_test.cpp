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
    /// The same of a user.
    std::string SignIn(std::u16string User, std::int64_t Stamp = 1) {
        TSessionLease Lease = Sessions.Acquire("");
        Lease.Renew({std::move(User), Stamp});
        return Lease.State().Secret;
    }
    std::u16string UserOf(std::string_view Secret) { return Sessions.Acquire(Secret).State().USR; }

    std::chrono::steady_clock::time_point Now{};
    std::vector<std::u16string> Ended; // by its own page
    std::vector<std::u16string> Expired;
    TSessions Sessions{{20min, 3, 60min},
                       [this] { return Now; },
                       [this](const TSessionState& State) { Ended.push_back(State.SID); },
                       [this](const TSessionState& State) { Expired.push_back(State.SID); }};
};

// ---- visitors

TEST_F(SessionsTest, AVisitorIsKnownAgainAndCostsNothing) {
    const TSessionState First = Sessions.Acquire("").State();
    EXPECT_TRUE(First.New);
    const std::string User = SignIn(u"Anna");
    for (int Count = 0; Count < 10'000; ++Count) Visit();
    EXPECT_EQ(Sessions.Count(), 1U);
    EXPECT_EQ(UserOf(User), u"Anna");
    const TSessionState Again = Sessions.Acquire(First.Secret).State();
    EXPECT_FALSE(Again.New);
    EXPECT_EQ(Again.SID, First.SID);
    EXPECT_EQ(Again.FormToken, First.FormToken);
    EXPECT_EQ(First.SID.size(), 16U);
    EXPECT_EQ(First.FormToken.size(), 32U);
    EXPECT_EQ(First.Secret.find(First.FormToken), std::string::npos);
    EXPECT_EQ(First.Secret.find(std::string(First.SID.begin(), First.SID.end())), std::string::npos);
    Now += 60min;
    EXPECT_TRUE(Sessions.Acquire(First.Secret).State().New) << "older than any session may be";
}

TEST_F(SessionsTest, WhatABrowserBringsIsNotAdoptedUnlessItIsOurs) {
    const TSessionState Visitor = Sessions.Acquire("").State();
    std::vector<std::string> Foreign{std::string(32, 'a'),
                                     Visitor.FormToken,
                                     std::string(Visitor.SID.begin(), Visitor.SID.end()),
                                     Visitor.Secret.substr(0, 32),
                                     Visitor.Secret + "0",
                                     std::string(500, '0')};
    for (std::size_t Digit = 0; Digit < Visitor.Secret.size(); ++Digit) { // forged in any place
        std::string Forged = Visitor.Secret;
        Forged[Digit] = Forged[Digit] == '1' ? '2' : '1';
        Foreign.push_back(std::move(Forged));
    }
    TSessions Other({20min, 3}, [this] { return Now; }); // a process with another key
    Foreign.push_back(Other.Acquire("").State().Secret);
    for (const std::string& Secret : Foreign) {
        EXPECT_NE(Visit(Secret), Secret);
        EXPECT_TRUE(Sessions.Acquire(Secret).State().New) << Secret;
    }
}

TEST_F(SessionsTest, ALanguageIsKeptForLaterPages) {
    const TSessionState Before = Sessions.Acquire("").State();
    Sessions.Acquire(Before.Secret).SetLanguage(u"en");
    const TSessionState Later = Sessions.Acquire(Before.Secret).State();
    EXPECT_EQ(Later.LanguageID, u"en");
    EXPECT_EQ(Later.FormToken, Before.FormToken);
    EXPECT_EQ(Sessions.Count(), 1U);
}

TEST_F(SessionsTest, AVisitorWhoHoldsSomethingIsKeptAndHisEndIsTold) {
    std::string Secret;
    std::u16string SID;
    {
        TSessionLease Page = Sessions.Acquire("", "10.0.0.1");
        TSessionLease Twin = Sessions.Acquire(Page.State().Secret, "10.0.0.1");
        Page.Keep();
        Twin.Keep();
        Secret = Page.State().Secret;
        SID = Page.State().SID;
        EXPECT_EQ(Sessions.Count(), 1U);
        ASSERT_EQ(Sessions.List().size(), 1U);
        EXPECT_EQ(Sessions.List().front().RemoteAddress, "10.0.0.1");
    }
    Now += 19min;
    EXPECT_TRUE(Sessions.Acquire(Secret).IsKept());
    Now += 20min;
    Sessions.Sweep();
    EXPECT_EQ(Expired, std::vector{SID});
    EXPECT_FALSE(Sessions.Acquire(Secret).IsKept());
}

// ---- how entries end

TEST_F(SessionsTest, EndsWhenIdleOrTooOldAndUseKeepsItAlive) {
    const std::string Secret = SignIn(u"Anna");
    for (int Visits = 0; Visits < 3; ++Visits) {
        Now += 19min;
        EXPECT_EQ(UserOf(Secret), u"Anna");
    }
    Now += 3min; // an hour after its beginning, whether it is used or not
    EXPECT_EQ(UserOf(Secret), u"");
    EXPECT_EQ(Expired.size(), 1U);
    const std::string Idle = SignIn(u"Anna");
    Now += 20min;
    EXPECT_EQ(UserOf(Idle), u"");
    EXPECT_EQ(Expired.size(), 2U);
}

TEST_F(SessionsTest, TheOneIdleLongestMakesRoomVisitorsFirst) {
    const std::string First = SignIn(u"Anna");
    const std::string Second = SignIn(u"Boris");
    {
        TSessionLease Visitor = Sessions.Acquire("");
        Visitor.Keep();
    }
    SignIn(u"Vera"); // the visitor goes
    EXPECT_EQ(UserOf(First), u"Anna");
    SignIn(u"Mark"); // the second goes
    EXPECT_EQ(Sessions.Count(), 3U);
    EXPECT_EQ(UserOf(First), u"Anna");
    EXPECT_EQ(UserOf(Second), u"");
}

TEST_F(SessionsTest, SessionsInUseNeitherExpireNorMakeRoom) {
    std::vector<TSessionLease> Leases;
    for (int Count = 0; Count < 4; ++Count) {
        Now += 10min;
        Leases.push_back(Sessions.Acquire(""));
        Leases.back().Renew({u"Anna", 1});
    }
    EXPECT_EQ(Sessions.Count(), 4U);
    EXPECT_TRUE(Expired.empty());
    const std::string First = Leases.front().State().Secret;
    while (!Leases.empty()) Leases.pop_back(); // idle from now on, the first one the shortest
    EXPECT_EQ(UserOf(First), u"Anna");
    EXPECT_EQ(Sessions.Count(), 3U);
}

TEST_F(SessionsTest, ThoseOfAUserEndTogetherAlsoWhilePagesRunInThem) {
    const std::string First = SignIn(u"Anna", 1);
    const std::string Second = SignIn(u"Anna", 1);
    const std::string Fresh = SignIn(u"Anna", 2);
    EXPECT_EQ(Sessions.Users().size(), 2U);
    std::optional<TSessionLease> Page(Sessions.Acquire(First));
    const auto OfBefore = [](const TSessionState& State) {
        return State.USR == u"Anna" && State.UserStamp == 1;
    };
    EXPECT_EQ(Sessions.End(OfBefore), 2U);
    EXPECT_EQ(Expired.size(), 2U);
    EXPECT_EQ(UserOf(First) + UserOf(Second), u"");
    EXPECT_EQ(UserOf(Fresh), u"Anna");
    Ended.clear();
    Page.reset(); // may have taken something meanwhile
    EXPECT_EQ(Ended.size(), 1U);
}

// ---- signing in and out

TEST_F(SessionsTest, RenewGoesOnInAFreshSession) {
    TSessionLease Lease = Sessions.Acquire("");
    Lease.SetLanguage(u"en");
    const TSessionState Old = Lease.State();
    Lease.Renew({u"Anna", 7});
    const TSessionState New = Lease.State();
    EXPECT_EQ(New.USR, u"Anna");
    EXPECT_EQ(New.UserStamp, 7);
    EXPECT_EQ(New.LanguageID, u"en");
    EXPECT_TRUE(New.New);
    EXPECT_NE(New.Secret, Old.Secret);
    EXPECT_NE(New.FormToken, Old.FormToken);
    EXPECT_NE(New.SID, Old.SID);
    EXPECT_EQ(Ended, std::vector{Old.SID});
    EXPECT_EQ(UserOf(New.Secret), u"Anna");
    EXPECT_EQ(UserOf(Old.Secret), u"");
    Lease.Renew({});
    EXPECT_EQ(Ended.back(), New.SID);
    EXPECT_EQ(UserOf(New.Secret), u"");
    EXPECT_EQ(Sessions.Count(), 0U);
}

TEST_F(SessionsTest, TwoPagesOfOneSessionSignOutAndInAtOnce) {
    const std::string Secret = SignIn(u"Anna");
    Ended.clear();
    TSessionLease First = Sessions.Acquire(Secret);
    TSessionLease Second = Sessions.Acquire(Secret);
    std::optional<TSessionLease> Slow(Sessions.Acquire(Secret));
    const std::u16string Old = First.State().SID;
    First.Renew({u"Boris", 1});
    Second.Renew({});
    EXPECT_EQ(Ended, std::vector{Old});
    Slow.reset();
    EXPECT_EQ(Ended, (std::vector{Old, Old})) << "once more at the end of its last page";
    EXPECT_EQ(First.State().USR, u"Boris");
    EXPECT_EQ(Second.State().USR, u"");
    EXPECT_EQ(Sessions.Count(), 1U);
}

TEST(Sessions, EverySessionIsToldOfAfterItsLastPage) {
    std::mutex Mutex;
    std::map<std::u16string, int> InUse;
    std::set<std::u16string> Quiet; // ended, and told of when no page ran in it
    TSessions Sessions({20min, 1000}, std::chrono::steady_clock::now, [&](const TSessionState& State) {
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
                Lease.Keep();
                Count(Lease.State().SID, 1);
                std::u16string SID = Lease.State().SID;
                if ((Round + Index) % 3 == 0) {
                    Count(SID, -1);
                    Lease.Renew({Round % 2 == 0 ? u"Anna" : u"", 1});
                    Lease.Keep();
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
    // A session lives in the table or was told of in quiet; a visitor's token may have begun anew since.
    EXPECT_LE(InUse.size(), Quiet.size() + Sessions.Count());
}

TEST(Sessions, ManyThreadsShareTheTable) {
    TSessions Sessions({20min, 50});
    std::vector<std::thread> Threads;
    for (int Index = 0; Index < 4; ++Index) {
        Threads.emplace_back([&Sessions] {
            std::string Secret;
            for (int Round = 0; Round < 500; ++Round) {
                TSessionLease Lease = Sessions.Acquire(Round % 3 == 0 ? std::string() : Secret);
                Lease.SetLanguage(u"ru");
                if (Round % 4 != 0) Lease.Keep();
                if (Round % 7 == 0) Lease.Renew({u"Anna", Round});
                if (Round % 50 == 0)
                    Sessions.End([](const TSessionState& State) { return State.UserStamp == 49; });
                Secret = Lease.State().Secret;
            }
        });
    }
    for (std::thread& Thread : Threads) Thread.join();
    EXPECT_LE(Sessions.Count(), 50U);
}

TEST_F(SessionsTest, AnotherProcessGoesOnFromWhatWasSaved) {
    std::string Signed, Visitor;
    {
        TSessionLease Lease = Sessions.Acquire("");
        Lease.Renew({u"Анна", 7});
        EXPECT_TRUE(Lease.SetValue(u"a=b&\n", u"sЖ"));
        Signed = Lease.State().Secret;
        Visitor = Sessions.Acquire("").State().Secret;
    }
    TSessions Next({std::chrono::minutes(20), 10});
    Next.Load("no line of ours\nsecret=short&token=1\n" + Sessions.Save());
    const TSessionLease Lease = Next.Acquire(Signed);
    EXPECT_EQ(Lease.State().USR, u"Анна");
    EXPECT_EQ(Lease.State().UserStamp, 7);
    EXPECT_EQ(Lease.State().Values.at(u"a=b&\n"), u"sЖ");
    EXPECT_EQ(Next.Acquire(Visitor).State().Secret, Visitor);
    EXPECT_EQ(Next.Count(), 1U);
}

} // namespace
