// Fuzz target of the windows: prepared records, CWindow, the exponential
// decay, the plain Hann window and the window products.
//
// Input: type, scale, size, decay (raw float bits), integer decay, flat part
// and start, then frame samples.
//
// Checks: a prepared record holds a finite table of its size (none for
// QV_WIN_NONE) and is left alone by a second set-up of the same type, size
// and scale; the scaled windows are symmetric, amplitude-scaled tables have
// mean 1 and power-scaled ones RMS 1 (to the published factors' rounding);
// the correlation window is sqrt(2) then 0; an exponential decay keeps its
// flat ones and then only falls (a negative decay only rises), never NaN;
// WindowApply multiplies from start where the record is valid for the size
// and touches nothing otherwise; ApplyHann equals the product with the plain
// Hann table; CWindow copies and moves keep one owner per table.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "numora/numora.h"

using namespace qv::math;
using fuzz::Bytes;
using fuzz::Same;

namespace {

// Table values: the exponential decay keeps its flat ones and then moves
// only one way, down for a positive decay and up for a negative one.
void CheckDecay(const float* t, int size, int flat, int decay)
{
    const int lead = std::min(std::max(flat, 0), std::max(size, 0));
    for (int i = 0; i < size; ++i) {
        CHECK(!std::isnan(t[i]));
        if (i < lead)
            CHECK(t[i] == 1.0f);
        else if (i > lead)
            CHECK(decay >= 0 ? t[i] <= t[i - 1] && t[i] >= 0.0f : t[i] >= t[i - 1]);
    }
    if (lead < size)
        CHECK(t[lead] == 1.0f);
}

void CheckScaled(const QV_WIND_SETUP& w)
{
    const bool amplitude = w.scale != QV_WINDOWSCALE_POWER;
    CHECK(amplitude ? w.ampFactor == 1.0 : w.rmsFactor == 1.0);
    double sum = 0.0;
    double squares = 0.0;
    for (int i = 0; i < w.size; ++i) {
        const double v = static_cast<double>(w.coeff[i]);
        const double mirror = static_cast<double>(w.coeff[w.size - 1 - i]);
        CHECK(std::isfinite(v) && std::fabs(v - mirror) <= 1e-6 * 5.0);
        sum += v;
        squares += v * v;
    }
    // The published factors are rounded, and the symmetric table carries
    // one sample more than a period: 1 % covers both from 512 samples on.
    if (w.size >= 512) {
        const double level = amplitude ? sum / w.size : std::sqrt(squares / w.size);
        CHECK(std::fabs(level - 1.0) < 0.01);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Bytes in(data, size);
    const QV_ACQFRAME_WINTYPE type = static_cast<QV_ACQFRAME_WINTYPE>(in.Take<int8_t>() % 9);
    const QV_WINDOWSCALE scale = static_cast<QV_WINDOWSCALE>(in.Take<int8_t>() % 3);
    const int n = in.Take<int16_t>() % 4097;
    const float decay = in.Take<float>();
    const int intDecay = in.Take<int32_t>();
    const int flat = in.Take<int32_t>();
    const int start = in.Take<int16_t>();
    const size_t count = static_cast<size_t>(std::max(n, 0));
    std::vector<float> frame(count);
    for (float& x : frame)
        x = static_cast<float>(in.Take<int16_t>()) / 256.0f;

    // A prepared record, and a second set-up that must leave it alone.
    QV_WIND_SETUP w{};
    WindowSetupCoeff(type, scale, decay, n, 0, &w);
    if (n < 0) {
        CHECK(w.coeff == nullptr && WindowValid(n, &w) == 0 && (type == QV_WIN_NONE || w.valid == 0));
    } else {
        CHECK(w.valid == 1 && w.size == n && w.type == type && w.scale == scale);
        CHECK((w.coeff == nullptr) == (type == QV_WIN_NONE));
        CHECK(WindowValid(n, &w) == (type != QV_WIN_NONE ? 1 : 0));
    }
    const float* table = w.coeff;
    const std::vector<float> kept(table, table == nullptr ? table : table + count);
    WindowSetupCoeff(type, scale, -decay, n, 0, &w);
    CHECK(w.coeff == table && Same(std::vector<float>(table, table == nullptr ? table : table + count), kept));
    if (table != nullptr) {
        switch (type) {
        case QV_WIN_HANN:
        case QV_WIN_HAMMING:
        case QV_WIN_BLACKMAN:
        case QV_WIN_HARRIS:
        case QV_WIN_FLATTOP: CheckScaled(w); break;
        case QV_WIN_CORREL:
            for (int i = 0; i < n; ++i)
                CHECK(table[i] == (i < n / 2 ? static_cast<float>(std::sqrt(2.0)) : 0.0f));
            break;
        case QV_WIN_EXPDECAY: {
            CHECK(w.rmsFactor == 1.0 && w.ampFactor == 1.0);
            const double rounded = static_cast<double>(decay) + 0.5;
            CheckDecay(table, n, 0, std::isnan(rounded) ? 0 : rounded < 0.0 ? -1 : 1);
            break;
        }
        default: break;
        }
    }

    // Products: from start on where the record fits the size, else nothing.
    std::vector<float> product = frame;
    if (table != nullptr)
        for (int i = std::max(start, 0); i < n; ++i)
            product[static_cast<size_t>(i)] = frame[static_cast<size_t>(i)] * table[i];
    std::vector<float> applied = frame;
    CHECK(WindowApply(applied.data(), n, &w, start) == (table != nullptr ? 1 : 0));
    CHECK(Same(applied, product));
    applied = frame;
    CHECK(WindowApply(applied.data(), n - 1, &w, start) == 0 && Same(applied, frame));
    std::vector<double> wide(count);
    for (size_t i = 0; i < count; ++i)
        wide[i] = static_cast<double>(frame[i]);
    WindowApply(wide.data(), n, &w, start);
    for (size_t i = 0; i < count; ++i) {
        const double expected = table != nullptr && static_cast<int>(i) >= start
                                    ? static_cast<double>(frame[i]) * static_cast<double>(table[i])
                                    : static_cast<double>(frame[i]);
        CHECK(wide[i] == expected || (std::isnan(wide[i]) && std::isnan(expected)));
    }

    // CWindow: a copy owns an equal table of its own; a move hands it over.
    {
        CWindow owner;
        owner.Setup(type, scale, decay, n, 0);
        CWindow copy(owner);
        CHECK(copy.size == owner.size && (owner.coeff == nullptr || copy.coeff != owner.coeff));
        CHECK(owner.coeff == nullptr || std::memcmp(copy.coeff, owner.coeff, count * sizeof(float)) == 0);
        const float* handed = copy.coeff;
        CWindow moved(std::move(copy));
        CHECK(moved.coeff == handed && copy.coeff == nullptr && copy.valid == 0);
        std::vector<float> viaClass = frame;
        moved.Apply(viaClass.data(), n);
        applied = frame;
        WindowApply(applied.data(), n, &w, 0);
        CHECK(Same(viaClass, applied));
    }
    WindowReset(&w);
    CHECK(w.coeff == nullptr && w.valid == 0 && w.rmsFactor == 1.0 && w.ampFactor == 1.0);

    // The exponential decay on its own, any decay and flat part.
    std::vector<float> decayTable(count, -1.0f);
    CHECK(WindowExpDecay(decayTable.data(), intDecay, n, flat) == 0);
    CheckDecay(decayTable.data(), n, flat, intDecay);

    // ApplyHann is the product with the plain Hann table.
    std::vector<float> hann(count, -1.0f);
    WindowHan(hann.data(), n);
    applied = frame;
    ApplyHann(applied.data(), n);
    for (size_t i = 0; i < count; ++i) {
        CHECK(hann[i] >= 0.0f && hann[i] <= 1.0f);
        CHECK(applied[i] == frame[i] * hann[i]);
    }
    return 0;
}
