#include "soak/journey_soak.h"

#include <malloc.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <system_error>
#include <utility>
#include <vector>

#include "client/client_testing.h"
#include "client/pelorin_client_impl.h"
#include "json/json_value_access.h"
#include "pelorin/headless/control.h"
#include "pelorin/headless/headless_ui.h"
#include "pelorin/headless/web_view.h"
#include "pelorin/json_value.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"
#include "pelorin/pelorin_event_manager.h"
#include "pelorin/platform/curl_http_client.h"
#include "pelorin/platform/headless.h"
#include "pelorin/platform/main_loop.h"
#include "pelorin/platform/platform.h"
#include "shop_screens.h"

namespace pelorin::soak {
namespace {

using namespace std::chrono_literals;

// 14 May 2026, 10:00 UTC: any instant would do; a fixed one keeps the runs alike.
constexpr auto kStart = std::chrono::sys_days(std::chrono::year(2026) / 5 / 14) + 10h;
constexpr auto kPageViewTime = 100ms;
constexpr auto kSyncInterval = 100ms;
constexpr auto kAnswerLimit = 30s;

JsonValue text(const std::string& value) { return JsonValue(value); }

void countTargets(const headless::View& view, std::size_t& targets) {
  if (const auto* control = dynamic_cast<const headless::Control*>(&view)) {
    targets += control->targetCount();
  }
  for (const auto& subview : view.subviews()) countTargets(*subview, targets);
}

std::shared_ptr<headless::WebView> findLightbox(headless::ViewController& host) {
  for (const auto& view : host.view()->subviews()) {
    if (auto webView = std::dynamic_pointer_cast<headless::WebView>(view)) return webView;
  }
  return nullptr;
}

}  // namespace

struct JourneySoak::Screens {
  platform::MainLoop* loop = nullptr;
  headless::HeadlessUi* ui = nullptr;
  platform::PinnedClock* clock = nullptr;
  std::shared_ptr<demo::HomeScreen> home = std::make_shared<demo::HomeScreen>();
  std::shared_ptr<demo::ProductScreen> product = std::make_shared<demo::ProductScreen>();
  std::shared_ptr<demo::SignUpScreen> signUp = std::make_shared<demo::SignUpScreen>();
  std::shared_ptr<demo::CheckoutScreen> checkout = std::make_shared<demo::CheckoutScreen>();
  std::shared_ptr<demo::ShopScreen> current;
};

JourneySoak::JourneySoak(const std::string& serverUrl, const std::filesystem::path& storage)
    : _screens(std::make_unique<Screens>()), _storage(storage) {
  auto bundle = std::make_unique<platform::HeadlessBundle>();
  bundle->set("pl_server_url", text(serverUrl));
  bundle->set("pl_debug", JsonValue(false));
  bundle->set("CFBundleIdentifier", text("com.example.trailhead"));
  bundle->set("CFBundleExecutable", text("pelorin-demo"));
  bundle->set("CFBundleDisplayName", text("Trailhead"));
  bundle->set("CFBundleShortVersionString", text("1.4.0"));

  auto installed = std::make_unique<Platform>();
  installed->setBundle(std::move(bundle));
  installed->setFileSystem(std::make_unique<platform::PosixFileSystem>(storage.string()));
  installed->setDevice(std::make_unique<platform::HeadlessDevice>("iOS", "17.4", "iPhone15,2"));
  auto clock = std::make_unique<platform::PinnedClock>(
      std::chrono::time_point_cast<platform::Clock::TimePoint::duration>(kStart));
  _screens->clock = clock.get();
  installed->setClock(std::move(clock));
  installed->setSyncInterval(kSyncInterval);
  auto loop = std::make_unique<platform::MainLoop>();
  _screens->loop = loop.get();
  installed->setMainThread(std::move(loop));
  auto ui = std::make_unique<headless::HeadlessUi>();
  _screens->ui = ui.get();
  installed->setUi(std::move(ui));
  installed->setHttpClient(
      std::make_unique<platform::CurlHttpClient>(storage / "pelorin" / "plcookies.data"));
  Platform::install(std::move(installed));
}

JourneySoak::~JourneySoak() = default;

void JourneySoak::pageViewTime() {
  _screens->clock->advance(kPageViewTime);
  _screens->loop->runUntilIdle();
}

bool JourneySoak::waitFor(const std::shared_ptr<bool>& done) {
  PelorinClient& client = PelorinClient::getInstance();
  const auto deadline = std::chrono::steady_clock::now() + kAnswerLimit;
  while (!*done || ClientTesting::pendingOperations(client) > 0) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    _screens->loop->runFor(1ms);
  }
  _screens->loop->runUntilIdle();
  return true;
}

bool JourneySoak::open(int screen) {
  std::shared_ptr<demo::ShopScreen> next;
  switch (screen) {
    case 0:
      next = _screens->home;
      break;
    case 1:
      next = _screens->product;
      break;
    case 2:
      next = _screens->signUp;
      break;
    default:
      next = _screens->checkout;
      break;
  }
  pageViewTime();
  _screens->current = next;
  _screens->ui->setKeyWindowRootViewController(next);
  auto done = std::make_shared<bool>(false);
  PelorinClient::getInstance(next).createEvent(
      "PAGEVIEW", std::map<std::string, std::string>{{"screenName", next->screenName()}},
      [done] { *done = true; });
  ++_pageViews;
  return waitFor(done);
}

// Sends what the plug-ins recorded, as the demo does after each step.
bool JourneySoak::send() {
  _screens->loop->runUntilIdle();
  auto done = std::make_shared<bool>(false);
  PelorinClient::getInstance().updateProfile([done] { *done = true; });
  return waitFor(done);
}

void JourneySoak::closeLightbox() {
  auto lightbox = _screens->current ? findLightbox(*_screens->current) : nullptr;
  if (!lightbox) return;
  for (const auto& view : lightbox->subviews()) {
    if (auto button = std::dynamic_pointer_cast<headless::Button>(view)) {
      button->tap();
      break;
    }
  }
  _screens->loop->runUntilIdle();
}

bool JourneySoak::runCycle() {
  Screens& s = *_screens;
  bool answered = open(0);
  s.home->shopButton->tap();
  answered = open(1) && answered;
  s.product->reviewsButton->tap();
  s.product->addToCartButton->tap();
  s.product->wishlistButton->tap();
  auto done = std::make_shared<bool>(false);
  PelorinClient::getInstance().createEvent(
      "wishlist",
      JsonValue::object({{"context", JsonValue::array({"trail-running-shoes", "running"})}}),
      [done] { *done = true; });
  answered = waitFor(done) && send() && answered;
  answered = open(2) && answered;
  // The fields keep what was typed on the last visit: the user clears them first.
  s.signUp->emailField->tap();
  s.signUp->emailField->clearText();
  s.signUp->emailField->typeText("jo@example.com");
  s.signUp->emailField->endEditing();
  s.signUp->cityField->tap();
  s.signUp->cityField->clearText();
  s.signUp->cityField->typeText("Utrecht");
  s.signUp->cityField->endEditing();
  s.signUp->newsletterSwitch->toggle();
  s.signUp->budgetSlider->drag({120, 140, 150});
  s.signUp->sizePicker->pickRow(3, 0);
  s.signUp->createAccountButton->tap();
  answered = send() && answered;
  answered = open(3) && answered;
  closeLightbox();
  s.checkout->payButton->tap();
  answered = send() && answered;
  return answered;
}

SoakSample JourneySoak::sample() const {
  SoakSample sample;
  sample.pageViews = _pageViews;
  PelorinClient::synchronized([&] {
    auto& engine = ClientTesting::engine(PelorinClient::getInstance());
    for (const auto& [name, values] : engine.cache().properties) {
      sample.profileValues += values.size();
      for (const auto& value : values) sample.profileBytes += lengthWithoutDigits(value);
    }
    sample.plugins = engine.currentPlugins().size();
    auto& bus = PelorinEventFactory::getInstance();
    for (const auto& [event, handlers] : bus.handlersByEvent()) {
      sample.subscriptions += handlers.size();
    }
    sample.queuedEvents = bus.eventQueue().size();
  });
  for (const auto& screen : {std::static_pointer_cast<demo::ShopScreen>(_screens->home),
                             std::static_pointer_cast<demo::ShopScreen>(_screens->product),
                             std::static_pointer_cast<demo::ShopScreen>(_screens->signUp),
                             std::static_pointer_cast<demo::ShopScreen>(_screens->checkout)}) {
    countTargets(*screen->view(), sample.targets);
  }
  std::error_code error;
  const auto size = std::filesystem::file_size(_storage / "pelorin" / "cache5.2.data", error);
  sample.cacheFileBytes = error ? 0 : size;
  sample.residentBytes = residentBytesOf(static_cast<int>(::getpid()));
  sample.heapBytes = heapBytes();
  return sample;
}

std::size_t lengthWithoutDigits(std::string_view text) {
  std::size_t length = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    const bool previousDigit = i > 0 && text[i - 1] >= '0' && text[i - 1] <= '9';
    if (!digit || !previousDigit) ++length;
  }
  return length;
}

std::int64_t residentBytesOf(int pid) {
  std::ifstream statm("/proc/" + std::to_string(pid) + "/statm");
  std::int64_t size = 0;
  std::int64_t resident = 0;
  statm >> size >> resident;
  return resident * ::sysconf(_SC_PAGESIZE);
}

std::int64_t heapBytes() {
  const struct mallinfo2 info = ::mallinfo2();
  return static_cast<std::int64_t>(info.uordblks + info.hblkhd);
}

}  // namespace pelorin::soak
