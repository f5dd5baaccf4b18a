#pragma once

#include <cstdint>

#include "numora/foundation/export.h"

// Band-limited interpolation with one fixed kernel: a Kaiser-windowed sinc
// (beta 9.014) reaching 13.140625 input samples to each side, held as a table
// of 1685 values at steps of 1/128 sample.
//
// One interpolated sample at time t (in input samples) is
//     0.999998 * sum of double(x[i]) * Kerval(i - t), i = ceil(t - 13.140625)
//     ... floor(t + 13.140625), ascending, in double,
// where 0.999998 is the kernel's gain correction. A sine below 0.35 of the
// input rate is reproduced at any instant within about 5e-5 of its amplitude
// (0.4 of the rate: 1.2e-3).
// choice: the table's entries are 0.999988 times the windowed sinc, cut toward
// zero to six decimals (scripts/kernel_table.py), except entries 1, 2 and 64,
// which keep the kernel's known values one unit higher; so the entries at a
// quarter sample's offsets sum to 1.000001.

namespace qv {
namespace math {

// The kernel at an offset of x input samples, either sign: the table read at
// 128 |x| with linear interpolation between entries, in double. 0 from
// |x| >= 1684/128 on.
// choice: a NaN offset gives 0.
NUMORA_API double Kerval(double x);

// The largest value of the n samples of data interpolated ratio times finer:
// the interpolated values at t = j * dt, j = 0 ... trunc(float(n) / dt) - 1,
// with dt = 1/ratio rounded to float, samples beyond the block counting as 0.
// The result is a signed maximum, never below 0: 0 for a wholly negative
// block, for ratio <= 1 and for n < 1.
// precision: dt is the float quotient 1.0f / ratio; each value is formed in
// double, and the largest is rounded to float once.
// choice: a NaN ratio gives 0, like a ratio <= 1; a count of points beyond the
// int range gives 0 (nothing is computed); NaN values never count as largest.
NUMORA_API float InterpolateMax(float ratio, float* data, int n);

// Raises the sample rate of a stream of equal-sized frames by a fixed ratio
// above 1. Each Add produces the interpolated samples of the frame held from
// the call before (the kernel needs the first samples of the next frame), so
// output lags one frame and the last frame added is never interpolated. The
// outputs of a frame sit at t = j / ratio, j = 0 ... outputPerFrame - 1, from
// the frame's first sample; when frameSize * ratio is not whole the fraction
// is dropped and the next frame starts again at t = 0. The 20 samples before
// the first frame are zeros.
//
// Typical use: Setup once; then for every frame Add, and Read while
// IsReadReady holds.
//
// choice: a copy is a deep copy of both buffers and the whole stream state,
// so original and copy go on independently; a copy that cannot get memory
// ends as a new object. A move hands both buffers over and leaves the source
// as a new object.
// choice: a Setup that cannot get its buffers leaves the object as a new one
// (no buffers, ratio 1.0), so Add does nothing and Read gives null.
// choice: the fields are protected, so that only the operations change the
// buffers and counts; a derived class may read them.
class NUMORA_API CInterpolator {
public:
    // No buffers, all counts 0, ratio 1.0, margin 20, not primed.
    CInterpolator();
    // Frees both buffers.
    ~CInterpolator();
    CInterpolator(const CInterpolator& other);
    CInterpolator(CInterpolator&& other) noexcept;
    CInterpolator& operator=(const CInterpolator& other);
    CInterpolator& operator=(CInterpolator&& other) noexcept;

    // Prepares for frames of frameSize samples raised by ratio. With the same
    // frameSize and ratio as stored nothing happens and frames in progress
    // stay; otherwise the held frame and the unread results are dropped. A
    // buffer whose size does not change keeps its content (also the 20 samples
    // of history before the frame).
    // precision: outputPerFrame = trunc(double(float(frameSize)) * double(ratio)),
    // so 1000 samples at 2.56 give 2559 (2.56f is slightly below 2.56).
    // choice: a frameSize below 20 (the context margin), or sizes that do not
    // fit 32 bits (frameSize + 40, 2 * outputPerFrame), are refused and leave
    // the object as it was.
    // choice: a ratio <= 0 or NaN gives outputPerFrame 0 (Add does nothing).
    void Setup(uint32_t frameSize, float ratio);

    // Takes the next frame of frameSize samples. The first frame after Setup is
    // only held; each later one makes the held frame's outputPerFrame samples
    // readable and becomes the held frame. When the unread results and a new
    // frame's results would not fit the output buffer (two frames' worth),
    // the new frame is lost and the held frame stays. Nothing happens while
    // ratio <= 1. Allocates nothing.
    // precision: each output is formed in double and rounded to float once.
    void Add(float* frame);

    // True when at least count samples can be read.
    bool IsReadReady(uint32_t count);

    // The next count unread samples, or null when fewer are unread. The
    // pointer stays good until the next Add or Setup. Reading the last unread
    // sample empties the buffer.
    float* Read(uint32_t count);

protected:
    // Replaces buffer by a zeroed one of newSize floats when size differs from
    // newSize, and stores the new size; newSize 0 leaves no buffer.
    // choice: when the memory cannot be had, buffer is null and size 0.
    void SetSize(uint32_t& size, uint32_t newSize, float*& buffer);

    uint32_t frameSize;       // samples per input frame
    uint32_t inputSize;       // frameSize + 40
    uint32_t outputSize;      // 2 * outputPerFrame
    float* inputBuffer;       // owned: 20 samples before, the frame, 20 samples behind
    float* frame;             // inputBuffer + 20: the held frame
    float* lookAhead;         // frame + frameSize: the first 20 samples of the next frame
    float* outputBuffer;      // owned: results not yet read
    double ratio;             // output rate / input rate; 1.0 until Setup
    uint32_t outputPerFrame;  // trunc(frameSize * ratio)
    uint32_t outputCount;     // valid samples in outputBuffer
    uint32_t readPos;         // samples of them already read
    bool primed;              // a frame is held
    int margin;               // context samples on each side, 20

private:
    // Frees both buffers and takes every field of other, with input and
    // output as the buffers.
    void Take(const CInterpolator& other, float* input, float* output);
    // Frees both buffers and returns every field to the new state.
    void Clear();
};

}  // namespace math
}  // namespace qv
