// ioWriteContext: writes a packet stream into memory or, atomically, to a file.
//
//   ioWriteContext out;
//   if (!out.openFile("scene.krp").ok()) ...;   // omit for a stream in memory
//   out.startPacket("mesh", mesh);               // mesh's reference is declared by this packet
//   out.writeInt(n);
//   out.writeFloats(xyz, n);
//   out.startChunk();                            // fields added in a later version
//   out.writePointer(mesh->material, 0);         // refers to the packet that defines material
//   out.endPacket();
//   ioStatus s = out.close();                    // file: flush, fsync, rename
//
// Objects given to startPacket and writePointer are only used as keys: they are never
// dereferenced and need not outlive the call. One thread at a time.
#pragma once

#include <kr/export.h>
#include <kr/packet/context.h>
#include <kr/packet/reference_table.h>
#include <kr/packet/status.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// Writes packets; values inside a chunk are untagged, so the reader must read them in the same
// order and types.
class KR_PLATFORM_EXPORT ioWriteContext : public ioContext {
 public:
  // A stream in memory, see buffer().
  ioWriteContext();
  // A stream in memory written over storage, reusing its capacity (e.g. a buffer taken from an
  // earlier writer with takeBuffer) so that steady-state writing allocates nothing.
  explicit ioWriteContext(std::vector<std::uint8_t> storage);
  // A file still open is discarded: its temporary file is removed and the real name untouched.
  ~ioWriteContext() override;

  // Writes to a temporary file beside path; close() renames it to path.
  ioStatus openFile(const char* path);
  // Ends the stream; for a file, flushes, fsyncs and renames it over path. On failure nothing is
  // left under path (an existing file there is kept). Returns the first problem of the stream.
  ioStatus close();
  // The stream in memory, complete after close() (empty when writing a file).
  const std::vector<std::uint8_t>& buffer() const noexcept { return buf_; }
  // Moves the memory form out, leaving buffer() empty.
  std::vector<std::uint8_t> takeBuffer() noexcept { return std::move(buf_); }

  // Starts a packet named name (1 to 255 bytes). A non-null object is defined by this packet:
  // pointer fields naming it, written before or after, refer to this packet.
  void startPacket(const char* name, const void* object);
  // Ends the packet; it is dropped if invalidPacket() was called since startPacket.
  void endPacket();
  // Ends the current chunk of the packet or sub-packet and starts the next.
  void startChunk();
  // Starts a nested, self-contained group with chunks of its own, inside the current chunk.
  void startSubPacket();
  // Ends the innermost sub-packet.
  void endSubPacket();

  // A 4-byte two's-complement int.
  virtual void writeInt(int value);
  // One byte, 0 or 1.
  virtual void writeBool(bool value);
  // IEEE-754 binary64, bit-exact (NaN payloads and -0.0 kept).
  virtual void writeDouble(double value);
  // IEEE-754 binary32, bit-exact.
  virtual void writeFloat(float value);
  // An array: u32 count, then the elements. A negative count writes an empty array.
  virtual void writeFloats(const float* values, int count);
  // An array of ints, as writeFloats.
  virtual void writeInts(const int* values, int count);
  // An array of doubles, as writeFloats.
  virtual void writeDoubles(const double* values, int count);
  // The reference number of object (0 for null), assigned when first seen. flags are ignored.
  virtual void writePointer(const void* object, int flags);
  // A raw reference number. flags are ignored.
  virtual void writeReference(int reference, int flags);

  // The reference number of object, assigned now if new; 0 for null.
  std::uint32_t referenceOf(const void* object);

 private:
  void* definitionOf(int reference) const override;
  void markInvalid() override { packetInvalid_ = true; }
  void setError(const char* what);
  bool writable();
  void append(const void* data, std::size_t size);
  void openChunk();
  void closeChunk();
  void writeLength(std::size_t at, std::size_t end);
  void writeArray(const void* values, int count, std::size_t elementSize);
  void writeEndRecord();
  ioStatus flushFile();
  void discardFile();

  std::vector<std::uint8_t> buf_;
  // Offsets in buf_ of the open length fields: the packet body, then per level a chunk, with a
  // sub-packet length before each nested level's chunk.
  std::vector<std::size_t> open_;
  krPacket::ReferenceTable refs_;
  std::vector<const void*> objects_;  // index = reference - 1
  std::string path_, tempPath_;
  ioStatus status_;
  std::uint64_t packets_ = 0;
  std::size_t packetStart_ = 0;
  std::size_t referenceMark_ = 0;  // objects_ size at startPacket
  int fd_ = -1;
  bool inPacket_ = false;
  bool packetInvalid_ = false;
  bool closed_ = false;
};
