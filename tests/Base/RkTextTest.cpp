#include <gmock/gmock.h>

#include "Base/RkIString.h"
#include "Base/RkString.h"
#include "Base/RkStringHasher.h"
#include "Base/RkTokenizer.h"
#include "Base/RkWString.h"

using testing::ElementsAre;

TEST(RkWStringTest, PassesThroughUtf8) {
    EXPECT_EQ(RkString(L"a\u00e9\u20ac\uffff\U0001F600\U0010FFFF"), "a\u00e9\u20ac\uffff\U0001F600\U0010FFFF");
    EXPECT_EQ(RkWString::FromUtf8("a\u00e9\u20ac\uffff\U0001F600\U0010FFFF"),
              L"a\u00e9\u20ac\uffff\U0001F600\U0010FFFF");
    const wchar_t wild[] = {wchar_t(0xD800), wchar_t(0x110000), wchar_t(-1), 0};
    EXPECT_EQ(RkString(wild), "\uFFFD\uFFFD\uFFFD");
}

TEST(RkWStringTest, ReplacesEachByteThatIsNoUtf8) {
    const std::pair<const char*, const wchar_t*> cases[] = {
        {"a\x80z\xFF", L"a\uFFFDz\uFFFD"},
        {"\xC0\xAF", L"\uFFFD\uFFFD"},                        // an overlong "/"
        {"\xE2\x82z\xE2\x82", L"\uFFFD\uFFFDz\uFFFD\uFFFD"},  // cut off
        {"\xED\xA0\x80", L"\uFFFD\uFFFD\uFFFD"},              // a surrogate
        {"\xF4\x90\x80\x80", L"\uFFFD\uFFFD\uFFFD\uFFFD"},
    };
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(RkWString::FromUtf8(bytes).GetText(), text);
}

TEST(RkIStringTest, LowersAsciiLettersOnly) {
    RkIString text("ASCII");
    text.Assign(L"\u00c9A-Z[");
    text.ToLower();
    EXPECT_EQ(text.ToWString(), L"\u00c9a-z[");
}

TEST(RkTokenizerTest, KeepsEmptyPieces) {
    EXPECT_THAT(RkTokenizer::Tokenize("", '&'), ElementsAre(""));
    const auto quoted = [](const std::string& piece) { return "'" + piece + "'"; };
    EXPECT_THAT(RkTokenizer::Tokenize("a&&b&", '&', quoted), ElementsAre("'a'", "''", "'b'", "''"));
    std::vector<std::string_view> pieces{"old"};
    RkTokenizer::Tokenize("x/y", '/', pieces);
    EXPECT_THAT(pieces, ElementsAre("x", "y"));
}

TEST(RkStringHasherTest, SpreadsSimilarNamesOverTheBuckets) {
    std::vector<int> buckets(1024);
    for (size_t i = 0; i < 10240; ++i)
        ++buckets[static_cast<size_t>(RkStringHasher(0x40000003)(std::string(i % 29, 'h') + std::to_string(i))) % 1024];
    EXPECT_LT(*std::max_element(buckets.begin(), buckets.end()), 30);  // 10 is the mean
}
