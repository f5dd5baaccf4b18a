#include "numora/drive/onions.h"

#include <algorithm>
#include <cstdint>
#include <new>

#include "numora/drive/profiles.h"
#include "numora/drive/random_phase.h"
#include "numora/foundation/array.h"
#include "numora/transforms/fft.h"
#include "numora/transforms/window.h"

namespace qv {
namespace math {

namespace {

const int32_t kModulus = 714025;
const int32_t kMultiplier = 1366;
const int32_t kIncrement = 150889;
const int kOnions = 4;

// One congruential step; 1366 * 714024 + 150889 stays below 2^31.
int32_t Step(int32_t seed)
{
    return (kMultiplier * seed + kIncrement) % kModulus;
}

bool HoldsBuffers(const RANDOM_ONIONSTATE& state)
{
    return state.onions != nullptr && state.window != nullptr && state.numOnions == kOnions;
}

}  // namespace

float RandomGenF(RANDOM_GENSTATE& gen)
{
    if (gen.seed < 0 || gen.seeded == 0) {
        gen.seeded = 1;
        // 150889 - seed, wrapping as 32-bit arithmetic would for the most negative seeds.
        const int32_t start =
            static_cast<int32_t>(static_cast<uint32_t>(kIncrement) - static_cast<uint32_t>(gen.seed));
        gen.seed = start % kModulus;
        if (gen.seed < 0)
            gen.seed = -gen.seed;
        for (int j = 1; j <= 97; ++j) {
            gen.seed = Step(gen.seed);
            gen.shuffle[j] = gen.seed;
        }
        gen.seed = Step(gen.seed);
        gen.lastValue = gen.seed;
    }
    // The slot in single precision, rounded after each operation.
    const float scaled = static_cast<float>(gen.lastValue) * 97.0f;
    const float fraction = scaled / 714025.0f;
    const int j = static_cast<int>(fraction + 1.0f);
    gen.lastValue = gen.shuffle[j];
    gen.seed = Step(gen.seed);
    gen.shuffle[j] = gen.seed;
    return static_cast<float>(gen.lastValue) / 714025.0f;
}

void RandomStartTimeFrame(RANDOM_GENSTATE& gen, float* dst, float* src, int n)
{
    if (n < 1)
        return;
    const float u = RandomGenF(gen);
    const int s = static_cast<int>(u * static_cast<float>(n - 1));
    std::copy(src + s, src + n, dst);
    std::copy(src, src + s, dst + (n - s));
}

void RandomOnionsDestroy(RANDOM_ONIONSTATE& state)
{
    if (state.onions != nullptr) {
        for (int i = 0; i < state.numOnions; ++i)
            delete[] state.onions[i];
        delete[] state.onions;
    }
    delete[] state.window;
    state.onions = nullptr;
    state.window = nullptr;
}

void RandomOnionsCreate(RANDOM_ONIONSTATE& state, int n)
{
    if (state.numOnions != 0)
        RandomOnionsDestroy(state);
    if (n < 1)
        return;
    state.onions = new (std::nothrow) float*[kOnions];
    if (state.onions == nullptr)
        return;
    std::fill(state.onions, state.onions + kOnions, nullptr);
    state.numOnions = kOnions;
    for (int i = 0; i < kOnions; ++i) {
        state.onions[i] = new (std::nothrow) float[n];
        if (state.onions[i] == nullptr) {
            RandomOnionsDestroy(state);
            return;
        }
        std::fill(state.onions[i], state.onions[i] + n, 0.0f);
    }
    state.frameSize = n;
    state.gen.seed = -1;
    state.current = 0;
    state.window = new (std::nothrow) float[n];
    if (state.window == nullptr) {
        RandomOnionsDestroy(state);
        return;
    }
    WindowHan(state.window, n);
}

void RandomOnionsAdd(RANDOM_ONIONSTATE& state, float* out, int n, float scale)
{
    if (n > state.frameSize || !HoldsBuffers(state))
        return;
    const int q = n / 4;
    const int c = state.current;
    const float* a = state.onions[c];
    const float* d = state.onions[(c + 3) % 4] + n / 4;
    const float* cc = state.onions[(c + 2) % 4] + (2 * n) / 4;
    const float* b = state.onions[(c + 1) % 4] + (3 * n) / 4;
    for (int i = 0; i < q; ++i)
        out[i] = (((cc[i] + b[i]) + d[i]) + a[i]) * scale;
}

void RandomOnionsApply(RANDOM_ONIONSTATE& state, float* out, float* base, int n, float scale)
{
    if (n != state.frameSize || !HoldsBuffers(state))
        return;
    for (int k = 0; k < 4; ++k) {
        float* onion = state.onions[state.current];
        RandomStartTimeFrame(state.gen, onion, base, n);
        WindowApply(onion, state.window, n, 0);
        RandomOnionsAdd(state, out + (k * n) / 4, n, scale);
        state.current = (state.current + 1) % 4;
    }
}

void InitRandomBandToTimeBuffer(RANDOM_ONIONSTATE& state, float* /*timeBuffer*/, int n, float* base,
                                int maxLine, float lineSpacing, float level, float lowFreq, float highFreq)
{
    APSCreateFlatBand(base, n, maxLine, lineSpacing, level, lowFreq, highFreq);
    APSAddRandomPhase(base, n, maxLine);
    DFT(base, n, -1);
    CorrIFT(base, n, QV_FFT_SCALE_RMS);
    RandomOnionsCreate(state, n);
}

void AddRandomBandToTimeBuffer(RANDOM_ONIONSTATE& state, float* timeBuffer, int n, float* base,
                               float* scratch)
{
    RandomOnionsApply(state, scratch, base, n, 1.0f);
    ArraySum(timeBuffer, scratch, n);
}

CRandomOnions::CRandomOnions() : state_() {}

CRandomOnions::CRandomOnions(int n) : state_()
{
    RandomOnionsCreate(state_, n);
}

CRandomOnions::~CRandomOnions()
{
    RandomOnionsDestroy(state_);
}

CRandomOnions::CRandomOnions(CRandomOnions&& other) noexcept : state_(other.state_)
{
    other.state_ = RANDOM_ONIONSTATE();
}

CRandomOnions& CRandomOnions::operator=(CRandomOnions&& other) noexcept
{
    if (this != &other) {
        RandomOnionsDestroy(state_);
        state_ = other.state_;
        other.state_ = RANDOM_ONIONSTATE();
    }
    return *this;
}

bool CRandomOnions::Valid() const
{
    return HoldsBuffers(state_);
}

RANDOM_ONIONSTATE& CRandomOnions::State()
{
    return state_;
}

const RANDOM_ONIONSTATE& CRandomOnions::State() const
{
    return state_;
}

void CRandomOnions::Create(int n)
{
    RandomOnionsCreate(state_, n);
}

void CRandomOnions::Apply(float* out, float* base, int n, float scale)
{
    RandomOnionsApply(state_, out, base, n, scale);
}

}  // namespace math
}  // namespace qv
