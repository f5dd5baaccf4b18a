#pragma once

#include <cstdint>

// The unit tables as plain constant data, shared by the row functions and the
// lookups. Strings are Windows-1252 bytes; no entry is ever null.

namespace qv {
namespace eu {
namespace detail {

// Columns that a run of consecutive unit rows shares.
struct UnitGroupData {
    const char* quantity;
    const char* siName;
    const char* siUnit;
    const char* mimeType;
    int32_t dimensions[8];
};

// One unit row: its key, its group's index in unitGroups, factor and offset.
struct UnitRowData {
    const char* unitName;
    int group;
    double factor;
    double offset;
};

struct AliasData {
    const char* unitName;
    int32_t type;
};

struct LevelData {
    const char* unit;
    float scale;
};

struct InputDefinitionData {
    const char* inputUnit;
    const char* baseUnit;
    int32_t type;
    LevelData levels[5];
};

constexpr int unitRowCount = 117;
constexpr int aliasCount = 6;
constexpr int inputDefaultCount = 3;
constexpr int typeNameCount = 17;

extern const UnitGroupData unitGroups[];
extern const UnitRowData unitRows[unitRowCount];
extern const AliasData aliases[aliasCount];
extern const InputDefinitionData inputDefaults[inputDefaultCount];
extern const char* const typeNames[typeNameCount];

}  // namespace detail
}  // namespace eu
}  // namespace qv
