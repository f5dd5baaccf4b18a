// Writes the layer's and the core's results for a record of float32 samples
// as raw bytes, so that the Python tests can hold the module's results
// against the C++ library bit for bit.
//
// record_dump <input.f32> <output> <what>, what one of psd, frf, srs.
// The options are fixed: frames of 256 at 1000 Hz, hamming, 75 % overlap;
// the SRS from 5 to 400 Hz, 6 bands per octave, q 10, iso filter, maximax.
#include <cstdio>
#include <cstring>
#include <vector>

#include "recording/frf.h"
#include "recording/spectrum.h"
#include "recording/srs.h"

namespace {

template <typename T>
void Append(std::vector<char>& out, const std::vector<T>& values)
{
    const char* bytes = reinterpret_cast<const char*>(values.data());
    out.insert(out.end(), bytes, bytes + values.size() * sizeof(T));
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 4)
        return 2;
    std::vector<float> x;
    if (FILE* in = std::fopen(argv[1], "rb")) {
        float v;
        while (std::fread(&v, sizeof v, 1, in) == 1)
            x.push_back(v);
        std::fclose(in);
    }
    using namespace numora::rec;
    SpectrumOptions options;
    options.frameSize = 256;
    options.window = Window::Hamming;
    options.overlapPercent = 75.0;
    const std::string what = argv[3];
    std::vector<char> out;
    if (what == "psd") {
        const float* channels[1] = {x.data()};
        Append(out, MeasurePsd(channels, 1, static_cast<int64_t>(x.size()), 1000.0, options).psd[0]);
    } else if (what == "frf") {
        // The second half of the input is the response to the first.
        const int64_t n = static_cast<int64_t>(x.size() / 2);
        const FrfResult r = MeasureFrf(x.data(), x.data() + n, n, 1000.0, options);
        Append(out, r.re);
        Append(out, r.im);
        Append(out, r.coherence);
    } else if (what == "srs") {
        SrsOptions srs;
        srs.fLow = 5.0;
        srs.fHigh = 400.0;
        srs.bandsPerOctave = 6;
        Append(out, ComputeSrs(x.data(), static_cast<int64_t>(x.size()), 1000.0, srs).maximax);
    } else {
        return 2;
    }
    FILE* file = std::fopen(argv[2], "wb");
    if (!file)
        return 1;
    std::fwrite(out.data(), 1, out.size(), file);
    return std::fclose(file) == 0 ? 0 : 1;
}
