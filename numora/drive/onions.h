#pragma once

#include <cstdint>

#include "numora/foundation/export.h"

// A continuous, non-repeating random drive from one periodic base period.
// Each block, four new "onions" are started: copies of the base period rotated
// to a random start and Hann-windowed; every quarter frame of output is the
// sum of the four live onions' quarters over that stretch of time (a 75 %
// overlap-add), so the drive keeps the base period's amplitude spectrum
// without repeating and without a seam at frame borders.
//
// The random starts come from a self-contained seeded generator
// (RANDOM_GENSTATE); only InitRandomBandToTimeBuffer draws on Rand().

namespace qv {

// Linear congruential generator (modulus 714025, multiplier 1366, increment
// 150889) with a 97-slot shuffle. The caller starts it by setting seed to a
// negative value (or any value with seeded = 0); RandomGenF fills the rest.
struct RANDOM_GENSTATE {
    int32_t seed;         // congruential state; negative asks for a reseed; 0 ... 714024 after a draw
    int32_t seeded;       // 0 until the table has been filled, then 1
    int32_t shuffle[98];  // shuffle table; entries 1 to 97 are used
    int32_t lastValue;    // last value returned, before scaling; picks the next slot
};

// The overlap generator. The caller owns the record and clears it (all zero)
// before the first RandomOnionsCreate; the buffers it points to belong to the
// record from RandomOnionsCreate to RandomOnionsDestroy.
struct RANDOM_ONIONSTATE {
    RANDOM_GENSTATE gen;  // draws the random starts
    float** onions;       // numOnions buffers of frameSize samples
    float* window;        // Hann window of frameSize samples
    int32_t numOnions;    // 4 once created, 0 in a fresh record
    int32_t frameSize;    // samples in one onion
    int32_t current;      // onion filled next, 0 ... 3; 0 between blocks
};

namespace math {

// Next uniform value in [0, 1) (0 when the drawn value is 0, never 1).
// A negative seed, or seeded = 0, first reseeds: seed = |(150889 - seed) %
// 714025|, the table takes the next 97 steps and lastValue the one after.
// Each draw takes shuffle[j] with j = lastValue * 97 / 714025 + 1, steps the
// generator into that slot and returns the value / 714025. With seeded = 1 and
// a non-negative seed the state must come from an earlier draw.
// precision: integer arithmetic in 32 bits; the slot index in float, rounding
// after the product, the quotient and the sum; the result
// (float)lastValue / 714025.0f.
// choice: a seed so far below zero that 150889 - seed leaves the 32-bit range
// wraps modulo 2^32, as 32-bit two's-complement arithmetic does.
NUMORA_API float RandomGenF(qv::RANDOM_GENSTATE& gen);

// dst[i] = src[(i + s) mod n], a circular rotation to the random start
// s = (int)(RandomGenF(gen) * (float)(n - 1)), 0 ... n - 1. dst and src must
// not overlap.
// precision: the start is the product in float, truncated.
// choice: n below 1 draws nothing and writes nothing.
NUMORA_API void RandomStartTimeFrame(qv::RANDOM_GENSTATE& gen, float* dst, float* src, int n);

// Builds the state for frames of n samples: four zeroed onions, the plain Hann
// window (WindowHan), gen.seed = -1 (so every created state draws the same
// starts until the caller writes another seed) and current = 0. A created
// record is destroyed first. n < 1 leaves no buffers. If an allocation fails,
// everything allocated so far is freed: onions and window are then null,
// which is how a caller sees the failure.
// Allocates: the table of four pointers, four frames and the window.
NUMORA_API void RandomOnionsCreate(qv::RANDOM_ONIONSTATE& state, int n);

// Frees the frames, the table and the window and sets onions and window to
// null; numOnions and frameSize keep their values. Safe on a record without
// buffers.
NUMORA_API void RandomOnionsDestroy(qv::RANDOM_ONIONSTATE& state);

// Writes one quarter frame (n / 4 samples) of overlapped output to out:
// out[i] = (((C[i] + B[i]) + D[i]) + A[i]) * scale, A from onions[current] at
// 0, D from the onion before it at n / 4, C from two before at 2n / 4, B from
// three before at 3n / 4. Overwrites out; the state does not change.
// precision: sum and product in float, in that order.
// choice: n above frameSize (the quarters would lie past the onions) or a
// record without buffers writes nothing.
NUMORA_API void RandomOnionsAdd(qv::RANDOM_ONIONSTATE& state, float* out, int n, float scale);

// Writes n new drive samples to out from the base period: four times a new
// onion (RandomStartTimeFrame into onions[current], then the window) replaces
// the oldest one, RandomOnionsAdd writes the next quarter of out, and current
// steps on. Buffers carry over between calls, so blocks join seamlessly; the
// first 3n/4 samples of a new state fade in. n other than frameSize does
// nothing: out, generator and current stay.
// choice: a record without buffers (fresh, destroyed, or after a failed
// create) is refused in the same way, whatever frameSize says.
// precision: each onion sample is src * window in float.
// Allocates nothing.
NUMORA_API void RandomOnionsApply(qv::RANDOM_ONIONSTATE& state, float* out, float* base, int n, float scale);

// Builds a base period in base and creates the state: the flat band profile
// (APSCreateFlatBand, zero outside), random phases (APSAddRandomPhase, which
// draws on Rand()), the inverse DFT and CorrIFT with RMS scaling; then
// RandomOnionsCreate(state, n). base holds n samples and the 2 * maxLine + 2
// values of the spectrum. timeBuffer is not touched.
NUMORA_API void InitRandomBandToTimeBuffer(qv::RANDOM_ONIONSTATE& state, float* timeBuffer, int n,
                                           float* base, int maxLine, float lineSpacing, float level,
                                           float lowFreq, float highFreq);

// Adds n new drive samples to timeBuffer: RandomOnionsApply into scratch with
// scale 1, then ArraySum, so several bands accumulate into one buffer (the
// caller clears it). When RandomOnionsApply refuses (n other than
// frameSize), scratch keeps what it held and that is added.
// Allocates nothing.
NUMORA_API void AddRandomBandToTimeBuffer(qv::RANDOM_ONIONSTATE& state, float* timeBuffer, int n, float* base,
                                          float* scratch);

// Owning wrapper of a RANDOM_ONIONSTATE for C++ callers: creates the state
// in its constructor and destroys it in its destructor. Movable, not
// copyable.
// choice: a moved-from object holds a cleared record (no buffers), as a
// default-constructed one does; a record is never owned twice.
class NUMORA_API CRandomOnions {
public:
    // A cleared record without buffers.
    CRandomOnions();
    // RandomOnionsCreate(state, n).
    explicit CRandomOnions(int n);
    ~CRandomOnions();
    CRandomOnions(const CRandomOnions&) = delete;
    CRandomOnions& operator=(const CRandomOnions&) = delete;
    CRandomOnions(CRandomOnions&& other) noexcept;
    CRandomOnions& operator=(CRandomOnions&& other) noexcept;

    // True when the record holds its buffers (created, allocation succeeded).
    bool Valid() const;
    // The record, for the free functions.
    qv::RANDOM_ONIONSTATE& State();
    const qv::RANDOM_ONIONSTATE& State() const;
    // RandomOnionsCreate on the held record (destroying what it held).
    void Create(int n);
    // RandomOnionsApply on the held record.
    void Apply(float* out, float* base, int n, float scale);

private:
    qv::RANDOM_ONIONSTATE state_;
};

}  // namespace math
}  // namespace qv
