#include "numora/units/eu_ops.h"

#include <cstdint>
#include <string>
#include <utility>

#include "numora/units/eu_tables_detail.h"

namespace qv {
namespace eu {

namespace {

using detail::UnitGroupData;
using detail::UnitRowData;

// Characters of the Windows-1252 bytes 0x80 to 0x9F. The five bytes that the
// code page leaves unassigned stand for the C1 control of the same number.
constexpr uint32_t highBlock[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

// Reads one UTF-8 sequence at p into codePoint and moves p past it; false,
// with p unchanged, if it is cut short or not the shortest encoding.
bool NextCodePoint(const unsigned char*& p, uint32_t& codePoint)
{
    const unsigned char lead = p[0];
    if (lead < 0x80) {
        codePoint = lead;
        ++p;
        return true;
    }
    int trail;
    uint32_t smallest;
    if ((lead & 0xE0) == 0xC0) {
        trail = 1;
        smallest = 0x80;
        codePoint = lead & 0x1Fu;
    } else if ((lead & 0xF0) == 0xE0) {
        trail = 2;
        smallest = 0x800;
        codePoint = lead & 0x0Fu;
    } else if ((lead & 0xF8) == 0xF0) {
        trail = 3;
        smallest = 0x10000;
        codePoint = lead & 0x07u;
    } else {
        return false;
    }
    // A terminator is not a continuation byte, so nothing is read past it.
    for (int i = 1; i <= trail; ++i) {
        if ((p[i] & 0xC0) != 0x80)
            return false;
        codePoint = (codePoint << 6) | (p[i] & 0x3Fu);
    }
    // Surrogates and values above U+10FFFF need no test of their own: no
    // Windows-1252 character lies there, so ByteOfCodePoint refuses them.
    if (codePoint < smallest)
        return false;
    p += trail + 1;
    return true;
}

// The Windows-1252 byte of a character; false if the code page lacks it.
bool ByteOfCodePoint(uint32_t codePoint, unsigned char& byte)
{
    if (codePoint < 0x80 || (codePoint >= 0xA0 && codePoint <= 0xFF)) {
        byte = static_cast<unsigned char>(codePoint);
        return true;
    }
    for (int i = 0; i < 32; ++i) {
        if (highBlock[i] == codePoint) {
            byte = static_cast<unsigned char>(0x80 + i);
            return true;
        }
    }
    return false;
}

void AppendUtf8(uint32_t codePoint, std::string& out)
{
    if (codePoint < 0x80) {
        out += static_cast<char>(codePoint);
    } else if (codePoint < 0x800) {
        out += static_cast<char>(0xC0 | (codePoint >> 6));
        out += static_cast<char>(0x80 | (codePoint & 0x3F));
    } else {
        // Windows-1252 reaches no further than U+2122.
        out += static_cast<char>(0xE0 | (codePoint >> 12));
        out += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (codePoint & 0x3F));
    }
}

}  // namespace

TransducerTypeEU GetTypeFromUnitstr(const char* unit)
{
    const CString key(unit);
    for (int r = 0; r < detail::unitRowCount; ++r) {
        const UnitRowData& row = detail::unitRows[r];
        const UnitGroupData& group = detail::unitGroups[row.group];
        if (key.CompareNoCase(row.unitName) != 0 && key.CompareNoCase(group.siName) != 0 &&
            key.CompareNoCase(group.siUnit) != 0)
            continue;
        // A quantity that names no type does not end the search.
        const CString quantity(group.quantity);
        for (int type = 0; type < detail::typeNameCount; ++type) {
            if (quantity.CompareNoCase(detail::typeNames[type]) == 0)
                return static_cast<TransducerTypeEU>(type);
        }
    }
    for (int a = 0; a < detail::aliasCount; ++a) {
        if (key.CompareNoCase(detail::aliases[a].unitName) == 0)
            return static_cast<TransducerTypeEU>(detail::aliases[a].type);
    }
    return EuTypeNone;
}

CString GetSIUnitFromType(const char* quantity)
{
    const CString wanted(quantity);
    for (int r = 0; r < detail::unitRowCount; ++r) {
        const UnitGroupData& group = detail::unitGroups[detail::unitRows[r].group];
        if (group.quantity[0] == '\0')
            continue;
        if (wanted.CompareNoCase(group.quantity) == 0)
            return CString(group.siUnit);
    }
    return CString();
}

void SetEUNA(EU_INPUT_DEFINITION& definition, bool si)
{
    definition.inputUnit = si ? "m/s\xB2" : "g";
    definition.baseUnit = "m/sec\xB2";
    definition.type = EuTypeAcceleration;
    definition.levels[0].unit = "g";
    definition.levels[0].scale = 1.0f;
    for (int level = 1; level < 5; ++level)
        definition.levels[level].unit.Empty();
}

void BuildEuEntry(CString& entry, const char* name, const char* part1, const char* part2,
                  const char* part3, const char* part4)
{
    const char* const parts[4] = {part1, part2, part3, part4};
    CString composed(name);
    int present = 0;
    for (const char* part : parts) {
        if (part == nullptr || part[0] == '\0')
            continue;
        composed += present == 0 ? " (" : ", ";
        composed += part;
        ++present;
    }
    if (present > 0)
        composed += ")";
    entry = std::move(composed);
}

bool Utf8ToEuString(const char* utf8, CString& text)
{
    std::string bytes;
    if (utf8 != nullptr) {
        const unsigned char* p = reinterpret_cast<const unsigned char*>(utf8);
        while (*p != 0) {
            uint32_t codePoint;
            unsigned char byte;
            if (!NextCodePoint(p, codePoint) || !ByteOfCodePoint(codePoint, byte))
                return false;
            bytes += static_cast<char>(byte);
        }
    }
    text = bytes.c_str();
    return true;
}

CString EuStringToUtf8(const char* text)
{
    std::string utf8;
    if (text != nullptr) {
        for (const unsigned char* p = reinterpret_cast<const unsigned char*>(text); *p != 0; ++p) {
            const uint32_t codePoint = (*p >= 0x80 && *p < 0xA0) ? highBlock[*p - 0x80] : *p;
            AppendUtf8(codePoint, utf8);
        }
    }
    return CString(utf8.c_str());
}

}  // namespace eu
}  // namespace qv
