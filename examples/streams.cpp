// A device of one's own, a stream over it, and a file that is written and read back line by line.
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "Base/RkBStream.h"
#include "Base/RkException.h"
#include "Base/RkFile.h"
#include "Base/RkStringDevice.h"

namespace {

/// Passes bytes on to another device in capital letters. A device needs four operations; the rest stands on them.
class UpperDevice : public RkDevice {
public:
    explicit UpperDevice(RkDevice& next) : m_next(next) {}

    ssize_t Read(char* data, size_t count) override { return m_next.Read(data, count); }
    ssize_t Write(const char* data, size_t count) override {
        std::string upper(data, count);
        for (char& c : upper)
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        return m_next.Write(upper.data(), upper.size());
    }
    bool Flush() override { return m_next.Flush(); }
    void Close() override { m_next.Close(); }

private:
    RkDevice& m_next;
};

void WriteReport(RkDevice& device) {
    RkBStream stream(device);
    stream << "visits " << 42 << "\r\n"
           << "hits " << 1234567 << "\r\n";
    stream.Flush();  // until here nothing was written; without it nothing would be
}

void PrintLines(RkDevice& device) {
    RkBStream stream(device);
    for (std::string line; stream.ReadLine(line, 1000);)  // longest line accepted
        std::cout << "[" << line << "]\n";
}

}  // namespace

int main() {
    std::string text;
    RkStringDevice memory(text);
    UpperDevice upper(memory);
    WriteReport(upper);
    PrintLines(memory);

    char name[] = "/tmp/qor-streams-XXXXXX";
    ::close(::mkstemp(name));
    RkFile out(name, "wb");
    WriteReport(out);
    RkFile in(name, "rb");
    PrintLines(in);
    std::remove(name);

    try {
        RkFile missing(name, "rb");
    } catch (const RkException& error) {
        std::cout << error.GetMessage() << '\n';
    }
}
