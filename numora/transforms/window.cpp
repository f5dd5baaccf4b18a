#include "numora/transforms/window.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

#include "numora/foundation/array.h"
#include "numora/foundation/cut_detail.h"

namespace qv {
namespace math {

namespace {

const double kPi = 3.14159265358979323846;

// Table scale of a window under each normalisation, and the factor that
// converts to the other one. The values are the library's published rounded
// constants, not recomputed from the window coefficients.
struct ScaleFactors {
    double amplitudeScale;   // table scale for unit mean
    double powerScale;       // table scale for unit RMS
    double rmsUnderAmplitude;
    double ampUnderPower;
};

const ScaleFactors kHannFactors = {2.0, 1.63299, 0.816495, 1.224747};
const ScaleFactors kHammingFactors = {1.8519, 1.5863, 0.8566, 1.1674};
const ScaleFactors kBlackmanFactors = {2.381, 1.8119, 0.761, 1.3141};
const ScaleFactors kHarrisFactors = {2.7875, 1.9691, 0.7064, 1.4156};
const ScaleFactors kFlatTopFactors = {4.175365, 2.255, 0.5401, 1.8515};

// Writes both factors, then fills the table with shape(i, step) times the
// table scale, each rounded to float once. The step spans size - 1 intervals,
// so the window is symmetric.
template <class Shape>
int FillScaled(float* table, int size, QV_WINDOWSCALE scale, double* rmsFactor, double* ampFactor,
               const ScaleFactors& f, Shape shape)
{
    const bool amplitude = scale != QV_WINDOWSCALE_POWER;
    *rmsFactor = amplitude ? f.rmsUnderAmplitude : 1.0;
    *ampFactor = amplitude ? 1.0 : f.ampUnderPower;
    const double factor = amplitude ? f.amplitudeScale : f.powerScale;
    if (size < 1)
        return 0;
    if (size == 1) {
        table[0] = static_cast<float>(factor);
        return 0;
    }
    const double step = 8.0 * std::atan(1.0) / static_cast<double>(size - 1);
    for (int i = 0; i < size; ++i)
        table[i] = static_cast<float>(shape(static_cast<double>(i), step) * factor);
    return 0;
}

// The plain Hann value sin(i * pi / (size - 1))^2, with i * pi taken first.
double PlainHann(int i, double span)
{
    const double s = std::sin(static_cast<double>(i) * kPi / span);
    return s * s;
}

// A table of size floats from the plain heap, zero-filled, or null when
// there is no memory for it (or size is negative).
float* NewTable(int size)
{
    if (size < 0)
        return nullptr;
    try {
        return new float[static_cast<std::size_t>(size)]();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

// The record operations, shared by QV_WIND_SETUP and CWindow, whose fields
// have the same names and meaning.
template <class Record>
void ResetRecord(Record* r)
{
    delete[] r->coeff;
    r->coeff = nullptr;
    r->valid = 0;
    r->size = 0;
    r->type = QV_WIN_NONE;
    r->scale = QV_WINDOWSCALE_POWER;
    r->rmsFactor = 1.0;
    r->ampFactor = 1.0;
}

template <class Record>
void SetupRecord(QV_ACQFRAME_WINTYPE type, QV_WINDOWSCALE scale, float decay, int size, Record* r)
{
    if (r->valid != 0 && r->type == type && r->size == size && r->scale == scale)
        return;
    ResetRecord(r);
    if (type != QV_WIN_NONE) {
        r->coeff = NewTable(size);
        if (r->coeff == nullptr)
            return;
        switch (type) {
        case QV_WIN_HANN: WindowHan(r->coeff, size, scale, &r->rmsFactor, &r->ampFactor); break;
        case QV_WIN_HAMMING: WindowHam(r->coeff, size, scale, &r->rmsFactor, &r->ampFactor); break;
        case QV_WIN_BLACKMAN: WindowBlack(r->coeff, size, scale, &r->rmsFactor, &r->ampFactor); break;
        case QV_WIN_HARRIS: WindowHarris(r->coeff, size, scale, &r->rmsFactor, &r->ampFactor); break;
        case QV_WIN_FLATTOP: WindowFlatTop(r->coeff, size, scale, &r->rmsFactor, &r->ampFactor); break;
        case QV_WIN_CORREL: WindowCorrel(r->coeff, size); break;
        case QV_WIN_EXPDECAY:
            WindowExpDecay(r->coeff, detail::SaturateToInt(static_cast<double>(decay) + 0.5), size, 0);
            break;
        default: break;
        }
    }
    r->type = type;
    r->size = size;
    r->scale = scale;
    r->valid = 1;
}

template <class Record>
int ValidRecord(int size, const Record* r)
{
    return (r != nullptr && r->coeff != nullptr && r->size == size && r->type != QV_WIN_NONE) ? 1 : 0;
}

// Copies the scalar fields of from and installs table as to's table.
void TakeFields(CWindow* to, const CWindow& from, float* table)
{
    to->valid = from.valid;
    to->size = from.size;
    to->type = from.type;
    to->scale = from.scale;
    to->rmsFactor = from.rmsFactor;
    to->ampFactor = from.ampFactor;
    to->coeff = table;
}

// An index held within 0 to size: where a table starts to multiply, or where
// a flat part ends.
int ClampIndex(int index, int size)
{
    return index < 0 ? 0 : (index < size ? index : size);
}

// out[i] = in[i] * table[i] for i = first to size - 1, the table value widened
// to the frame's type. out may be in.
template <class Real>
void Multiply(Real* out, const Real* in, const float* table, int first, int size)
{
    for (int i = first; i < size; ++i)
        out[i] = in[i] * static_cast<Real>(table[i]);
}

// The copying form: in passes unchanged below start, or entirely when there
// is no table.
template <class Real>
void CopyAndMultiply(Real* out, const Real* in, const float* table, int size, int start)
{
    if (out == nullptr || in == nullptr)
        return;
    const int first = table == nullptr ? size : ClampIndex(start, size);
    for (int i = 0; i < first; ++i)
        out[i] = in[i];
    Multiply(out, in, table, first, size);
}

// Applies a prepared record to a frame of either element type.
template <class Real, class Record>
int ApplyRecord(Real* data, int size, Record* r, int start)
{
    if (ValidRecord(size, r) == 0)
        return 0;
    WindowApply(data, r->coeff, size, start);
    return 1;
}

}  // namespace

void WindowSetupCoeff(QV_ACQFRAME_WINTYPE type, QV_WINDOWSCALE scale, float decay, int size, int /*reserved*/,
                      QV_WIND_SETUP* setup)
{
    if (setup != nullptr)
        SetupRecord(type, scale, decay, size, setup);
}

void WindowReset(QV_WIND_SETUP* setup)
{
    ResetRecord(setup);
}

int WindowValid(int size, QV_WIND_SETUP* setup)
{
    return ValidRecord(size, setup);
}

int WindowApply(float* data, int size, QV_WIND_SETUP* setup, int start)
{
    return ApplyRecord(data, size, setup, start);
}

int WindowApply(double* data, int size, QV_WIND_SETUP* setup, int start)
{
    return ApplyRecord(data, size, setup, start);
}

void WindowApply(float* data, float* table, int size, int start)
{
    Multiply(data, data, table, ClampIndex(start, size), size);
}

void WindowApply(double* data, float* table, int size, int start)
{
    Multiply(data, data, table, ClampIndex(start, size), size);
}

void WindowApply(float* out, float* in, float* table, int size, int start)
{
    CopyAndMultiply(out, in, table, size, start);
}

void WindowApply(double* out, double* in, float* table, int size, int start)
{
    CopyAndMultiply(out, in, table, size, start);
}

int WindowHan(float* table, int size, QV_WINDOWSCALE scale, double* rmsFactor, double* ampFactor)
{
    return FillScaled(table, size, scale, rmsFactor, ampFactor, kHannFactors, [](double i, double step) {
        return 0.5 - std::cos(i * step) * 0.5;
    });
}

int WindowHam(float* table, int size, QV_WINDOWSCALE scale, double* rmsFactor, double* ampFactor)
{
    return FillScaled(table, size, scale, rmsFactor, ampFactor, kHammingFactors, [](double i, double step) {
        return 0.54 - std::cos(i * step) * 0.46;
    });
}

int WindowBlack(float* table, int size, QV_WINDOWSCALE scale, double* rmsFactor, double* ampFactor)
{
    return FillScaled(table, size, scale, rmsFactor, ampFactor, kBlackmanFactors, [](double i, double step) {
        return (0.42 - std::cos(i * step) * 0.5) + std::cos(i * (step + step)) * 0.08;
    });
}

int WindowHarris(float* table, int size, QV_WINDOWSCALE scale, double* rmsFactor, double* ampFactor)
{
    return FillScaled(table, size, scale, rmsFactor, ampFactor, kHarrisFactors, [](double i, double step) {
        const double x = i * step;
        return (std::cos(x + x) * 0.14128 + (0.35875 - std::cos(x) * 0.48829)) - std::cos(x * 3.0) * 0.01168;
    });
}

int WindowFlatTop(float* table, int size, QV_WINDOWSCALE scale, double* rmsFactor, double* ampFactor)
{
    return FillScaled(table, size, scale, rmsFactor, ampFactor, kFlatTopFactors, [](double i, double step) {
        const double x = i * step;
        return (std::cos(x + x) * 0.2585 + (0.2395 - std::cos(x) * 0.4581)) - std::cos(x * 3.0) * 0.0439;
    });
}

int WindowHarris(float* table, int size, QV_WINDOWSCALE scale)
{
    double rmsFactor = 1.0;
    double ampFactor = 1.0;
    return WindowHarris(table, size, scale, &rmsFactor, &ampFactor);
}

void WindowHan(float* table, int size)
{
    if (size < 1)
        return;
    if (size == 1) {
        table[0] = 1.0f;
        return;
    }
    const double span = static_cast<double>(size - 1);
    for (int i = 0; i < size; ++i)
        table[i] = static_cast<float>(PlainHann(i, span));
}

void ApplyHann(float* data, int size)
{
    if (size < 2)
        return;
    const double span = static_cast<double>(size - 1);
    for (int i = 0; i < size; ++i)
        data[i] = data[i] * static_cast<float>(PlainHann(i, span));
}

int WindowCorrel(float* table, int size)
{
    const int half = size / 2;
    ArraySet(table, static_cast<float>(std::sqrt(2.0)), half);
    ArraySet(table + half, 0.0f, half);
    return 0;
}

int WindowExpDecay(float* table, int decay, int size, int flat)
{
    const int lead = ClampIndex(flat, size);
    for (int i = 0; i < lead; ++i)
        table[i] = 1.0f;
    const int m = size - lead;
    for (int k = 0; k < m; ++k) {
        // -k * decay in 64 bits: the same integer wherever it fits in 32 bits,
        // and no overflow where it does not.
        const float q = static_cast<float>(-static_cast<int64_t>(k) * decay) / static_cast<float>(m);
        table[lead + k] = static_cast<float>(std::exp(static_cast<double>(q)));
    }
    return 0;
}

CWindow::CWindow()
    : valid(0), size(0), type(QV_WIN_NONE), scale(QV_WINDOWSCALE_POWER), rmsFactor(0.0), ampFactor(0.0),
      coeff(nullptr)
{
}

CWindow::~CWindow()
{
    delete[] coeff;
}

CWindow::CWindow(const CWindow& other) : CWindow()
{
    *this = other;
}

CWindow::CWindow(CWindow&& other) noexcept : CWindow()
{
    *this = std::move(other);
}

CWindow& CWindow::operator=(const CWindow& other)
{
    if (this == &other)
        return *this;
    float* table = nullptr;
    if (other.coeff != nullptr) {
        table = NewTable(other.size);
        if (table == nullptr) {
            ResetRecord(this);
            return *this;
        }
        for (int i = 0; i < other.size; ++i)
            table[i] = other.coeff[i];
    }
    delete[] coeff;
    TakeFields(this, other, table);
    return *this;
}

CWindow& CWindow::operator=(CWindow&& other) noexcept
{
    if (this == &other)
        return *this;
    delete[] coeff;
    TakeFields(this, other, other.coeff);
    TakeFields(&other, CWindow(), nullptr);
    return *this;
}

void CWindow::Setup(QV_ACQFRAME_WINTYPE type_, QV_WINDOWSCALE scale_, float decay, int size_, int /*reserved*/)
{
    SetupRecord(type_, scale_, decay, size_, this);
}

void CWindow::Apply(float* data, int size_)
{
    ApplyRecord(data, size_, this, 0);
}

}  // namespace math
}  // namespace qv
