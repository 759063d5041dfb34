// krgeom::Progress: one status line on stderr for long steps ("reading bunny.obj ..."), shown
// only when stderr is a terminal and --quiet was not given; each step replaces the previous one
// and finish() clears it.
#pragma once

#include <chrono>
#include <string>

namespace krgeom {

class Progress {
 public:
  // Shows steps when `wanted` and stderr is a terminal.
  explicit Progress(bool wanted);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Starts a step; the line is shown at once.
  void step(const std::string& what);
  // Clears the line.
  void finish();

 private:
  bool shown_;
  bool lineOpen_ = false;
};

// Seconds since `start`.
double secondsSince(std::chrono::steady_clock::time_point start);

}  // namespace krgeom
