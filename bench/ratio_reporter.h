// A console reporter that, after the usual table, prints the time of chosen benchmarks as
// a ratio of a baseline measured in the same run, so speed claims do not depend on the
// machine:
//
//   pelorin::bench::RatioReporter reporter({{"BM_Ours/100", "BM_Baseline/100", 2.0}});
//   benchmark::RunSpecifiedBenchmarks(&reporter);
//
// On a busy machine run with --benchmark_repetitions=5: the fastest repetition counts (the
// median for benchmarks of several threads).
#ifndef PELORIN_BENCH_RATIO_REPORTER_H_
#define PELORIN_BENCH_RATIO_REPORTER_H_

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace pelorin::bench {

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  struct Ratio {
    std::string measured;
    std::string baseline;
    double target = 0;  // the most `measured / baseline` may be; 0 for none
    // Items each benchmark's operation handles, to compare the cost per item of runs of
    // different sizes (e.g. a replay of 10,000 queued events against one of 10).
    double measuredItems = 1;
    double baselineItems = 1;
  };

  // Colours only on a terminal, so a saved report reads as plain text.
  explicit RatioReporter(std::vector<Ratio> ratios)
      : ConsoleReporter(isatty(fileno(stdout)) != 0 ? OO_ColorTabular : OO_Tabular),
        _ratios(std::move(ratios)) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    // Benchmarks that wait for the disk or contend use real time (or a time they measure
    // themselves), the others CPU time.
    // With --benchmark_repetitions the fastest repetition of a one-thread benchmark counts:
    // other load on the machine only ever slows it down. A benchmark of several threads
    // takes the median instead: on a shared machine a repetition in which the other load
    // kept one thread off the CPU met no contention and is fast for the wrong reason.
    for (const auto& run : runs) {
      const bool wallClock =
          run.run_name.time_type == "real_time" || run.run_name.time_type == "manual_time";
      const double time = wallClock ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
      if (run.run_type == Run::RT_Iteration) {
        _repetitions[run.benchmark_name()].push_back(time);
        _threads[run.benchmark_name()] = run.threads;
      } else if (run.aggregate_name == "median") {
        // Only aggregates are reported (--benchmark_report_aggregates_only).
        _medianPerOp[run.run_name.str()] = time;
      }
    }
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    for (const auto& ratio : _ratios) {
      const double measured = timeOf(ratio.measured) / ratio.measuredItems;
      const double baseline = timeOf(ratio.baseline) / ratio.baselineItems;
      if (measured <= 0 || baseline <= 0) continue;
      const double value = measured / baseline;
      std::printf("ratio %-40s / %-40s = %7.2f", ratio.measured.c_str(), ratio.baseline.c_str(),
                  value);
      if (ratio.measuredItems != 1 || ratio.baselineItems != 1) std::printf("  (per item)");
      if (ratio.target > 0) {
        std::printf("  (target <= %.2f: %s)", ratio.target,
                    value <= ratio.target ? "met" : "MISSED");
      }
      std::printf("\n");
    }
  }

  // Time per operation of a benchmark, in its unit; 0 when it did not run.
  double timeOf(const std::string& name) const {
    if (auto it = _repetitions.find(name); it != _repetitions.end()) {
      std::vector<double> times = it->second;
      std::sort(times.begin(), times.end());
      const auto threads = _threads.find(name);
      if (threads != _threads.end() && threads->second > 1) return times[times.size() / 2];
      return times.front();
    }
    if (auto it = _medianPerOp.find(name); it != _medianPerOp.end()) return it->second;
    return 0;
  }

 private:
  std::vector<Ratio> _ratios;
  std::map<std::string, std::vector<double>> _repetitions;  // time of each repetition
  std::map<std::string, std::int64_t> _threads;
  std::map<std::string, double> _medianPerOp;  // when only aggregates are reported
};

}  // namespace pelorin::bench

#endif  // PELORIN_BENCH_RATIO_REPORTER_H_
