#include "read_state.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#if defined(__unix__) || defined(__APPLE__)
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace krPacket {

ioStatus readWholeFile(const std::string& path, FileBytes& bytes) {
#if defined(__unix__) || defined(__APPLE__)
  auto error = [&](const char* what) {
    return ioStatus(0, std::string(what) + " '" + path + "': " + std::strerror(errno));
  };
  int fd = ::open(path.c_str(), O_RDONLY);
  if (fd < 0) return error("cannot open");
  struct stat st {};
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    if (st.st_mode != 0) errno = S_ISDIR(st.st_mode) ? EISDIR : EINVAL;  // not a regular file
    ioStatus s = error("cannot read");
    ::close(fd);
    return s;
  }
  try {
    bytes.data.reset(new std::uint8_t[static_cast<std::size_t>(st.st_size)]);
  } catch (const std::exception&) {
    ::close(fd);
    return ioStatus(0, "cannot read '" + path + "': too large to hold in memory");
  }
  const std::size_t size = static_cast<std::size_t>(st.st_size);
  std::size_t done = 0;
  while (done < size) {
    ssize_t n = ::read(fd, bytes.data.get() + done, size - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += static_cast<std::size_t>(n);
  }
  ::close(fd);
  bytes.size = done;  // a file that shrank meanwhile fails its checks, not the process
  return {};
#else
  (void)bytes;
  return ioStatus(0, "cannot read '" + path + "': files are not supported on this platform");
#endif
}

}  // namespace krPacket
