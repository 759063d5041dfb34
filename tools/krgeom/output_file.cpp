#include "output_file.h"

#include "failure.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace krgeom {

OutputFile::OutputFile(std::string path)
    : path_(std::move(path)), temp_(path_ + ".tmp-" + std::to_string(getpid())) {}

OutputFile::~OutputFile() {
  if (!committed_) std::remove(temp_.c_str());
}

void OutputFile::commit() {
  if (std::rename(temp_.c_str(), path_.c_str()) != 0)
    throw Failure(path_, std::string("cannot write: ") + std::strerror(errno));
  committed_ = true;
}

}  // namespace krgeom
