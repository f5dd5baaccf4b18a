#include "numora/foundation/platform.h"

#include <thread>

#include <gtest/gtest.h>

namespace {

TEST(Rand, MatchesMicrosoftRuntimeSequenceStaysIn15BitsAndReseedingRestarts)
{
    for (int pass = 0; pass < 2; ++pass) {
        qv::math::SRand(1);
        for (int value : {41, 18467, 6334, 26500, 19169})
            EXPECT_EQ(value, qv::math::Rand());
    }
    for (int i = 0; i < 1000; ++i) {
        const int v = qv::math::Rand();
        ASSERT_TRUE(v >= 0 && v <= 32767) << v;
    }
}

TEST(Rand, EachThreadStartsFromStateOne)
{
    qv::math::SRand(999u);
    qv::math::Rand();
    int inThread = -1;
    std::thread worker([&inThread] { inThread = qv::math::Rand(); });
    worker.join();
    EXPECT_EQ(41, inThread);
}

}  // namespace
