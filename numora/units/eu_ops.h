#pragma once

#include "numora/foundation/cstring.h"
#include "numora/foundation/export.h"
#include "numora/units/eu_tables.h"

// Lookups on the engineering-unit tables, and conversion of unit strings
// between UTF-8 and the tables' Windows-1252 bytes.
//
// The lookups compare bytes: case-insensitive comparisons fold the ASCII
// letters A-Z only, and a null string counts as empty. A caller holding UTF-8
// text ("m/s\xC2\xB2") converts it with Utf8ToEuString first. A lookup is a
// linear scan of the unit table, meant for set-up time, not for the sample
// path; it keeps no state, so calls may overlap on distinct outputs.

namespace qv {
namespace eu {

// Transducer type of a unit string, EuTypeNone if there is none.
// A unit row matches when unit equals its unitName, siName or siUnit, ignoring
// case; the first matching row whose quantity is a type name gives the type.
// Rows whose quantity names no type ("Time", "Pascal", "microStrain") are
// passed over, and then the aliases are tried ("pa" gives EuTypePressure
// through the alias "Pa").
NUMORA_API TransducerTypeEU GetTypeFromUnitstr(const char* unit);

// SI unit (with superscript bytes) of the first unit row whose quantity equals
// quantity, ignoring case; empty if no row has it. Rows with an empty quantity
// never match, so "" gives an empty string.
NUMORA_API CString GetSIUnitFromType(const char* quantity);

// Resets definition to the plain acceleration input: inputUnit "m/s\xB2" when
// si is true, else "g"; baseUnit "m/sec\xB2"; type EuTypeAcceleration; level 0
// "g" with scale 1. The units of levels 1 to 4 are emptied, their scales kept.
NUMORA_API void SetEUNA(EU_INPUT_DEFINITION& definition, bool si);

// Composes "name (part1, part2, part3, part4)" into entry. A part is present
// when it is neither null nor empty; absent parts are left out with their
// separators, and with no part present entry is name alone.
// choice: the entry is composed aside and then moved into entry, so name and
// the parts may point into entry itself.
NUMORA_API void BuildEuEntry(CString& entry, const char* name, const char* part1, const char* part2,
                             const char* part3, const char* part4);

// Converts UTF-8 text to the tables' Windows-1252 bytes into text, so that
// "m/s\xC2\xB2" becomes "m/s\xB2". Returns false and leaves text alone when utf8
// is not well-formed UTF-8 or holds a character that Windows-1252 lacks.
// A null utf8 gives an empty text.
// choice: well-formed means the shortest encoding of a code point up to
// U+10FFFF that is not a surrogate; anything else is refused, not replaced.
// choice: the five bytes that Windows-1252 leaves unassigned (0x81, 0x8D,
// 0x8F, 0x90, 0x9D) stand for U+0081, U+008D, U+008F, U+0090 and U+009D, as
// in the WHATWG encoding standard, so every byte string survives the round
// trip through EuStringToUtf8; the other code points U+0080 to U+009F are
// refused.
NUMORA_API bool Utf8ToEuString(const char* utf8, CString& text);

// Converts Windows-1252 bytes to UTF-8: "m/s\xB2" becomes "m/s\xC2\xB2".
// Every byte has a character, so nothing fails; a null text gives "".
NUMORA_API CString EuStringToUtf8(const char* text);

}  // namespace eu
}  // namespace qv
