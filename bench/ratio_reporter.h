// A console reporter that, after the usual table, prints the time of chosen benchmarks as
// a ratio of a baseline measured in the same run, so speed claims do not depend on the
// machine:
//
//   pelorin::bench::RatioReporter reporter({{"BM_Ours/100", "BM_Baseline/100", 2.0}});
//   benchmark::RunSpecifiedBenchmarks(&reporter);
//
// On a busy machine run with --benchmark_repetitions=5: the fastest repetition counts.
#ifndef PELORIN_BENCH_RATIO_REPORTER_H_
#define PELORIN_BENCH_RATIO_REPORTER_H_

#include <benchmark/benchmark.h>

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

  explicit RatioReporter(std::vector<Ratio> ratios) : _ratios(std::move(ratios)) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    // Benchmarks that wait for the disk use real time, the others CPU time. With
    // --benchmark_repetitions the fastest repetition counts: other load on the machine only
    // ever slows a run down.
    for (const auto& run : runs) {
      const double time = run.run_name.time_type == "real_time" ? run.GetAdjustedRealTime()
                                                                : run.GetAdjustedCPUTime();
      if (run.run_type == Run::RT_Iteration) {
        auto [it, inserted] = _timePerOp.try_emplace(run.benchmark_name(), time);
        if (!inserted && time < it->second) it->second = time;
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

 private:
  // Time per operation of a benchmark; 0 when it did not run.
  double timeOf(const std::string& name) const {
    if (auto it = _timePerOp.find(name); it != _timePerOp.end()) return it->second;
    if (auto it = _medianPerOp.find(name); it != _medianPerOp.end()) return it->second;
    return 0;
  }

  std::vector<Ratio> _ratios;
  std::map<std::string, double> _timePerOp;    // fastest repetition
  std::map<std::string, double> _medianPerOp;  // when only aggregates are reported
};

}  // namespace pelorin::bench

#endif  // PELORIN_BENCH_RATIO_REPORTER_H_
