#include "numora/foundation/cstring.h"

#include <utility>

#include <gtest/gtest.h>

namespace {

TEST(CString, NullGivesEmptyAndCopiesKeepTheirOwnStorage)
{
    CString s(nullptr);
    EXPECT_TRUE(s.IsEmpty() && s.GetString()[0] == '\0');
    s = "m/s";
    s += nullptr;
    CString b(s);
    b += "\xB2";
    EXPECT_STREQ("m/s", s.GetString());
    s = b;
    b = static_cast<const char*>(nullptr);
    EXPECT_TRUE(b.IsEmpty() && s.GetLength() == 4);
    CString moved(std::move(s));
    moved = moved.GetString() + 2;  // assignment from its own tail
    EXPECT_STREQ("s\xB2", moved.GetString());
}

TEST(CString, CompareIsExactAndCompareNoCaseFoldsAsciiOnly)
{
    CString s("Hz"), squared("m\xB2");
    EXPECT_NE(0, s.Compare("hz"));
    EXPECT_EQ(0, s.CompareNoCase("hZ"));
    EXPECT_LT(s.CompareNoCase("hzz"), 0);
    // The superscript bytes are not letters and must not fold onto each other.
    EXPECT_NE(0, squared.CompareNoCase("m\xB3"));
    EXPECT_EQ(0, squared.CompareNoCase("M\xB2"));
}

}  // namespace
