// The benchmark program's entry point: prepares the heap and the process,
// then runs the benchmarks selected on the command line.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstring>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace {

// The first touch of a fresh page costs about 11 us on the virtual machines
// this project runs on (against 0.1-0.3 us on bare metal), enough to swamp a
// benchmark whose data grows, such as sendOrder or the registry's add. The
// heap is therefore made once, up front: all threads allocate from one arena
// (the vendor threads too, which file the registry's entries), freed memory
// stays in the process, and 1 GiB of it is touched and freed before the
// first benchmark. The figures are then the plug-in's own work on a warm
// heap, as in a host that has been trading for a while.
void warmHeap() {
#if defined(__GLIBC__)
  mallopt(M_ARENA_MAX, 1);
  mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());  // above what is warmed
  mallopt(M_MMAP_THRESHOLD, std::numeric_limits<int>::max());
  constexpr std::size_t kBlock = 4096;
  constexpr std::size_t kTotal = std::size_t{1} << 30;
  std::vector<std::unique_ptr<char[]>> blocks;
  blocks.reserve(kTotal / kBlock);
  for (std::size_t done = 0; done < kTotal; done += kBlock) {
    blocks.emplace_back(new char[kBlock]);
    std::memset(blocks.back().get(), 1, kBlock);
  }
#endif
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  warmHeap();
  // A host process always has threads (the vendor library's at least), and
  // glibc takes cheaper paths, a mutex without atomic instructions among
  // them, while a process has only ever had one. One thread started and
  // joined here puts every benchmark in the state the plug-in runs in, not
  // only those that happen to run after the first session made its threads.
  std::thread([] {}).join();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
