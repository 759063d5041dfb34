// krOS::StopWatch: measures elapsed wall time on the steady (monotonic) clock.
//
//   krOS::StopWatch watch;
//   watch.start();
//   build();
//   double seconds = watch.stop();
//
// A plain value; one thread at a time.
#pragma once

#include <chrono>

namespace krOS {

class StopWatch {
 public:
  using Clock = std::chrono::steady_clock;

  // Timing
  // (Re)starts timing from now; an earlier interval is forgotten.
  void start() noexcept {
    begin_ = Clock::now();
    running_ = true;
  }
  // Stops timing and returns the seconds since start(). When the watch is not running it returns
  // the last measured interval again (0 if it never ran).
  double stop() noexcept {
    if (running_) {
      last_ = std::chrono::duration<double>(Clock::now() - begin_).count();
      running_ = false;
    }
    return last_;
  }

  // Queries
  // Seconds since start() while running, else the last measured interval.
  double elapsed() const noexcept {
    return running_ ? std::chrono::duration<double>(Clock::now() - begin_).count() : last_;
  }
  bool running() const noexcept { return running_; }

 private:
  Clock::time_point begin_{};
  double last_ = 0.0;
  bool running_ = false;
};

}  // namespace krOS
