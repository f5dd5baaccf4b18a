#include "recording/profile.h"

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "recording/error.h"
#include "tests/support/refusal.h"
#include "tests/support/support.h"

namespace {

using namespace numora::rec;

ProfileTable Table(std::vector<ProfilePoint> points)
{
    return ProfileTable{"p.csv", std::move(points)};
}

std::string Refusal(const ProfileTable& t)
{
    return numora_test::Refusal([&] { t.Validate(); });
}

TEST(Profile, ValidationNamesTheBreakpointAndWhatIsWrong)
{
    ProfileTable t = Table(
        {{20, 0.01, 3, 6, Segment::Log, 2}, {80, 0.04, 3, 6, Segment::Log, 3}, {50, 0.04, 3, 6, Segment::Log, 4}});
    EXPECT_EQ(Refusal(t), "p.csv:4: frequency 50 Hz does not rise above the 80 Hz before it: breakpoints must ascend");
    t.points[2].frequency = 100;
    t.points[2].level = 0.0;
    EXPECT_EQ(Refusal(t),
              "p.csv:4: level 0 is not positive, but the segment to the breakpoint at 100 Hz is logarithmic");
    t.points[2].segment = Segment::Linear;  // a linear segment may fall to 0
    EXPECT_EQ(Refusal(t), "accepted");
    t.points[0].frequency = 0.0;  // ... but a log segment cannot start at 0 Hz
    EXPECT_EQ(Refusal(t), "p.csv:2: frequency 0 cannot end a logarithmic segment");
    t.points[0].frequency = 20.0;
    t.points[1].level = -1.0;
    EXPECT_NE(Refusal(t).find("level -1 is not a level of 0 or above"), std::string::npos);
    t.points[1].level = 0.04;
    t.points[1].abortDb = 101.0;
    EXPECT_NE(Refusal(t).find("abort limit 101 dB is not from 0 to 100 dB"), std::string::npos);
    t.points[1].abortDb = 6.0;
    t.points[1].sourceLine = 0;
    t.points[1].alarmDb = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(Refusal(t), "p.csv: breakpoint 2: alarm limit nan dB is not from 0 to 100 dB");
    t.points[1].alarmDb = 3.0;
    t.points[1].level = 1e39;  // beyond float, which the tables hold
    EXPECT_NE(Refusal(t).find("level 1e+39 is not a level"), std::string::npos);
    t.points[1].level = 1e-50;  // 0 in float, on a log segment
    EXPECT_NE(Refusal(t).find("is not positive"), std::string::npos);
    t.points[1].level = 0.04;
    t.points[1].frequency = 20.000000001;  // the same float as the 20 Hz before it
    EXPECT_NE(Refusal(t).find("does not rise above the 20 Hz"), std::string::npos);
    EXPECT_NE(Refusal(Table({{20, 1}})).find("at least 2 breakpoints"), std::string::npos);
    std::vector<ProfilePoint> many;
    for (int i = 0; i < 501; ++i)
        many.push_back({10.0 + i, 1.0});
    EXPECT_NE(Refusal(Table(many)).find("at most 500"), std::string::npos);
}

TEST(Profile, LevelsFollowTheSegmentsAndLimitsTheUpperBreakpoint)
{
    // 10 to 40 Hz log-log rising 2:1 per doubling, then linear from 1 to 3 at 40 to 60 Hz.
    const ProfileTable t = Table({{10, 0.25, 3, 0}, {40, 1.0, 3, 0, Segment::Log}, {60, 3.0, 1, 6, Segment::Linear}});
    const FrequencyAxis axis = MakeFrequencyAxis(256.0, 256, true);  // lines every 1 Hz
    const ProfileCurves c = EvaluateProfile(t, axis);
    ASSERT_EQ(c.level.size(), 128u);
    for (int k = 0; k < 128; ++k) {
        const size_t i = static_cast<size_t>(k);
        EXPECT_EQ(c.inside[i] != 0, k >= 10 && k <= 60) << k;
        if (!c.inside[i]) {
            EXPECT_EQ(c.level[i], 0.0f);
            EXPECT_EQ(c.alarmHigh[i], 0.0f);
            continue;
        }
        const double expected = k <= 40 ? 0.25 * (k / 10.0) : 1.0 + 2.0 * (k - 40) / 20.0;
        EXPECT_NEAR(c.level[i], expected, 2e-6 * expected) << k;
        // A segment takes the limits of its upper breakpoint; a line on a
        // breakpoint belongs to the segment above it.
        const double alarm = k < 40 ? 3.0 : 1.0;
        EXPECT_NEAR(c.alarmHigh[i] / c.level[i], std::pow(10.0, alarm / 10.0), 1e-5) << k;
        const double level = static_cast<double>(c.level[i]);
        EXPECT_NEAR(static_cast<double>(c.alarmLow[i]) * static_cast<double>(c.alarmHigh[i]), level * level,
                    1e-6 * level * level);
        const double abort = k < 40 ? 0.0 : std::pow(10.0, 0.6);  // 0 dB switches the limit off
        EXPECT_NEAR(c.abortHigh[i] / c.level[i], abort, 1e-5) << k;
    }
}

TEST(Profile, CheckFindsTheWorstLineAndCountsLinesBeyondTheLimits)
{
    const ProfileTable t = Table({{100, 0.04, 3, 6}, {400, 0.04, 3, 6}});
    PsdResult r;
    r.axis = MakeFrequencyAxis(2560.0, 256, false);  // lines every 10 Hz up to line 100
    std::vector<float> psd(static_cast<size_t>(r.axis.Lines()), 1.0f);
    for (int k = 10; k <= 40; ++k)
        psd[static_cast<size_t>(k)] = 0.06f;  // +1.76 dB
    psd[25] = 0.04f * 4.5f;                   // +6.53 dB at 250 Hz
    psd[30] = 0.04f / 2.5f;                   // -3.98 dB at 300 Hz
    std::vector<float> aps(psd.size());
    for (size_t i = 0; i < psd.size(); ++i)
        aps[i] = psd[i] * 10.0f;
    r.psd = {psd};
    r.aps = {aps};
    const ProfileCheck check = CompareWithProfile(r, 0, t);
    EXPECT_EQ(check.linesCompared, 31);
    EXPECT_NEAR(check.worstDb, 10.0 * std::log10(4.5), 1e-5);
    EXPECT_EQ(check.worstFrequency, 250.0);
    EXPECT_EQ(check.beyondAlarm, 2);
    EXPECT_EQ(check.beyondAbort, 1);
    EXPECT_NEAR(check.referenceRms, std::sqrt(31 * 0.04 * 10.0), 1e-5);
    EXPECT_NEAR(check.measuredRms, std::sqrt(29 * 0.6 + 1.8 + 0.16), 1e-5);  // 4.4

    EXPECT_THROW(CompareWithProfile(r, 0, Table({{2000, 1.0}, {3000, 1.0}})), Error);  // beyond the lines
}

}  // namespace
