#pragma once

#include <cstdint>

// Shared records and enums of the library: the three complex records, the
// caller's set-up records and the small enums every subsystem passes around.
// Every enum is 32 bits wide; record fields stand in their fixed order.

// Element of float spectra; an array of it may be read as float[2n], re first.
struct complex {
    float re;
    float im;
};

// Element of double spectra; an array of it may be read as double[2n].
struct complex_d {
    double re;
    double im;
};

// Value type for complex arithmetic; the only complex type with operators.
struct complexd {
    double re;
    double im;
};

// Amplitude convention of a spectrum's lines. Any non-zero value counts as peak.
enum QV_FFT_SCALING : int32_t {
    QV_FFT_SCALE_RMS = 0,
    QV_FFT_SCALE_PEAK = 1,
};

// Window type of a prepared window table.
enum QV_ACQFRAME_WINTYPE : int32_t {
    QV_WIN_NONE = 0,
    QV_WIN_HANN = 1,
    QV_WIN_HARRIS = 2,
    QV_WIN_FLATTOP = 3,
    QV_WIN_EXPDECAY = 4,
    QV_WIN_CORREL = 5,
    QV_WIN_BLACKMAN = 6,
    QV_WIN_HAMMING = 7,
};

// Normalisation of a window table. Any non-zero value counts as amplitude.
enum QV_WINDOWSCALE : int32_t {
    QV_WINDOWSCALE_POWER = 0,
    QV_WINDOWSCALE_AMPLITUDE = 1,
};

// Acoustic weighting curve applied to a spectrum.
enum QV_ACOUSTIC_WEIGHT : int32_t {
    QV_WEIGHT_NONE = 0,
    QV_WEIGHT_A = 1,
    QV_WEIGHT_B = 2,
    QV_WEIGHT_C = 3,
    QV_WEIGHT_INV_A = 4,
    QV_WEIGHT_INV_B = 5,
    QV_WEIGHT_INV_C = 6,
};

// Averaging mode of auto and cross spectra. 0, 1 and 7 behave identically.
enum QV_ACQFRAME_AVGMODE : int32_t {
    QV_AVG_LINEAR0 = 0,
    QV_AVG_LINEAR = 1,
    QV_AVG_EXPONENTIAL = 2,
    QV_AVG_PEAK_HOLD = 3,
    QV_AVG_HOLD_MAX_LINE = 4,
    QV_AVG_HOLD_MAX_POWER = 5,
    QV_AVG_HOLD_MAX_BAND3 = 6,
    QV_AVG_LINEAR7 = 7,
};

// Sampling set-up of the caller.
// choice: the application's leading fields are kept as four opaque 32-bit
// words, so that sampleRate sits at offset 16 and nothing here reads them.
struct QV_BASE_SAMPLING_SETUP {
    uint32_t application[4];
    float sampleRate;
};

// Frame set-up; UpdateFrameInfo fills it from a sampling set-up.
struct QV_BASE_FRAME_SETUP {
    uint32_t frameSize;
    uint32_t reserved;
    float overlap;
    uint32_t lines;
    uint32_t linesWithDC;
    uint32_t halfFrame;
    float deltaF;
    float deltaT;
    float lineSpacing;
    float nominalDeltaF;
    QV_FFT_SCALING fftScaling;
    float scaleFactor;
    uint32_t firstLine;
    uint32_t lastLine;
    double frameDuration;
};

// Record set-up: records in the test; 0xFFFFFFFF means no computed duration.
struct QV_BASE_RECORD_SETUP {
    uint32_t recordCount;
};

// Averaging set-up: mode and frames per record.
struct QV_BASE_AVG_SETUP {
    QV_ACQFRAME_AVGMODE avgMode;
    uint32_t avgCount;
};

namespace qv {

// Unit of a phase angle.
enum UnitAngle : int32_t {
    UnitAngleRadians = 0,
    UnitAngleDegrees = 1,
};

// Rounding method of Round and the conversions built on it.
enum RoundMethod : int32_t {
    RoundMethodNearest = 0,
    RoundMethodFloor = 1,
    RoundMethodCeil = 2,
    RoundMethodFloorEps = 3,
};

// Unit set of an integration.
enum UnitSys : int32_t {
    UnitSysSI = 0,
    UnitSysEnglish = 1,
    UnitSysMetric = 2,
};

// Candidate rule of ArrayFindNearest.
enum ArrayFindRule : int32_t {
    ArrayFindClosest = 0,
    ArrayFindAtOrBelow = 1,
    ArrayFindAtOrAbove = 2,
};

// Stop condition of ArrayScan.
enum ArrayScanType : int32_t {
    ArrayScanNaN = 0,
    ArrayScanBelow = 1,
    ArrayScanAbove = 2,
    ArrayScanNotEqual = 3,
    ArrayScanEqual = 4,
};

}  // namespace qv
