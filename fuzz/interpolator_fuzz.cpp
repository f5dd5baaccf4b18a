// Fuzz target of the interpolator: Kerval, InterpolateMax and a CInterpolator
// driven by a decoded sequence of Setup, Add, Read, copy and move.
//
// Checks: Kerval is even, bounded and 0 beyond its table; InterpolateMax
// equals the largest kernel sum evaluated term by term with Kerval, leaves its
// block alone and gives exactly 0 for a ratio at most 1; a CInterpolator's
// readable count follows a model of its rules (one frame late, two frames of
// room, nothing below ratio 1, Setup keeping or dropping the stream), its
// outputs stay within the kernel's bound, and a copy made at any point goes
// on with the same bits as the original.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "numora/analysis/interpolator.h"

namespace {

using fuzz::Bytes;

// A float or a double from its bits, the most significant byte first.
float Float(Bytes& in)
{
    const uint32_t bits = static_cast<uint32_t>(in.Big(4));
    float f;
    std::memcpy(&f, &bits, sizeof f);
    return f;
}

double Double(Bytes& in)
{
    const uint64_t bits = in.Big(8);
    double d;
    std::memcpy(&d, &bits, sizeof d);
    return d;
}

// A sample in [-1, 1], or now and then anything a float can hold.
float Sample(Bytes& in)
{
    const uint8_t kind = in.Take<uint8_t>();
    if (kind < 8)
        return Float(in);
    return static_cast<float>(static_cast<int>(in.Big(4) % 2000001u) - 1000000) / 1000000.0f;
}

const double kReach = 13.140625;

// Ratios worth visiting: the refused ones, the exact ones and some others.
float Ratio(Bytes& in)
{
    static const float kRatios[] = {-1.0f, 0.0f, 0.5f, 1.0f, 1.0001f, 1.25f, 1.6f, 2.0f, 2.56f, 3.0f,
                                    4.0f,  5.12f, 8.0f, 10.24f, 16.0f, std::numeric_limits<float>::quiet_NaN()};
    const uint8_t pick = in.Take<uint8_t>();
    if (pick < 200)
        return kRatios[pick % 16];
    const float r = Float(in);
    return std::fabs(r) < 20.0f || std::isnan(r) ? r : 20.0f;
}

void FuzzKerval(Bytes& in)
{
    const double x = Double(in);
    const double v = qv::math::Kerval(x), w = qv::math::Kerval(-x);
    CHECK(std::memcmp(&v, &w, sizeof v) == 0);
    CHECK(std::isfinite(v) && std::fabs(v) <= 1.0);
    if (!(std::fabs(x) < 1684.0 / 128.0))
        CHECK(v == 0.0);
}

void FuzzInterpolateMax(Bytes& in)
{
    const float ratio = Ratio(in);
    const int n = static_cast<int>(in.Take<uint8_t>() % 200) - 4;
    std::vector<float> x(n > 0 ? static_cast<size_t>(n) : 1);
    for (float& v : x)
        v = Sample(in);
    const std::vector<float> before = x;
    const float got = qv::math::InterpolateMax(ratio, x.data(), n);
    CHECK(std::memcmp(before.data(), x.data(), x.size() * sizeof(float)) == 0);
    if (!(ratio > 1.0f) || n < 1) {
        CHECK(fuzz::Same(0.0f, got));
        return;
    }
    // The model: every point of the float-step grid, term by term.
    const double dt = static_cast<double>(1.0f / ratio);
    const int m = static_cast<int>(static_cast<double>(static_cast<float>(n)) / dt);
    double largest = 0.0;
    for (int j = 0; j < m; ++j) {
        const double t = j * dt;
        const long lo = std::max(static_cast<long>(std::ceil(t - kReach)), 0L);
        const long hi = std::min(static_cast<long>(std::floor(t + kReach)), static_cast<long>(n - 1));
        double s = 0.0;
        for (long i = lo; i <= hi; ++i)
            s += static_cast<double>(x[static_cast<size_t>(i)]) * qv::math::Kerval(static_cast<double>(i) - t);
        if (0.999998 * s > largest)
            largest = 0.999998 * s;
    }
    CHECK(fuzz::Same(static_cast<float>(largest), got));
}

// The readable count of a CInterpolator as its rules give it.
struct Model {
    uint32_t frameSize = 0;
    double ratio = 1.0;
    uint32_t perFrame = 0;
    uint32_t unread = 0;
    bool primed = false;

    void Setup(uint32_t n, float r)
    {
        const double rd = static_cast<double>(r);
        if (n == frameSize && rd == ratio)
            return;
        if (n < 20)
            return;  // refused
        const double product = static_cast<double>(static_cast<float>(n)) * rd;
        frameSize = n;
        ratio = rd;
        perFrame = product > 0.0 ? static_cast<uint32_t>(product) : 0;
        unread = 0;
        primed = false;
    }
    void Add()
    {
        if (!(ratio > 1.0))
            return;
        if (!primed) {
            primed = true;
            return;
        }
        if (perFrame + unread <= 2 * perFrame)
            unread += perFrame;
    }
};

void FuzzInterpolator(Bytes& in)
{
    qv::math::CInterpolator ip;
    Model model;
    std::vector<float> frame;
    bool bounded = true;  // every sample so far within [-1, 1]
    for (int step = 0; step < 64 && in.Left() > 0; ++step) {
        const uint8_t op = in.Take<uint8_t>() % 8;
        if (op == 0) {
            const uint32_t n = 16 + in.Take<uint8_t>() % 200;
            const float r = Ratio(in);
            ip.Setup(n, r);
            model.Setup(n, r);
        } else if (op <= 3) {
            frame.assign(model.frameSize > 0 ? model.frameSize : 1, 0.0f);
            for (float& v : frame) {
                v = Sample(in);
                bounded = bounded && std::fabs(v) <= 1.0f;
            }
            ip.Add(frame.data());
            model.Add();
        } else if (op <= 5) {
            const uint32_t count =
                in.Take<uint8_t>() % 2 ? model.unread : static_cast<uint32_t>(in.Big(4) % (2 * model.perFrame + 2));
            CHECK(ip.IsReadReady(count) == (model.unread >= count));
            const float* p = ip.Read(count);
            CHECK((p != nullptr) == (model.unread >= count) || (count == 0 && model.perFrame == 0));
            if (p != nullptr) {
                for (uint32_t j = 0; j < count; ++j)
                    CHECK(!bounded || std::fabs(p[j]) <= 3.0f);
                model.unread -= count;
            }
        } else if (op == 6) {
            // A copy goes on exactly as the original with the same frames.
            qv::math::CInterpolator copy(ip);
            std::vector<float> next(model.frameSize > 0 ? model.frameSize : 1);
            for (float& v : next) {
                v = Sample(in);
                bounded = bounded && std::fabs(v) <= 1.0f;
            }
            ip.Add(next.data());
            copy.Add(next.data());
            model.Add();
            CHECK(ip.IsReadReady(model.unread) && copy.IsReadReady(model.unread) &&
                  !copy.IsReadReady(model.unread + 1));
            const float* a = ip.Read(model.unread);
            const float* b = copy.Read(model.unread);
            CHECK(model.unread == 0 || std::memcmp(a, b, model.unread * sizeof(float)) == 0);
            for (uint32_t j = 0; j < model.unread; ++j)
                CHECK(!bounded || std::fabs(a[j]) <= 3.0f);
            model.unread = 0;
        } else {
            // A move hands everything over; the source is a new object.
            qv::math::CInterpolator moved(std::move(ip));
            CHECK(!ip.IsReadReady(1) && ip.Read(0) == nullptr);
            ip = std::move(moved);
        }
        CHECK(ip.IsReadReady(model.unread) && !ip.IsReadReady(model.unread + 1));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Bytes in(data, size);
    switch (in.Take<uint8_t>() % 3) {
    case 0: FuzzKerval(in); break;
    case 1: FuzzInterpolateMax(in); break;
    default: FuzzInterpolator(in); break;
    }
    return 0;
}
