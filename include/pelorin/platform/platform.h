// The one seam between the library and the outside world: every service of the operating
// system or the host's toolkit is reached through the `Platform` installed here.
//
// Install a platform once, before the client is first used; without one the library uses
// the default posix/headless services.
//
//   auto platform = std::make_unique<pelorin::Platform>();
//   platform->setBundle(std::make_unique<pelorin::platform::HeadlessBundle>(info));
//   pelorin::Platform::install(std::move(platform));
//
// A host drives the main loop from its main thread; keep a reference to the one installed:
//
//   auto loop = std::make_unique<pelorin::platform::MainLoop>();
//   pelorin::platform::MainLoop& mainLoop = *loop;
//   platform->setMainThread(std::move(loop));
//   ...
//   mainLoop.run();
//
// Thread safety: `current()` may be called from any thread. `install()` and the setters are
// meant for start-up: a platform replaced by `install()` is kept alive for the rest of the
// process, so a thread still holding it never sees it destroyed.
#ifndef PELORIN_PLATFORM_PLATFORM_H_
#define PELORIN_PLATFORM_PLATFORM_H_

#include <chrono>
#include <memory>

#include "pelorin/export.h"
#include "pelorin/platform/file_system.h"
#include "pelorin/platform/http.h"
#include "pelorin/platform/main_thread.h"
#include "pelorin/platform/reachability.h"
#include "pelorin/platform/services.h"
#include "pelorin/platform/ui.h"

namespace pelorin {

class PELORIN_EXPORT Platform {
 public:
  // A platform with the default services (posix files, clock and device, console on
  // stdout, an empty information dictionary, a headless `MainLoop` created on this thread, a
  // `HeadlessUi`, files in the folder that `platform::PosixFileSystem` picks, libcurl HTTP
  // with its cookie file in the library's folder, reachability from the routing table).
  Platform();
  ~Platform();
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;

  platform::Bundle& bundle() const { return *_bundle; }
  platform::Clock& clock() const { return *_clock; }
  platform::Console& console() const { return *_console; }
  platform::Device& device() const { return *_device; }
  platform::HttpClient& httpClient() const { return *_httpClient; }
  platform::Reachability& reachability() const { return *_reachability; }
  platform::MainThread& mainThread() const { return *_mainThread; }
  platform::Ui& ui() const { return *_ui; }

  // How often the client writes changed state and sends pending changes (5 seconds).
  std::chrono::milliseconds syncInterval() const { return _syncInterval; }
  void setSyncInterval(std::chrono::milliseconds interval) { _syncInterval = interval; }
  // How long the client waits for the server's answer to one request (10 seconds); a
  // request still running after that is left to finish unheeded.
  std::chrono::milliseconds responseWait() const { return _responseWait; }
  void setResponseWait(std::chrono::milliseconds wait) { _responseWait = wait; }
  platform::FileSystem& fileSystem() const { return *_fileSystem; }

  void setBundle(std::unique_ptr<platform::Bundle> bundle);
  void setClock(std::unique_ptr<platform::Clock> clock);
  void setConsole(std::unique_ptr<platform::Console> console);
  void setDevice(std::unique_ptr<platform::Device> device);
  void setHttpClient(std::unique_ptr<platform::HttpClient> httpClient);
  void setReachability(std::unique_ptr<platform::Reachability> reachability);
  void setMainThread(std::unique_ptr<platform::MainThread> mainThread);
  void setUi(std::unique_ptr<platform::Ui> ui);
  void setFileSystem(std::unique_ptr<platform::FileSystem> fileSystem);

  // The installed platform; the default one is created on first use.
  static Platform& current();
  // Makes `platform` the current one. The previous platform stays alive.
  static void install(std::unique_ptr<Platform> platform);

 private:
  std::unique_ptr<platform::Bundle> _bundle;
  std::unique_ptr<platform::Clock> _clock;
  std::unique_ptr<platform::Console> _console;
  std::unique_ptr<platform::Device> _device;
  std::unique_ptr<platform::MainThread> _mainThread;
  std::unique_ptr<platform::Ui> _ui;
  std::chrono::milliseconds _syncInterval{5000};
  std::chrono::milliseconds _responseWait{10000};
  std::unique_ptr<platform::FileSystem> _fileSystem;
  std::unique_ptr<platform::HttpClient> _httpClient;
  std::unique_ptr<platform::Reachability> _reachability;
};

}  // namespace pelorin

#endif  // PELORIN_PLATFORM_PLATFORM_H_
