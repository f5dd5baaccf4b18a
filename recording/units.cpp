#include "recording/units.h"

#include "numora/foundation/cstring.h"
#include "numora/units/eu_ops.h"
#include "numora/units/eu_tables.h"
#include "recording/error.h"

namespace numora {
namespace rec {

namespace {

std::string Utf8(const CString& text)
{
    return qv::eu::EuStringToUtf8(text.GetString()).GetString();
}

std::string TypeName(int type)
{
    CString name;
    return qv::eu::EuTypeNamesRow(type, name) ? Utf8(name) : std::string();
}

UnitInfo FromRow(const qv::eu::EU_UNIT& row)
{
    UnitInfo info;
    info.name = Utf8(row.unitName);
    info.quantity = Utf8(row.quantity);
    info.siUnit = Utf8(row.siUnit);
    info.factor = row.factor;
    info.offset = row.offset;
    info.type = static_cast<int>(qv::eu::GetTypeFromUnitstr(row.unitName.GetString()));
    info.typeName = TypeName(info.type);
    return info;
}

}  // namespace

std::vector<UnitInfo> UnitTable()
{
    std::vector<UnitInfo> table;
    qv::eu::EU_UNIT row;
    for (int i = 0; qv::eu::EuUnitsRow(i, row); ++i)
        table.push_back(FromRow(row));
    return table;
}

UnitMatch ResolveUnit(const std::string& text)
{
    UnitMatch match;
    CString unit;
    if (!qv::eu::Utf8ToEuString(text.c_str(), unit) || unit.IsEmpty())
        return match;
    const int type = static_cast<int>(qv::eu::GetTypeFromUnitstr(unit.GetString()));
    qv::eu::EU_UNIT row;
    for (int i = 0; !match.hasRow && qv::eu::EuUnitsRow(i, row); ++i) {
        if (row.unitName.CompareNoCase(unit) != 0)
            continue;
        match.hasRow = true;
        match.unit = FromRow(row);
    }
    // An SI unit that no row names as its key is that SI unit itself.
    for (int i = 0; !match.hasRow && qv::eu::EuUnitsRow(i, row); ++i) {
        if (row.siName.CompareNoCase(unit) != 0 && row.siUnit.CompareNoCase(unit) != 0)
            continue;
        match.hasRow = true;
        match.unit = FromRow(row);
        match.unit.name = text;
        match.unit.factor = 1.0;
        match.unit.offset = 0.0;
    }
    match.unit.type = type;
    match.unit.typeName = TypeName(type);
    if (!match.hasRow)
        match.unit.name = text;
    match.found = match.hasRow || type != 0;
    return match;
}

UnitMatch RequireUnit(const std::string& text)
{
    UnitMatch match = ResolveUnit(text);
    if (!match.found)
        throw Error("unknown unit '" + text + "'");
    return match;
}

}  // namespace rec
}  // namespace numora
