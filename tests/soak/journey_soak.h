// The demo shop's journey, repeated: a headless app on the library walks home, product,
// sign-up and checkout (four page views, with the taps, typing, switch, slider, picker, app
// event and lightbox of the demo) against a devserver, over and over, and reports what the
// client holds after each cycle. The soak benchmark and its short CI form both drive it.
//
// The app runs on a pinned clock that moves 100 ms per page view (one tick of the 100 ms
// sync interval each), so a run of any length stays within one hour of one day and the
// numbers do not depend on when it runs; the network and the devserver run in real time.
//
// Thread safety: one per process (it installs the platform and uses the client singleton);
// main thread only.
#ifndef PELORIN_TESTS_SOAK_JOURNEY_SOAK_H_
#define PELORIN_TESTS_SOAK_JOURNEY_SOAK_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace pelorin::soak {

// What the client holds after some page views.
struct SoakSample {
  int pageViews = 0;
  std::int64_t residentBytes = 0;  // the process's resident set
  std::int64_t heapBytes = 0;      // allocated by malloc and not freed (mallinfo2)
  std::size_t subscriptions = 0;   // event-bus handlers, over all event names
  std::size_t queuedEvents = 0;    // events waiting on the bus
  std::size_t plugins = 0;         // plug-ins of the current screen
  std::size_t targets = 0;         // live control targets on the shop's screens
  std::size_t profileValues = 0;   // values of all properties in the client's cache
  std::size_t profileBytes = 0;    // their total length, each run of digits counted as one
                                   // (counters and sums gain digits as they grow)
  std::uintmax_t cacheFileBytes = 0;
};

class JourneySoak {
 public:
  // `serverUrl` is the devserver's base address (the demo configuration's server), the
  // library's files go to `storage`.
  JourneySoak(const std::string& serverUrl, const std::filesystem::path& storage);
  ~JourneySoak();
  JourneySoak(const JourneySoak&) = delete;
  JourneySoak& operator=(const JourneySoak&) = delete;

  // One walk through the four screens: four page views. False when the server did not
  // answer a step within 30 s.
  bool runCycle();
  int pageViews() const { return _pageViews; }
  SoakSample sample() const;

  static constexpr int kPageViewsPerCycle = 4;

 private:
  struct Screens;

  bool open(int screen);
  bool send();
  bool waitFor(const std::shared_ptr<bool>& done);
  void closeLightbox();
  void pageViewTime();

  std::unique_ptr<Screens> _screens;
  std::filesystem::path _storage;
  int _pageViews = 0;
};

// The length of `text` with each run of decimal digits counted as one character.
std::size_t lengthWithoutDigits(std::string_view text);

// The resident set and heap of this process, as `sample()` reads them.
std::int64_t residentBytesOf(int pid);
std::int64_t heapBytes();

}  // namespace pelorin::soak

#endif  // PELORIN_TESTS_SOAK_JOURNEY_SOAK_H_
