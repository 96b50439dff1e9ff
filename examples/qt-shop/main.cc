// pelorin-qt-shop: the demo's shop as a Qt Widgets app on the Pelorin client library.
//
//   pelorin-qt-shop                 # a window a person uses, against the embedded devserver
//   pelorin-qt-shop --script        # plays the demo's journey with real input, a screenshot
//                                   # per step, then shows what the server received
//   pelorin-qt-shop --server http://127.0.0.1:41327/ --storage /tmp/shop --debug

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <QApplication>
#include <QLoggingCategory>
#include <QTest>

#include "app_processes.h"
#include "demo_output.h"
#include "devserver/dev_server.h"
#include "journey_state.h"
#include "pelorin/json_value.h"
#include "pelorin/platform/curl_http_client.h"
#include "pelorin/platform/headless.h"
#include "pelorin/platform/platform.h"
#include "qt_journey.h"
#include "recording_http_client.h"
#include "server_report.h"
#include "shop_library.h"
#include "shop_window.h"

namespace {

using pelorin::JsonValue;

struct Options {
  bool script = false;
  std::string server;
  std::string storage;
  std::string screenshots;
  std::string appId = "com.example.trailhead";
  bool debug = false;
  bool verbose = false;
  int steps = 0;  // 0: all
  std::string resume;
  std::string handOver;
};

// The library's platform for this app: the shop's information dictionary, its storage
// folder, libcurl HTTP recorded for the report, and the Qt toolkit. Answers the recording
// HTTP client.
demo::RecordingHttpClient& installPlatform(const Options& options, const std::string& serverUrl) {
  auto bundle = std::make_unique<pelorin::platform::HeadlessBundle>();
  bundle->set("pl_server_url", JsonValue(serverUrl));
  bundle->set("pl_debug", JsonValue(options.debug));
  bundle->set("CFBundleIdentifier", JsonValue(options.appId));
  bundle->set("CFBundleExecutable", JsonValue("pelorin-qt-shop"));
  bundle->set("CFBundleDisplayName", JsonValue("Trailhead"));
  bundle->set("CFBundleShortVersionString", JsonValue("1.4.0"));

  auto platform = std::make_unique<pelorin::Platform>();
  platform->setBundle(std::move(bundle));
  platform->setFileSystem(std::make_unique<pelorin::platform::PosixFileSystem>(options.storage));
  // The library keeps the server's cookie in its own folder, so the server still knows the
  // visitor after a restart.
  const auto cookieFile = std::filesystem::path(options.storage) / "pelorin" / "plcookies.data";
  auto http = std::make_unique<demo::RecordingHttpClient>(
      std::make_unique<pelorin::platform::CurlHttpClient>(cookieFile));
  demo::RecordingHttpClient& recording = *http;
  platform->setHttpClient(std::move(http));
  qtshop::installToolkit(*platform);
  pelorin::Platform::install(std::move(platform));
  return recording;
}

// The browser engine describes its set-up on standard error at start; the shop's own lines
// matter more.
void quietBrowserEngine() { QLoggingCategory::setFilterRules("qt.webenginecontext=false"); }

// Runs the journey in app processes of this program, one after the other.
int runJourney(const Options& options, const std::string& serverUrl) {
  std::vector<std::string> arguments{"--script",    "--server",      serverUrl,
                                     "--storage",   options.storage, "--app-id",
                                     options.appId, "--screenshots", options.screenshots};
  if (options.debug) arguments.emplace_back("--debug");
  if (options.verbose) arguments.emplace_back("--verbose");
  if (options.steps > 0) {
    arguments.emplace_back("--steps");
    arguments.push_back(std::to_string(options.steps));
  }
  return demo::runJourneyInAppProcesses(
      "pelorin-qt-shop", arguments,
      (std::filesystem::path(options.storage) / "pelorin-qt-shop-journey.json").string());
}

// One app process: the window, and the journey from the state it was handed.
int runAppProcess(int argc, char** argv, const Options& options, demo::JourneyState state) {
  QApplication app(argc, argv);
  quietBrowserEngine();
  demo::RecordingHttpClient& http = installPlatform(options, options.server);
  qtshop::ShopWindow window;
  window.show();
  // Keyboard focus, and so the end of a field's editing, needs the active window.
  if (!QTest::qWaitForWindowExposed(&window)) {
    std::fprintf(stderr, "pelorin-qt-shop: the window was not shown\n");
  }
  window.activateWindow();
  if (!QTest::qWaitForWindowActive(&window)) {
    std::fprintf(stderr, "pelorin-qt-shop: the window did not become active\n");
  }
  const demo::DemoOutput out(options.verbose);
  qtshop::QtJourney journey(window, http, out, std::move(state), options.screenshots,
                            options.steps > 0 ? std::optional<int>(options.steps) : std::nullopt);
  if (journey.run() == qtshop::QtJourney::Outcome::kRestart) {
    if (!demo::handOverState(options.handOver, journey.state())) {
      std::fprintf(stderr, "pelorin-qt-shop: cannot hand the journey over to the restarted app\n");
      return 1;
    }
    return demo::kRestartStatus;
  }
  journey.finish((std::filesystem::path(options.storage) / "pelorin").string());
  return 0;
}

// The window for a person: the shop opens on its home screen and runs until closed.
int runForAPerson(int argc, char** argv, const Options& options, const std::string& serverUrl) {
  QApplication app(argc, argv);
  quietBrowserEngine();
  installPlatform(options, serverUrl);
  qtshop::ShopWindow window;
  window.show();
  window.open(window.home());
  return QApplication::exec();
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App cli{
      "Pelorin Qt shop: the demo's shop as a Qt Widgets app on the Pelorin client library. "
      "Without --script it opens a window to use; with --script it plays the demo's journey."};
  Options options;
  cli.add_flag("--script", options.script,
               "Play the demo's journey with real input, a screenshot per step");
  cli.add_option("--server", options.server,
                 "Talk to the server at URL instead of the embedded devserver");
  cli.add_option("--storage", options.storage,
                 "Folder for the library's files (default: a fresh temporary folder)");
  cli.add_option("--screenshots", options.screenshots,
                 "Folder for the journey's screenshots (default: a fresh temporary folder)");
  cli.add_flag("--debug", options.debug, "Turn on the library's own log lines (\"pl_debug\")");
  cli.add_option("--app-id", options.appId, "Bundle identifier of the app")->capture_default_str();
  cli.add_option("--steps", options.steps, "Stop after N steps")->check(CLI::PositiveNumber);
  cli.add_flag("--verbose", options.verbose, "Show every batch and answer in full");
  // An app process of the journey: its state, and where it leaves the state when the app
  // must restart. Not for people.
  cli.add_option("--resume", options.resume)->group("");
  cli.add_option("--hand-over", options.handOver)->group("");
  CLI11_PARSE(cli, argc, argv);

  // The browser engine of the lightbox refuses to run as root inside its sandbox.
  if (::geteuid() == 0 && qEnvironmentVariableIsEmpty("QTWEBENGINE_DISABLE_SANDBOX")) {
    qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
  }
  QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);

  if (!options.resume.empty()) {
    auto state = demo::JourneyState::decode(options.resume);
    if (!state) {
      std::fprintf(stderr, "pelorin-qt-shop: --resume: not a journey state\n");
      return 2;
    }
    return runAppProcess(argc, argv, options, std::move(*state));
  }

  bool freshFolder = false;
  if (options.storage.empty()) {
    auto folder = demo::makeTemporaryFolder("pelorin-qt-shop");
    if (!folder) {
      std::fprintf(stderr, "pelorin-qt-shop: cannot make a temporary folder\n");
      return 1;
    }
    options.storage = *folder;
    freshFolder = true;
  }

  std::unique_ptr<pelorin::devserver::DevServer> embedded;
  std::string serverUrl = options.server;
  if (serverUrl.empty()) {
    embedded = demo::startEmbeddedDevServer("pelorin-qt-shop");
    if (!embedded) return 1;
    serverUrl = embedded->baseUrl() + "/";
  }

  if (!options.script) {
    std::printf("Pelorin Qt shop: server %s, storage %s\n", serverUrl.c_str(),
                options.storage.c_str());
    if (embedded) std::printf("inspector: %s\n", embedded->inspectorUrl().c_str());
    std::fflush(stdout);
    return runForAPerson(argc, argv, options, serverUrl);
  }

  if (options.screenshots.empty()) {
    auto folder = demo::makeTemporaryFolder("pelorin-qt-shop-screenshots");
    if (!folder) {
      std::fprintf(stderr, "pelorin-qt-shop: cannot make a folder for the screenshots\n");
      return 1;
    }
    options.screenshots = *folder;
  }
  std::error_code error;
  std::filesystem::create_directories(options.screenshots, error);

  const demo::DemoOutput out(options.verbose);
  out.line("Pelorin Qt shop: the Trailhead shop, a Qt Widgets app on the Pelorin client library");
  out.field("app id", options.appId);
  out.field("server",
            serverUrl + (embedded ? " (the embedded devserver with demo_config.json)" : ""));
  out.field("storage", options.storage + (freshFolder ? " (a fresh folder)" : ""));
  out.field("pictures", options.screenshots);

  const auto started = std::chrono::steady_clock::now();
  const int status = runJourney(options, serverUrl);
  const auto took = std::chrono::duration<double>(std::chrono::steady_clock::now() - started);
  qtshop::reportServer(out, serverUrl);
  out.line("");
  std::ostringstream seconds;
  seconds << std::fixed << std::setprecision(1) << took.count() << " s";
  out.field("took", seconds.str());
  out.field("pictures", options.screenshots);
  return status;
}
