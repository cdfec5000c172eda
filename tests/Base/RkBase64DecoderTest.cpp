#include "Base/RkBase64Decoder.h"

#include <gtest/gtest.h>

TEST(RkBase64DecoderTest, EncodesWithPadding) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {{"\0\xff\xfe", 3}, "AP/+"},
    };
    for (const auto& [data, text] : cases) {
        EXPECT_EQ(RkBase64Decoder::encode(data), text);
        EXPECT_EQ(RkBase64Decoder::decode(text), data);
    }
}

TEST(RkBase64DecoderTest, DecodesWhatCountsInAnyText) {
    const std::pair<std::string, const char*> cases[] = {
        {" \tZm9v\r\nYmFy\v\f ", "foobar"},  // white space anywhere
        {"\n\n\n\nZm9vYmFy", "foobar"},      // as many as a group has
        {"Zm9vYg", "foob"},                  // no padding
        {"Zm9vY", "foo"},                    // six bits are no byte
        {"Zg==Zm9v", "f"},                   // ends at padding
        {"Zg=v", "f"},
        {"====", ""},
        {"Zm9v-YmFyZm9v", "foo"},  // ends at foreign characters
        {"Zm9vYmFy----", "foobar"},
        {{"Zm9v\0YmF", 8}, "foo"},
    };
    for (const auto& [text, data] : cases)
        EXPECT_EQ(RkBase64Decoder::decode(text), data) << "'" << text << "'";
}
