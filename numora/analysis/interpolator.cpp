#include "numora/analysis/interpolator.h"

#include <cmath>
#include <cstddef>
#include <cstring>
#include <new>

#include "numora/analysis/interpolator_kernel_detail.h"

namespace qv {
namespace math {

namespace {

using detail::kKernelEntries;
using detail::KernelTable;

const double KernelStepsPerSample = 128.0;
const double KernelHalfWidth = 13.140625;  // 1682 / 128: reach of the kernel on each side
const double KernelGain = 0.999998;
const int KernelSize = kKernelEntries - 1;  // the lookup limit
const uint32_t kMargin = 20;                // context samples on each side of a frame

// An entry of the kernel and the difference to the next one, the two numbers
// that a linear lookup reads. The difference is the same double subtraction
// that Kerval makes, done once, so the sums below give Kerval's bits.
struct KernelStep {
    double value;
    double slope;
};

struct KernelSteps {
    KernelStep step[KernelSize];
};

constexpr KernelSteps MakeKernelSteps()
{
    KernelSteps s{};
    for (int i = 0; i < KernelSize; ++i)
        s.step[i] = KernelStep{KernelTable[i], KernelTable[i + 1] - KernelTable[i]};
    return s;
}

constexpr KernelSteps kSteps = MakeKernelSteps();

// Kerval(d) for an offset within the kernel's reach, |d| <= 13.140625 give or
// take a rounding of the offset, so the index stays below 1684 without a test.
inline double KernelAt(double d)
{
    const double u = KernelStepsPerSample * std::fabs(d);
    const int k = static_cast<int>(u);
    const KernelStep& s = kSteps.step[k];
    return s.value + s.slope * (u - static_cast<double>(k));
}

// First and last sample that the kernel reaches from time t.
inline std::ptrdiff_t FirstReached(double t) { return static_cast<std::ptrdiff_t>(std::ceil(t - KernelHalfWidth)); }
inline std::ptrdiff_t LastReached(double t) { return static_cast<std::ptrdiff_t>(std::floor(t + KernelHalfWidth)); }

const int kPhases = 16;      // phase resolution of the phased path: t a multiple of 1/16
const int kRowStart = -13;   // first offset from floor(t) that the kernel reaches
const int kRowLength = 28;   // offsets -13 ... 14

// The kernel sums at the times t = j * dt:
//     sum of double(x[i]) * Kerval(i - t), i = ceil(t - 13.140625) ... floor(t + 13.140625),
// ascending, in double, with the range of i narrowed to [first, last].
//
// When dt is a multiple of 1/16 (ratios 2, 4, 8 and 16; in InterpolateMax also
// ratios such as 1.6, whose float step 0.625 is exact) every t is exact and its
// fractional part f is one of 16 phases. Each kernel value depends only on the
// phase and on n = i - floor(t): i - t and n - f are the same real number, so
// they round to the same double. The values are then read from a row per phase,
// filled once, with the bits that term-by-term evaluation gives. Any other dt
// evaluates the kernel term by term.
class KernelSums {
public:
    explicit KernelSums(double dt) : dt_(dt), phased_(false), rows_()
    {
        const double steps = dt * static_cast<double>(kPhases);
        if (!(steps >= 1.0 && steps < static_cast<double>(kPhases) && steps == std::floor(steps)))
            return;
        phased_ = true;
        // The phases that j * dt visits repeat after 16 steps of j.
        bool filled[kPhases] = {};
        for (int j = 0; j < kPhases; ++j) {
            const int p = static_cast<int>(std::fmod(static_cast<double>(j) * steps, static_cast<double>(kPhases)));
            if (filled[p])
                continue;
            filled[p] = true;
            const double f = static_cast<double>(p) / static_cast<double>(kPhases);
            for (int k = 0; k < kRowLength; ++k)
                rows_[p][k] = Kerval(static_cast<double>(kRowStart + k) - f);
        }
    }

    // The sum at t = j * dt.
    double One(const float* x, int64_t j, std::ptrdiff_t first, std::ptrdiff_t last) const
    {
        double sum;
        Sum<1>(x, j, first, last, &sum);
        return sum;
    }

    // The sums at t = j * dt ... (j + 3) * dt.
    void Four(const float* x, int64_t j, std::ptrdiff_t first, std::ptrdiff_t last, double* sum) const
    {
        Sum<4>(x, j, first, last, sum);
    }

private:
    // Lanes times at once. Each lane adds its own terms in its own ascending
    // order; the lanes are interleaved only so that several independent
    // additions are in flight instead of one chain.
    template <int Lanes>
    void Sum(const float* x, int64_t j, std::ptrdiff_t first, std::ptrdiff_t last, double* sum) const
    {
        double t[Lanes];
        std::ptrdiff_t lo[Lanes], count[Lanes];
        const double* row[Lanes];
        std::ptrdiff_t common = 0;
        for (int l = 0; l < Lanes; ++l) {
            t[l] = static_cast<double>(j + l) * dt_;
            const std::ptrdiff_t a = FirstReached(t[l]), b = LastReached(t[l]);
            lo[l] = a > first ? a : first;
            count[l] = (b < last ? b : last) - lo[l] + 1;
            if (count[l] < 0)
                count[l] = 0;
            if (l == 0 || count[l] < common)
                common = count[l];
            row[l] = nullptr;
            if (phased_) {
                const double whole = std::floor(t[l]);
                const int p = static_cast<int>((t[l] - whole) * static_cast<double>(kPhases));
                row[l] = rows_[p] + (lo[l] - static_cast<std::ptrdiff_t>(whole) - kRowStart);
            }
        }
        double s[Lanes];
        for (int l = 0; l < Lanes; ++l)
            s[l] = 0.0;
        if (phased_) {
            for (std::ptrdiff_t k = 0; k < common; ++k)
                for (int l = 0; l < Lanes; ++l)
                    s[l] += static_cast<double>(x[lo[l] + k]) * row[l][k];
            for (int l = 0; l < Lanes; ++l)
                for (std::ptrdiff_t k = common; k < count[l]; ++k)
                    s[l] += static_cast<double>(x[lo[l] + k]) * row[l][k];
        } else {
            for (std::ptrdiff_t k = 0; k < common; ++k)
                for (int l = 0; l < Lanes; ++l)
                    s[l] += Term(x, lo[l] + k, t[l]);
            for (int l = 0; l < Lanes; ++l)
                for (std::ptrdiff_t k = common; k < count[l]; ++k)
                    s[l] += Term(x, lo[l] + k, t[l]);
        }
        for (int l = 0; l < Lanes; ++l)
            sum[l] = s[l];
    }

    static double Term(const float* x, std::ptrdiff_t i, double t)
    {
        return static_cast<double>(x[i]) * KernelAt(static_cast<double>(i) - t);
    }

    double dt_;
    bool phased_;
    double rows_[kPhases][kRowLength];
};

// A zero-filled array of n floats from the plain heap, or null when there is
// no memory for it.
float* NewBuffer(uint32_t n)
{
    return new (std::nothrow) float[n]();
}

void CopyFloats(float* to, const float* from, uint32_t n)
{
    if (n != 0)
        std::memmove(to, from, static_cast<std::size_t>(n) * sizeof(float));
}

}  // namespace

double Kerval(double x)
{
    const double u = KernelStepsPerSample * std::fabs(x);
    // Written as a test on u, so that offsets far out (or NaN) never reach
    // the conversion to int.
    if (!(u < static_cast<double>(KernelSize)))
        return 0.0;
    const int i = static_cast<int>(u);
    return KernelTable[i] + (KernelTable[i + 1] - KernelTable[i]) * (u - static_cast<double>(i));
}

float InterpolateMax(float ratio, float* data, int n)
{
    if (!(ratio > 1.0f) || n < 1)
        return 0.0f;
    const double dt = static_cast<double>(1.0f / ratio);
    const double points = static_cast<double>(static_cast<float>(n)) / dt;
    if (!(points < 2147483648.0))
        return 0.0f;
    const int m = static_cast<int>(points);
    const KernelSums sums(dt);
    double largest = 0.0;
    int j = 0;
    for (; j + 4 <= m; j += 4) {
        double v[4];
        sums.Four(data, j, 0, n - 1, v);
        for (int l = 0; l < 4; ++l) {
            const double value = KernelGain * v[l];
            if (value > largest)
                largest = value;
        }
    }
    for (; j < m; ++j) {
        const double v = KernelGain * sums.One(data, j, 0, n - 1);
        if (v > largest)
            largest = v;
    }
    return static_cast<float>(largest);
}

CInterpolator::CInterpolator()
    : frameSize(0), inputSize(0), outputSize(0), inputBuffer(nullptr), frame(nullptr), lookAhead(nullptr),
      outputBuffer(nullptr), ratio(1.0), outputPerFrame(0), outputCount(0), readPos(0), primed(false),
      margin(static_cast<int>(kMargin))
{
}

CInterpolator::~CInterpolator()
{
    delete[] inputBuffer;
    delete[] outputBuffer;
}

CInterpolator::CInterpolator(const CInterpolator& other) : CInterpolator()
{
    *this = other;
}

CInterpolator::CInterpolator(CInterpolator&& other) noexcept : CInterpolator()
{
    *this = static_cast<CInterpolator&&>(other);
}

CInterpolator& CInterpolator::operator=(const CInterpolator& other)
{
    if (this == &other)
        return *this;
    float* input = nullptr;
    float* output = nullptr;
    if (other.inputBuffer != nullptr)
        input = NewBuffer(other.inputSize);
    if (other.outputBuffer != nullptr)
        output = NewBuffer(other.outputSize);
    if ((other.inputBuffer != nullptr && input == nullptr) || (other.outputBuffer != nullptr && output == nullptr)) {
        delete[] input;
        delete[] output;
        Clear();
        return *this;
    }
    if (input != nullptr)
        CopyFloats(input, other.inputBuffer, other.inputSize);
    if (output != nullptr)
        CopyFloats(output, other.outputBuffer, other.outputSize);
    Take(other, input, output);
    return *this;
}

CInterpolator& CInterpolator::operator=(CInterpolator&& other) noexcept
{
    if (this == &other)
        return *this;
    Take(other, other.inputBuffer, other.outputBuffer);
    other.inputBuffer = nullptr;
    other.outputBuffer = nullptr;
    other.Clear();
    return *this;
}

void CInterpolator::Take(const CInterpolator& other, float* input, float* output)
{
    delete[] inputBuffer;
    delete[] outputBuffer;
    frameSize = other.frameSize;
    inputSize = other.inputSize;
    outputSize = other.outputSize;
    inputBuffer = input;
    frame = input != nullptr ? input + kMargin : nullptr;
    lookAhead = frame != nullptr ? frame + frameSize : nullptr;
    outputBuffer = output;
    ratio = other.ratio;
    outputPerFrame = other.outputPerFrame;
    outputCount = other.outputCount;
    readPos = other.readPos;
    primed = other.primed;
    margin = other.margin;
}

void CInterpolator::Clear()
{
    Take(CInterpolator(), nullptr, nullptr);
}

void CInterpolator::SetSize(uint32_t& size, uint32_t newSize, float*& buffer)
{
    if (size == newSize)
        return;
    delete[] buffer;
    buffer = newSize != 0 ? NewBuffer(newSize) : nullptr;
    size = buffer != nullptr ? newSize : 0;
}

void CInterpolator::Setup(uint32_t frameSize_, float ratio_)
{
    const double r = static_cast<double>(ratio_);
    if (frameSize_ == frameSize && r == ratio)
        return;
    const double product = static_cast<double>(static_cast<float>(frameSize_)) * r;
    // 2 * outputPerFrame has to fit 32 bits.
    if (frameSize_ < kMargin || frameSize_ > UINT32_MAX - 2 * kMargin || product >= 2147483648.0)
        return;
    ratio = r;
    margin = static_cast<int>(kMargin);
    outputPerFrame = product > 0.0 ? static_cast<uint32_t>(product) : 0;
    SetSize(inputSize, frameSize_ + 2 * kMargin, inputBuffer);
    frameSize = frameSize_;
    frame = inputBuffer != nullptr ? inputBuffer + kMargin : nullptr;
    lookAhead = frame != nullptr ? frame + frameSize : nullptr;
    SetSize(outputSize, 2 * outputPerFrame, outputBuffer);
    if (inputBuffer == nullptr || (outputPerFrame != 0 && outputBuffer == nullptr)) {
        Clear();
        return;
    }
    outputCount = 0;
    readPos = 0;
    primed = false;
}

void CInterpolator::Add(float* newFrame)
{
    if (!(ratio > 1.0))
        return;
    if (!primed) {
        CopyFloats(frame, newFrame, frameSize);
        primed = true;
        return;
    }
    CopyFloats(lookAhead, newFrame, kMargin);
    const uint32_t unread = outputCount - readPos;
    if (static_cast<uint64_t>(outputPerFrame) + unread > outputSize)
        return;
    const double dt = 1.0 / ratio;
    CopyFloats(outputBuffer, outputBuffer + readPos, unread);
    float* out = outputBuffer + unread;
    // The context margins hold every sample that the kernel reaches, so the
    // range of samples is not narrowed.
    const KernelSums sums(dt);
    const std::ptrdiff_t first = -static_cast<std::ptrdiff_t>(kMargin);
    const std::ptrdiff_t last = static_cast<std::ptrdiff_t>(frameSize + kMargin) - 1;
    uint32_t j = 0;
    for (; j + 4 <= outputPerFrame; j += 4) {
        double v[4];
        sums.Four(frame, j, first, last, v);
        for (int l = 0; l < 4; ++l)
            out[j + static_cast<uint32_t>(l)] = static_cast<float>(KernelGain * v[l]);
    }
    for (; j < outputPerFrame; ++j)
        out[j] = static_cast<float>(KernelGain * sums.One(frame, j, first, last));
    outputCount = outputPerFrame + unread;
    readPos = 0;
    CopyFloats(frame - kMargin, frame + frameSize - kMargin, kMargin);
    CopyFloats(frame, newFrame, frameSize);
}

bool CInterpolator::IsReadReady(uint32_t count)
{
    return outputCount - readPos >= count;
}

float* CInterpolator::Read(uint32_t count)
{
    if (outputCount - readPos < count)
        return nullptr;
    float* p = outputBuffer + readPos;
    readPos += count;
    if (readPos == outputCount) {
        outputCount = 0;
        readPos = 0;
    }
    return p;
}

}  // namespace math
}  // namespace qv
