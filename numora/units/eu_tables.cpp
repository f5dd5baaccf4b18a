#include "numora/units/eu_tables.h"

#include "numora/units/eu_tables_detail.h"

// Strings are Windows-1252 bytes: "\xB2" is superscript two, "\xB3" superscript
// three. Every table below is constant-initialised: no code runs at load.

#define EU_ASAM_QUANTITY(word) "application/x-asam.aoquantity." word

namespace qv {
namespace eu {
namespace detail {

namespace {

// Indices into unitGroups, in the order of the rows that use them.
enum UnitGroup : int {
    acceleration,
    velocity,
    displacement,
    frequency,
    rpm,
    volts,
    torque,
    time,
    power,
    pressure,
    psiPressure,
    psiaPressure,
    pascal,
    kPascal,
    mPascal,
    force,
    temperature,
    energy,
    strain,
    microStrain,
    current,
    apparentPower,
    reactivePower,
    noGroup,
    unitGroupCount
};

// Factors that several rows share.
constexpr double foot = 0.304799735;
constexpr double inch = 0.0254;
constexpr double revolution = 0.01666666;
constexpr double psiFactor = 6894.759;

}  // namespace

constexpr UnitGroupData unitGroups[unitGroupCount] = {
    {"Acceleration", "m/s^2", "m/s\xB2", EU_ASAM_QUANTITY("vibrationacceleration"), {1, 0, -2, 0, 0}},
    {"Velocity", "m/s", "m/s", EU_ASAM_QUANTITY("vibrationvelocity"), {1, 0, -1, 0, 0}},
    {"Displacement", "m", "m", EU_ASAM_QUANTITY("vibrationdisplacement"), {1, 0, 0, 0, 0}},
    {"Frequency", "1/s", "1/s", EU_ASAM_QUANTITY("frequency"), {0, 0, -1, 0, 0}},
    {"Rpm", "1/s", "1/s", EU_ASAM_QUANTITY("rotationalspeed"), {0, 0, -1, 0, 0}},
    {"Volts", "kg*m^2/(A*s^3)", "kg*m\xB2/(A*s\xB3)", EU_ASAM_QUANTITY("volts"), {2, 1, -3, -1, 0}},
    {"Torque", "kg*m^2/s^2", "kg*m\xB2/s\xB2", EU_ASAM_QUANTITY("torque"), {2, 1, -2, 0, 0}},
    {"Time", "s", "s", "", {0, 0, 1, 0, 0}},
    {"Power", "kg*m^2/s^3", "kg*m\xB2/s\xB3", EU_ASAM_QUANTITY("power"), {2, 1, -3, 0, 0}},
    {"Pressure", "kg/(m*s^2)", "kg/(m*s\xB2)", EU_ASAM_QUANTITY("pressure"), {-1, 1, -2, 0, 0}},
    {"PSI Pressure", "kg/(m*s^2)", "kg/(m*s\xB2)", EU_ASAM_QUANTITY("pressure"), {-1, 1, -2, 0, 0}},
    {"PSIA Pressure", "kg/(m*s^2)", "kg/(m*s\xB2)", EU_ASAM_QUANTITY("pressure"), {-1, 1, -2, 0, 0}},
    {"Pascal", "kg/(m*s^2)", "kg/(m*s\xB2)", EU_ASAM_QUANTITY("pressure"), {-1, 1, -2, 0, 0}},
    {"kPascal", "kg/(m*s^2)", "kg/(m*s\xB2)", EU_ASAM_QUANTITY("pressure"), {-1, 1, -2, 0, 0}},
    {"MPascal", "kg/(m*s^2)", "kg/(m*s\xB2)", EU_ASAM_QUANTITY("pressure"), {-1, 1, -2, 0, 0}},
    {"Force", "kg*m/s^2", "kg*m/s\xB2", EU_ASAM_QUANTITY("force"), {1, 1, -2, 0, 0}},
    {"Temperature", "K", "K", EU_ASAM_QUANTITY("temperature"), {0, 0, 0, 0, 1}},
    {"Energy", "kg*m^2/s^2", "kg*m\xB2/s\xB2", EU_ASAM_QUANTITY("energy"), {2, 1, -2, 0, 0}},
    {"Strain", "m", "m", EU_ASAM_QUANTITY("strain"), {1, 0, 0, 0, 0}},
    {"microStrain", "m", "m", EU_ASAM_QUANTITY("microstrain"), {1, 0, 0, 0, 0}},
    {"Current", "A", "A", EU_ASAM_QUANTITY("current"), {0, 0, 0, 1, 0}},
    {"ApparentPower", "kg*m^2/s^3", "kg*m\xB2/s\xB3", EU_ASAM_QUANTITY("power"), {2, 1, -3, 0, 0}},
    {"ReactivePower", "kg*m^2/s^3", "kg*m\xB2/s\xB3", EU_ASAM_QUANTITY("power"), {2, 1, -3, 0, 0}},
    {"", "", "", "", {0, 0, 0, 0, 0}},
};

// The key "psi" stands twice (rows 82 and 83); a search finds the first.
// The values are kept as the controller has always used them: the foot is
// 0.304799735 m, revolutions per second carry the per-minute factor, and
// "mwatt" and "mw" hold 1000000.
constexpr UnitRowData unitRows[] = {
    {"meter/sec\xB2", acceleration, 1.0, 0.0},  // 0
    {"meter/sec^2", acceleration, 1.0, 0.0},
    {"meter/s\xB2", acceleration, 1.0, 0.0},
    {"meter/s^2", acceleration, 1.0, 0.0},
    {"m/sec\xB2", acceleration, 1.0, 0.0},
    {"m/sec^2", acceleration, 1.0, 0.0},
    {"m/s\xB2", acceleration, 1.0, 0.0},
    {"m/s^2", acceleration, 1.0, 0.0},
    {"cm/sec\xB2", acceleration, 0.01, 0.0},  // 8
    {"cm/sec^2", acceleration, 0.01, 0.0},
    {"cm/s\xB2", acceleration, 0.01, 0.0},
    {"cm/s^2", acceleration, 0.01, 0.0},
    {"mm/sec\xB2", acceleration, 0.001, 0.0},  // 12
    {"mm/sec^2", acceleration, 0.001, 0.0},
    {"mm/s\xB2", acceleration, 0.001, 0.0},
    {"mm/s^2", acceleration, 0.001, 0.0},
    {"feet/sec\xB2", acceleration, foot, 0.0},  // 16
    {"feet/s\xB2", acceleration, foot, 0.0},
    {"feet/sec^2", acceleration, foot, 0.0},
    {"feet/s^2", acceleration, foot, 0.0},
    {"ft/sec\xB2", acceleration, foot, 0.0},
    {"ft/s\xB2", acceleration, foot, 0.0},
    {"ft/sec^2", acceleration, foot, 0.0},
    {"ft/s^2", acceleration, foot, 0.0},
    {"inch/sec\xB2", acceleration, inch, 0.0},  // 24
    {"inch/s\xB2", acceleration, inch, 0.0},
    {"inch/sec^2", acceleration, inch, 0.0},
    {"inch/s^2", acceleration, inch, 0.0},
    {"in/sec\xB2", acceleration, inch, 0.0},
    {"in/s\xB2", acceleration, inch, 0.0},
    {"in/sec^2", acceleration, inch, 0.0},
    {"in/s^2", acceleration, inch, 0.0},
    {"g", acceleration, 9.80665, 0.0},  // 32
    {"meter/sec", velocity, 1.0, 0.0},  // 33
    {"meter/s", velocity, 1.0, 0.0},
    {"m/sec", velocity, 1.0, 0.0},
    {"m/s", velocity, 1.0, 0.0},
    {"cm/sec", velocity, 0.01, 0.0},  // 37
    {"cm/s", velocity, 0.01, 0.0},
    {"mm/sec", velocity, 0.001, 0.0},  // 39
    {"mm/s", velocity, 0.001, 0.0},
    {"feet/sec", velocity, foot, 0.0},  // 41
    {"feet/s", velocity, foot, 0.0},
    {"ft/sec", velocity, foot, 0.0},
    {"ft/s", velocity, foot, 0.0},
    {"inch/sec", velocity, inch, 0.0},  // 45
    {"inch/s", velocity, inch, 0.0},
    {"in/sec", velocity, inch, 0.0},
    {"in/s", velocity, inch, 0.0},
    {"meter", displacement, 1.0, 0.0},  // 49
    {"m", displacement, 1.0, 0.0},
    {"km", displacement, 1000.0, 0.0},
    {"cm", displacement, 0.01, 0.0},
    {"mm", displacement, 0.001, 0.0},
    {"feet", displacement, foot, 0.0},  // 54
    {"ft", displacement, foot, 0.0},
    {"inch", displacement, inch, 0.0},
    {"in", displacement, inch, 0.0},
    {"hertz", frequency, 1.0, 0.0},  // 58
    {"hz", frequency, 1.0, 0.0},
    {"rpm", rpm, revolution, 0.0},  // 60
    {"rev/min", rpm, revolution, 0.0},
    {"rev/sec", rpm, revolution, 0.0},
    {"r/sec", rpm, revolution, 0.0},
    {"r/s", rpm, revolution, 0.0},
    {"rps", rpm, revolution, 0.0},
    {"volts", volts, 1.0, 0.0},  // 66
    {"volt", volts, 1.0, 0.0},
    {"v", volts, 1.0, 0.0},
    {"mvolts", volts, 0.001, 0.0},
    {"mvolt", volts, 0.001, 0.0},
    {"mv", volts, 0.001, 0.0},
    {"nmeter", torque, 1.0, 0.0},  // 72
    {"nm", torque, 1.0, 0.0},
    {"knm", torque, 1000.0, 0.0},
    {"sec", time, 1.0, 0.0},  // 75
    {"msec", time, 0.001, 0.0},
    {"ms", time, 0.001, 0.0},
    {"mwatt", power, 1000000.0, 0.0},  // 78
    {"mw", power, 1000000.0, 0.0},
    {"watt", power, 1.0, 0.0},
    {"w", power, 1.0, 0.0},
    {"psi", pressure, psiFactor, 0.0},  // 82
    {"psi", psiPressure, psiFactor, 0.0},
    {"psia", psiaPressure, psiFactor, 0.0},
    {"pa", pascal, 1.0, 0.0},  // 85
    {"kpa", kPascal, 1000.0, 0.0},
    {"mpa", mPascal, 1000000.0, 0.0},
    {"n", force, 1.0, 0.0},  // 88
    {"kn", force, 1000.0, 0.0},
    {"k", temperature, 1.0, 0.0},  // 90
    {"degk", temperature, 1.0, 0.0},
    {"c", temperature, 1.0, 273.15},
    {"degc", temperature, 1.0, 273.15},
    {"f", temperature, 0.5555555, 255.3722},
    {"degf", temperature, 0.5555555, 255.3722},
    {"joule", energy, 1.0, 0.0},  // 96
    {"kjoule", energy, 1000.0, 0.0},
    {"strain", strain, 1.0, 0.0},  // 98
    {"ustrain", microStrain, 0.000001, 0.0},
    {"ue", microStrain, 0.000001, 0.0},
    {"amp", current, 1.0, 0.0},  // 101
    {"mamp", current, 0.001, 0.0},
    {"uamp", current, 0.000001, 0.0},
    {"amperes", current, 1.0, 0.0},
    {"ma", current, 0.001, 0.0},
    {"ua", current, 0.000001, 0.0},
    {"kva", apparentPower, 1000.0, 0.0},  // 107
    {"va", apparentPower, 1.0, 0.0},
    {"voltamp", apparentPower, 1.0, 0.0},
    {"kvoltamp", apparentPower, 1000.0, 0.0},
    {"kvar", reactivePower, 1000.0, 0.0},  // 111
    {"var", reactivePower, 1.0, 0.0},
    {"voltampr", reactivePower, 1.0, 0.0},
    {"kvoltampr", reactivePower, 1000.0, 0.0},
    {"", noGroup, 1.0, 0.0},  // 115
    {"", noGroup, 1.0, 0.0},
};

constexpr AliasData aliases[] = {
    {"g peak", EuTypeAcceleration},
    {"psi p-p", EuTypePressure},
    {"psi peak", EuTypePressure},
    {"uStrain", EuTypeNoUnits},
    {"uStrain p-p", EuTypeNoUnits},
    {"Pa", EuTypePressure},
};

// An acceleration channel in g, integrated to inches, to metres and
// millimetres, and the same after converting to m/s^2. The scales are the
// integration constants, rounded once from double to float.
constexpr InputDefinitionData inputDefaults[] = {
    {"g", "m/s\xB2", EuTypeAcceleration,
     {{"g", 1.0f},
      {"in/sec", static_cast<float>(386.088582283355)},
      {"inch", 1.0f},
      {"", 1.0f},
      {"", 1.0f}}},
    {"g", "m/s\xB2", EuTypeAcceleration,
     {{"g", 1.0f},
      {"m/sec", static_cast<float>(9.80665)},
      {"mm", 1000.0f},
      {"", 1.0f},
      {"", 1.0f}}},
    {"g", "m/s\xB2", EuTypeAcceleration,
     {{"m/sec\xB2", static_cast<float>(9.80665)},
      {"m/sec", 1.0f},
      {"mm", 1000.0f},
      {"", 1.0f},
      {"", 1.0f}}},
};

constexpr const char* typeNames[] = {
    "",
    "Acceleration",
    "Velocity",
    "Displacement",
    "Frequency",
    "Rpm",
    "Volts",
    "Torque",
    "Power",
    "Pressure",
    "Force",
    "Temperature",
    "Energy",
    "Strain",
    "Current",
    "General EU",
    "No Units",
};

static_assert(sizeof(unitRows) / sizeof(unitRows[0]) == unitRowCount, "unit row count");
static_assert(sizeof(aliases) / sizeof(aliases[0]) == aliasCount, "alias count");
static_assert(sizeof(inputDefaults) / sizeof(inputDefaults[0]) == inputDefaultCount, "default count");
static_assert(sizeof(typeNames) / sizeof(typeNames[0]) == typeNameCount, "type name count");
static_assert(sizeof(typeNames) / sizeof(typeNames[0]) == EuTypeNoUnits + 1, "one name per type");

}  // namespace detail

int EuUnitsCount()
{
    return detail::unitRowCount;
}

bool EuUnitsRow(int index, EU_UNIT& row)
{
    if (index < 0 || index >= detail::unitRowCount)
        return false;
    const detail::UnitRowData& data = detail::unitRows[index];
    const detail::UnitGroupData& group = detail::unitGroups[data.group];
    row.unitName = data.unitName;
    row.quantity = group.quantity;
    row.siName = group.siName;
    row.mimeType = group.mimeType;
    for (int d = 0; d < 8; ++d)
        row.dimensions[d] = group.dimensions[d];
    row.factor = data.factor;
    row.offset = data.offset;
    row.siUnit = group.siUnit;
    return true;
}

int EuUnitAliasesCount()
{
    return detail::aliasCount;
}

bool EuUnitAliasesRow(int index, EU_UNIT_ALIAS& row)
{
    if (index < 0 || index >= detail::aliasCount)
        return false;
    row.unitName = detail::aliases[index].unitName;
    row.type = static_cast<TransducerTypeEU>(detail::aliases[index].type);
    return true;
}

int EuInputDefaultsCount()
{
    return detail::inputDefaultCount;
}

bool EuInputDefaultsRow(int index, EU_INPUT_DEFINITION& row)
{
    if (index < 0 || index >= detail::inputDefaultCount)
        return false;
    const detail::InputDefinitionData& data = detail::inputDefaults[index];
    row.inputUnit = data.inputUnit;
    row.baseUnit = data.baseUnit;
    row.type = static_cast<TransducerTypeEU>(data.type);
    for (int level = 0; level < 5; ++level) {
        row.levels[level].unit = data.levels[level].unit;
        row.levels[level].scale = data.levels[level].scale;
    }
    return true;
}

int EuTypeNamesCount()
{
    return detail::typeNameCount;
}

bool EuTypeNamesRow(int index, CString& name)
{
    if (index < 0 || index >= detail::typeNameCount)
        return false;
    name = detail::typeNames[index];
    return true;
}

}  // namespace eu
}  // namespace qv
