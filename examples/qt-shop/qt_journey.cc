#include "qt_journey.h"

#include <algorithm>
#include <map>
#include <memory>
#include <system_error>
#include <utility>

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QApplication>
#include <QImage>
#include <QPointer>
#include <QStyle>
#include <QStyleOptionButton>
#include <QStyleOptionSlider>
#include <QTest>
#include <QWebEnginePage>

#include "batch_summary.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/platform/platform.h"

namespace qtshop {
namespace {

using pelorin::JsonValue;
using pelorin::PelorinClient;

constexpr std::string_view kScoreClass = "PelorinClient.EngagementScoreListener";
constexpr std::string_view kRankingClass = "PelorinClient.EngagementRankingListener";

// Whether `image` shows more than one colour: a page that has been drawn.
bool hasContent(const QImage& image) {
  if (image.isNull()) return false;
  const QRgb first = image.pixel(0, 0);
  for (int y = 0; y < image.height(); y += 2) {
    for (int x = 0; x < image.width(); x += 2) {
      if (image.pixel(x, y) != first) return true;
    }
  }
  return false;
}

std::string twoDigits(int number) { return (number < 10 ? "0" : "") + std::to_string(number); }

}  // namespace

QtJourney::QtJourney(ShopWindow& window, demo::RecordingHttpClient& http,
                     const demo::DemoOutput& out, demo::JourneyState state,
                     std::filesystem::path screenshots, std::optional<int> lastStep)
    : _window(window),
      _http(http),
      _out(out),
      _state(std::move(state)),
      _screenshots(std::move(screenshots)),
      _lastStep(lastStep) {
  buildSteps();
}

void QtJourney::buildSteps() {
  SignUpScreen& signUp = *_window.signUp();
  _steps = {
      {"Opens the app on the home screen", [this] { open(_window.home()); }},
      {"Taps \"Shop trail shoes\": the product screen opens",
       [this] {
         // The button opens the product screen, which sends its page view.
         click(_window.home()->shopButton);
         _stepWasPageView = true;
         waitForNetwork([this] { return _window.pageViewAnswered(); });
       }},
      {"Taps \"Read reviews\"", [this] { click(_window.product()->reviewsButton); }},
      {"Taps \"Add to cart\"", [this] { click(_window.product()->addToCartButton); }},
      {R"(Taps "Save for later": the app sends its own event "wishlist")",
       [this] {
         click(_window.product()->wishlistButton);
         sendCustomEvent("wishlist", {"trail-running-shoes", "running"});
       }},
      {"Opens the sign-up screen", [this] { open(_window.signUp()); }},
      {"Types an e-mail address and a city",
       [this, &signUp] {
         typeInto(signUp.emailField, "jo@example.com");
         typeInto(signUp.cityField, "Utrecht");
       }},
      {"Switches the newsletter on, drags the budget slider to 150, picks shoe size 42",
       [this, &signUp] {
         // The window reports the values of these three controls, as a person's changes.
         click(signUp.newsletterSwitch);
         dragSlider(signUp.budgetSlider, {120, 140, 150});
         pick(signUp.sizePicker, "42");
       }},
      {"Taps \"Create account\"", [this, &signUp] { click(signUp.createAccountButton); }},
      {"Opens the checkout screen", [this] { open(_window.checkout()); }},
      {"Closes the lightbox", [this] { closeLightbox(); }},
      {"Taps \"Pay now\"", [this] { click(_window.checkout()->payButton); }},
      {"Restarts the app on the same storage folder and opens the home screen",
       [this] {
         restarted();
         open(_window.home());
       },
       true},
  };
}

QtJourney::Outcome QtJourney::run() {
  const int firstStep = _state.nextStep;
  while (_state.nextStep <= stepCount()) {
    const int number = _state.nextStep;
    if (_lastStep && number > *_lastStep) break;
    const Step& step = _steps[static_cast<std::size_t>(number - 1)];
    if (step.restartsTheApp && number != firstStep) {
      waitForNextSync();
      _out.line("");
      _out.line("The app closes; the library's files are current.");
      return Outcome::kRestart;
    }
    runStep(number, step);
    ++_state.nextStep;
  }
  return Outcome::kDone;
}

void QtJourney::runStep(int number, const Step& step) {
  _out.stepHeading(number, step.title);
  _stepNote.clear();
  _stepWasPageView = false;
  step.act();
  settle();
  // Send what the plug-ins recorded now instead of at the next sync, so each step shows
  // its own changes reaching the server.
  auto sent = std::make_shared<bool>(false);
  PelorinClient::getInstance().updateProfile([sent] { *sent = true; });
  waitForNetwork([sent] { return *sent; });
  report(number);
  saveScreenshot(number);
}

void QtJourney::click(QWidget* widget) {
  QPoint at = widget->rect().center();
  if (auto* box = qobject_cast<QCheckBox*>(widget)) {
    // A check box takes clicks on its box and its text only.
    QStyleOptionButton option;
    option.initFrom(box);
    at = box->style()->subElementRect(QStyle::SE_CheckBoxIndicator, &option, box).center();
  }
  QTest::mouseClick(widget, Qt::LeftButton, Qt::KeyboardModifiers(), at);
  settle();
}

void QtJourney::open(ShopScreen* screen) {
  _stepWasPageView = true;
  if (screen == _window.current() && !_window.pageViewAnswered()) {
    // The app starts on this screen: it sends the page view itself.
    _window.open(screen);
  } else {
    click(_window.navigationButton(screen));
  }
  waitForNetwork([this] { return _window.pageViewAnswered(); });
}

void QtJourney::typeInto(QLineEdit* field, const QString& text) {
  click(field);
  QTest::keyClicks(field, text);
  // Tab moves on to the next field: this one's editing ends.
  QTest::keyClick(field, Qt::Key_Tab);
  settle();
}

void QtJourney::dragSlider(QSlider* slider, const std::vector<int>& values) {
  QStyleOptionSlider option;
  option.initFrom(slider);
  option.orientation = slider->orientation();
  option.minimum = slider->minimum();
  option.maximum = slider->maximum();
  option.sliderPosition = slider->sliderPosition();
  option.sliderValue = slider->value();
  option.upsideDown = slider->invertedAppearance();
  option.subControls = QStyle::SC_All;
  QStyle* style = slider->style();
  const QRect groove =
      style->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderGroove, slider);
  const QRect handle =
      style->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderHandle, slider);
  const int span = groove.width() - handle.width();
  const int grabbedAt = handle.width() / 2;
  // The point where the handle, held at its middle, stands for `value`.
  auto pointFor = [&](int value) {
    for (int x = 0; x < slider->width(); ++x) {
      if (QStyle::sliderValueFromPosition(option.minimum, option.maximum,
                                          x - grabbedAt - groove.x(), span) == value) {
        return QPoint(x, handle.center().y());
      }
    }
    return handle.center();
  };
  QTest::mousePress(slider, Qt::LeftButton, Qt::KeyboardModifiers(),
                    QPoint(handle.x() + grabbedAt, handle.center().y()));
  for (int value : values) QTest::mouseMove(slider, pointFor(value));
  QTest::mouseRelease(slider, Qt::LeftButton, Qt::KeyboardModifiers(), pointFor(values.back()));
  settle();
}

void QtJourney::pick(QComboBox* picker, const QString& text) {
  click(picker);  // opens the list
  QAbstractItemView* list = picker->view();
  waitFor([list] { return list->isVisible(); }, "waiting for the list to open",
          std::chrono::seconds(5));
  // Down the list to the row, and Return takes it.
  const int row = picker->findText(text);
  for (int at = picker->currentIndex(); at < row; ++at) QTest::keyClick(list, Qt::Key_Down);
  for (int at = picker->currentIndex(); at > row; --at) QTest::keyClick(list, Qt::Key_Up);
  QTest::keyClick(list, Qt::Key_Return);
  settle();
}

void QtJourney::sendCustomEvent(const std::string& name, const std::vector<std::string>& context) {
  auto done = std::make_shared<bool>(false);
  PelorinClient::getInstance().createEvent(name, JsonValue::object({{"context", context}}),
                                           [done] { *done = true; });
  waitForNetwork([done] { return *done; });
}

void QtJourney::closeLightbox() {
  QWebEngineView* view = lightbox();
  QAbstractButton* close = nullptr;
  if (view != nullptr) {
    const auto buttons = view->findChildren<QAbstractButton*>();
    if (!buttons.isEmpty()) close = buttons.front();
  }
  if (close == nullptr) {
    _stepNote = "no lightbox is showing";
    return;
  }
  click(close);
  _out.field("lightbox", lightbox() != nullptr ? "still showing" : "closed with its close button");
}

void QtJourney::restarted() {
  _out.field("restart", "a new process; the library reads its folder back");
  _profile = readProfile();
  _out.profile("read back", _profile);
}

bool QtJourney::waitFor(const std::function<bool()>& done, const std::string& what,
                        std::chrono::seconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  _progress.start(what);
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) {
      _progress.finish();
      return false;
    }
    QTest::qWait(10);
    _progress.update();
  }
  _progress.finish();
  return true;
}

bool QtJourney::waitForNetwork(const std::function<bool()>& done) {
  constexpr auto kLimit = std::chrono::seconds(30);
  if (!waitFor([&] { return done() && _http.inFlight() == 0; }, "waiting for the server", kLimit)) {
    _out.field("network", "no answer after " + std::to_string(kLimit.count()) + " s; going on");
    return false;
  }
  settle();
  return true;
}

void QtJourney::waitForNextSync() {
  const auto interval = pelorin::Platform::current().syncInterval();
  const auto until = std::chrono::steady_clock::now() + interval + std::chrono::milliseconds(200);
  waitFor([&] { return std::chrono::steady_clock::now() >= until && _http.inFlight() == 0; },
          "waiting for the library's next sync", std::chrono::seconds(60));
  settle();
}

void QtJourney::settle() {
  for (int round = 0; round < 3; ++round) {
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
  }
}

QWebEngineView* QtJourney::lightbox() const {
  for (QWebEngineView* view : _window.current()->findChildren<QWebEngineView*>()) {
    if (view->isVisible()) return view;
  }
  return nullptr;
}

std::optional<std::string> QtJourney::waitForLightboxPage() {
  QWebEngineView* view = nullptr;
  if (!waitFor(
          [&] {
            view = lightbox();
            return view != nullptr;
          },
          "waiting for the lightbox", std::chrono::seconds(20))) {
    return std::nullopt;
  }
  // The browser engine loads and draws the page in processes of its own: ask for its text
  // until it has some, then wait until the window shows the page (its left half: the
  // close button is at the right).
  QString text;
  const QPointer<QWebEngineView> watched(view);
  waitFor(
      [&] {
        if (watched.isNull()) return true;
        auto answer = std::make_shared<std::optional<QString>>();
        watched->page()->toPlainText([answer](const QString& plain) { *answer = plain; });
        if (!QTest::qWaitFor([&] { return answer->has_value() || watched.isNull(); }, 2000)) {
          return false;
        }
        text = answer->value_or(QString()).simplified();
        return !text.isEmpty();
      },
      "reading the lightbox", std::chrono::seconds(20));
  waitFor(
      [&] {
        if (watched.isNull()) return true;
        const QRect left(0, 0, watched->width() / 2, watched->height() / 2);
        return hasContent(watched->grab(left).toImage());
      },
      "waiting for the lightbox to be drawn", std::chrono::seconds(20));
  return text.toStdString();
}

void QtJourney::report(int number) {
  std::vector<JsonValue> interactions;
  bool askedForInteractions = false;
  for (const demo::Exchange& exchange : _http.takeFinished()) {
    demo::BatchSummary summary = demo::summarise(exchange);
    _out.exchange(exchange, summary);
    _state.propertyNames.insert(summary.propertyNames.begin(), summary.propertyNames.end());
    askedForInteractions = askedForInteractions || summary.askedForInteractions;
    for (auto& interaction : summary.interactions) interactions.push_back(std::move(interaction));
  }
  if (_stepWasPageView) _watchingPlugins = 0;
  if (askedForInteractions) reportPlugins(interactions);

  if (_stepWasPageView) {
    bool startsALightbox = false;
    for (const JsonValue& interaction : interactions) {
      startsALightbox = startsALightbox || interaction.ref()["pluginClass"].stringView() ==
                                               "PelorinClient.FullscreenLightbox";
    }
    if (startsALightbox) {
      const std::optional<std::string> text = waitForLightboxPage();
      _out.field("lightbox", text ? "showing \"" + *text + "\"" : "did not show");
    }
    if (interactions.empty()) {
      _stepNote = "the server started no plug-ins on this screen";
    } else if (_watchingPlugins == 0) {
      _stepNote = "none of this screen's plug-ins is in this library";
    }
  } else if (_stepNote.empty() && _watchingPlugins == 0) {
    _stepNote = "no plug-in watches this screen";
  }
  if (!_stepNote.empty()) {
    _out.field("nothing", "to act on: " + _stepNote);
    _state.idleSteps.push_back(number);
  }

  demo::Profile now = readProfile();
  _out.profileChanges(_profile, now);
  _profile = std::move(now);

  std::vector<std::string> segments;
  for (const auto& segment : PelorinClient::getInstance().getSegments()) {
    segments.push_back(segment.getName());
  }
  _out.field("segments", segments.empty() ? "none" : demo::join(segments, ", "));
}

void QtJourney::reportPlugins(const std::vector<JsonValue>& interactions) {
  if (interactions.empty() && _stepWasPageView) {
    _out.field("plug-ins", "none for this screen");
    return;
  }
  for (const JsonValue& interaction : interactions) {
    const std::string className = interaction.ref()["pluginClass"].string();
    if (className == kScoreClass) _state.scoreInteraction = interaction;
    if (className == kRankingClass) _state.rankingInteraction = interaction;
    auto pluginClass = pelorin::RuntimeClasses::lookup(className);
    std::string text = className + " (" + interaction.ref()["id"].string() + ")";
    if (pluginClass && pluginClass->isPlugin()) {
      ++_watchingPlugins;
    } else {
      text += ": not in this library, skipped";
    }
    _out.field("plug-in", text);
  }
}

demo::Profile QtJourney::readProfile() const {
  demo::Profile profile;
  auto& client = PelorinClient::getInstance();
  for (const auto& name : _state.propertyNames) {
    auto values = client.getProfileValues(name);
    if (values && !values->empty()) profile.emplace(name, std::move(*values));
  }
  return profile;
}

void QtJourney::saveScreenshot(int number) {
  const std::filesystem::path file = _screenshots / ("step-" + twoDigits(number) + ".png");
  const bool saved = _window.grab().save(QString::fromStdString(file.string()), "PNG");
  _out.field("picture", saved ? file.filename().string() : "no screenshot: " + file.string());
}

void QtJourney::finish(const std::string& libraryFolder) {
  _out.line("");
  _out.line("The end");
  waitForNextSync();
  _out.profile("profile", readProfile());

  std::vector<std::string> idle;
  for (int step : _state.idleSteps) idle.push_back(std::to_string(step));
  _out.field("nothing", idle.empty() ? "every step had something to act on"
                                     : "to act on in steps " + demo::join(idle, ", "));

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
}

}  // namespace qtshop
