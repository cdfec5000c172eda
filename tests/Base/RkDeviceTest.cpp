#include "Base/RkDevice.h"

#include <gmock/gmock.h>

#include "Base/RkException.h"
#include "Base/RkStringDevice.h"
#include "tests/support/ScriptedDevice.h"

TEST(RkDeviceTest, IntegersPassInNetworkByteOrder) {
    std::string text;
    RkStringDevice device(text);
    device.WriteUInt64(0x0102030405060708);
    device.WriteUInt32(0x090a0b0c);
    device.WriteUInt16(0x0d0e);
    EXPECT_EQ(text, "\1\2\3\4\5\6\7\10\11\12\13\14\15\16");
    EXPECT_EQ(device.ReadUInt64(), 0x0102030405060708U);
    EXPECT_EQ(device.ReadUInt32(), 0x090a0b0cU);
    EXPECT_EQ(device.ReadUInt16(), 0x0d0eU);
}

TEST(RkDeviceTest, ExactFormsGoOnUntilAllIsDoneOrThrow) {
    ScriptedDevice device({"ab", "cd", "ef"});
    EXPECT_EQ(device.ReadUInt32(), 0x61626364U);
    EXPECT_THROW(device.ReadUInt32(), RkException);  // two bytes, then the end
    for (device.longestWrite = 2; device.longestWrite > 0; --device.longestWrite)
        device.WriteExactly("123", 3);
    EXPECT_THAT(device.writes, testing::ElementsAre("12", "3", "1", "2", "3"));
    EXPECT_THROW(device.WriteUInt16(1), RkException);  // takes nothing: no endless loop
}

TEST(RkStringDeviceTest, AppendsAndReadsFromItsOwnPosition) {
    std::string text = "ab";
    RkStringDevice device(text);
    char data[10];
    device.WriteExactly("cd", 2);
    EXPECT_EQ(device.Seek(-3, SEEK_END), 1);
    EXPECT_EQ(device.Read(data, 10), 3);
    EXPECT_EQ(device.Seek(5, SEEK_CUR), 9);
    EXPECT_EQ(device.Read(data, 10), 0);
    EXPECT_EQ(device.Seek(-1, SEEK_SET), -1);
    EXPECT_EQ(text, "abcd");
}
