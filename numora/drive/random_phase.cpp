#include "numora/drive/random_phase.h"

#include <algorithm>
#include <cmath>

#include "numora/foundation/platform.h"
#include "numora/foundation/scalar.h"

namespace qv {
namespace math {

namespace {

// sin(i * 3.1415927 / 1024) for i = 0 .. 512, rounded to nine decimals. The
// slightly long pi belongs to the values: entry 256 is 0.707106789.
const double QuarterSineTable[513] = {
    0.0, 0.003067957, 0.006135885, 0.009203755, 0.012271538, 0.015339207, 0.018406730,
    0.021474081, 0.024541229, 0.027608146, 0.030674804, 0.033741172, 0.036807223, 0.039872928,
    0.042938258, 0.046003183, 0.049067675, 0.052131705, 0.055195245, 0.058258265, 0.061320737,
    0.064382632, 0.067443921, 0.070504574, 0.073564565, 0.076623863, 0.079682439, 0.082740266,
    0.085797314, 0.088853554, 0.091908958, 0.094963497, 0.098017142, 0.101069864, 0.104121635,
    0.107172427, 0.110222209, 0.113270954, 0.116318633, 0.119365217, 0.122410677, 0.125454985,
    0.128498113, 0.131540031, 0.134580710, 0.137620124, 0.140658241, 0.143695035, 0.146730477,
    0.149764537, 0.152797187, 0.155828400, 0.158858146, 0.161886396, 0.164913123, 0.167938297,
    0.170961891, 0.173983876, 0.177004223, 0.180022904, 0.183039891, 0.186055154, 0.189068667,
    0.192080400, 0.195090325, 0.198098414, 0.201104638, 0.204108969, 0.207111379, 0.210111840,
    0.213110323, 0.216106800, 0.219101243, 0.222093624, 0.225083915, 0.228072086, 0.231058112,
    0.234041962, 0.237023609, 0.240003026, 0.242980183, 0.245955054, 0.248927609, 0.251897822,
    0.254865663, 0.257831106, 0.260794122, 0.263754683, 0.266712761, 0.269668329, 0.272621359,
    0.275571823, 0.278519693, 0.281464942, 0.284407541, 0.287347464, 0.290284681, 0.293219167,
    0.296150892, 0.299079831, 0.302005954, 0.304929234, 0.307849644, 0.310767157, 0.313681745,
    0.316593380, 0.319502035, 0.322407683, 0.325310297, 0.328209848, 0.331106310, 0.333999656,
    0.336889858, 0.339776889, 0.342660722, 0.345541330, 0.348418685, 0.351292761, 0.354163530,
    0.357030966, 0.359895042, 0.362755729, 0.365613003, 0.368466835, 0.371317199, 0.374164068,
    0.377007416, 0.379847214, 0.382683438, 0.385516059, 0.388345052, 0.391170390, 0.393992046,
    0.396809993, 0.399624205, 0.402434656, 0.405241320, 0.408044169, 0.410843177, 0.413638318,
    0.416429566, 0.419216894, 0.422000277, 0.424779687, 0.427555099, 0.430326487, 0.433093825,
    0.435857086, 0.438616245, 0.441371275, 0.444122151, 0.446868846, 0.449611336, 0.452349593,
    0.455083593, 0.457813310, 0.460538717, 0.463259790, 0.465976502, 0.468688828, 0.471396743,
    0.474100221, 0.476799237, 0.479493764, 0.482183779, 0.484869255, 0.487550167, 0.490226490,
    0.492898199, 0.495565268, 0.498227674, 0.500885389, 0.503538390, 0.506186652, 0.508830149,
    0.511468857, 0.514102751, 0.516731806, 0.519355997, 0.521975300, 0.524589690, 0.527199142,
    0.529803632, 0.532403135, 0.534997627, 0.537587083, 0.540171480, 0.542750792, 0.545324996,
    0.547894066, 0.550457980, 0.553016713, 0.555570240, 0.558118538, 0.560661583, 0.563199351,
    0.565731818, 0.568258960, 0.570780753, 0.573297174, 0.575808199, 0.578313804, 0.580813966,
    0.583308660, 0.585797865, 0.588281556, 0.590759709, 0.593232303, 0.595699312, 0.598160715,
    0.600616487, 0.603066606, 0.605511049, 0.607949793, 0.610382814, 0.612810090, 0.615231598,
    0.617647316, 0.620057220, 0.622461287, 0.624859496, 0.627251823, 0.629638247, 0.632018744,
    0.634393292, 0.636761869, 0.639124453, 0.641481021, 0.643831551, 0.646176021, 0.648514409,
    0.650846693, 0.653172851, 0.655492861, 0.657806701, 0.660114350, 0.662415786, 0.664710986,
    0.666999930, 0.669282596, 0.671558963, 0.673829008, 0.676092712, 0.678350051, 0.680601006,
    0.682845554, 0.685083676, 0.687315349, 0.689540553, 0.691759267, 0.693971469, 0.696177140,
    0.698376258, 0.700568802, 0.702754753, 0.704934089, 0.707106789, 0.709272835, 0.711432204,
    0.713584877, 0.715730834, 0.717870053, 0.720002516, 0.722128202, 0.724247091, 0.726359163,
    0.728464399, 0.730562777, 0.732654280, 0.734738886, 0.736816577, 0.738887333, 0.740951134,
    0.743007960, 0.745057794, 0.747100614, 0.749136403, 0.751165140, 0.753186807, 0.755201385,
    0.757208855, 0.759209197, 0.761202394, 0.763188426, 0.765167274, 0.767138920, 0.769103346,
    0.771060533, 0.773010462, 0.774953115, 0.776888474, 0.778816521, 0.780737237, 0.782650604,
    0.784556605, 0.786455222, 0.788346436, 0.790230230, 0.792106586, 0.793975486, 0.795836913,
    0.797690849, 0.799537277, 0.801376180, 0.803207540, 0.805031339, 0.806847562, 0.808656190,
    0.810457206, 0.812250595, 0.814036338, 0.815814419, 0.817584821, 0.819347528, 0.821102523,
    0.822849789, 0.824589311, 0.826321071, 0.828045053, 0.829761242, 0.831469620, 0.833170173,
    0.834862883, 0.836547735, 0.838224714, 0.839893802, 0.841554985, 0.843208248, 0.844853573,
    0.846490947, 0.848120353, 0.849741776, 0.851355201, 0.852960613, 0.854557996, 0.856147336,
    0.857728618, 0.859301826, 0.860866946, 0.862423964, 0.863972864, 0.865513632, 0.867046253,
    0.868570714, 0.870086999, 0.871595094, 0.873094986, 0.874586660, 0.876070102, 0.877545298,
    0.879012234, 0.880470897, 0.881921272, 0.883363346, 0.884797106, 0.886222538, 0.887639628,
    0.889048363, 0.890448731, 0.891840717, 0.893224309, 0.894599493, 0.895966257, 0.897324588,
    0.898674473, 0.900015899, 0.901348854, 0.902673325, 0.903989300, 0.905296766, 0.906595712,
    0.907886124, 0.909167990, 0.910441299, 0.911706039, 0.912962197, 0.914209763, 0.915448723,
    0.916679067, 0.917900782, 0.919113858, 0.920318283, 0.921514046, 0.922701135, 0.923879539,
    0.925049247, 0.926210249, 0.927362532, 0.928506087, 0.929640902, 0.930766968, 0.931884272,
    0.932992805, 0.934092557, 0.935183516, 0.936265673, 0.937339018, 0.938403540, 0.939459230,
    0.940506077, 0.941544071, 0.942573204, 0.943593464, 0.944604843, 0.945607331, 0.946600919,
    0.947585597, 0.948561356, 0.949528186, 0.950486080, 0.951435027, 0.952375018, 0.953306046,
    0.954228101, 0.955141174, 0.956045257, 0.956940341, 0.957826418, 0.958703480, 0.959571518,
    0.960430525, 0.961280491, 0.962121409, 0.962953272, 0.963776071, 0.964589798, 0.965394447,
    0.966190008, 0.966976476, 0.967753842, 0.968522099, 0.969281240, 0.970031258, 0.970772145,
    0.971503896, 0.972226502, 0.972939957, 0.973644254, 0.974339387, 0.975025349, 0.975702134,
    0.976369736, 0.977028147, 0.977677362, 0.978317375, 0.978948179, 0.979569770, 0.980182140,
    0.980785284, 0.981379197, 0.981963873, 0.982539306, 0.983105491, 0.983662423, 0.984210096,
    0.984748505, 0.985277646, 0.985797513, 0.986308101, 0.986809405, 0.987301421, 0.987784145,
    0.988257571, 0.988721695, 0.989176513, 0.989622020, 0.990058213, 0.990485087, 0.990902638,
    0.991310863, 0.991709756, 0.992099316, 0.992479537, 0.992850417, 0.993211952, 0.993564138,
    0.993906972, 0.994240452, 0.994564573, 0.994879333, 0.995184729, 0.995480758, 0.995767416,
    0.996044703, 0.996312614, 0.996571148, 0.996820301, 0.997060072, 0.997290458, 0.997511458,
    0.997723068, 0.997925288, 0.998118114, 0.998301546, 0.998475582, 0.998640219, 0.998795457,
    0.998941294, 0.999077729, 0.999204760, 0.999322385, 0.999430605, 0.999529418, 0.999618823,
    0.999698819, 0.999769406, 0.999830582, 0.999882348, 0.999924702, 0.999957645, 0.999981175,
    0.999995294, 1.0,
};

// Signs of the imaginary and real part by quadrant 0 .. 3.
const double PhaseSignImag[4] = {1.0, 1.0, -1.0, -1.0};
const double PhaseSignReal[4] = {1.0, -1.0, -1.0, 1.0};

void SeedIfPositive(int seed)
{
    if (seed > 0)
        SRand(static_cast<unsigned int>(seed));
}

// One draw quantised to a phase step 0 .. 2048 (2048 is the phase of step 0).
// The quotient is formed in the twin's own precision, so the float and double
// twins may land one step apart for a draw just below a step boundary.
int DrawPhaseStep(float)
{
    const float x = std::min(1.0f, static_cast<float>(Rand()) / 32767.0f);
    return static_cast<int>(x * 2048.0f);
}

int DrawPhaseStep(double)
{
    const double x = std::min(1.0, static_cast<double>(Rand()) / 32767.0);
    return static_cast<int>(x * 2048.0);
}

// Table entries of a step: the sine index (imaginary part), the cosine index
// (real part) and the quadrant. Bit 9 set mirrors the step inside the quadrant.
struct TableStep {
    int sine;
    int cosine;
    int quadrant;
};

TableStep SplitStep(int p)
{
    const int s = p & 0x1ff;
    const int q = (p & 0x600) >> 9;
    if ((p & 0x200) == 0)
        return {s, 512 - s, q};
    return {512 - s, s, q};
}

// pair = v * (cos t + i sin t), t = 2 pi p / 2048; the table value and its sign
// are multiplied in double and rounded to float before v enters.
void WriteLine(float* pair, int p, float v)
{
    const TableStep t = SplitStep(p);
    pair[1] = static_cast<float>(QuarterSineTable[t.sine] * PhaseSignImag[t.quadrant]) * v;
    pair[0] = static_cast<float>(QuarterSineTable[t.cosine] * PhaseSignReal[t.quadrant]) * v;
}

void WriteLine(double* pair, int p, double v)
{
    const TableStep t = SplitStep(p);
    pair[1] = QuarterSineTable[t.sine] * PhaseSignImag[t.quadrant] * v;
    pair[0] = QuarterSineTable[t.cosine] * PhaseSignReal[t.quadrant] * v;
}

// A positive power becomes its root, taken in double; anything else passes.
float PowerAmplitude(float v)
{
    return v > 0.0f ? static_cast<float>(std::sqrt(static_cast<double>(v))) : v;
}

double PowerAmplitude(double v)
{
    return v > 0.0 ? std::sqrt(v) : v;
}

template <typename T>
T SameAmplitude(T v)
{
    return v;
}

// Lines maxLine down to 1: descending, so that the pair of line k (indices 2k
// and 2k + 1) never lands on a profile value still to be read. DC is cleared
// last, also when no line was processed.
template <typename T>
void AddTablePhase(T* spectrum, int n, int maxLine, T (*amplitude)(T))
{
    if (maxLine > n / 2)
        return;
    for (int k = maxLine; k >= 1; --k) {
        const int p = DrawPhaseStep(T{});
        WriteLine(spectrum + 2 * k, p, amplitude(spectrum[k]));
    }
    spectrum[0] = T{0};
    spectrum[1] = T{0};
}

template <typename T>
void LoadPhases(T* phase, int n, int lineCount, int seed)
{
    SeedIfPositive(seed);
    if (lineCount > n / 2)
        return;
    for (int k = 1; k < lineCount; ++k)
        phase[k] = static_cast<T>(GetRandomValue(-3.141592653589793, 3.141592653589793));
    phase[0] = T{0};
}

// The bound is formed in the twin's precision and widened for the draw; the
// draw is rounded back before it is added.
template <typename T>
void DitherPhases(T* phase, int n, int lineCount, T percent, int seed)
{
    SeedIfPositive(seed);
    if (lineCount > n / 2)
        return;
    const T f = percent / T{100};
    for (int k = 1; k < lineCount; ++k) {
        const double d = std::fabs(static_cast<double>(f * phase[k]));
        phase[k] += static_cast<T>(GetRandomValue(-d, d));
    }
    phase[0] = T{0};
}

}  // namespace

void APSAddRandomPhase(float* spectrum, int n, int maxLine)
{
    AddTablePhase<float>(spectrum, n, maxLine, PowerAmplitude);
}

void APSAddRandomPhase(double* spectrum, int n, int maxLine)
{
    AddTablePhase<double>(spectrum, n, maxLine, PowerAmplitude);
}

void FRQAddRandomPhase(float* spectrum, int n, int maxLine, int seed)
{
    SeedIfPositive(seed);
    AddTablePhase<float>(spectrum, n, maxLine, SameAmplitude<float>);
}

void FRQAddRandomPhase(double* spectrum, int n, int maxLine, int seed)
{
    SeedIfPositive(seed);
    AddTablePhase<double>(spectrum, n, maxLine, SameAmplitude<double>);
}

void LoadRandomPhase(float* phase, int n, int lineCount, int seed)
{
    LoadPhases(phase, n, lineCount, seed);
}

void LoadRandomPhase(double* phase, int n, int lineCount, int seed)
{
    LoadPhases(phase, n, lineCount, seed);
}

void DitherRandomPhase(float* phase, int n, int lineCount, int /*reserved*/, float percent,
                       int seed)
{
    DitherPhases(phase, n, lineCount, percent, seed);
}

void DitherRandomPhase(double* phase, int n, int lineCount, int /*reserved*/, double percent,
                       int seed)
{
    DitherPhases(phase, n, lineCount, percent, seed);
}

}  // namespace math
}  // namespace qv
