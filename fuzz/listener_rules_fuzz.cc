// Feeds arbitrary bytes as the "listener_rules" parameter of a behaviour listener on a
// small headless screen, then publishes custom, click, form submit and content events and
// taps the screen's buttons. Whatever the rules say, the host must not crash.
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "client/pelorin_client_impl.h"
#include "listeners/behavior_listener.h"
#include "pelorin/event.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"
#include "pelorin/platform/headless.h"
#include "pelorin/platform/main_loop.h"
#include "pelorin/platform/platform.h"
#include "pelorin/platform/reachability.h"
#include "pelorin/platform/toolkit.h"

namespace {

using namespace pelorin;  // NOLINT(google-build-using-namespace): a fuzz driver

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

Harness& harness() {
  static Harness* instance = new Harness();  // lives for the process, like the client
  return *instance;
}

JsonValue interactionWith(std::string_view listenerRules) {
  boost::json::object parameter{{"id", "listener_rules"},
                                {"value", boost::json::array{boost::json::string(listenerRules)}}};
  return JsonValue(boost::json::object{
      {"id", "fuzz-1"},
      {"defaultLocale", "en"},
      {"parameters", boost::json::array{boost::json::object{
                         {"locale", "en"}, {"parameter", boost::json::array{parameter}}}}}});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Harness& h = harness();
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const JsonValue interaction = interactionWith(text);
  auto listener = std::make_shared<BehaviorListener>(
      *h.client, InteractionContext(interaction.ref(), h.screen.controller, std::nullopt));
  listener->onLoad();

  PelorinEventManager& bus = PelorinEventFactory::getInstance();
  bus.publish(std::make_shared<AdvancedEvent>("buy", std::vector<std::string>{"shoes", "42"}));
  bus.publish(std::make_shared<AdvancedEvent>("buy"));
  bus.publish(std::make_shared<ClickEvent>("#banner", std::vector<std::string>{"gold"}));
  bus.publish(std::make_shared<FormSubmitEvent>("#submitButton"));
  bus.publish(std::make_shared<UpdateContentEvent>(std::vector<std::string>{"Spring sale"}));
  bus.publish(std::make_shared<UpdateContentEvent>("#banner", std::vector<std::string>{}));
  h.screen.buy->tap();
  h.screen.submit->tap();
  if (listener->ruleService()) listener->ruleService()->save();

  listener->onDestroy();
  bus.clearEvents();
  return 0;
}
