#include "numora/analysis/time_filter.h"

#include <cmath>
#include <cstring>

#include "numora/foundation/complex.h"

namespace qv {
namespace math {

namespace {

const double kPi = 3.141592653589793;
const double kTwoPi = 6.283185307179586;
const complexd kOne = {1.0, 0.0};
const complexd kTwo = {2.0, 0.0};

// Bessel prototype poles, normalised to -3 dB at 1 rad/s. Order N starts at
// entry N*N/4; for an odd order that entry is the real pole, and every further
// entry stands for a pole and its conjugate.
const complexd kBesselPoles[30] = {
    {-1.0, 0.0},
    {-1.10160133059, 0.636009824757},
    {-1.32267579991, 0.0},
    {-1.04740916101, 0.999264436281},
    {-1.37006783055, 0.410249717494},
    {-0.99520876435, 1.25710573945},
    {-1.50231627145, 0.0},
    {-1.38087732586, 0.717909587627},
    {-0.957676548563, 1.47112432073},
    {-1.57149040362, 0.320896374221},
    {-1.3818580976, 0.971471890712},
    {-0.930656522947, 1.66186326894},
    {-1.68436817927, 0.0},
    {-1.61203876622, 0.589244506931},
    {-1.3789032168, 1.1915667778},
    {-0.909867780623, 1.83645135304},
    {-1.7574084004, 0.272867575103},
    {-1.63693941813, 0.822795625139},
    {-1.37384121764, 1.38835657588},
    {-0.892869718847, 1.99832584364},
    {-1.85660050123, 0.0},
    {-1.80717053496, 0.512383730575},
    {-1.65239648458, 1.03138956698},
    {-1.36758830979, 1.56773371224},
    {-0.878399276161, 2.14980052431},
    {-1.92761969145, 0.241623471082},
    {-1.84219624443, 0.727257597722},
    {-1.6618102414, 1.22110021857},
    {-1.36069227838, 1.73350574267},
    {-0.865756901707, 2.29260483098},
};

bool IsBand(CTimeFilter::Shape shape)
{
    return shape == CTimeFilter::BandPass || shape == CTimeFilter::BandStop;
}

// Applies the frequency limits of a shape in float, bw being the analysis bandwidth.
void LimitFrequencies(CTimeFilter::Shape shape, float bw, float& f1, float& f2)
{
    if (IsBand(shape) && f1 > f2) {
        const float t = f1;
        f1 = f2;
        f2 = t;
    }
    switch (shape) {
    case CTimeFilter::BandPass: {
        const float low = 0.002f * bw;
        const float high = 0.998f * bw;
        const float width = 0.004f * bw;
        if (f1 < low)
            f1 = low;
        if (f2 > high)
            f2 = high;
        if (f1 + width >= f2) {
            f2 = f1 + width;
            if (f2 > high) {
                f2 = high;
                f1 = high - width;
            }
        }
        break;
    }
    case CTimeFilter::HighPass:
        if (f1 < 0.002f * bw)
            f1 = 0.002f * bw;
        f2 = 0.0f;
        break;
    case CTimeFilter::LowPass:
        if (f1 < 0.005f * bw)
            f1 = 0.005f * bw;
        f2 = 0.0f;
        break;
    case CTimeFilter::BandStop:
        break;
    default:
        f2 = 0.0f;
        break;
    }
}

// Stretch y of the Chebyshev ellipse for a ripple in dB (negative).
// Returns 0, -3 for a ripple not below 0, -4 for y <= 0.
int ChebyshevStretch(double rippleDb, int order, double& y)
{
    if (rippleDb >= 0.0)
        return -3;
    const double e = std::sqrt(std::pow(10.0, -rippleDb / 10.0) - 1.0);
    const double inv = 1.0 / e;
    y = std::log(inv + std::sqrt(inv * inv + 1.0)) / order;
    if (y <= 0.0)
        return -4;
    return 0;
}

// Design scratch shared by every CTimeFilter: the roots of the last design
// in both planes, its normalised frequencies, and the two polynomials that
// Expandpoly builds (kept here rather than on the stack).
struct DesignScratch {
    complexd sPoles[512];
    int numSPoles;
    complexd sZeros[512];
    int numSZeros;
    complexd zPoles[512];
    int numZPoles;
    complexd zZeros[512];
    int numZZeros;
    int order;
    double rawAlpha1;
    double rawAlpha2;
    double warpedAlpha1;
    double warpedAlpha2;
    double ripple;
    complexd zeroPoly[513];
    complexd polePoly[513];
};

DesignScratch scratch;

// poly = product of (z - roots[k]), k in list order; poly[i] belongs to z^i.
void ExpandRoots(const complexd* roots, int count, complexd* poly)
{
    poly[0] = kOne;
    for (int k = 0; k < count; ++k) {
        const complexd r = roots[k];
        poly[k + 1] = poly[k];
        for (int i = k; i >= 1; --i)
            poly[i] = poly[i - 1] - r * poly[i];
        poly[0] = -(r * poly[0]);
    }
}

// True when no coefficient 0..degree has an imaginary part above 1e-10 in size.
bool IsReal(const complexd* poly, int degree)
{
    for (int i = 0; i <= degree; ++i) {
        if (std::fabs(poly[i].im) > 1e-10)
            return false;
    }
    return true;
}

}  // namespace

// ---- CTimeFilter ---------------------------------------------------------

CTimeFilter::CTimeFilter()
    : FilParams{0u, 8, 0, 500.0f, 600.0f, Butterworth, BandPass, -1.0f, 51200.0f, 2.56f, 20000.0f},
      unstable(0),
      designOptions(0),
      designGain(1.0f),
      dcGain{0.0, 0.0},
      fcGain{0.0, 0.0},
      hfGain{0.0, 0.0},
      xcoeffs(),
      ycoeffs(),
      xv(),
      yv(),
      gain(1.0f),
      filterOrder(8),
      numPoles(0),
      numZeros(0),
      modified(1),
      maxAmp(0.0f)
{
}

CTimeFilter::CTimeFilter(const CTimeFilter& other)
    : FilParams(other), dcGain{0.0, 0.0}, fcGain{0.0, 0.0}, hfGain{0.0, 0.0}
{
    *this = other;
}

CTimeFilter& CTimeFilter::operator=(const CTimeFilter& other)
{
    if (this == &other)
        return *this;
    static_cast<FilParams&>(*this) = other;
    unstable = other.unstable;
    designOptions = other.designOptions;
    designGain = other.designGain;
    std::memcpy(xcoeffs, other.xcoeffs, sizeof xcoeffs);
    std::memcpy(ycoeffs, other.ycoeffs, sizeof ycoeffs);
    std::memcpy(xv, other.xv, sizeof xv);
    std::memcpy(yv, other.yv, sizeof yv);
    gain = other.gain;
    filterOrder = other.filterOrder;
    numPoles = other.numPoles;
    numZeros = other.numZeros;
    modified = other.modified;
    maxAmp = other.maxAmp;
    return *this;
}

void CTimeFilter::StoreRateAndEdges(float f1, float f2, float sampleRate)
{
    FilParams& p = *this;
    if (sampleRate != p.sampleRate) {
        p.sampleRate = sampleRate;
        p.bandwidth = sampleRate / p.bandwidthRatio;
        modified = 1;
    }
    if (f1 != p.f1) {
        p.f1 = f1;
        modified = 1;
    }
    if (f2 != p.f2) {
        p.f2 = f2;
        modified = 1;
    }
}

int CTimeFilter::Design()
{
    FilParams& p = *this;
    LimitFrequencies(p.shape, p.sampleRate / p.bandwidthRatio, p.f1, p.f2);
    std::memset(xcoeffs, 0, sizeof xcoeffs);
    std::memset(ycoeffs, 0, sizeof ycoeffs);
    Reset();
    return GetFilterConstants(this);
}

void CTimeFilter::Initialize(float f1, float f2, float sampleRate, Type type, Shape shape, int order)
{
    FilParams& p = *this;
    p.bandwidthRatio = 2.56f;
    StoreRateAndEdges(f1, f2, sampleRate);
    if (order != p.requestedOrder) {
        p.requestedOrder = order;
        p.order = order;
        modified = 1;
    }
    if (type != p.type) {
        p.type = type;
        modified = 1;
    }
    if (shape != p.shape) {
        p.shape = shape;
        modified = 1;
        designGain = 1.0f;
    } else if (modified != 0) {
        designGain = 1.0f;
    }
    if (Design() != 0) {
        unstable = 1;
    } else {
        unstable = bisFilterUnStable(this);
        Reset();  // the probe has filled the history
    }
    modified = unstable != 0 ? 1 : 0;
}

void CTimeFilter::Update(float f1, float f2, float sampleRate)
{
    StoreRateAndEdges(f1, f2, sampleRate);
    if (modified != 0)
        designGain = 1.0f;
    if (Design() != 0)
        unstable = 1;
    modified = unstable != 0 ? 1 : 0;
}

void CTimeFilter::Update(float sampleRate)
{
    Update(this->f1, this->f2, sampleRate);
}

void CTimeFilter::SetModified()
{
    modified = 1;
}

void CTimeFilter::ResetMaxAmp()
{
    maxAmp = 0.0f;
}

void CTimeFilter::Reset()
{
    std::memset(xv, 0, sizeof xv);
    std::memset(yv, 0, sizeof yv);
}

float CTimeFilter::Step(float x)
{
    for (int i = 0; i < numZeros; ++i)
        xv[i] = xv[i + 1];
    xv[numZeros] = static_cast<double>(gain * x);
    for (int i = 0; i < numPoles; ++i)
        yv[i] = yv[i + 1];
    double sx = 0.0;
    for (int i = 0; i <= numZeros; ++i)
        sx += xcoeffs[i] * xv[i];
    double sy = 0.0;
    for (int i = 0; i < numPoles; ++i)
        sy += ycoeffs[i] * yv[i];
    yv[numPoles] = sy + sx;
    return static_cast<float>(yv[numPoles]);
}

float CTimeFilter::Apply(float x)
{
    const float out = Step(x);
    const float mag = std::fabs(out);
    if (mag > maxAmp)
        maxAmp = mag;
    return out;
}

void CTimeFilter::Apply(float* data, int n)
{
    if (n < 1)
        return;
    // Instead of shifting the history every sample, new inputs and outputs
    // are appended after it, so that sample k of a chunk sees its window at
    // xv[1 + k ..] and yv[1 + k ..]; the window is moved back to the front
    // once per chunk. The sums read the same values in the same order as the
    // shifting form, so every output keeps its bits.
    const int nz = numZeros;
    const int np = numPoles;
    const int chunkMax = 512 - (nz > np ? nz : np);
    if (chunkMax < 1) {
        // A history filling the whole arrays leaves no room to slide.
        for (int k = 0; k < n; ++k) {
            data[k] = Step(data[k]);
            const float mag = std::fabs(data[k]);
            if (k == 0 || mag > maxAmp)
                maxAmp = mag;
        }
        return;
    }
    const float g = gain;
    for (int done = 0; done < n;) {
        const int m = n - done < chunkMax ? n - done : chunkMax;
        float* d = data + done;
        for (int k = 0; k < m; ++k)
            xv[nz + 1 + k] = static_cast<double>(g * d[k]);

        // The feed-forward sums depend on inputs only: they run for the whole
        // chunk first, each in ascending index, parked where the outputs go.
        double* out = yv + np + 1;
        for (int k = 0; k < m; ++k)
            out[k] = 0.0;
        for (int i = 0; i <= nz; ++i) {
            const double c = xcoeffs[i];
            const double* x = xv + 1 + i;
            for (int k = 0; k < m; ++k)
                out[k] += c * x[k];
        }

        // Feedback: the newest output (the last term) stays in a register.
        double last = yv[np];
        for (int k = 0; k < m; ++k) {
            const double* w = yv + 1 + k;
            double sy = 0.0;
            for (int i = 0; i < np - 1; ++i)
                sy += ycoeffs[i] * w[i];
            if (np > 0)
                sy += ycoeffs[np - 1] * last;
            last = sy + out[k];
            out[k] = last;
            const float y = static_cast<float>(last);
            d[k] = y;
            const float mag = std::fabs(y);
            if ((done == 0 && k == 0) || mag > maxAmp)
                maxAmp = mag;
        }

        for (int i = 0; i <= nz; ++i)
            xv[i] = xv[m + i];
        for (int i = 0; i <= np; ++i)
            yv[i] = yv[m + i];
        done += m;
    }
}

int CTimeFilter::Expandpoly()
{
    DesignScratch& s = scratch;
    ExpandRoots(s.zZeros, s.numZZeros, s.zeroPoly);
    if (!IsReal(s.zeroPoly, s.numZZeros))
        return -10;
    ExpandRoots(s.zPoles, s.numZPoles, s.polePoly);
    if (!IsReal(s.polePoly, s.numZPoles))
        return -10;
    dcGain = ComplexEvaluate(s.zeroPoly, s.numZZeros, s.polePoly, s.numZPoles, kOne);
    fcGain = ComplexEvaluate(s.zeroPoly, s.numZZeros, s.polePoly, s.numZPoles,
                             ComplexExpj(kPi * (s.rawAlpha1 + s.rawAlpha2)));
    hfGain = ComplexEvaluate(s.zeroPoly, s.numZZeros, s.polePoly, s.numZPoles, complexd{-1.0, 0.0});
    const double d = s.polePoly[s.numZPoles].re;
    for (int i = 0; i <= s.numZZeros; ++i)
        xcoeffs[i] = s.zeroPoly[i].re / d;
    for (int i = 0; i <= s.numZPoles; ++i)
        ycoeffs[i] = -(s.polePoly[i].re / d);
    return 0;
}

int CTimeFilter::bisFilterUnStable(FilParams* p)
{
    const float test = p->shape == BandPass ? p->f1 + (p->f2 - p->f1) * 0.5f
                                            : p->sampleRate / (2.0f * p->bandwidthRatio);
    const float step =
        static_cast<float>(static_cast<double>(test) * kTwoPi / static_cast<double>(p->sampleRate));
    float phase = 0.0f;
    maxAmp = 0.0f;
    for (int k = 0; k < 10000; ++k) {
        phase += step;
        if (static_cast<double>(phase) > kTwoPi)
            phase += -6.2831855f;
        const float out = Step(static_cast<float>(std::sin(static_cast<double>(phase))));
        const float mag = std::fabs(out);
        if (mag > maxAmp)
            maxAmp = mag;
        if (k < 2 * numPoles)
            maxAmp = 0.0f;  // settling time
        else if (maxAmp > 2.0f)
            return 1;
    }
    return 0;
}

int CTimeFilter::GetFilterConstants(FilParams* p)
{
    DesignScratch& s = scratch;
    uint32_t typeBit = 0u;
    if (p->type == Bessel)
        typeBit = 1u;
    else if (p->type == Butterworth)
        typeBit = 2u;
    else if (p->type == Chebyshev)
        typeBit = 4u;
    uint32_t shapeBit = 0u;
    if (p->shape == LowPass)
        shapeBit = 0x20u;
    else if (p->shape == HighPass)
        shapeBit = 0x40u;
    else if (p->shape == BandPass)
        shapeBit = 0x80u;
    else if (p->shape == BandStop)
        shapeBit = 0x100u;
    p->options = typeBit | shapeBit;
    designOptions = static_cast<int>(p->options);
    s.order = p->order;
    if (p->type == Chebyshev)
        s.ripple = static_cast<double>(p->rippleDb);

    // Normalised frequencies: the quotient in float, widened.
    s.rawAlpha1 = static_cast<double>(p->f1 / p->sampleRate);
    s.rawAlpha2 = IsBand(p->shape) ? static_cast<double>(p->f2 / p->sampleRate) : s.rawAlpha1;

    // Analog prototype poles with negative real part.
    const int order = s.order;
    s.numSPoles = 0;
    s.numSZeros = 0;
    if (p->type == Bessel) {
        int entry = order * order / 4;
        if (order % 2 != 0)
            s.sPoles[s.numSPoles++] = kBesselPoles[entry++];
        for (int k = 0; k < order / 2; ++k, ++entry) {
            s.sPoles[s.numSPoles++] = kBesselPoles[entry];
            s.sPoles[s.numSPoles++] = ComplexConj(kBesselPoles[entry]);
        }
    } else if (p->type == Butterworth || p->type == Chebyshev) {
        for (int i = 0; i < 2 * order; ++i) {
            const double theta = order % 2 != 0 ? static_cast<double>(i) * kPi / order
                                                : (static_cast<double>(i) + 0.5) * kPi / order;
            const complexd c = ComplexExpj(theta);
            if (c.re < 0.0)
                s.sPoles[s.numSPoles++] = c;
        }
        if (p->type == Chebyshev) {
            double y = 0.0;
            const int code = ChebyshevStretch(s.ripple, order, y);
            if (code != 0)
                return code;
            const double sh = std::sinh(y);
            const double ch = std::cosh(y);
            for (int i = 0; i < s.numSPoles; ++i) {
                s.sPoles[i].re = s.sPoles[i].re * sh;
                s.sPoles[i].im = s.sPoles[i].im * ch;
            }
        }
    }

    // Prewarp, then the frequency transform in the s-plane.
    s.warpedAlpha1 = std::tan(kPi * s.rawAlpha1) / kPi;
    s.warpedAlpha2 = std::tan(kPi * s.rawAlpha2) / kPi;
    const double w1 = 2.0 * kPi * s.warpedAlpha1;
    const double w2 = 2.0 * kPi * s.warpedAlpha2;
    const int n = s.numSPoles;
    switch (p->shape) {
    case LowPass:
        for (int i = 0; i < n; ++i)
            s.sPoles[i] = w1 * s.sPoles[i];
        break;
    case HighPass:
        for (int i = 0; i < n; ++i) {
            s.sPoles[i] = complexd{w1, 0.0} / s.sPoles[i];
            s.sZeros[s.numSZeros++] = complexd{0.0, 0.0};
        }
        break;
    case BandPass:
    case BandStop: {
        const double w0 = std::sqrt(w1 * w2);
        const double bw = w2 - w1;
        for (int i = 0; i < n; ++i) {
            const complexd h = p->shape == BandPass ? 0.5 * (bw * s.sPoles[i])
                                                    : 0.5 * (complexd{bw, 0.0} / s.sPoles[i]);
            const complexd t = ComplexSqrt(kOne - ComplexSqr(complexd{w0, 0.0} / h));
            s.sPoles[i] = h * (kOne + t);
            s.sPoles[n + i] = h * (kOne - t);
        }
        s.numSPoles = 2 * n;
        if (p->shape == BandPass) {
            for (int i = 0; i < n; ++i)
                s.sZeros[s.numSZeros++] = complexd{0.0, 0.0};
        } else {
            for (int i = 0; i < n; ++i) {
                s.sZeros[i] = complexd{0.0, w0};
                s.sZeros[n + i] = complexd{0.0, -w0};
            }
            s.numSZeros = 2 * n;
        }
        break;
    }
    default:
        break;
    }

    // Bilinear transform; zeros at infinity land on z = -1.
    s.numZPoles = s.numSPoles;
    for (int i = 0; i < s.numSPoles; ++i)
        s.zPoles[i] = (kTwo + s.sPoles[i]) / (kTwo - s.sPoles[i]);
    s.numZZeros = s.numSZeros;
    for (int i = 0; i < s.numSZeros; ++i)
        s.zZeros[i] = (kTwo + s.sZeros[i]) / (kTwo - s.sZeros[i]);
    while (s.numZZeros < s.numZPoles)
        s.zZeros[s.numZZeros++] = complexd{-1.0, 0.0};

    const int code = Expandpoly();
    if (code != 0)
        return code;

    complexd ref = kOne;
    if (p->shape == LowPass)
        ref = dcGain;
    else if (p->shape == HighPass)
        ref = hfGain;
    else if (p->shape == BandPass)
        ref = fcGain;
    else if (p->shape == BandStop)
        ref = ComplexSqrt(dcGain * hfGain);
    gain = static_cast<float>(1.0 / ComplexHypot(ref));
    designGain = gain;

    filterOrder = p->order;
    numPoles = s.numSPoles;
    numZeros = s.numSZeros > 0 && s.numSZeros >= numPoles ? s.numSZeros : numPoles;
    Reset();
    return 0;
}

// ---- CSectionFilter ------------------------------------------------------

namespace {

// A real root, or the root with positive imaginary part of a conjugate pair.
struct Root {
    complexd v;
    bool real;
};

// Short list of roots that keeps its order when an entry is taken out.
struct RootList {
    Root r[2 * CSectionFilter::kMaxSections + 2];
    int n = 0;

    void Add(complexd v, bool real) { r[n++] = Root{v, real}; }
    Root Take(int i)
    {
        const Root out = r[i];
        for (int k = i; k + 1 < n; ++k)
            r[k] = r[k + 1];
        --n;
        return out;
    }
    int Count() const
    {
        int c = 0;
        for (int k = 0; k < n; ++k)
            c += r[k].real ? 1 : 2;
        return c;
    }
};

double Magnitude(const Root& r)
{
    return r.real ? std::fabs(r.v.re) : ComplexHypot(r.v);
}

// Index of the root closest to the unit circle (of the real ones only if
// realOnly); the first of equals; -1 when there is none.
int ClosestToCircle(const RootList& list, bool realOnly)
{
    int best = -1;
    double bestDistance = 0.0;
    for (int k = 0; k < list.n; ++k) {
        if (realOnly && !list.r[k].real)
            continue;
        const double distance = std::fabs(1.0 - Magnitude(list.r[k]));
        if (best < 0 || distance < bestDistance) {
            best = k;
            bestDistance = distance;
        }
    }
    return best;
}

// Index of the root nearest to `to` (of the real ones only if realOnly); the
// first of equals; -1 when there is none.
int Nearest(const RootList& list, complexd to, bool realOnly)
{
    int best = -1;
    double bestDistance = 0.0;
    for (int k = 0; k < list.n; ++k) {
        if (realOnly && !list.r[k].real)
            continue;
        const double distance = ComplexHypot(list.r[k].v - to);
        if (best < 0 || distance < bestDistance) {
            best = k;
            bestDistance = distance;
        }
    }
    return best;
}

// Adds the z-plane image of an s-plane pole or zero: a real one, or the
// representative (upper half plane) of a conjugate pair.
void AddBilinear(RootList& list, complexd s, bool real)
{
    if (real) {
        list.Add(complexd{(2.0 + s.re) / (2.0 - s.re), 0.0}, true);
        return;
    }
    complexd z = (kTwo + s) / (kTwo - s);
    if (z.im < 0.0)
        z = ComplexConj(z);
    list.Add(z, false);
}

// The two band poles h(1 + t), h(1 - t), t = sqrt(1 - (w0/h)^2), of one
// prototype pole (h real when that pole is real), in the z-plane.
void AddBandPoles(RootList& list, complexd h, bool real, double w0)
{
    if (real) {
        const double q = w0 / h.re;
        const double disc = 1.0 - q * q;
        if (disc >= 0.0) {
            const double t = std::sqrt(disc);
            AddBilinear(list, complexd{h.re * (1.0 + t), 0.0}, true);
            AddBilinear(list, complexd{h.re * (1.0 - t), 0.0}, true);
        } else {
            AddBilinear(list, complexd{h.re, h.re * std::sqrt(-disc)}, false);
        }
        return;
    }
    const complexd t = ComplexSqrt(kOne - ComplexSqr(complexd{w0, 0.0} / h));
    AddBilinear(list, h * (kOne + t), false);
    AddBilinear(list, h * (kOne - t), false);
}

// Prototype poles in the upper half plane and on the real axis.
void PrototypePoles(CTimeFilter::Type type, int order, double y, RootList& out)
{
    if (type == CTimeFilter::Bessel) {
        int entry = order * order / 4;
        if (order % 2 != 0)
            out.Add(kBesselPoles[entry++], true);
        for (int k = 0; k < order / 2; ++k)
            out.Add(kBesselPoles[entry++], false);
        return;
    }
    const double sh = type == CTimeFilter::Chebyshev ? std::sinh(y) : 1.0;
    const double ch = type == CTimeFilter::Chebyshev ? std::cosh(y) : 1.0;
    if (order % 2 != 0)
        out.Add(complexd{-sh, 0.0}, true);
    for (int i = (order + 1) / 2; i < order; ++i) {
        const double theta = order % 2 != 0 ? static_cast<double>(i) * kPi / order
                                            : (static_cast<double>(i) + 0.5) * kPi / order;
        const complexd c = ComplexExpj(theta);
        out.Add(complexd{c.re * sh, c.im * ch}, false);
    }
}

// Response of one section at z^-1 = u.
complexd SectionAt(const CSectionFilter::Section& s, complexd u)
{
    const complexd u2 = u * u;
    const complexd num = complexd{s.b0, 0.0} + s.b1 * u + s.b2 * u2;
    const complexd den = kOne + s.a1 * u + s.a2 * u2;
    return num / den;
}

// Second-order polynomial 1 + c1 z^-1 + c2 z^-2 with the roots r1, r2 (a
// conjugate pair when r1 is complex).
void Quadratic(const Root& r1, const Root& r2, double& c1, double& c2)
{
    if (!r1.real) {
        c1 = -2.0 * r1.v.re;
        c2 = r1.v.re * r1.v.re + r1.v.im * r1.v.im;
    } else {
        c1 = -(r1.v.re + r2.v.re);
        c2 = r1.v.re * r2.v.re;
    }
}

}  // namespace

CSectionFilter::CSectionFilter()
    : sections_(), state_(), count_(0), f1_(0.0f), f2_(0.0f), sampleRate_(0.0f), maxAmp_(0.0f)
{
}

int CSectionFilter::Initialize(float f1, float f2, float sampleRate, CTimeFilter::Type type,
                               CTimeFilter::Shape shape, int order, float rippleDb)
{
    if (order < 1 || order > 10 || type < CTimeFilter::Butterworth || type > CTimeFilter::Chebyshev ||
        shape < CTimeFilter::LowPass || shape > CTimeFilter::BandStop)
        return -1;
    if (!(sampleRate > 0.0f))
        return -2;
    LimitFrequencies(shape, sampleRate / 2.56f, f1, f2);
    const double alpha1 = static_cast<double>(f1 / sampleRate);
    const double alpha2 = IsBand(shape) ? static_cast<double>(f2 / sampleRate) : alpha1;
    if (!(alpha1 > 0.0 && alpha1 < 0.5 && alpha2 > 0.0 && alpha2 < 0.5) ||
        (shape == CTimeFilter::BandStop && !(alpha1 < alpha2)))
        return -2;
    double y = 0.0;
    if (type == CTimeFilter::Chebyshev) {
        const int code = ChebyshevStretch(static_cast<double>(rippleDb), order, y);
        if (code != 0)
            return code;
    }

    RootList proto;
    PrototypePoles(type, order, y, proto);
    const double w1 = 2.0 * kPi * (std::tan(kPi * alpha1) / kPi);
    const double w2 = 2.0 * kPi * (std::tan(kPi * alpha2) / kPi);
    const double w0 = std::sqrt(w1 * w2);
    const double bw = w2 - w1;

    RootList poles, zeros;
    for (int i = 0; i < proto.n; ++i) {
        const Root& p = proto.r[i];
        switch (shape) {
        case CTimeFilter::LowPass:
            AddBilinear(poles, w1 * p.v, p.real);
            break;
        case CTimeFilter::HighPass:
            AddBilinear(poles, p.real ? complexd{w1 / p.v.re, 0.0} : complexd{w1, 0.0} / p.v, p.real);
            break;
        case CTimeFilter::BandPass:
            AddBandPoles(poles, p.real ? complexd{0.5 * (bw * p.v.re), 0.0} : 0.5 * (bw * p.v), p.real, w0);
            break;
        default:
            AddBandPoles(poles, p.real ? complexd{0.5 * (bw / p.v.re), 0.0} : 0.5 * (complexd{bw, 0.0} / p.v),
                         p.real, w0);
            break;
        }
    }
    // Zeros: s = 0 lands on z = 1, s = infinity on z = -1.
    if (shape == CTimeFilter::LowPass || shape == CTimeFilter::HighPass) {
        for (int i = 0; i < order; ++i)
            zeros.Add(complexd{shape == CTimeFilter::LowPass ? -1.0 : 1.0, 0.0}, true);
    } else if (shape == CTimeFilter::BandPass) {
        for (int i = 0; i < order; ++i) {
            zeros.Add(kOne, true);
            zeros.Add(complexd{-1.0, 0.0}, true);
        }
    } else if (shape == CTimeFilter::BandStop) {
        for (int i = 0; i < order; ++i)
            AddBilinear(zeros, complexd{0.0, w0}, false);
    }
    if (poles.Count() % 2 != 0) {
        poles.Add(complexd{0.0, 0.0}, true);
        zeros.Add(complexd{0.0, 0.0}, true);
    }

    // Pairing: the pole closest to the unit circle goes last.
    Section built[kMaxSections];
    const int count = poles.Count() / 2;
    for (int si = count - 1; si >= 0; --si) {
        const Root p1 = poles.Take(ClosestToCircle(poles, false));
        const Root p2 = p1.real ? poles.Take(ClosestToCircle(poles, true)) : p1;
        const Root z1 = zeros.Take(Nearest(zeros, p1.v, false));
        const Root z2 = z1.real ? zeros.Take(Nearest(zeros, p1.v, true)) : z1;
        Section& s = built[si];
        s.b0 = 1.0;
        Quadratic(z1, z2, s.b1, s.b2);
        Quadratic(p1, p2, s.a1, s.a2);
    }

    // Every section gets magnitude 1 at the gain reference of the shape.
    const complexd centre = ComplexExpj(-kPi * (alpha1 + alpha2));
    for (int i = 0; i < count; ++i) {
        Section& s = built[i];
        double mag = 1.0;
        if (shape == CTimeFilter::LowPass)
            mag = ComplexHypot(SectionAt(s, kOne));
        else if (shape == CTimeFilter::HighPass)
            mag = ComplexHypot(SectionAt(s, complexd{-1.0, 0.0}));
        else if (shape == CTimeFilter::BandPass)
            mag = ComplexHypot(SectionAt(s, centre));
        else
            mag = std::sqrt(ComplexHypot(SectionAt(s, kOne)) * ComplexHypot(SectionAt(s, complexd{-1.0, 0.0})));
        s.b0 = s.b0 / mag;
        s.b1 = s.b1 / mag;
        s.b2 = s.b2 / mag;
        // A section without gain at the reference (a band-stop edge so low
        // that its zeros round onto z = 1) cannot be normalised.
        if (!(std::isfinite(s.b0) && std::isfinite(s.b1) && std::isfinite(s.b2)))
            return -2;
    }

    for (int i = 0; i < count; ++i)
        sections_[i] = built[i];
    count_ = count;
    f1_ = f1;
    f2_ = f2;
    sampleRate_ = sampleRate;
    maxAmp_ = 0.0f;
    Reset();
    return 0;
}

void CSectionFilter::Reset()
{
    std::memset(state_, 0, sizeof state_);
}

void CSectionFilter::ResetMaxAmp()
{
    maxAmp_ = 0.0f;
}

namespace {

// One sample through one section, transposed direct form II.
double SectionStep(const CSectionFilter::Section& s, double& s1, double& s2, double v)
{
    const double y = s.b0 * v + s1;
    s1 = (s.b1 * v - s.a1 * y) + s2;
    s2 = s.b2 * v - s.a2 * y;
    return y;
}

// One sample through the whole cascade.
double RunSections(const CSectionFilter::Section* sec, double (*st)[2], int count, double v)
{
    for (int i = 0; i < count; ++i)
        v = SectionStep(sec[i], st[i][0], st[i][1], v);
    return v;
}

// Writes output k of a block and follows the block's peak.
template <typename T>
void Emit(T* data, int k, double y, float& peak)
{
    data[k] = static_cast<T>(y);
    const float mag = static_cast<float>(std::fabs(static_cast<double>(data[k])));
    if (k == 0 || mag > peak)
        peak = mag;
}

// A block through N sections, one sample through all of them at a time,
// with the states held in locals for the whole block.
template <int N, typename T>
void RunUnrolled(const CSectionFilter::Section* sec, double (*st)[2], T* data, int n, float& peak)
{
    double s1[N], s2[N];
    for (int i = 0; i < N; ++i) {
        s1[i] = st[i][0];
        s2[i] = st[i][1];
    }
    for (int k = 0; k < n; ++k) {
        double v = static_cast<double>(data[k]);
        for (int i = 0; i < N; ++i)
            v = SectionStep(sec[i], s1[i], s2[i], v);
        Emit(data, k, v, peak);
    }
    for (int i = 0; i < N; ++i) {
        st[i][0] = s1[i];
        st[i][1] = s2[i];
    }
}

template <typename T>
void RunBlock(const CSectionFilter::Section* sec, double (*st)[2], int count, T* data, int n, float& peak)
{
    if (n < 1)
        return;
    switch (count) {
    case 1: RunUnrolled<1>(sec, st, data, n, peak); break;
    case 2: RunUnrolled<2>(sec, st, data, n, peak); break;
    case 3: RunUnrolled<3>(sec, st, data, n, peak); break;
    case 4: RunUnrolled<4>(sec, st, data, n, peak); break;
    case 5: RunUnrolled<5>(sec, st, data, n, peak); break;
    case 6: RunUnrolled<6>(sec, st, data, n, peak); break;
    case 7: RunUnrolled<7>(sec, st, data, n, peak); break;
    case 8: RunUnrolled<8>(sec, st, data, n, peak); break;
    case 9: RunUnrolled<9>(sec, st, data, n, peak); break;
    case 10: RunUnrolled<10>(sec, st, data, n, peak); break;
    default:
        for (int k = 0; k < n; ++k)
            Emit(data, k, static_cast<double>(data[k]), peak);
        break;
    }
}

}  // namespace

void CSectionFilter::Apply(float* data, int n)
{
    RunBlock(sections_, state_, count_, data, n, maxAmp_);
}

void CSectionFilter::Apply(double* data, int n)
{
    RunBlock(sections_, state_, count_, data, n, maxAmp_);
}

float CSectionFilter::Apply(float x)
{
    const float y = static_cast<float>(RunSections(sections_, state_, count_, static_cast<double>(x)));
    const float mag = std::fabs(y);
    if (mag > maxAmp_)
        maxAmp_ = mag;
    return y;
}

complexd CSectionFilter::Response(double frequency) const
{
    const complexd u = ComplexExpj(-kTwoPi * frequency / static_cast<double>(sampleRate_));
    complexd h = kOne;
    for (int i = 0; i < count_; ++i)
        h = h * SectionAt(sections_[i], u);
    return h;
}

int CSectionFilter::SectionCount() const
{
    return count_;
}

const CSectionFilter::Section& CSectionFilter::GetSection(int i) const
{
    return sections_[i];
}

float CSectionFilter::F1() const
{
    return f1_;
}

float CSectionFilter::F2() const
{
    return f2_;
}

float CSectionFilter::SampleRate() const
{
    return sampleRate_;
}

float CSectionFilter::MaxAmp() const
{
    return maxAmp_;
}

}  // namespace math
}  // namespace qv
