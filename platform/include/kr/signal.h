// Signals: typed observer lists with connection handles.
//
//   krRTB::Signal<int> changed;
//   krRTB::Connection c = changed.connect([](int v) { ... });
//   changed.emit(42);
//   c.disconnect();   // safe at any time, also from inside the callback itself
//
// A signal is a singly linked list of connection items, delivered in connection order. During
// delivery each item is locked while its observer runs, so observers may connect or disconnect
// any item (themselves included): a disconnected item receives nothing further and is unlinked
// once no delivery holds it. Items connected during a delivery are reached by that delivery.
//
// A Connection is a plain handle: letting it go does not disconnect; ScopedConnection does.
// Handles stay safe after the signal is destroyed (disconnect then does nothing).
// Copying an object that holds a signal gives the copy an empty signal: connections belong to
// the object they were made on. One thread at a time.
#pragma once

#include <kr/export.h>

#include <cstdint>
#include <type_traits>
#include <utility>

namespace krRTB {

class Connection;

class KR_PLATFORM_EXPORT SignalBase {
 public:
  // One observer in the list. Two flags gate delivery: disconnected and blocked.
  class KR_PLATFORM_EXPORT connectionItem {
   public:
    connectionItem(const connectionItem&) = delete;
    connectionItem& operator=(const connectionItem&) = delete;

    // Pins the item (and keeps it alive) while it is in use.
    void lock() noexcept {
      ++locks_;
      ++refs_;
    }
    // Releases a pin; a disconnected item leaves the list when its last pin goes.
    void unlock() noexcept;

    connectionItem* next() const noexcept { return next_; }
    bool disconnected() const noexcept { return disconnected_; }
    bool blocked() const noexcept { return blocked_; }
    // True when the item should receive deliveries (neither flag set).
    bool active() const noexcept { return !disconnected_ && !blocked_; }

   protected:
    connectionItem() = default;
    virtual ~connectionItem();

   private:
    friend class SignalBase;
    friend class Connection;
    void addRef() noexcept { ++refs_; }
    void release() noexcept {
      if (--refs_ == 0) delete this;
    }
    void disconnect() noexcept;

    connectionItem* next_ = nullptr;
    SignalBase* owner_ = nullptr;
    std::int32_t refs_ = 0;
    std::int32_t locks_ = 0;
    bool disconnected_ = false;
    bool blocked_ = false;
    bool linked_ = false;
  };

  SignalBase(const SignalBase&) : SignalBase() {}
  SignalBase& operator=(const SignalBase&) { return *this; }

  // True when no observer is connected.
  bool empty() const noexcept;
  // Number of connected (not disconnected) observers.
  int numConnections() const noexcept;
  // Disconnects every observer.
  void disconnectAll() noexcept;

 protected:
  SignalBase() = default;
  ~SignalBase();

  connectionItem* head() const noexcept { return head_; }
  // Appends an item to the list and returns a handle on it.
  Connection append(connectionItem* item);

  // Holds an item locked for the duration of one delivery.
  class Pin {
   public:
    explicit Pin(connectionItem* item) noexcept : item_(item) { item_->lock(); }
    Pin(const Pin&) = delete;
    Pin& operator=(const Pin&) = delete;
    ~Pin() { item_->unlock(); }

   private:
    connectionItem* item_;
  };

 private:
  // Takes a linked item out of the list; the caller drops the list's reference.
  void unlink(connectionItem* item) noexcept;

  connectionItem* head_ = nullptr;
};

// Handle on one connection. Copyable; copies refer to the same connection.
class KR_PLATFORM_EXPORT Connection {
 public:
  Connection() = default;
  Connection(const Connection& o) noexcept : item_(o.item_) {
    if (item_) item_->addRef();
  }
  Connection(Connection&& o) noexcept : item_(std::exchange(o.item_, nullptr)) {}
  Connection& operator=(Connection o) noexcept {
    std::swap(item_, o.item_);
    return *this;
  }
  ~Connection() {
    if (item_) item_->release();
  }

  // Stops delivery to this observer; does nothing when already disconnected.
  void disconnect() noexcept {
    if (item_) item_->disconnect();
  }
  // True while the observer is connected.
  bool connected() const noexcept { return item_ && !item_->disconnected(); }
  // Suspends (true) or resumes (false) delivery without disconnecting.
  void block(bool blocked) noexcept {
    if (item_) item_->blocked_ = blocked;
  }
  bool blocked() const noexcept { return item_ && item_->blocked(); }

 private:
  friend class SignalBase;
  explicit Connection(SignalBase::connectionItem* item) noexcept : item_(item) {
    if (item_) item_->addRef();
  }
  SignalBase::connectionItem* item_ = nullptr;
};

// A connection that disconnects when it goes out of scope.
class ScopedConnection {
 public:
  ScopedConnection() = default;
  ScopedConnection(Connection c) noexcept : c_(std::move(c)) {}
  ScopedConnection(ScopedConnection&&) noexcept = default;
  ScopedConnection& operator=(ScopedConnection&& o) noexcept {
    if (this != &o) {
      c_.disconnect();
      c_ = std::move(o.c_);
    }
    return *this;
  }
  ~ScopedConnection() { c_.disconnect(); }
  Connection& get() noexcept { return c_; }
  void disconnect() noexcept { c_.disconnect(); }
  bool connected() const noexcept { return c_.connected(); }

 private:
  Connection c_;
};

// A signal whose observers take Args.
template <class... Args>
class Signal : public SignalBase {
 public:
  Signal() = default;

  // Connects a callable taking Args; returns the handle that disconnects it.
  template <class F>
  Connection connect(F&& f) {
    return append(new Slot<std::decay_t<F>>(std::forward<F>(f)));
  }

  // Delivers the arguments to every active observer, in list order. An exception thrown by an
  // observer ends the delivery and propagates; the item it came from is unpinned on the way out.
  void emit(Args... args) const {
    for (connectionItem* it = head(); it != nullptr;) {
      Pin pin(it);
      if (it->active()) static_cast<Receiver*>(it)->receive(args...);
      it = it->next();
    }
  }
  void operator()(Args... args) const { emit(args...); }

 private:
  struct Receiver : connectionItem {
    virtual void receive(Args... args) = 0;
  };
  template <class F>
  struct Slot final : Receiver {
    explicit Slot(F fn) : f(std::move(fn)) {}
    void receive(Args... args) override { f(args...); }
    F f;
  };
};

}  // namespace krRTB
