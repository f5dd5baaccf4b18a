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

std::vector<int32_t> Dimensions(const EU_UNIT& row)
{
    return std::vector<int32_t>(row.dimensions, row.dimensions + 8);
}

// True when every byte is printable ASCII or superscript two or three.
bool PlainOrSuperscript(const CString& s)
{
    for (const char* p = s.GetString(); *p != '\0'; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if ((c < 0x20 || c > 0x7E) && c != 0xB2 && c != 0xB3)
            return false;
    }
    return true;
}

std::string Superscripted(std::string plain)
{
    for (size_t at; (at = plain.find('^')) != std::string::npos;)
        plain.replace(at, 2, plain[at + 1] == '2' ? "\xB2" : "\xB3");
    return plain;
}

// Exponents of metre, kilogram, second, ampere and kelvin read off a plain SI
// name such as "kg*m^2/(A*s^3)": everything after the '/' divides.
std::vector<int32_t> ExponentsOf(const std::string& siName)
{
    std::vector<int32_t> exponents(8, 0);
    int sign = 1;
    for (size_t at = 0; at < siName.size(); ++at) {
        if (siName[at] == '/')
            sign = -1;
        const bool kilogram = siName.compare(at, 2, "kg") == 0;
        const size_t base = kilogram ? 1 : std::string("m_sAK").find(siName[at]);
        if (base == std::string::npos)
            continue;
        at += kilogram ? 1 : 0;  // on the symbol's last letter
        int power = 1;
        if (at + 2 < siName.size() && siName[at + 1] == '^') {
            power = siName[at + 2] - '0';
            at += 2;
        }
        exponents[base] += sign * power;
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

TEST(EuTables, CountsDefaultsAndOutOfRangeRowsLeaveTheOutputAlone)
{
    EXPECT_TRUE(EuUnitsCount() == 117 && EuUnitAliasesCount() == 6 && EuInputDefaultsCount() == 3 &&
                EuTypeNamesCount() == 17);
    EU_UNIT unit;  // default construction leaves no field indeterminate
    EU_INPUT_DEFINITION definition;
    EXPECT_TRUE(unit.factor == 0.0 && unit.dimensions[7] == 0 && definition.type == EuTypeNone &&
                definition.levels[4].scale == 0.0f && EU_UNIT_ALIAS().type == EuTypeNone);
    unit.unitName = "kept";
    EU_UNIT_ALIAS alias{"kept", EuTypeForce};
    definition.inputUnit = "kept";
    CString name("kept");
    EXPECT_FALSE(EuUnitsRow(-1, unit) || EuUnitsRow(117, unit) || EuUnitAliasesRow(6, alias) ||
                 EuUnitAliasesRow(-1, alias) || EuInputDefaultsRow(3, definition) ||
                 EuInputDefaultsRow(-1, definition) || EuTypeNamesRow(17, name) || EuTypeNamesRow(-1, name));
    EXPECT_TRUE(Str(unit.unitName) == "kept" && Str(alias.unitName) == "kept" && alias.type == EuTypeForce &&
                Str(definition.inputUnit) == "kept" && Str(name) == "kept");
}

TEST(EuTables, UnitRowsInFull)
{
    const EU_UNIT first = Unit(0);
    EXPECT_EQ("meter/sec\xB2", Str(first.unitName));
    EXPECT_EQ("Acceleration", Str(first.quantity));
    EXPECT_EQ("m/s^2", Str(first.siName));
    EXPECT_EQ("application/x-asam.aoquantity.vibrationacceleration", Str(first.mimeType));
    EXPECT_EQ(std::vector<int32_t>({1, 0, -2, 0, 0, 0, 0, 0}), Dimensions(first));
    EXPECT_TRUE(first.factor == 1.0 && first.offset == 0.0);
    EXPECT_EQ("m/s\xB2", Str(first.siUnit));
    EXPECT_EQ(4, first.siUnit.GetLength());  // one byte for the superscript

    const EU_UNIT fahrenheit = Unit(95);
    EXPECT_TRUE(Str(fahrenheit.unitName) == "degf" && fahrenheit.factor == 0.5555555 && fahrenheit.offset == 255.3722);

    for (int index : {115, 116}) {
        const EU_UNIT empty = Unit(index);
        EXPECT_TRUE(empty.unitName.IsEmpty() && empty.quantity.IsEmpty() && empty.siName.IsEmpty() &&
                    empty.mimeType.IsEmpty() && empty.siUnit.IsEmpty() && empty.factor == 1.0);
        EXPECT_EQ(std::vector<int32_t>(8, 0), Dimensions(empty));
    }
}

TEST(EuTables, RowsBelongToTheirQuantityRunsWithTheirMimeTypes)
{
    // First row of each run of rows sharing a quantity; the mime type's last word.
    const struct {
        int first;
        const char* quantity;
        const char* mime;
    } runs[] = {
        {0, "Acceleration", "vibrationacceleration"}, {33, "Velocity", "vibrationvelocity"},
        {49, "Displacement", "vibrationdisplacement"}, {58, "Frequency", "frequency"},
        {60, "Rpm", "rotationalspeed"}, {66, "Volts", "volts"}, {72, "Torque", "torque"}, {75, "Time", nullptr},
        {78, "Power", "power"}, {82, "Pressure", "pressure"}, {83, "PSI Pressure", "pressure"},
        {84, "PSIA Pressure", "pressure"}, {85, "Pascal", "pressure"}, {86, "kPascal", "pressure"},
        {87, "MPascal", "pressure"}, {88, "Force", "force"}, {90, "Temperature", "temperature"},
        {96, "Energy", "energy"}, {98, "Strain", "strain"}, {99, "microStrain", "microstrain"},
        {101, "Current", "current"}, {107, "ApparentPower", "power"}, {111, "ReactivePower", "power"},
        {115, "", nullptr}, {117, nullptr, nullptr},
    };
    int run = 0;
    for (int index = 0; index < EuUnitsCount(); ++index) {
        run += runs[run + 1].first == index ? 1 : 0;
        const EU_UNIT row = Unit(index);
        EXPECT_EQ(runs[run].quantity, Str(row.quantity)) << "row " << index;
        EXPECT_EQ(runs[run].mime ? std::string("application/x-asam.aoquantity.") + runs[run].mime : "",
                  Str(row.mimeType)) << "row " << index;
    }
    EXPECT_TRUE(Unit(82).unitName.Compare("psi") == 0 && Unit(83).unitName.Compare("psi") == 0);
}

// The aliases and input defaults are checked byte for byte elsewhere.
TEST(EuTables, StringsAreSingleByteAndTheSIColumnsAgree)
{
    for (int index = 0; index < EuUnitsCount(); ++index) {
        const EU_UNIT row = Unit(index);
        for (const CString* s : {&row.unitName, &row.quantity, &row.siName, &row.mimeType, &row.siUnit})
            EXPECT_TRUE(PlainOrSuperscript(*s)) << "row " << index << " \"" << s->GetString() << '"';
        EXPECT_EQ(Superscripted(Str(row.siName)), Str(row.siUnit)) << "row " << index;
        EXPECT_EQ(std::string::npos, Str(row.siName).find_first_of("\xB2\xB3")) << "row " << index;
        EXPECT_EQ(ExponentsOf(Str(row.siName)), Dimensions(row)) << "row " << index;
    }
}

TEST(EuTables, FactorsAndOffsetsKeepTheControllersValues)
{
    EXPECT_TRUE(Unit(16).factor == 0.304799735 && Unit(55).factor == 0.304799735);  // the foot, not 0.3048
    EXPECT_TRUE(Unit(60).factor == 0.01666666 && Unit(65).factor == 0.01666666);    // "rps" as "rpm"
    EXPECT_TRUE(Unit(78).factor == 1000000.0 && Unit(79).factor == 1000000.0);      // "mwatt", "mw"
    EXPECT_TRUE(Unit(32).factor == 9.80665 && Unit(84).factor == 6894.759 && Unit(106).factor == 0.000001);
    for (int index = 0; index < EuUnitsCount(); ++index) {
        const double expected = index == 92 || index == 93 ? 273.15 : index == 94 || index == 95 ? 255.3722 : 0.0;
        EXPECT_EQ(expected, Unit(index).offset) << "row " << index;
    }
}

TEST(EuTables, AliasAndTypeNamesInFull)
{
    EU_UNIT_ALIAS alias;
    EXPECT_TRUE(EuUnitAliasesRow(4, alias) && Str(alias.unitName) == "uStrain p-p" && alias.type == EuTypeNoUnits);
    const char* names[] = {"",        "Acceleration", "Velocity", "Displacement", "Frequency", "Rpm",
                           "Volts",   "Torque",       "Power",    "Pressure",     "Force",     "Temperature",
                           "Energy",  "Strain",       "Current",  "General EU",   "No Units"};
    for (int index = 0; index < 17; ++index) {
        CString name("sentinel");
        EXPECT_TRUE(EuTypeNamesRow(index, name) && Str(name) == names[index]) << "type " << index;
    }
    EXPECT_TRUE(EuTypeGeneral == 15 && EuTypeNoUnits == 16);
}

TEST(EuTables, InputDefaultsInFullWithSinglePrecisionScales)
{
    // 386.088582283355 -> 0x43C10B57 and 9.80665 -> 0x411CE80A in float; 1, 1000.
    const char* units[3][5] = {{"g", "in/sec", "inch", "", ""}, {"g", "m/sec", "mm", "", ""},
                               {"m/sec\xB2", "m/sec", "mm", "", ""}};
    const uint32_t scales[3][5] = {{0x3F800000u, 0x43C10B57u, 0x3F800000u, 0x3F800000u, 0x3F800000u},
                                   {0x3F800000u, 0x411CE80Au, 0x447A0000u, 0x3F800000u, 0x3F800000u},
                                   {0x411CE80Au, 0x3F800000u, 0x447A0000u, 0x3F800000u, 0x3F800000u}};
    for (int index = 0; index < 3; ++index) {
        EU_INPUT_DEFINITION definition;
        ASSERT_TRUE(EuInputDefaultsRow(index, definition));
        EXPECT_TRUE(Str(definition.inputUnit) == "g" && Str(definition.baseUnit) == "m/s\xB2" &&
                    definition.type == EuTypeAcceleration);
        for (int level = 0; level < 5; ++level) {
            EXPECT_EQ(units[index][level], Str(definition.levels[level].unit));
            EXPECT_EQ(scales[index][level], FloatBits(definition.levels[level].scale))
                << "row " << index << " level " << level;
        }
    }
}
