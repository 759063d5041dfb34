// ioContext: what the packet writer and reader have in common.
#pragma once

#include <kr/export.h>

// Base of ioWriteContext and ioReadContext. One thread at a time.
class KR_PLATFORM_EXPORT ioContext {
 public:
  // Polymorphic base.
  virtual ~ioContext();

  // Object with that reference number so far (writer: the object given it; reader: the object a
  // packet defined for it), or null. The pointer stays owned as the concrete context says.
  void* getReferenceDefinition(int reference) const { return definitionOf(reference); }
  // Marks the current packet as not read: the writer drops it at endPacket; the reader drops its
  // object and fields and goes on with the next packet (no error; use ioReadContext::fail for one).
  void invalidPacket() { markInvalid(); }

 protected:
  ioContext() = default;
  ioContext(const ioContext&) = delete;
  ioContext& operator=(const ioContext&) = delete;

 private:
  virtual void* definitionOf(int reference) const = 0;
  virtual void markInvalid() = 0;
};
