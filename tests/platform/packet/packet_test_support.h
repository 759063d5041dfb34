// Packet types for the packet tests: nodes that point at each other, and probes that run a
// test's own read function.
#pragma once

#include <kr/packet.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace packet_test {

// A packet object: an id, a deferred pointer to another node and some floats.
struct Node {
  int id = 0;
  void* next = nullptr;
  std::vector<float> values;
};

// Reads "node"-style packets (id, pointer, float array); counts reads and live objects.
class NodeType : public ioPacketType {
 public:
  // nextType is the packet type the pointer field expects.
  explicit NodeType(const char* name = "node", std::string nextType = "node")
      : ioPacketType(name), nextType_(std::move(nextType)) {}

  void readPacket(ioReadContext& in) override {
    ++reads;
    auto node = std::make_unique<Node>();
    ++live;
    alive.insert(node.get());
    node->id = in.readInt();
    in.defineReference(node.get());
    Node* n = node.release();
    in.readPointer(&n->next, nextType_.c_str());
    int count = in.readCount(sizeof(float));
    n->values.resize(static_cast<std::size_t>(count));
    in.readFloats(n->values.data(), count);
  }
  bool verifyObject(void* object, std::string& reason) override {
    if (static_cast<Node*>(object)->id >= 0) return true;
    reason = "negative id";
    return false;
  }
  void destroyObject(void* object) override {
    --live;
    alive.erase(static_cast<Node*>(object));
    delete static_cast<Node*>(object);
  }
  ~NodeType() override {
    for (Node* n : alive) delete n;
  }

  int reads = 0;          // packets read
  int live = 0;           // objects made and not destroyed through this type
  std::set<Node*> alive;  // the same objects

 private:
  std::string nextType_;
};

// Writes a packet NodeType reads.
inline void writeNode(ioWriteContext& out, const Node* self, int id, const void* next,
                      std::vector<float> values = {}, const char* name = "node") {
  out.startPacket(name, self);
  out.writeInt(id);
  out.writePointer(next, 0);
  out.writeInt(static_cast<int>(values.size()));
  out.writeFloats(values.data(), static_cast<int>(values.size()));
  out.endPacket();
}

// Runs a test's function on every packet of its name; defines nothing.
class ProbeType : public ioPacketType {
 public:
  ProbeType(const char* name, std::function<void(ioReadContext&)> read)
      : ioPacketType(name), read_(std::move(read)) {}
  void readPacket(ioReadContext& in) override {
    ++reads;
    read_(in);
  }
  int reads = 0;  // packets read

 private:
  std::function<void(ioReadContext&)> read_;
};

// Registers type and returns it (still owned by the registry).
template <typename T>
T* add(ioPacketRegistry& registry, T* type) {
  registry.supportedType(type);
  return type;
}

// The closed memory stream of out.
inline std::vector<std::uint8_t> finish(ioWriteContext& out) {
  ioStatus s = out.close();
  if (!s.ok()) return {};
  return out.buffer();
}

}  // namespace packet_test
