#include <kr/packet/write_context.h>

#include "crc32c.h"
#include "format.h"

#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#if defined(__unix__) || defined(__APPLE__)
#include <fcntl.h>
#include <unistd.h>
#endif

using namespace krPacket;

static_assert(sizeof(int) == 4 && sizeof(float) == 4 && sizeof(double) == 8);

namespace {

// Bytes buffered before a file write.
constexpr std::size_t kFlushSize = std::size_t{1} << 20;

std::string osError(const char* what, const std::string& path) {
  return std::string(what) + " '" + path + "': " + std::strerror(errno);
}

}  // namespace

ioWriteContext::ioWriteContext() : ioWriteContext(std::vector<std::uint8_t>{}) {}

ioWriteContext::ioWriteContext(std::vector<std::uint8_t> storage) : buf_(std::move(storage)) {
  buf_.clear();
  append(kMagic, sizeof kMagic);
  std::uint8_t v[4];
  store(v, kVersion);
  append(v, sizeof v);
}

ioWriteContext::~ioWriteContext() {
  discardFile();
}

void ioWriteContext::setError(const char* what) {
  if (status_.ok()) status_ = ioStatus(buf_.size(), what);
}

bool ioWriteContext::writable() {
  if (inPacket_) return true;
  setError("value written outside a packet");
  return false;
}

void ioWriteContext::append(const void* data, std::size_t size) {
  const auto* p = static_cast<const std::uint8_t*>(data);
  buf_.insert(buf_.end(), p, p + size);
}

ioStatus ioWriteContext::openFile(const char* path) {
#if defined(__unix__) || defined(__APPLE__)
  if (fd_ >= 0 || closed_ || packets_ || inPacket_)
    return ioStatus(0, "openFile must come first, once");
  path_ = path ? path : "";
  std::string templ = path_ + ".XXXXXX";
  fd_ = ::mkstemp(templ.data());
  if (fd_ < 0) return ioStatus(0, osError("cannot create a temporary file for", path_));
  tempPath_ = templ;
  return {};
#else
  (void)path;
  return ioStatus(0, "files are not supported on this platform");
#endif
}

void ioWriteContext::discardFile() {
#if defined(__unix__) || defined(__APPLE__)
  if (fd_ < 0) return;
  ::close(fd_);
  fd_ = -1;
  ::unlink(tempPath_.c_str());
#endif
}

ioStatus ioWriteContext::flushFile() {
#if defined(__unix__) || defined(__APPLE__)
  std::size_t done = 0;
  while (done < buf_.size()) {
    ssize_t n = ::write(fd_, buf_.data() + done, buf_.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return ioStatus(0, osError("cannot write", tempPath_));
    done += static_cast<std::size_t>(n);
  }
  buf_.clear();
#endif
  return {};
}

void ioWriteContext::writeEndRecord() {
  packetStart_ = buf_.size();
  std::uint8_t head[1 + kPacketFixedHeader + kEndBodySize];
  head[0] = 0;
  store<std::uint32_t>(head + 1, 0);
  store<std::uint64_t>(head + 5, kEndBodySize);
  store<std::uint64_t>(head + 13, packets_);
  append(head, sizeof head);
  std::uint8_t crc[4];
  store(crc, crc32c(0, head, sizeof head));
  append(crc, sizeof crc);
}

ioStatus ioWriteContext::close() {
  if (closed_) return status_;
  closed_ = true;
  if (inPacket_) setError("close with a packet still open");
  writeEndRecord();
  if (fd_ < 0) return status_;
#if defined(__unix__) || defined(__APPLE__)
  if (status_.ok()) {
    ioStatus s = flushFile();
    if (s.ok() && ::fsync(fd_) != 0) s = ioStatus(0, osError("cannot sync", tempPath_));
    if (s.ok() && ::close(fd_) != 0) s = ioStatus(0, osError("cannot close", tempPath_));
    if (s.ok()) {
      fd_ = -1;
      if (::rename(tempPath_.c_str(), path_.c_str()) != 0) {
        s = ioStatus(0, osError("cannot rename to", path_));
        ::unlink(tempPath_.c_str());
      } else {
        // Make the rename itself durable.
        std::string dir = path_.substr(0, path_.find_last_of('/') + 1);
        int d = ::open(dir.empty() ? "." : dir.c_str(), O_RDONLY);
        if (d >= 0) {
          ::fsync(d);
          ::close(d);
        }
      }
    }
    status_ = s;
  }
  discardFile();
#endif
  buf_.clear();
  return status_;
}

std::uint32_t ioWriteContext::referenceOf(const void* object) {
  if (!object) return 0;
  const auto next = static_cast<std::uint32_t>(objects_.size() + 1);
  const std::uint32_t ref = refs_.insert(object, next);
  if (ref == next) objects_.push_back(object);
  return ref;
}

void* ioWriteContext::definitionOf(int reference) const {
  if (reference <= 0 || static_cast<std::size_t>(reference) > objects_.size()) return nullptr;
  return const_cast<void*>(objects_[static_cast<std::size_t>(reference) - 1]);
}

void ioWriteContext::openChunk() {
  open_.push_back(buf_.size());
  append("\0\0\0\0\0\0\0\0", kLengthSize);
}

void ioWriteContext::writeLength(std::size_t at, std::size_t end) {
  store<std::uint64_t>(buf_.data() + at, end - at - kLengthSize);
}

void ioWriteContext::closeChunk() {
  writeLength(open_.back(), buf_.size());
  open_.pop_back();
}

void ioWriteContext::startPacket(const char* name, const void* object) {
  if (closed_) return setError("startPacket after close");
  if (inPacket_) return setError("startPacket inside a packet");
  std::size_t n = name ? std::strlen(name) : 0;
  if (n == 0 || n > kMaxNameLength) return setError("packet name empty or longer than 255 bytes");
  inPacket_ = true;
  packetInvalid_ = false;
  packetStart_ = buf_.size();
  referenceMark_ = objects_.size();
  std::uint8_t len = static_cast<std::uint8_t>(n);
  append(&len, 1);
  append(name, n);
  std::uint8_t ref[4];
  store(ref, referenceOf(object));
  append(ref, sizeof ref);
  open_.clear();
  openChunk();  // body length
  openChunk();  // first chunk
}

void ioWriteContext::endPacket() {
  if (!inPacket_) return setError("endPacket without startPacket");
  if (open_.size() != 2) setError("endPacket inside a sub-packet");
  inPacket_ = false;
  if (packetInvalid_ || open_.size() != 2) {
    // Numbers first given out inside the dropped bytes appear nowhere else: take them back, so
    // that numbers stay dense in what is written.
    for (std::size_t i = referenceMark_; i < objects_.size(); ++i) refs_.erase(objects_[i]);
    objects_.resize(referenceMark_);
    buf_.resize(packetStart_);
    return;
  }
  closeChunk();
  closeChunk();
  std::uint8_t crc[4];
  store(crc, crc32c(0, buf_.data() + packetStart_, buf_.size() - packetStart_));
  append(crc, sizeof crc);
  ++packets_;
  if (fd_ >= 0 && buf_.size() >= kFlushSize) {
    ioStatus s = flushFile();
    if (!s.ok() && status_.ok()) status_ = s;
  }
}

void ioWriteContext::startChunk() {
  if (!inPacket_) return setError("startChunk outside a packet");
  closeChunk();
  openChunk();
}

void ioWriteContext::startSubPacket() {
  if (!inPacket_) return setError("startSubPacket outside a packet");
  if (static_cast<int>(open_.size() - 2) / 2 >= kMaxSubPacketDepth)
    return setError("sub-packets nested too deep");
  openChunk();  // sub-packet length
  openChunk();  // its first chunk
}

void ioWriteContext::endSubPacket() {
  if (!inPacket_ || open_.size() < 4) return setError("endSubPacket without startSubPacket");
  closeChunk();
  closeChunk();
}

void ioWriteContext::writeInt(int value) {
  if (!writable()) return;
  std::uint8_t b[4];
  store<std::int32_t>(b, value);
  append(b, sizeof b);
}

void ioWriteContext::writeBool(bool value) {
  if (!writable()) return;
  std::uint8_t b = value ? 1 : 0;
  append(&b, 1);
}

void ioWriteContext::writeDouble(double value) {
  if (!writable()) return;
  std::uint8_t b[8];
  store(b, value);
  append(b, sizeof b);
}

void ioWriteContext::writeFloat(float value) {
  if (!writable()) return;
  std::uint8_t b[4];
  store(b, value);
  append(b, sizeof b);
}

void ioWriteContext::writeArray(const void* values, int count, std::size_t elementSize) {
  if (!writable()) return;
  std::size_t n = count > 0 && values ? static_cast<std::size_t>(count) : 0;
  std::uint8_t c[4];
  store(c, static_cast<std::uint32_t>(n));
  append(c, sizeof c);
  if constexpr (std::endian::native == std::endian::little) {
    append(values, n * elementSize);
    return;
  }
  std::size_t at = buf_.size();
  buf_.resize(at + n * elementSize);
  if (n == 0) return;
  if (elementSize == 8)
    copyElements<std::uint64_t>(buf_.data() + at, values, n);
  else
    copyElements<std::uint32_t>(buf_.data() + at, values, n);
}

void ioWriteContext::writeFloats(const float* values, int count) {
  writeArray(values, count, sizeof(float));
}

void ioWriteContext::writeInts(const int* values, int count) {
  writeArray(values, count, sizeof(std::int32_t));
}

void ioWriteContext::writeDoubles(const double* values, int count) {
  writeArray(values, count, sizeof(double));
}

void ioWriteContext::writePointer(const void* object, int) {
  if (!writable()) return;
  std::uint8_t b[4];
  store(b, referenceOf(object));
  append(b, sizeof b);
}

void ioWriteContext::writeReference(int reference, int) {
  writeInt(reference);
}
