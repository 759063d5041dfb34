// Walking a stream: framing, checksums, chunks, sub-packets, values and pointer fields.
#include <kr/packet/read_context.h>

#include "crc32c.h"
#include "format.h"
#include "read_state.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

using namespace krPacket;

ioReadContext::ioReadContext(ioPacketRegistry& registry) : registry_(registry) {}

ioReadContext::~ioReadContext() {
  for (Record& r : records_)
    if (r.kept && r.object) r.type->destroyObject(r.object);
}

std::vector<void*> ioReadContext::takeObjects(const char* typeName) {
  std::vector<void*> out;
  std::string_view name(typeName ? typeName : "");
  for (Record& r : records_) {
    if (!r.kept || !r.object || name != r.type->getName()) continue;
    out.push_back(r.object);
    r.object = nullptr;
  }
  return out;
}

void* ioReadContext::definitionOf(int reference) const {
  if (reference <= 0 || static_cast<std::size_t>(reference) >= slots_.size()) return nullptr;
  std::uint32_t rec = slots_[static_cast<std::size_t>(reference)].record;
  return rec ? records_[rec - 1].object : nullptr;
}

void ioReadContext::failAt(std::uint64_t offset, const std::string& reason) {
  if (!status_.ok()) return;
  try {
    std::string msg = "offset " + std::to_string(offset);
    if (!name_.empty()) {
      msg += ", packet '";
      for (char c : name_) msg += (c >= 0x20 && c < 0x7F) ? c : '?';
      msg += "'";
    }
    status_ = ioStatus(offset, msg + ": " + reason);
  } catch (const std::bad_alloc&) {
    noteOutOfMemory(offset);
  }
}

void ioReadContext::noteOutOfMemory(std::uint64_t offset) noexcept {
  outOfMemory_ = true;
  // A message short enough for the string's inline buffer: making it allocates nothing.
  if (status_.ok()) status_ = ioStatus(offset, "out of memory");
}

void ioReadContext::fail(const char* reason) {
  if (packetFailed_) return;
  packetFailed_ = true;
  failAt(pos_, reason ? reason : "failed");
  chunkEnd_ = pos_;
  chunkPresent_ = false;
}

// Streams repeat a few names (packet names, the types pointer fields expect) millions of times:
// the last few found are checked by name before the registry's tree is searched.
ioPacketType* ioReadContext::cachedType(std::string_view name) {
  for (ioPacketType* t : recentTypes_)
    if (t && name == t->getName()) return t;
  ioPacketType* t = registry_.findType(name);
  if (t) {
    recentTypes_[nextRecent_] = t;
    nextRecent_ = (nextRecent_ + 1) % kRecentTypes;
  }
  return t;
}

ioStatus ioReadContext::readBuffer(const void* data, std::size_t size) {
  status_ = {};
  outOfMemory_ = false;
  fixups_.clear();
  slots_.clear();
  frames_.clear();
  name_.clear();
  data_ = static_cast<const std::uint8_t*>(data);
  size_ = data ? size : 0;
  firstRecord_ = static_cast<std::uint32_t>(records_.size());
  recentTypes_ = {};  // the registry may have changed since the last read
  fieldTypes_.clear();
  // Room for the packets and pointer fields a stream of this size typically holds (a packet
  // takes at least 25 bytes, a field 4), so that large reads do not copy these tables while they
  // grow; pages not reached are never touched.
  records_.reserve(records_.size() + size_ / 48);
  fixups_.reserve(size_ / 12);
  bool walked = walk();
  finishRead(walked);
  data_ = nullptr;
  size_ = pos_ = chunkEnd_ = containerEnd_ = packetStart_ = packetEnd_ = 0;
  name_.clear();
  if (outOfMemory_) throw std::bad_alloc();
  return status_;
}

bool ioReadContext::walk() {
  if (size_ < kStreamHeaderSize) {
    failAt(0, "not a packet stream: shorter than its header");
    return false;
  }
  if (std::memcmp(data_, kMagic, sizeof kMagic) != 0) {
    failAt(0, "not a packet stream: bad magic");
    return false;
  }
  std::uint32_t version = load<std::uint32_t>(data_ + sizeof kMagic);
  if (version != kVersion) {
    failAt(sizeof kMagic, "unsupported version " + std::to_string(version));
    return false;
  }
  std::uint64_t pos = kStreamHeaderSize;
  std::uint64_t packets = 0;
  for (;;) {
    Step step;
    try {
      step = readPacketAt(pos, packets);
    } catch (const std::bad_alloc&) {
      // Outside a packet type nothing allocates once the packet has an object: stop here.
      noteOutOfMemory(packetStart_);
      return false;
    }
    switch (step) {
      case Step::next:
        break;
      case Step::end:
        return true;
      case Step::failed:
        return false;
    }
  }
}

ioReadContext::Step ioReadContext::readPacketAt(std::uint64_t& pos, std::uint64_t& packets) {
  packetStart_ = pos;
  name_.clear();
  if (pos >= size_) {
    failAt(pos, "stream ends without its end record");
    return Step::failed;
  }
  const std::uint64_t left = size_ - pos;
  const std::size_t nameLength = data_[pos];
  const std::uint64_t headerSize = 1 + nameLength + kPacketFixedHeader;
  if (left < headerSize + kCrcSize) {
    failAt(pos, "truncated packet header");
    return Step::failed;
  }
  name_.assign(reinterpret_cast<const char*>(data_ + pos + 1), nameLength);
  const std::uint32_t ref = load<std::uint32_t>(data_ + pos + 1 + nameLength);
  const std::uint64_t bodyLength = load<std::uint64_t>(data_ + pos + 1 + nameLength + 4);
  if (bodyLength > left - headerSize - kCrcSize) {
    failAt(pos, "packet length exceeds the input");
    return Step::failed;
  }
  const std::uint64_t bodyEnd = pos + headerSize + bodyLength;
  if (load<std::uint32_t>(data_ + bodyEnd) != crc32c(0, data_ + pos, headerSize + bodyLength)) {
    failAt(pos, "checksum mismatch");
    return Step::failed;
  }
  pos = bodyEnd + kCrcSize;

  if (nameLength == 0) {
    if (ref != 0 || bodyLength != kEndBodySize) {
      failAt(packetStart_, "malformed end record");
      return Step::failed;
    }
    std::uint64_t counted = load<std::uint64_t>(data_ + bodyEnd - kEndBodySize);
    if (counted != packets) {
      failAt(packetStart_, "end record counts " + std::to_string(counted) +
                               " packets, the stream has " + std::to_string(packets));
      return Step::failed;
    }
    if (pos != size_) {
      failAt(pos, "data after the end record");
      return Step::failed;
    }
    return Step::end;
  }
  if (++packets > kMaxPackets) {
    failAt(packetStart_, "too many packets");
    return Step::failed;
  }
  if (ref != 0) {
    if (!checkReference(ref)) {
      failAt(packetStart_, "reference " + std::to_string(ref) + " out of range");
      return Step::failed;
    }
    if (slots_[ref].declared) {
      failAt(packetStart_, "reference " + std::to_string(ref) + " declared twice");
      return Step::failed;
    }
    slots_[ref].declared = true;
  }
  if (tally_) ++(*tally_)[name_];
  ioPacketType* type = cachedType(name_);
  if (!type) return Step::next;  // unknown packets are skipped whole

  records_.push_back(Record{packetStart_, type, nullptr, ref});
  current_ = static_cast<std::uint32_t>(records_.size() - 1);
  packetRef_ = ref;
  packetFailed_ = false;
  packetSkipped_ = false;
  packetEnd_ = pos;
  containerEnd_ = bodyEnd;
  pos_ = chunkEnd_ = packetStart_ + headerSize;
  chunkPresent_ = true;
  frames_.clear();
  enterChunk();
  const std::size_t fixupMark = fixups_.size();
  try {
    type->readPacket(*this);
  } catch (const std::bad_alloc&) {
    noteOutOfMemory(pos_);
    fail(nullptr);
  } catch (const std::exception& e) {
    fail((std::string("packet type threw: ") + e.what()).c_str());
  } catch (...) {
    fail("packet type threw");
  }
  frames_.clear();
  if (packetFailed_) {
    dropFailedPacket(fixupMark);
    return Step::failed;
  }
  if (packetSkipped_) dropFailedPacket(fixupMark);  // not read, which is no error
  return Step::next;
}

bool ioReadContext::checkReference(std::uint32_t ref) {
  if (ref > size_ / kBytesPerReference) return false;
  if (slots_.size() <= ref) {
    const std::size_t most = size_ / kBytesPerReference + 1;
    slots_.resize(std::min(most, std::max<std::size_t>(ref + 1, slots_.size() * 2)));
  }
  return true;
}

void ioReadContext::enterChunk() {
  pos_ = chunkEnd_;
  if (pos_ == containerEnd_) {
    chunkPresent_ = false;
    return;
  }
  if (containerEnd_ - pos_ < kLengthSize) return fail("truncated chunk length");
  std::uint64_t length = load<std::uint64_t>(data_ + pos_);
  if (length > containerEnd_ - pos_ - kLengthSize) return fail("chunk length exceeds its packet");
  pos_ += kLengthSize;
  chunkEnd_ = pos_ + length;
  chunkPresent_ = true;
}

bool ioReadContext::nextChunk() {
  if (!chunkPresent_ || packetFailed_) return false;
  enterChunk();
  return chunkPresent_;
}

void ioReadContext::startSubPacket() {
  frames_.push_back(Frame{chunkEnd_, containerEnd_, pos_, chunkPresent_});
  if (frames_.size() > static_cast<std::size_t>(kMaxSubPacketDepth))
    return fail("sub-packets nested too deep");
  if (!chunkPresent_) {  // absent, like the chunk holding it
    containerEnd_ = chunkEnd_ = pos_;
    return;
  }
  std::uint64_t length = readValue<std::uint64_t>();
  if (packetFailed_) return;
  if (length > chunkEnd_ - pos_) return fail("sub-packet length exceeds its chunk");
  frames_.back().subEnd = pos_ + length;
  containerEnd_ = pos_ + length;
  chunkEnd_ = pos_;
  enterChunk();
}

void ioReadContext::endSubPacket() {
  if (frames_.empty()) return fail("endSubPacket without startSubPacket");
  Frame f = frames_.back();
  frames_.pop_back();
  containerEnd_ = f.containerEnd;
  if (packetFailed_) {
    chunkEnd_ = pos_;
    chunkPresent_ = false;
    return;
  }
  pos_ = std::max(pos_, f.subEnd);
  chunkEnd_ = f.chunkEnd;
  chunkPresent_ = f.chunkPresent;
}

bool ioReadContext::take(std::size_t size) {
  if (chunkEnd_ - pos_ >= size) return true;
  if (chunkPresent_) fail("read past the end of a chunk");
  return false;
}

template <typename T>
T ioReadContext::readValue() {
  if (!take(sizeof(T))) return T{};
  T v = load<T>(data_ + pos_);
  pos_ += sizeof(T);
  return v;
}

int ioReadContext::readInt() {
  return readValue<std::int32_t>();
}

bool ioReadContext::readBool() {
  std::uint8_t b = readValue<std::uint8_t>();
  if (b > 1) fail("bool byte other than 0 or 1");
  return b == 1;
}

double ioReadContext::readDouble() {
  return readValue<double>();
}

float ioReadContext::readFloat() {
  return readValue<float>();
}

void ioReadContext::readArray(void* dst, int count, std::size_t elementSize,
                              void (*copy)(void*, const void*, std::size_t)) {
  std::size_t n = count > 0 ? static_cast<std::size_t>(count) : 0;
  if (count < 0 || (n && !dst)) fail("array read with a negative count or no destination");
  if (!dst) return;
  if (take(kCountSize)) {
    std::uint32_t stored = load<std::uint32_t>(data_ + pos_);
    if (stored != n) {
      fail(("array of " + std::to_string(stored) + " where " + std::to_string(n) + " expected")
               .c_str());
    } else if (pos_ += kCountSize; take(n * elementSize)) {
      copy(dst, data_ + pos_, n);
      pos_ += n * elementSize;
      return;
    }
  }
  if (n) std::memset(dst, 0, n * elementSize);
}

void ioReadContext::readFloats(float* dst, int count) {
  readArray(dst, count, sizeof(float), copyElements<std::uint32_t>);
}

void ioReadContext::readInts(int* dst, int count) {
  readArray(dst, count, sizeof(std::int32_t), copyElements<std::uint32_t>);
}

void ioReadContext::readDoubles(double* dst, int count) {
  readArray(dst, count, sizeof(double), copyElements<std::uint64_t>);
}

int ioReadContext::readReference() {
  return readValue<std::int32_t>();
}

int ioReadContext::readCount(std::size_t elementSize) {
  int n = readInt();
  if (n < 0 ||
      static_cast<std::uint64_t>(n) * std::max<std::size_t>(elementSize, 1) > bytesLeftInChunk()) {
    fail(("count " + std::to_string(n) + " does not fit in the chunk").c_str());
    return 0;
  }
  return n;
}

void* ioReadContext::readPointer() {
  return getReferenceDefinition(static_cast<int>(readValue<std::uint32_t>() & 0x7FFFFFFFu));
}

void ioReadContext::readPointer(void** field, const char* expectedType) {
  if (!field) return fail("deferred pointer read into no field");
  *field = nullptr;
  std::uint32_t ref = readValue<std::uint32_t>();
  if (ref == 0 || packetFailed_) return;
  if (!checkReference(ref))
    return fail(("reference " + std::to_string(ref) + " out of range").c_str());
  ioPacketType* expected = cachedType(expectedType ? std::string_view(expectedType) : "");
  if (!expected) return fail("pointer field expects an unregistered packet type");
  std::size_t index = 0;
  while (index < fieldTypes_.size() && fieldTypes_[index] != expected) ++index;
  if (index == fieldTypes_.size()) {
    if (index > 0xFFFF) return fail("pointer fields expect too many packet types");
    fieldTypes_.push_back(expected);
  }
  fixups_.push_back(
      Fixup{field, ref, current_, 0, static_cast<std::uint16_t>(index), FixupState::pending});
  RefSlot& slot = slots_[ref];
  if (slot.record) {
    resolve(fixups_.back(), slot.record - 1);
  } else {
    fixups_.back().link = slot.pending;
    slot.pending = static_cast<std::uint32_t>(fixups_.size());
  }
}

void ioReadContext::resolve(Fixup& f, std::uint32_t record) {
  static_assert(sizeof(void*) != 8 || sizeof(Fixup) == 24, "fixups stay packed");
  Record& r = records_[record];
  f.link = record;
  if (r.type == fieldTypes_[f.expected]) {
    *f.field = r.object;
    f.state = FixupState::resolved;
  } else {
    f.state = FixupState::mismatch;
  }
}

void ioReadContext::defineReference(void* object) {
  if (!object) return fail("defineReference with no object");
  Record& r = records_[current_];
  if (r.object) {
    r.type->destroyObject(object);
    return fail("packet defines a second object");
  }
  r.object = object;
  if (!packetRef_) return;
  RefSlot& slot = slots_[packetRef_];
  slot.record = current_ + 1;
  for (std::uint32_t i = slot.pending; i;) {
    Fixup& f = fixups_[i - 1];
    i = f.link;
    resolve(f, current_);
  }
  slot.pending = 0;
}

void ioReadContext::keepObject(void* object) {
  if (object && current_ < records_.size() && records_[current_].object == object)
    keepCalled_ = true;
}

ioStatus ioReadContext::readFile(const char* path) {
  krPacket::FileBytes bytes;
  ioStatus s = krPacket::readWholeFile(path ? path : "", bytes);
  if (!s.ok()) return s;
  return readBuffer(bytes.data.get(), bytes.size);
}
