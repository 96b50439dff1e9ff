// The listener plug-ins on screens of an app's size, against one bare walk of the same tree.
//
// Read the ratios printed at the end: a page view of the behaviour, engagement and form
// listeners (1, 10 and 50 rules: a mix of content, click, URL and event rules) on screens of
// 100, 1,000 and 10,000 views, each against one bare walk of the same screen; the target is
// at 10,000 views and 50 rules. Then a tap on a control whose rule reads a section of a
// 10,000-view screen, 1,000 content updates with 25 content rules on a 1,000-view screen
// (total CPU time of the main thread and the heap the rule lists hold; targets printed with them),
// and the idle wake-ups of the main loop and the HTTP worker, counted as the voluntary context
// switches of their threads over PELORIN_IDLE_SECONDS seconds (default 10) of a started client with
// nothing to send. Logging is off ("pl_debug" false).
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <boost/json.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "json/json_value_access.h"
#include "listeners/engagement_service.h"
#include "listeners/form_listening_service.h"
#include "listeners/rule_service.h"
#include "pelorin/event.h"
#include "pelorin/headless/toolkit.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"
#include "pelorin/platform/headless.h"
#include "pelorin/platform/main_loop.h"
#include "pelorin/platform/platform.h"
#include "pelorin/platform/view.h"
#include "pelorin/platform/view_controller.h"
#include "ratio_reporter.h"
#include "support/temp_folder.h"

namespace {

using pelorin::JsonValue;
using pelorin::PelorinClient;
using Strings = std::vector<std::string>;
namespace platform = pelorin::platform;
namespace headless = pelorin::headless;

constexpr int kSections = 10;
constexpr int kFields = 10;
const std::vector<std::string> kCategories = {"shoes", "hats",  "coats", "bags",  "socks",
                                              "belts", "scarf", "boots", "shirt", "jeans"};

// `prefix` followed by `number` (built by appending: g++ 12 at -O3 reports a false
// -Wrestrict for "text" + std::string).
std::string numbered(std::string_view prefix, long number) {
  std::string text(prefix);
  text += std::to_string(number);
  return text;
}

void installPlatform() {
  static const bool installed = [] {
    auto* folder = new pelorin::testing::TempFolder();  // kept: the platform stays installed
    auto platform = std::make_unique<pelorin::Platform>();
    auto bundle = std::make_unique<platform::HeadlessBundle>();
    bundle->set("pl_debug", JsonValue(false));
    bundle->set("pl_server_url", JsonValue(std::string("http://127.0.0.1:9/")));
    platform->setBundle(std::move(bundle));
    platform->setFileSystem(std::make_unique<platform::PosixFileSystem>(folder->path()));
    pelorin::Platform::install(std::move(platform));
    return true;
  }();
  (void)installed;
}

// A screen of `views` views: ten sections (outlets "section0".."section9") of nested
// containers holding labels, a text field ("email") and a buy button ("buyButton").
struct Screen {
  explicit Screen(int views) {
    controller = std::make_shared<headless::ViewController>("Shop");
    std::mt19937 random(static_cast<unsigned>(views));
    int made = 0;
    for (int s = 0; s < kSections; ++s) {
      auto section = std::make_shared<headless::View>();
      controller->view()->addSubview(section);
      controller->addOutlet(numbered("section", s), section);
      ++made;
      std::shared_ptr<platform::View> container = section;
      const int share = (views - 4 - kFields) / kSections;
      for (int i = 1; i < share; ++i) {
        if (i % 8 == 0) {
          // A new container every eight views, nested under the section or the last one.
          auto next = std::make_shared<headless::View>();
          (random() % 2 == 0 ? section : container)->addSubview(next);
          container = next;
        } else {
          const std::string& category = kCategories[random() % kCategories.size()];
          container->addSubview(std::make_shared<headless::Label>(
              numbered("Item ", static_cast<long>(random() % 500)) + " " + category +
              (random() % 5 == 0 ? " SALE" : "")));
        }
        ++made;
      }
    }
    // A form: ten fields (outlets "field0".."field9") in a container of their own.
    auto form = std::make_shared<headless::View>();
    controller->view()->addSubview(form);
    for (int f = 0; f < kFields; ++f) {
      auto field = std::make_shared<headless::TextField>(numbered("answer ", f));
      form->addSubview(field);
      controller->addOutlet(numbered("field", f), field);
    }
    email = std::make_shared<headless::TextField>("ann@example.com");
    buy = std::make_shared<headless::Button>("Buy");
    controller->view()->addSubview(email);
    controller->view()->addSubview(buy);
    controller->addOutlet("email", email);
    controller->addOutlet("buyButton", buy);
  }
  // A new buy button in place of the old one, as an app's new screen brings new controls.
  void renewButton() {
    buy->removeFromSuperview();
    buy = std::make_shared<headless::Button>("Buy");
    controller->view()->addSubview(buy);
    controller->addOutlet("buyButton", buy);
  }

  std::shared_ptr<headless::ViewController> controller;
  std::shared_ptr<headless::TextField> email;
  std::shared_ptr<headless::Button> buy;
};

Screen& screen(int views) {
  static std::map<int, std::unique_ptr<Screen>> screens;
  auto& slot = screens[views];
  if (!slot) slot = std::make_unique<Screen>(views);
  return *slot;
}

PelorinClient& clientShowing(Screen& shown) {
  installPlatform();
  return PelorinClient::getInstance(shown.controller);
}

// One bare walk: every view once, the text of those that have one.
std::size_t bareWalk(const std::shared_ptr<platform::View>& root) {
  std::size_t bytes = 0;
  std::vector<const platform::View*> pending{root.get()};
  while (!pending.empty()) {
    const platform::View* view = pending.back();
    pending.pop_back();
    if (view->hasTextProperty()) {
      if (std::optional<std::string> text = view->text()) bytes += text->size();
    }
    view->forEachSubview([&pending](platform::View& sub) { pending.push_back(&sub); });
  }
  return bytes;
}

std::string section(int i) { return numbered("#section", i % kSections); }

// `count` behaviour rules: four in ten content rules (the whole screen or a section), two
// click rules on the buy button reading a section, two URL rules and two event rules.
std::string behaviourRules(int count) {
  boost::json::array rules;
  for (int i = 0; i < count; ++i) {
    boost::json::object rule;
    const std::string& word = kCategories[static_cast<std::size_t>(i) % kCategories.size()];
    rule["profileproperty"] =
        boost::json::array{boost::json::object{{"profileproperty", numbered("p", i)}}};
    rule["addset"] = "set";
    rule["values"] = boost::json::array{numbered("v", i)};
    rule["words"] = boost::json::array{word, "nothing " + word};
    switch (i % 10) {
      case 0:
      case 1:
      case 2:
      case 3:
        rule["ruletype"] = "scorecontent";
        rule["contentarea"] = {{"selector", i % 4 == 0 ? std::string("pre_body") : section(i)}};
        rule["containsmatches"] = i % 3 == 0 ? "matches" : "contains";
        break;
      case 4:
      case 5:
        rule["ruletype"] = "scoreclick";
        rule["clickarea"] = {{"selector", "#buyButton"}};
        rule["contentarea"] = {{"selector", section(i)}};
        break;
      case 6:
      case 7:
        rule["ruletype"] = "scoreurl";
        rule["url"] = "url";
        rule["words"] = boost::json::array{"shop"};
        break;
      default:
        rule["ruletype"] = "scoreevent";
        rule["event"] = "buy";
        break;
    }
    rules.push_back(std::move(rule));
  }
  return boost::json::serialize(rules);
}

// The same mix for the engagement listener: content rules pick from all interests.
std::string engagementRules(int count) {
  boost::json::array rules;
  for (int i = 0; i < count; ++i) {
    boost::json::object rule;
    rule["points"] = 1 + i % 5;
    rule["interests"] = boost::json::array{"pre_any"};
    switch (i % 10) {
      case 0:
      case 1:
      case 2:
      case 3:
        rule["ruletype"] = "interestcontent";
        rule["contentarea"] = {{"selector", i % 4 == 0 ? std::string("pre_body") : section(i)}};
        break;
      case 4:
      case 5:
        rule["ruletype"] = "interestclick";
        rule["clickarea"] = {{"selector", "#buyButton"}};
        rule["contentarea"] = {{"selector", section(i)}};
        break;
      case 6:
      case 7:
        rule["ruletype"] = "interesturl";
        rule["url"] = "url";
        break;
      default:
        rule["ruletype"] = "interestevent";
        rule["event"] = "buy";
        break;
    }
    rules.push_back(std::move(rule));
  }
  return boost::json::serialize(rules);
}

Strings interests(int count) {
  Strings names;
  for (int i = 0; i < count; ++i) {
    names.push_back(i < static_cast<int>(kCategories.size())
                        ? kCategories[static_cast<std::size_t>(i)]
                        : numbered("interest ", i));
  }
  return names;
}

// Form rules: changes of a form field, a click selection and a form selection on the buy
// button that read a form field (or the e-mail field).
std::string formRules(int count) {
  boost::json::array rules;
  for (int i = 0; i < count; ++i) {
    boost::json::object rule;
    rule["profileProperty"] = numbered("f", i);
    rule["addset"] = "set";
    const std::string field = numbered("#field", i % kFields);
    switch (i % 3) {
      case 0:
        rule["action"] = {{"type", "onchange"}};
        rule["formfield"] = {{"selector", field}};
        break;
      case 1:
        rule["action"] = {{"type", "clickselection"}, {"selector", "#buyButton"}};
        rule["formfield"] = {{"selector", i % 2 == 0 ? std::string("#email") : field}};
        break;
      default:
        rule["action"] = {{"type", "formselection"}, {"selector", "#buyButton"}};
        rule["formfield"] = {{"selector", field}};
        break;
    }
    rules.push_back(std::move(rule));
  }
  return boost::json::serialize(rules);
}

// The same rules with sections of the screen (1,000 labels each at 10,000 views) as their
// fields: each change then carries a section's texts, and each event of a tap reads them.
std::string formRulesReadingSections(int count) {
  boost::json::array rules;
  for (int i = 0; i < count; ++i) {
    boost::json::object rule;
    rule["profileProperty"] = numbered("f", i);
    rule["addset"] = "set";
    switch (i % 3) {
      case 0:
        rule["action"] = {{"type", "onchange"}};
        rule["formfield"] = {{"selector", "#email"}};
        break;
      case 1:
        rule["action"] = {{"type", "clickselection"}, {"selector", "#buyButton"}};
        rule["formfield"] = {{"selector", i % 2 == 0 ? std::string("#email") : section(i)}};
        break;
      default:
        rule["action"] = {{"type", "formselection"}, {"selector", "#buyButton"}};
        rule["formfield"] = {{"selector", section(i)}};
        break;
    }
    rules.push_back(std::move(rule));
  }
  return boost::json::serialize(rules);
}

JsonValue parsed(const std::string& text) { return *JsonValue::parse(text); }

void clearBus() {
  auto& bus = pelorin::PelorinEventFactory::getInstance();
  bus.clearEventHandlers();
  bus.clearEvents();
}

void BM_BareWalk(benchmark::State& state) {
  Screen& shown = screen(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(bareWalk(shown.controller->view()));
}
BENCHMARK(BM_BareWalk)->Arg(100)->Arg(1000)->Arg(10000);

// The rule application of a page view of the behaviour listener.
void BM_BehaviourPageView(benchmark::State& state) {
  Screen& shown = screen(static_cast<int>(state.range(0)));
  PelorinClient& client = clientShowing(shown);
  const JsonValue rules = parsed(behaviourRules(static_cast<int>(state.range(1))));
  for (auto _ : state) {
    auto service = std::make_shared<pelorin::RuleService>();
    service->setClient(client);
    service->setListenerId("i-bench");
    service->applyRules(rules.ref());
    service->save();
    benchmark::DoNotOptimize(service.get());
    state.PauseTiming();
    clearBus();
    service.reset();
    shown.renewButton();
    state.ResumeTiming();
  }
}

void BM_EngagementPageView(benchmark::State& state) {
  Screen& shown = screen(static_cast<int>(state.range(0)));
  PelorinClient& client = clientShowing(shown);
  const JsonValue rules = parsed(engagementRules(static_cast<int>(state.range(1))));
  const Strings all = interests(50);
  for (auto _ : state) {
    auto service = std::make_shared<pelorin::EngagementService>(client, "i-bench", "interests",
                                                                true, all, false);
    service->applyRules(rules.ref());
    if (service->isChanged()) service->save();
    benchmark::DoNotOptimize(service.get());
    state.PauseTiming();
    service.reset();
    clearBus();
    shown.renewButton();
    // Each save adds one value to the hidden property, which a client on line sends at its
    // next sync; off line here, it would grow with every iteration and each add would
    // search it: one value keeps later iterations measuring the listener.
    client.setProfileValue("_interests", "{}");
    state.ResumeTiming();
  }
}

// A page view of the form listener and a tap on the button that submits the form.
void formPageViewAndSubmit(benchmark::State& state, const std::string& rulesText) {
  Screen& shown = screen(static_cast<int>(state.range(0)));
  PelorinClient& client = clientShowing(shown);
  const JsonValue rules = parsed(rulesText);
  for (auto _ : state) {
    auto service = std::make_shared<pelorin::FormListeningService>(client);
    service->setListenerId("i-bench");
    service->applyRules(rules.ref());
    shown.buy->tap();
    benchmark::DoNotOptimize(service.get());
    state.PauseTiming();
    clearBus();
    service.reset();
    shown.renewButton();
    state.ResumeTiming();
  }
}

void BM_FormPageViewAndSubmit(benchmark::State& state) {
  formPageViewAndSubmit(state, formRules(static_cast<int>(state.range(1))));
}

void BM_FormSubmitReadingSections(benchmark::State& state) {
  formPageViewAndSubmit(state, formRulesReadingSections(static_cast<int>(state.range(1))));
}

void pageViewArgs(benchmark::internal::Benchmark* bench) {
  for (int views : {100, 1000, 10000}) {
    for (int rules : {1, 10, 50}) bench->Args({views, rules});
  }
}
BENCHMARK(BM_BehaviourPageView)->Apply(pageViewArgs);
BENCHMARK(BM_EngagementPageView)->Apply(pageViewArgs);
BENCHMARK(BM_FormPageViewAndSubmit)->Apply(pageViewArgs);
BENCHMARK(BM_FormSubmitReadingSections)->Apply(pageViewArgs);

// A tap on the buy button, whose click rule reads a section of the screen.
void BM_TapWithContentRule(benchmark::State& state) {
  Screen& shown = screen(static_cast<int>(state.range(0)));
  PelorinClient& client = clientShowing(shown);
  clearBus();
  auto service = std::make_shared<pelorin::RuleService>();
  service->setClient(client);
  service->setListenerId("i-bench");
  service->applyRules(parsed(R"([{"ruletype": "scoreclick", "clickarea": {"selector": "#buyButton"},
      "contentarea": {"selector": "#section3"}, "words": ["nothing like it"],
      "profileproperty": [{"profileproperty": "tapped"}], "addset": "set",
      "values": ["yes"]}])")
                          .ref());
  int taps = 0;
  for (auto _ : state) {
    shown.buy->tap();
    if (++taps % 64 == 0) {
      state.PauseTiming();
      pelorin::PelorinEventFactory::getInstance().clearEvents();
      state.ResumeTiming();
    }
  }
  clearBus();
}
BENCHMARK(BM_TapWithContentRule)->Arg(10000);

// CPU time of the calling thread: on a shared machine the wall clock counts other load.
double threadSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

struct UpdatesResult {
  double seconds = 0;
  double heapBytes = 0;
};
UpdatesResult updatesResult;

// 1,000 content updates published to a behaviour listener of 25 content rules: the n-th
// update evaluates each rule n times. Reports the total time and the heap held afterwards.
void BM_ContentUpdates(benchmark::State& state) {
  Screen& shown = screen(1000);
  PelorinClient& client = clientShowing(shown);
  boost::json::array list;
  for (int i = 0; i < 25; ++i) {
    const std::string& word = kCategories[static_cast<std::size_t>(i) % kCategories.size()];
    list.push_back(boost::json::object{
        {"ruletype", "scorecontent"},
        {"contentarea", {{"selector", section(i)}}},
        {"containsmatches", i % 2 == 0 ? "contains" : "matches"},
        {"words", boost::json::array{word + " special", "limited " + word}},
        {"profileproperty", boost::json::array{boost::json::object{{"profileproperty", "u"}}}},
        {"addset", "add"},
        {"values", boost::json::array{"seen"}}});
  }
  const JsonValue rules = pelorin::toJsonValue(boost::json::value(std::move(list)));
  for (auto _ : state) {
    clearBus();
    const std::size_t heapBefore = mallinfo2().uordblks;
    const double start = threadSeconds();
    auto service = std::make_shared<pelorin::RuleService>();
    service->setClient(client);
    service->setListenerId("i-bench");
    service->applyRules(rules.ref());
    service->save();
    auto& bus = pelorin::PelorinEventFactory::getInstance();
    for (int update = 0; update < 1000; ++update) {
      bus.publish(std::make_shared<pelorin::UpdateContentEvent>(
          Strings{numbered("Item ", update), "new arrivals"}));
      bus.clearEvents();
    }
    const double elapsed = threadSeconds() - start;
    const std::size_t heapAfter = mallinfo2().uordblks;
    updatesResult.seconds = elapsed;
    updatesResult.heapBytes = static_cast<double>(heapAfter) - static_cast<double>(heapBefore);
    state.SetIterationTime(updatesResult.seconds);
    state.counters["heap_MB"] = updatesResult.heapBytes / 1e6;
    clearBus();
    service.reset();
  }
}
BENCHMARK(BM_ContentUpdates)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

// Voluntary context switches of a thread of this process (each is one sleep and wake-up).
long switchesOf(long thread) {
  std::ifstream status(numbered("/proc/self/task/", thread) + "/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("voluntary_ctxt_switches:", 0) == 0) return std::atol(line.c_str() + 24);
  }
  return 0;
}

std::map<long, long> switchesOfAllThreads() {
  std::map<long, long> result;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
    const long thread = std::atol(entry.path().filename().c_str());
    result[thread] = switchesOf(thread);
  }
  return result;
}

// A started client on the real clock whose one request has failed: nothing left to send.
// Runs the main loop and counts, over `seconds`, the sleeps of the main loop's thread and
// of the other threads (the HTTP worker, the file writer). A thread of the benchmark takes
// both counts while the loop sleeps and only then stops it: a thread's count of voluntary
// switches grows when it goes to sleep, so counts taken while it sleeps tell its wake-ups
// in between, and the end of the measurement is not itself a wake-up of the loop.
void measureIdleWakeUps() {
  const char* setting = std::getenv("PELORIN_IDLE_SECONDS");
  const int seconds = setting != nullptr ? std::atoi(setting) : 10;
  if (seconds <= 0) return;
  clearBus();
  installPlatform();
  PelorinClient& client = PelorinClient::getInstance();
  client.createEvent("PAGEVIEW", std::map<std::string, std::string>{{"screenName", "home"}});
  auto& loop = dynamic_cast<platform::MainLoop&>(pelorin::Platform::current().mainThread());
  loop.runFor(std::chrono::milliseconds(1500));  // the page view and its failed request
  const long self = syscall(SYS_gettid);
  std::map<long, long> before;
  std::map<long, long> after;
  long counter = 0;
  std::thread counting([&] {
    counter = syscall(SYS_gettid);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));  // the loop is asleep
    before = switchesOfAllThreads();
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    after = switchesOfAllThreads();
    loop.stop();
  });
  loop.run();
  counting.join();
  long mainLoop = 0;
  long others = 0;
  for (const auto& [thread, count] : after) {
    if (thread == counter) continue;  // the benchmark's own
    auto found = before.find(thread);
    const long delta = count - (found != before.end() ? found->second : 0);
    (thread == self ? mainLoop : others) += delta;
  }
  const double perMinute = 60.0 / seconds;
  const double mainPerMinute = static_cast<double>(mainLoop) * perMinute;
  const double othersPerMinute = static_cast<double>(others) * perMinute;
  const double timers =
      60000.0 / static_cast<double>(pelorin::Platform::current().syncInterval().count());
  std::printf(
      "idle wake-ups per minute over %d s: main loop %.0f, other threads %.0f"
      "  (target: main loop <= %.0f, the tick's; other threads 0: %s)\n",
      seconds, mainPerMinute, othersPerMinute, timers,
      mainPerMinute <= timers + 1 && others == 0 ? "met" : "MISSED");
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  std::vector<pelorin::bench::RatioReporter::Ratio> ratios;
  for (int views : {100, 1000, 10000}) {
    for (int rules : {1, 10, 50}) {
      const std::string args = numbered("/", views) + numbered("/", rules);
      const std::string walk = numbered("BM_BareWalk/", views);
      const double target = views == 10000 && rules == 50 ? 20.0 : 0.0;
      ratios.push_back({"BM_BehaviourPageView" + args, walk, target});
      ratios.push_back({"BM_EngagementPageView" + args, walk, target});
      ratios.push_back({"BM_FormPageViewAndSubmit" + args, walk, target});
      ratios.push_back({"BM_FormSubmitReadingSections" + args, walk, 0.0});
    }
  }
  ratios.push_back({"BM_TapWithContentRule/10000", "BM_BareWalk/10000", 0.0});
  pelorin::bench::RatioReporter reporter(std::move(ratios));
  benchmark::RunSpecifiedBenchmarks(&reporter);
  if (updatesResult.seconds > 0) {
    std::printf(
        "1,000 content updates, 25 content rules, 1,000 views: %.3f s CPU (target < 1 s: %s),"
        " heap held %.2f MB (target < 2 MB: %s)\n",
        updatesResult.seconds, updatesResult.seconds < 1.0 ? "met" : "MISSED",
        updatesResult.heapBytes / 1e6, updatesResult.heapBytes < 2e6 ? "met" : "MISSED");
  }
  measureIdleWakeUps();
  benchmark::Shutdown();
  return 0;
}
