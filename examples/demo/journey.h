// The scripted visit to the shop: the user opens screens, taps, types, closes a lightbox,
// and the app restarts. After each step the demo shows what the library sent and heard,
// which plug-ins the server started, and how the profile and the segments changed.
//
// Thread safety: main thread only (the thread that drives the main loop).
#ifndef PELORIN_EXAMPLES_DEMO_JOURNEY_H_
#define PELORIN_EXAMPLES_DEMO_JOURNEY_H_

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "demo_output.h"
#include "journey_state.h"
#include "pelorin/event.h"
#include "pelorin/headless/headless_ui.h"
#include "pelorin/platform/main_loop.h"
#include "progress_line.h"
#include "recording_http_client.h"
#include "shop_screens.h"

namespace demo {

class Journey {
 public:
  // Everything is borrowed and must outlive the journey. `lastStep` stops the journey
  // after that step (--steps).
  Journey(pelorin::platform::MainLoop& loop, pelorin::headless::HeadlessUi& ui,
          RecordingHttpClient& http, const DemoOutput& out, JourneyState state,
          std::optional<int> lastStep);

  enum class Outcome {
    kDone,     // every step ran, or the last one asked for
    kRestart,  // the app must restart before the next step: state().nextStep
  };
  // Runs the steps from state().nextStep on. A run that starts at the restart step runs it
  // as the first thing the new process does.
  Outcome run();
  // The end: waits for the library's next tick, shows the profile, the files in
  // `libraryFolder` and the values the server derived.
  void finish(const std::string& libraryFolder);

  const JourneyState& state() const { return _state; }
  int stepCount() const { return static_cast<int>(_steps.size()); }

 private:
  struct Step {
    std::string title;
    std::function<void()> act;
    bool restartsTheApp = false;
  };

  void buildSteps();
  void runStep(int number, const Step& step);

  // The user's actions.
  void open(const std::shared_ptr<ShopScreen>& screen);
  void sendCustomEvent(const std::string& name, const std::vector<std::string>& context);
  void closeLightbox();
  // Publishes an event the app makes itself, as a view without text reports its value.
  static void reportValues(std::shared_ptr<pelorin::Event> event);
  void restarted();

  // Waits (driving the main loop) until `done` is set and no request is in flight;
  // false after `limit`.
  bool waitForNetwork(const std::shared_ptr<bool>& done,
                      std::chrono::seconds limit = std::chrono::seconds(30));
  void waitForNextTick();
  // Runs the main loop's ready work: plug-ins loading, events being delivered.
  void settle();

  // What the step did: its exchanges, plug-ins, profile and segments.
  void report(int number);
  void noteNothingToActOn(int number, const std::string& why);
  void reportPlugins(const std::vector<pelorin::JsonValue>& interactions);
  Profile readProfile() const;
  void reportDerived(const std::string& what, const std::string& className,
                     const std::optional<pelorin::JsonValue>& interaction,
                     const std::optional<std::string>& property);

  pelorin::platform::MainLoop& _loop;
  pelorin::headless::HeadlessUi& _ui;
  RecordingHttpClient& _http;
  const DemoOutput& _out;
  JourneyState _state;
  std::optional<int> _lastStep;
  ProgressLine _progress;
  std::vector<Step> _steps;

  std::shared_ptr<HomeScreen> _home;
  std::shared_ptr<ProductScreen> _product;
  std::shared_ptr<SignUpScreen> _signUp;
  std::shared_ptr<CheckoutScreen> _checkout;
  std::shared_ptr<ShopScreen> _current;

  Profile _profile;          // as shown after the previous step
  int _watchingPlugins = 0;  // plug-ins the server started for the current screen
  std::string _stepNote;     // why the current step had nothing to act on, if it had not
  bool _stepWasPageView = false;
};

}  // namespace demo

#endif  // PELORIN_EXAMPLES_DEMO_JOURNEY_H_
