#include "numora/spectrum/auto_spectrum.h"

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "tests/support/support.h"

namespace {

using numora_test::BitEqual;
using namespace qv::math;

const double kNaN = std::numeric_limits<double>::quiet_NaN();

// Typed tests run for each (spectrum, accumulator) pair.
template <typename P>
class AutoSpectrum : public ::testing::Test {};
using Pairs = ::testing::Types<std::pair<complex, float>, std::pair<complex_d, float>, std::pair<complex_d, double>>;
TYPED_TEST_SUITE(AutoSpectrum, Pairs);

// A frame from flat (re, im) values.
template <typename Cplx>
std::vector<Cplx> Frame(std::vector<double> v)
{
    std::vector<Cplx> frame;
    for (size_t i = 0; i + 1 < v.size(); i += 2)
        frame.push_back({static_cast<decltype(Cplx::re)>(v[i]), static_cast<decltype(Cplx::re)>(v[i + 1])});
    return frame;
}

// Reference line powers, with each spectrum type's rounding points written out.
float RefPower(const complex& c) { const float rr = c.re * c.re, ii = c.im * c.im; return rr + ii; }
double RefPower(const complex_d& c) { return c.re * c.re + c.im * c.im; }

TYPED_TEST(AutoSpectrum, WeightedUpdateRoundsAtEachPairsOwnSteps)
{
    using Cplx = typename TypeParam::first_type;
    using Real = typename TypeParam::second_type;
    const int n = 16;
    std::vector<Real> aps(n, static_cast<Real>(kNaN)), ref(n);
    for (int k = 1; k <= 6; ++k) {
        std::vector<Cplx> f = Frame<Cplx>(numora_test::RandomDoubles(2 * n, static_cast<unsigned>(40 + k)));
        for (int i = 0; i < n; ++i) {  // P / k in the power's precision, the blend in double
            const auto p = RefPower(f[i]);
            const double part = static_cast<double>(p * static_cast<decltype(p)>(1.0 / k));
            ref[i] = k == 1 ? static_cast<Real>(p)
                            : static_cast<Real>(part + static_cast<double>(ref[i]) * (1.0 - 1.0 / k));
        }
        FFTtoAPS(f.data(), aps.data(), n, k);
        ASSERT_TRUE(BitEqual(ref.data(), aps.data(), n)) << "frame " << k;
    }
}

TYPED_TEST(AutoSpectrum, BandMeasureLetsNoNaNBandWinAndReadsNoFrameBelowTwoLines)
{
    using Cplx = typename TypeParam::first_type;
    auto nan = Frame<Cplx>({kNaN, 0, 0, 1, kNaN, 0, 0, 0, 0, 0});  // NaN at DC and line 2
    using Power = decltype(FFTPowerSum(nan.data(), 0));
    EXPECT_EQ(Power{1}, FFTPowerMaxZMOD(nan.data(), 5));
    EXPECT_TRUE(std::isnan(FFTPowerMaxZMOD(nan.data() + 1, 4)));  // a NaN line 1 stays the result
    EXPECT_EQ(Power{0}, FFTPowerMaxZMOD(static_cast<Cplx*>(nullptr), 1));
}

}  // namespace
