// Time filters and integration, each reading beside the value it should have.
//
// Filters. A low-pass (order 4, corner 2 kHz) and a band-pass (order 4, so
// eight poles, 2 to 4 kHz) of each characteristic at 51.2 kHz, designed once
// as CTimeFilter (one direct form) and once as CSectionFilter (second-order
// sections). Each table gives the gain at a few frequencies: the analytic
// value first, computed here from the analog prototype's own poles through the
// bilinear transform's frequency warping; then each filter's gain from its
// coefficients and from a unit sine run through Apply. The low-pass has gain 1
// at DC, so the even-order Chebyshev ripple (1 dB) rises above 0 dB; the
// band-pass has gain 1 at the arithmetic centre of its band. Bessel poles are
// scaled to -3 dB at the corner.
//
// Integration. A displacement of 1 mm cos(2 pi f t), f = 51200 / 2559 Hz
// (a period of 2559 samples, about 20 Hz), is sampled as its acceleration,
// -(2 pi f)^2 1 mm cos(2 pi f t), in m/s^2 and integrated in SI units (m/s,
// then mm): first block by block with intg_continuous alone, then with
// ScanUnitLimits and its drift filter. A cosine of displacement means the
// velocity starts at 0, as an integrator from rest does; the acceleration
// still jumps from 0 to its crest at the first sample, which the rule reads as
// a velocity offset of a(0) T / 2, and the displacement turns that offset into
// a ramp. The drift filter takes off a moving mean: a window of 5118 samples
// summed and divided by w = 5119, a tenth of a second less one sample. The
// window holds two whole periods of the tone, whose mean is 0, so the tone
// passes unchanged; of a constant c it leaves c / w, which the limits show.
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <vector>

#include "numora/numora.h"

namespace {

using qv::math::CSectionFilter;
using qv::math::CTimeFilter;
using Cx = std::complex<double>;

const double kPi = 3.14159265358979323846;
const double kFs = 51200.0;
const float kSampleRate = 51200.0f;
const double kRippleDb = 1.0;  // the Chebyshev ripple, the filters' default of -1 dB

const char* TypeName(CTimeFilter::Type type)
{
    switch (type) {
    case CTimeFilter::Butterworth: return "Butterworth";
    case CTimeFilter::Bessel: return "Bessel";
    default: return "Chebyshev";
    }
}

// ---- Analytic responses ----------------------------------------------------

// Roots of the polynomial c[0] + c[1] s + ... + c[n] s^n by the Durand-Kerner iteration.
std::vector<Cx> PolynomialRoots(const std::vector<double>& c)
{
    const size_t n = c.size() - 1;
    std::vector<Cx> r(n);
    for (size_t k = 0; k < n; ++k)
        r[k] = std::pow(Cx(0.4, 0.9), static_cast<double>(k));
    for (int iteration = 0; iteration < 500; ++iteration)
        for (size_t k = 0; k < n; ++k) {
            Cx value = 0.0, product = 1.0;
            for (size_t i = n + 1; i-- > 0;)
                value = value * r[k] + c[i] / c[n];
            for (size_t j = 0; j < n; ++j)
                if (j != k)
                    product *= r[k] - r[j];
            r[k] -= value / product;
        }
    return r;
}

// Response of an all-pole analog low-pass with gain 1 at s = 0.
Cx Prototype(const std::vector<Cx>& poles, Cx s)
{
    Cx h = 1.0;
    for (const Cx& p : poles)
        h *= -p / (s - p);
    return h;
}

// Poles of the analog low-pass prototype of order n with its corner at 1 rad/s:
// Butterworth on the unit circle; Chebyshev on the ellipse of a 1 dB ripple,
// the ripple band ending at 1 rad/s; Bessel the roots of the reverse Bessel
// polynomial, scaled so that the gain is -3 dB at 1 rad/s.
std::vector<Cx> PrototypePoles(CTimeFilter::Type type, int n)
{
    std::vector<Cx> poles;
    if (type == CTimeFilter::Bessel) {
        std::vector<double> c(static_cast<size_t>(n) + 1);  // (2n - k)! / (2^(n-k) k! (n-k)!)
        for (int k = 0; k <= n; ++k)
            c[static_cast<size_t>(k)] = std::tgamma(2 * n - k + 1) /
                                        (std::ldexp(1.0, n - k) * std::tgamma(k + 1) * std::tgamma(n - k + 1));
        poles = PolynomialRoots(c);
        double lo = 0.1, hi = 10.0;  // the gain falls with frequency: find its -3 dB point
        for (int i = 0; i < 100; ++i) {
            const double mid = 0.5 * (lo + hi);
            (std::abs(Prototype(poles, Cx(0.0, mid))) > std::sqrt(0.5) ? lo : hi) = mid;
        }
        for (Cx& p : poles)
            p /= 0.5 * (lo + hi);
        return poles;
    }
    const double eps = std::sqrt(std::pow(10.0, kRippleDb / 10.0) - 1.0);
    const double a = std::asinh(1.0 / eps) / n;
    for (int k = 1; k <= n; ++k) {
        const double theta = kPi * (2 * k - 1) / (2 * n);
        if (type == CTimeFilter::Butterworth)
            poles.emplace_back(-std::sin(theta), std::cos(theta));
        else
            poles.emplace_back(-std::sinh(a) * std::sin(theta), std::cosh(a) * std::cos(theta));
    }
    return poles;
}

// A filter to show: characteristic, shape, order and band edges.
struct Design {
    CTimeFilter::Type type;
    CTimeFilter::Shape shape;
    int order;
    double f1, f2;
};

// Gain of the digital filter at hz: the bilinear transform maps hz to the
// analog frequency tan(pi hz / fs) (any constant factor cancels), the shape's
// transform maps that onto the prototype; the band-pass is scaled to gain 1
// at the arithmetic centre of its band.
double AnalyticGain(const Design& d, double hz)
{
    const std::vector<Cx> poles = PrototypePoles(d.type, d.order);
    auto warp = [](double f) { return std::tan(kPi * f / kFs); };
    auto prototype = [&](double f) {
        const double w = warp(f), w1 = warp(d.f1);
        if (d.shape == CTimeFilter::LowPass)
            return std::abs(Prototype(poles, Cx(0.0, w / w1)));
        const double w2 = warp(d.f2);
        return std::abs(Prototype(poles, Cx(0.0, (w * w - w1 * w2) / (w * (w2 - w1)))));
    };
    const double g = prototype(hz);
    return d.shape == CTimeFilter::BandPass ? g / prototype(0.5 * (d.f1 + d.f2)) : g;
}

// ---- Readings ---------------------------------------------------------------

// Response of the direct form from its coefficients: with z1 = 1/z,
// gain * sum(xcoeffs[i] z1^(numZeros - i)) / (1 - sum(ycoeffs[i] z1^(numPoles - i))).
Cx DirectResponse(const CTimeFilter& f, double hz)
{
    const Cx z1 = std::polar(1.0, -2.0 * kPi * hz / kFs);
    Cx num = 0.0, feedback = 0.0;
    for (int i = 0; i <= f.numZeros; ++i)
        num = num * z1 + f.xcoeffs[i];
    for (int i = 0; i < f.numPoles; ++i)
        feedback = feedback * z1 + f.ycoeffs[i];
    return static_cast<double>(f.gain) * num / (1.0 - feedback * z1);
}

Cx SectionResponse(const CSectionFilter& f, double hz)
{
    const complexd h = f.Response(hz);
    return Cx(h.re, h.im);
}

// Least-squares fit of y[k], sample k of a record at kFs, to
// c cos(w t) + s sin(w t), plus offset + slope t when trend is set.
struct Fit {
    double amplitude, offset, slope;
};

Fit FitSine(const std::vector<float>& y, size_t first, double hz, bool trend)
{
    const int m = trend ? 4 : 2;
    double a[4][5] = {};  // normal equations, right-hand side in column 4
    for (size_t k = first; k < y.size(); ++k) {
        const double t = static_cast<double>(k) / kFs, phase = 2.0 * kPi * hz * t;
        const double basis[4] = {std::cos(phase), std::sin(phase), 1.0, t};
        for (int i = 0; i < m; ++i) {
            for (int j = 0; j < m; ++j)
                a[i][j] += basis[i] * basis[j];
            a[i][4] += basis[i] * static_cast<double>(y[k]);
        }
    }
    double x[4] = {};
    for (int i = 0; i < m; ++i) {  // Gauss-Jordan; the matrix is positive definite
        for (int r = 0; r < m; ++r) {
            if (r == i)
                continue;
            const double q = a[r][i] / a[i][i];
            for (int j = i; j <= 4; ++j)
                a[r][j] -= q * a[i][j];
        }
    }
    for (int i = 0; i < m; ++i)
        x[i] = a[i][4] / a[i][i];
    return {std::hypot(x[0], x[1]), x[2], x[3]};
}

// Gain of a filter for a unit sine at hz run through Apply in blocks of 4096
// samples: the output's amplitude after the filter has settled.
template <typename Filter>
double SineGain(Filter& filter, double hz)
{
    const int block = 4096, settle = 4 * block, total = 8 * block;
    std::vector<float> y(static_cast<size_t>(total));
    for (size_t k = 0; k < y.size(); ++k)
        y[k] = static_cast<float>(std::sin(2.0 * kPi * hz * static_cast<double>(k) / kFs));
    filter.Reset();
    for (int at = 0; at < total; at += block)
        filter.Apply(y.data() + at, block);
    return FitSine(y, settle, hz, false).amplitude;
}

double Db(double gain)
{
    const double db = 20.0 * std::log10(gain);
    return std::fabs(db) < 0.0005 ? 0.0 : db;  // no "-0.000"
}

void ShowFilter(const Design& d, const std::vector<double>& frequencies)
{
    CTimeFilter direct;
    direct.Initialize(static_cast<float>(d.f1), static_cast<float>(d.f2), kSampleRate, d.type, d.shape, d.order);
    CSectionFilter sections;
    const int code = sections.Initialize(static_cast<float>(d.f1), static_cast<float>(d.f2), kSampleRate, d.type,
                                         d.shape, d.order, static_cast<float>(-kRippleDb));
    if (direct.unstable != 0 || code != 0) {
        std::printf("design failed (unstable %d, sections %d)\n", direct.unstable, code);
        return;
    }
    if (d.shape == CTimeFilter::LowPass)
        std::printf("\n%s low-pass, order %d, corner %.0f Hz (gain in dB)\n", TypeName(d.type), d.order, d.f1);
    else
        std::printf("\n%s band-pass, order %d (%d poles), %.0f to %.0f Hz (gain in dB)\n", TypeName(d.type), d.order,
                    2 * d.order, d.f1, d.f2);
    std::printf("%8s %10s | %-21s | %s\n", "", "", "CTimeFilter", "CSectionFilter");
    std::printf("%8s %10s | %10s %10s | %10s %10s\n", "Hz", "analytic", "coeffs", "Apply", "coeffs", "Apply");
    double worst = 0.0;
    for (double hz : frequencies) {
        const double readings[4] = {std::abs(DirectResponse(direct, hz)), SineGain(direct, hz),
                                    std::abs(SectionResponse(sections, hz)), SineGain(sections, hz)};
        const double analytic = AnalyticGain(d, hz);
        std::printf("%8.0f %10.3f |", hz, Db(analytic));
        for (int i = 0; i < 4; ++i) {
            std::printf(" %10.3f%s", Db(readings[i]), i == 1 ? " |" : "");
            worst = std::max(worst, std::fabs(readings[i] / analytic - 1.0));
        }
        std::printf("\n");
    }
    std::printf("largest deviation from the analytic gain: %.1e (relative)\n", worst);
}

void Filters()
{
    std::printf("Time filters at %.0f Hz: analytic gain beside each filter's, from its coefficients and\n"
                "from a unit sine through Apply\n",
                kFs);
    const std::vector<double> lowPassAt = {250, 770, 1500, 1850, 2000, 2500, 4000, 10000};
    const std::vector<double> bandPassAt = {1000, 1500, 2000, 2500, 3000, 3500, 4000, 6000, 10000};
    for (CTimeFilter::Type type : {CTimeFilter::Butterworth, CTimeFilter::Bessel, CTimeFilter::Chebyshev}) {
        ShowFilter({type, CTimeFilter::LowPass, 4, 2000.0, 0.0}, lowPassAt);
        ShowFilter({type, CTimeFilter::BandPass, 4, 2000.0, 4000.0}, bandPassAt);
    }
    std::printf("\nThe order-4 Chebyshev low-pass peaks at +1 dB near 770 and 1850 Hz, inside its ripple band.\n");
}

// ---- Integration ------------------------------------------------------------

void Row(const char* name, double analytic, double reading, const char* note = "")
{
    std::printf("%-24s %12.6f %12.6f %12.1e%s%s\n", name, analytic, reading,
                analytic != 0.0 ? reading / analytic - 1.0 : reading - analytic, *note ? "  " : "", note);
}

void Integration()
{
    const int period = 2559;                    // samples: two periods fill the drift window
    const double hz = kFs / period, w = 2.0 * kPi * hz;
    const double disp = 1.0;                    // mm
    const double vel = disp * 1e-3 * w;         // m/s
    const double accel = disp * 1e-3 * w * w;   // m/s^2
    const int block = 5 * period, blocks = 8;   // about 0.25 s each, 2 s in all
    const double stepOffset = -accel / kFs / 2;  // a(0) T / 2, m/s
    const double window = 2 * period + 1;       // the drift filter's w: 2h samples summed, divided by w

    std::vector<float> a(static_cast<size_t>(block * blocks));
    for (size_t k = 0; k < a.size(); ++k)
        a[k] = static_cast<float>(-accel * std::cos(w * static_cast<double>(k) / kFs));

    std::printf("\n\nIntegration: displacement %.0f mm cos(2 pi %.4f Hz t) (a period of %d samples), sampled\n"
                "as acceleration at %.0f Hz; SI units (m/s^2 to m/s to mm), %d blocks of %d samples\n",
                disp, hz, period, kFs, blocks, block);

    // The whole record block by block with intg_continuous, no drift filter.
    std::vector<float> v(a.size()), d(a.size());
    double vs[4] = {}, ds[4] = {};
    for (int b = 0; b < blocks; ++b) {
        float* av = a.data() + b * block;
        qv::math::intg_continuous(v.data() + b * block, av, block, vs[0], vs[1], vs[2], vs[3], 1.0 / kFs);
        qv::math::intg_continuous(d.data() + b * block, v.data() + b * block, block, ds[0], ds[1], ds[2], ds[3],
                                  1000.0 / kFs);
    }
    const Fit fv = FitSine(v, 0, hz, true), fd = FitSine(d, 0, hz, true);
    std::printf("\nintg_continuous, block by block (amplitude, offset and ramp fitted over the record)\n");
    std::printf("%-24s %12s %12s %12s\n", "", "analytic", "reading", "rel. dev.");
    Row("velocity amplitude m/s", vel, fv.amplitude);
    Row("velocity offset m/s", stepOffset, fv.offset, "a(0) T / 2: the step at the first sample");
    Row("displacement amplitude", disp, fd.amplitude);
    Row("displacement offset mm", -disp, fd.offset, "from rest at the displacement's peak");
    Row("displacement ramp mm/s", stepOffset * 1000.0, fd.slope, "the velocity offset, integrated");

    // The same record through ScanUnitLimits, which drift-filters each quantity.
    std::vector<float> blockAccel(static_cast<size_t>(block)), blockVel(static_cast<size_t>(block)),
        blockDisp(static_cast<size_t>(block)), scratch(static_cast<size_t>(block));
    qv::math::SCAN_UNIT_LIMITS run{};
    run.accel = blockAccel.data();
    run.vel = blockVel.data();
    run.disp = blockDisp.data();
    run.scratch = scratch.data();
    run.count = block;
    run.unitSys = qv::UnitSysSI;
    run.sampleRate = kFs;
    run.scale = 1.0;
    run.computeRms = true;
    for (int b = 0; b < blocks; ++b) {
        std::copy(a.begin() + b * block, a.begin() + (b + 1) * block, blockAccel.begin());
        qv::math::ScanUnitLimits(run);
    }
    // The drift filter takes off the tone's mean over whole periods, zero, and
    // of a constant c it leaves c / w: 1/w of the velocity offset and of the
    // displacement's -1 mm.
    const double velRest = stepOffset / window, dispRest = -disp / window;
    std::printf("\nScanUnitLimits over the %u blocks (drift filter: %d samples summed, divided by w = %.0f)\n",
                run.frameCount, 2 * period, window);
    std::printf("%-24s %12s %12s %12s\n", "", "analytic", "reading", "rel. dev.");
    Row("acceleration min m/s^2", -accel, static_cast<double>(run.accelMin));
    Row("acceleration max m/s^2", accel, static_cast<double>(run.accelMax), "the crest falls between two samples");
    Row("acceleration peak m/s^2", accel, static_cast<double>(run.accelPeak));
    Row("acceleration RMS m/s^2", accel / std::sqrt(2.0), static_cast<double>(run.accelRms));
    Row("velocity min m/s", -vel + velRest, static_cast<double>(run.velMin), "1/w of the offset stays");
    Row("velocity max m/s", vel + velRest, static_cast<double>(run.velMax));
    Row("velocity peak m/s", vel - velRest, static_cast<double>(run.velPeak));
    Row("displacement min mm", -disp + dispRest, static_cast<double>(run.dispMin), "1/w of the -1 mm stays");
    Row("displacement max mm", disp + dispRest, static_cast<double>(run.dispMax));
    Row("displacement peak mm", disp - dispRest, static_cast<double>(run.dispPeak));
}

}  // namespace

int main()
{
    Filters();
    Integration();
    return 0;
}
