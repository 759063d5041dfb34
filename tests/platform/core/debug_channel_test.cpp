#include <kr/debug_channel.h>

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(DebugChannel, FormatsIntoItsSinkOnlyWhileEnabled) {
  krOS::DebugChannel channel("octree");
  std::string captured;
  channel.setSink([&](std::string_view text) { captured += text; });
  channel.print("%d\n", 1);  // disabled by default
  channel.enable(true);
  channel.print("Octree: vertices(%d) numNodes(%d)\n  maxDepth(%d): %f s\n", 1000, 73, 4, 0.25);
  EXPECT_EQ(captured, "Octree: vertices(1000) numNodes(73)\n  maxDepth(4): 0.250000 s\n");

  channel.setSink({});  // back to standard error
  ::testing::internal::CaptureStderr();
  channel.print("%s=%d\n", "camera", 3);
  channel.enable(false);
  channel.print("%d\n", 2);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "camera=3\n");
}

}  // namespace
