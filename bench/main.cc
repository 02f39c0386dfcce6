#include <benchmark/benchmark.h>

#include "bench/benchmarks.h"

int main(int argc, char** argv) {
  benchmark::AddCustomContext("compiler", ZOCAM_BENCH_COMPILER);
  benchmark::AddCustomContext("flags", ZOCAM_BENCH_FLAGS);
  RegisterStages();
  RegisterChains();
  RegisterRecordings();
#ifdef ZOCAM_BENCH_OPENCV
  benchmark::AddCustomContext("opencv", ZOCAM_BENCH_OPENCV);
  RegisterOpenCv();
#endif
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  const std::size_t matched = benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return matched > 0 ? 0 : 1;
}
