// ioReadContext: reads a packet stream, dispatching each packet to its registered type.
//
//   ioReadContext in(registry);
//   ioStatus s = in.readFile("scene.krp");
//   for (void* p : in.takeObjects("mesh")) meshes.emplace_back(static_cast<Mesh*>(p));
//   if (!s.ok()) report(s.message());   // what was read before the problem is still handed out
//
// Input is untrusted: values read past the end of their chunk read as 0 / false / null and fail
// the packet; lengths, counts, names and reference numbers are checked before use; every packet
// carries a CRC-32C checked before any of its values are read.
//
// Reading stops at the first failed packet. That packet's object is destroyed; objects of the
// packets before it still go through the end-of-read steps (verifyObject, memoryNotReferenced)
// and can be taken. Pointer fields that the stop left unresolved stay null.
//
// Objects are owned by the context until takeObjects hands them out; an object that a resolved
// pointer field names belongs to the object holding that field and is never handed out (in a
// ring of objects that nothing else names, the first in stream order is handed out instead). The
// registry must outlive the context. One thread at a time.
#pragma once

#include <kr/export.h>
#include <kr/packet/context.h>
#include <kr/packet/status.h>
#include <kr/packet/type.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// Reads packet streams (see docs/packet-format.md).
class KR_PLATFORM_EXPORT ioReadContext : public ioContext {
 public:
  // Dispatches packets to registry's types; registry is borrowed and must outlive the context.
  explicit ioReadContext(ioPacketRegistry& registry);
  // Destroys, through their types' destroyObject, objects not taken.
  ~ioReadContext() override;

  // Reads the whole file at path; a missing or unreadable file gives a failed status.
  ioStatus readFile(const char* path);
  // Reads a stream in memory; data is only used during the call. Objects of several reads add up.
  // Running out of memory ends the read like a failed packet and then throws std::bad_alloc
  // (also from readFile): objects of the packets read before can still be taken, and the
  // context can read again.
  ioStatus readBuffer(const void* data, std::size_t size);
  // Objects that packets named typeName defined and nothing refers to, in stream order, not yet
  // taken. The caller owns them afterwards.
  std::vector<void*> takeObjects(const char* typeName);
  // While set, every framed packet read (registered type or not) adds one to tally[its name].
  // The map is borrowed and must outlive the reads; null (the default) stops counting.
  void setPacketTally(std::map<std::string, std::uint64_t>* tally) noexcept { tally_ = tally; }

  // --- Inside readPacket (and the end-of-read hooks) ---
  // Name of the current packet.
  const char* getPacketName() const noexcept { return name_.c_str(); }
  // Reference number the current packet declares, 0 when none.
  int getPacketReference() const noexcept { return static_cast<int>(packetRef_); }
  // Makes object the current packet's object (once per packet; the context owns it from now on,
  // also if the packet fails later) and the definition of its reference; deferred pointer fields
  // naming it are filled in when they expect this type.
  void defineReference(void* object);
  // End-of-read hook only: keeps a root object for takeObjects (the default memoryNotReferenced).
  void keepObject(void* object);
  // Moves to the next chunk of the packet or sub-packet; returns chunkPresent().
  bool nextChunk();
  // True when the chunk moved to exists in the data. Reads in an absent chunk give defaults
  // without failing, so that newer readers handle older streams.
  bool chunkPresent() const noexcept { return chunkPresent_; }
  // Enters a nested sub-packet stored in the current chunk, positioned at its first chunk.
  void startSubPacket();
  // Leaves the innermost sub-packet, skipping what was not read.
  void endSubPacket();

  // Next value; 0 past the end of the chunk (which fails the packet).
  virtual int readInt();
  // Next value; false past the end. Bytes other than 0 and 1 fail the packet.
  virtual bool readBool();
  // Next value; 0.0 past the end.
  virtual double readDouble();
  // Next value; 0.0f past the end.
  virtual float readFloat();
  // An array written with writeFloats; a stored count other than count fails the packet. dst is
  // zero-filled on failure.
  virtual void readFloats(float* dst, int count);
  // As readFloats.
  virtual void readInts(int* dst, int count);
  // As readFloats.
  virtual void readDoubles(double* dst, int count);
  // The object defined so far for the reference read, or null; never fails for a reference that
  // names nothing (opaque application pointers). The object does not become referenced: it is
  // still handed out by takeObjects, so do not keep it as owned.
  virtual void* readPointer();
  // Deferred pointer field: *field is set now or when the packet declaring the reference defines
  // its object, if that packet's type is named expectedType; otherwise it stays null and the read
  // fails. field must stay valid until the read ends (it lives in the current packet's object).
  virtual void readPointer(void** field, const char* expectedType);
  // A raw reference number written with writeReference.
  virtual int readReference();
  // An int read as an element count, checked against the bytes left in the chunk for that many
  // elements of elementSize bytes; 0 and a failed packet when it cannot fit. Call before
  // allocating for an array.
  int readCount(std::size_t elementSize);

  // Bytes left in the current chunk; check before allocating.
  std::uint64_t bytesLeftInChunk() const noexcept { return chunkEnd_ - pos_; }
  // Bytes of the input after the current packet.
  std::uint64_t bytesLeftInInput() const noexcept { return size_ - packetEnd_; }
  // Fails the current packet with reason (the first reason wins); later reads give defaults.
  void fail(const char* reason);
  // True until the current packet fails.
  bool packetOk() const noexcept { return !packetFailed_; }

 private:
  struct Record;
  struct Fixup;
  struct RefSlot;
  struct Frame;
  enum class Step : int;

  void* definitionOf(int reference) const override;
  void markInvalid() override { packetSkipped_ = true; }
  bool walk();
  Step readPacketAt(std::uint64_t& pos, std::uint64_t& packets);
  void enterChunk();
  bool take(std::size_t size);
  // Sets the status (the first failure wins); never throws.
  void failAt(std::uint64_t offset, const std::string& reason);
  // Marks the read as out of memory (readBuffer throws at its end) and fails it at offset.
  void noteOutOfMemory(std::uint64_t offset) noexcept;
  bool checkReference(std::uint32_t ref);
  void resolve(Fixup& fixup, std::uint32_t record);
  void dropFailedPacket(std::size_t fixupMark);
  void finishRead(bool walked);
  void promoteUnownedCycles();
  // The same without allocating, slower: for when memory has run out.
  void promoteUnownedCyclesInPlace() noexcept;
  void setCurrent(std::uint32_t record);
  template <typename T>
  T readValue();
  void readArray(void* dst, int count, std::size_t elementSize,
                 void (*copy)(void*, const void*, std::size_t));

  ioPacketType* cachedType(std::string_view name);

  ioPacketRegistry& registry_;
  static constexpr int kRecentTypes = 4;
  std::array<ioPacketType*, kRecentTypes> recentTypes_{};  // found lately, see cachedType
  int nextRecent_ = 0;
  std::vector<Record> records_;            // packets with a registered type, all reads
  std::vector<Fixup> fixups_;              // deferred pointer fields of the current read
  std::vector<ioPacketType*> fieldTypes_;  // the types those fields expect, current read
  std::vector<RefSlot> slots_;             // by reference number, current read
  std::vector<Frame> frames_;              // open sub-packets
  std::string name_;
  std::map<std::string, std::uint64_t>* tally_ = nullptr;
  ioStatus status_;
  const std::uint8_t* data_ = nullptr;
  std::uint64_t size_ = 0;
  std::uint64_t pos_ = 0, chunkEnd_ = 0, containerEnd_ = 0;
  std::uint64_t packetStart_ = 0, packetEnd_ = 0;
  std::uint32_t packetRef_ = 0;
  std::uint32_t current_ = 0;      // record of the current packet
  std::uint32_t firstRecord_ = 0;  // first record of the current read
  bool chunkPresent_ = false;
  bool packetFailed_ = false;
  bool packetSkipped_ = false;  // invalidPacket(): dropped as not read, the read goes on
  bool keepCalled_ = false;
  bool outOfMemory_ = false;  // a packet type ran out of memory: the read throws at its end
};

// Wraps a read context for application data passed along while reading; packet types that hold
// a client call its hooks around their read. Borrows the context, which must outlive it.
class KR_PLATFORM_EXPORT ioClientReadContext {
 public:
  // Borrows in.
  explicit ioClientReadContext(ioReadContext& in) : in_(&in) {}
  // Shares the same read context.
  ioClientReadContext(const ioClientReadContext&) = default;
  // Polymorphic base.
  virtual ~ioClientReadContext();

  // Called before a packet is read; default nothing.
  virtual void prePacketRead();
  // Called after a packet is read; default nothing.
  virtual void postPacketRead();
  // The borrowed read context.
  ioReadContext& getReadContext() const noexcept { return *in_; }

 private:
  ioReadContext* in_;
};
