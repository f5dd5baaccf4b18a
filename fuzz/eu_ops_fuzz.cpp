// Fuzz target of the engineering-unit operations and the UTF-8 conversions.
//
// Input: one flag byte, then up to five strings separated by zero bytes: the
// unit / quantity / name, then the four parts of a display entry. Flag bit k
// (k = 0..3) passes part k + 1 as a null pointer; bit 4 is SetEUNA's si.
//
// Checks: the lookups agree with a plain model built from the row functions
// and ignore ASCII case; BuildEuEntry matches a model; SetEUNA sets what it
// must and keeps the spare scales; every byte string survives the trip
// through UTF-8, a converted UTF-8 string re-encodes to itself, and a refused
// one leaves the output alone.

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "numora/numora.h"

using namespace qv::eu;

namespace {

struct ModelRow {
    std::string unitName, quantity, siName, siUnit;
};

struct Model {
    std::vector<ModelRow> rows;
    std::vector<std::string> typeNames;
    std::vector<std::pair<std::string, int>> aliases;
};

const Model& TheModel()
{
    static const Model model = [] {
        Model m;
        for (int i = 0; i < EuUnitsCount(); ++i) {
            EU_UNIT row;
            CHECK(EuUnitsRow(i, row));
            m.rows.push_back({row.unitName.GetString(), row.quantity.GetString(), row.siName.GetString(),
                              row.siUnit.GetString()});
        }
        for (int i = 0; i < EuTypeNamesCount(); ++i) {
            CString name;
            CHECK(EuTypeNamesRow(i, name));
            m.typeNames.push_back(name.GetString());
        }
        for (int i = 0; i < EuUnitAliasesCount(); ++i) {
            EU_UNIT_ALIAS alias;
            CHECK(EuUnitAliasesRow(i, alias));
            m.aliases.push_back({alias.unitName.GetString(), alias.type});
        }
        CHECK(m.rows.size() == 117 && m.typeNames.size() == 17 && m.aliases.size() == 6);
        return m;
    }();
    return model;
}

std::string Folded(std::string s)
{
    for (char& c : s) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return s;
}

std::string Upper(std::string s)
{
    for (char& c : s) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    }
    return s;
}

int ModelType(const std::string& unit)
{
    const Model& m = TheModel();
    const std::string key = Folded(unit);
    for (const ModelRow& row : m.rows) {
        if (key != Folded(row.unitName) && key != Folded(row.siName) && key != Folded(row.siUnit))
            continue;
        for (size_t t = 0; t < m.typeNames.size(); ++t) {
            if (Folded(row.quantity) == Folded(m.typeNames[t]))
                return static_cast<int>(t);
        }
    }
    for (const auto& alias : m.aliases) {
        if (key == Folded(alias.first))
            return alias.second;
    }
    return 0;
}

std::string ModelSIUnit(const std::string& quantity)
{
    for (const ModelRow& row : TheModel().rows) {
        if (!row.quantity.empty() && Folded(row.quantity) == Folded(quantity))
            return row.siUnit;
    }
    return "";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const uint8_t flags = data[0];
    std::vector<std::string> strings;
    std::string current;
    for (size_t i = 1; i < size && strings.size() < 5; ++i) {
        if (data[i] == 0) {
            strings.push_back(current);
            current.clear();
        } else {
            current += static_cast<char>(data[i]);
        }
    }
    if (strings.size() < 5)
        strings.push_back(current);
    strings.resize(5);
    const std::string& text = strings[0];

    // Lookups against the model, and ASCII case does not matter.
    const TransducerTypeEU type = GetTypeFromUnitstr(text.c_str());
    CHECK(type >= EuTypeNone && type <= EuTypeNoUnits);
    CHECK(type == ModelType(text));
    CHECK(GetTypeFromUnitstr(Upper(text).c_str()) == type);
    CHECK(GetTypeFromUnitstr(Folded(text).c_str()) == type);
    CHECK(ModelSIUnit(text) == GetSIUnitFromType(text.c_str()).GetString());

    // Display entry against a model; part k is null when flag bit k is set.
    const char* parts[4];
    std::string expected = text;
    int present = 0;
    for (int k = 0; k < 4; ++k) {
        const bool isNull = (flags >> k) & 1;
        parts[k] = isNull ? nullptr : strings[static_cast<size_t>(k) + 1].c_str();
        if (isNull || strings[static_cast<size_t>(k) + 1].empty())
            continue;
        expected += present++ == 0 ? " (" : ", ";
        expected += strings[static_cast<size_t>(k) + 1];
    }
    if (present > 0)
        expected += ")";
    CString entry("previous");
    BuildEuEntry(entry, text.c_str(), parts[0], parts[1], parts[2], parts[3]);
    CHECK(expected == entry.GetString() && static_cast<int>(expected.size()) == entry.GetLength());

    // SetEUNA keeps the spare scales bit for bit, whatever they hold.
    EU_INPUT_DEFINITION definition;
    uint32_t scaleBits[5];
    for (int level = 0; level < 5; ++level) {
        scaleBits[level] = (0x9E3779B9u * static_cast<uint32_t>(level + 1)) ^ static_cast<uint32_t>(size);
        std::memcpy(&definition.levels[level].scale, &scaleBits[level], sizeof(float));
        definition.levels[level].unit = text.c_str();
    }
    const bool si = (flags >> 4) & 1;
    SetEUNA(definition, si);
    CHECK(definition.inputUnit.Compare(si ? "m/s\xB2" : "g") == 0);
    CHECK(definition.baseUnit.Compare("m/sec\xB2") == 0 && definition.type == EuTypeAcceleration);
    CHECK(definition.levels[0].unit.Compare("g") == 0 && definition.levels[0].scale == 1.0f);
    for (int level = 1; level < 5; ++level) {
        uint32_t bits;
        std::memcpy(&bits, &definition.levels[level].scale, sizeof bits);
        CHECK(definition.levels[level].unit.IsEmpty() && bits == scaleBits[level]);
    }

    // Any byte string goes to UTF-8 and back unchanged.
    const CString utf8 = EuStringToUtf8(text.c_str());
    CString back("unset");
    CHECK(Utf8ToEuString(utf8.GetString(), back) && text == back.GetString());
    CHECK(utf8.GetLength() >= static_cast<int>(text.size()) && utf8.GetLength() <= 3 * static_cast<int>(text.size()));

    // Read as UTF-8: a refusal leaves the output alone; an acceptance
    // re-encodes to the very input, and plain ASCII is always accepted as is.
    CString converted("kept");
    if (Utf8ToEuString(text.c_str(), converted)) {
        CHECK(text == EuStringToUtf8(converted.GetString()).GetString());
        CHECK(GetTypeFromUnitstr(converted.GetString()) == ModelType(converted.GetString()));
    } else {
        CHECK(converted.Compare("kept") == 0);
        bool ascii = true;
        for (char c : text)
            ascii = ascii && static_cast<unsigned char>(c) < 0x80;
        CHECK(!ascii);
    }
    return 0;
}
