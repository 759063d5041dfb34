#include "progress.h"

#include <unistd.h>

#include <cstdio>

namespace krgeom {

Progress::Progress(bool wanted) : shown_(wanted && isatty(STDERR_FILENO)) {}

Progress::~Progress() {
  finish();
}

void Progress::step(const std::string& what) {
  if (!shown_) return;
  // \r and clear-to-end-of-line keep one line, whatever the previous step's length.
  std::fprintf(stderr, "\r\033[Kkrgeom: %s ...", what.c_str());
  std::fflush(stderr);
  lineOpen_ = true;
}

void Progress::finish() {
  if (!lineOpen_) return;
  std::fprintf(stderr, "\r\033[K");
  std::fflush(stderr);
  lineOpen_ = false;
}

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace krgeom
