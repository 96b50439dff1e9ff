// What the fuzz drivers share: a platform that logs nothing, keeps its files in memory and
// answers every HTTP request at once with a body the driver sets, so a driver can take the
// client through a whole exchange thousands of times a second.
//
// Thread safety: every class here may be used from any thread.
#ifndef PELORIN_FUZZ_FUZZ_SUPPORT_H_
#define PELORIN_FUZZ_FUZZ_SUPPORT_H_

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "json/json_value_access.h"
#include "pelorin/headless/toolkit.h"
#include "pelorin/json_value.h"
#include "pelorin/platform/file_system.h"
#include "pelorin/platform/headless.h"
#include "pelorin/platform/http.h"
#include "pelorin/platform/main_loop.h"
#include "pelorin/platform/platform.h"
#include "pelorin/platform/reachability.h"
#include "storage/pelorin_data_manager.h"

namespace pelorin::fuzzing {

// The package name the drivers' bundle declares (and so the simulator link's scheme).
inline constexpr std::string_view kPackageName = "com.example.shop";

// Log lines are built (debug mode is on, so the formatting runs) and dropped.
class NullConsole : public platform::Console {
 public:
  void writeLine(std::string_view /*line*/) override {}
};

class FixedReachability : public platform::Reachability {
 public:
  explicit FixedReachability(bool online) : _online(online) {}
  std::optional<platform::ReachabilityFlags> flags() const override {
    if (!_online) return std::nullopt;
    return platform::ReachabilityFlags{.reachable = true, .connectionRequired = false};
  }

 private:
  bool _online;
};

// Answers every request on the caller's thread with the status and body last served, from
// the URL it was sent to (so no redirect is seen unless the status asks for one).
class ServingHttp : public platform::HttpClient {
 public:
  void serve(int status, std::string body) {
    std::lock_guard<std::mutex> lock(_mutex);
    _status = status;
    _body = std::move(body);
  }
  std::size_t requestCount() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _requests;
  }

  void send(platform::HttpRequest request, Completion completion) override {
    platform::HttpResult result;
    {
      std::lock_guard<std::mutex> lock(_mutex);
      ++_requests;
      result.response =
          platform::HttpResponse{.statusCode = _status, .url = request.url, .headers = {}};
      result.data = _body;
    }
    completion(std::move(result));
  }
  platform::CookieAcceptPolicy cookieAcceptPolicy() const override {
    std::lock_guard<std::mutex> lock(_mutex);
    return _policy;
  }
  void setCookieAcceptPolicy(platform::CookieAcceptPolicy policy) override {
    std::lock_guard<std::mutex> lock(_mutex);
    _policy = policy;
  }

 private:
  mutable std::mutex _mutex;
  int _status = 200;
  std::string _body = "[]";
  std::size_t _requests = 0;
  platform::CookieAcceptPolicy _policy = platform::CookieAcceptPolicy::kAlways;
};

// Files in memory: the posix file system syncs every write to disk, which would bound a
// driver to a few hundred runs a second.
class MemoryFileSystem : public platform::FileSystem {
 public:
  static constexpr std::string_view kDocuments = "/fuzz/documents";

  platform::FileStatus documentsDirectory(std::string* path) override {
    *path = std::string(kDocuments);
    return platform::FileStatus::ok();
  }
  platform::FileStatus createDirectories(const std::string& /*path*/) override {
    return platform::FileStatus::ok();
  }
  platform::FileStatus readFile(const std::string& path, std::string* contents) override {
    std::lock_guard<std::mutex> lock(_mutex);
    auto found = _files.find(path);
    if (found == _files.end()) return platform::FileStatus::notFound(path);
    *contents = found->second;
    return platform::FileStatus::ok();
  }
  platform::FileStatus listDirectory(const std::string& path,
                                     std::vector<std::string>* names) override {
    std::lock_guard<std::mutex> lock(_mutex);
    names->clear();
    const std::string prefix = path + "/";
    for (const auto& [name, contents] : _files) {
      if (name.starts_with(prefix) && name.find('/', prefix.size()) == std::string::npos) {
        names->push_back(name.substr(prefix.size()));
      }
    }
    return platform::FileStatus::ok();
  }
  platform::FileStatus removeFile(const std::string& path) override {
    std::lock_guard<std::mutex> lock(_mutex);
    if (_files.erase(path) == 0) return platform::FileStatus::notFound(path);
    return platform::FileStatus::ok();
  }
  platform::FileStatus renameFile(const std::string& from, const std::string& to) override {
    std::lock_guard<std::mutex> lock(_mutex);
    auto found = _files.find(from);
    if (found == _files.end()) return platform::FileStatus::notFound(from);
    std::string contents = std::move(found->second);
    _files.erase(found);
    _files[to] = std::move(contents);
    return platform::FileStatus::ok();
  }
  platform::FileStatus writeFileAtomically(const std::string& path,
                                           std::string_view contents) override {
    std::lock_guard<std::mutex> lock(_mutex);
    _files[path] = std::string(contents);
    return platform::FileStatus::ok();
  }

 private:
  std::mutex _mutex;
  std::map<std::string, std::string> _files;
};

// The services a driver installed, borrowed from the current platform (which lives for the
// process).
struct FuzzPlatform {
  platform::MainLoop* mainLoop = nullptr;
  ServingHttp* http = nullptr;
  MemoryFileSystem* files = nullptr;
};

// Installs a platform with debug logging on (to a null console), a pinned clock
// (2024-05-01 13:02:11 UTC, one hour east), a main loop driven by the calling thread,
// memory files, the serving HTTP client and a network that is there when `online`.
inline FuzzPlatform installFuzzPlatform(bool online) {
  FuzzPlatform services;
  auto installed = std::make_unique<Platform>();
  auto bundle = std::make_unique<platform::HeadlessBundle>();
  bundle->set("pl_debug", JsonValue(true));
  bundle->set("pl_server_url", JsonValue("https://fuzz.example.com"));
  bundle->set("CFBundleIdentifier", JsonValue(boost::json::string(kPackageName)));
  bundle->set("CFBundleExecutable", JsonValue("Shop App"));
  auto clock = std::make_unique<platform::PinnedClock>(
      platform::Clock::TimePoint(std::chrono::seconds(1714568531)), 3600, "en_US");
  auto loop = std::make_unique<platform::MainLoop>(clock.get());
  auto http = std::make_unique<ServingHttp>();
  auto files = std::make_unique<MemoryFileSystem>();
  services.mainLoop = loop.get();
  services.http = http.get();
  services.files = files.get();
  installed->setBundle(std::move(bundle));
  installed->setClock(std::move(clock));
  installed->setConsole(std::make_unique<NullConsole>());
  installed->setMainThread(std::move(loop));
  installed->setReachability(std::make_unique<FixedReachability>(online));
  installed->setHttpClient(std::move(http));
  installed->setFileSystem(std::move(files));
  Platform::install(std::move(installed));
  return services;
}

// The offline fuzz platform of the process, installed on the first call.
inline FuzzPlatform& offlineFuzzPlatform() {
  static auto* installed = new FuzzPlatform(installFuzzPlatform(/*online=*/false));
  return *installed;
}

// Where the data manager keeps a stored file of this name on the memory file system.
inline std::string storedFilePath(std::string_view fileName) {
  return std::string(MemoryFileSystem::kDocuments) + "/" +
         std::string(PelorinDataManager::FOLDER_NAME) + "/" + std::string(fileName);
}

// A checkout screen for the plug-ins an answer may start: a banner with two labels
// (outlet "banner"), a total label, a buy button ("buyButton"), an e-mail field
// ("emailField"), a newsletter switch ("newsletterSwitch") and a submit button
// ("submitButton").
struct ShopScreen {
  ShopScreen() {
    banner->addSubview(std::make_shared<headless::Label>("Spring sale"));
    banner->addSubview(std::make_shared<headless::Label>("20% off"));
    // Text in several scripts, and one that is not UTF-8, for the Unicode word tests.
    banner->addSubview(std::make_shared<headless::Label>("ÉTÉ SALE \u00a0Ωμέγα İSTANBUL 東京 🎉"));
    banner->addSubview(std::make_shared<headless::Label>("Caf\xe9 \xf0\x9f"));
    add("banner", banner);
    controller->view()->addSubview(std::make_shared<headless::Label>("Total: 25 EUR"));
    add("buyButton", buy);
    add("emailField", email);
    add("newsletterSwitch", newsletter);
    add("submitButton", submit);
  }
  void add(const std::string& outlet, const std::shared_ptr<headless::View>& view) {
    controller->view()->addSubview(view);
    controller->addOutlet(outlet, view);
  }
  // Taps, types and submits, so plug-ins attached to the screen see some traffic.
  void use() const {
    buy->tap();
    email->beginEditing();
    email->typeText("ann@example.com");
    email->endEditing();
    newsletter->tap();
    submit->tap();
  }

  std::shared_ptr<headless::ViewController> controller =
      std::make_shared<headless::ViewController>("Checkout");
  std::shared_ptr<headless::View> banner = std::make_shared<headless::View>();
  std::shared_ptr<headless::Button> buy = std::make_shared<headless::Button>("Buy");
  std::shared_ptr<headless::TextField> email = std::make_shared<headless::TextField>("");
  std::shared_ptr<headless::Switch> newsletter = std::make_shared<headless::Switch>();
  std::shared_ptr<headless::Button> submit = std::make_shared<headless::Button>("Send");
};

}  // namespace pelorin::fuzzing

#endif  // PELORIN_FUZZ_FUZZ_SUPPORT_H_
