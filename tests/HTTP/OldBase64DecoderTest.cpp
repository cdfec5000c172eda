#include "Network/HTTP/OldBase64Decoder.h"

#include <gtest/gtest.h>

using namespace std::string_literals;

std::string Encoded(const std::string& data) {
    std::string text;
    return OldBase64Decoder().encode(data, text, true);
}

std::string Decoded(const std::string& text) {
    std::string data;
    return OldBase64Decoder().decode(text, data);
}

TEST(OldBase64DecoderTest, EncodesAndBreaksFullLines) {
    EXPECT_EQ(Encoded("A") + Encoded("AB") + Encoded("\xFB\xFF\xBF"), "QQ==QUI=+/+/");
    EXPECT_EQ(Encoded(std::string(57, 'x')).substr(74), "h4\r\n");
    EXPECT_EQ(Encoded(std::string(58, 'x')).substr(74), "h4\r\neA==");
}

TEST(OldBase64DecoderTest, DecodesFaithfullyOnlySevenBitText) {
    EXPECT_EQ(Decoded("QUJD\r\nREVGQUI="), "ABCDEFAB");
    EXPECT_EQ(Decoded("QYBCQQBC"), "AA");               // a second byte of 0x80 or 0 ends its group
    EXPECT_EQ(Decoded("QUKAQUI="), "ABAB");             // a third byte of 0x80 is dropped
    EXPECT_EQ(Decoded("/0JCAA=="), "\xFF\x42\x42\0"s);  // the first byte always stays
    EXPECT_EQ(Decoded("QU!D"), "A@\x03");               // a foreign character counts as 0
    EXPECT_EQ(Decoded("QUJD\r\n"), "ABC\0"s);           // line breaks alone are one more group
}
