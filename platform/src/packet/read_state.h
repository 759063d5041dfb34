// Book-keeping of ioReadContext: packets read, deferred pointer fields, reference slots.
#pragma once

#include <kr/packet/read_context.h>

#include <cstdint>
#include <memory>

namespace krPacket {

enum class FixupState : std::uint8_t { pending, resolved, mismatch };

// A file's bytes, left uninitialised until read into (a value-initialised vector would write
// every page once more before the read does).
struct FileBytes {
  std::unique_ptr<std::uint8_t[]> data;
  std::size_t size = 0;
};

// Reads the file at path into bytes; a failed status names the path and the system's reason.
ioStatus readWholeFile(const std::string& path, FileBytes& bytes);

}  // namespace krPacket

enum class ioReadContext::Step : int { next, end, failed };

// A packet with a registered type, from any read of the context.
struct ioReadContext::Record {
  std::uint64_t offset;     // of the packet in its input
  ioPacketType* type;       // the type that read it
  void* object;             // defined object while the context owns it
  std::uint32_t ref;        // reference it declared, 0 when none
  bool kept = false;        // a root kept for takeObjects
  bool rejected = false;    // verifyObject refused it
  bool referenced = false;  // a resolved pointer field names it
  bool reached = false;     // scratch of promoteUnownedCyclesInPlace
};

// A deferred pointer field. Large streams hold tens of millions of these, hence the packing.
struct ioReadContext::Fixup {
  void** field;
  std::uint32_t ref;
  std::uint32_t owner;  // record of the packet that read the field
  // pending: next pending fixup of ref + 1 (0 ends); otherwise the record named
  std::uint32_t link;
  std::uint16_t expected;  // index in fieldTypes_ of the type the field expects
  krPacket::FixupState state;
};

// What the current read knows about a reference number.
struct ioReadContext::RefSlot {
  std::uint32_t record = 0;   // defining record + 1, 0 while undefined
  std::uint32_t pending = 0;  // first pending fixup + 1
  bool declared = false;      // a packet header declared it
};

// State saved on entering a sub-packet.
struct ioReadContext::Frame {
  std::uint64_t chunkEnd, containerEnd, subEnd;
  bool chunkPresent;
};
