// A console reporter that, after the usual table, prints the time of chosen benchmarks as
// a ratio of a baseline measured in the same run, so speed claims do not depend on the
// machine:
//
//   pelorin::bench::RatioReporter reporter({{"BM_Ours/100", "BM_Baseline/100", 2.0}});
//   benchmark::RunSpecifiedBenchmarks(&reporter);
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
  };

  explicit RatioReporter(std::vector<Ratio> ratios) : _ratios(std::move(ratios)) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    // Benchmarks that wait for the disk use real time; the others CPU time.
    for (const auto& run : runs) {
      _timePerOp[run.benchmark_name()] = run.run_name.time_type == "real_time"
                                             ? run.GetAdjustedRealTime()
                                             : run.GetAdjustedCPUTime();
    }
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    for (const auto& ratio : _ratios) {
      auto measured = _timePerOp.find(ratio.measured);
      auto baseline = _timePerOp.find(ratio.baseline);
      if (measured == _timePerOp.end() || baseline == _timePerOp.end() || baseline->second == 0) {
        continue;
      }
      const double value = measured->second / baseline->second;
      std::printf("ratio %-40s / %-40s = %7.2f", ratio.measured.c_str(), ratio.baseline.c_str(),
                  value);
      if (ratio.target > 0) {
        std::printf("  (target <= %.2f: %s)", ratio.target,
                    value <= ratio.target ? "met" : "MISSED");
      }
      std::printf("\n");
    }
  }

 private:
  std::vector<Ratio> _ratios;
  std::map<std::string, double> _timePerOp;
};

}  // namespace pelorin::bench

#endif  // PELORIN_BENCH_RATIO_REPORTER_H_
