#include <kr/stopwatch.h>

#include <gtest/gtest.h>

namespace {

TEST(StopWatch, StopKeepsTheIntervalUntilTheNextStart) {
  krOS::StopWatch watch;
  EXPECT_EQ(watch.stop(), 0.0);  // never started
  watch.start();
  const double running = watch.elapsed();
  const double interval = watch.stop();
  EXPECT_GE(interval, running);
  EXPECT_EQ(watch.stop(), interval);
}

}  // namespace
