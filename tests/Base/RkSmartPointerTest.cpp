#include "Base/RkSmartPointer.h"

#include <gtest/gtest.h>

#include <thread>

TEST(RkSmartPointerTest, DeletesThroughTheVirtualDestructorWithTheLastCopyInAnyThread) {
    struct Base {
        virtual ~Base() = default;
    };
    struct Counted : Base {
        explicit Counted(int& living) : m_living(living) { ++m_living; }
        ~Counted() override { --m_living; }
        int& m_living;
    };
    int living = 0;
    const auto share = [](RkSmartPointer<Base> pointer) { std::thread([copy = pointer] {}).join(); };
    RkSmartPointer<Base> first(new Counted(living)), none;
    share(first);
    EXPECT_EQ(living, 1);
    share(std::move(first));
    EXPECT_EQ(living, 0);
    EXPECT_FALSE(first);
    none = RkSmartPointer<Base>(new Counted(living));
    first = none;
    none = RkSmartPointer<Base>();
    EXPECT_EQ(living, 1);
    EXPECT_NE(first.get(), nullptr);
}
