#include "numora/foundation/platform.h"

#include <thread>

#include <gtest/gtest.h>

namespace {

TEST(Rand, MatchesMicrosoftRuntimeSequence)
{
    qv::math::SRand(1);
    const int expected[] = {41, 18467, 6334, 26500, 19169};
    for (int value : expected)
        EXPECT_EQ(value, qv::math::Rand());
}

TEST(Rand, ReseedingRestartsTheSequenceAndStaysIn15Bits)
{
    qv::math::SRand(12345u);
    int first[64];
    for (int& v : first) {
        v = qv::math::Rand();
        EXPECT_GE(v, 0);
        EXPECT_LE(v, 32767);
    }
    qv::math::SRand(12345u);
    for (int v : first)
        EXPECT_EQ(v, qv::math::Rand());
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

TEST(TickCount64, IsMonotonic)
{
    const uint64_t a = qv::math::TickCount64();
    const uint64_t b = qv::math::TickCount64();
    EXPECT_LE(a, b);
}

}  // namespace
