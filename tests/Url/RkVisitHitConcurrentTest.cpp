#include <gtest/gtest.h>

#include <latch>

#include "Network/Url/RkVisitHit.h"
#include "tests/support/InThreads.h"

constexpr int THREADS = 8;
constexpr int REQUESTS = 2000;  ///< of each thread

std::atomic<bool> enabled{false};
std::atomic<long> reported{0}, reportedLate{0};

void Report(unsigned long, unsigned long, void* context) {
    static_cast<std::atomic<long>*>(context)->fetch_add(1);
    ++(enabled ? reported : reportedLate);
}

TEST(RkVisitHitConcurrentTest, CountsExactlyWhileACallBackComesAndGoes) {
    reported = reportedLate = 0;
    RkVisitHit::ClearLastVisit();  // of an earlier repetition
    std::atomic<long> visits{0}, hits{0}, contextHits{0};
    std::latch begin(THREADS);
    std::jthread registrar([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            enabled = true;
            RkVisitHit::SetUpdateCallback(&Report);
            RkVisitHit::DeRegisterCallback();  // waits for a running call-back
            enabled = false;
        }
    });
    InThreads(THREADS, [&](int id) {
        std::string user = "user" + std::to_string(id), page = "http://h/", image = "http://h/a.gif";
        begin.arrive_and_wait();
        for (int i = 0; i < REQUESTS; ++i)
            ++(RkVisitHit::CalcIsVisit(user, i % 4 == 0 ? page : image, 1000, 0, 0, &contextHits) ? visits : hits);
    });
    registrar = {};
    EXPECT_EQ(visits, THREADS * REQUESTS / 4);
    EXPECT_EQ(hits, THREADS * REQUESTS * 3 / 4);
    EXPECT_EQ(contextHits, reported);
    EXPECT_EQ(reportedLate, 0);
}
