// The HTTP service on libcurl: follows redirects, verifies TLS certificates, maps curl's
// errors to URL-loading error codes, and keeps one cookie store for all of its requests,
// saved to a file after each exchange so a server still recognises the visitor after a
// restart.
//
// Thread safety: every member may be called from any thread. Requests run on one worker
// thread of the client's own (started by the first request); completions run there too.
#ifndef PELORIN_PLATFORM_CURL_HTTP_CLIENT_H_
#define PELORIN_PLATFORM_CURL_HTTP_CLIENT_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "pelorin/export.h"
#include "pelorin/platform/http.h"

namespace pelorin::platform {

class PELORIN_EXPORT CurlHttpClient : public HttpClient {
 public:
  // Where the cookie file lives; asked on the first request (so it may name a folder that
  // exists only once the host has set itself up). Nothing means cookies live in memory.
  using CookieFileLocator = std::function<std::optional<std::filesystem::path>()>;

  // A client whose cookies live in memory only.
  CurlHttpClient();
  // A client that keeps its cookies in `cookieFile` (Netscape cookie-file format).
  explicit CurlHttpClient(std::filesystem::path cookieFile);
  explicit CurlHttpClient(CookieFileLocator locator);
  // Cancels what is still in flight (each completion gets `UrlError::kCancelled`) and
  // stops the worker.
  ~CurlHttpClient() override;
  CurlHttpClient(const CurlHttpClient&) = delete;
  CurlHttpClient& operator=(const CurlHttpClient&) = delete;

  void send(HttpRequest request, Completion completion) override;
  CookieAcceptPolicy cookieAcceptPolicy() const override;
  void setCookieAcceptPolicy(CookieAcceptPolicy policy) override;

  // The largest answer body read, in bytes. Past it the exchange ends as a transport error
  // (`UrlError::kDataLengthExceedsMaximum`): a body is held whole in memory, so a hostile
  // or broken server must not decide how much. Applies to requests sent afterwards.
  // The default is `kDefaultMaxAnswerSize`.
  void setMaxAnswerSize(std::size_t bytes);
  std::size_t maxAnswerSize() const override;

  // The cookie file in use, once the first request has resolved it.
  std::optional<std::filesystem::path> cookieFile() const;

  // Waits until no request is in flight (completions included); false on time-out.
  bool waitUntilIdle(std::chrono::milliseconds timeout) const;

  // How the worker thread sleeps: it sleeps until a request is queued or one in flight
  // needs it (an answer arrives, a time-out or a retry is due).
  struct WorkerSleep {
    // False when the worker did not fall asleep within the wait (or never started).
    bool asleep = false;
    // How long it sleeps before it looks again on its own; nothing: until woken.
    std::optional<std::chrono::milliseconds> limit;
    // How many times the worker has woken from a sleep so far.
    std::uint64_t wakeUps = 0;
  };
  // Waits until no request is in flight and the worker sleeps (at most `timeout`), and
  // answers how it sleeps.
  WorkerSleep waitUntilWorkerSleeps(std::chrono::milliseconds timeout) const;

  // The URL-loading error code for a curl result code (a `CURLcode` value).
  static int urlErrorCodeForCurlCode(int curlCode);

 private:
  class Impl;
  std::unique_ptr<Impl> _impl;
};

}  // namespace pelorin::platform

#endif  // PELORIN_PLATFORM_CURL_HTTP_CLIENT_H_
