#include <kr/stopwatch.h>

#include <gtest/gtest.h>

namespace {

TEST(StopWatch, NeverStartedReadsZero) {
  krOS::StopWatch watch;
  EXPECT_FALSE(watch.running());
  EXPECT_EQ(watch.elapsed(), 0.0);
  EXPECT_EQ(watch.stop(), 0.0);
}

TEST(StopWatch, ReadingsAreMonotonicAndTheStoppedIntervalIsKept) {
  krOS::StopWatch watch;
  watch.start();
  EXPECT_TRUE(watch.running());
  double previous = 0.0;
  for (int i = 0; i < 1000; ++i) {
    const double now = watch.elapsed();
    ASSERT_GE(now, previous);
    previous = now;
  }
  const double interval = watch.stop();
  EXPECT_GE(interval, previous);
  EXPECT_FALSE(watch.running());
  EXPECT_EQ(watch.stop(), interval);  // stopping again reports the same interval
  EXPECT_EQ(watch.elapsed(), interval);

  watch.start();  // a restart forgets the old interval
  EXPECT_TRUE(watch.running());
  EXPECT_GE(watch.stop(), 0.0);
}

}  // namespace
