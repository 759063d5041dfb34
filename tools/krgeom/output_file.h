// krgeom::OutputFile: an output written under a temporary name beside its final path and renamed
// over it by commit(), so a failure never leaves a half-written file. An output that is never
// committed is removed when the object goes.
#pragma once

#include <string>

namespace krgeom {

class OutputFile {
 public:
  explicit OutputFile(std::string path);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Where to write.
  const std::string& tempPath() const { return temp_; }
  // Renames the temporary file to the final path; throws Failure when that fails.
  void commit();

 private:
  std::string path_;
  std::string temp_;
  bool committed_ = false;
};

}  // namespace krgeom
