// pelorin-demo: a small headless shop app that links the Pelorin client library like any
// application, walks a scripted visit through its screens and shows, step by step, what
// the library sent, what the server answered and what became of the visitor's profile.
//
//   pelorin-demo                      # against the embedded devserver, fresh storage
//   pelorin-demo --server http://127.0.0.1:41327/ --storage /tmp/shop --debug

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "app_processes.h"
#include "demo_output.h"
#include "devserver/dev_server.h"
#include "journey.h"
#include "journey_state.h"
#include "pelorin/headless/headless_ui.h"
#include "pelorin/json_value.h"
#include "pelorin/platform/curl_http_client.h"
#include "pelorin/platform/headless.h"
#include "pelorin/platform/main_loop.h"
#include "pelorin/platform/platform.h"
#include "recording_http_client.h"

namespace {

using pelorin::JsonValue;

struct Options {
  std::string server;
  std::string storage;
  std::string appId = "com.example.trailhead";
  bool debug = false;
  bool verbose = false;
  int steps = 0;  // 0: all
  std::string resume;
  std::string handOver;
};

// The services the demo reaches again after installing them.
struct Services {
  pelorin::platform::MainLoop* loop = nullptr;
  pelorin::headless::HeadlessUi* ui = nullptr;
  demo::RecordingHttpClient* http = nullptr;
};

JsonValue text(const std::string& value) { return JsonValue(value); }

Services installPlatform(const Options& options, const std::string& serverUrl) {
  auto bundle = std::make_unique<pelorin::platform::HeadlessBundle>();
  bundle->set("pl_server_url", text(serverUrl));
  bundle->set("pl_debug", JsonValue(options.debug));
  bundle->set("CFBundleIdentifier", text(options.appId));
  bundle->set("CFBundleExecutable", text("pelorin-demo"));
  bundle->set("CFBundleDisplayName", text("Trailhead"));
  bundle->set("CFBundleShortVersionString", text("1.4.0"));

  auto platform = std::make_unique<pelorin::Platform>();
  platform->setBundle(std::move(bundle));
  platform->setFileSystem(std::make_unique<pelorin::platform::PosixFileSystem>(options.storage));
  // The demo plays a phone, so its profile reads like one from the field and is the same
  // on every machine.
  platform->setDevice(
      std::make_unique<pelorin::platform::HeadlessDevice>("iOS", "17.4", "iPhone15,2"));

  Services services;
  auto loop = std::make_unique<pelorin::platform::MainLoop>();
  services.loop = loop.get();
  platform->setMainThread(std::move(loop));
  auto ui = std::make_unique<pelorin::headless::HeadlessUi>();
  services.ui = ui.get();
  platform->setUi(std::move(ui));
  // The library keeps the server's cookie in its own folder, so the server still knows the
  // visitor after the restart.
  const auto cookieFile = std::filesystem::path(options.storage) / "pelorin" / "plcookies.data";
  auto http = std::make_unique<demo::RecordingHttpClient>(
      std::make_unique<pelorin::platform::CurlHttpClient>(cookieFile));
  services.http = http.get();
  platform->setHttpClient(std::move(http));
  pelorin::Platform::install(std::move(platform));
  return services;
}

// Runs the journey in app processes of this program, one after the other.
int runJourney(const Options& options, const std::string& serverUrl) {
  std::vector<std::string> arguments{"--server",      serverUrl,  "--storage",
                                     options.storage, "--app-id", options.appId};
  if (options.debug) arguments.emplace_back("--debug");
  if (options.verbose) arguments.emplace_back("--verbose");
  if (options.steps > 0) {
    arguments.emplace_back("--steps");
    arguments.push_back(std::to_string(options.steps));
  }
  return demo::runJourneyInAppProcesses(
      "pelorin-demo", arguments,
      (std::filesystem::path(options.storage) / "pelorin-demo-journey.json").string());
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{
      "Pelorin demo: a headless shop app that links the Pelorin client library and shows, "
      "step by step, what the library and its plug-ins do during a visit."};
  Options options;
  app.add_option("--server", options.server,
                 "Talk to the server at URL instead of the embedded devserver");
  app.add_option("--storage", options.storage,
                 "Folder for the library's files (default: a fresh temporary folder)");
  app.add_flag("--debug", options.debug, "Turn on the library's own log lines (\"pl_debug\")");
  app.add_option("--app-id", options.appId, "Bundle identifier of the app")->capture_default_str();
  app.add_option("--steps", options.steps, "Stop after N steps")->check(CLI::PositiveNumber);
  app.add_flag("--verbose", options.verbose, "Show every batch and answer in full");
  // An app process of the journey: its state, and where it leaves the state when the app
  // must restart. Not for people.
  app.add_option("--resume", options.resume)->group("");
  app.add_option("--hand-over", options.handOver)->group("");
  CLI11_PARSE(app, argc, argv);

  demo::JourneyState state;
  if (!options.resume.empty()) {
    auto resumed = demo::JourneyState::decode(options.resume);
    if (!resumed) {
      std::fprintf(stderr, "pelorin-demo: --resume: not a journey state\n");
      return 2;
    }
    state = std::move(*resumed);
  }

  bool freshFolder = false;
  if (options.storage.empty()) {
    auto folder = demo::makeTemporaryFolder("pelorin-demo");
    if (!folder) {
      std::fprintf(stderr, "pelorin-demo: cannot make a temporary folder\n");
      return 1;
    }
    options.storage = *folder;
    freshFolder = true;
  }

  std::unique_ptr<pelorin::devserver::DevServer> embedded;
  std::string serverUrl = options.server;
  if (serverUrl.empty()) {
    embedded = demo::startEmbeddedDevServer("pelorin-demo");
    if (!embedded) return 1;
    serverUrl = embedded->baseUrl() + "/";
  }

  const demo::DemoOutput out(options.verbose);
  if (options.resume.empty()) {
    out.line("Pelorin demo: the Trailhead shop, a headless app on the Pelorin client library");
    out.field("app id", options.appId);
    out.field("server",
              serverUrl + (embedded ? " (the embedded devserver with demo_config.json)" : ""));
    out.field("storage", options.storage + (freshFolder ? " (a fresh folder)" : ""));
  }

  if (options.resume.empty()) return runJourney(options, serverUrl);

  const Services services = installPlatform(options, serverUrl);
  demo::Journey journey(*services.loop, *services.ui, *services.http, out, std::move(state),
                        options.steps > 0 ? std::optional<int>(options.steps) : std::nullopt);
  if (journey.run() == demo::Journey::Outcome::kRestart) {
    if (!demo::handOverState(options.handOver, journey.state())) {
      std::fprintf(stderr, "pelorin-demo: cannot hand the journey over to the restarted app\n");
      return 1;
    }
    return demo::kRestartStatus;
  }
  journey.finish((std::filesystem::path(options.storage) / "pelorin").string());
  return 0;
}
