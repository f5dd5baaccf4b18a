// Fuzz target for the seeded generator and the four-onion overlap: generator
// states stay in range, rotations are rotations, refused calls touch nothing,
// outputs are bounded by four windowed copies, and the accumulating call adds
// exactly what the plain call writes (or, refused, what its scratch held).
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "numora/drive/onions.h"

using fuzz::Bytes;

namespace {

const float kGuard = -777.0f;

bool InRange(const qv::RANDOM_GENSTATE& g)
{
    if (g.seed < 0 || g.seed > 714024 || g.lastValue < 0 || g.lastValue > 714024 || g.seeded != 1)
        return false;
    for (int j = 1; j <= 97; ++j)
        if (g.shuffle[j] < 0 || g.shuffle[j] > 714024)
            return false;
    return true;
}

void Generator(Bytes& in)
{
    qv::RANDOM_GENSTATE g{};
    g.seed = in.Take<int32_t>();
    g.seeded = 0;
    const int draws = in.Small(40) + 1;
    for (int i = 0; i < draws; ++i) {
        if (in.Small(8) == 0)
            g.seed = -1 - in.Small(1000);  // a reseed on the next draw
        const float u = qv::math::RandomGenF(g);
        CHECK(u >= 0.0f && u < 1.0f && InRange(g));
        CHECK(u == static_cast<float>(g.lastValue) / 714025.0f);
    }
    // Rotation: dst[i] = src[(i + s) mod n] with s from the same draw.
    const int n = in.Small(64);
    std::vector<float> src(static_cast<size_t>(n)), dst(static_cast<size_t>(n) + 1, kGuard);
    for (int i = 0; i < n; ++i)
        src[static_cast<size_t>(i)] = static_cast<float>(i);
    qv::RANDOM_GENSTATE twin = g;
    qv::math::RandomStartTimeFrame(g, dst.data(), src.data(), n);
    CHECK(dst[static_cast<size_t>(n)] == kGuard);
    if (n < 1) {
        CHECK(std::memcmp(&twin, &g, sizeof g) == 0);
        return;
    }
    const int s = static_cast<int>(qv::math::RandomGenF(twin) * static_cast<float>(n - 1));
    CHECK(s >= 0 && s < n && std::memcmp(&twin, &g, sizeof g) == 0);
    for (int i = 0; i < n; ++i)
        CHECK(dst[static_cast<size_t>(i)] == static_cast<float>((i + s) % n));
}

void Overlap(Bytes& in)
{
    const int n = in.Small(300) + 1;
    const float scale = static_cast<float>(in.Take<int8_t>()) / 32.0f;  // -4 to 4, with 1 among them
    std::vector<float> base(static_cast<size_t>(n));
    float peak = 0.0f;
    for (float& v : base) {
        v = in.Unit(2.0f) - 1.0f;
        peak = std::max(peak, std::fabs(v));
    }
    qv::RANDOM_ONIONSTATE a{}, b{};
    qv::math::RandomOnionsCreate(a, n);
    qv::math::RandomOnionsCreate(b, n);
    CHECK(a.onions != nullptr && a.window != nullptr && a.frameSize == n && a.current == 0);
    const int seed = in.Take<int8_t>();
    a.gen.seed = b.gen.seed = seed < 0 ? seed : -1;

    const size_t room = static_cast<size_t>(n) + 8;
    std::vector<float> out(room), buffer(room), scratch(room);
    // Quarter k lands at (k * n) / 4 and is n / 4 long; with n not a multiple
    // of 4 some samples stay unwritten.
    std::vector<bool> written(room, false);
    for (int k = 0; k < 4; ++k)
        for (int i = 0; i < n / 4; ++i)
            written[static_cast<size_t>((k * n) / 4 + i)] = true;
    const int blocks = in.Small(6) + 1;
    for (int block = 0; block < blocks; ++block) {
        // A refused call: wrong size. The accumulating call still adds what
        // scratch held.
        const int wrong = n + 1 + in.Small(4);
        std::fill(out.begin(), out.end(), kGuard);
        std::fill(buffer.begin(), buffer.end(), 0.25f);
        const std::vector<float> held = scratch;
        const qv::RANDOM_GENSTATE gen = a.gen;
        qv::math::RandomOnionsApply(a, out.data(), base.data(), wrong, scale);
        qv::math::RandomOnionsAdd(a, out.data(), wrong, scale);
        qv::math::AddRandomBandToTimeBuffer(a, buffer.data(), wrong, base.data(), scratch.data());
        CHECK(std::all_of(out.begin(), out.end(), [](float v) { return v == kGuard; }) && scratch == held);
        CHECK(std::memcmp(&gen, &a.gen, sizeof gen) == 0 && a.current == 0);
        for (int i = 0; i < static_cast<int>(room); ++i)
            CHECK(buffer[static_cast<size_t>(i)] ==
                  (i < wrong ? 0.25f + held[static_cast<size_t>(i)] : 0.25f));

        // The plain call, and the accumulating call on the twin with scale 1.
        qv::math::RandomOnionsApply(a, out.data(), base.data(), n, scale);
        CHECK(a.current == 0);
        for (int i = 0; i < static_cast<int>(room); ++i) {
            const float v = out[static_cast<size_t>(i)];
            if (!written[static_cast<size_t>(i)])
                CHECK(v == kGuard);
            else
                CHECK(std::fabs(v) <= 4.0f * peak * std::fabs(scale) * 1.00001f);
        }
        std::fill(buffer.begin(), buffer.end(), 0.25f);
        qv::math::AddRandomBandToTimeBuffer(b, buffer.data(), n, base.data(), scratch.data());
        if (scale == 1.0f)
            for (size_t i = 0; i < room; ++i)
                if (written[i])
                    CHECK(buffer[i] == 0.25f + out[i]);
    }
    // A size below 1 destroys; the record then refuses everything.
    qv::math::RandomOnionsCreate(a, -in.Small(3));
    CHECK(a.onions == nullptr && a.window == nullptr);
    std::fill(out.begin(), out.end(), kGuard);
    qv::math::RandomOnionsApply(a, out.data(), base.data(), a.frameSize, scale);
    CHECK(out[0] == kGuard);
    qv::math::RandomOnionsDestroy(a);
    qv::math::RandomOnionsDestroy(b);
}

void Wrapper(Bytes& in)
{
    const int n = in.Small(64) + 4;
    qv::math::CRandomOnions first(n);
    qv::math::CRandomOnions second(std::move(first));
    CHECK(!first.Valid() && second.Valid() && second.State().frameSize == n);
    qv::math::CRandomOnions third;
    third = std::move(second);
    CHECK(!second.Valid() && third.Valid());
    third.Create(in.Small(8) - 2);
    CHECK(third.Valid() == (third.State().frameSize >= 1 && third.State().onions != nullptr));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Bytes in(data, size);
    switch (in.Small(3)) {
    case 0:
        Generator(in);
        break;
    case 1:
        Overlap(in);
        break;
    default:
        Wrapper(in);
        break;
    }
    return 0;
}
