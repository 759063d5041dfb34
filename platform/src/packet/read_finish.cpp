// End of a read: failed packets dropped, unresolved fields reported, objects verified, roots kept.
#include <kr/packet/read_context.h>

#include "read_state.h"

#include <new>
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

// Objects that only reference each other in a ring would have no owner: the first of each such
// group, in stream order, becomes a root.
void ioReadContext::promoteUnownedCycles() {
  const std::uint32_t first = firstRecord_;
  const std::size_t n = records_.size() - first;
  // Resolved fields as edges referrer -> referee, grouped by referrer.
  std::vector<std::uint32_t> start(n + 1, 0), targets;
  for (const Fixup& f : fixups_)
    if (f.state == FixupState::resolved) ++start[f.owner - first + 1];
  for (std::size_t i = 0; i < n; ++i) start[i + 1] += start[i];
  targets.resize(start[n]);
  std::vector<std::uint32_t> fill(start.begin(), start.end() - 1);
  for (const Fixup& f : fixups_)
    if (f.state == FixupState::resolved) targets[fill[f.owner - first]++] = f.link - first;

  std::vector<bool> reached(n, false);
  std::vector<std::uint32_t> stack;
  auto reachFrom = [&](std::uint32_t root) {
    reached[root] = true;
    stack.push_back(root);
    while (!stack.empty()) {
      std::uint32_t i = stack.back();
      stack.pop_back();
      for (std::uint32_t k = start[i]; k < start[i + 1]; ++k)
        if (!reached[targets[k]]) {
          reached[targets[k]] = true;
          stack.push_back(targets[k]);
        }
    }
  };
  for (int pass = 0; pass < 2; ++pass) {
    for (std::uint32_t i = 0; i < n; ++i) {
      const Record& r = records_[first + i];
      if (reached[i] || !r.object || r.rejected || (pass == 0 && r.referenced)) continue;
      records_[first + i].referenced = false;
      reachFrom(i);
    }
  }
}

void ioReadContext::promoteUnownedCyclesInPlace() noexcept {
  const auto end = static_cast<std::uint32_t>(records_.size());
  for (std::uint32_t i = firstRecord_; i < end; ++i) records_[i].reached = false;
  // Marks everything reachable from the reached records, sweeping the fields until nothing
  // changes: quadratic at worst, but needs no memory.
  auto spread = [&] {
    for (bool changed = true; changed;) {
      changed = false;
      for (const Fixup& f : fixups_) {
        if (f.state != FixupState::resolved || !records_[f.owner].reached) continue;
        if (records_[f.link].reached) continue;
        records_[f.link].reached = true;
        changed = true;
      }
    }
  };
  for (int pass = 0; pass < 2; ++pass) {
    for (std::uint32_t i = firstRecord_; i < end; ++i) {
      Record& r = records_[i];
      if (r.reached || !r.object || r.rejected || (pass == 0 && r.referenced)) continue;
      r.referenced = false;
      r.reached = true;
      spread();
    }
  }
}

void ioReadContext::finishRead(bool walked) {
  const auto end = static_cast<std::uint32_t>(records_.size());
  // Unresolved fields are only reported when the whole stream was read; after a failure they may
  // name packets beyond the stop.
  // Nothing here lets std::bad_alloc out: every object of the read must reach an owner. Running
  // out of memory is noted (readBuffer throws once the read is finished) and handled in place.
  if (walked) {
    for (const Fixup& f : fixups_) {
      try {
        if (f.state == FixupState::pending) {
          setCurrent(f.owner);
          records_[f.owner].type->hasUnresolvedPointer(*this, static_cast<int>(f.ref));
        } else if (f.state == FixupState::mismatch) {
          setCurrent(f.owner);
          failAt(records_[f.owner].offset,
                 "pointer field names reference " + std::to_string(f.ref) + ", a '" +
                     records_[f.link].type->getName() + "' packet, where '" +
                     fieldTypes_[f.expected]->getName() + "' is expected");
        }
      } catch (const std::bad_alloc&) {
        noteOutOfMemory(records_[f.owner].offset);
      }
    }
  }

  bool anyRejected = false;
  for (std::uint32_t i = firstRecord_; i < end; ++i) {
    Record& r = records_[i];
    if (!r.object) continue;
    std::string reason;
    bool verified = false;
    try {
      verified = r.type->verifyObject(r.object, reason);
    } catch (const std::bad_alloc&) {
      noteOutOfMemory(r.offset);  // an object that could not be checked is refused
    }
    if (verified) continue;
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
  try {
    promoteUnownedCycles();
  } catch (const std::bad_alloc&) {
    noteOutOfMemory(0);
    promoteUnownedCyclesInPlace();
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
    try {
      records_[i].type->memoryNotReferenced(*this, records_[i].object);
    } catch (const std::bad_alloc&) {
      // A hook that runs out of memory has not taken the object: it stays with the context.
      noteOutOfMemory(records_[i].offset);
      keepCalled_ = true;
    }
    records_[i].kept = keepCalled_;
    if (!keepCalled_) records_[i].object = nullptr;  // the type took it over
  }
}
