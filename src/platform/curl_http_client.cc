#include "pelorin/platform/curl_http_client.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <condition_variable>
#include <deque>
#include <limits>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <utility>

#include "platform/atomic_file.h"

namespace pelorin::platform {
namespace {

void initCurlOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// Everything one request needs while curl works on it; owned by the worker.
struct Transfer {
  HttpRequest request;
  HttpClient::Completion completion;
  CURL* easy = nullptr;
  curl_slist* headerList = nullptr;
  std::string body;
  // Headers of the latest response (a followed redirect starts a new set).
  HttpHeaders responseHeaders;
  std::array<char, CURL_ERROR_SIZE> errorBuffer{};
  bool writesCookieFile = false;
  // The answer body's limit, and whether the answer went past it.
  std::size_t maxBody = CurlHttpClient::kDefaultMaxAnswerSize;
  bool tooLarge = false;

  Transfer() = default;
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;
  ~Transfer() {
    if (easy != nullptr) curl_easy_cleanup(easy);
    if (headerList != nullptr) curl_slist_free_all(headerList);
  }
};

size_t writeBody(char* data, size_t size, size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  const size_t bytes = size * count;
  if (bytes > transfer->maxBody - transfer->body.size()) {
    // Stops the transfer (curl ends it with a write error).
    transfer->tooLarge = true;
    return 0;
  }
  transfer->body.append(data, bytes);
  return bytes;
}

std::string_view trim(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r' ||
                           text.back() == '\n')) {
    text.remove_suffix(1);
  }
  return text;
}

size_t writeHeader(char* data, size_t size, size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  const std::string_view line(data, size * count);
  if (line.starts_with("HTTP/")) {
    transfer->responseHeaders.clear();
  } else if (auto colon = line.find(':'); colon != std::string_view::npos) {
    transfer->responseHeaders.emplace_back(std::string(trim(line.substr(0, colon))),
                                           std::string(trim(line.substr(colon + 1))));
  }
  return size * count;
}

// True when `url` begins with "http:" or "https:" (in any case).
bool hasHttpScheme(std::string_view url) {
  const auto colon = url.find(':');
  if (colon == std::string_view::npos) return false;
  std::string scheme(url.substr(0, colon));
  for (char& c : scheme) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return scheme == "http" || scheme == "https";
}

}  // namespace

int CurlHttpClient::urlErrorCodeForCurlCode(int curlCode) {
  switch (static_cast<CURLcode>(curlCode)) {
    case CURLE_UNSUPPORTED_PROTOCOL:
      return UrlError::kUnsupportedUrl;
    case CURLE_URL_MALFORMAT:
      return UrlError::kBadUrl;
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
      return UrlError::kCannotFindHost;
    case CURLE_COULDNT_CONNECT:
      return UrlError::kCannotConnectToHost;
    case CURLE_OPERATION_TIMEDOUT:
      return UrlError::kTimedOut;
    // The server closed without a word, reset the connection, or stopped mid-answer.
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_PARTIAL_FILE:
      return UrlError::kNetworkConnectionLost;
    case CURLE_TOO_MANY_REDIRECTS:
      return UrlError::kHttpTooManyRedirects;
    case CURLE_WEIRD_SERVER_REPLY:
      return UrlError::kBadServerResponse;
    case CURLE_BAD_CONTENT_ENCODING:
      return UrlError::kCannotDecodeContentData;
    case CURLE_FILESIZE_EXCEEDED:
      return UrlError::kDataLengthExceedsMaximum;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_SHUTDOWN_FAILED:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
      return UrlError::kSecureConnectionFailed;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return UrlError::kServerCertificateUntrusted;
    case CURLE_SSL_CERTPROBLEM:
      return UrlError::kClientCertificateRejected;
    case CURLE_ABORTED_BY_CALLBACK:
      return UrlError::kCancelled;
    default:
      return UrlError::kUnknown;
  }
}

class CurlHttpClient::Impl {
 public:
  explicit Impl(CookieFileLocator locator) : _locator(std::move(locator)) {
    initCurlOnce();
    _multi = curl_multi_init();
    // One request per connection at a time: no pipelining, no multiplexing.
    curl_multi_setopt(_multi, CURLMOPT_PIPELINING, CURLPIPE_NOTHING);
    _share = curl_share_init();
    curl_share_setopt(_share, CURLSHOPT_SHARE, CURL_LOCK_DATA_COOKIE);
  }

  ~Impl() {
    {
      std::lock_guard<std::mutex> lock(_mutex);
      _stopping = true;
    }
    curl_multi_wakeup(_multi);
    if (_worker.joinable()) _worker.join();
    // Requests queued after the worker stopped (or with no worker at all).
    cancelQueued();
    curl_multi_cleanup(_multi);
    curl_share_cleanup(_share);
  }

  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  void send(HttpRequest request, Completion completion) {
    auto transfer = std::make_unique<Transfer>();
    transfer->request = std::move(request);
    transfer->completion = std::move(completion);
    {
      std::lock_guard<std::mutex> lock(_mutex);
      transfer->maxBody = _maxAnswerSize;
      ++_inFlight;
      _queued.push_back(std::move(transfer));
      if (!_worker.joinable() && !_stopping) _worker = std::thread([this] { run(); });
    }
    curl_multi_wakeup(_multi);
  }

  CookieAcceptPolicy policy() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _policy;
  }

  void setPolicy(CookieAcceptPolicy policy) {
    std::lock_guard<std::mutex> lock(_mutex);
    _policy = policy;
  }

  std::optional<std::filesystem::path> cookieFile() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _cookieFile;
  }

  std::size_t maxAnswerSize() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _maxAnswerSize;
  }

  void setMaxAnswerSize(std::size_t bytes) {
    std::lock_guard<std::mutex> lock(_mutex);
    _maxAnswerSize = bytes;
  }

  bool waitUntilIdle(std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(_mutex);
    return _idle.wait_for(lock, timeout, [this] { return _inFlight == 0; });
  }

  WorkerSleep waitUntilWorkerSleeps(std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(_mutex);
    WorkerSleep sleep;
    sleep.asleep = _idle.wait_for(lock, timeout, [this] { return _inFlight == 0 && _asleep; });
    sleep.limit = _sleepLimit;
    sleep.wakeUps = _wakeUps;
    return sleep;
  }

 private:
  // The worker: hands queued requests to curl, drives them, completes finished ones.
  void run() {
    loadCookies();
    std::unordered_map<CURL*, std::unique_ptr<Transfer>> running;
    for (;;) {
      std::deque<std::unique_ptr<Transfer>> fresh;
      CookieAcceptPolicy policy{};
      {
        std::lock_guard<std::mutex> lock(_mutex);
        if (_stopping) break;
        fresh.swap(_queued);
        policy = _policy;
      }
      for (auto& transfer : fresh) {
        if (CURLcode refused = prepare(*transfer, policy); refused != CURLE_OK) {
          complete(std::move(transfer), refused);
          continue;
        }
        curl_multi_add_handle(_multi, transfer->easy);
        CURL* easy = transfer->easy;
        running.emplace(easy, std::move(transfer));
      }
      int active = 0;
      curl_multi_perform(_multi, &active);
      int left = 0;
      while (CURLMsg* message = curl_multi_info_read(_multi, &left)) {
        if (message->msg != CURLMSG_DONE) continue;
        auto found = running.find(message->easy_handle);
        if (found == running.end()) continue;
        std::unique_ptr<Transfer> transfer = std::move(found->second);
        running.erase(found);
        curl_multi_remove_handle(_multi, transfer->easy);
        complete(std::move(transfer), message->data.result);
      }
      sleep();
    }
    for (auto& [easy, transfer] : running) {
      curl_multi_remove_handle(_multi, easy);
      complete(std::move(transfer), CURLE_ABORTED_BY_CALLBACK);
    }
  }

  // Sleeps until curl's next time-out, a socket of a transfer in flight, or a wake-up from
  // `send` or the destructor; with nothing in flight that means until woken.
  void sleep() {
    long timeoutMs = -1;
    curl_multi_timeout(_multi, &timeoutMs);
    if (timeoutMs == 0) return;
    const bool forever = timeoutMs < 0 || timeoutMs > std::numeric_limits<int>::max();
    {
      std::lock_guard<std::mutex> lock(_mutex);
      _asleep = true;
      _sleepLimit = forever ? std::nullopt : std::optional<std::chrono::milliseconds>(timeoutMs);
    }
    _idle.notify_all();
    // Without a limit curl_multi_poll would still return after the longest wait it takes:
    // such a return is followed by another sleep.
    curl_multi_poll(_multi, nullptr, 0,
                    forever ? std::numeric_limits<int>::max() : static_cast<int>(timeoutMs),
                    nullptr);
    std::lock_guard<std::mutex> lock(_mutex);
    _asleep = false;
    ++_wakeUps;
  }

  // Reads the cookie file into the shared store, once, on the worker.
  void loadCookies() {
    std::optional<std::filesystem::path> file = _locator ? _locator() : std::nullopt;
    {
      std::lock_guard<std::mutex> lock(_mutex);
      _cookieFile = file;
    }
    if (!file) return;
    std::error_code error;
    if (!std::filesystem::exists(*file, error)) return;
    CURL* loader = curl_easy_init();
    if (loader == nullptr) return;
    curl_easy_setopt(loader, CURLOPT_SHARE, _share);
    curl_easy_setopt(loader, CURLOPT_COOKIEFILE, file->c_str());
    curl_easy_setopt(loader, CURLOPT_COOKIELIST, "RELOAD");
    curl_easy_cleanup(loader);
  }

  // Writes the shared store to the cookie file when it changed. curl's own cookie jar
  // truncates the file before it writes the new one, so a process killed in between would
  // come back as a stranger to the server; the atomic write leaves the old file or the new.
  void saveCookies(CURL* easy) {
    curl_slist* cookies = nullptr;
    if (curl_easy_getinfo(easy, CURLINFO_COOKIELIST, &cookies) != CURLE_OK) return;
    std::string text = "# Netscape HTTP Cookie File\n";
    for (const curl_slist* line = cookies; line != nullptr; line = line->next) {
      text += line->data;
      text += '\n';
    }
    curl_slist_free_all(cookies);
    if (text == _savedCookies) return;
    std::optional<std::filesystem::path> file = cookieFile();
    if (file && writeFileAtomically(file->string(), text).isOk()) {
      _savedCookies = std::move(text);
    }
  }

  CURLcode prepare(Transfer& transfer, CookieAcceptPolicy policy) {
    // Like the URL-loading system, and unlike curl, a URL must name its scheme: curl would
    // take "localhost:1/x" for http and refuse a relative URL as malformed.
    if (!hasHttpScheme(transfer.request.url)) return CURLE_UNSUPPORTED_PROTOCOL;
    transfer.easy = curl_easy_init();
    if (transfer.easy == nullptr) return CURLE_FAILED_INIT;
    CURL* easy = transfer.easy;
    const HttpRequest& request = transfer.request;
    curl_easy_setopt(easy, CURLOPT_PRIVATE, &transfer);
    curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(easy, CURLOPT_MAXREDIRS, 16L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
    const long timeoutMs = static_cast<long>(request.timeout.count());
    curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, timeoutMs);
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, timeoutMs);
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, transfer.errorBuffer.data());
    // An announced length past the limit ends the exchange before the body is read.
    curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE,
                     static_cast<curl_off_t>(std::min<std::size_t>(
                         transfer.maxBody, std::numeric_limits<curl_off_t>::max())));
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &writeBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &writeHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, &transfer);

    if (request.method == "POST") {
      curl_easy_setopt(easy, CURLOPT_POST, 1L);
      curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                       static_cast<curl_off_t>(request.body.size()));
      curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.c_str());
    } else if (request.method == "HEAD") {
      curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
    } else if (request.method != "GET") {
      curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str());
      if (!request.body.empty()) {
        curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                         static_cast<curl_off_t>(request.body.size()));
        curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.c_str());
      }
    }

    for (const auto& [name, value] : request.headers) {
      // "Name;" is curl's way to send a header with an empty value.
      std::string line = name;
      if (value.empty()) {
        line += ";";
      } else {
        line += ": ";
        line += value;
      }
      transfer.headerList = curl_slist_append(transfer.headerList, line.c_str());
    }
    // curl would announce larger bodies with "Expect: 100-continue" and wait for the
    // server's go-ahead; the request is sent in one piece instead.
    transfer.headerList = curl_slist_append(transfer.headerList, "Expect:");
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer.headerList);

    // A store that refuses every cookie is modelled as a request without the cookie
    // engine: nothing is stored and nothing is sent.
    if (policy != CookieAcceptPolicy::kNever) {
      curl_easy_setopt(easy, CURLOPT_SHARE, _share);
      curl_easy_setopt(easy, CURLOPT_COOKIEFILE, "");
      std::lock_guard<std::mutex> lock(_mutex);
      transfer.writesCookieFile = _cookieFile.has_value();
    }
    return CURLE_OK;
  }

  void complete(std::unique_ptr<Transfer> transfer, CURLcode code) {
    HttpResult result;
    if (transfer->tooLarge || code == CURLE_FILESIZE_EXCEEDED) {
      HttpError error;
      error.code = UrlError::kDataLengthExceedsMaximum;
      error.description = std::string(UrlError::description(error.code));
      error.detail = "The answer exceeds " + std::to_string(transfer->maxBody) + " bytes";
      result.error = std::move(error);
      transfer->body = std::string();
    } else if (code == CURLE_OK) {
      long status = 0;
      curl_easy_getinfo(transfer->easy, CURLINFO_RESPONSE_CODE, &status);
      long redirects = 0;
      curl_easy_getinfo(transfer->easy, CURLINFO_REDIRECT_COUNT, &redirects);
      HttpResponse response;
      response.statusCode = static_cast<int>(status);
      // Without a redirect the final URL is the one requested, byte for byte: curl's
      // effective URL may be a normalised spelling of it.
      response.url = transfer->request.url;
      if (redirects > 0) {
        char* effective = nullptr;
        curl_easy_getinfo(transfer->easy, CURLINFO_EFFECTIVE_URL, &effective);
        if (effective != nullptr) response.url = effective;
      }
      response.headers = std::move(transfer->responseHeaders);
      result.response = std::move(response);
      result.data = std::move(transfer->body);
    } else {
      HttpError error;
      error.code = urlErrorCodeForCurlCode(code);
      error.description = std::string(UrlError::description(error.code));
      error.detail = transfer->errorBuffer[0] != '\0' ? std::string(transfer->errorBuffer.data())
                                                      : std::string(curl_easy_strerror(code));
      result.error = std::move(error);
    }
    // Save now, so a process started after this answer sees the visitor's cookies.
    if (transfer->writesCookieFile && transfer->easy != nullptr) saveCookies(transfer->easy);
    Completion completion = std::move(transfer->completion);
    transfer.reset();
    if (completion) completion(std::move(result));
    finishOne();
  }

  void cancelQueued() {
    std::deque<std::unique_ptr<Transfer>> queued;
    {
      std::lock_guard<std::mutex> lock(_mutex);
      queued.swap(_queued);
    }
    for (auto& transfer : queued) complete(std::move(transfer), CURLE_ABORTED_BY_CALLBACK);
  }

  void finishOne() {
    std::lock_guard<std::mutex> lock(_mutex);
    --_inFlight;
    if (_inFlight == 0) _idle.notify_all();
  }

  const CookieFileLocator _locator;
  CURLM* _multi = nullptr;
  CURLSH* _share = nullptr;  // the cookie store, touched only by the worker

  mutable std::mutex _mutex;
  mutable std::condition_variable _idle;
  std::deque<std::unique_ptr<Transfer>> _queued;  // guarded by _mutex
  int _inFlight = 0;                              // guarded by _mutex
  bool _stopping = false;                         // guarded by _mutex
  CookieAcceptPolicy _policy = CookieAcceptPolicy::kOnlyFromMainDocumentDomain;  // by _mutex
  std::optional<std::filesystem::path> _cookieFile;      // guarded by _mutex
  std::size_t _maxAnswerSize = kDefaultMaxAnswerSize;    // guarded by _mutex
  bool _asleep = false;                                  // guarded by _mutex
  std::optional<std::chrono::milliseconds> _sleepLimit;  // guarded by _mutex
  std::uint64_t _wakeUps = 0;                            // guarded by _mutex
  std::string _savedCookies;                             // the cookie file's text, on the worker
  std::thread _worker;
};

CurlHttpClient::CurlHttpClient() : CurlHttpClient(CookieFileLocator()) {}

CurlHttpClient::CurlHttpClient(std::filesystem::path cookieFile)
    : CurlHttpClient(CookieFileLocator(
          [file = std::move(cookieFile)]() -> std::optional<std::filesystem::path> {
            return file;
          })) {}

CurlHttpClient::CurlHttpClient(CookieFileLocator locator)
    : _impl(std::make_unique<Impl>(std::move(locator))) {}

CurlHttpClient::~CurlHttpClient() = default;

void CurlHttpClient::send(HttpRequest request, Completion completion) {
  _impl->send(std::move(request), std::move(completion));
}

CookieAcceptPolicy CurlHttpClient::cookieAcceptPolicy() const { return _impl->policy(); }

void CurlHttpClient::setCookieAcceptPolicy(CookieAcceptPolicy policy) { _impl->setPolicy(policy); }

void CurlHttpClient::setMaxAnswerSize(std::size_t bytes) { _impl->setMaxAnswerSize(bytes); }

std::size_t CurlHttpClient::maxAnswerSize() const { return _impl->maxAnswerSize(); }

std::optional<std::filesystem::path> CurlHttpClient::cookieFile() const {
  return _impl->cookieFile();
}

bool CurlHttpClient::waitUntilIdle(std::chrono::milliseconds timeout) const {
  return _impl->waitUntilIdle(timeout);
}

CurlHttpClient::WorkerSleep CurlHttpClient::waitUntilWorkerSleeps(
    std::chrono::milliseconds timeout) const {
  return _impl->waitUntilWorkerSleeps(timeout);
}

}  // namespace pelorin::platform
