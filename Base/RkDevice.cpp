#include "Base/RkDevice.h"

#include <endian.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "Base/RkException.h"

namespace {

/// @param result  what the device returned, 0 or below; errno still as it left it
[[noreturn]] void ThrowStopped(const char* operation, ssize_t result, size_t left) {
    const std::string reason = result == 0 ? "the device ended" : std::generic_category().message(errno);
    throw RkException(std::string(operation) + " failed with " + std::to_string(left) + " bytes to go: " + reason);
}

template <class Integer>
void WriteInteger(RkDevice& device, Integer networkOrder) {
    device.WriteExactly(reinterpret_cast<const char*>(&networkOrder), sizeof networkOrder);
}

template <class Integer>
Integer ReadInteger(RkDevice& device) {
    Integer networkOrder;
    device.ReadExactly(reinterpret_cast<char*>(&networkOrder), sizeof networkOrder);
    return networkOrder;
}

}  // namespace

RkDevice::~RkDevice() = default;

long RkDevice::Seek(long, int) { return -1; }
long RkDevice::Tell() { return -1; }

void RkDevice::WriteExactly(const char* data, size_t count) {
    while (count > 0) {
        const ssize_t taken = Write(data, count);
        if (taken <= 0)
            ThrowStopped("Device write", taken, count);
        data += taken;
        count -= static_cast<size_t>(taken);
    }
}

void RkDevice::WriteUInt64(RkUInt64 value) { WriteInteger(*this, htobe64(value)); }
void RkDevice::WriteUInt32(RkUInt32 value) { WriteInteger(*this, htobe32(value)); }
void RkDevice::WriteUInt16(RkUInt16 value) { WriteInteger(*this, htobe16(value)); }

void RkDevice::ReadExactly(char* data, size_t count) {
    while (count > 0) {
        const ssize_t came = Read(data, count);
        if (came <= 0)
            ThrowStopped("Device read", came, count);
        data += came;
        count -= static_cast<size_t>(came);
    }
}

RkUInt64 RkDevice::ReadUInt64() { return be64toh(ReadInteger<RkUInt64>(*this)); }
RkUInt32 RkDevice::ReadUInt32() { return be32toh(ReadInteger<RkUInt32>(*this)); }
RkUInt16 RkDevice::ReadUInt16() { return be16toh(ReadInteger<RkUInt16>(*this)); }
