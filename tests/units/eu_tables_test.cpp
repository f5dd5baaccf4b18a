#include "numora/units/eu_tables.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/support.h"

using namespace qv::eu;

namespace {

EU_UNIT Unit(int index)
{
    EU_UNIT row{};
    EXPECT_TRUE(EuUnitsRow(index, row)) << "row " << index;
    return row;
}

std::string Str(const CString& s)
{
    return s.GetString();
}

// A string's bytes are printable ASCII or the superscripts two and three.
::testing::AssertionResult PlainOrSuperscript(const CString& s)
{
    for (const char* p = s.GetString(); *p != '\0'; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if (!(c >= 0x20 && c <= 0x7E) && c != 0xB2 && c != 0xB3)
            return ::testing::AssertionFailure() << "byte " << int{c} << " in \"" << s.GetString() << "\"";
    }
    return ::testing::AssertionSuccess();
}

std::string Superscripted(std::string plain)
{
    for (size_t at; (at = plain.find("^2")) != std::string::npos;)
        plain.replace(at, 2, "\xB2");
    for (size_t at; (at = plain.find("^3")) != std::string::npos;)
        plain.replace(at, 2, "\xB3");
    return plain;
}

// Exponents of metre, kilogram, second, ampere and kelvin read off a plain SI
// name such as "kg*m^2/(A*s^3)": everything after the '/' is divided.
std::vector<int32_t> ExponentsOf(const std::string& siName)
{
    std::vector<int32_t> exponents(8, 0);
    int sign = 1;
    for (size_t at = 0; at < siName.size();) {
        const char c = siName[at];
        int base = -1;
        size_t length = 1;
        if (siName.compare(at, 2, "kg") == 0) {
            base = 1;
            length = 2;
        } else if (c == 'm' || c == 's' || c == 'A' || c == 'K') {
            base = c == 'm' ? 0 : c == 's' ? 2 : c == 'A' ? 3 : 4;
        } else if (c == '/') {
            sign = -1;
        }
        at += length;
        int power = 1;
        if (base >= 0 && at + 1 < siName.size() && siName[at] == '^') {
            power = siName[at + 1] - '0';
            at += 2;
        }
        if (base >= 0)
            exponents[static_cast<size_t>(base)] += sign * power;
    }
    return exponents;
}

uint32_t FloatBits(float x)
{
    uint32_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    return bits;
}

}  // namespace

TEST(EuTables, CountsAndOutOfRangeRowsLeaveTheOutputAlone)
{
    EXPECT_EQ(117, EuUnitsCount());
    EXPECT_EQ(6, EuUnitAliasesCount());
    EXPECT_EQ(3, EuInputDefaultsCount());
    EXPECT_EQ(17, EuTypeNamesCount());

    EU_UNIT unit{};
    unit.unitName = "kept";
    EU_UNIT_ALIAS alias{"kept", EuTypeForce};
    EU_INPUT_DEFINITION definition;
    definition.inputUnit = "kept";
    CString name("kept");
    for (int index : {-1, 117}) {
        EXPECT_FALSE(EuUnitsRow(index, unit));
    }
    EXPECT_FALSE(EuUnitAliasesRow(6, alias) || EuUnitAliasesRow(-1, alias));
    EXPECT_FALSE(EuInputDefaultsRow(3, definition) || EuInputDefaultsRow(-1, definition));
    EXPECT_FALSE(EuTypeNamesRow(17, name) || EuTypeNamesRow(-1, name));
    EXPECT_EQ("kept", Str(unit.unitName));
    EXPECT_TRUE(Str(alias.unitName) == "kept" && alias.type == EuTypeForce);
    EXPECT_EQ("kept", Str(definition.inputUnit));
    EXPECT_EQ("kept", Str(name));
}

TEST(EuTables, UnitRowsInFull)
{
    const EU_UNIT first = Unit(0);
    EXPECT_EQ("meter/sec\xB2", Str(first.unitName));
    EXPECT_EQ("Acceleration", Str(first.quantity));
    EXPECT_EQ("m/s^2", Str(first.siName));
    EXPECT_EQ("application/x-asam.aoquantity.vibrationacceleration", Str(first.mimeType));
    EXPECT_EQ(std::vector<int32_t>({1, 0, -2, 0, 0, 0, 0, 0}),
              std::vector<int32_t>(first.dimensions, first.dimensions + 8));
    EXPECT_TRUE(first.factor == 1.0 && first.offset == 0.0);
    EXPECT_EQ(std::string("m/s\xB2"), Str(first.siUnit));
    EXPECT_EQ(4, first.siUnit.GetLength());  // one byte for the superscript

    const EU_UNIT millivolt = Unit(71);
    EXPECT_EQ("mv", Str(millivolt.unitName));
    EXPECT_EQ("kg*m\xB2/(A*s\xB3)", Str(millivolt.siUnit));
    EXPECT_EQ("application/x-asam.aoquantity.volts", Str(millivolt.mimeType));
    EXPECT_EQ(std::vector<int32_t>({2, 1, -3, -1, 0, 0, 0, 0}),
              std::vector<int32_t>(millivolt.dimensions, millivolt.dimensions + 8));
    EXPECT_EQ(0.001, millivolt.factor);

    const EU_UNIT fahrenheit = Unit(95);
    EXPECT_EQ("degf", Str(fahrenheit.unitName));
    EXPECT_TRUE(fahrenheit.factor == 0.5555555 && fahrenheit.offset == 255.3722);
    EXPECT_EQ(std::vector<int32_t>({0, 0, 0, 0, 1, 0, 0, 0}),
              std::vector<int32_t>(fahrenheit.dimensions, fahrenheit.dimensions + 8));

    const EU_UNIT seconds = Unit(75);  // a quantity that is no type name, without a mime type
    EXPECT_TRUE(Str(seconds.quantity) == "Time" && seconds.mimeType.IsEmpty() && seconds.siUnit.Compare("s") == 0);

    for (int index : {115, 116}) {
        const EU_UNIT empty = Unit(index);
        EXPECT_TRUE(empty.unitName.IsEmpty() && empty.quantity.IsEmpty() && empty.siName.IsEmpty() &&
                    empty.mimeType.IsEmpty() && empty.siUnit.IsEmpty());
        EXPECT_TRUE(empty.factor == 1.0 && empty.offset == 0.0);
        for (int32_t d : empty.dimensions)
            EXPECT_EQ(0, d);
    }
}

TEST(EuTables, RowsBelongToTheirQuantityGroups)
{
    // First row of each run of rows sharing a quantity, and the last word of
    // its mime type.
    const struct {
        int first;
        const char* quantity;
        const char* mime;
    } runs[] = {
        {0, "Acceleration", "vibrationacceleration"},
        {33, "Velocity", "vibrationvelocity"},
        {49, "Displacement", "vibrationdisplacement"},
        {58, "Frequency", "frequency"},
        {60, "Rpm", "rotationalspeed"},
        {66, "Volts", "volts"},
        {72, "Torque", "torque"},
        {75, "Time", nullptr},
        {78, "Power", "power"},
        {82, "Pressure", "pressure"},
        {83, "PSI Pressure", "pressure"},
        {84, "PSIA Pressure", "pressure"},
        {85, "Pascal", "pressure"},
        {86, "kPascal", "pressure"},
        {87, "MPascal", "pressure"},
        {88, "Force", "force"},
        {90, "Temperature", "temperature"},
        {96, "Energy", "energy"},
        {98, "Strain", "strain"},
        {99, "microStrain", "microstrain"},
        {101, "Current", "current"},
        {107, "ApparentPower", "power"},
        {111, "ReactivePower", "power"},
        {115, "", nullptr},
    };
    int run = 0;
    for (int index = 0; index < EuUnitsCount(); ++index) {
        if (run + 1 < static_cast<int>(sizeof runs / sizeof runs[0]) && runs[run + 1].first == index)
            ++run;
        const EU_UNIT row = Unit(index);
        EXPECT_EQ(runs[run].quantity, Str(row.quantity)) << "row " << index;
        const std::string mime = runs[run].mime ? std::string("application/x-asam.aoquantity.") + runs[run].mime : "";
        EXPECT_EQ(mime, Str(row.mimeType)) << "row " << index;
    }
    // The key "psi" stands twice, under two quantities.
    EXPECT_TRUE(Unit(82).unitName.Compare("psi") == 0 && Unit(83).unitName.Compare("psi") == 0);
}

TEST(EuTables, StringsAreSingleByteAndTheSIColumnsAgree)
{
    for (int index = 0; index < EuUnitsCount(); ++index) {
        const EU_UNIT row = Unit(index);
        for (const CString* s : {&row.unitName, &row.quantity, &row.siName, &row.mimeType, &row.siUnit})
            EXPECT_TRUE(PlainOrSuperscript(*s)) << "row " << index;
        EXPECT_EQ(Superscripted(Str(row.siName)), Str(row.siUnit)) << "row " << index;
        EXPECT_EQ(std::string::npos, Str(row.siName).find_first_of("\xB2\xB3")) << "row " << index;
        EXPECT_EQ(ExponentsOf(Str(row.siName)), std::vector<int32_t>(row.dimensions, row.dimensions + 8))
            << "row " << index;
        // A key written with a superscript has a twin written with ^ in the
        // same run of rows, with the same factor.
        const std::string key = Str(row.unitName);
        if (key.find('\xB2') != std::string::npos) {
            bool twin = false;
            for (int other = 0; other < EuUnitsCount(); ++other) {
                const EU_UNIT candidate = Unit(other);
                if (Superscripted(Str(candidate.unitName)) == key && candidate.unitName.Compare(key.c_str()) != 0)
                    twin = candidate.factor == row.factor && candidate.quantity.Compare(row.quantity) == 0;
            }
            EXPECT_TRUE(twin) << key;
        }
    }
    for (int index = 0; index < EuUnitAliasesCount(); ++index) {
        EU_UNIT_ALIAS alias;
        ASSERT_TRUE(EuUnitAliasesRow(index, alias));
        EXPECT_TRUE(PlainOrSuperscript(alias.unitName));
    }
    for (int index = 0; index < EuInputDefaultsCount(); ++index) {
        EU_INPUT_DEFINITION definition;
        ASSERT_TRUE(EuInputDefaultsRow(index, definition));
        EXPECT_TRUE(PlainOrSuperscript(definition.inputUnit) && PlainOrSuperscript(definition.baseUnit));
        for (const EU_LEVEL& level : definition.levels)
            EXPECT_TRUE(PlainOrSuperscript(level.unit));
    }
}

TEST(EuTables, FactorsKeepTheControllersValues)
{
    EXPECT_EQ(0.304799735, Unit(16).factor);  // feet, not 0.3048
    EXPECT_EQ(0.304799735, Unit(55).factor);
    EXPECT_EQ(9.80665, Unit(32).factor);
    for (int index = 60; index <= 65; ++index)  // per second carries the per-minute factor
        EXPECT_EQ(0.01666666, Unit(index).factor) << Str(Unit(index).unitName);
    EXPECT_TRUE(Unit(78).factor == 1000000.0 && Unit(79).factor == 1000000.0);  // "mwatt", "mw"
    EXPECT_TRUE(Unit(82).factor == 6894.759 && Unit(84).factor == 6894.759);
    EXPECT_TRUE(Unit(99).factor == 0.000001 && Unit(106).factor == 0.000001);
    for (int index = 0; index < EuUnitsCount(); ++index) {
        const double offset = Unit(index).offset;
        if (index == 92 || index == 93)
            EXPECT_EQ(273.15, offset);
        else if (index == 94 || index == 95)
            EXPECT_EQ(255.3722, offset);
        else
            EXPECT_EQ(0.0, offset) << "row " << index;
    }
}

TEST(EuTables, AliasesAndTypeNamesInFull)
{
    const struct {
        const char* name;
        TransducerTypeEU type;
    } aliases[] = {{"g peak", EuTypeAcceleration}, {"psi p-p", EuTypePressure}, {"psi peak", EuTypePressure},
                   {"uStrain", EuTypeNoUnits},     {"uStrain p-p", EuTypeNoUnits}, {"Pa", EuTypePressure}};
    for (int index = 0; index < 6; ++index) {
        EU_UNIT_ALIAS alias;
        ASSERT_TRUE(EuUnitAliasesRow(index, alias));
        EXPECT_EQ(aliases[index].name, Str(alias.unitName));
        EXPECT_EQ(aliases[index].type, alias.type);
    }
    const char* names[] = {"",       "Acceleration", "Velocity", "Displacement", "Frequency", "Rpm",
                           "Volts",  "Torque",       "Power",    "Pressure",     "Force",     "Temperature",
                           "Energy", "Strain",       "Current",  "General EU",   "No Units"};
    for (int index = 0; index < 17; ++index) {
        CString name("sentinel");
        ASSERT_TRUE(EuTypeNamesRow(index, name));
        EXPECT_EQ(names[index], Str(name));
    }
    EXPECT_EQ(16, EuTypeNoUnits);
}

TEST(EuTables, InputDefaultsInFullWithSinglePrecisionScales)
{
    const struct {
        const char* unit;
        uint32_t scaleBits;
    } levels[3][3] = {
        // 386.088582283355 -> 0x43C10B57, 9.80665 -> 0x411CE80A, 1 and 1000.
        {{"g", 0x3F800000u}, {"in/sec", 0x43C10B57u}, {"inch", 0x3F800000u}},
        {{"g", 0x3F800000u}, {"m/sec", 0x411CE80Au}, {"mm", 0x447A0000u}},
        {{"m/sec\xB2", 0x411CE80Au}, {"m/sec", 0x3F800000u}, {"mm", 0x447A0000u}},
    };
    for (int index = 0; index < 3; ++index) {
        EU_INPUT_DEFINITION definition;
        ASSERT_TRUE(EuInputDefaultsRow(index, definition));
        EXPECT_EQ("g", Str(definition.inputUnit));
        EXPECT_EQ("m/s\xB2", Str(definition.baseUnit));
        EXPECT_EQ(EuTypeAcceleration, definition.type);
        for (int level = 0; level < 5; ++level) {
            const bool spare = level >= 3;
            EXPECT_EQ(spare ? "" : levels[index][level].unit, Str(definition.levels[level].unit));
            EXPECT_EQ(spare ? 0x3F800000u : levels[index][level].scaleBits, FloatBits(definition.levels[level].scale))
                << "row " << index << " level " << level;
        }
    }
}

TEST(EuTables, ARowIsACopyThatLeavesTheTableUnchanged)
{
    EU_UNIT row = Unit(32);
    row.unitName += " changed";
    row.factor = 0.0;
    EU_INPUT_DEFINITION definition;
    ASSERT_TRUE(EuInputDefaultsRow(0, definition));
    definition.levels[1].unit = "changed";
    const EU_UNIT again = Unit(32);
    ASSERT_TRUE(EuInputDefaultsRow(0, definition));
    EXPECT_TRUE(again.unitName.Compare("g") == 0 && again.factor == 9.80665);
    EXPECT_EQ("in/sec", Str(definition.levels[1].unit));
}
