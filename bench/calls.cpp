// SPDX-License-Identifier: MIT
// What opening, initialising and closing a finder cost.
#include <benchmark/benchmark.h>

#include "measure.h"
#include "sim/topology_manager.h"
#include "tarni.h"

namespace tarni::bench {
namespace {

void open_close(benchmark::State& state) {
  for (auto _ : state) tarni_close(tarni_open());
}

void open_init_close(benchmark::State& state) {
  for (auto _ : state) {
    void* finder = tarni_open();
    check(tarni_init(finder) >= 0, "tarni_init: is the stand-in preloaded?");
    tarni_close(finder);
  }
}

// A row for the median of each one's repetitions.
struct MarkdownReporter : benchmark::BenchmarkReporter {
  bool ReportContext(const Context&) override {
    std::fprintf(results, "| calls | median, µs |\n|---|---:|\n");
    return true;
  }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.aggregate_name != "median") continue;
      std::fprintf(results, "| %s | %.0f |\n", run.run_name.function_name.c_str(),
                   run.GetAdjustedRealTime());
    }
  }
};

void add(const char* name, void (*function)(benchmark::State&)) {
  auto* added = benchmark::RegisterBenchmark(name, function);
  added->Repetitions(9)->MinTime(0.2)->UseRealTime()->Unit(benchmark::kMicrosecond);
}

void calls() {
  sim::TopologyManager manager;
  manager.publish_address();
  add("tarni_open, tarni_close", open_close);
  add("tarni_open, tarni_init, tarni_close", open_init_close);
  MarkdownReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
}

}  // namespace
}  // namespace tarni::bench

int main() {
  return tarni::bench::run(tarni::bench::calls);
}
