// Packet streams against memcpy: about 50 MB of floats in packets of 1000, written to memory and
// read back, with every packet's checksum computed and checked.
#include <kr/packet.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <utility>
#include <vector>

namespace {

constexpr int kPerPacket = 1000;
constexpr int kPackets = 12500;  // 12500 * 1000 * 4 bytes = 50 MB

std::vector<float> sourceFloats() {
  std::vector<float> v(static_cast<std::size_t>(kPerPacket) * kPackets);
  for (std::size_t i = 0; i < v.size(); ++i) v[i] = static_cast<float>(i) * 0.25f;
  return v;
}

std::vector<std::uint8_t> writeStream(const std::vector<float>& src,
                                      std::vector<std::uint8_t> storage = {}) {
  ioWriteContext out(std::move(storage));
  for (int p = 0; p < kPackets; ++p) {
    out.startPacket("floats", nullptr);
    out.writeFloats(src.data() + static_cast<std::size_t>(p) * kPerPacket, kPerPacket);
    out.endPacket();
  }
  out.close();
  return out.takeBuffer();
}

// Reads each packet's floats into the next slice of a caller's array.
class FloatsType : public ioPacketType {
 public:
  explicit FloatsType(float* dst) : ioPacketType("floats"), dst_(dst) {}
  void readPacket(ioReadContext& in) override {
    in.readFloats(dst_, kPerPacket);
    dst_ += kPerPacket;
  }
  float* dst_;
};

void BM_Memcpy(benchmark::State& state) {
  auto src = sourceFloats();
  std::vector<float> dst(src.size());
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), src.size() * sizeof(float));
    benchmark::DoNotOptimize(dst.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(src.size() * 4));
}
BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond);

void BM_PacketWrite(benchmark::State& state) {
  auto src = sourceFloats();
  for (auto _ : state) benchmark::DoNotOptimize(writeStream(src).data());
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(src.size() * 4));
}
BENCHMARK(BM_PacketWrite)->Unit(benchmark::kMillisecond);

// The same into a recycled buffer: no allocation, no fresh pages.
void BM_PacketWriteRecycled(benchmark::State& state) {
  auto src = sourceFloats();
  std::vector<std::uint8_t> storage = writeStream(src);
  for (auto _ : state) {
    storage = writeStream(src, std::move(storage));
    benchmark::DoNotOptimize(storage.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(src.size() * 4));
}
BENCHMARK(BM_PacketWriteRecycled)->Unit(benchmark::kMillisecond);

void BM_PacketRead(benchmark::State& state) {
  auto src = sourceFloats();
  auto stream = writeStream(src);
  std::vector<float> dst(src.size());
  for (auto _ : state) {
    ioPacketRegistry registry;
    registry.supportedType(new FloatsType(dst.data()));
    ioReadContext in(registry);
    if (!in.readBuffer(stream.data(), stream.size()).ok()) state.SkipWithError("read failed");
    benchmark::DoNotOptimize(dst.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(src.size() * 4));
}
BENCHMARK(BM_PacketRead)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
