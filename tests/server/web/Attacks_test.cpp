// What bad clients do to a server, and what it costs the others: nothing.

#include "server/web/Connections.h"
#include "tests/server/web/ServerTest.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <map>
#include <set>
#include <string>

using namespace zutools;
using namespace zutools::server;
using testing::HasSubstr;

namespace {

using HostAttacks = ServerTest;

// Each of these once carried a second request, which ran.
TEST_F(HostAttacks, ARequestWhoseEndIsInDoubtEndsTheConnection) {
    Module(u"/echo", [](TWebRequest&, TWebResponse& Response) { Response.Write(u"reached"); }, false);
    Start();
    using namespace std::string_view_literals;
    constexpr std::string_view Inner = "POST /echo HTTP/1.1\r\nHost: t\r\nContent-Length: 0\r\n\r\n";
    const std::string Length = "Content-Length: " + std::to_string(Inner.size()) + "\r\n";
    const struct {
        std::string_view Name;
        std::string Line; // of the request
        std::string Headers;
    } Cases[] = {
        {"blank before the colon", "POST /echo HTTP/1.1", "Host: t\r\nContent-Length : 57\r\n"},
        {"tab before the colon", "POST /echo HTTP/1.1", "Host: t\r\nTransfer-Encoding\t: chunked\r\n"},
        {"folded value", "POST /echo HTTP/1.1", "Host: t\r\nX: a\r\n b\r\n" + Length},
        {"folded length", "POST /echo HTTP/1.1", "Host: t\r\nContent-Length:\r\n 57\r\n"},
        {"folded last line", "POST /echo HTTP/1.1", Length + "Host: t\r\n\tt\r\n"},
        {"blank before the first", "POST /echo HTTP/1.1", " Host: t\r\nHost: t\r\n" + Length},
        {"bare LF", "POST /echo HTTP/1.1", "Host: t\nX: 1\r\n" + Length},
        {"bare CR", "POST /echo HTTP/1.1", "Host: t\r\nX: 1\rY: 2\r\n" + Length},
        {"NUL in a value", "POST /echo HTTP/1.1", std::string("Host: t\r\nX: 1\0Y\r\n"sv) + Length},
        {"unknown encoding", "POST /echo HTTP/1.1", "Host: t\r\nTransfer-Encoding: xchunked\r\n"},
        {"two encodings", "POST /echo HTTP/1.1", "Host: t\r\nTransfer-Encoding: gzip, chunked\r\n"},
        {"doubled", "POST /echo HTTP/1.1",
         "Host: t\r\nTransfer-Encoding: chunked\r\nTransfer-Encoding: identity\r\n"},
        {"padded", "POST /echo HTTP/1.1", "Host: t\r\nTransfer-Encoding: chunked \r\n"},
        {"padded with a tab", "POST /echo HTTP/1.1", "Host: t\r\nTransfer-Encoding: \vchunked\r\n"},
        {"of HTTP/1.0", "POST /echo HTTP/1.0", "Host: t\r\nTransfer-Encoding: chunked\r\n"},
        {"with a length", "POST /echo HTTP/1.1", "Host: t\r\nTransfer-Encoding: chunked\r\n" + Length},
        {"two lengths", "POST /echo HTTP/1.1", "Host: t\r\nContent-Length: 0\r\n" + Length},
        {"two hosts", "POST /echo HTTP/1.1", "Host: t\r\nHost: u\r\n" + Length},
        {"no host", "POST /echo HTTP/1.1", Length},
        {"blank in the target", "POST /echo /echo HTTP/1.1", "Host: t\r\n" + Length},
        {"two blanks", "POST  /echo HTTP/1.1", "Host: t\r\n" + Length},
    };
    for (const auto& Case : Cases) {
        THttpClient Client(Server->Port());
        Client.Send(Case.Line + "\r\n" + Case.Headers + "\r\n" + std::string(Inner) + std::string(Inner));
        const THttpAnswer Answer = Client.Read();
        EXPECT_EQ(Answer.Status, 400) << Case.Name;
        EXPECT_EQ(Answer.Body.find("HTTP/1.1"), std::string::npos) << Case.Name;
        EXPECT_TRUE(Client.IsClosedByServer()) << Case.Name;
    }
    EXPECT_EQ(Post("/echo", "", "X:no blank\r\nY: \tblanks \t\r\nTransfer: chunked\r\n").Body, "reached");
    EXPECT_THAT(Logger.Text(), HasSubstr("its end is in doubt: a header name with blanks"));
}

TEST_F(HostAttacks, MoreParametersThanTheNetworkLibraryHoldsAreAnswered) {
    Module(u"/count", [](TWebRequest& Request, TWebResponse& Response) {
        Response.Write(platform::Utf8ToUtf16(std::to_string(Request.Params.Count())));
    });
    Start();
    THttpClient Client(Server->Port());
    for (const int Count : {1, 476, 1000}) {
        std::string Query;
        for (int Index = 0; Index < Count; ++Index) Query += "&p" + std::to_string(Index) + "=%41";
        EXPECT_EQ(Client.Get("/count?" + Query.substr(1)).Body, std::to_string(Count));
    }
}

TEST_F(HostAttacks, WhoWaitsLongestMakesRoom) {
    Config.Limits.Connections = 4;
    EchoModule(u"/echo", false);
    Start();
    std::vector<std::unique_ptr<THttpClient>> Idle;
    for (int Count = 0; Count < 20; ++Count) {
        Idle.push_back(std::make_unique<THttpClient>(Server->Port()));
        Idle.back()->Send("GET /echo?q=1 HTT"); // and then nothing
        EXPECT_EQ(Get("/echo?q=1").Body, "q=1|");
    }
    EXPECT_TRUE(Idle.front()->IsClosedByServer());
}

TEST_F(HostAttacks, OneAddressHasItsShare) {
    Config.Limits.ConnectionsPerAddress = 2;
    EchoModule(u"/echo", false);
    Start();
    THttpClient First(Server->Port());
    THttpClient Second(Server->Port());
    EXPECT_EQ(First.Get("/echo?q=1").Body, "q=1|");
    EXPECT_EQ(Second.Get("/echo?q=1").Body, "q=1|");
    THttpClient Third(Server->Port());
    EXPECT_TRUE(Third.IsClosedByServer());
    EXPECT_EQ(First.Get("/echo?q=1").Body, "q=1|");
}

// ---- The table of connections, with a clock of its own

TEST(HostAttacksConnections, TheSlowGoInTheirOrderAndTheBusyStay) {
    constexpr int Nobodys = 100'000; // from here on no descriptor is open
    std::vector<int> Ended;
    TConnections Connections(
        {4, 3, std::chrono::seconds(10), std::chrono::seconds(30), std::chrono::seconds(60)},
        [&](int Socket) { Ended.push_back(Socket - Nobodys); });
    const TConnections::TMoment Start{};
    const auto At = [&](int Seconds) { return Start + std::chrono::seconds(Seconds); };
    std::map<int, TConnections::TPlace> Places;
    const auto Open = [&](int Socket, const char* Address, int Seconds, bool Limited = true) {
        Places[Socket] = Connections.Open(Socket + Nobodys, Address, Limited, At(Seconds));
    };
    const auto Ends = [&](std::vector<int> Wanted) {
        EXPECT_EQ(std::exchange(Ended, {}), Wanted);
        for (const int Socket : Wanted) Connections.Close(Places.at(Socket));
    };
    using enum TConnectionPhase;
    // Networks: three of one IPv6 network are one too many; a proxy's are not counted.
    for (int Socket = 1; Socket <= 3; ++Socket) Open(Socket, "2001:db8::1", 0);
    Open(4, "2001:db8::ffff:2", 0);
    Ends({4});
    Connections.Enter(Places[1], Page, At(1));
    Connections.Enter(Places[2], Body, At(1));
    Open(5, "10.0.0.1", 2, false);
    Ends({});
    // Four places: the one that waits goes first (3 before 5), then the body, never the page.
    Open(6, "10.0.0.1", 3, false);
    Ends({3});
    Connections.Enter(Places[5], Page, At(4));
    Connections.Enter(Places[6], Answer, At(4));
    Open(7, "10.0.0.1", 5, false);
    Ends({2});
    Connections.Enter(Places[7], Page, At(5));
    Open(8, "10.0.0.1", 6, false);
    Ends({6});
    Connections.Enter(Places[8], Page, At(6));
    Open(9, "10.0.0.1", 7, false); // all places make pages: it is turned away itself
    Ends({9});
    // Times: a first head, a later one behind its idle time, a body; answers and pages have none here.
    Connections.Enter(Places[1], Waiting, At(10));
    Connections.Enter(Places[5], Body, At(10));
    Connections.Close(Places[7]);
    Open(10, "10.0.0.1", 20);
    for (const auto& [Seconds, Late] : std::map<int, std::vector<int>>{
             {29, {}}, {30, {10}}, {49, {}}, {50, {1}}, {69, {}}, {70, {5}}, {9999, {}}}) {
        Connections.Sweep(At(Seconds));
        Ends(Late);
    }
    EXPECT_EQ(Connections.Count(), 1U);
    EXPECT_EQ(Connections.Ended().Slow, 3U);
}

// Half a head and a farewell in one packet held a place until the time for heads was over.
TEST(HostAttacksConnections, WhoLeavesBetweenRequestsLeavesNoPlaceBehind) {
    std::set<int> Ended;
    const std::chrono::seconds Long{1000};
    TConnections Connections({9, 9, Long, Long, Long}, [&](int Socket) { Ended.insert(Socket); });
    std::map<std::string, std::array<int, 2>> Pairs;
    const std::string Busy = "left while his page is made";
    for (const std::string& Who :
         {std::string("left"), std::string("left with words unread"), Busy, std::string("stays")}) {
        std::array<int, 2>& Pair = Pairs[Who];
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, Pair.data()), 0);
        const auto Place = Connections.Open(Pair[0], "10.0.0.1", true, {});
        if (Who == Busy) Connections.Enter(Place, TConnectionPhase::Page, {});
    }
    ASSERT_EQ(::write(Pairs["left with words unread"][1], "GET", 3), 3);
    for (const auto& [Who, Pair] : Pairs) {
        if (Who != "stays") ::close(Pair[1]);
    }
    Connections.Sweep({});
    EXPECT_TRUE(Ended.empty()); // what came with the last word may be on its way into a page
    Connections.Sweep({});
    EXPECT_EQ(Ended, std::set{Pairs["left"][0]});
    ::close(Pairs["stays"][1]);
    for (const auto& [Who, Pair] : Pairs) ::close(Pair[0]);
}

} // namespace
