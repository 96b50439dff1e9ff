// The demo's scripted visit played on the Qt shop with real input (QTest clicks and key
// presses): the same steps as the headless demo, each reported the same way (what was sent
// and answered, the plug-ins the server started, the profile's and segments' changes),
// with a screenshot of the window after each step.
//
// Thread safety: Qt's GUI thread only.
#ifndef PELORIN_EXAMPLES_QT_SHOP_QT_JOURNEY_H_
#define PELORIN_EXAMPLES_QT_SHOP_QT_JOURNEY_H_

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <QWebEngineView>

#include "demo_output.h"
#include "journey_state.h"
#include "progress_line.h"
#include "recording_http_client.h"
#include "shop_window.h"

namespace qtshop {

class QtJourney {
 public:
  // Everything is borrowed and must outlive the journey. Screenshots go into
  // `screenshots`, "step-NN.png" per step. `lastStep` stops after that step.
  QtJourney(ShopWindow& window, demo::RecordingHttpClient& http, const demo::DemoOutput& out,
            demo::JourneyState state, std::filesystem::path screenshots,
            std::optional<int> lastStep);

  enum class Outcome {
    kDone,     // every step ran, or the last one asked for
    kRestart,  // the app must restart before the next step: state().nextStep
  };
  // Runs the steps from state().nextStep on; a run that starts at the restart step runs it
  // as the first thing the new process does.
  Outcome run();
  // The end: waits for the library's next sync, shows the profile and the files in
  // `libraryFolder`.
  void finish(const std::string& libraryFolder);

  const demo::JourneyState& state() const { return _state; }
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
  void click(QWidget* widget);
  void open(ShopScreen* screen);
  void typeInto(QLineEdit* field, const QString& text);
  void dragSlider(QSlider* slider, const std::vector<int>& values);
  void pick(QComboBox* picker, const QString& text);
  void sendCustomEvent(const std::string& name, const std::vector<std::string>& context);
  void closeLightbox();
  void restarted();

  // Runs Qt's event loop until `done` answers true and no request is in flight; false
  // after `limit`.
  bool waitFor(const std::function<bool()>& done, const std::string& what,
               std::chrono::seconds limit = std::chrono::seconds(30));
  bool waitForNetwork(const std::function<bool()>& done);
  // Waits one sync interval of the library, then for the requests it sent.
  void waitForNextSync();
  // Lets Qt deliver what is queued: plug-ins loading, events being delivered.
  static void settle();

  // The lightbox's web view over the current screen, if one is showing.
  QWebEngineView* lightbox() const;
  // Waits until the lightbox's page has loaded and been drawn; its text.
  std::optional<std::string> waitForLightboxPage();

  void report(int number);
  void reportPlugins(const std::vector<pelorin::JsonValue>& interactions);
  demo::Profile readProfile() const;
  void saveScreenshot(int number);

  ShopWindow& _window;
  demo::RecordingHttpClient& _http;
  const demo::DemoOutput& _out;
  demo::JourneyState _state;
  std::filesystem::path _screenshots;
  std::optional<int> _lastStep;
  demo::ProgressLine _progress;
  std::vector<Step> _steps;

  demo::Profile _profile;    // as shown after the previous step
  int _watchingPlugins = 0;  // plug-ins the server started for the current screen
  std::string _stepNote;     // why the current step had nothing to act on, if it had not
  bool _stepWasPageView = false;
};

}  // namespace qtshop

#endif  // PELORIN_EXAMPLES_QT_SHOP_QT_JOURNEY_H_
