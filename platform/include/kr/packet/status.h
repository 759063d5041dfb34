// ioStatus: the outcome of opening, writing or reading a packet stream.
#pragma once

#include <kr/export.h>

#include <cstdint>
#include <string>

// Success, or the first problem met: its byte offset in the input and a message that names the
// packet and the reason. A plain value; one thread at a time.
class KR_PLATFORM_EXPORT ioStatus {
 public:
  // Success.
  ioStatus() = default;
  // A failure at that byte offset with that message.
  ioStatus(std::uint64_t offset, std::string message);

  // True when nothing went wrong.
  bool ok() const noexcept { return ok_; }
  // Empty on success, otherwise e.g. "offset 120, packet 'mesh': read past the end of a chunk".
  const char* message() const noexcept { return message_.c_str(); }
  // Byte offset of the problem in the input (0 when it has none, e.g. a missing file).
  std::uint64_t offset() const noexcept { return offset_; }

 private:
  std::string message_;
  std::uint64_t offset_ = 0;
  bool ok_ = true;
};
