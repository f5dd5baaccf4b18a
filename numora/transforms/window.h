#pragma once

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"

// Window tables and their application to time frames. Tables are always float,
// also for double frames. A prepared table sits in a QV_WIND_SETUP (or a
// CWindow), so that the per-frame path only multiplies.

// A prepared window table. The caller owns the record, zero-fills it before
// first use and ends it with WindowReset, which frees the table.
struct QV_WIND_SETUP {
    int valid;                  // 1 once prepared, else 0
    int size;                   // length of the table
    QV_ACQFRAME_WINTYPE type;   // window of the table
    QV_WINDOWSCALE scale;       // normalisation of the table
    double rmsFactor;           // broadband-level correction; 1.0 under power scale
    double ampFactor;           // sine-amplitude correction; 1.0 under amplitude scale
    float* coeff;               // the table (new[]), owned by the record; null when none
};

namespace qv {
namespace math {

// Prepares setup for a window type, scale and size; returns at once, without
// touching the table or the heap, when setup already holds that type, size and
// scale (decay is not compared). A null setup does nothing. reserved is not read.
// precision: an exponential window takes decay as (int)(decay + 0.5), added in double.
// choice: that cut saturates: a decay beyond the int range gives INT_MAX or
// INT_MIN, and NaN gives 0 (a table of ones).
// choice: the table is allocated zero-filled, so the unpaired last sample of an
// odd-size correlation table is 0.
// choice: a negative size counts as a failed allocation: the record stays
// cleared. Size 0 prepares an empty table.
NUMORA_API void WindowSetupCoeff(QV_ACQFRAME_WINTYPE type, QV_WINDOWSCALE scale, float decay, int size,
                                 int reserved, QV_WIND_SETUP* setup);

// Frees the table and returns setup to the cleared state, both factors 1.0.
// setup must not be null.
NUMORA_API void WindowReset(QV_WIND_SETUP* setup);

// 1 when setup holds a table of this size for a window type other than none;
// the valid flag is not consulted.
NUMORA_API int WindowValid(int size, QV_WIND_SETUP* setup);

// Multiplies data[start..size-1] by the prepared table and returns 1, or
// returns 0 and leaves data alone when WindowValid(size, setup) fails.
// in place: data.
NUMORA_API int WindowApply(float* data, int size, QV_WIND_SETUP* setup, int start);
// precision: the table value is widened and the product taken in double.
NUMORA_API int WindowApply(double* data, int size, QV_WIND_SETUP* setup, int start);

// data[i] *= table[i] for i = start to size - 1, in float.
// in place: data. choice: a negative start counts as 0.
NUMORA_API void WindowApply(float* data, float* table, int size, int start);
// precision: the table value is widened and the product taken in double.
NUMORA_API void WindowApply(double* data, float* table, int size, int start);

// out[i] = in[i] below start, in[i] * table[i] from start on; with a null table
// out becomes a copy of in. A null out or in does nothing.
// in place: out may be in. choice: a negative start counts as 0.
NUMORA_API void WindowApply(float* out, float* in, float* table, int size, int start);
// precision: the table value is widened and the product taken in double.
NUMORA_API void WindowApply(double* out, double* in, float* table, int size, int start);

// Symmetric scaled windows (period size - 1). Each writes both factors first,
// also for a size below 1, then fills table[0..size-1]; returns 0.
// precision: the window value and its scale factor are multiplied in double and
// rounded to float once.
// choice: a one-sample table holds the window's peak, 1 times the scale factor,
// since the step would divide by zero.
// Hann: 0.5 - 0.5 cos x.
NUMORA_API int WindowHan(float* table, int size, QV_WINDOWSCALE scale, double* rmsFactor, double* ampFactor);
// Hamming: 0.54 - 0.46 cos x.
NUMORA_API int WindowHam(float* table, int size, QV_WINDOWSCALE scale, double* rmsFactor, double* ampFactor);
// Blackman: 0.42 - 0.5 cos x + 0.08 cos 2x.
NUMORA_API int WindowBlack(float* table, int size, QV_WINDOWSCALE scale, double* rmsFactor, double* ampFactor);
// Four-term Harris.
NUMORA_API int WindowHarris(float* table, int size, QV_WINDOWSCALE scale, double* rmsFactor,
                            double* ampFactor);
// Flat top.
NUMORA_API int WindowFlatTop(float* table, int size, QV_WINDOWSCALE scale, double* rmsFactor,
                             double* ampFactor);
// Four-term Harris without the factors.
NUMORA_API int WindowHarris(float* table, int size, QV_WINDOWSCALE scale);

// Plain Hann window, peak 1: sin(i * pi / (size - 1))^2, rounded to float.
// choice: a one-sample table is 1.
NUMORA_API void WindowHan(float* table, int size);

// Multiplies data in place by the plain Hann window, without a table.
// precision: the window value is rounded to float and the product taken in float.
// choice: a single sample is left unchanged (window value 1).
NUMORA_API void ApplyHann(float* data, int size);

// Correlation window: the first size/2 values sqrt(2) (as float), the next
// size/2 zero; an odd size leaves the last value alone. Returns 0.
NUMORA_API int WindowCorrel(float* table, int size);

// Exponential decay: flat leading ones, then exp(-k * decay / m) over the
// m = size - flat remaining samples. Returns 0.
// precision: -k * decay is an integer, converted to float and divided in float
// by m; the exponential is taken in double and rounded to float.
// choice: the product is formed in 64 bits, so a decay whose product leaves
// the 32-bit range keeps falling instead of overflowing.
// choice: a flat part longer than the table fills the whole table with ones;
// a negative flat counts as 0.
NUMORA_API int WindowExpDecay(float* table, int decay, int size, int flat);

// A prepared window that owns its table; same fields and behaviour as a
// QV_WIND_SETUP driven by the free functions.
// choice: copying makes a deep copy of the table (a copy that cannot get memory
// ends cleared, as after WindowReset); a move hands the table over and leaves
// the source as a default-constructed CWindow, so no table has two owners.
class NUMORA_API CWindow {
public:
    int valid;
    int size;
    QV_ACQFRAME_WINTYPE type;
    QV_WINDOWSCALE scale;
    double rmsFactor;
    double ampFactor;
    float* coeff;

    // All fields zero, the two factors included.
    CWindow();
    // Frees the table.
    ~CWindow();
    CWindow(const CWindow& other);
    CWindow(CWindow&& other) noexcept;
    CWindow& operator=(const CWindow& other);
    CWindow& operator=(CWindow&& other) noexcept;

    // WindowSetupCoeff on this object; reserved is ignored.
    void Setup(QV_ACQFRAME_WINTYPE type, QV_WINDOWSCALE scale, float decay, int size, int reserved);
    // WindowApply on this object from sample 0, without a result.
    void Apply(float* data, int size);
};

}  // namespace math
}  // namespace qv
