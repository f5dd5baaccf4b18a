#include "recording/error.h"
#include "recording/io/csv.h"
#include "recording/units.h"
#include "tools/numora/common.h"

namespace numora {
namespace cli {

int RunUnits(const UnitsArgs& args)
{
    std::vector<rec::UnitMatch> rows;
    if (args.units.empty()) {
        for (const rec::UnitInfo& unit : rec::UnitTable())
            rows.push_back(rec::UnitMatch{true, true, unit});
    } else {
        for (const std::string& text : args.units) {
            rows.push_back(rec::ResolveUnit(text));
            if (!rows.back().found)
                throw rec::Error("unknown unit '" + text + "' (numora units lists the units)");
            rows.back().unit.name = text;
        }
    }
    rec::CsvWriter csv(args.output.empty() ? "-" : args.output);
    csv.Header({"unit", "quantity", "type", "si_unit", "factor", "offset"});
    const std::string none;
    for (const rec::UnitMatch& row : rows) {
        const rec::UnitInfo& u = row.unit;
        csv.Add(u.name).Add(row.hasRow ? u.quantity : none).Add(u.typeName).Add(row.hasRow ? u.siUnit : none);
        if (row.hasRow) {
            csv.Add(u.factor).Add(u.offset);
        } else {
            csv.Add(none).Add(none);
        }
        csv.EndRow();
    }
    csv.Commit();
    return 0;
}

}  // namespace cli
}  // namespace numora
