#include "numora/foundation/platform.h"

#include <thread>

#include <gtest/gtest.h>

namespace {

TEST(Rand, MatchesMicrosoftRuntimeSequenceAndReseedingRestarts)
{
    for (int pass = 0; pass < 2; ++pass) {
        qv::math::SRand(1);
        for (int value : {41, 18467, 6334, 26500, 19169})
            EXPECT_EQ(value, qv::math::Rand());
    }
}

TEST(Rand, EachThreadStartsFromStateOne)
{
    qv::math::SRand(999u);
    int inThread = -1;
    std::thread([&inThread] { inThread = qv::math::Rand(); }).join();
    EXPECT_EQ(41, inThread);
}

}  // namespace
