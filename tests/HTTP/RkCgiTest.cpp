#include "Network/HTTP/RkCgi.h"

#include <gmock/gmock.h>

#include <sstream>

#include "Base/RkBStream.h"
#include "Base/RkBase64Decoder.h"
#include "tests/support/ScriptedDevice.h"
#include "tests/support/TextTable.h"

RkCgi Parsed(const std::string& query) {
    RkCgi cgi;
    EXPECT_TRUE(cgi.parseData(query));
    return cgi;
}

std::string Plain(const RkCgi& cgi) { return cgi.createCgiString(false, false, false, false); }

std::string Packed(const std::string& query) {
    std::string text = "rk-encdata=";
    return RkCgi::escapeString(RkBase64Decoder::encode(query), text);
}

TEST(RkCgiTest, ParsesPairsInOrder) {
    ExpectRows([](const std::string& query) { return Plain(Parsed(query)); },
               "-> | a=1&b=2&a=3 -> a=1&b=2&a=3 | x=a+b%21 -> x=a b! | n%3Dm=%zz%4 -> n=m=%zz%4 | flag -> flag= |"
               "a=b=c -> a=b | a=1&&=2& -> a=1&=&=2&=");
}

TEST(RkCgiTest, FindsValuesByExactName) {
    const RkCgi cgi = Parsed("a=1&b=2&a=3&A=4");
    std::vector<std::string> values{"before"};
    cgi.getAllValues("a", values);
    EXPECT_THAT(values, testing::ElementsAre("before", "1", "3"));
    EXPECT_EQ(cgi.getFirstValue("a") + cgi.getFirstValue("c"), "1");
    EXPECT_FALSE(cgi.isValueEncrypted("b") || cgi.isValueEncrypted("c"));
}

TEST(RkCgiTest, UnpacksEncodedDataAtAnyDepth) {
    const RkCgi cgi = Parsed(Packed("p=1&" + Packed("q=a%2Bb")) + "&s=4&rk%2Dencdata=!!");
    EXPECT_EQ(cgi.getCgiString(),
              "name=p value=1 encrypted?=true\nname=q value=a+b encrypted?=true\nname=s value=4 encrypted?=false\n");
    std::ostringstream out;
    out << cgi;
    EXPECT_EQ(out.str(), "name=p value=1 encrypted?=1\nname=q value=a+b encrypted?=1\nname=s value=4 encrypted?=0\n");
    std::string deep = "a=1";
    while (deep.size() < 1'000'000)
        deep = Packed(deep);
    EXPECT_TRUE(Parsed(deep).isValueEncrypted("a"));
}

TEST(RkCgiTest, BuildsQueries) {
    RkCgi cgi;
    cgi.addParameter("a b", "c", true);
    cgi.addParameter("d", "e/f", false);
    const std::string packed = RkBase64Decoder::encode("a b=c&d=e/f");
    EXPECT_EQ(cgi.createCgiString(true, false, false, false), "a%20b=c&d=e%2Ff");
    EXPECT_EQ(cgi.createCgiString(false, true, false, false), packed);
    EXPECT_EQ(cgi.createCgiString(false, true, true, false), "rk-encdata=" + packed);
    EXPECT_EQ(Plain(Parsed(cgi.createCgiString(true, true, true, true))), "a b=c&d=e/f");
}

TEST(RkCgiTest, RemovesOnlyTheFirstOfAdjacentNames) {
    RkCgi cgi = Parsed("a=1&a=2&b=3&a=4");
    cgi.removeName(cgi.getParameters()[0].name);  // moves while it is compared
    EXPECT_EQ(Plain(cgi), "a=2&b=3");
}

TEST(RkCgiTest, ReadsBodiesOfBoundedLength) {
    for (const int length : {0, -1, 131073, 131072, 9}) {
        const bool taken = length == 131072 || length == 9;
        ScriptedDevice device({"a=" + std::string(131070, 'x')});
        RkBStream stream(device);
        RkCgi cgi;
        EXPECT_EQ(cgi.parseData(stream, length), taken) << length;
        EXPECT_EQ(cgi.getFirstValue("a").size(), taken ? static_cast<std::size_t>(length) - 2 : 0) << length;
        EXPECT_EQ(device.reads > 0, taken) << length;
    }
}
