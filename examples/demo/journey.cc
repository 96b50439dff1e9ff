#include "journey.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <system_error>
#include <utility>

#include "batch_summary.h"
#include "pelorin/event.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"
#include "pelorin/platform/platform.h"

namespace demo {
namespace {

using pelorin::JsonValue;
using pelorin::PelorinClient;
using pelorin::headless::Button;
using pelorin::headless::WebView;

constexpr std::string_view kScoreClass = "PelorinClient.EngagementScoreListener";
constexpr std::string_view kRankingClass = "PelorinClient.EngagementRankingListener";

// The text a person sees in a page: no tags, no style sheets, spaces collapsed.
std::string visibleText(std::string_view html) {
  std::string text;
  bool inTag = false;
  for (std::size_t i = 0; i < html.size(); ++i) {
    if (html.substr(i, 6) == "<style") {
      const auto end = html.find("</style>", i);
      if (end == std::string_view::npos) break;
      i = end + 7;
      continue;
    }
    const char c = html[i];
    if (c == '<') {
      inTag = true;
      text += ' ';
    } else if (c == '>') {
      inTag = false;
    } else if (!inTag) {
      text += (c == '\n' || c == '\t') ? ' ' : c;
    }
  }
  std::string collapsed;
  for (char c : text) {
    if (c == ' ' && (collapsed.empty() || collapsed.back() == ' ')) continue;
    collapsed += c;
  }
  while (!collapsed.empty() && collapsed.back() == ' ') collapsed.pop_back();
  return collapsed;
}

// The web view of a lightbox laid over `host`, if one is showing.
std::shared_ptr<WebView> findLightbox(pelorin::headless::ViewController& host) {
  for (const auto& view : host.view()->subviews()) {
    if (auto webView = std::dynamic_pointer_cast<WebView>(view)) return webView;
  }
  return nullptr;
}

std::string lightboxText(const WebView& webView) {
  if (webView.loads().empty()) return "";
  const WebView::Load& load = webView.loads().back();
  return load.kind == WebView::Load::Kind::kHtmlString ? visibleText(load.html) : load.request.url;
}

}  // namespace

Journey::Journey(pelorin::platform::MainLoop& loop, pelorin::headless::HeadlessUi& ui,
                 RecordingHttpClient& http, const DemoOutput& out, JourneyState state,
                 std::optional<int> lastStep)
    : _loop(loop),
      _ui(ui),
      _http(http),
      _out(out),
      _state(std::move(state)),
      _lastStep(lastStep),
      _home(std::make_shared<HomeScreen>()),
      _product(std::make_shared<ProductScreen>()),
      _signUp(std::make_shared<SignUpScreen>()),
      _checkout(std::make_shared<CheckoutScreen>()) {
  buildSteps();
}

void Journey::buildSteps() {
  _steps = {
      {"Opens the app on the home screen", [this] { open(_home); }},
      {"Taps \"Shop trail shoes\": the product screen opens",
       [this] {
         _home->shopButton->tap();
         open(_product);
       }},
      {"Taps \"Read reviews\"", [this] { _product->reviewsButton->tap(); }},
      {"Taps \"Add to cart\"", [this] { _product->addToCartButton->tap(); }},
      {R"(Taps "Save for later": the app sends its own event "wishlist")",
       [this] {
         _product->wishlistButton->tap();
         sendCustomEvent("wishlist", {"trail-running-shoes", "running"});
       }},
      {"Opens the sign-up screen", [this] { open(_signUp); }},
      {"Types an e-mail address and a city",
       [this] {
         _signUp->emailField->tap();
         _signUp->emailField->typeText("jo@example.com");
         _signUp->emailField->endEditing();
         _signUp->cityField->tap();
         _signUp->cityField->typeText("Utrecht");
         _signUp->cityField->endEditing();
       }},
      {"Switches the newsletter on, drags the budget slider to 150, picks shoe size 42",
       [this] {
         // A switch, a slider and a picker have no text: the app reports their values.
         _signUp->newsletterSwitch->toggle();
         reportValues(std::make_shared<pelorin::FieldChangeEvent>(
             "#newsletterSwitch",
             std::vector<std::string>{_signUp->newsletterSwitch->isOn() ? "true" : "false"}));
         _signUp->budgetSlider->drag({120, 140, 150});
         reportValues(std::make_shared<pelorin::FieldChangeEvent>("#budgetSlider",
                                                                  std::vector<std::string>{"150"}));
         _signUp->sizePicker->pickRow(3, 0);
         reportValues(std::make_shared<pelorin::UpdateValuesEvent>(
             "#sizePicker",
             std::vector<std::string>{_signUp->sizePicker->titleForRow(3, 0).value_or("")}));
       }},
      {"Taps \"Create account\"", [this] { _signUp->createAccountButton->tap(); }},
      {"Opens the checkout screen", [this] { open(_checkout); }},
      {"Closes the lightbox", [this] { closeLightbox(); }},
      {"Taps \"Pay now\"", [this] { _checkout->payButton->tap(); }},
      {"Restarts the app on the same storage folder and opens the home screen",
       [this] {
         restarted();
         open(_home);
       },
       true},
  };
}

Journey::Outcome Journey::run() {
  const int firstStep = _state.nextStep;
  while (_state.nextStep <= stepCount()) {
    const int number = _state.nextStep;
    if (_lastStep && number > *_lastStep) break;
    const Step& step = _steps[static_cast<std::size_t>(number - 1)];
    if (step.restartsTheApp && number != firstStep) {
      waitForNextTick();
      _out.line("");
      _out.line("The app closes; the library's files are current.");
      return Outcome::kRestart;
    }
    runStep(number, step);
    ++_state.nextStep;
  }
  return Outcome::kDone;
}

void Journey::runStep(int number, const Step& step) {
  _out.stepHeading(number, step.title);
  _stepNote.clear();
  _stepWasPageView = false;
  step.act();
  settle();
  // Send what the plug-ins recorded now instead of at the next tick, so each step shows
  // its own changes reaching the server.
  auto sent = std::make_shared<bool>(false);
  PelorinClient::getInstance().updateProfile([sent] { *sent = true; });
  waitForNetwork(sent);
  report(number);
}

void Journey::open(const std::shared_ptr<ShopScreen>& screen) {
  _current = screen;
  _ui.setKeyWindowRootViewController(screen);
  _stepWasPageView = true;
  auto done = std::make_shared<bool>(false);
  PelorinClient::getInstance(screen).createEvent(
      "PAGEVIEW", std::map<std::string, std::string>{{"screenName", screen->screenName()}},
      [done] { *done = true; });
  waitForNetwork(done);
}

void Journey::sendCustomEvent(const std::string& name, const std::vector<std::string>& context) {
  auto done = std::make_shared<bool>(false);
  PelorinClient::getInstance().createEvent(name, JsonValue::object({{"context", context}}),
                                           [done] { *done = true; });
  waitForNetwork(done);
}

void Journey::reportValues(std::shared_ptr<pelorin::Event> event) {
  PelorinClient::synchronized(
      [&] { pelorin::PelorinEventFactory::getInstance().publish(std::move(event)); });
}

void Journey::closeLightbox() {
  auto lightbox = _current ? findLightbox(*_current) : nullptr;
  if (!lightbox) {
    _stepNote = "no lightbox is showing";
    return;
  }
  std::shared_ptr<Button> close;
  for (const auto& view : lightbox->subviews()) {
    if (auto button = std::dynamic_pointer_cast<Button>(view)) close = button;
  }
  if (close) close->tap();
  settle();
  _out.field("lightbox",
             findLightbox(*_current) ? "still showing" : "closed with its close button");
}

void Journey::restarted() {
  _out.field("restart", "a new process; the library reads its folder back");
  _profile = readProfile();
  _out.profile("read back", _profile);
}

bool Journey::waitForNetwork(const std::shared_ptr<bool>& done, std::chrono::seconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  _progress.start("waiting for the server");
  while (!*done || _http.inFlight() > 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      _progress.finish();
      _out.field("network", "no answer after " + std::to_string(limit.count()) + " s; going on");
      return false;
    }
    _loop.runFor(std::chrono::milliseconds(20));
    _progress.update();
  }
  _progress.finish();
  settle();
  return true;
}

void Journey::waitForNextTick() {
  // The library's repeating sync timer is the loop's only timer here.
  const auto tick = _loop.nextTimerDeadline();
  const auto& clock = pelorin::Platform::current().clock();
  _progress.start("waiting for the library's next tick");
  while (tick && clock.now() <= *tick) {
    _loop.runFor(std::chrono::milliseconds(20));
    _progress.update();
  }
  settle();
  while (_http.inFlight() > 0) {
    _loop.runFor(std::chrono::milliseconds(20));
    _progress.update();
  }
  _progress.finish();
}

void Journey::settle() { _loop.runUntilIdle(); }

void Journey::report(int number) {
  std::vector<JsonValue> interactions;
  bool askedForInteractions = false;
  for (const Exchange& exchange : _http.takeFinished()) {
    BatchSummary summary = summarise(exchange);
    _out.exchange(exchange, summary);
    _state.propertyNames.insert(summary.propertyNames.begin(), summary.propertyNames.end());
    askedForInteractions = askedForInteractions || summary.askedForInteractions;
    for (auto& interaction : summary.interactions) interactions.push_back(std::move(interaction));
  }
  if (_stepWasPageView) _watchingPlugins = 0;
  if (askedForInteractions) reportPlugins(interactions);

  if (_stepWasPageView) {
    if (auto lightbox = _current ? findLightbox(*_current) : nullptr) {
      _out.field("lightbox", "showing \"" + lightboxText(*lightbox) + "\"");
    }
    if (interactions.empty()) {
      _stepNote = "the server started no plug-ins on this screen";
    } else if (_watchingPlugins == 0) {
      _stepNote = "none of this screen's plug-ins is in this library";
    }
  } else if (_stepNote.empty() && _watchingPlugins == 0) {
    _stepNote = "no plug-in watches this screen";
  }
  if (!_stepNote.empty()) noteNothingToActOn(number, _stepNote);

  Profile now = readProfile();
  _out.profileChanges(_profile, now);
  _profile = std::move(now);

  std::vector<std::string> segments;
  for (const auto& segment : PelorinClient::getInstance().getSegments()) {
    segments.push_back(segment.getName());
  }
  _out.field("segments", segments.empty() ? "none" : join(segments, ", "));
}

void Journey::noteNothingToActOn(int number, const std::string& why) {
  _out.field("nothing", "to act on: " + why);
  _state.idleSteps.push_back(number);
}

void Journey::reportPlugins(const std::vector<JsonValue>& interactions) {
  if (interactions.empty() && _stepWasPageView) {
    _out.field("plug-ins", "none for this screen");
    return;
  }
  for (const JsonValue& interaction : interactions) {
    const std::string className = interaction.ref()["pluginClass"].string();
    const std::string id = interaction.ref()["id"].string();
    if (className == kScoreClass) _state.scoreInteraction = interaction;
    if (className == kRankingClass) _state.rankingInteraction = interaction;
    auto pluginClass = pelorin::RuntimeClasses::lookup(className);
    std::string text = className;
    text += " (" + id + ")";
    if (pluginClass && pluginClass->isPlugin()) {
      ++_watchingPlugins;
    } else {
      text += ": not in this library, skipped";
    }
    _out.field("plug-in", text);
  }
}

Profile Journey::readProfile() const {
  Profile profile;
  auto& client = PelorinClient::getInstance();
  for (const auto& name : _state.propertyNames) {
    auto values = client.getProfileValues(name);
    if (values && !values->empty()) profile.emplace(name, std::move(*values));
  }
  return profile;
}

void Journey::finish(const std::string& libraryFolder) {
  _out.line("");
  _out.line("The end");
  waitForNextTick();
  _out.profile("profile", readProfile());

  std::vector<std::string> idle;
  for (int step : _state.idleSteps) idle.push_back(std::to_string(step));
  _out.field("nothing", idle.empty() ? "every step had something to act on"
                                     : "to act on in steps " + join(idle, ", "));

  // Listed after the tick, so the sizes are those of what the library wrote last.
  std::vector<std::pair<std::string, std::uintmax_t>> files;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(libraryFolder, error)) {
    if (!entry.is_regular_file(error)) continue;
    files.emplace_back(entry.path().filename().string(), entry.file_size(error));
  }
  std::sort(files.begin(), files.end());
  std::string listing = libraryFolder;
  for (const auto& [name, size] : files) {
    std::string padded = name;
    padded.resize(std::max<std::size_t>(padded.size() + 1, 28), ' ');
    listing += "\n" + padded + std::to_string(size) + " bytes";
  }
  _out.field("files", files.empty() ? libraryFolder + " (empty)" : listing);

  _out.line("");
  _out.line("Derived by the server");
  std::optional<std::string> scoreProperty;
  if (_state.scoreInteraction) scoreProperty = scorePropertyOf(_state.scoreInteraction->ref());
  reportDerived("engagement score", std::string(kScoreClass), _state.scoreInteraction,
                scoreProperty);
  std::optional<std::string> rankingProperty;
  if (_state.rankingInteraction) {
    rankingProperty = _state.rankingInteraction->ref()["id"].asString();
  }
  reportDerived("interest ranking", std::string(kRankingClass), _state.rankingInteraction,
                rankingProperty);
}

void Journey::reportDerived(const std::string& what, const std::string& className,
                            const std::optional<JsonValue>& interaction,
                            const std::optional<std::string>& property) {
  if (!interaction) {
    _out.line(what + ": no " + className + " interaction reached the app");
    return;
  }
  if (!property || property->empty()) {
    _out.line(what + ": its interaction names no property");
    return;
  }
  auto values = PelorinClient::getInstance().getProfileValues(*property);
  if (!values || values->empty()) {
    _out.line(what + ": not derived by this server (the raw points are in \"_" + *property + "\")");
    return;
  }
  _out.line(what + " (" + *property + "): " + join(*values, ", "));
}

}  // namespace demo
