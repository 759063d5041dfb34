#include "packet_test_support.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

using namespace packet_test;
namespace fs = std::filesystem;

// A fresh empty folder per test.
struct PacketFile : ::testing::Test {
  void SetUp() override {
    dir = fs::path(::testing::TempDir()) /
          ("kr_packet_" +
           std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
    fs::remove_all(dir);
    fs::create_directories(dir);
  }
  void TearDown() override { fs::remove_all(dir); }
  std::size_t entries() const {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(dir), {}));
  }
  fs::path dir;
};

TEST_F(PacketFile, WritesThroughATemporaryFileThenRenames) {
  fs::path path = dir / "scene.krp";
  { std::ofstream(path) << "old contents"; }
  Node a;
  ioWriteContext out;
  ASSERT_TRUE(out.openFile(path.c_str()).ok());
  writeNode(out, &a, 7, nullptr, std::vector<float>(300000, 0.5f));
  EXPECT_EQ(fs::file_size(path), 12u);  // still the old file
  EXPECT_EQ(entries(), 2u);             // plus the temporary one
  ioStatus s = out.close();
  ASSERT_TRUE(s.ok()) << s.message();
  EXPECT_EQ(entries(), 1u);

  ioPacketRegistry registry;
  auto* nodes = add(registry, new NodeType);
  ioReadContext in(registry);
  s = in.readFile(path.c_str());
  ASSERT_TRUE(s.ok()) << s.message();
  auto roots = in.takeObjects("node");
  ASSERT_EQ(roots.size(), 1u);
  EXPECT_EQ(static_cast<Node*>(roots[0])->values.size(), 300000u);
  nodes->destroyObject(roots[0]);
}

TEST_F(PacketFile, UnclosedWriterLeavesNothing) {
  fs::path path = dir / "never.krp";
  {
    ioWriteContext out;
    ASSERT_TRUE(out.openFile(path.c_str()).ok());
    writeNode(out, nullptr, 1, nullptr, std::vector<float>(400000, 1.f));
    EXPECT_EQ(entries(), 1u);
  }
  EXPECT_EQ(entries(), 0u);
  ioWriteContext out;
  out.openFile(path.c_str());
  out.writeInt(1);  // misuse: the stream fails and no file appears
  EXPECT_FALSE(out.close().ok());
  EXPECT_EQ(entries(), 0u);
}

TEST_F(PacketFile, MissingPathsGiveClearStatuses) {
  ioPacketRegistry registry;
  ioReadContext in(registry);
  ioStatus s = in.readFile((dir / "missing.krp").c_str());
  EXPECT_FALSE(s.ok());
  EXPECT_NE(std::string(s.message()).find("missing.krp"), std::string::npos) << s.message();
  EXPECT_FALSE(in.readFile(dir.c_str()).ok());

  ioWriteContext out;
  EXPECT_FALSE(out.openFile((dir / "no" / "such" / "folder.krp").c_str()).ok());
}

}  // namespace
