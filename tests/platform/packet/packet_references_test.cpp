#include "packet_test_support.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace packet_test;

bool mentions(const ioStatus& s, const char* text) {
  return std::string(s.message()).find(text) != std::string::npos;
}

// Frees objects handed out by takeObjects through the type that made them.
void release(NodeType* type, const std::vector<void*>& objects) {
  for (void* o : objects) type->destroyObject(o);
}

struct References : ::testing::Test {
  ioPacketRegistry registry;
  NodeType* nodes = add(registry, new NodeType("node", "node"));
  NodeType* leaves = add(registry, new NodeType("leaf", "leaf"));
  // Keys for the writer; never dereferenced.
  Node a, b, c;
};

// a -> b (forward), c -> a (backward), b -> leaf c (named as a node: wrong type).
TEST_F(References, ForwardAndBackwardPointersResolveAndRootsAreHandedOut) {
  ioWriteContext out;
  writeNode(out, &a, 1, &b, {1.f, 2.f});
  writeNode(out, &b, 2, nullptr);
  writeNode(out, &c, 3, &a);
  writeNode(out, nullptr, 4, &b);  // anonymous packet: a root with no reference
  auto buf = finish(out);
  {
    ioReadContext in(registry);
    ioStatus s = in.readBuffer(buf.data(), buf.size());
    ASSERT_TRUE(s.ok()) << s.message();
    auto roots = in.takeObjects("node");
    ASSERT_EQ(roots.size(), 2u);  // c and the anonymous one; a and b are referenced
    auto* rc = static_cast<Node*>(roots[0]);
    auto* ra = static_cast<Node*>(rc->next);
    ASSERT_NE(ra, nullptr);
    auto* rb = static_cast<Node*>(ra->next);
    ASSERT_NE(rb, nullptr);
    EXPECT_EQ(rc->id * 100 + ra->id * 10 + rb->id, 312);
    EXPECT_EQ(ra->values, (std::vector<float>{1.f, 2.f}));
    EXPECT_EQ(static_cast<Node*>(roots[1])->next, rb);
    EXPECT_TRUE(in.takeObjects("node").empty());
    release(nodes, {ra, rb});
    release(nodes, roots);
  }
  EXPECT_EQ(nodes->live, 0);
}

TEST_F(References, WrongTypeAndUndefinedReferencesStayNullAndFail) {
  for (bool wrongType : {true, false}) {
    ioWriteContext out;
    writeNode(out, &a, 1, &b);
    if (wrongType) writeNode(out, &b, 2, nullptr, {}, "leaf");
    auto buf = finish(out);
    {
      ioReadContext in(registry);
      ioStatus s = in.readBuffer(buf.data(), buf.size());
      EXPECT_FALSE(s.ok());
      EXPECT_TRUE(mentions(s, wrongType ? "a 'leaf' packet, where 'node' is expected"
                                        : "reference 2, which no packet defined"))
          << s.message();
      EXPECT_EQ(s.offset(), 12u);
      auto roots = in.takeObjects("node");
      ASSERT_EQ(roots.size(), 1u);
      EXPECT_EQ(static_cast<Node*>(roots[0])->next, nullptr);
      release(nodes, roots);
    }  // the unreferenced leaf is destroyed with the context
    EXPECT_EQ(nodes->live + leaves->live, 0);
  }
}

// verifyObject refuses b (negative id): it is destroyed, a's field is cleared, a is still a root.
TEST_F(References, RejectedObjectsAreDestroyedAndUnlinked) {
  ioWriteContext out;
  writeNode(out, &a, 1, &b);
  writeNode(out, &b, -2, &c);
  writeNode(out, &c, 3, nullptr);
  auto buf = finish(out);
  {
    ioReadContext in(registry);
    ioStatus s = in.readBuffer(buf.data(), buf.size());
    EXPECT_TRUE(mentions(s, "negative id")) << s.message();
    auto roots = in.takeObjects("node");
    ASSERT_EQ(roots.size(), 2u);  // a, and c which lost its only referrer
    EXPECT_EQ(static_cast<Node*>(roots[0])->next, nullptr);
    EXPECT_EQ(static_cast<Node*>(roots[1])->id, 3);
    release(nodes, roots);
  }
  EXPECT_EQ(nodes->live, 0);
}

// The third packet fails: the two before it are kept, its object is destroyed, and the field that
// named it is cleared.
TEST_F(References, ObjectsBeforeAFailedPacketAreKept) {
  registry.supportedType(new ProbeType("bad", [](ioReadContext& in) { in.readDouble(); }));
  ioWriteContext out;
  writeNode(out, &a, 1, &c);
  writeNode(out, &b, 2, nullptr);
  writeNode(out, &c, 3, &b);
  out.startPacket("bad", nullptr);
  out.endPacket();
  writeNode(out, nullptr, 9, nullptr);
  auto buf = finish(out);
  {
    ioReadContext in(registry);
    ioStatus s = in.readBuffer(buf.data(), buf.size());
    EXPECT_TRUE(mentions(s, "packet 'bad'")) << s.message();
    EXPECT_EQ(nodes->reads, 3);
    auto roots = in.takeObjects("node");
    ASSERT_EQ(roots.size(), 1u);  // a -> c -> b; the last packet was never read
    auto* rc = static_cast<Node*>(static_cast<Node*>(roots[0])->next);
    ASSERT_NE(rc, nullptr);
    auto* rb = static_cast<Node*>(rc->next);
    ASSERT_NE(rb, nullptr);
    release(nodes, {rb, rc});
    release(nodes, roots);
  }
  EXPECT_EQ(nodes->live, 0);

  // A packet that fails after defining its object: destroyed, with the field naming it cleared.
  registry.supportedType(new ProbeType("bad", [](ioReadContext&) {}));
  ioWriteContext out2;
  writeNode(out2, &a, 1, &b);
  out2.startPacket("node", &b);
  out2.writeInt(2);
  out2.endPacket();  // missing pointer and array
  auto buf2 = finish(out2);
  {
    ioReadContext in(registry);
    EXPECT_FALSE(in.readBuffer(buf2.data(), buf2.size()).ok());
    auto roots = in.takeObjects("node");
    ASSERT_EQ(roots.size(), 1u);
    EXPECT_EQ(static_cast<Node*>(roots[0])->next, nullptr);
    release(nodes, roots);
  }
  EXPECT_EQ(nodes->live, 0);
}

TEST_F(References, ReferencesDeclaredTwiceOrOutOfRangeFail) {
  ioWriteContext out;
  writeNode(out, &a, 1, nullptr);
  writeNode(out, &a, 2, nullptr);
  auto buf = finish(out);
  ioReadContext in(registry);
  EXPECT_TRUE(mentions(in.readBuffer(buf.data(), buf.size()), "reference 1 declared twice"));

  ioWriteContext out2;
  out2.startPacket("node", nullptr);
  out2.writeInt(1);
  out2.writeReference(1 << 30, 0);  // read back as a pointer field
  out2.endPacket();
  auto buf2 = finish(out2);
  EXPECT_TRUE(mentions(in.readBuffer(buf2.data(), buf2.size()), "out of range"));
}

// Hooks that take objects over, and a later type replacing an earlier one of the same name.
TEST_F(References, OverriddenHooksAndReplacedTypes) {
  struct Taker : NodeType {
    using NodeType::NodeType;
    void memoryNotReferenced(ioReadContext& in, void* object) override {
      EXPECT_STREQ(in.getPacketName(), "node");
      taken.push_back(object);
    }
    void hasUnresolvedPointer(ioReadContext&, int reference) override { unresolved = reference; }
    std::vector<void*> taken;
    int unresolved = 0;
  };
  auto* taker = add(registry, new Taker("node", "node"));
  EXPECT_EQ(registry.findType("node"), taker);
  ioWriteContext out;
  writeNode(out, &a, 1, &c);
  auto buf = finish(out);
  {
    ioReadContext in(registry);
    EXPECT_TRUE(in.readBuffer(buf.data(), buf.size()).ok());  // the override forgave it
    EXPECT_TRUE(in.takeObjects("node").empty());
  }
  EXPECT_EQ(taker->unresolved, 2);
  ASSERT_EQ(taker->taken.size(), 1u);
  release(taker, taker->taken);
  EXPECT_EQ(taker->live, 0);
}

}  // namespace
