#include "recording/units.h"

#include "recording/error.h"
#include "tests/support/support.h"

namespace {

using namespace numora::rec;

TEST(Units, UnitStringsResolveToTheirTypeAndSiRelation)
{
    const UnitMatch g = ResolveUnit("G");
    ASSERT_TRUE(g.found && g.hasRow);
    EXPECT_EQ(g.unit.name, "g");
    EXPECT_EQ(g.unit.typeName, "Acceleration");
    EXPECT_EQ(g.unit.siUnit, "m/s\xC2\xB2");
    EXPECT_DOUBLE_EQ(g.unit.factor, 9.80665);

    const UnitMatch si = ResolveUnit("m/s\xC2\xB2");  // UTF-8
    ASSERT_TRUE(si.found);
    EXPECT_EQ(si.unit.type, 1);
    EXPECT_DOUBLE_EQ(si.unit.factor, 1.0);

    const UnitMatch pa = ResolveUnit("pa");  // a row without a type, then the alias
    EXPECT_TRUE(pa.found);
    EXPECT_EQ(pa.unit.typeName, "Pressure");

    EXPECT_EQ(ResolveUnit("psi").unit.typeName, "Pressure");
    EXPECT_FALSE(ResolveUnit("furlong").found);
    EXPECT_FALSE(ResolveUnit("").found);
    EXPECT_FALSE(ResolveUnit("m/s\xFF").found);  // not UTF-8
    EXPECT_THROW(RequireUnit("furlong"), Error);
}

TEST(Units, TheTableListsEveryRowInUtf8)
{
    const std::vector<UnitInfo> table = UnitTable();
    ASSERT_EQ(table.size(), 117u);
    int withSuperscript = 0;
    for (const UnitInfo& u : table) withSuperscript += u.siUnit.find("\xC2\xB2") != std::string::npos;
    EXPECT_GT(withSuperscript, 0);
    for (const UnitInfo& u : table)  // no bare Windows-1252 superscript left
        for (size_t i = 0; i < u.siUnit.size(); ++i)
            if (static_cast<unsigned char>(u.siUnit[i]) == 0xB2) {
                ASSERT_TRUE(i > 0 && u.siUnit[i - 1] == '\xC2') << u.name;
            }
}

}  // namespace
