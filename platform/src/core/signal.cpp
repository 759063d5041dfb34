#include <kr/signal.h>

namespace krRTB {

SignalBase::connectionItem::~connectionItem() = default;

void SignalBase::connectionItem::unlock() noexcept {
  std::int32_t drop = 1;  // the pin's reference
  if (--locks_ == 0 && disconnected_ && linked_ && owner_) {
    owner_->unlink(this);
    drop = 2;  // and the list's
  }
  refs_ -= drop;
  if (refs_ == 0) delete this;
}

void SignalBase::connectionItem::disconnect() noexcept {
  if (disconnected_) return;
  disconnected_ = true;
  // A pinned item stays in the list (so a walk can read its next link) until its last unlock.
  if (locks_ == 0 && linked_ && owner_) {
    owner_->unlink(this);
    release();  // the list's reference
  }
}

SignalBase::~SignalBase() {
  // Detach every item; handles and in-flight walks keep the items they pin alive.
  connectionItem* it = head_;
  head_ = nullptr;
  while (it) {
    connectionItem* next = it->next_;
    it->next_ = nullptr;
    it->owner_ = nullptr;
    it->linked_ = false;
    it->disconnected_ = true;
    it->release();
    it = next;
  }
}

bool SignalBase::empty() const noexcept {
  return numConnections() == 0;
}

int SignalBase::numConnections() const noexcept {
  int n = 0;
  for (const connectionItem* it = head_; it; it = it->next_) n += it->disconnected_ ? 0 : 1;
  return n;
}

void SignalBase::disconnectAll() noexcept {
  for (connectionItem* it = head_; it;) {
    connectionItem* next = it->next_;
    it->disconnect();
    it = next;
  }
}

Connection SignalBase::append(connectionItem* item) {
  item->owner_ = this;
  item->linked_ = true;
  item->addRef();  // the list's reference
  connectionItem** tail = &head_;
  while (*tail) tail = &(*tail)->next_;
  *tail = item;
  return Connection(item);
}

void SignalBase::unlink(connectionItem* item) noexcept {
  for (connectionItem** link = &head_; *link; link = &(*link)->next_) {
    if (*link == item) {
      *link = item->next_;
      item->linked_ = false;
      return;
    }
  }
}

}  // namespace krRTB
