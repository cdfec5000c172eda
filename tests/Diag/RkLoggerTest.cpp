#include "Diag/RkLogger.h"

#include <gmock/gmock.h>
#include <pthread.h>

#include <new>
#include <stdexcept>
#include <thread>

#include "Diag/RkLogStream.h"
#include "tests/support/CapturingSink.h"

using testing::ElementsAre, testing::FieldsAre, testing::StrEq;
using namespace kstr::diag;

TEST(RkLoggerTest, TheNearestNameWithALevelDecides) {
    RkLogger::setLevel("A.B", LV_DEBUG);
    RkLogger::setLevel("A.B.C", LV_OFF);
    const std::pair<const char*, RkLevel> cases[] = {
        {"A", LV_WARN},        {"", LV_WARN},     {"A.B", LV_DEBUG},
        {"A.B.X.Y", LV_DEBUG}, {"A.Bx", LV_WARN},  // no child of A.B
        {"A.B.C.D", LV_OFF},
    };
    for (const auto& [name, lowest] : cases) {
        const RkLogger logger(name);
        EXPECT_TRUE(logger.isEnabled(lowest)) << name;
        EXPECT_FALSE(logger.isEnabled(RkLevel(lowest - 1))) << name;
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

TEST(RkLoggerTest, ARecordTellsWhatAndWhereAndASinkThatThrowsHarmsNobody) {
    struct Sink : RkLogSink {
        void write(const RkLogRecord& record) override {
            records.push_back(record);
            throw std::runtime_error("disk full");
        }
        std::vector<RkLogRecord> records;
    };
    const auto sink = std::make_shared<Sink>();
    RkLogger::setSink(sink);
    RkLogger logger("Place");
    DIAG_LOG(logger, LV_WARN, "port " << 80 << '\0');
    RkLogger::setSink(nullptr);
    ASSERT_EQ(sink->records.size(), 2U);
    EXPECT_THAT(sink->records[0], FieldsAre(LV_WARN, "Place", std::string("port 80\0", 8), StrEq(__FILE__),
                                            StrEq(__func__), __LINE__ - 4));
    EXPECT_EQ(sink->records[1].message, "<DIAG_LOG macro caught std::exception - disk full>");
}

struct NoText : std::exception {
    const char* what() const noexcept override { return nullptr; }
};

/// Throws when it is printed.
template <class Exception>
std::ostream& Throw(std::ostream&) {
    throw Exception();
}

TEST(RkLoggerTest, AStatementThatThrowsIsLoggedAsThatAndNothingElse) {
    const LogCapture log(LV_ERROR);
    RkLogger logger("Broken");
    DIAG_LOG(logger, LV_FATAL, "a" << Throw<std::bad_alloc>);
    DIAG_LOG(logger, LV_FATAL, Throw<NoText>);
    DIAG_LOG(logger, LV_FATAL, Throw<int>);
    DIAG_LOG(logger, LV_INFO, Throw<int>);  // off: not even evaluated
    RkLogger::setLevel("", LV_FATAL);
    DIAG_LOG(logger, LV_FATAL, Throw<int>);
    EXPECT_THAT(log->Messages(), ElementsAre("<DIAG_LOG macro caught std::exception - std::bad_alloc>",
                                             "<DIAG_LOG macro caught std::exception - what() == NULL>",
                                             "<DIAG_LOG macro caught unknown exception>"));
    EXPECT_EQ(log->Records()[0], (CapturingSink::Record{LV_ERROR, "Broken", log->Messages()[0]}));
}

TEST(RkLoggerTest, AStatementMayBeUnwoundByForce) {
    const LogCapture log;
    std::thread([] {
        RkLogger logger("Exit");
        DIAG_LOG(
            logger, LV_ERROR, "a" << [](std::ostream&) -> std::ostream& { ::pthread_exit(nullptr); });
    }).join();
    EXPECT_TRUE(log->Messages().empty());
}

TEST(RkLoggerTest, StandardErrorGetsALineWithoutWhatHarmsATerminal) {
    RkLogger logger("Screen");
    testing::internal::CaptureStderr();
    DIAG_LOG(logger, LV_ERROR, "bind failed: \x1b[2J" << 13 << '\0');
    DIAG_LOG(logger, LV_INFO, "not a word");
    EXPECT_THAT(
        testing::internal::GetCapturedStderr(),
        testing::MatchesRegex("[0-9]+-[0-9]+-[0-9]+ [0-9:.]+ error \\[[0-9]+\\] Screen: bind failed: \\?\\[2J13\n"));
}
