#include <kr/string.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using krString::CString;

TEST(CString, FormatsLikePrintfAtAnyLength) {
  EXPECT_EQ(CString::format("%d-%s-%.2f|%5x", -7, "ab", 1.5, 255), "-7-ab-1.50|   ff");
  const std::string big(5000, 'q');  // longer than any small fixed buffer
  EXPECT_EQ(CString::format("<%s>", big.c_str()).str(), "<" + big + ">");
}

TEST(CString, NullIsEmptyAndComparisonIsBytewise) {
  const char* none = nullptr;
  EXPECT_EQ(CString(none), CString(""));
  EXPECT_FALSE(CString("x") == none);
  EXPECT_TRUE(krString::less("B", "a"));     // upper case sorts first
  EXPECT_TRUE(krString::less("a", "ab"));    // a prefix sorts first
  EXPECT_TRUE(krString::less("a", "\xe9"));  // bytes compare unsigned, as strcmp
  EXPECT_FALSE(krString::less("a", "a"));
}

}  // namespace
