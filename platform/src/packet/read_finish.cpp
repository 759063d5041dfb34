// End of a read: failed packets dropped, unresolved fields reported, objects verified, roots kept.
#include <kr/packet/read_context.h>

#include "read_state.h"

#include <string>

using namespace krPacket;

void ioReadContext::setCurrent(std::uint32_t record) {
  const Record& r = records_[record];
  current_ = record;
  name_ = r.type->getName();
  packetRef_ = r.ref;
  pos_ = chunkEnd_ = containerEnd_ = r.offset;
  chunkPresent_ = false;
  packetFailed_ = false;
}

void ioReadContext::dropFailedPacket(std::size_t fixupMark) {
  Record& failed = records_[current_];
  // Fields the failed packet filled live in its object: clear them so that destroying it leaves
  // the objects they name alone (those stay with the context).
  if (failed.object) {
    for (std::size_t i = fixupMark; i < fixups_.size(); ++i)
      if (fixups_[i].state == FixupState::resolved) *fixups_[i].field = nullptr;
  }
  fixups_.resize(fixupMark);
  for (Fixup& f : fixups_) {
    if (f.state == FixupState::pending || f.link != current_) continue;
    if (f.state == FixupState::resolved) *f.field = nullptr;
    f.state = FixupState::pending;
  }
  if (failed.object) failed.type->destroyObject(failed.object);
  failed.object = nullptr;
}

void ioReadContext::finishRead(bool walked) {
  const auto end = static_cast<std::uint32_t>(records_.size());
  // Unresolved fields are only reported when the whole stream was read; after a failure they may
  // name packets beyond the stop.
  if (walked) {
    for (const Fixup& f : fixups_) {
      if (f.state == FixupState::pending) {
        setCurrent(f.owner);
        records_[f.owner].type->hasUnresolvedPointer(*this, static_cast<int>(f.ref));
      } else if (f.state == FixupState::mismatch) {
        setCurrent(f.owner);
        failAt(records_[f.owner].offset, "pointer field names reference " + std::to_string(f.ref) +
                                             ", a '" + records_[f.link].type->getName() +
                                             "' packet, where '" + f.expected->getName() +
                                             "' is expected");
      }
    }
  }

  bool anyRejected = false;
  for (std::uint32_t i = firstRecord_; i < end; ++i) {
    Record& r = records_[i];
    if (!r.object) continue;
    std::string reason;
    if (r.type->verifyObject(r.object, reason)) continue;
    r.rejected = anyRejected = true;
    setCurrent(i);
    failAt(r.offset, reason.empty() ? "object rejected" : reason);
  }
  // Clear every field touching a rejected object before destroying anything.
  for (Fixup& f : fixups_) {
    if (f.state != FixupState::resolved) continue;
    if (anyRejected && (records_[f.link].rejected || records_[f.owner].rejected)) {
      *f.field = nullptr;
      f.state = FixupState::pending;
    } else {
      records_[f.link].referenced = true;
    }
  }
  fixups_.clear();
  slots_.clear();
  for (std::uint32_t i = firstRecord_; i < end; ++i) {
    Record& r = records_[i];
    if (r.rejected && r.object) r.type->destroyObject(r.object);
    if (r.rejected || r.referenced) r.object = nullptr;  // gone, or owned by its referrer
  }

  for (std::uint32_t i = firstRecord_; i < end; ++i) {
    if (!records_[i].object) continue;
    setCurrent(i);
    keepCalled_ = false;
    records_[i].type->memoryNotReferenced(*this, records_[i].object);
    records_[i].kept = keepCalled_;
    if (!keepCalled_) records_[i].object = nullptr;  // the type took it over
  }
}
