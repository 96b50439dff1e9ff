// The HTTP service of the platform: one request out, one completion back, with a cookie
// store shared by every request of the process.
//
// Thread safety: an `HttpClient` may be used from any thread; completions run on a thread
// of the client's own, never on the caller's.
#ifndef PELORIN_PLATFORM_HTTP_H_
#define PELORIN_PLATFORM_HTTP_H_

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "pelorin/export.h"

namespace pelorin::platform {

// Error codes of the URL-loading system, the vocabulary in which callers reason about
// transport failures whatever the HTTP stack underneath.
struct PELORIN_EXPORT UrlError {
  static constexpr int kUnknown = -1;
  static constexpr int kCancelled = -999;
  static constexpr int kBadUrl = -1000;
  static constexpr int kTimedOut = -1001;
  static constexpr int kUnsupportedUrl = -1002;
  static constexpr int kCannotFindHost = -1003;
  static constexpr int kCannotConnectToHost = -1004;
  static constexpr int kNetworkConnectionLost = -1005;
  static constexpr int kHttpTooManyRedirects = -1007;
  static constexpr int kBadServerResponse = -1011;
  static constexpr int kCannotDecodeContentData = -1016;
  static constexpr int kDataLengthExceedsMaximum = -1103;
  static constexpr int kSecureConnectionFailed = -1200;
  static constexpr int kServerCertificateUntrusted = -1202;
  static constexpr int kClientCertificateRejected = -1205;

  // The URL-loading system's wording for `code`, e.g. "The network connection was lost."
  static std::string_view description(int code);
};

using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

enum class CachePolicy {
  kUseProtocolCachePolicy,
  // Always load from the server, never from a local cache.
  kReloadIgnoringLocalCacheData,
};

struct PELORIN_EXPORT HttpRequest {
  std::string method = "GET";
  std::string url;
  // Sent in this order. A name given twice is sent twice.
  HttpHeaders headers;
  std::string body;
  std::chrono::milliseconds timeout{60000};
  bool httpShouldUsePipelining = false;
  CachePolicy cachePolicy = CachePolicy::kUseProtocolCachePolicy;

  // The value of the first header named `name` (compared without case), if any.
  std::optional<std::string> header(std::string_view name) const;
  // Replaces the header named `name` (compared without case), or appends it.
  void setHeader(std::string name, std::string value);
};

struct PELORIN_EXPORT HttpResponse {
  int statusCode = 0;
  // The URL the answer came from: after followed redirects, the last one.
  std::string url;
  HttpHeaders headers;
};

struct PELORIN_EXPORT HttpError {
  int code = UrlError::kUnknown;  // one of the `UrlError` codes
  std::string description;        // the URL-loading wording for `code`
  std::string detail;             // what the HTTP stack said, for diagnostics

  // "<description> (<code>)" plus the detail when there is one.
  std::string toString() const;
};

// What a request ended with. A response that arrived carries its body in `data` (present
// and possibly empty); a failed exchange carries `error` and usually neither of the others.
struct PELORIN_EXPORT HttpResult {
  std::optional<HttpResponse> response;
  std::optional<std::string> data;
  std::optional<HttpError> error;
};

enum class CookieAcceptPolicy {
  kAlways,
  kNever,
  // Cookies are accepted only from the domain of the document the request loads.
  kOnlyFromMainDocumentDomain,
};

class PELORIN_EXPORT HttpClient {
 public:
  using Completion = std::function<void(HttpResult)>;

  virtual ~HttpClient() = default;

  // Sends `request` and calls `completion` exactly once, on another thread, when it ends.
  // Redirects are followed. The client may outlive the caller's interest in the answer:
  // `completion` must own whatever it touches.
  virtual void send(HttpRequest request, Completion completion) = 0;

  // The policy of the process-wide cookie store.
  virtual CookieAcceptPolicy cookieAcceptPolicy() const = 0;
  virtual void setCookieAcceptPolicy(CookieAcceptPolicy policy) = 0;

  // The largest answer body the client reads, in bytes; past it the exchange fails as a
  // transport error. Readers of an answer bound what they build from it by this too.
  static constexpr std::size_t kDefaultMaxAnswerSize = std::size_t{16} << 20U;
  virtual std::size_t maxAnswerSize() const { return kDefaultMaxAnswerSize; }
};

}  // namespace pelorin::platform

#endif  // PELORIN_PLATFORM_HTTP_H_
