#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"

// Recursive (IIR) time filters for single-precision sample streams:
// Butterworth, Bessel and Chebyshev low-pass, high-pass, band-pass and
// band-stop of order 1 to 10, designed from analog prototype poles by a
// frequency transform in the s-plane and the bilinear transform.
//
// Two classes run these designs:
//
// - CTimeFilter expands the design into one polynomial and runs it as a single
//   direct form with double coefficients and history; its results are fixed
//   to the bit. The expanded polynomial is fragile at high order and low
//   corner frequency: its roots drift onto or outside the unit circle although
//   the designed poles are well inside, and the stability probe of Initialize
//   can miss a root just outside (an order-6 Bessel high-pass at 40 Hz at
//   51.2 kHz passes the probe and still diverges). Measured at 51.2 kHz with
//   octave bands (response within 0.1 % of the design down to -60 dB), it
//   holds for low- and high-pass of order 4 or less at any corner, order 6
//   from about 600 Hz, 8 from 1.4 kHz, 10 from 2.7 kHz; for band-pass and
//   band-stop of order 2 anywhere, order 4 from about 900 Hz, 6 from 2.7 kHz,
//   8 from 3.4 kHz, 10 from 5.2 kHz (the lower band edge). These corners scale
//   with the sample rate. Use it within these bounds, where its exact,
//   reproducible results are wanted.
//
// - CSectionFilter runs the same designs (characteristics, shapes, orders,
//   frequency limits and gain normalisation) as a cascade of second-order
//   sections in double, built from the poles themselves, so rounding stays
//   local and every design is stable. Use it beyond the bounds above (high
//   orders, low corners, narrow bands), and wherever designs may run at the
//   same time (it has no shared scratch). Its output agrees with CTimeFilter's
//   to within float rounding on well-conditioned designs, but not to the bit.

namespace qv {
namespace math {

// Design parameters of a time filter: the head of every CTimeFilter, which
// names it CTimeFilter::FilParams; the design functions take a pointer to it,
// and callers read and write its fields on the filter (filter.rippleDb).
// choice: the record stands at namespace scope as CTimeFilter's public base,
// so that it comes first in the object; its enums are declared in it and
// reached as CTimeFilter::Type, CTimeFilter::Shape, CTimeFilter::LowPass, ...
struct TimeFilterParams {
    // Characteristic of the analog prototype.
    enum Type : int32_t {
        Butterworth = 0,  // poles equally spaced on the unit circle
        Bessel = 1,       // poles from a fixed table, -3 dB at the corner
        Chebyshev = 2,    // Butterworth poles moved onto an ellipse
    };

    // Shape of the response; which frequencies it uses.
    enum Shape : int32_t {
        LowPass = 0,   // f1 is the corner
        HighPass = 1,  // f1 is the corner
        BandPass = 2,  // f1 and f2 are the band edges
        BandStop = 3,  // f1 and f2 are the band edges
    };

    uint32_t options;      // type bit (1 Bessel, 2 Butterworth, 4 Chebyshev) | shape bit (0x20 low, 0x40 high, 0x80 band-pass, 0x100 band-stop)
    int order;             // prototype order used by the design, 1 to 10 (unchecked)
    int requestedOrder;    // order last passed to Initialize
    float f1;              // corner or lower band edge, Hz
    float f2;              // upper band edge, Hz; 0 for the shapes without one
    Type type;
    Shape shape;
    float rippleDb;        // Chebyshev pass-band ripple in dB, negative; only callers write it
    float sampleRate;      // samples per second, positive
    float bandwidthRatio;  // sample rate / analysis bandwidth; Initialize sets 2.56
    float bandwidth;       // sampleRate / bandwidthRatio
};

static_assert(std::is_standard_layout<TimeFilterParams>::value && offsetof(TimeFilterParams, options) == 0,
              "the parameters are a plain record that starts with options");

// IIR filter designed from a characteristic, a shape, an order and one or two
// frequencies, run as one direct form. The object is one flat value without
// heap memory: 513 coefficients and 513 history values per side, in double.
// Its parameters (TimeFilterParams) come first, as its base.
//
// Design scratch: the design works in static arrays shared by every object,
// so Initialize, Update, GetFilterConstants and Expandpoly must not overlap,
// not even on different objects; no lock is taken, the caller serialises
// them. Apply, Reset, ResetMaxAmp and bisFilterUnStable touch only their own
// object and may run at the same time on different objects. One object is
// used by one thread at a time.
class NUMORA_API CTimeFilter : public TimeFilterParams {
public:
    using FilParams = TimeFilterParams;

    int unstable;           // 1 after a failed design or a failed stability probe
    int designOptions;      // same word as options
    float designGain;       // last computed gain; 1.0 again whenever a parameter changes
    complexd dcGain;        // response of the unscaled filter at z = 1
    complexd fcGain;        // ... at the arithmetic centre of the band
    complexd hfGain;        // ... at z = -1
    double xcoeffs[513];    // feed-forward coefficients, xcoeffs[i] weighs xv[i]
    double ycoeffs[513];    // feedback coefficients, ycoeffs[i] weighs yv[i]
    double xv[513];         // input history, newest at xv[numZeros]
    double yv[513];         // output history, newest at yv[numPoles]
    float gain;             // input scale used by Apply
    int filterOrder;        // copy of order after a design
    int numPoles;           // feedback terms in use
    int numZeros;           // feed-forward terms in use, less one
    int modified;           // 1 when a parameter changed; after a design, unstable != 0
    float maxAmp;           // largest output magnitude seen

    // Defaults: band-pass Butterworth of order 8, 500 to 600 Hz at 51200
    // samples per second; no design is run, so Apply gives 0.
    // choice: the three responses, which the design fills, start as (0, 0).
    CTimeFilter();
    // Copies everything except the three responses, the history included, so
    // the copy goes on from the same state.
    // choice: takes a const reference, so temporaries and const filters copy too;
    // the copy's responses are (0, 0).
    CTimeFilter(const CTimeFilter& other);
    // Copies everything except the three responses, which stay this object's own.
    CTimeFilter& operator=(const CTimeFilter& other);

    // Stores what differs, applies the frequency limits, designs, runs the
    // stability probe and clears the history. Redesigns even when nothing
    // changed. A failed design or probe sets unstable and modified to 1; after
    // a failed design the coefficients are all zero, so Apply gives 0.
    // Frequency limits, in float with bw = sampleRate / bandwidthRatio:
    // band shapes swap f1 > f2; band-pass keeps its edges within 0.002*bw and
    // 0.998*bw and at least 0.004*bw apart (widened upward, moved down at the
    // top); high-pass raises f1 to 0.002*bw, low-pass to 0.005*bw; f2 becomes
    // 0 for the shapes without one.
    void Initialize(float f1, float f2, float sampleRate, Type type, Shape shape, int order);
    // As Initialize with the stored order, type and shape and without the
    // stability probe; bandwidthRatio stays. A filter marked unstable stays
    // marked until the next Initialize.
    void Update(float f1, float f2, float sampleRate);
    // Update with the stored f1 and f2.
    void Update(float sampleRate);
    // Sets modified to 1.
    void SetModified();
    // Sets maxAmp to 0.
    void ResetMaxAmp();
    // Clears the history; coefficients and maxAmp stay.
    void Reset();
    // Filters n samples in place. n below 1 does nothing; otherwise maxAmp
    // becomes this block's largest output magnitude.
    // precision: each input is scaled by gain in float; sums in double in
    // ascending index, feed-forward then feedback, output = float(feedback + feed-forward).
    // choice: the history slides along xv and yv within a block and is moved
    // back once per block and every few hundred samples instead of every
    // sample. Every output has the bits of the shifting form (a NaN, which
    // only a broken design gives, may differ in sign or payload), and after
    // the call xv and yv hold the history as the shifting form leaves it.
    void Apply(float* data, int n);
    // Filters one sample and returns the output; maxAmp keeps the running peak.
    float Apply(float x);

    // Expands the z-plane roots left in the design scratch into xcoeffs,
    // ycoeffs and the three responses. Returns 0, or -10 when a polynomial
    // coefficient is not real within 1e-10 (zeros checked first), storing nothing.
    int Expandpoly();
    // Stability probe: drives this filter with 10000 samples of a unit sine
    // (band centre for band-pass, sampleRate / (2 * bandwidthRatio) otherwise,
    // both read from p) and returns 1 once the output exceeds 2 after the
    // settling time of 2 * numPoles samples, else 0. Runs on this object's
    // history and leaves maxAmp at the peak it saw.
    int bisFilterUnStable(FilParams* p);

protected:
    // The whole design from p into this object. Returns 0, -3 for Chebyshev
    // with rippleDb >= 0, -4 for Chebyshev with a stretch y <= 0, or the
    // result of Expandpoly.
    // precision: y = ln(1/e + sqrt((1/e)^2 + 1)) / order with
    // e = sqrt(10^(-rippleDb/10) - 1), with the explicit logarithm.
    int GetFilterConstants(FilParams* p);

private:
    // Stores the sample rate (with the bandwidth) and the edges that differ,
    // marking the filter modified.
    void StoreRateAndEdges(float f1, float f2, float sampleRate);
    // Frequency limits, cleared coefficients and history, then the design.
    int Design();
    // One step of the shifting direct form; returns the output.
    float Step(float x);
};

// The designs of CTimeFilter as a cascade of second-order sections in double.
// Poles and zeros are paired as scipy's zpk2sos pairs them with its default
// 'nearest' rule: the remaining pole closest to the unit circle takes the
// nearest zero (a complex one with its conjugate, a real one with the next
// nearest real zero) and its conjugate or the next real pole; the pole closest
// to the unit circle ends up in the last section. An odd count gets a pole and
// a zero at the origin. The object is one flat value without heap memory, and
// its design uses no shared state, so it may run at any time on any object.
class NUMORA_API CSectionFilter {
public:
    // Coefficients of one section:
    // H(z) = (b0 + b1 z^-1 + b2 z^-2) / (1 + a1 z^-1 + a2 z^-2).
    struct Section {
        double b0, b1, b2;
        double a1, a2;
    };

    static constexpr int kMaxSections = 10;

    // No sections: passes samples unchanged until Initialize succeeds.
    CSectionFilter();

    // Designs the filter of CTimeFilter::Initialize for the same arguments
    // (frequency limits with bandwidthRatio 2.56 included) with the Chebyshev
    // ripple given here, and clears the history and the peak. Returns 0;
    // -1 for an order outside 1 to 10 or a type or shape outside their enums;
    // -2 when the sample rate is not positive, a limited band edge is not
    // strictly between 0 and half the sample rate, the band-stop edges are
    // equal after the float division by the sample rate, or a section cannot
    // be scaled to a finite gain (band-stop edges so close to 0 that its
    // zeros round onto z = 1); -3 and -4 as CTimeFilter for the Chebyshev
    // ripple. A refused design changes nothing.
    // choice: every section is scaled to magnitude 1 at the gain reference of
    // the shape (z = 1 for low-pass, z = -1 for high-pass, the arithmetic band
    // centre for band-pass, the geometric mean of z = 1 and z = -1 for
    // band-stop), so the whole filter meets CTimeFilter's gain normalisation
    // and no section carries the gain of the others.
    // choice: the frequencies CTimeFilter accepts without limit but cannot
    // design (a corner at or above half the sample rate, a band-stop edge at
    // or below 0, a band-stop of no width) are refused here.
    int Initialize(float f1, float f2, float sampleRate, CTimeFilter::Type type,
                   CTimeFilter::Shape shape, int order, float rippleDb = -1.0f);
    // Clears the history; coefficients and the peak stay.
    void Reset();
    // Sets the peak to 0.
    void ResetMaxAmp();
    // Filters n samples in place; n below 1 does nothing. The peak becomes
    // this block's largest output magnitude.
    // precision: each section is a transposed direct form II in double,
    // y = b0*x + s1, s1 = (b1*x - a1*y) + s2, s2 = b2*x - a2*y; one rounding
    // to float per output.
    void Apply(float* data, int n);
    // Filters n double samples in place, without any rounding to float but the
    // peak's; n below 1 does nothing.
    void Apply(double* data, int n);
    // Filters one sample and returns the output; the peak keeps the running maximum.
    float Apply(float x);

    // Complex response of the cascade at a frequency in Hz.
    complexd Response(double frequency) const;
    // Number of sections in use (0 before a design).
    int SectionCount() const;
    // Section i, 0 <= i < SectionCount(), in the order the samples pass them.
    const Section& GetSection(int i) const;
    // Band edges after the frequency limits, and the sample rate of the design.
    float F1() const;
    float F2() const;
    float SampleRate() const;
    // Largest output magnitude: the last block's, or the running one of Apply(float).
    float MaxAmp() const;

private:
    Section sections_[kMaxSections];
    double state_[kMaxSections][2];
    int count_;
    float f1_;
    float f2_;
    float sampleRate_;
    float maxAmp_;
};

}  // namespace math
}  // namespace qv
