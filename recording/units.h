#pragma once

#include <string>
#include <vector>

// The library's engineering units in UTF-8: the table of units with their
// relation to SI, and the resolution of a unit string to its transducer
// type and SI unit.

namespace numora {
namespace rec {

struct UnitInfo {
    std::string name;      // the unit's key, e.g. "in/s"
    std::string quantity;  // what it measures, e.g. "Velocity"
    std::string siUnit;    // its SI unit, e.g. "m/s"
    double factor = 0.0;   // SI value = value * factor + offset
    double offset = 0.0;
    int type = 0;          // transducer type (qv::eu::TransducerTypeEU), 0 for none
    std::string typeName;  // the type's name, empty for none
};

// Every row of the unit table, in its order.
std::vector<UnitInfo> UnitTable();

// A unit string resolved: the transducer type from GetTypeFromUnitstr, and
// the first table row whose name equals the string (ignoring case); failing
// that, the first row whose SI unit it is, taken as that SI unit itself
// (factor 1, offset 0). found is false when the string names no unit and no
// type. Text that is not valid UTF-8 or has no Windows-1252 character
// resolves to nothing.
struct UnitMatch {
    bool found = false;
    bool hasRow = false;  // whether a table row matched (factor, offset and quantity are known)
    UnitInfo unit;        // the row, or only the type when no row matched
};
UnitMatch ResolveUnit(const std::string& text);

// Throws Error unless the unit string resolves.
UnitMatch RequireUnit(const std::string& text);

}  // namespace rec
}  // namespace numora
