#include <kr/debug_channel.h>

#include <gtest/gtest.h>

#include <string>

namespace {

class DebugChannelTest : public ::testing::Test {
 protected:
  DebugChannelTest() : channel("octree") {
    channel.setSink([this](std::string_view text) {
      captured += text;
      ++calls;
    });
  }
  krOS::DebugChannel channel;
  std::string captured;
  int calls = 0;
};

TEST_F(DebugChannelTest, DisabledByDefaultAndPrintsNothing) {
  EXPECT_STREQ(channel.name(), "octree");
  EXPECT_FALSE(channel.enabled());
  channel.print("%d\n", 1);
  EXPECT_EQ(calls, 0);

  channel.enable(true);
  channel.enable(false);
  channel.print("%d\n", 2);
  EXPECT_EQ(calls, 0);
}

TEST_F(DebugChannelTest, EnabledChannelFormatsIntoTheSink) {
  channel.enable(true);
  channel.print("Octree: vertices(%d) vertsPerLeaf(%d) numNodes(%d)\n        maxDepth(%d): %f s\n",
                1000, 16, 73, 4, 0.25);
  EXPECT_EQ(
      captured,
      "Octree: vertices(1000) vertsPerLeaf(16) numNodes(73)\n        maxDepth(4): 0.250000 s\n");
  EXPECT_EQ(calls, 1);
  channel.print("%s", "");
  channel.print("x");
  EXPECT_EQ(captured.back(), 'x');
}

TEST(DebugChannel, DefaultSinkIsStandardError) {
  krOS::DebugChannel channel;
  EXPECT_STREQ(channel.name(), "");
  EXPECT_STREQ(krOS::DebugChannel(nullptr).name(), "");
  channel.enable(true);
  channel.setSink([](std::string_view) {});
  channel.setSink({});  // an empty sink restores standard error
  ::testing::internal::CaptureStderr();
  channel.print("%s=%d\n", "camera", 3);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "camera=3\n");
}

}  // namespace
