// Running the installed krgeom in a scratch folder and collecting what it printed.
#pragma once

#include <string>
#include <vector>

namespace krgeomtest {

struct RunResult {
  int status = -1;
  std::string out;
  std::string err;
};

// A fresh folder under the system's temporary folder, removed with everything in it.
class ScratchDir {
 public:
  ScratchDir();
  ~ScratchDir();
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }
  // Names of the files in the folder, sorted.
  std::vector<std::string> files() const;

 private:
  std::string path_;
};

// Runs the installed krgeom with args (no shell) in folder `cwd`, stdin from /dev/null.
RunResult runTool(const std::vector<std::string>& args, const std::string& cwd);

bool fileExists(const std::string& path);
void writeFile(const std::string& path, const std::string& bytes);
std::string readFile(const std::string& path);

}  // namespace krgeomtest
