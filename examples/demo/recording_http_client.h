// The demo's HTTP service: forwards every request to libcurl and keeps a copy of each
// exchange (request and answer), so the demo can show what the library sent and what the
// server said, whichever server it talks to.
//
// Thread safety: every member may be called from any thread.
#ifndef PELORIN_EXAMPLES_DEMO_RECORDING_HTTP_CLIENT_H_
#define PELORIN_EXAMPLES_DEMO_RECORDING_HTTP_CLIENT_H_

#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "pelorin/platform/http.h"

namespace demo {

// One request as it left and what came back.
struct Exchange {
  pelorin::platform::HttpRequest request;
  pelorin::platform::HttpResult result;
};

class RecordingHttpClient : public pelorin::platform::HttpClient {
 public:
  explicit RecordingHttpClient(std::unique_ptr<pelorin::platform::HttpClient> inner);

  void send(pelorin::platform::HttpRequest request, Completion completion) override;
  pelorin::platform::CookieAcceptPolicy cookieAcceptPolicy() const override;
  void setCookieAcceptPolicy(pelorin::platform::CookieAcceptPolicy policy) override;

  // The exchanges that ended since the last call, oldest first.
  std::vector<Exchange> takeFinished();
  // Requests sent whose answer has not been handed back yet.
  std::size_t inFlight() const;

 private:
  std::unique_ptr<pelorin::platform::HttpClient> _inner;
  mutable std::mutex _mutex;
  std::vector<Exchange> _finished;  // guarded by _mutex
  std::size_t _inFlight = 0;        // guarded by _mutex
};

}  // namespace demo

#endif  // PELORIN_EXAMPLES_DEMO_RECORDING_HTTP_CLIENT_H_
