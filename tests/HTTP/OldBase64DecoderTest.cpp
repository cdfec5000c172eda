#include "Network/HTTP/OldBase64Decoder.h"

#include <gtest/gtest.h>

namespace {

using namespace std::string_literals;

std::string Encoded(const std::string& data, bool addNewlines = false) {
    std::string text = "+";
    OldBase64Decoder().encode(data, text, addNewlines);
    return text;
}

TEST(OldBase64DecoderTest, EncodesAndBreaksFullLines) {
    EXPECT_EQ(Encoded(""), "+");
    EXPECT_EQ(Encoded("A"), "+QQ==");
    EXPECT_EQ(Encoded("AB"), "+QUI=");
    EXPECT_EQ(Encoded("\xFB\xFF\xBF"), "++/+/");
    const std::string line = Encoded(std::string(57, 'x'));
    EXPECT_EQ(line.size(), 77u);
    EXPECT_EQ(Encoded(std::string(57, 'x'), true), line + "\r\n");
    EXPECT_EQ(Encoded(std::string(58, 'x'), true), line + "\r\neA==");
}

TEST(OldBase64DecoderTest, DecodesFaithfullyOnlySevenBitText) {
    const struct {
        std::string text, data;
    } cases[] = {
        {"QQ==", "A"},
        {"QUJD\r\nREVG", "ABCDEF"},
        {"AA==", "\0"s},
        {"QYBC", "A"},         // 0x41 0x80 0x42: the second byte is negative and ends the group
        {"QQBC", "A"},         // 0x41 0x00 0x42
        {"QUKAQUI=", "ABAB"},  // 0x41 0x42 0x80: only the third is dropped
        {"/0JC",
         "\xFF"
         "BB"},              // the first byte always stays
        {"QU!D", "A@\x03"},  // a foreign character counts as 0
        {"QUI", "AB"},
        {"QUJD\r\n", "ABC\0"s},  // line breaks alone are one more group
    };
    for (const auto& c : cases) {
        std::string data = ">";
        EXPECT_EQ(OldBase64Decoder().decode(c.text, data), ">" + c.data) << c.text;
    }
}

}  // namespace
