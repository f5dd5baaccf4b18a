#include <pybind11/complex.h>

#include <complex>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "python/bindings.h"
#include "recording/drive.h"
#include "recording/error.h"
#include "recording/filter.h"
#include "recording/frf.h"
#include "recording/integrate.h"
#include "recording/profile.h"
#include "recording/source.h"
#include "recording/spectrum.h"
#include "recording/srs.h"
#include "recording/units.h"

// Whole-record functions of the layer on numpy arrays. The samples are read
// where they lie (float32) and the GIL is released while the layer works.

namespace numora {
namespace python {

namespace {

rec::SpectrumOptions MakeSpectrumOptions(int frame, const std::string& window, double overlap,
                                         const std::string& average, int expFrames, bool fullBand)
{
    if (!(overlap >= 0.0 && overlap < 1.0))
        throw py::value_error("overlap is a fraction of the frame from 0 up to (not including) 1, not " +
                              rec::MessageNumber(overlap));
    rec::SpectrumOptions options;
    options.frameSize = frame;
    options.window = rec::ParseWindow(window);
    options.overlapPercent = overlap * 100.0;
    options.averaging = rec::ParseAveraging(average);
    options.expFrames = expFrames;
    options.fullBand = fullBand;
    return options;
}

py::array_t<double> Frequencies(const rec::FrequencyAxis& axis)
{
    py::array_t<double> f(axis.Lines());
    double* out = f.mutable_data();
    for (int k = 0; k < axis.Lines(); ++k)
        out[k] = axis.Frequency(k);
    return f;
}

py::array_t<std::complex<float>> ToComplex(const std::vector<complex>& values)
{
    py::array_t<std::complex<float>> out(static_cast<py::ssize_t>(values.size()));
    std::complex<float>* target = out.mutable_data();
    for (std::size_t i = 0; i < values.size(); ++i)
        target[i] = {values[i].re, values[i].im};
    return out;
}

// Two records of one length.
void CheckPair(const py::array& x, const py::array& y)
{
    if (x.size() != y.size())
        throw py::value_error("x holds " + std::to_string(x.size()) + " samples and y " + std::to_string(y.size()) +
                              "; both records must be of one length");
}

py::tuple Psd(py::handle xObject, double fs, int frame, const std::string& window, double overlap,
              const std::string& average, int expFrames, bool fullBand)
{
    const py::array_t<float> x = RecordSamples(xObject, "x");
    const rec::SpectrumOptions options = MakeSpectrumOptions(frame, window, overlap, average, expFrames, fullBand);
    const float* channels[1] = {x.data()};
    rec::PsdResult result;
    {
        py::gil_scoped_release release;
        result = rec::MeasurePsd(channels, 1, x.size(), fs, options);
    }
    return py::make_tuple(Frequencies(result.axis), ToNumpy(result.psd[0]));
}

rec::FrfResult Frf(py::handle xObject, py::handle yObject, double fs, int frame, const std::string& window,
                   double overlap, const std::string& average, int expFrames, bool fullBand)
{
    const py::array_t<float> x = RecordSamples(xObject, "x");
    const py::array_t<float> y = RecordSamples(yObject, "y");
    CheckPair(x, y);
    const rec::SpectrumOptions options = MakeSpectrumOptions(frame, window, overlap, average, expFrames, fullBand);
    py::gil_scoped_release release;
    return rec::MeasureFrf(x.data(), y.data(), x.size(), fs, options);
}

py::tuple Csd(py::handle x, py::handle y, double fs, int frame, const std::string& window, double overlap,
              const std::string& average, int expFrames, bool fullBand)
{
    const rec::FrfResult result = Frf(x, y, fs, frame, window, overlap, average, expFrames, fullBand);
    return py::make_tuple(Frequencies(result.axis), ToComplex(result.cpsd));
}

py::tuple FrequencyResponse(py::handle x, py::handle y, double fs, int frame, const std::string& window, double overlap,
                            const std::string& average, int expFrames, bool fullBand)
{
    const rec::FrfResult result = Frf(x, y, fs, frame, window, overlap, average, expFrames, fullBand);
    std::vector<complex> h(result.re.size());
    for (std::size_t i = 0; i < h.size(); ++i)
        h[i] = {result.re[i], result.im[i]};
    return py::make_tuple(Frequencies(result.axis), ToComplex(h), ToNumpy(result.coherence));
}

const std::vector<float>& SrsKind(const rec::SrsResult& result, const std::string& kind)
{
    const std::pair<const char*, const std::vector<float>*> kinds[] = {
        {"maximax", &result.maximax},         {"max-pos", &result.maxPos},
        {"max-neg", &result.maxNeg},          {"primary-pos", &result.primaryPos},
        {"primary-neg", &result.primaryNeg},  {"residual-pos", &result.residualPos},
        {"residual-neg", &result.residualNeg}};
    for (const auto& k : kinds)
        if (kind == k.first)
            return *k.second;
    throw py::value_error("unknown SRS kind '" + kind +
                          "': choose one of maximax, max-pos, max-neg, primary-pos, primary-neg, residual-pos, "
                          "residual-neg");
}

py::tuple Srs(py::handle xObject, double fs, double fmin, double fmax, int bandsPerOctave, double q,
              const std::string& kind, const std::string& filter, const std::string& series,
              const std::string& response)
{
    const py::array_t<float> x = RecordSamples(xObject, "x");
    rec::SrsOptions options;
    options.fLow = fmin;
    options.fHigh = fmax;
    options.bandsPerOctave = bandsPerOctave;
    options.q = q;
    options.filter = rec::ParseSrsFilter(filter);
    options.series = rec::ParseSrsSeries(series);
    options.response = rec::ParseSrsResponse(response);
    rec::SrsResult empty;
    SrsKind(empty, kind);  // refuses an unknown kind before the work
    if (!(fs > 0.0))
        throw py::value_error("the sample rate fs must be above 0, not " + rec::MessageNumber(fs));
    rec::SrsResult result;
    {
        py::gil_scoped_release release;
        result = rec::ComputeSrs(x.data(), x.size(), fs, options);
    }
    return py::make_tuple(ToNumpy(result.frequency), ToNumpy(SrsKind(result, kind)));
}

py::array_t<float> Drive(py::handle fObject, py::handle levelObject, double fs, double seconds, py::object clipSigma,
                         unsigned int seed, int frame)
{
    const py::array f = CheckedArray(fObject, "profile_f");
    const py::array level = CheckedArray(levelObject, "profile_level");
    if (f.size() != level.size())
        throw py::value_error("profile_f holds " + std::to_string(f.size()) + " frequencies and profile_level " +
                              std::to_string(level.size()) + " levels");
    const py::array_t<double> fd = py::array_t<double>::ensure(f);
    const py::array_t<double> ld = py::array_t<double>::ensure(level);
    if (!fd || !ld)
        throw py::type_error("the profile must hold numbers");
    rec::ProfileTable profile;
    profile.name = "profile";
    for (py::ssize_t i = 0; i < fd.size(); ++i) {
        rec::ProfilePoint point;
        point.frequency = fd.data()[i];
        point.level = ld.data()[i];
        profile.points.push_back(point);
    }
    profile.Validate();
    rec::DriveOptions options;
    options.sampleRate = fs;
    options.seconds = seconds;
    options.frameSize = frame;
    options.clipSigma = clipSigma.is_none() ? 0.0 : clipSigma.cast<double>();
    if (!clipSigma.is_none() && !(options.clipSigma > 0.0))
        throw py::value_error("clip_sigma must be above 0, or None for no clip");
    options.seed = seed;
    rec::ArraySink sink(1);
    {
        py::gil_scoped_release release;
        rec::GenerateDrive(profile, options, sink);
    }
    return ToNumpy(sink.Samples());
}

// A recursive filter whose state carries from one apply to the next.
class Filter {
public:
    Filter(const std::string& characteristic, const std::string& shape, int order, double f1, py::object f2, double fs,
           double rippleDb, bool directForm)
    {
        rec::FilterDesign design;
        design.type = rec::ParseFilterType(characteristic);
        design.shape = rec::ParseFilterShape(shape);
        design.order = order;
        design.f1 = static_cast<float>(f1);
        design.f2 = f2.is_none() ? 0.0f : static_cast<float>(f2.cast<double>());
        design.rippleDb = static_cast<float>(rippleDb);
        design.directForm = directForm;
        filter_ = std::make_unique<rec::RecordFilter>(design, fs, 1);
    }

    py::array_t<float> Apply(py::handle xObject)
    {
        const py::array_t<float> x = RecordSamples(xObject, "x");
        py::array_t<float> y(x.size());
        float* out = y.mutable_data();
        const float* in = x.data();
        const py::ssize_t n = x.size();
        py::gil_scoped_release release;
        for (py::ssize_t i = 0; i < n; ++i)
            out[i] = in[i];
        for (py::ssize_t done = 0; done < n;) {
            const int piece = static_cast<int>(std::min<py::ssize_t>(n - done, rec::kMemoryPieceFrames));
            float* channels[1] = {out + done};
            filter_->Process(channels, piece);
            done += piece;
        }
        return y;
    }

    py::array_t<std::complex<double>> Response(py::handle fObject) const
    {
        const py::array f = CheckedArray(fObject, "f");
        const py::array_t<double> fd = py::array_t<double>::ensure(f);
        if (!fd)
            throw py::type_error("f must hold numbers");
        py::array_t<std::complex<double>> h(fd.size());
        std::complex<double>* out = h.mutable_data();
        for (py::ssize_t i = 0; i < fd.size(); ++i) {
            const rec::ResponsePoint p = filter_->Response(fd.data()[i]);
            out[i] = std::polar(p.gain, p.phaseDeg * 3.14159265358979323846 / 180.0);
        }
        return h;
    }

    float F1() const { return filter_->F1(); }
    float F2() const { return filter_->F2(); }

private:
    std::unique_ptr<rec::RecordFilter> filter_;
};

py::tuple Integrate(py::handle accObject, double fs, const std::string& units, bool english, double blockSeconds)
{
    const py::array_t<float> acc = RecordSamples(accObject, "acc");
    const rec::IntegrationOptions options = rec::AccelerationOptions(units, english, blockSeconds, fs);
    const py::ssize_t n = acc.size();
    py::array_t<float> velocity(n), displacement(n);
    {
        py::gil_scoped_release release;
        rec::ArraySource source(acc.data(), n, 1, fs);
        rec::ArraySink sink(2);
        rec::IntegrateRecord(source, {0}, options, sink);
        const float* both = sink.Samples().data();
        float* v = velocity.mutable_data();
        float* d = displacement.mutable_data();
        for (py::ssize_t i = 0; i < n; ++i) {
            v[i] = both[2 * i];
            d[i] = both[2 * i + 1];
        }
    }
    return py::make_tuple(velocity, displacement);
}

py::dict UnitDict(const rec::UnitInfo& unit, bool hasRow)
{
    py::dict d;
    d["name"] = unit.name;
    d["type"] = unit.typeName;
    if (hasRow) {
        d["quantity"] = unit.quantity;
        d["si_unit"] = unit.siUnit;
        d["factor"] = unit.factor;
        d["offset"] = unit.offset;
    }
    return d;
}

py::list Units()
{
    py::list rows;
    for (const rec::UnitInfo& unit : rec::UnitTable())
        rows.append(UnitDict(unit, true));
    return rows;
}

py::dict Unit(const std::string& text)
{
    const rec::UnitMatch match = rec::RequireUnit(text);
    return UnitDict(match.unit, match.hasRow);
}

}  // namespace

void BindRecordFunctions(py::module_& m)
{
    using namespace pybind11::literals;
    m.def("psd", &Psd, "x"_a, "fs"_a, "frame"_a = 4096, "window"_a = "hann", "overlap"_a = 0.5, "average"_a = "linear",
          "exp_frames"_a = 8, "full_band"_a = false,
          "Averaged power spectral density of a record: returns (f, Pxx).\n\n"
          "x is float32 (read in place) or float64 (rounded to float32 first). The record is\n"
          "cut into whole frames of `frame` samples overlapping by the fraction `overlap`\n"
          "(the tail is left out), each windowed with a unit-RMS window, transformed and\n"
          "averaged. Pxx (float32) is one-sided power per\n"
          "hertz at f[k] = k * fs / frame (the spacing rounded to float32), lines 0 to\n"
          "frame / 2.56, or to frame / 2 - 1 with full_band.\n"
          "scipy: with w = numora.window(window, frame), Pxx = mean(w**2) * welch(x, fs, w,\n"
          "nperseg=frame, noverlap=frame*overlap, detrend=False)[1][:len(f)] (the tables\n"
          "are symmetric and normalised by their continuous RMS: mean(w**2) is about\n"
          "1 - 1/frame for hann). average: linear, exponential, peak-hold, max-line,\n"
          "max-power, max-band3 (scipy has only the linear mean).");
    m.def("csd", &Csd, "x"_a, "y"_a, "fs"_a, "frame"_a = 4096, "window"_a = "hann", "overlap"_a = 0.5,
          "average"_a = "linear", "exp_frames"_a = 8, "full_band"_a = false,
          "Averaged cross spectral density of two records: returns (f, Pxy), Pxy complex64.\n\n"
          "Pxy = mean of Y conj(X) per hertz, the frames as in psd. scipy: Pxy =\n"
          "mean(w**2) * csd(x, y, fs, w, ...)[1], the factor and w as in psd. average:\n"
          "linear or exponential.");
    m.def("frf", &FrequencyResponse, "x"_a, "y"_a, "fs"_a, "frame"_a = 4096, "window"_a = "hann", "overlap"_a = 0.5,
          "average"_a = "linear", "exp_frames"_a = 8, "full_band"_a = false,
          "Frequency response of y (response) over x (reference): returns (f, H1, coherence).\n\n"
          "H1 = Pxy / Pxx (complex64), gain and phase of the system; a line where Pxx is 0\n"
          "gives 0. coherence = |Pxy|^2 / (Pxx Pyy) (float32, not clipped to 1).\n"
          "scipy: H1 = csd(x, y)[1] / welch(x)[1] and coherence = coherence(x, y)[1] with\n"
          "the same frames and window (factor 1; the window's scale cancels).");
    m.def("srs", &Srs, "x"_a, "fs"_a, "fmin"_a = 10.0, "fmax"_a = 10000.0, "bands_per_octave"_a = 12, "q"_a = 10.0,
          "kind"_a = "maximax", "filter"_a = "iso", "series"_a = "ansi", "response"_a = "absolute",
          "Shock response spectrum of a record: returns (f, values), both float32.\n\n"
          "Each natural frequency of a fractional-octave series from fmin to fmax drives a\n"
          "damped single-degree-of-freedom oscillator (damping 1 / (2 q)) with x.\n"
          "kind: maximax, max-pos, max-neg, primary-pos, primary-neg, residual-pos,\n"
          "residual-neg (negative peaks as magnitudes). filter: iso (ramp-invariant) or\n"
          "impulse (impulse-invariant). series: ansi or acoustic. response: absolute\n"
          "(acceleration, units of x) or relative (displacement). scipy: the peaks of\n"
          "lsim of the oscillator, whose linear interpolation is the iso filter's (factor 1).");
    m.def("drive", &Drive, "profile_f"_a, "profile_level"_a, "fs"_a, "seconds"_a, "clip_sigma"_a = py::none(),
          "seed"_a = 1u, "frame"_a = 8192,
          "Random drive (float32) whose PSD follows a profile.\n\n"
          "The profile joins the breakpoints (profile_f in Hz, rising; profile_level in\n"
          "units^2/Hz) by straight lines on log-log axes. The drive has floor(seconds * fs)\n"
          "samples; clip_sigma limits every sample to that multiple of the profile's RMS.\n"
          "The same seed gives the same drive. scipy: welch(drive, fs, 'hann', frame)\n"
          "follows profile_level within the estimate's scatter (factor 1).");
    py::class_<Filter>(m, "Filter",
                       "Recursive (IIR) filter: Butterworth, Bessel or Chebyshev; low-pass, high-pass,\n"
                       "band-pass or band-stop; order 1 to 10.\n\n"
                       "apply(x) filters a record and keeps the state, so consecutive pieces give the\n"
                       "samples of the whole record. By default the design runs as second-order\n"
                       "sections; direct_form=True runs the exact direct form of the design.\n"
                       "scipy: a Butterworth design is butter(order, edges, btype, fs=fs) (bilinear,\n"
                       "prewarped): response() is its freqz (factor 1), except that a band-pass is\n"
                       "scaled to unit gain at the arithmetic centre (f1 + f2) / 2, i.e. freqz divided\n"
                       "by its magnitude there.")
        .def(py::init<const std::string&, const std::string&, int, double, py::object, double, double, bool>(),
             "characteristic"_a, "shape"_a, "order"_a, "f1"_a, "f2"_a, "fs"_a, "ripple_db"_a = -1.0,
             "direct_form"_a = false,
             "characteristic: butterworth, bessel, chebyshev; shape: lowpass, highpass,\n"
             "bandpass, bandstop; f1 the corner or lower edge, f2 the upper edge (None for\n"
             "low- and high-pass), Hz; ripple_db the Chebyshev ripple, below 0.")
        .def("apply", &Filter::Apply, "x"_a,
             "Filters x (float32 or float64) and returns float32; the state carries on.")
        .def("response", &Filter::Response, "f"_a,
             "Complex response (complex128) of the design at the frequencies f, Hz.")
        .def_property_readonly("f1", &Filter::F1, "Corner or lower edge after the design's limits, Hz.")
        .def_property_readonly("f2", &Filter::F2, "Upper edge after the design's limits, Hz (0 without one).");
    m.def("integrate", &Integrate, "acc"_a, "fs"_a, "units"_a = "g", "english"_a = false, "block_seconds"_a = 1.0,
          "Velocity and displacement of an acceleration record: returns (velocity, displacement).\n\n"
          "units is the acceleration's unit ('g', 'm/s²', 'in/s²', ...). Velocity comes in m/s\n"
          "and displacement in mm (in/s and in with english=True). Per block of block_seconds\n"
          "the drift (a moving mean over a tenth of a second) is taken off before each\n"
          "integration (fourth-order Adams-Moulton), so the result is high-passed.\n"
          "scipy: a steady sine integrates to the amplitudes of 9.80665 *\n"
          "cumulative_trapezoid(acc, dx=1/fs) (g to m/s; times 1000 again for mm) within\n"
          "a few per cent, the ripple of the drift filter.");
    m.def("units", &Units,
          "The engineering-unit table: a list of dicts with name, quantity, si_unit, factor,\n"
          "offset and type (SI value = value * factor + offset).");
    m.def("unit", &Unit, "text"_a,
          "The engineering unit a string names, as a dict like those of units(); a string\n"
          "that names only a transducer type gives name and type. Raises ValueError when it\n"
          "names nothing.");
}

}  // namespace python
}  // namespace numora
