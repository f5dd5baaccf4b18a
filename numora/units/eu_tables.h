#pragma once

#include <cstdint>

#include "numora/foundation/cstring.h"
#include "numora/foundation/export.h"

// The library's vocabulary of engineering units: which strings name a unit,
// which quantity each belongs to, how it relates to SI, and the default input
// definitions of an acceleration channel.
//
// Every string is single-byte Windows-1252: superscript two and three are the
// bytes 0xB2 and 0xB3 ("m/s\xB2"). Use Utf8ToEuString and EuStringToUtf8
// (eu_ops.h) to move between this form and UTF-8.
//
// The library exports functions, not data: each table is read through a row
// count and a row-by-index function that hands out a copy of the row.
// choice: the tables are plain constant data compiled into the library, so
// nothing runs at load, nothing can fail there, and no call can ever see them
// unbuilt or changed; the CString fields of a row are built when it is read.
// choice: a row function with an index outside 0 .. count - 1 returns false
// and leaves its output alone.
// choice: the records' numbers and types start at 0 (EuTypeNone) when
// default-constructed, so no field is ever indeterminate.

namespace qv {
namespace eu {

// Transducer type of a unit; the value indexes the type-name table.
enum TransducerTypeEU : int32_t {
    EuTypeNone = 0,
    EuTypeAcceleration = 1,
    EuTypeVelocity = 2,
    EuTypeDisplacement = 3,
    EuTypeFrequency = 4,
    EuTypeRpm = 5,
    EuTypeVolts = 6,
    EuTypeTorque = 7,
    EuTypePower = 8,
    EuTypePressure = 9,
    EuTypeForce = 10,
    EuTypeTemperature = 11,
    EuTypeEnergy = 12,
    EuTypeStrain = 13,
    EuTypeCurrent = 14,
    EuTypeGeneral = 15,
    EuTypeNoUnits = 16,
};

// One row of the unit table. SI value = value * factor + offset.
struct EU_UNIT {
    CString unitName;       // the unit's key
    CString quantity;       // measured quantity; not always a type name
    CString siName;         // SI unit in plain characters ("m/s^2")
    CString mimeType;       // "application/x-asam.aoquantity.<word>" or empty
    int32_t dimensions[8] = {};  // exponents of metre, kilogram, second, ampere,
                                 // kelvin, then three that are always 0
    double factor = 0.0;
    double offset = 0.0;         // non-zero only for degrees Celsius and Fahrenheit
    CString siUnit;         // SI unit with superscript characters ("m/s\xB2")
};

// A unit string that the unit table does not resolve to a type.
struct EU_UNIT_ALIAS {
    CString unitName;
    TransducerTypeEU type = EuTypeNone;
};

// One level of an input definition: a unit and the factor into it.
struct EU_LEVEL {
    CString unit;
    float scale = 0.0f;
};

// Units of one input channel and of what integration derives from it.
// Level 0 is the measured quantity, levels 1 and 2 the first and second
// integral, levels 3 and 4 are spare.
struct EU_INPUT_DEFINITION {
    CString inputUnit;  // the unit in which the channel's samples arrive
    CString baseUnit;   // its SI form
    TransducerTypeEU type = EuTypeNone;
    EU_LEVEL levels[5];
};

// Number of rows of the unit table: 117.
NUMORA_API int EuUnitsCount();
// Copies row index of the unit table into row; false if there is no such row.
NUMORA_API bool EuUnitsRow(int index, EU_UNIT& row);

// Number of unit aliases: 6.
NUMORA_API int EuUnitAliasesCount();
// Copies alias index into row; false if there is no such alias.
NUMORA_API bool EuUnitAliasesRow(int index, EU_UNIT_ALIAS& row);

// Number of default input definitions: 3.
NUMORA_API int EuInputDefaultsCount();
// Copies default input definition index into row; false if there is none.
// precision: the scales are the double constants rounded once to float
// (386.088582283355 becomes 386.08859253).
NUMORA_API bool EuInputDefaultsRow(int index, EU_INPUT_DEFINITION& row);

// Number of type names: 17, one per TransducerTypeEU value.
NUMORA_API int EuTypeNamesCount();
// Copies the name of type index into name (empty for EuTypeNone); false if
// there is no such type.
NUMORA_API bool EuTypeNamesRow(int index, CString& name);

}  // namespace eu
}  // namespace qv
