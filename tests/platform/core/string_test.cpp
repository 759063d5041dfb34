#include <kr/containers.h>
#include <kr/string.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using krString::CString;

TEST(CString, FormatsLikePrintf) {
  EXPECT_EQ(CString::format("%d-%s-%.2f|%5x", -7, "ab", 1.5, 255), "-7-ab-1.50|   ff");
  EXPECT_EQ(CString::format("%s", ""), "");
  EXPECT_TRUE(CString::format("%s", "").empty());

  // Longer than any small fixed buffer.
  const std::string big(5000, 'q');
  const CString s = CString::format("<%s>", big.c_str());
  EXPECT_EQ(s.length(), 5002u);
  EXPECT_EQ(s.str(), "<" + big + ">");
}

TEST(CString, NullAndEmptyAreTheSame) {
  const char* none = nullptr;
  const CString fromNull(none);
  EXPECT_TRUE(fromNull.empty());
  EXPECT_STREQ(fromNull.c_str(), "");
  EXPECT_EQ(fromNull, CString());
  EXPECT_TRUE(fromNull == none);
  EXPECT_FALSE(CString("x") == none);
  EXPECT_TRUE(krString::equal(fromNull, ""));
  EXPECT_EQ(CString(std::string_view("meshes").substr(1, 2)), "es");
}

TEST(CString, EqualityIsExactAndOrderIsBytewise) {
  EXPECT_TRUE(krString::equal("vertices", "vertices"));
  EXPECT_FALSE(krString::equal("vertices", "Vertices"));
  EXPECT_FALSE(krString::equal("uv", "uvs"));

  EXPECT_TRUE(krString::less("B", "a"));     // upper case sorts first
  EXPECT_TRUE(krString::less("a", "ab"));    // a prefix sorts first
  EXPECT_TRUE(krString::less("a", "\xe9"));  // bytes compare unsigned, as strcmp
  EXPECT_FALSE(krString::less("a", "a"));
  EXPECT_FALSE(krString::less("b", "a"));
}

TEST(CString, OrdersASetOfNames) {
  kr::set<CString> names{"uvs", "colours", "Normals", "vertices", "normals", "colours"};
  std::vector<std::string> order;
  for (const CString& n : names) order.push_back(n.str());
  EXPECT_EQ(order, (std::vector<std::string>{"Normals", "colours", "normals", "uvs", "vertices"}));
}

}  // namespace
