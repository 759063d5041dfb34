#include "tool_runner.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

extern char** environ;

namespace krgeomtest {

namespace fs = std::filesystem;

ScratchDir::ScratchDir() {
  std::string pattern = (fs::temp_directory_path() / "krgeom-e2e-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

ScratchDir::~ScratchDir() {
  std::error_code ec;
  fs::remove_all(path_, ec);
}

std::vector<std::string> ScratchDir::files() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(path_)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

RunResult runTool(const std::vector<std::string>& args, const std::string& cwd) {
  const std::string outPath = cwd + "/.stdout", errPath = cwd + "/.stderr";
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                   0644);
  posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                   0644);
  posix_spawn_file_actions_addchdir_np(&actions, cwd.c_str());
  std::vector<std::string> argv = {KRGEOM_TEST_BIN};
  argv.insert(argv.end(), args.begin(), args.end());
  std::vector<char*> cargs;
  for (std::string& a : argv) cargs.push_back(a.data());
  cargs.push_back(nullptr);
  pid_t pid = 0;
  RunResult result;
  if (posix_spawn(&pid, KRGEOM_TEST_BIN, &actions, nullptr, cargs.data(), environ) == 0) {
    int status = 0;
    waitpid(pid, &status, 0);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  posix_spawn_file_actions_destroy(&actions);
  result.out = readFile(outPath);
  result.err = readFile(errPath);
  fs::remove(outPath);
  fs::remove(errPath);
  return result;
}

bool fileExists(const std::string& path) {
  return fs::exists(path);
}

void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

}  // namespace krgeomtest
