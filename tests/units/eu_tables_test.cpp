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

TEST(EuTables, RowsBelongToTheirQuantityRunsWithTheirSIColumnsAndMimeTypes)
{
    // First row of each run of rows sharing a quantity, its plain SI name, the
    // exponents of metre, kilogram, second, ampere, kelvin and three spare
    // dimensions, and the last word of the mime type.
    const struct {
        int first;
        const char* quantity;
        const char* siName;
        std::vector<int32_t> exponents;
        const char* mime;
    } runs[] = {
        {0, "Acceleration", "m/s^2", {1, 0, -2, 0, 0, 0, 0, 0}, "vibrationacceleration"},
        {33, "Velocity", "m/s", {1, 0, -1, 0, 0, 0, 0, 0}, "vibrationvelocity"},
        {49, "Displacement", "m", {1, 0, 0, 0, 0, 0, 0, 0}, "vibrationdisplacement"},
        {58, "Frequency", "1/s", {0, 0, -1, 0, 0, 0, 0, 0}, "frequency"},
        {60, "Rpm", "1/s", {0, 0, -1, 0, 0, 0, 0, 0}, "rotationalspeed"},
        {66, "Volts", "kg*m^2/(A*s^3)", {2, 1, -3, -1, 0, 0, 0, 0}, "volts"},
        {72, "Torque", "kg*m^2/s^2", {2, 1, -2, 0, 0, 0, 0, 0}, "torque"},
        {75, "Time", "s", {0, 0, 1, 0, 0, 0, 0, 0}, nullptr},
        {78, "Power", "kg*m^2/s^3", {2, 1, -3, 0, 0, 0, 0, 0}, "power"},
        {82, "Pressure", "kg/(m*s^2)", {-1, 1, -2, 0, 0, 0, 0, 0}, "pressure"},
        {83, "PSI Pressure", "kg/(m*s^2)", {-1, 1, -2, 0, 0, 0, 0, 0}, "pressure"},
        {84, "PSIA Pressure", "kg/(m*s^2)", {-1, 1, -2, 0, 0, 0, 0, 0}, "pressure"},
        {85, "Pascal", "kg/(m*s^2)", {-1, 1, -2, 0, 0, 0, 0, 0}, "pressure"},
        {86, "kPascal", "kg/(m*s^2)", {-1, 1, -2, 0, 0, 0, 0, 0}, "pressure"},
        {87, "MPascal", "kg/(m*s^2)", {-1, 1, -2, 0, 0, 0, 0, 0}, "pressure"},
        {88, "Force", "kg*m/s^2", {1, 1, -2, 0, 0, 0, 0, 0}, "force"},
        {90, "Temperature", "K", {0, 0, 0, 0, 1, 0, 0, 0}, "temperature"},
        {96, "Energy", "kg*m^2/s^2", {2, 1, -2, 0, 0, 0, 0, 0}, "energy"},
        {98, "Strain", "m", {1, 0, 0, 0, 0, 0, 0, 0}, "strain"},
        {99, "microStrain", "m", {1, 0, 0, 0, 0, 0, 0, 0}, "microstrain"},
        {101, "Current", "A", {0, 0, 0, 1, 0, 0, 0, 0}, "current"},
        {107, "ApparentPower", "kg*m^2/s^3", {2, 1, -3, 0, 0, 0, 0, 0}, "power"},
        {111, "ReactivePower", "kg*m^2/s^3", {2, 1, -3, 0, 0, 0, 0, 0}, "power"},
        {115, "", "", {0, 0, 0, 0, 0, 0, 0, 0}, nullptr},
        {117, nullptr, nullptr, {}, nullptr},
    };
    std::string plain = "\xB2\xB3";  // printable ASCII and the two superscript bytes
    for (char c = ' '; c <= '~'; ++c)
        plain += c;
    int run = 0;
    for (int index = 0; index < EuUnitsCount(); ++index) {
        run += runs[run + 1].first == index ? 1 : 0;
        const EU_UNIT row = Unit(index);
        std::string siUnit = runs[run].siName;  // the powers as superscript bytes
        for (size_t at; (at = siUnit.find('^')) != std::string::npos;)
            siUnit.replace(at, 2, siUnit[at + 1] == '2' ? "\xB2" : "\xB3");
        const std::vector<int32_t> dimensions(row.dimensions, row.dimensions + 8);
        EXPECT_TRUE(Str(row.quantity) == runs[run].quantity && Str(row.siName) == runs[run].siName &&
                    Str(row.siUnit) == siUnit && dimensions == runs[run].exponents)
            << "row " << index;
        EXPECT_EQ(runs[run].mime ? std::string("application/x-asam.aoquantity.") + runs[run].mime : "",
                  Str(row.mimeType)) << "row " << index;
        EXPECT_EQ(std::string::npos, Str(row.unitName).find_first_not_of(plain)) << "row " << index;
    }
    EXPECT_TRUE(Str(Unit(0).unitName) == "meter/sec\xB2" && Str(Unit(82).unitName) == "psi" &&
                Str(Unit(83).unitName) == "psi" && Unit(115).unitName.IsEmpty() && Unit(116).unitName.IsEmpty());
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

TEST(EuTables, TypeNamesAndInputDefaultsInFull)
{
    const char* names[] = {"",        "Acceleration", "Velocity", "Displacement", "Frequency", "Rpm",
                           "Volts",   "Torque",       "Power",    "Pressure",     "Force",     "Temperature",
                           "Energy",  "Strain",       "Current",  "General EU",   "No Units"};
    for (int index = 0; index < 17; ++index) {
        CString name("sentinel");
        EXPECT_TRUE(EuTypeNamesRow(index, name) && Str(name) == names[index]) << "type " << index;
    }
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
            uint32_t bits;
            std::memcpy(&bits, &definition.levels[level].scale, sizeof bits);
            EXPECT_TRUE(Str(definition.levels[level].unit) == units[index][level] && bits == scales[index][level])
                << "row " << index << " level " << level;
        }
    }
}
