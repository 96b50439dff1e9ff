#include "pelorin/platform/platform.h"

#include <atomic>
#include <mutex>
#include <vector>

#include "config/constants.h"
#include "pelorin/platform/curl_http_client.h"
#include "pelorin/platform/headless.h"
#include "pelorin/platform/headless_ui.h"
#include "pelorin/platform/main_loop.h"
#include "platform/library_folder.h"

namespace pelorin {
namespace {

std::atomic<Platform*> gCurrent{nullptr};

// Platforms replaced by install() are kept, never destroyed: a thread of the library may
// still be using one, and the library lives as long as the process.
std::mutex& retiredMutex() {
  static auto* mutex = new std::mutex;
  return *mutex;
}

std::vector<std::unique_ptr<Platform>>& retired() {
  static auto* platforms = new std::vector<std::unique_ptr<Platform>>;
  return *platforms;
}

// The cookie file lives in the library's folder, which the host's file system names only
// once it is set up: asked at the first request.
std::optional<std::filesystem::path> defaultCookieFile() {
  auto folder = platform::libraryFolder();
  if (!folder) return std::nullopt;
  return std::filesystem::path(*folder) / Constants::Files::COOKIES;
}

}  // namespace

Platform::Platform()
    : _bundle(std::make_unique<platform::HeadlessBundle>()),
      _clock(std::make_unique<platform::SystemClock>()),
      _console(std::make_unique<platform::StdoutConsole>()),
      _device(std::make_unique<platform::PosixDevice>()),
      _mainThread(std::make_unique<platform::MainLoop>()),
      _ui(std::make_unique<platform::HeadlessUi>()),
      _fileSystem(std::make_unique<platform::PosixFileSystem>()),
      _httpClient(std::make_unique<platform::CurlHttpClient>(
          platform::CurlHttpClient::CookieFileLocator(&defaultCookieFile))),
      _reachability(std::make_unique<platform::PosixReachability>()) {}

Platform::~Platform() = default;

void Platform::setBundle(std::unique_ptr<platform::Bundle> bundle) { _bundle = std::move(bundle); }
void Platform::setClock(std::unique_ptr<platform::Clock> clock) { _clock = std::move(clock); }
void Platform::setConsole(std::unique_ptr<platform::Console> console) {
  _console = std::move(console);
}
void Platform::setDevice(std::unique_ptr<platform::Device> device) { _device = std::move(device); }
void Platform::setMainThread(std::unique_ptr<platform::MainThread> mainThread) {
  _mainThread = std::move(mainThread);
}
void Platform::setUi(std::unique_ptr<platform::Ui> ui) { _ui = std::move(ui); }
void Platform::setFileSystem(std::unique_ptr<platform::FileSystem> fileSystem) {
  _fileSystem = std::move(fileSystem);
}
void Platform::setHttpClient(std::unique_ptr<platform::HttpClient> httpClient) {
  _httpClient = std::move(httpClient);
}
void Platform::setReachability(std::unique_ptr<platform::Reachability> reachability) {
  _reachability = std::move(reachability);
}

Platform& Platform::current() {
  Platform* platform = gCurrent.load(std::memory_order_acquire);
  if (platform != nullptr) return *platform;
  std::lock_guard<std::mutex> lock(retiredMutex());
  platform = gCurrent.load(std::memory_order_acquire);
  if (platform == nullptr) {
    retired().push_back(std::make_unique<Platform>());
    platform = retired().back().get();
    gCurrent.store(platform, std::memory_order_release);
  }
  return *platform;
}

void Platform::install(std::unique_ptr<Platform> platform) {
  std::lock_guard<std::mutex> lock(retiredMutex());
  retired().push_back(std::move(platform));
  gCurrent.store(retired().back().get(), std::memory_order_release);
}

}  // namespace pelorin
