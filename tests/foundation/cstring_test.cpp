#include "numora/foundation/cstring.h"

#include <cstring>
#include <utility>

#include <gtest/gtest.h>

namespace {

TEST(CString, NullConstructsAndAssignsEmpty)
{
    CString s(nullptr);
    EXPECT_TRUE(s.IsEmpty() && s.GetString()[0] == '\0');
    s = "m/s";
    s = static_cast<const char*>(nullptr);
    EXPECT_EQ(0, s.GetLength());
    s += nullptr;
    EXPECT_STREQ("", static_cast<const char*>(s));
}

TEST(CString, CopyAppendAndEmptyKeepOwnStorage)
{
    CString a("m/s");
    CString b(a);
    b += "\xB2";
    EXPECT_STREQ("m/s", a.GetString());
    EXPECT_EQ(4, b.GetLength());
    a = b;
    b.Empty();
    EXPECT_TRUE(b.IsEmpty());
    EXPECT_STREQ("m/s\xB2", a.GetString());
    CString moved(std::move(a));
    EXPECT_STREQ("m/s\xB2", moved.GetString());
    moved = moved.GetString() + 2;  // assignment from its own tail
    EXPECT_STREQ("s\xB2", moved.GetString());
}

TEST(CString, CompareIsExactAndCompareNoCaseFoldsAsciiOnly)
{
    CString s("Hz");
    EXPECT_EQ(0, s.Compare("Hz"));
    EXPECT_NE(0, s.Compare("hz"));
    EXPECT_EQ(0, s.CompareNoCase("hZ"));
    EXPECT_LT(s.CompareNoCase("hzz"), 0);
    // The superscript bytes are not letters and must not fold onto each other.
    CString squared("m\xB2");
    EXPECT_NE(0, squared.CompareNoCase("m\xB3"));
    EXPECT_EQ(0, squared.CompareNoCase("M\xB2"));
}

}  // namespace
