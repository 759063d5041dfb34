// krgeom::Failure: a problem the tool reports as one line naming the file and the reason, with
// exit status 1. Commands throw it; main() prints it.
#pragma once

#include <stdexcept>
#include <string>

namespace krgeom {

class Failure : public std::runtime_error {
 public:
  Failure(const std::string& file, const std::string& reason)
      : std::runtime_error(file.empty() ? reason : file + ": " + reason) {}
};

}  // namespace krgeom
