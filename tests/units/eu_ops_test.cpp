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
        {"KG*M\xB2/(a*S\xB3)", EuTypeVolts}, {"kg*m^2/(A*s^3)", EuTypeVolts}, {"kg/(m*s\xB2)", EuTypePressure},
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

TEST(GetTypeFromUnitstr, EveryKeyGivesItsRowsTypeInAnyAsciiCase)
{
    // Keys whose row's quantity is no type name, and what they resolve to.
    const std::map<std::string, TransducerTypeEU> untyped = {
        {"psi", EuTypePressure}, {"pa", EuTypePressure}, {"ustrain", EuTypeNoUnits}, {"sec", EuTypeNone},
        {"msec", EuTypeNone},    {"ms", EuTypeNone},     {"psia", EuTypeNone},       {"kpa", EuTypeNone},
        {"mpa", EuTypeNone},     {"ue", EuTypeNone},     {"kva", EuTypeNone},        {"va", EuTypeNone},
        {"voltamp", EuTypeNone}, {"kvoltamp", EuTypeNone}, {"kvar", EuTypeNone},     {"var", EuTypeNone},
        {"voltampr", EuTypeNone}, {"kvoltampr", EuTypeNone}, {"", EuTypeNone},
    };
    std::map<std::string, int> typeOfName;
    for (int type = 1; type < EuTypeNamesCount(); ++type) {
        CString name;
        ASSERT_TRUE(EuTypeNamesRow(type, name));
        typeOfName[Str(name)] = type;
    }
    for (int index = 0; index < EuUnitsCount(); ++index) {
        EU_UNIT row;
        ASSERT_TRUE(EuUnitsRow(index, row));
        const auto named = typeOfName.find(Str(row.quantity));
        const int expected = named != typeOfName.end() ? named->second : untyped.at(Str(row.unitName));
        EXPECT_EQ(expected, GetTypeFromUnitstr(row.unitName)) << "row " << index;
        EXPECT_EQ(expected, GetTypeFromUnitstr(AsciiUpper(Str(row.unitName)).c_str())) << "row " << index;
    }
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

TEST(SetEUNA, ResetsToPlainAccelerationAndKeepsSpareScales)
{
    for (bool si : {false, true}) {
        EU_INPUT_DEFINITION definition{"volts", "x", EuTypeVolts, {}};
        for (int level = 0; level < 5; ++level)
            definition.levels[level] = {"unit", 2.5f + static_cast<float>(level)};
        SetEUNA(definition, si);
        EXPECT_EQ(si ? "m/s\xB2" : "g", Str(definition.inputUnit));
        EXPECT_TRUE(Str(definition.baseUnit) == "m/sec\xB2" && definition.type == EuTypeAcceleration);
        EXPECT_TRUE(Str(definition.levels[0].unit) == "g" && definition.levels[0].scale == 1.0f);
        for (int level = 1; level < 5; ++level)
            EXPECT_TRUE(definition.levels[level].unit.IsEmpty() &&
                        definition.levels[level].scale == 2.5f + static_cast<float>(level));
    }
}

TEST(BuildEuEntry, ListsPresentPartsWithoutStraySeparators)
{
    CString entry("old");
    const auto build = [&entry](const char* name, const char* p1, const char* p2, const char* p3, const char* p4) {
        BuildEuEntry(entry, name, p1, p2, p3, p4);
        return Str(entry);
    };
    EXPECT_EQ("Accel", build("Accel", nullptr, "", nullptr, ""));
    EXPECT_EQ("Accel (g)", build("Accel", nullptr, nullptr, "g", nullptr));
    EXPECT_EQ("Accel (g, 100 mV/g, ICP, S/N 7)", build("Accel", "g", "100 mV/g", "ICP", "S/N 7"));
    EXPECT_EQ("Accel (m/s\xB2, x)", build("Accel", "", "m/s\xB2", nullptr, "x"));
    EXPECT_EQ(" (g)", build(nullptr, nullptr, nullptr, nullptr, "g"));
    EXPECT_EQ("", build(nullptr, nullptr, nullptr, nullptr, nullptr));
    // Name and parts may be the entry's own text.
    entry = "Ch1";
    EXPECT_EQ("Ch1 (Ch1, Ch1)", build(entry.GetString(), entry.GetString(), nullptr, entry.GetString(), nullptr));
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

    // Euro U+20AC, unassigned 0x81 as U+0081, U+201A, S caron U+0160, trade
    // mark U+2122, Y diaeresis U+0178, then Latin-1.
    const char* bytes = "\x80\x81\x82\x8A\x99\x9F\xA0\xB2\xB3\xFF";
    const char* characters = "\xE2\x82\xAC\xC2\x81\xE2\x80\x9A\xC5\xA0\xE2\x84\xA2\xC5\xB8\xC2\xA0\xC2\xB2\xC2\xB3\xC3\xBF";
    EXPECT_EQ(characters, Str(EuStringToUtf8(bytes)));
    EXPECT_EQ(bytes, Utf8ToEu(characters));
}

TEST(EuUtf8, MalformedOrUnrepresentableTextIsRefusedAndLeavesOutputAlone)
{
    const char* refused[] = {
        "m/s\xB2", "\xC2", "\xE2\x82", "\xE2\x82x",                    // bare byte, cut short
        "\xC0\xAF", "\xE0\x80\xAF", "\xF0\x82\x82\xAC",              // overlong
        "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80",  // surrogate, too high, 5 bytes
        "\xC2\x80", "\xC4\x80", "\xEF\xBF\xBF", "\xF0\x9F\x98\x80",  // not in Windows-1252
    };
    for (const char* bad : refused) {
        CString text("kept");
        EXPECT_FALSE(Utf8ToEuString(bad, text));
        EXPECT_EQ("kept", Str(text));
    }
    // A three-byte character and a C1 control that the code page holds pass.
    EXPECT_EQ("\x80\x9D", Utf8ToEu("\xE2\x82\xAC\xC2\x9D"));
}
