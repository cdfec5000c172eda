#include "Network/Network/RkInetAddress.h"
#include <gtest/gtest.h>
#include "tests/support/FakeResolver.h"
#include "tests/support/ScriptedPeer.h"
TEST(RkInetAddressTest, Smoke) {
    FakeResolver resolver;
    resolver.Add("two.example", {"2001:db8::1", "192.0.2.7"});
    EXPECT_EQ(RkInetAddress("two.example:80", 1).ToString(), "192.0.2.7:80");
    EXPECT_EQ(RkInetAddress("two.example:80", 1, true).ToString(), "[2001:db8::1]:80");
    resolver.AddReverse("192.0.2.7", "two");
    EXPECT_EQ(RkInetAddress::GetHostByAddr(RkInetAddress("192.0.2.7", 1)), "two");
    ScriptedPeer peer([](ScriptedPeer::Connection& c) { c.Write("x"); });
    StuckListener s;
}
