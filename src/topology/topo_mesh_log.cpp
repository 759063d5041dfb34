#include "topo_mesh_log.h"

#include <kr/fs_allocator.h>

#include <algorithm>
#include <cassert>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace krGeom {

namespace {

using Entry = TopoMeshLogEntry;
constexpr std::uint32_t kNone = TopoMeshLogIndex::kNone;

// Which ends of its change set a single entry's record exists at.
bool existsAtParent(const Entry& e) noexcept {
  return e.status != eCreated;
}
bool existsAtChild(const Entry& e) noexcept {
  return e.status != eDeleted;
}

// Removes entry i from a change set, moving the last entry into its place.
void eraseEntry(TopoMeshChangeSet& changes, std::uint32_t i) noexcept {
  auto& entries = changes.entries;
  const auto last = static_cast<std::uint32_t>(entries.size() - 1);
  if (changes.index.built()) {
    changes.index.erase(entries[i].record);
    if (i != last) changes.index.relocate(entries[last].record, i);
  }
  entries[i] = entries[last];
  entries.pop_back();
}

// Appends an entry to a change set whose vector and index have room for it.
void appendEntry(TopoMeshChangeSet& changes, const Entry& e) noexcept {
  changes.index.insert(e.record, static_cast<std::uint32_t>(changes.entries.size()));
  changes.entries.push_back(e);
}

}  // namespace

TopoMeshLog::TopoMeshLog(krOS::FSAllocator& vertexPool, krOS::FSAllocator& edgePool,
                         krOS::FSAllocator& facePool, TopoMeshLists& lists)
    : pools_{&vertexPool, &edgePool, &facePool}, lists_(&lists) {
  root_ = current_ = new TopoMeshStateImpl(takeTag(), this, nullptr, lists);
}

TopoMeshLog::~TopoMeshLog() {
  // Records and copies go with the mesh's pools; here only the states are freed or detached.
  // Depth first through the children vectors, without allocating: a destructor must not throw.
  TopoMeshStateImpl* s = root_;
  while (s) {
    if (!s->children.empty()) {
      TopoMeshStateImpl* child = s->children.back();
      s->children.pop_back();
      s = child;
      continue;
    }
    TopoMeshStateImpl* parent = s->parent;
    s->children = {};
    s->changes = {};
    s->parent = nullptr;
    s->log = nullptr;
    if (s->refs() == 0) delete s;
    s = parent;
  }
}

std::int32_t TopoMeshLog::takeTag() {
  if (freedTags_.empty()) return tagCounter_++;
  const std::int32_t tag = freedTags_.back();
  freedTags_.pop_back();
  return tag;
}

void TopoMeshLog::freeRecord(void* rec, TopoMeshRecordKind kind) noexcept {
  pools_[kind]->free(rec);
}

void TopoMeshLog::freeDeadRecords() noexcept {
  for (const DeadRecord& d : dead_) freeRecord(d.record, d.kind);
  dead_.clear();
}

// ---- Recording ----------------------------------------------------------------------------------

void TopoMeshLog::reserve(std::size_t n) {
  auto& entries = pending_.entries;
  const std::size_t needed = entries.size() + n;
  if (entries.capacity() < needed) entries.reserve(std::max(needed, 2 * entries.size() + 64));
  pending_.index.reserve(needed);
  if (dead_.capacity() < dead_.size() + n)
    dead_.reserve(std::max(dead_.size() + n, 2 * dead_.size() + 16));
}

void TopoMeshLog::record(void* rec, TopoMeshRecordKind kind, TopoMeshRecordStatus status) {
#if defined(__GNUC__)
  // A first change copies the whole record, while the edit itself reads only its links: start
  // loading the rest now, so those misses overlap the table probe.
  if (status == eChanged)
    for (std::size_t offset = 64; offset < kTopoMeshRecordBytes[kind]; offset += 64)
      __builtin_prefetch(static_cast<const char*>(rec) + offset);
#endif
  auto& entries = pending_.entries;
  // Make room first (geometrically), so that nothing fails once the index knows the record.
  if (entries.size() == entries.capacity()) entries.reserve(2 * entries.size() + 64);
  const auto pos = static_cast<std::uint32_t>(entries.size());
  const std::uint32_t i = pending_.index.findOrInsert(rec, pos);
  if (i != kNone) {
    Entry& e = entries[i];
    if (status != eDeleted) return;  // the first before-image stays
    if (e.status == eChanged) {
      e.status = eDeleted;
    } else if (e.status == eCreated) {
      // Created and deleted since the current state: no state ever sees it. The operation may
      // still read it, so it goes back to its pool only when the operation is over.
      if (dead_.size() == dead_.capacity()) dead_.reserve(2 * dead_.size() + 16);
      eraseEntry(pending_, i);
      dead_.push_back({rec, kind});
    }
    return;
  }
  void* copy = nullptr;
  if (status == eChanged) {
    try {
      copy = pools_[kind]->alloc();
    } catch (...) {
      pending_.index.erase(rec);
      throw;
    }
    std::memcpy(copy, rec, kTopoMeshRecordBytes[kind]);
  }
  entries.push_back({status, kind, rec, copy});
}

// ---- Saving and restoring -----------------------------------------------------------------------

kr::Reference<TopoMeshState> TopoMeshLog::createState() {
  freeDeadRecords();
  if (pending_.entries.empty()) return kr::Reference<TopoMeshState>(current_);
  // The entries stay as long as the state: drop the growth reserve (one small copy).
  pending_.entries.shrink_to_fit();

  // Room for every tag to come back, so that pruning never allocates for it.
  if (freedTags_.empty() && freedTags_.capacity() <= static_cast<std::size_t>(tagCounter_))
    freedTags_.reserve(2 * static_cast<std::size_t>(tagCounter_) + 16);
  const std::int32_t tag = freedTags_.empty() ? tagCounter_ : freedTags_.back();
  auto made = std::make_unique<TopoMeshStateImpl>(tag, this, current_, *lists_);
  current_->children.push_back(made.get());
  // Nothing below throws.
  TopoMeshStateImpl* state = made.release();
  takeTag();
  // The pending entries become the new change set as they are: each copy holds the version of
  // the parent's end, and the mesh is at the child's end.
  state->changes.entries = std::move(pending_.entries);
  pending_.entries.clear();
  pending_.index.clear();

  TopoMeshStateImpl* former = current_;
  current_ = state;
  kr::Reference<TopoMeshState> result(current_);
  if (former->refs() == 0) prune(former);
  return result;
}

void TopoMeshLog::discardPending() {
  // In reverse, so that the pools hand the records out again in the order they were taken
  // (the free lists are last in, first out), which keeps the next edits' copies sequential.
  for (auto it = pending_.entries.rbegin(); it != pending_.entries.rend(); ++it) {
    const Entry& e = *it;
    if (e.copy) {
      std::memcpy(e.record, e.copy, kTopoMeshRecordBytes[e.kind]);
      freeRecord(e.copy, e.kind);
    }
    if (e.status == eCreated) freeRecord(e.record, e.kind);
  }
  pending_.entries.clear();
  pending_.index.clear();
  freeDeadRecords();
  // The lists are restored by setState, from its target.
}

void TopoMeshLog::apply(const TopoMeshChangeSet& changes) noexcept {
  for (const Entry& e : changes.entries) {
    if (!e.copy) continue;
    const std::size_t n = kTopoMeshRecordBytes[e.kind];
    std::memcpy(scratch_, e.record, n);
    std::memcpy(e.record, e.copy, n);
    std::memcpy(e.copy, scratch_, n);
  }
}

void TopoMeshLog::setState(TopoMeshState* state) {
  auto* target = static_cast<TopoMeshStateImpl*>(state);
  assert(target && target->log == this && "setState with a state of another mesh");
  auto depth = [](const TopoMeshStateImpl* s) {
    int d = 0;
    for (; s->parent; s = s->parent) ++d;
    return d;
  };
  // The only allocation, made before anything changes: on failure the mesh is as it was.
  path_.reserve(static_cast<std::size_t>(depth(target)));
  discardPending();

  // Climb from the current state to the nearest common ancestor, undoing each change set on
  // the way; note the way down to the target and redo it afterwards, since a record may lie in
  // change sets on both sides.
  TopoMeshStateImpl* up = current_;
  TopoMeshStateImpl* down = target;
  int upDepth = depth(up), downDepth = depth(down);
  path_.clear();
  while (upDepth > downDepth) {
    apply(up->changes);
    up->currentBelow = false;
    up = up->parent;
    --upDepth;
  }
  while (downDepth > upDepth) {
    path_.push_back(down);
    down = down->parent;
    --downDepth;
  }
  while (up != down) {
    apply(up->changes);
    up->currentBelow = false;
    up = up->parent;
    path_.push_back(down);
    down = down->parent;
  }
  for (auto it = path_.rbegin(); it != path_.rend(); ++it) {
    apply((*it)->changes);
    (*it)->currentBelow = true;
  }
  path_.clear();

  *lists_ = target->lists;
  TopoMeshStateImpl* former = current_;
  current_ = target;
  if (former->refs() == 0) prune(former);
}

// ---- Pruning ------------------------------------------------------------------------------------

void TopoMeshLog::prune(TopoMeshStateImpl* state) noexcept {
  TopoMeshStateImpl* s = state;
  while (s && s != current_ && s->refs() == 0 && s->children.size() <= 1) {
    TopoMeshStateImpl* parent = s->parent;
    if (!parent) {
      // A root without children is the only state, hence current.
      assert(s->children.size() == 1);
      if (s->children.empty()) break;
      TopoMeshStateImpl* child = s->children.front();
      // The mesh is below the child: the copies hold the old root's versions, and records
      // deleted on the way exist nowhere else any more.
      assert(child->currentBelow);
      for (const Entry& e : child->changes.entries) {
        if (e.copy) freeRecord(e.copy, e.kind);
        if (e.status == eDeleted) freeRecord(e.record, e.kind);
      }
      child->changes = {};
      child->parent = nullptr;
      root_ = child;
    } else if (s->children.size() == 1) {
      try {
        merge(s, s->children.front());  // all or nothing
      } catch (const std::bad_alloc&) {
        break;
      }
      TopoMeshStateImpl* child = s->children.front();
      child->parent = parent;
      for (TopoMeshStateImpl*& c : parent->children)
        if (c == s) c = child;
    } else {
      // A leaf off the current state's path: its copies hold its own versions, and the records
      // created on its change set exist nowhere else.
      assert(!s->currentBelow);
      for (const Entry& e : s->changes.entries) {
        if (e.copy) freeRecord(e.copy, e.kind);
        if (e.status == eCreated) freeRecord(e.record, e.kind);
      }
      auto& siblings = parent->children;
      for (std::size_t k = 0; k < siblings.size(); ++k) {
        if (siblings[k] != s) continue;
        siblings.erase(siblings.begin() + static_cast<std::ptrdiff_t>(k));
        break;
      }
    }
    freeState(s);
    s = parent;
  }
}

// Merges the change set P -> S (the first, `state`'s) and S -> Q (the second, `child`'s) into one
// P -> Q, left in `child`.
//
// Every copy holds its record's version at the end of its change set the mesh is not at. The
// mesh is either below Q (both change sets applied: the first's copies hold P's versions, the
// second's S's) or on P's side (neither applied: the first's copies hold S's versions, the
// second's Q's). The merged set needs the version of its far end: P's when below (the first's
// copy), Q's otherwise (the second's copy). When that copy is missing, its entry was right at
// both of its ends, so the other copy (S's version) is the far end's too. A record that does not
// exist at the far end needs no copy. A record in only one change set is untouched by the other,
// so its copy already holds the far end's version. A record created in the first and deleted in
// the second exists only at S: it drops out and goes back to its pool with both copies.
void TopoMeshLog::merge(TopoMeshStateImpl* state, TopoMeshStateImpl* child) {
  const bool below = child->currentBelow;
  assert(below == state->currentBelow);

  auto trimmed = [&](Entry e) {
    if (e.copy && !(below ? existsAtParent(e) : existsAtChild(e))) {
      freeRecord(e.copy, e.kind);
      e.copy = nullptr;
    }
    return e;
  };

  // Fold the smaller change set into the larger, whose index is built once and then kept, so
  // that a change set growing by many small merges costs only the small ones.
  TopoMeshChangeSet& first = state->changes;
  TopoMeshChangeSet& second = child->changes;
  const bool intoFirst = first.entries.size() >= second.entries.size();
  TopoMeshChangeSet& big = intoFirst ? first : second;
  TopoMeshChangeSet& small = intoFirst ? second : first;
  // Everything that allocates happens before the first entry changes. Grow geometrically: an
  // exact reservation would copy the large set on every merge.
  if (!big.index.built()) big.index.build(big.entries);
  const std::size_t needed = big.entries.size() + small.entries.size();
  if (big.entries.capacity() < needed)
    big.entries.reserve(std::max(needed, 2 * big.entries.capacity()));
  big.index.reserve(needed);

  for (const Entry& e : small.entries) {
    const std::uint32_t i = big.index.find(e.record);
    if (i == kNone) {
      appendEntry(big, trimmed(e));
      continue;
    }
    const Entry& e1 = intoFirst ? big.entries[i] : e;
    const Entry& e2 = intoFirst ? e : big.entries[i];
    const bool atParent = existsAtParent(e1), atChild = existsAtChild(e2);
    if (!atParent && !atChild) {
      if (e1.copy) freeRecord(e1.copy, e1.kind);
      if (e2.copy) freeRecord(e2.copy, e2.kind);
      freeRecord(e.record, e.kind);
      eraseEntry(big, i);
      continue;
    }
    void* keep = nullptr;
    if (below ? atParent : atChild) {
      const Entry& far = below ? e1 : e2;
      const Entry& near = below ? e2 : e1;
      keep = far.copy ? far.copy : near.copy;
    }
    if (e1.copy && e1.copy != keep) freeRecord(e1.copy, e1.kind);
    if (e2.copy && e2.copy != keep) freeRecord(e2.copy, e2.kind);
    const TopoMeshRecordStatus status = atParent ? (atChild ? eChanged : eDeleted) : eCreated;
    big.entries[i] = {status, e.kind, e.record, keep};
  }

  if (intoFirst) second = std::move(first);
  first = {};
}

void TopoMeshLog::freeState(TopoMeshStateImpl* state) noexcept {
  // Tags are reused last freed, first taken; the vector never holds more than were handed out.
  freedTags_.push_back(state->getTag());
  state->log = nullptr;
  state->parent = nullptr;
  delete state;
}

// ---- Diagnostics --------------------------------------------------------------------------------

TopoMeshLogUsage TopoMeshLog::usage() const {
  TopoMeshLogUsage u;
  auto count = [&u](const TopoMeshChangeSet& changes, bool currentBelow, bool pending) {
    for (const Entry& e : changes.entries) {
      const bool held = currentBelow ? e.status == eDeleted : e.status == eCreated;
      (pending ? u.pendingEntries : u.entries) += 1;
      if (!pending) u.touchedBytes += static_cast<std::int64_t>(kTopoMeshRecordBytes[e.kind]);
      if (e.copy) (pending ? u.pendingCopies : u.copies) += 1;
      if (e.copy) u.bytes += static_cast<std::int64_t>(kTopoMeshRecordBytes[e.kind]);
      if (held) u.heldRecords += 1;
      if (held) u.bytes += static_cast<std::int64_t>(kTopoMeshRecordBytes[e.kind]);
    }
    u.bytes += static_cast<std::int64_t>(changes.entries.capacity() * sizeof(Entry) +
                                         changes.index.bytes());
  };
  std::vector<const TopoMeshStateImpl*> stack{root_};
  while (!stack.empty()) {
    const TopoMeshStateImpl* s = stack.back();
    stack.pop_back();
    ++u.states;
    count(s->changes, s->currentBelow, false);
    stack.insert(stack.end(), s->children.begin(), s->children.end());
  }
  count(pending_, true, true);
  for (const DeadRecord& d : dead_) {
    u.heldRecords += 1;
    u.bytes += static_cast<std::int64_t>(kTopoMeshRecordBytes[d.kind]);
  }
  return u;
}

}  // namespace krGeom
