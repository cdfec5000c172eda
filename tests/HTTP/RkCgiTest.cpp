#include "Network/HTTP/RkCgi.h"

#include <gmock/gmock.h>

#include <sstream>

#include "Base/RkBStream.h"
#include "Base/RkBase64Decoder.h"
#include "tests/support/ScriptedDevice.h"

namespace {

RkCgi Parsed(const std::string& query) {
    RkCgi cgi;
    EXPECT_TRUE(cgi.parseData(query));
    return cgi;
}

std::string Packed(const std::string& query) {
    std::string text = "rk-encdata=";
    return RkCgi::escapeString(RkBase64Decoder::encode(query), text);
}

TEST(RkCgiTest, ParsesPairsInOrder) {
    const struct {
        const char *query, *pairs;
    } cases[] = {
        {"", ""},
        {"a=1&b=2&a=3", "a:1 b:2 a:3 "},
        {"x=a+b%21", "x:a b! "},
        {"n%3Dm=%zz%4", "n=m:%zz%4 "},
        {"flag", "flag: "},
        {"a=b=c", "a:b "},  // cut at the second "="
        {"a=1&&=2&", "a:1 : :2 : "},
    };
    for (const auto& c : cases) {
        struct Open : RkCgi {
            using RkCgi::m_params;
        } cgi;
        cgi.parse(c.query, false);
        std::string pairs;
        for (const auto& param : cgi.m_params)
            pairs += param.name + ":" + param.value + " ";
        EXPECT_EQ(pairs, c.pairs) << "parsing '" << c.query << "'";
    }
}

TEST(RkCgiTest, FindsValuesByExactName) {
    const RkCgi cgi = Parsed("a=1&b=2&a=3&A=4");
    std::vector<std::string> values{"before"};
    cgi.getAllValues("a", values);
    EXPECT_THAT(values, ::testing::ElementsAre("before", "1", "3"));
    EXPECT_EQ(cgi.getFirstValue("a"), "1");
    EXPECT_EQ(cgi.getFirstValue("c"), "");
    EXPECT_FALSE(cgi.isValueEncrypted("b"));
}

TEST(RkCgiTest, UnpacksEncodedDataAtAnyDepth) {
    const RkCgi cgi = Parsed("o=0&" + Packed("p=1&" + Packed("q=a%2Bb") + "&r=3") + "&s=4&rk-encdata=!!");
    EXPECT_EQ(cgi.getCgiString(),
              "name=o value=0 encrypted?=false\nname=p value=1 encrypted?=true\nname=q value=a+b encrypted?=true\n"
              "name=r value=3 encrypted?=true\nname=s value=4 encrypted?=false\n");
    std::string deep = "a=1";
    while (deep.size() < 1'000'000)
        deep = Packed(deep);
    EXPECT_TRUE(Parsed(deep).isValueEncrypted("a"));
}

TEST(RkCgiTest, BuildsQueries) {
    RkCgi cgi;
    cgi.addParameter("a b", "c", true);
    cgi.addParameter("d", "e/f", false);
    const std::string plain = "a b=c&d=e/f", packed = RkBase64Decoder::encode(plain);
    EXPECT_EQ(cgi.createCgiString(false, false, true, true), plain);
    EXPECT_EQ(cgi.createCgiString(true, false, false, false), "a%20b=c&d=e%2Ff");
    EXPECT_EQ(cgi.createCgiString(false, true, false, false), packed);
    EXPECT_EQ(cgi.createCgiString(false, true, true, false), "rk-encdata=" + packed);
    EXPECT_EQ(Parsed(cgi.createCgiString(true, true, true, true)).getFirstValue("a b"), "c");
}

TEST(RkCgiTest, RemovesOnlyTheFirstOfAdjacentNames) {
    RkCgi cgi = Parsed("a=1&a=2&b=3&a=4");
    cgi.removeName("a");
    EXPECT_EQ(cgi.createCgiString(false, false, false, false), "a=2&b=3");
    cgi.removeName("a");
    EXPECT_EQ(cgi.createCgiString(false, false, false, false), "b=3");
}

TEST(RkCgiTest, BothListingsWriteTheMarkTheirOwnWay) {
    RkCgi cgi;
    cgi.addParameter("n", "v", false);
    cgi.addParameter("m", "w", true);
    std::ostringstream out;
    out << cgi;
    EXPECT_EQ(out.str(), "name=n value=v encrypted?=0\nname=m value=w encrypted?=1\n");
    EXPECT_EQ(cgi.getCgiString(), "name=n value=v encrypted?=false\nname=m value=w encrypted?=true\n");
}

TEST(RkCgiTest, ReadsBodiesOfBoundedLength) {
    const struct {
        int length;
        bool taken;
    } cases[] = {{0, false}, {-1, false}, {131073, false}, {131072, true}, {131071, true}};
    for (const auto& c : cases) {
        ScriptedDevice device({"a=" + std::string(131070, 'x')});
        RkBStream stream(device);
        RkCgi cgi;
        EXPECT_EQ(cgi.parseData(stream, c.length), c.taken) << c.length;
        EXPECT_EQ(cgi.getFirstValue("a").size(), c.taken ? static_cast<std::size_t>(c.length) - 2 : 0) << c.length;
        EXPECT_EQ(device.reads > 0, c.taken) << c.length;
    }
}

TEST(RkCgiTest, ABodyThatEndsEarlyLeavesTheListAlone) {
    ScriptedDevice device({"b=2"});
    RkBStream stream(device);
    RkCgi cgi = Parsed("a=1");
    EXPECT_FALSE(cgi.parseData(stream, 4));
    EXPECT_EQ(cgi.createCgiString(false, false, false, false), "a=1");
}

}  // namespace
