// A headless client for the fuzz targets: a platform with debug logging on (lines built
// and dropped), a pinned clock, no network and a temporary folder, showing the Checkout
// screen (a banner with two labels, a price, a buy and a submit button) after a page view.
#ifndef PELORIN_FUZZ_CLIENT_HARNESS_H_
#define PELORIN_FUZZ_CLIENT_HARNESS_H_

#include <chrono>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <boost/json.hpp>

#include "client/pelorin_client_impl.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/platform/headless.h"
#include "pelorin/platform/main_loop.h"
#include "pelorin/platform/platform.h"
#include "pelorin/platform/reachability.h"
#include "pelorin/platform/toolkit.h"

namespace pelorin::fuzzing {

// Log lines are built (debug mode is on) and dropped.
class NullConsole : public platform::Console {
 public:
  void writeLine(std::string_view /*line*/) override {}
};

// No network: the client never sends anything.
class Offline : public platform::Reachability {
 public:
  std::optional<platform::ReachabilityFlags> flags() const override { return std::nullopt; }
};

struct Screen {
  std::shared_ptr<platform::ViewController> controller =
      std::make_shared<platform::ViewController>("Checkout");
  std::shared_ptr<platform::View> banner = std::make_shared<platform::View>();
  std::shared_ptr<platform::Button> buy = std::make_shared<platform::Button>("Buy");
  std::shared_ptr<platform::Button> submit = std::make_shared<platform::Button>("Send");
};

struct Harness {
  Harness() {
    char folder[] = "/tmp/pelorin-fuzz-XXXXXX";
    if (mkdtemp(folder) == nullptr) std::abort();
    auto installed = std::make_unique<Platform>();
    auto bundle = std::make_unique<platform::HeadlessBundle>();
    bundle->set("pl_debug", JsonValue(true));
    auto clock = std::make_unique<platform::PinnedClock>(
        platform::Clock::TimePoint(std::chrono::seconds(1714568531)), 3600, "en_US");
    auto loop = std::make_unique<platform::MainLoop>(clock.get());
    mainLoop = loop.get();
    installed->setBundle(std::move(bundle));
    installed->setClock(std::move(clock));
    installed->setConsole(std::make_unique<NullConsole>());
    installed->setMainThread(std::move(loop));
    installed->setReachability(std::make_unique<Offline>());
    installed->setFileSystem(std::make_unique<platform::PosixFileSystem>(folder));
    Platform::install(std::move(installed));

    screen.banner->addSubview(std::make_shared<platform::Label>("Spring sale"));
    screen.banner->addSubview(std::make_shared<platform::Label>("20% off"));
    screen.controller->view()->addSubview(screen.banner);
    screen.controller->view()->addSubview(std::make_shared<platform::Label>("Total: 25 EUR"));
    screen.controller->view()->addSubview(screen.buy);
    screen.controller->view()->addSubview(screen.submit);
    screen.controller->addOutlet("banner", screen.banner);
    screen.controller->addOutlet("buyButton", screen.buy);
    screen.controller->addOutlet("submitButton", screen.submit);

    client = &PelorinClient::getInstance(screen.controller);
    client->createEvent("PAGEVIEW",
                        std::map<std::string, std::string>{{"screenName", "Checkout/Product-42"}});
    client->engine().waitForOperations();
    mainLoop->runUntilIdle();
  }

  platform::MainLoop* mainLoop = nullptr;
  Screen screen;
  PelorinClient* client = nullptr;
};

inline Harness& harness() {
  static Harness* instance = new Harness();  // lives for the process, like the client
  return *instance;
}

// An interaction "fuzz-1" whose parameters hold the given texts (one value each).
inline JsonValue interactionWith(
    const std::vector<std::pair<std::string_view, std::string_view>>& parameters) {
  boost::json::array list;
  for (const auto& [name, value] : parameters) {
    list.push_back(boost::json::object{{"id", name},
                                       {"value", boost::json::array{boost::json::string(value)}}});
  }
  return JsonValue(boost::json::object{
      {"id", "fuzz-1"},
      {"defaultLocale", "en"},
      {"parameters",
       boost::json::array{boost::json::object{{"locale", "en"}, {"parameter", std::move(list)}}}}});
}

}  // namespace pelorin::fuzzing

#endif  // PELORIN_FUZZ_CLIENT_HARNESS_H_
