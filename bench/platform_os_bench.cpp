// Costs of the platform's OS services: pool allocation against the global heap, and the
// system-call costs of moveable chunks (allocate + delete, a map/unmap cycle, a move).
#include <kr/fs_allocator.h>
#include <kr/moveable.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <vector>

namespace {

constexpr int kItems = 4096;
constexpr std::size_t kItemSize = 376;  // a half-edge record

// Allocates kItems records, frees every other one and allocates them again, then frees all.
void BM_FSAllocatorChurn(benchmark::State& state) {
  std::vector<void*> items(kItems);
  for (auto _ : state) {
    krOS::FSAllocator pool(kItemSize, 8192);
    pool.setLazy();
    for (auto& p : items) p = pool.alloc();
    for (int i = 0; i < kItems; i += 2) pool.free(items[i]);
    for (int i = 0; i < kItems; i += 2) items[i] = pool.alloc();
    benchmark::DoNotOptimize(items.data());
  }
  state.SetItemsProcessed(state.iterations() * kItems * 3 / 2);
}
BENCHMARK(BM_FSAllocatorChurn);

void BM_HeapChurn(benchmark::State& state) {
  std::vector<void*> items(kItems);
  for (auto _ : state) {
    for (auto& p : items) p = ::operator new(kItemSize);
    for (int i = 0; i < kItems; i += 2) ::operator delete(items[i]);
    for (int i = 0; i < kItems; i += 2) items[i] = ::operator new(kItemSize);
    benchmark::DoNotOptimize(items.data());
    for (void* p : items) ::operator delete(p);
  }
  state.SetItemsProcessed(state.iterations() * kItems * 3 / 2);
}
BENCHMARK(BM_HeapChurn);

void BM_MoveableAllocateDelete(benchmark::State& state) {
  krOS::MoveableAllocator allocator;
  for (auto _ : state) {
    std::unique_ptr<krOS::MoveableChunk> chunk(allocator.allocate(state.range(0)));
    benchmark::DoNotOptimize(chunk.get());
  }
}
BENCHMARK(BM_MoveableAllocateDelete)->Arg(4096)->Arg(1 << 24);

// One unmap + map cycle of a chunk whose pages have all been touched.
void BM_MoveableMapUnmap(benchmark::State& state) {
  krOS::MoveableAllocator allocator;
  std::unique_ptr<krOS::MoveableChunk> chunk(allocator.allocate(state.range(0)));
  std::memset(chunk->map(), 1, chunk->size());
  for (auto _ : state) {
    chunk->unmap();
    benchmark::DoNotOptimize(chunk->map());
  }
}
BENCHMARK(BM_MoveableMapUnmap)->Arg(4096)->Arg(1 << 24);

// The same cycle followed by a read of one byte per page: the minor faults a remapped chunk pays.
void BM_MoveableMapUnmapTouch(benchmark::State& state) {
  krOS::MoveableAllocator allocator;
  std::unique_ptr<krOS::MoveableChunk> chunk(allocator.allocate(state.range(0)));
  std::memset(chunk->map(), 1, chunk->size());
  for (auto _ : state) {
    chunk->unmap();
    const auto* p = static_cast<const unsigned char*>(chunk->map());
    unsigned sum = 0;
    for (std::size_t i = 0; i < chunk->size(); i += 4096) sum += p[i];
    benchmark::DoNotOptimize(sum);
  }
}
BENCHMARK(BM_MoveableMapUnmapTouch)->Arg(4096)->Arg(1 << 24);

void BM_MoveableMove(benchmark::State& state) {
  krOS::MoveableAllocator allocator;
  std::unique_ptr<krOS::MoveableChunk> chunk(allocator.allocate(state.range(0)));
  std::memset(chunk->map(), 1, chunk->size());
  for (auto _ : state) benchmark::DoNotOptimize(chunk->move());
}
BENCHMARK(BM_MoveableMove)->Arg(4096)->Arg(1 << 24);

}  // namespace

BENCHMARK_MAIN();
