#include "numora/foundation/records.h"

#include <cstddef>
#include <type_traits>

// The records cross the boundary by pointer and are read as raw arrays, so
// their layout is part of the interface. These checks pin it at build time.

static_assert(sizeof(complex) == 2 * sizeof(float), "complex is two floats");
static_assert(sizeof(complex_d) == 2 * sizeof(double), "complex_d is two doubles");
static_assert(sizeof(complexd) == 2 * sizeof(double), "complexd is two doubles");
static_assert(offsetof(complex, im) == sizeof(float), "re precedes im");
static_assert(offsetof(complex_d, im) == sizeof(double), "re precedes im");
static_assert(std::is_trivial<complex>::value && std::is_trivial<complex_d>::value &&
                  std::is_trivial<complexd>::value,
              "complex records are plain records");

static_assert(sizeof(QV_FFT_SCALING) == 4 && sizeof(QV_ACQFRAME_WINTYPE) == 4 &&
                  sizeof(QV_WINDOWSCALE) == 4 && sizeof(QV_ACOUSTIC_WEIGHT) == 4 &&
                  sizeof(QV_ACQFRAME_AVGMODE) == 4,
              "shared enums are 32 bits");
static_assert(sizeof(qv::UnitAngle) == 4 && sizeof(qv::RoundMethod) == 4 &&
                  sizeof(qv::UnitSys) == 4 && sizeof(qv::ArrayFindRule) == 4 &&
                  sizeof(qv::ArrayScanType) == 4,
              "small enums are 32 bits");

static_assert(offsetof(QV_BASE_SAMPLING_SETUP, sampleRate) == 16, "sampleRate after the leading words");

static_assert(offsetof(QV_BASE_FRAME_SETUP, frameSize) == 0, "frame record layout");
static_assert(offsetof(QV_BASE_FRAME_SETUP, reserved) == 4, "frame record layout");
static_assert(offsetof(QV_BASE_FRAME_SETUP, overlap) == 8, "frame record layout");
static_assert(offsetof(QV_BASE_FRAME_SETUP, lines) == 12, "frame record layout");
static_assert(offsetof(QV_BASE_FRAME_SETUP, linesWithDC) == 16, "frame record layout");
static_assert(offsetof(QV_BASE_FRAME_SETUP, halfFrame) == 20, "frame record layout");
static_assert(offsetof(QV_BASE_FRAME_SETUP, deltaF) == 24, "frame record layout");
static_assert(offsetof(QV_BASE_FRAME_SETUP, deltaT) == 28, "frame record layout");
static_assert(offsetof(QV_BASE_FRAME_SETUP, lineSpacing) == 32, "frame record layout");
static_assert(offsetof(QV_BASE_FRAME_SETUP, nominalDeltaF) == 36, "frame record layout");
static_assert(offsetof(QV_BASE_FRAME_SETUP, fftScaling) == 40, "frame record layout");
static_assert(offsetof(QV_BASE_FRAME_SETUP, scaleFactor) == 44, "frame record layout");
static_assert(offsetof(QV_BASE_FRAME_SETUP, firstLine) == 48, "frame record layout");
static_assert(offsetof(QV_BASE_FRAME_SETUP, lastLine) == 52, "frame record layout");
static_assert(offsetof(QV_BASE_FRAME_SETUP, frameDuration) == 56, "frame record layout");
static_assert(sizeof(QV_BASE_FRAME_SETUP) == 64, "frame record size");

static_assert(sizeof(QV_BASE_RECORD_SETUP) == 4, "record set-up is one word");
static_assert(offsetof(QV_BASE_AVG_SETUP, avgCount) == 4 && sizeof(QV_BASE_AVG_SETUP) == 8,
              "averaging set-up layout");
