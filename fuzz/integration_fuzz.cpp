// Fuzz target of integration: integrates decoded blocks in one piece and in
// two, runs the drift filter against a plain model, and scans a short run of
// blocks through ScanUnitLimits, checking the invariants.
//
// Input layout (big-endian, missing bytes read as 0): n (2 bytes, mod 2048,
// plus 1), split point (2 bytes, mod n + 1), drift window (2 bytes, mod 1200,
// less 8), sample rate - 100 (2 bytes), scale (signed 2 bytes / 64), unit set
// (1 byte, mod 4), then samples as signed 16-bit values / 128.
//
// Invariants (abort on violation): intg_continuous over two pieces gives the
// bits and state of one call, and intg from rest the same bits; in place
// equals out of place; a unit set outside the table gives zeros; the drift
// filter equals the plain per-sample model bit for bit; over a run of three
// blocks frameCount counts them, the limits stay finite and only widen and the
// peak is the larger magnitude; count 0 changes nothing.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "numora/analysis/integration.h"
#include "tests/support/drift_model.h"

using fuzz::Same;
using numora_test::PlainDrift;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Bytes in(data, size);
    const int n = static_cast<int>(in.Big(2) % 2048) + 1;
    const int split = static_cast<int>(in.Big(2) % (n + 1));
    const int w = static_cast<int>(in.Big(2) % 1200) - 8;
    const double rate = 100.0 + in.Big(2);
    const double scale = static_cast<double>(static_cast<int16_t>(in.Big(2))) / 64.0;
    const qv::UnitSys units = static_cast<qv::UnitSys>(in.Big(1) % 4);
    std::vector<float> x(n);
    for (float& v : x)
        v = static_cast<float>(static_cast<int16_t>(in.Big(2))) / 128.0f;

    // Carried state: any split gives the bits of one call; intg is the same rule from rest.
    std::vector<float> whole(n), parts(n), rest(n);
    double a[4] = {}, b[4] = {};
    qv::math::intg_continuous(whole.data(), x.data(), n, a[0], a[1], a[2], a[3], scale);
    qv::math::intg_continuous(parts.data(), x.data(), split, b[0], b[1], b[2], b[3], scale);
    qv::math::intg_continuous(parts.data() + split, x.data() + split, n - split, b[0], b[1], b[2], b[3], scale);
    CHECK(Same(whole, parts) && std::memcmp(a, b, sizeof a) == 0);
    qv::math::intg(rest.data(), x.data(), n, scale, false);
    CHECK(Same(whole, rest));
    // In place equals out of place, with the mean taken off too.
    std::vector<float> inPlace = x;
    qv::math::intg(rest.data(), x.data(), n, scale, true);
    qv::math::intg(inPlace.data(), inPlace.data(), n, scale, true);
    CHECK(Same(rest, inPlace));
    // Unit sets outside the table give an all-zero block.
    qv::math::accel_to_vel(rest.data(), x.data(), rate, n, units, false);
    CHECK(units != 3 || std::all_of(rest.begin(), rest.end(), [](float v) { return v == 0.0f; }));

    std::vector<float> drift(n);
    qv::math::RemoveMovingMean(drift.data(), x.data(), n, w);
    CHECK(Same(drift, PlainDrift(x, w)));

    // A run of three blocks: the limits only widen and stay finite.
    std::vector<float> accel(n), vel(n), disp(n), scratch(n);
    qv::math::SCAN_UNIT_LIMITS run{};
    run.accel = accel.data();
    run.vel = vel.data();
    run.disp = disp.data();
    run.scratch = scratch.data();
    run.count = n;
    run.unitSys = units;
    run.sampleRate = rate;
    run.scale = scale;
    run.computeRms = true;
    run.offset = scale / 4.0;
    for (int block = 0; block < 3; ++block) {
        for (int i = 0; i < n; ++i)
            accel[i] = x[(i + block * split) % n];
        const qv::math::SCAN_UNIT_LIMITS last = run;
        qv::math::ScanUnitLimits(run);
        CHECK(run.frameCount == static_cast<uint32_t>(block + 1));
        CHECK(std::isfinite(run.dispPeak) && std::isfinite(run.velPeak) && std::isfinite(run.accelRms));
        CHECK(run.velPeak == std::max(std::fabs(run.velMin), std::fabs(run.velMax)));
        if (block > 0)
            CHECK(run.accelMin <= last.accelMin && run.accelMax >= last.accelMax &&
                  run.dispPeak >= last.dispPeak && run.accelRms >= last.accelRms);
    }
    // A count below 1 touches nothing.
    const qv::math::SCAN_UNIT_LIMITS last = run;
    run.count = 0;
    qv::math::ScanUnitLimits(run);
    CHECK(run.frameCount == last.frameCount && run.dispMax == last.dispMax);
    return 0;
}
