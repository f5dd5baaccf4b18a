// Fuzz target of order extraction: builds a vector for a decoded frequency and
// half length, extracts from a decoded block and checks the invariants.
//
// Input layout (big-endian, missing bytes read as 0): sample rate - 1 (2
// bytes), frequency as a fraction of the rate (2 bytes, /65535), L (1 byte),
// samples past 2 L (1 byte, mod 16, plus 1), then samples as 16-bit values
// / 256.
//
// Invariants (abort on violation): the vector is built and its half window
// sums to 1; n = 0 changes no byte of the record; minimum <= mean <= maximum,
// peak is the larger magnitude, stdDev is no NaN, magnitude = sqrt(power) <=
// 2 peak; doubling every sample doubles re, im, extremes and peak and
// quadruples power exactly; a rebuild gives the same vector; freeing nulls it.

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "numora/analysis/order.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Bytes in(data, size);
    qv::math::ordinfo info;
    info.sampleRate = 1.0 + in.Big(2);
    info.frequency = in.Big(2) * (info.sampleRate / 65535.0);
    info.halfLength = static_cast<int>(in.Big(1));
    const int L = info.halfLength;
    const int n = 2 * L + static_cast<int>(in.Big(1) % 16) + 1;
    // Samples k / 256: products with the window stay normal, so doubling is exact.
    std::vector<float> x(n), twice(n);
    for (int i = 0; i < n; ++i) {
        x[i] = static_cast<float>(static_cast<int16_t>(in.Big(2))) / 256.0f;
        twice[i] = 2.0f * x[i];
    }

    qv::math::Order_GenVec(&info);
    CHECK(info.vector != nullptr && info.vectorFrequency == info.frequency);
    double weight = 0.0;
    for (int k = 0; k < L; ++k)
        weight += std::hypot(static_cast<double>(info.vector[2 * k]), static_cast<double>(info.vector[2 * k + 1]));
    CHECK(L == 0 || std::fabs(weight - 1.0) < 1e-5);

    // A count below 1 touches nothing.
    unsigned char before[sizeof info], after[sizeof info];
    std::memcpy(before, &info, sizeof info);
    qv::math::Order_Extract(&info, x.data(), 0);
    std::memcpy(after, &info, sizeof info);
    CHECK(std::memcmp(before, after, sizeof info) == 0);

    qv::math::Order_Extract(&info, x.data(), n);
    const qv::math::ordinfo once = info;
    CHECK(once.minimum <= once.maximum);
    CHECK(once.peak == std::fmax(std::fabs(once.minimum), std::fabs(once.maximum)));
    CHECK(once.mean >= once.minimum - 1e-6f && once.mean <= once.maximum + 1e-6f);
    CHECK(once.meanSquare >= 0.0f && !std::isnan(once.stdDev));
    CHECK(once.magnitude == std::sqrt(once.power));
    // Every weight is at most its share of 1 per half, so |re + j im| <= 2 peak.
    CHECK(once.magnitude <= 2.0 * (1.0 + 1e-5) * static_cast<double>(once.peak));

    // Doubling every sample doubles every product and sum exactly.
    qv::math::Order_Extract(&info, twice.data(), n);
    CHECK(info.re == 2.0f * once.re && info.im == 2.0f * once.im && info.power == 4.0 * once.power);
    CHECK(info.maximum == 2.0f * once.maximum && info.peak == 2.0f * once.peak);

    // A rebuild for the same frequency gives the same vector.
    std::vector<float> first(info.vector, info.vector + 2 * L);
    qv::math::Order_GenVec(&info);
    CHECK(L == 0 || std::memcmp(first.data(), info.vector, first.size() * sizeof(float)) == 0);
    qv::math::Order_FreeVec(&info);
    CHECK(info.vector == nullptr);
    return 0;
}
