#include "Diag/RkLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

#include "Diag/RkLogStream.h"
#include "tests/support/CapturingSink.h"

namespace {

using namespace kstr::diag;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(RkLoggerTest, TheNearestNameWithALevelDecides) {
    RkLogger::setLevel("A.B", LV_DEBUG);
    RkLogger::setLevel("A.B.C", LV_OFF);
    const struct {
        const char* name;
        RkLevel lowest;
    } cases[] = {
        {"A", LV_WARN},        {"", LV_WARN},     {"A.B", LV_DEBUG},
        {"A.B.X.Y", LV_DEBUG}, {"A.Bx", LV_WARN},  // no child of A.B
        {"A.B.C.D", LV_OFF},
    };
    for (const auto& c : cases) {
        const RkLogger logger(c.name);
        EXPECT_TRUE(logger.isEnabled(c.lowest)) << c.name;
        EXPECT_FALSE(logger.isEnabled(RkLevel(c.lowest - 1))) << c.name;
    }
}

TEST(RkLoggerTest, ALevelSetLaterReachesEveryLoggerBelow) {
    const RkLogger logger(std::string("Late.Child")), same("Late.Child"), other("Later.Child");
    EXPECT_EQ(&logger.getName(), &same.getName());
    RkLogger::setLevel("Late", LV_TRACE);
    EXPECT_TRUE(logger.isEnabled(LV_TRACE));
    EXPECT_TRUE(same.isEnabled(LV_TRACE));
    EXPECT_FALSE(other.isEnabled(LV_INFO));
}

TEST(RkLoggerTest, ARecordTellsWhatAndWhere) {
    struct Sink : RkLogSink {
        void write(const RkLogRecord& record) override { records.push_back(record); }
        std::vector<RkLogRecord> records;
    };
    const auto sink = std::make_shared<Sink>();
    RkLogger::setSink(sink);
    RkLogger logger("Place");
    DIAG_LOG(logger, LV_WARN, "port " << 80 << '\0');
    const int line = __LINE__ - 1;
    RkLogger::setSink(nullptr);
    ASSERT_EQ(sink->records.size(), 1U);
    const auto& record = sink->records[0];
    EXPECT_EQ(record.level, LV_WARN);
    EXPECT_EQ(record.logger, "Place");
    EXPECT_EQ(record.message, std::string("port 80\0", 8));
    EXPECT_STREQ(record.file, __FILE__);
    EXPECT_STREQ(record.function, __func__);
    EXPECT_EQ(record.line, line);
}

struct NoText : std::exception {
    const char* what() const noexcept override { return nullptr; }
};

/// Throws when it is printed.
template <class Exception>
struct Unprintable {
    Exception exception;
    friend std::ostream& operator<<(std::ostream&, const Unprintable& self) { throw self.exception; }
};

TEST(RkLoggerTest, AStatementThatThrowsIsLoggedAsThatAndNothingElse) {
    const LogCapture log(LV_ERROR);
    RkLogger logger("Broken");
    DIAG_LOG(logger, LV_FATAL, "a" << Unprintable<std::runtime_error>{std::runtime_error("boom")});
    DIAG_LOG(logger, LV_FATAL, Unprintable<NoText>{});
    DIAG_LOG(logger, LV_FATAL, Unprintable<int>{});
    DIAG_LOG(logger, LV_INFO, Unprintable<int>{});  // off: not even evaluated
    EXPECT_THAT(log->Records(),
                ElementsAre(CapturingSink::Record{LV_ERROR, "Broken", "<DIAG_LOG macro caught std::exception - boom>"},
                            CapturingSink::Record{LV_ERROR, "Broken",
                                                  "<DIAG_LOG macro caught std::exception - what() == NULL>"},
                            CapturingSink::Record{LV_ERROR, "Broken", "<DIAG_LOG macro caught unknown exception>"}));
    log->Clear();
    RkLogger::setLevel("", LV_FATAL);
    DIAG_LOG(logger, LV_FATAL, Unprintable<int>{});
    EXPECT_THAT(log->Records(), IsEmpty());
}

TEST(RkLoggerTest, ASinkThatThrowsHarmsNobody) {
    struct Sink : RkLogSink {
        void write(const RkLogRecord& record) override {
            messages.push_back(record.message);
            throw std::runtime_error("disk full");
        }
        std::vector<std::string> messages;
    };
    const auto sink = std::make_shared<Sink>();
    RkLogger::setSink(sink);
    RkLogger logger("Harmless");
    DIAG_LOG(logger, LV_ERROR, "text");
    RkLogger::setSink(nullptr);
    EXPECT_THAT(sink->messages, ElementsAre("text", "<DIAG_LOG macro caught std::exception - disk full>"));
}

TEST(RkLoggerTest, StandardErrorGetsALineWithoutWhatHarmsATerminal) {
    RkLogger logger("Screen");
    ::testing::internal::CaptureStderr();
    DIAG_LOG(logger, LV_ERROR, "bind failed: \x1b[2J" << 13 << '\0');
    DIAG_LOG(logger, LV_INFO, "not a word");
    EXPECT_THAT(
        ::testing::internal::GetCapturedStderr(),
        ::testing::MatchesRegex("[0-9]+-[0-9]+-[0-9]+ [0-9:.]+ error \\[[0-9]+\\] Screen: bind failed: \\?\\[2J13\n"));
}

TEST(RkLoggerTest, AStatementMayBeUnwoundByForce) {
    struct Exit {
        [[noreturn]] static std::ostream& Print(std::ostream&) { ::pthread_exit(nullptr); }
    };
    const LogCapture log;
    std::thread([] {
        RkLogger logger("Exit");
        DIAG_LOG(logger, LV_ERROR, Exit::Print);
    }).join();
    EXPECT_THAT(log->Records(), IsEmpty());
}

}  // namespace
