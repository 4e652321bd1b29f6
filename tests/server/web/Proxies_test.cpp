#include "server/web/Proxies.h"

#include <gtest/gtest.h>

using namespace zutools::server;

namespace {

TEST(Proxies, Networks) {
    const struct {
        const char* Network;
        const char* Inside;
        const char* Outside;
    } Good[] = {
        {"10.0.0.0/8", "10.255.0.1", "11.0.0.0"},
        {"192.0.2.7", "192.0.2.7", "192.0.2.8"},
        {"::1", "::1", "::2"},
        {"2001:db8::/33", "2001:db8:7fff::1", "2001:db8:8000::"},
        {"10.0.0.0/9", "::ffff:10.1.2.3", "10.128.0.0"},
        {"0.0.0.0/0", "8.8.8.8", "::1"},
    };
    for (const auto& Row : Good) {
        const auto Network = TNetwork::Parse(Row.Network);
        ASSERT_TRUE(Network) << Row.Network;
        EXPECT_TRUE(Network->Holds(Row.Inside)) << Row.Network;
        EXPECT_FALSE(Network->Holds(Row.Outside)) << Row.Network;
        EXPECT_FALSE(Network->Holds("unknown"));
    }
    for (const char* Bad :
         {"", "proxy", "10.0.0.0/33", "10.0.0.1/8", "::/129", "10.0.0.0/", "10.0.0.0/8x", "10.0.0.0/-1"})
        EXPECT_FALSE(TNetwork::Parse(Bad)) << Bad;
}

TEST(Proxies, OnlyWhatATrustedOneAddedCounts) {
    using enum TProxyHeader;
    const struct {
        TProxyHeader Header;
        const char* Peer;
        std::vector<std::pair<std::string, std::string>> Headers;
        const char* Address;
        bool Https = false;
    } Rows[] = {
        {XForwardedFor,
         "203.0.113.9",
         {{"X-Forwarded-For", "1.2.3.4"}, {"X-Forwarded-Proto", "https"}},
         "203.0.113.9"},
        {XForwardedFor,
         "10.0.0.1",
         {{"x-forwarded-for", "1.2.3.4"}, {"X-Forwarded-Proto", "HTTPS"}},
         "1.2.3.4",
         true},
        {XForwardedFor, "10.0.0.1", {{"X-Forwarded-For", "6.6.6.6, 1.2.3.4 , 10.0.0.2"}}, "1.2.3.4"},
        {XForwardedFor,
         "10.0.0.1",
         {{"X-Forwarded-For", "6.6.6.6"}, {"X-Forwarded-For", "1.2.3.4:5"}},
         "1.2.3.4"},
        {XForwardedFor, "10.0.0.1", {{"X-Forwarded-For", "1.2.3.4, <b>, 10.0.0.2"}}, "10.0.0.2"},
        {XForwardedFor, "10.0.0.1", {{"X-Forwarded-For", "unknown"}}, "10.0.0.1"},
        {XForwardedFor, "10.0.0.1", {{"Forwarded", "for=6.6.6.6;proto=https"}}, "10.0.0.1"},
        {XForwardedFor, "10.0.0.1", {{"X-Forwarded-Proto", "https, http"}}, "10.0.0.1"},
        {Forwarded,
         "10.0.0.1",
         {{"Forwarded", "for=6.6.6.6, For=\"[2001:db8::1]:80\" ; Proto=https;by=x"}},
         "2001:db8::1",
         true},
        {Forwarded,
         "10.0.0.1",
         {{"Forwarded", "for=1.2.3.4;proto=https, for=10.0.0.2;proto=http"}},
         "1.2.3.4",
         true},
        {Forwarded, "10.0.0.1", {{"X-Forwarded-For", "6.6.6.6"}, {"X-Forwarded-Proto", "https"}}, "10.0.0.1"},
    };
    for (const auto& Row : Rows) {
        const TClient Client =
            FindClient({{*TNetwork::Parse("10.0.0.0/8")}, Row.Header}, Row.Peer, Row.Headers);
        EXPECT_EQ(Client.Address, Row.Address) << testing::PrintToString(Row.Headers);
        EXPECT_EQ(Client.Https, Row.Https) << testing::PrintToString(Row.Headers);
    }
}

} // namespace
