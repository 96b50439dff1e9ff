// The event bus with short and long queues.
//
// Read the ratios printed at the end: publishing one event with 10,000 events queued
// against 10 queued (target: at most 2), and the per-event cost of a replay over 10,000
// queued events against a replay over 10. Logging is off ("pl_debug" false). Like the
// other benchmarks it reports the fastest of --benchmark_repetitions.
#include <benchmark/benchmark.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "events/event_bus_client_link.h"
#include "pelorin/event.h"
#include "pelorin/event_handler.h"
#include "pelorin/pelorin_event_factory.h"
#include "pelorin/platform/headless.h"
#include "pelorin/platform/platform.h"
#include "ratio_reporter.h"

namespace {

constexpr int kHandlers = 5;
// Events published between two clean-ups, so the queue stays within this many of its size.
constexpr int kBatch = 10;

class BenchClientLink : public pelorin::EventBusClientLink {
 public:
  bool clientExists() const override { return true; }
  std::optional<std::string> currentScreenName() const override { return screenName; }
  std::optional<std::string> screenName;
};

class NoOpHandler : public pelorin::EventHandler {
 public:
  explicit NoOpHandler(std::string id) : _id(std::move(id)) {}
  std::string listenerId() const override { return _id; }
  void handleEvent(const std::shared_ptr<pelorin::Event>& event) override {
    benchmark::DoNotOptimize(event.get());
  }

 private:
  std::string _id;
};

// A bus with `kHandlers` click handlers and `queued` clicks on screen "base", all handled.
class BusFixture {
 public:
  explicit BusFixture(int queued) : _bus(pelorin::PelorinEventFactory::getInstance()) {
    static const bool installed = [] {
      auto platform = std::make_unique<pelorin::Platform>();
      auto bundle = std::make_unique<pelorin::platform::HeadlessBundle>();
      bundle->set("pl_debug", pelorin::JsonValue(false));
      platform->setBundle(std::move(bundle));
      pelorin::Platform::install(std::move(platform));
      return true;
    }();
    (void)installed;
    _bus.setClientLink(&_link);
    for (int h = 0; h < kHandlers; ++h) {
      auto handler = std::make_shared<NoOpHandler>("handler" + std::to_string(h));
      _bus.subscribe(pelorin::ClickEvent::NAME, handler, handler->listenerId());
    }
    _link.screenName = "base";
    for (int i = 0; i < queued; ++i) {
      _bus.publish(std::make_shared<pelorin::ClickEvent>("queued" + std::to_string(i)));
    }
    _link.screenName = "bench";
  }
  ~BusFixture() {
    _bus.clearEvents();
    _bus.clearEventHandlers();
    _bus.setClientLink(nullptr);
  }
  BusFixture(const BusFixture&) = delete;
  BusFixture& operator=(const BusFixture&) = delete;

  pelorin::PelorinEventManager& bus() { return _bus; }

 private:
  pelorin::PelorinEventManager& _bus;
  BenchClientLink _link;
};

// Publishes one new click, delivered to the five handlers, with range(0) events queued.
// Every kBatch publishes the untimed clean-up drops the events of screen "bench".
// NOLINTNEXTLINE(readability-identifier-naming): Google Benchmark's BM_ names
void BM_Publish(benchmark::State& state) {
  BusFixture fixture(static_cast<int>(state.range(0)));
  auto& bus = fixture.bus();
  std::vector<std::shared_ptr<pelorin::Event>> batch;
  std::size_t next = kBatch;
  for (auto _ : state) {
    if (next == kBatch) {
      state.PauseTiming();
      bus.cleanup();
      batch.clear();
      for (int i = 0; i < kBatch; ++i) batch.push_back(std::make_shared<pelorin::ClickEvent>("b"));
      next = 0;
      state.ResumeTiming();
    }
    bus.publish(batch[next++]);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Publish)->Arg(10)->Arg(10000);

// Replays a queue of range(0) events that every handler has already handled.
// NOLINTNEXTLINE(readability-identifier-naming): Google Benchmark's BM_ names
void BM_HandleAllEvents(benchmark::State& state) {
  BusFixture fixture(static_cast<int>(state.range(0)));
  auto& bus = fixture.bus();
  for (auto _ : state) bus.handleAllEvents();
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_HandleAllEvents)->Arg(10)->Arg(10000);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  pelorin::bench::RatioReporter reporter({
      {"BM_Publish/10000", "BM_Publish/10", 2.0},
      {.measured = "BM_HandleAllEvents/10000",
       .baseline = "BM_HandleAllEvents/10",
       .measuredItems = 10000,
       .baselineItems = 10},
  });
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
