#include "numora/units/eu_ops.h"

#include <map>
#include <string>

#include "numora/units/eu_tables.h"
#include "tests/support/support.h"

using namespace qv::eu;

namespace {

std::string Str(const CString& s)
{
    return s.GetString();
}

std::string AsciiUpper(std::string s)
{
    for (char& c : s) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    }
    return s;
}

std::string Utf8ToEu(const char* utf8)
{
    CString text("unset");
    EXPECT_TRUE(Utf8ToEuString(utf8, text)) << utf8;
    return Str(text);
}

}  // namespace

TEST(GetTypeFromUnitstr, DocumentedLookups)
{
    const std::map<std::string, TransducerTypeEU> cases = {
        {"G", EuTypeAcceleration},  // case folded
        {"g", EuTypeAcceleration},
        {"M/S^2", EuTypeAcceleration},
        {"m/s\xB2", EuTypeAcceleration},
        {"m/s^2", EuTypeAcceleration},
        {"psi", EuTypePressure},      // row 82, quantity "Pressure"
        {"psia", EuTypeNone},         // "PSIA Pressure" and no alias
        {"pa", EuTypePressure},       // "Pascal" leads nowhere, the alias "Pa" does
        {"PA", EuTypePressure},
        {"kpa", EuTypeNone},
        {"uStrain", EuTypeNoUnits},  // the row "ustrain" is "microStrain": the alias decides
        {"strain", EuTypeStrain},
        {"sec", EuTypeNone},  // "Time" is no type name
        {"ms", EuTypeNone},
        {"rpm", EuTypeRpm},
        {"hz", EuTypeFrequency},
        {"volts", EuTypeVolts},
        {"kg*m\xB2/s\xB2", EuTypeTorque},  // torque before energy
        {"1/s", EuTypeFrequency},          // frequency before rpm
        {"m", EuTypeDisplacement},         // displacement before strain
        {"", EuTypeNone},                  // reaches the empty row 115
        {"g peak", EuTypeAcceleration},
        {"PSI P-P", EuTypePressure},
        {"uStrain p-p", EuTypeNoUnits},
        {"no such unit", EuTypeNone},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.second, GetTypeFromUnitstr(c.first.c_str())) << '"' << c.first << '"';
    EXPECT_EQ(EuTypeNone, GetTypeFromUnitstr(nullptr));
}

TEST(GetTypeFromUnitstr, EveryKeyGivesItsRowsTypeInAnyAsciiCase)
{
    // Keys whose row's quantity is no type name, and what they resolve to.
    const std::map<std::string, TransducerTypeEU> untyped = {
        {"sec", EuTypeNone},      {"msec", EuTypeNone},          {"ms", EuTypeNone},
        {"psi", EuTypePressure},  {"psia", EuTypeNone},          {"pa", EuTypePressure},
        {"kpa", EuTypeNone},      {"mpa", EuTypeNone},           {"ustrain", EuTypeNoUnits},
        {"ue", EuTypeNone},       {"kva", EuTypeNone},           {"va", EuTypeNone},
        {"voltamp", EuTypeNone},  {"kvoltamp", EuTypeNone},      {"kvar", EuTypeNone},
        {"var", EuTypeNone},      {"voltampr", EuTypeNone},      {"kvoltampr", EuTypeNone},
        {"", EuTypeNone},
    };
    std::map<std::string, int> typeOfName;
    for (int type = 0; type < EuTypeNamesCount(); ++type) {
        CString name;
        ASSERT_TRUE(EuTypeNamesRow(type, name));
        typeOfName[Str(name)] = type;
    }
    for (int index = 0; index < EuUnitsCount(); ++index) {
        EU_UNIT row;
        ASSERT_TRUE(EuUnitsRow(index, row));
        const auto named = typeOfName.find(Str(row.quantity));
        const int expected = named != typeOfName.end() && !row.quantity.IsEmpty() ? named->second
                                                                                  : untyped.at(Str(row.unitName));
        EXPECT_EQ(expected, GetTypeFromUnitstr(row.unitName)) << "row " << index;
        EXPECT_EQ(expected, GetTypeFromUnitstr(AsciiUpper(Str(row.unitName)).c_str())) << "row " << index;
    }
}

TEST(GetTypeFromUnitstr, SIFormsResolveAndBytesAreComparedExactly)
{
    EXPECT_EQ(EuTypeVolts, GetTypeFromUnitstr("KG*M\xB2/(a*S\xB3)"));
    EXPECT_EQ(EuTypeVolts, GetTypeFromUnitstr("kg*m^2/(A*s^3)"));
    EXPECT_EQ(EuTypePower, GetTypeFromUnitstr("kg*m\xB2/s\xB3"));
    EXPECT_EQ(EuTypePressure, GetTypeFromUnitstr("kg/(m*s\xB2)"));
    EXPECT_EQ(EuTypeForce, GetTypeFromUnitstr("kg*m/s^2"));
    EXPECT_EQ(EuTypeTemperature, GetTypeFromUnitstr("K"));
    EXPECT_EQ(EuTypeCurrent, GetTypeFromUnitstr("A"));
    EXPECT_EQ(EuTypeNone, GetTypeFromUnitstr("s"));  // only "Time" has it
    // Superscripts are single bytes: neither UTF-8 nor the wrong power matches.
    EXPECT_EQ(EuTypeNone, GetTypeFromUnitstr("m/s\xC2\xB2"));
    EXPECT_EQ(EuTypeNone, GetTypeFromUnitstr("m/s\xB3"));
    EXPECT_EQ(EuTypeNone, GetTypeFromUnitstr("m/s2"));
}

TEST(GetSIUnitFromType, FirstRowOfTheQuantityIgnoringCase)
{
    EXPECT_EQ("m/s\xB2", Str(GetSIUnitFromType("acceleration")));
    EXPECT_EQ("1/s", Str(GetSIUnitFromType("Rpm")));
    EXPECT_EQ("s", Str(GetSIUnitFromType("Time")));
    EXPECT_EQ("kg*m\xB2/(A*s\xB3)", Str(GetSIUnitFromType("VOLTS")));
    EXPECT_EQ("kg/(m*s\xB2)", Str(GetSIUnitFromType("psia pressure")));
    EXPECT_EQ("m", Str(GetSIUnitFromType("microStrain")));
    EXPECT_EQ("kg*m\xB2/s\xB3", Str(GetSIUnitFromType("ReactivePower")));
    EXPECT_EQ("K", Str(GetSIUnitFromType("Temperature")));
    for (const char* none : {"General EU", "No Units", "", "Acceleration ", "m/s^2"})
        EXPECT_TRUE(GetSIUnitFromType(none).IsEmpty()) << '"' << none << '"';
    EXPECT_TRUE(GetSIUnitFromType(nullptr).IsEmpty());
}

TEST(SetEUNA, ResetsToPlainAccelerationAndKeepsSpareScales)
{
    for (bool si : {false, true}) {
        EU_INPUT_DEFINITION definition;
        definition.inputUnit = "volts";
        definition.baseUnit = "x";
        definition.type = EuTypeVolts;
        for (int level = 0; level < 5; ++level) {
            definition.levels[level].unit = "unit";
            definition.levels[level].scale = 2.5f + static_cast<float>(level);
        }
        SetEUNA(definition, si);
        EXPECT_EQ(si ? "m/s\xB2" : "g", Str(definition.inputUnit));
        EXPECT_EQ("m/sec\xB2", Str(definition.baseUnit));
        EXPECT_EQ(EuTypeAcceleration, definition.type);
        EXPECT_EQ("g", Str(definition.levels[0].unit));
        EXPECT_EQ(1.0f, definition.levels[0].scale);
        for (int level = 1; level < 5; ++level) {
            EXPECT_TRUE(definition.levels[level].unit.IsEmpty());
            EXPECT_EQ(2.5f + static_cast<float>(level), definition.levels[level].scale);
        }
    }
}

TEST(BuildEuEntry, ListsPresentPartsWithoutStraySeparators)
{
    CString entry("old");
    BuildEuEntry(entry, "Accel", nullptr, "", nullptr, "");
    EXPECT_EQ("Accel", Str(entry));
    BuildEuEntry(entry, "Accel", nullptr, nullptr, "g", nullptr);
    EXPECT_EQ("Accel (g)", Str(entry));
    BuildEuEntry(entry, "Accel", "g", "100 mV/g", "ICP", "S/N 7");
    EXPECT_EQ("Accel (g, 100 mV/g, ICP, S/N 7)", Str(entry));
    BuildEuEntry(entry, "Accel", "", "m/s\xB2", nullptr, "x");
    EXPECT_EQ("Accel (m/s\xB2, x)", Str(entry));
    BuildEuEntry(entry, nullptr, nullptr, nullptr, nullptr, "g");
    EXPECT_EQ(" (g)", Str(entry));
    BuildEuEntry(entry, nullptr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_TRUE(entry.IsEmpty());
    // Name and parts may be the entry's own text.
    entry = "Ch1";
    BuildEuEntry(entry, entry.GetString(), entry.GetString(), nullptr, entry.GetString(), nullptr);
    EXPECT_EQ("Ch1 (Ch1, Ch1)", Str(entry));
}

TEST(EuUtf8, TypedUtf8UnitsResolveAfterConversionAndComeBack)
{
    const std::string squared = Utf8ToEu("m/s\xC2\xB2");  // U+00B2 typed in UTF-8
    EXPECT_EQ("m/s\xB2", squared);
    EXPECT_EQ(EuTypeAcceleration, GetTypeFromUnitstr(squared.c_str()));
    EXPECT_EQ(EuTypeVolts, GetTypeFromUnitstr(Utf8ToEu("kg*m\xC2\xB2/(A*s\xC2\xB3)").c_str()));
    EXPECT_EQ("kg*m\xC2\xB2/(A*s\xC2\xB3)", Str(EuStringToUtf8(GetSIUnitFromType("Volts"))));
    EXPECT_EQ("", Utf8ToEu(nullptr));
    EXPECT_EQ("", Str(EuStringToUtf8(nullptr)));
}

TEST(EuUtf8, EveryByteRoundTripsAndTheHighBlockBecomesItsCharacters)
{
    char all[256];
    for (int b = 1; b < 256; ++b)
        all[b - 1] = static_cast<char>(b);
    all[255] = '\0';
    const CString utf8 = EuStringToUtf8(all);
    // 127 ASCII bytes take 1 byte, the 96 from 0xA0 take 2; of the 32 from
    // 0x80 to 0x9F, 17 are characters from U+2000 on (3 bytes) and 15 lie
    // below U+0800 (2 bytes), five C1 controls among them.
    EXPECT_EQ(127 + 96 * 2 + 17 * 3 + 15 * 2, utf8.GetLength());
    EXPECT_EQ(std::string(all), Utf8ToEu(utf8));

    const struct {
        const char* byte;
        const char* utf8;
    } characters[] = {
        {"\x80", "\xE2\x82\xAC"},  // euro sign U+20AC
        {"\x81", "\xC2\x81"},      // unassigned: U+0081
        {"\x82", "\xE2\x80\x9A"},  // U+201A
        {"\x8A", "\xC5\xA0"},      // S caron U+0160
        {"\x99", "\xE2\x84\xA2"},  // trade mark U+2122
        {"\x9F", "\xC5\xB8"},      // Y diaeresis U+0178
        {"\xA0", "\xC2\xA0"},
        {"\xB2", "\xC2\xB2"},
        {"\xB3", "\xC2\xB3"},
        {"\xFF", "\xC3\xBF"},
    };
    for (const auto& c : characters) {
        EXPECT_EQ(c.utf8, Str(EuStringToUtf8(c.byte)));
        EXPECT_EQ(c.byte, Utf8ToEu(c.utf8));
    }
}

TEST(EuUtf8, MalformedOrUnrepresentableTextIsRefusedAndLeavesOutputAlone)
{
    const char* refused[] = {
        "m/s\xB2",              // a bare Windows-1252 byte is no UTF-8
        "\xC2",                 // cut short at the end
        "\xE2\x82",             // cut short
        "\xE2\x82x",            // continuation missing
        "\xC0\xAF",             // overlong '/'
        "\xE0\x80\xAF",         // overlong '/'
        "\xF0\x82\x82\xAC",     // overlong euro sign
        "\xED\xA0\x80",         // surrogate U+D800
        "\xF4\x90\x80\x80",     // above U+10FFFF
        "\xF8\x88\x80\x80\x80", // five-byte form
        "\xC2\x80",             // U+0080: Windows-1252 has no such character
        "\xC4\x80",             // U+0100
        "\xEF\xBF\xBF",         // U+FFFF
        "\xF0\x9F\x98\x80",     // U+1F600
    };
    for (const char* bad : refused) {
        CString text("kept");
        EXPECT_FALSE(Utf8ToEuString(bad, text));
        EXPECT_EQ("kept", Str(text));
    }
    // A three-byte character and a C1 control that the code page holds pass.
    EXPECT_EQ("\x80\x9D", Utf8ToEu("\xE2\x82\xAC\xC2\x9D"));
}
