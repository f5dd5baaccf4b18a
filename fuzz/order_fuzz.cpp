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
#include <cstdlib>
#include <cstring>
#include <vector>

#include "numora/analysis/order.h"

namespace {

struct Reader {
    const uint8_t* p;
    size_t left;
    uint32_t Next(int bytes)
    {
        uint32_t v = 0;
        for (int i = 0; i < bytes && left > 0; ++i, --left)
            v = (v << 8) | *p++;
        return v;
    }
};

void Check(bool ok)
{
    if (!ok)
        std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Reader in{data, size};
    qv::math::ordinfo info;
    info.sampleRate = 1.0 + in.Next(2);
    info.frequency = in.Next(2) * (info.sampleRate / 65535.0);
    info.halfLength = static_cast<int>(in.Next(1));
    const int L = info.halfLength;
    const int n = 2 * L + static_cast<int>(in.Next(1) % 16) + 1;
    // Samples k / 256: products with the window stay normal, so doubling is exact.
    std::vector<float> x(n), twice(n);
    for (int i = 0; i < n; ++i) {
        x[i] = static_cast<float>(static_cast<int16_t>(in.Next(2))) / 256.0f;
        twice[i] = 2.0f * x[i];
    }

    qv::math::Order_GenVec(&info);
    Check(info.vector != nullptr && info.vectorFrequency == info.frequency);
    double weight = 0.0;
    for (int k = 0; k < L; ++k)
        weight += std::hypot(static_cast<double>(info.vector[2 * k]), static_cast<double>(info.vector[2 * k + 1]));
    Check(L == 0 || std::fabs(weight - 1.0) < 1e-5);

    // A count below 1 touches nothing.
    unsigned char before[sizeof info], after[sizeof info];
    std::memcpy(before, &info, sizeof info);
    qv::math::Order_Extract(&info, x.data(), 0);
    std::memcpy(after, &info, sizeof info);
    Check(std::memcmp(before, after, sizeof info) == 0);

    qv::math::Order_Extract(&info, x.data(), n);
    const qv::math::ordinfo once = info;
    Check(once.minimum <= once.maximum);
    Check(once.peak == std::fmax(std::fabs(once.minimum), std::fabs(once.maximum)));
    Check(once.mean >= once.minimum - 1e-6f && once.mean <= once.maximum + 1e-6f);
    Check(once.meanSquare >= 0.0f && !std::isnan(once.stdDev));
    Check(once.magnitude == std::sqrt(once.power));
    // Every weight is at most its share of 1 per half, so |re + j im| <= 2 peak.
    Check(once.magnitude <= 2.0 * (1.0 + 1e-5) * static_cast<double>(once.peak));

    // Doubling every sample doubles every product and sum exactly.
    qv::math::Order_Extract(&info, twice.data(), n);
    Check(info.re == 2.0f * once.re && info.im == 2.0f * once.im && info.power == 4.0 * once.power);
    Check(info.maximum == 2.0f * once.maximum && info.peak == 2.0f * once.peak);

    // A rebuild for the same frequency gives the same vector.
    std::vector<float> first(info.vector, info.vector + 2 * L);
    qv::math::Order_GenVec(&info);
    Check(std::memcmp(first.data(), info.vector, first.size() * sizeof(float)) == 0);
    qv::math::Order_FreeVec(&info);
    Check(info.vector == nullptr);
    return 0;
}
