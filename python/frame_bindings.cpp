#include <climits>
#include <string>

#include "numora/foundation/records.h"
#include "numora/spectrum/auto_spectrum.h"
#include "numora/transforms/fft.h"
#include "numora/transforms/weighting.h"
#include "numora/transforms/window.h"
#include "python/bindings.h"
#include "recording/chain_detail.h"
#include "recording/spectrum.h"

// The core's per-frame routines, on float32 and float64 arrays in place:
// each dtype calls its own twin, so the bits are those of the C++ library.

namespace numora {
namespace python {

namespace {

const char* const kWeightNames[] = {"none", "A", "B", "C", "inverse-A", "inverse-B", "inverse-C"};

QV_ACOUSTIC_WEIGHT ParseWeight(const std::string& name)
{
    for (int i = 0; i < 7; ++i)
        if (name == kWeightNames[i])
            return static_cast<QV_ACOUSTIC_WEIGHT>(i);
    throw py::value_error("unknown weighting '" + name +
                          "': choose one of none, A, B, C, inverse-A, inverse-B, inverse-C");
}

QV_FFT_SCALING ParseScaling(const std::string& name)
{
    if (name == "rms")
        return QV_FFT_SCALE_RMS;
    if (name == "peak")
        return QV_FFT_SCALE_PEAK;
    throw py::value_error("unknown line scaling '" + name + "': choose rms or peak");
}

QV_WINDOWSCALE ParseWindowScale(const std::string& name)
{
    if (name == "power")
        return QV_WINDOWSCALE_POWER;
    if (name == "amplitude")
        return QV_WINDOWSCALE_AMPLITUDE;
    throw py::value_error("unknown window scale '" + name + "': choose power or amplitude");
}

[[noreturn]] void WrongDtype(const char* name, const py::array& array)
{
    throw py::type_error(std::string(name) + " must hold float32 or float64 values, not " +
                         std::string(py::str(array.dtype())));
}

// A packed spectrum of N reals holds N / 2 complex lines.
int SpectrumLines(const py::array& spectrum, const char* name)
{
    if (spectrum.size() / 2 > INT_MAX)
        throw py::value_error(std::string(name) + " holds more lines than an int counts");
    if (spectrum.size() % 2 != 0)
        throw py::value_error(std::string(name) + " holds " + std::to_string(spectrum.size()) +
                              " values; a packed spectrum holds an even number");
    return static_cast<int>(spectrum.size() / 2);
}

void Dft(py::handle object, bool inverse)
{
    py::array data = WritableArray(object, "data");
    const int direction = inverse ? -1 : 1;
    const py::ssize_t n = data.size();
    int status;
    if (IsFloat32(data)) {
        status =
            n > 32768 ? 11 : qv::math::DFT(static_cast<float*>(data.mutable_data()), static_cast<int>(n), direction);
        if (status != 0)
            throw py::value_error("a frame of " + std::to_string(n) +
                                  " float32 samples: the transform takes a power of two from 2 to 32768");
    } else if (IsFloat64(data)) {
        status = n > 262144
                     ? 11
                     : qv::math::DFT_D(static_cast<double*>(data.mutable_data()), static_cast<int>(n), direction);
        if (status != 0)
            throw py::value_error("a frame of " + std::to_string(n) +
                                  " float64 samples: the transform takes a power of two from 2 to 262144");
    } else {
        WrongDtype("data", data);
    }
}

void CorrectLines(py::handle object, const std::string& scaling)
{
    py::array spectrum = WritableArray(object, "spectrum");
    const QV_FFT_SCALING scale = ParseScaling(scaling);
    const int lines = SpectrumLines(spectrum, "spectrum");
    if (IsFloat32(spectrum))
        qv::math::CorrDFT(static_cast<complex*>(spectrum.mutable_data()), lines, scale);
    else if (IsFloat64(spectrum))
        qv::math::CorrDFT_D(static_cast<complex_d*>(spectrum.mutable_data()), lines, scale);
    else
        WrongDtype("spectrum", spectrum);
}

py::array_t<float> WindowTable(const std::string& kind, int size, const std::string& scale)
{
    const QV_ACQFRAME_WINTYPE type = rec::detail::LibraryWindow(rec::ParseWindow(kind));
    const QV_WINDOWSCALE windowScale = ParseWindowScale(scale);
    if (size < 1)
        throw py::value_error("a window of " + std::to_string(size) + " samples: the size must be at least 1");
    rec::detail::WindowRecord record;
    qv::math::WindowSetupCoeff(type, windowScale, 0.0f, size, 0, &record.setup);
    py::array_t<float> table(size);
    float* out = table.mutable_data();
    for (int i = 0; i < size; ++i)
        out[i] = record.setup.coeff != nullptr ? record.setup.coeff[i] : 1.0f;
    return table;
}

void ApplyWindow(py::handle frameObject, py::handle tableObject)
{
    py::array frame = WritableArray(frameObject, "frame");
    py::array table = CheckedArray(tableObject, "table");
    if (!IsFloat32(table))
        throw py::type_error("table must hold float32 values, as numora.window makes it");
    if (table.size() != frame.size())
        throw py::value_error("the table holds " + std::to_string(table.size()) + " values and the frame " +
                              std::to_string(frame.size()));
    float* coeff = static_cast<float*>(const_cast<void*>(table.data()));
    const int n = static_cast<int>(frame.size());
    if (IsFloat32(frame))
        qv::math::WindowApply(static_cast<float*>(frame.mutable_data()), coeff, n, 0);
    else if (IsFloat64(frame))
        qv::math::WindowApply(static_cast<double*>(frame.mutable_data()), coeff, n, 0);
    else
        WrongDtype("frame", frame);
}

void Weight(py::handle object, double df, const std::string& curve)
{
    py::array spectrum = WritableArray(object, "spectrum");
    const QV_ACOUSTIC_WEIGHT weight = ParseWeight(curve);
    const int lines = SpectrumLines(spectrum, "spectrum");
    if (!(df > 0.0))
        throw py::value_error("the line spacing df must be above 0");
    if (IsFloat32(spectrum))
        qv::math::Weight_FFT(weight, static_cast<complex*>(spectrum.mutable_data()), lines, static_cast<float>(df));
    else if (IsFloat64(spectrum))
        qv::math::Weight_FFT(weight, static_cast<complex_d*>(spectrum.mutable_data()), lines, df);
    else
        WrongDtype("spectrum", spectrum);
}

double Average(py::handle spectrumObject, py::handle apsObject, int frameNumber, const std::string& mode, int expFrames,
               double held)
{
    py::array spectrum = CheckedArray(spectrumObject, "spectrum");
    py::array aps = WritableArray(apsObject, "aps");
    const QV_ACQFRAME_AVGMODE avgMode = rec::detail::LibraryMode(rec::ParseAveraging(mode));
    if (aps.size() > INT_MAX)
        throw py::value_error("aps holds more lines than an int counts");
    const int lines = static_cast<int>(aps.size());
    if (spectrum.size() < 2 * aps.size())
        throw py::value_error("spectrum holds " + std::to_string(spectrum.size()) + " values, fewer than the " +
                              std::to_string(2 * aps.size()) + " of " + std::to_string(lines) + " lines");
    if (avgMode == QV_AVG_EXPONENTIAL && expFrames < 1)
        throw py::value_error("an exponential average needs at least 1 frame, not " + std::to_string(expFrames));
    void* lineData = const_cast<void*>(spectrum.data());
    if (IsFloat32(spectrum) && IsFloat32(aps)) {
        float measure = static_cast<float>(held);
        qv::math::FFTtoAPS(static_cast<complex*>(lineData), static_cast<float*>(aps.mutable_data()), lines, avgMode,
                           frameNumber, expFrames, &measure);
        return static_cast<double>(measure);
    }
    if (IsFloat64(spectrum) && IsFloat32(aps)) {
        float measure = static_cast<float>(held);
        qv::math::FFTtoAPS(static_cast<complex_d*>(lineData), static_cast<float*>(aps.mutable_data()), lines, avgMode,
                           frameNumber, expFrames, &measure);
        return static_cast<double>(measure);
    }
    if (IsFloat64(spectrum) && IsFloat64(aps)) {
        double measure = held;
        qv::math::FFTtoAPS(static_cast<complex_d*>(lineData), static_cast<double*>(aps.mutable_data()), lines, avgMode,
                           frameNumber, expFrames, &measure);
        return measure;
    }
    throw py::type_error(
        "spectrum and aps must be float32 and float32, float64 and float32, or float64 and float64, not " +
        std::string(py::str(spectrum.dtype())) + " and " + std::string(py::str(aps.dtype())));
}

}  // namespace

void BindFrameRoutines(py::module_& m)
{
    using namespace pybind11::literals;
    m.def("dft", &Dft, "data"_a, "inverse"_a = false,
          "Transforms a real frame in place (float32 or float64, a power of two long).\n\n"
          "Forward: line k = (1/N) sum x[n] exp(-2j pi k n / N), packed as data[0] = DC,\n"
          "data[1] = Nyquist, data[2k], data[2k+1] = real and imaginary part of line k.\n"
          "Relation to numpy: data[2k] + 1j data[2k+1] = numpy.fft.rfft(x)[k] / N.\n"
          "inverse=True undoes it up to the line scaling: x[n] = sqrt(2) data[0] + (-1)^n data[1]\n"
          "+ 2 sum_k Re(line_k exp(2j pi k n / N)). float32 runs every step in float.");
    m.def("corr_dft", &CorrectLines, "spectrum"_a, "scaling"_a = "rms",
          "Scales the lines of a packed spectrum in place to RMS or peak amplitude.\n\n"
          "Clears the Nyquist slot (data[1]) and multiplies lines 1 to N/2 - 1 by sqrt(2)\n"
          "(rms) or 2 (peak): a sine of amplitude A then reads A / sqrt(2) or A.");
    m.def("window", &WindowTable, "kind"_a, "size"_a, "scale"_a = "power",
          "The window table (float32) of kind none, hann, hamming, blackman, harris or flattop.\n\n"
          "scale='power' normalises the table to unit RMS (broadband levels kept);\n"
          "'amplitude' to unit mean (a sine's amplitude kept), each by the window's\n"
          "continuous factor. The tables are symmetric: hann is numpy.hanning(size) times\n"
          "sqrt(8/3) under power scale.");
    m.def("apply_window", &ApplyWindow, "frame"_a, "table"_a,
          "Multiplies a frame (float32 or float64) by a float32 table of the same length, in place.");
    m.def("weight", &Weight, "spectrum"_a, "df"_a, "curve"_a = "A",
          "Applies an acoustic weighting curve to the complex lines of a packed spectrum, in place.\n\n"
          "Line i lies at i * df Hz; curve is none, A, B, C or inverse-A, -B, -C. Line 0 is\n"
          "cleared. float32 spectra round the line spacing to float.");
    m.def("average", &Average, "spectrum"_a, "aps"_a, "frame_number"_a, "mode"_a = "linear", "exp_frames"_a = 8,
          "held"_a = 0.0,
          "Averages the line powers of one packed spectrum into aps, in place; returns the held measure.\n\n"
          "aps has one value per line; frame_number 1 starts a new average. mode: linear,\n"
          "exponential, peak-hold, max-line, max-power, max-band3. The three holds of a\n"
          "whole frame keep the frame scoring highest over lines 0 to len(aps) - 2 (largest\n"
          "line, total power, largest three-line band); pass the returned measure back as\n"
          "held on the next call. dtypes (spectrum, aps): float32/float32,\n"
          "float64/float32 or float64/float64.");
}

}  // namespace python
}  // namespace numora
