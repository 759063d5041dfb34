// Element access and resizing of krGeom::Array on the heap and through MoveableArrayAllocator.
// Every operator[] on an allocator-backed array looks its block up: the four blocks found last,
// then the allocator's hash index, at the same cost whatever the number of blocks; data() once
// per pass amortises it. BM_ArrayInterleavedSum alternates two arrays, so every lookup finds
// its block among the recent ones but not the most recent.
#include <geom/foundation/array.h>
#include <geom/foundation/moveable_array_allocator.h>
#include <kr/moveable.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

namespace {

constexpr int kElements = 4096;

// Sums through operator[]; range(0) is the number of blocks the allocator holds, the summed
// array's last (0 = heap buffer, no allocator).
void BM_ArrayIndexedSum(benchmark::State& state) {
  krOS::MoveableAllocator pool;
  kr::Reference<krGeom::ArrayAllocator> store;
  std::vector<std::unique_ptr<krGeom::Array<float>>> others;
  const int siblings = int(state.range(0)) - 1;
  if (siblings >= 0) {
    store = new krGeom::MoveableArrayAllocator(pool);
    for (int i = 0; i < siblings; ++i) {
      others.push_back(std::make_unique<krGeom::Array<float>>(store));
      others.back()->resize(4);
    }
  }
  krGeom::Array<float> a(store);
  a.resize(kElements);
  for (int i = 0; i < kElements; ++i) a[i] = float(i);
  for (auto _ : state) {
    float sum = 0;
    for (int i = 0; i < kElements; ++i) sum += a[i];
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kElements);
}
BENCHMARK(BM_ArrayIndexedSum)->Arg(0)->Arg(1)->Arg(2)->Arg(65)->Arg(1000);

// Sums a[i] + b[i] for two arrays of the same allocator; range(0) as above (0 = heap).
void BM_ArrayInterleavedSum(benchmark::State& state) {
  krOS::MoveableAllocator pool;
  kr::Reference<krGeom::ArrayAllocator> store;
  std::vector<std::unique_ptr<krGeom::Array<float>>> others;
  const int siblings = int(state.range(0)) - 2;
  if (state.range(0) > 0) {
    store = new krGeom::MoveableArrayAllocator(pool);
    for (int i = 0; i < siblings; ++i) {
      others.push_back(std::make_unique<krGeom::Array<float>>(store));
      others.back()->resize(4);
    }
  }
  krGeom::Array<float> a(store), b(store);
  a.resize(kElements);
  b.resize(kElements);
  for (int i = 0; i < kElements; ++i) a[i] = b[i] = float(i);
  for (auto _ : state) {
    float sum = 0;
    for (int i = 0; i < kElements; ++i) sum += a[i] + b[i];
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * 2 * kElements);
}
BENCHMARK(BM_ArrayInterleavedSum)->Arg(0)->Arg(2)->Arg(65)->Arg(1000);

// The same sum through one data() call per pass.
void BM_ArrayPointerSum(benchmark::State& state) {
  krOS::MoveableAllocator pool;
  kr::Reference<krGeom::ArrayAllocator> store;
  if (state.range(0) > 0) store = new krGeom::MoveableArrayAllocator(pool);
  krGeom::Array<float> a(store);
  a.resize(kElements);
  for (int i = 0; i < kElements; ++i) a[i] = float(i);
  for (auto _ : state) {
    const float* p = a.data();
    float sum = 0;
    for (int i = 0; i < kElements; ++i) sum += p[i];
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kElements);
}
BENCHMARK(BM_ArrayPointerSum)->Arg(0)->Arg(1);

// Grows an array one element at a time to range(1) elements (each resize reallocates and copies).
void BM_ArrayGrow(benchmark::State& state) {
  krOS::MoveableAllocator pool;
  kr::Reference<krGeom::ArrayAllocator> store;
  if (state.range(0) > 0) store = new krGeom::MoveableArrayAllocator(pool);
  const int n = int(state.range(1));
  for (auto _ : state) {
    krGeom::Array<float> a(store);
    for (int i = 1; i <= n; ++i) a.resize(i);
    benchmark::DoNotOptimize(a.data());
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_ArrayGrow)->Args({0, 256})->Args({1, 256});

}  // namespace
BENCHMARK_MAIN();
