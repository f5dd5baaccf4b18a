#include "recording/units.h"

#include "recording/error.h"
#include "tests/support/support.h"

namespace {

using namespace numora::rec;

// The command's test prints the rows of g and psi and refuses an unknown unit.
TEST(Units, UnitStringsResolveIgnoringCaseAndAnSiUnitToItself)
{
    const UnitMatch g = ResolveUnit("G");
    ASSERT_TRUE(g.found && g.hasRow);
    EXPECT_EQ(g.unit.name, "g");
    EXPECT_EQ(g.unit.siUnit, "m/s\xC2\xB2");  // UTF-8

    const UnitMatch si = ResolveUnit("m/s\xC2\xB2");  // an SI unit without a row of its own
    ASSERT_TRUE(si.found);
    EXPECT_EQ(si.unit.type, 1);
    EXPECT_DOUBLE_EQ(si.unit.factor, 1.0);
    EXPECT_EQ(ResolveUnit("pa").unit.typeName, "Pressure");  // a row without a type, then the alias
    EXPECT_FALSE(ResolveUnit("m/s\xFF").found);              // not UTF-8
    EXPECT_THROW(RequireUnit(""), Error);
}

}  // namespace
