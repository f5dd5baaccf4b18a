#include "recording/units.h"

#include "recording/error.h"
#include "tests/support/support.h"

namespace {

using namespace numora::rec;

TEST(Units, UnitStringsResolveToTheirTypeAndSiRelationInUtf8)
{
    const UnitMatch g = ResolveUnit("G");  // case is ignored
    ASSERT_TRUE(g.found && g.hasRow);
    EXPECT_EQ(g.unit.name, "g");
    EXPECT_EQ(g.unit.typeName, "Acceleration");
    EXPECT_EQ(g.unit.siUnit, "m/s\xC2\xB2");
    EXPECT_DOUBLE_EQ(g.unit.factor, 9.80665);

    const UnitMatch si = ResolveUnit("m/s\xC2\xB2");  // an SI unit without a row of its own
    ASSERT_TRUE(si.found);
    EXPECT_EQ(si.unit.type, 1);
    EXPECT_DOUBLE_EQ(si.unit.factor, 1.0);
    EXPECT_EQ(ResolveUnit("pa").unit.typeName, "Pressure");  // a row without a type, then the alias
    EXPECT_FALSE(ResolveUnit("furlong").found);
    EXPECT_FALSE(ResolveUnit("m/s\xFF").found);  // not UTF-8
    EXPECT_THROW(RequireUnit("furlong"), Error);
}

}  // namespace
