#include "numora/units/eu_ops.h"

#include <map>
#include <string>

#include "tests/support/support.h"

using namespace qv::eu;

namespace {

std::string Str(const CString& s)
{
    return s.GetString();
}

}  // namespace

// The other lookups are compared with a model of the tables by the eu_ops fuzz target.
TEST(GetTypeFromUnitstr, DocumentedLookups)
{
    const std::map<std::string, TransducerTypeEU> cases = {
        {"G", EuTypeAcceleration}, {"g", EuTypeAcceleration}, {"M/S^2", EuTypeAcceleration},
        {"m/s\xB2", EuTypeAcceleration},
        {"psi", EuTypePressure},      // row 82, quantity "Pressure"
        {"psia", EuTypeNone},         // "PSIA Pressure" and no alias
        {"pa", EuTypePressure},       // "Pascal" leads nowhere, the alias "Pa" does
        {"PA", EuTypePressure}, {"kpa", EuTypeNone},
        {"uStrain", EuTypeNoUnits},  // the row "ustrain" is "microStrain": the alias decides
        {"strain", EuTypeStrain},
        {"sec", EuTypeNone}, {"ms", EuTypeNone}, {"s", EuTypeNone},  // "Time" is no type name
        {"rpm", EuTypeRpm}, {"hz", EuTypeFrequency}, {"volts", EuTypeVolts},
        {"kg*m\xB2/s\xB2", EuTypeTorque},  // torque before energy
        {"1/s", EuTypeFrequency},           // frequency before rpm
        {"m", EuTypeDisplacement},          // displacement before strain
        {"", EuTypeNone},                   // reaches the empty row 115
        {"KG*M\xB2/(a*S\xB3)", EuTypeVolts}, {"KG*M^2/(A*S^3)", EuTypeVolts}, {"kg/(m*s\xB2)", EuTypePressure},
        {"K", EuTypeTemperature}, {"A", EuTypeCurrent},
        // Every alias, in any case.
        {"g PEAK", EuTypeAcceleration}, {"PSI P-P", EuTypePressure}, {"psi peak", EuTypePressure},
        {"ustrain P-P", EuTypeNoUnits},
        // Superscripts are single bytes: neither UTF-8 nor the wrong power matches.
        {"m/s\xC2\xB2", EuTypeNone}, {"m/s\xB3", EuTypeNone}, {"m/s2", EuTypeNone},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.second, GetTypeFromUnitstr(c.first.c_str())) << '"' << c.first << '"';
    EXPECT_EQ(EuTypeNone, GetTypeFromUnitstr(nullptr));
}

TEST(GetSIUnitFromType, FirstRowOfTheQuantityIgnoringCase)
{
    const std::map<std::string, std::string> cases = {
        {"acceleration", "m/s\xB2"}, {"Rpm", "1/s"}, {"Time", "s"}, {"VOLTS", "kg*m\xB2/(A*s\xB3)"},
        {"psia pressure", "kg/(m*s\xB2)"}, {"microStrain", "m"}, {"ReactivePower", "kg*m\xB2/s\xB3"},
        {"Temperature", "K"}, {"General EU", ""}, {"No Units", ""}, {"", ""}, {"Acceleration ", ""}, {"m/s^2", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.second, Str(GetSIUnitFromType(c.first.c_str()))) << '"' << c.first << '"';
    EXPECT_TRUE(GetSIUnitFromType(nullptr).IsEmpty());
}

TEST(BuildEuEntry, NameAndPartsMayBeTheEntrysOwnText)
{
    CString entry("Ch1");
    BuildEuEntry(entry, entry.GetString(), entry.GetString(), nullptr, entry.GetString(), "");
    EXPECT_EQ("Ch1 (Ch1, Ch1)", Str(entry));
    BuildEuEntry(entry, nullptr, nullptr, nullptr, nullptr, "g");  // a null name is empty
    EXPECT_EQ(" (g)", Str(entry));
}

TEST(EuUtf8, TypedUtf8UnitsResolveAfterConversionAndTheHighBlockMapsToItsCharacters)
{
    CString text("unset");
    EXPECT_TRUE(Utf8ToEuString("m/s\xC2\xB2", text) && GetTypeFromUnitstr(text) == EuTypeAcceleration);
    EXPECT_EQ("kg*m\xC2\xB2/(A*s\xC2\xB3)", Str(EuStringToUtf8(GetSIUnitFromType("Volts"))));
    EXPECT_TRUE(Utf8ToEuString(nullptr, text) && text.IsEmpty() && EuStringToUtf8(nullptr).IsEmpty());
    // Euro U+20AC, unassigned 0x81 as U+0081, U+201A, S caron U+0160, trade
    // mark U+2122, unassigned 0x9D, Y diaeresis U+0178, then Latin-1.
    const char* bytes = "\x80\x81\x82\x8A\x99\x9D\x9F\xA0\xB2\xB3\xFF";
    const char* characters =
        "\xE2\x82\xAC\xC2\x81\xE2\x80\x9A\xC5\xA0\xE2\x84\xA2\xC2\x9D\xC5\xB8\xC2\xA0\xC2\xB2\xC2\xB3\xC3\xBF";
    EXPECT_EQ(characters, Str(EuStringToUtf8(bytes)));
    EXPECT_TRUE(Utf8ToEuString(characters, text) && Str(text) == bytes);
}
