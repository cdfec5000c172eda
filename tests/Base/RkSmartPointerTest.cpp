#include "Base/RkSmartPointer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

struct Base {
    virtual ~Base() = default;
};
struct Counted : Base {
    explicit Counted(std::atomic<int>& living) : m_living(living) { ++m_living; }
    ~Counted() override { --m_living; }
    std::atomic<int>& m_living;
};

TEST(RkSmartPointerTest, DeletesThroughTheVirtualDestructorWithTheLastCopy) {
    std::atomic<int> living = 0;
    RkSmartPointer<Base> first(new Counted(living));
    RkSmartPointer<Base> second(first), third;
    third = second;
    EXPECT_EQ(third.get(), first.get());
    auto& self = first;
    first = self;
    first = RkSmartPointer<Base>();
    second = first;
    EXPECT_FALSE(second);
    EXPECT_EQ(living, 1);
    third = RkSmartPointer<Base>(new Counted(living));
    EXPECT_EQ(living, 1);
}

TEST(RkSmartPointerTest, CopiesMayEndInSeveralThreads) {
    std::atomic<int> living = 0;
    std::vector<std::thread> threads;
    {
        const RkSmartPointer<Counted> pointer(new Counted(living));
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([copy = pointer] { EXPECT_EQ((*copy).m_living, 1); });
    }
    for (auto& thread : threads)
        thread.join();
    threads.clear();
    EXPECT_EQ(living, 0);
}

}  // namespace
