#include "devserver/dev_server.h"

#include <charconv>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>
#include <thread>

#include <boost/json.hpp>

#include "devserver/config_screen_content.h"
#include "devserver/http_server.h"
#include "devserver/inspector_assets.h"

namespace pelorin::devserver {
namespace {

// The fault applied to this thread's current request, for its log line.
thread_local std::string_view tFaultName;
// Whether this thread's current request is one the server records (not the inspector's
// own), and its number in the inspector's record.
thread_local bool tRecorded = false;
thread_local std::uint64_t tInspected = 0;
// The answer body as the handler gave it: cpp-httplib compresses the response's own copy
// for a client that accepts gzip before the logger sees it.
thread_local std::string tAnswerBody;

// Sets the answer's body and keeps it for the inspector.
void setAnswer(httplib::Response& response, const std::string& body, const char* type) {
  tAnswerBody = body;
  response.set_content(body, type);
}

constexpr const char* kRpcPath = R"(/DG/([^/]+)/rest/rpc/json/(?:([^/]+)/)?)";

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return true;
}

bool isLoopback(std::string_view host) {
  return host == "localhost" || host == "::1" || host.starts_with("127.");
}

// The host part of a "Host" header: "127.0.0.1:8080" -> "127.0.0.1", "[::1]:80" -> "::1".
std::string_view hostOf(std::string_view header) {
  if (header.starts_with("[")) {
    const auto end = header.find(']');
    return end == std::string_view::npos ? header : header.substr(1, end - 1);
  }
  return header.substr(0, header.find(':'));
}

// What every answer of the inspector carries: its page runs only its own script and
// style, loads nothing from elsewhere and cannot be framed; no answer is cached or
// sniffed as another type.
void setInspectorHeaders(httplib::Response& response) {
  response.set_header("Content-Security-Policy",
                      "default-src 'none'; script-src 'self'; style-src 'self'; "
                      "connect-src 'self'; img-src 'self'; base-uri 'none'; form-action 'none'; "
                      "frame-ancestors 'none'");
  response.set_header("X-Content-Type-Options", "nosniff");
  response.set_header("Referrer-Policy", "no-referrer");
  response.set_header("Cache-Control", "no-store");
}

// Entries cpp-httplib adds to a request's headers that the client never sent.
bool isBookkeeping(std::string_view name) {
  return name == "REMOTE_ADDR" || name == "REMOTE_PORT" || name == "LOCAL_ADDR" ||
         name == "LOCAL_PORT";
}

std::optional<std::string> cookieValue(std::string_view header, std::string_view name) {
  while (!header.empty()) {
    auto end = header.find(';');
    std::string_view pair = header.substr(0, end);
    while (!pair.empty() && pair.front() == ' ') pair.remove_prefix(1);
    if (auto equals = pair.find('='); equals != std::string_view::npos) {
      if (pair.substr(0, equals) == name) return std::string(pair.substr(equals + 1));
    }
    if (end == std::string_view::npos) break;
    header.remove_prefix(end + 1);
  }
  return std::nullopt;
}

// The screen content the options ask for; on a configuration that cannot be used, empty
// content and the reason in `error`.
std::unique_ptr<ScreenContent> takeScreenContent(DevServerOptions& options, std::string& error) {
  const int given = static_cast<int>(options.screenContent != nullptr) +
                    static_cast<int>(options.config.has_value()) +
                    static_cast<int>(options.configFile.has_value());
  if (given > 1) {
    error = "give only one of screenContent, config and configFile";
  } else if (options.configFile) {
    auto content = ConfigScreenContent::fromFile(*options.configFile);
    if (content) return std::move(content).value();
    error = content.error().message;
  } else if (options.config) {
    auto content = ConfigScreenContent::fromJson(options.config->ref());
    if (content) return std::move(content).value();
    error = "configuration: " + content.error().message;
  } else if (options.screenContent) {
    return std::move(options.screenContent);
  }
  return std::make_unique<EmptyScreenContent>();
}

}  // namespace

std::string RecordedRequest::header(std::string_view name) const {
  for (const auto& [key, value] : headers) {
    if (equalsIgnoringCase(key, name)) return value;
  }
  return "";
}

bool RecordedRequest::hasHeader(std::string_view name) const {
  for (const auto& [key, value] : headers) {
    if (equalsIgnoringCase(key, name)) return true;
  }
  return false;
}

std::string_view Fault::name(Kind kind) {
  switch (kind) {
    case Kind::kDropConnection:
      return "drop connection";
    case Kind::kDelay:
      return "delay";
    case Kind::kStatus:
      return "status";
    case Kind::kMultipleChoices:
      return "multiple choices";
    case Kind::kRedirect:
      return "redirect";
    case Kind::kBody:
      return "body";
    case Kind::kTruncatedBody:
      return "truncated body";
    case Kind::kCutConnection:
      return "cut connection";
  }
  return "";
}

class DevServer::Impl {
 public:
  explicit Impl(DevServerOptions options)
      : _options(std::move(options)),
        _service(_options.rpc, takeScreenContent(_options, _configError)) {
    if (!_options.logSink) {
      _options.logSink = [](std::string_view line) {
        std::fwrite(line.data(), 1, line.size(), stdout);
        std::fputc('\n', stdout);
        std::fflush(stdout);
      };
    }
    _server.Post(kRpcPath, [this](const httplib::Request& request, httplib::Response& response) {
      record(request);
      handleRpc(request, response);
    });
    // The protocol is POST only; a redirect that turned the POST into a GET lands here.
    _server.Get(kRpcPath, [this](const httplib::Request& request, httplib::Response& response) {
      record(request);
      response.status = 405;
      response.set_header("Allow", "POST");
    });
    serveInspector();
    auto notFound = [this](const httplib::Request& request, httplib::Response& response) {
      record(request);
      response.status = 404;
    };
    _server.Post(".*", notFound);
    _server.Get(".*", notFound);
    // Runs once the answer is written (or dropped), on the thread that served the request.
    // The inspector's own requests are neither logged nor counted.
    _server.set_logger([this](const httplib::Request& request, const httplib::Response& response) {
      if (!tRecorded) return;
      const bool dropped = HttpServer::connectionDropped();
      if (_options.logRequests) {
        if (dropped) {
          log(request, 0, "", tFaultName);
        } else {
          log(request, response.status, response.body, tFaultName);
        }
      }
      InspectedAnswer answer{.status = dropped ? 0 : response.status,
                             .body = dropped ? std::string_view() : tAnswerBody,
                             .setCookie = std::nullopt,
                             .fault = tFaultName};
      if (!dropped && response.has_header("Set-Cookie")) {
        answer.setCookie = response.get_header_value("Set-Cookie");
      }
      _inspector.answered(tInspected, answer);
      tFaultName = {};
      tRecorded = false;
      tInspected = 0;
      tAnswerBody.clear();
      markHandled();
    });
  }

  ~Impl() { stop(); }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  bool start() {
    std::lock_guard<std::mutex> lock(_lifecycle);
    // A configuration that cannot be used stops every start.
    if (!_configError.empty()) {
      _startError = _configError;
      return false;
    }
    if (_thread.joinable()) {
      _startError = "already started";
      return false;
    }
    int port = _options.port;
    if (port == 0) {
      port = _server.bind_to_any_port(_options.host);
    } else if (!_server.bind_to_port(_options.host, port)) {
      port = -1;
    }
    if (port < 0) {
      _startError = "cannot listen on " + _options.host + ":" + std::to_string(_options.port);
      return false;
    }
    _startError.clear();
    _port = port;
    _thread = std::thread([this] { _server.listen_after_bind(); });
    // stop() is lost on a server that has not begun to listen yet.
    while (!_server.is_running()) std::this_thread::yield();
    return true;
  }

  void stop() {
    std::lock_guard<std::mutex> lock(_lifecycle);
    {
      std::lock_guard<std::mutex> state(_mutex);
      _stopping = true;
    }
    _changed.notify_all();
    if (_thread.joinable()) {
      _server.stop();
      _thread.join();
    }
  }

  bool isRunning() const { return _server.is_running(); }
  std::string startError() {
    std::lock_guard<std::mutex> lock(_lifecycle);
    return _startError;
  }
  int port() const { return _port; }
  std::string baseUrl() const { return "http://" + _options.host + ":" + std::to_string(_port); }
  bool loopbackOnly() const { return isLoopback(_options.host); }
  RpcService& service() { return _service; }

  std::vector<RecordedRequest> requests() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _requests;
  }

  size_t requestCount() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _requests.size();
  }

  bool waitForRequests(size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(_mutex);
    return _changed.wait_for(lock, timeout, [&] { return _requests.size() >= count; });
  }

  bool waitForHandled(size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(_mutex);
    return _changed.wait_for(lock, timeout, [&] { return _handled >= count; });
  }

  void clearRequests() {
    std::lock_guard<std::mutex> lock(_mutex);
    _requests.clear();
    _handled = 0;
  }

  void setRequestObserver(std::function<void(const RecordedRequest&)> observer) {
    std::lock_guard<std::mutex> lock(_mutex);
    _observer = std::move(observer);
  }

  void injectFault(const Fault& fault, int times) {
    std::lock_guard<std::mutex> lock(_mutex);
    for (int i = 0; i < times; ++i) _faults.push_back(fault);
  }

  void clearFaults() {
    std::lock_guard<std::mutex> lock(_mutex);
    _faults.clear();
  }

  size_t pendingFaults() const {
    std::lock_guard<std::mutex> lock(_mutex);
    return _faults.size();
  }

 private:
  // The inspector: its page, script and style at "/", "/inspector.js" and "/inspector.css",
  // and the JSON it reads under "/inspect/".
  void serveInspector() {
    auto asset = [this](std::string name, std::string type) {
      return [this, name = std::move(name), type = std::move(type)](const httplib::Request& request,
                                                                    httplib::Response& response) {
        if (!inspectorMayAnswer(request, response)) return;
        response.set_content(std::string(inspectorAsset(name).value_or("")), type);
      };
    };
    _server.Get("/", asset("index.html", "text/html; charset=utf-8"));
    _server.Get("/inspector.js", asset("inspector.js", "text/javascript; charset=utf-8"));
    _server.Get("/inspector.css", asset("inspector.css", "text/css; charset=utf-8"));
    // Browsers ask for an icon; the page has none.
    _server.Get("/favicon.ico",
                [this](const httplib::Request& request, httplib::Response& response) {
                  if (inspectorMayAnswer(request, response)) response.status = 204;
                });
    _server.Get("/inspect/requests", [this](const httplib::Request& request,
                                            httplib::Response& response) {
      if (!inspectorMayAnswer(request, response)) return;
      std::uint64_t since = 0;
      if (request.has_param("since")) {
        const std::string text = request.get_param_value("since");
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), since);
        if (error != std::errc() || end != text.data() + text.size()) {
          response.status = 400;
          response.set_content(R"({"error":"since must be a whole number"})", "application/json");
          return;
        }
      }
      response.set_content(_inspector.requestsJson(since), "application/json");
    });
    _server.Get("/inspect/profiles",
                [this](const httplib::Request& request, httplib::Response& response) {
                  if (!inspectorMayAnswer(request, response)) return;
                  response.set_content(_inspector.profilesJson(_service), "application/json");
                });
    _server.Get("/inspect/profiles/([^/]+)",
                [this](const httplib::Request& request, httplib::Response& response) {
                  if (!inspectorMayAnswer(request, response)) return;
                  auto profile = _inspector.profileJson(_service, request.matches[1].str());
                  if (!profile) {
                    response.status = 404;
                    response.set_content(R"({"error":"no such profile"})", "application/json");
                    return;
                  }
                  response.set_content(*profile, "application/json");
                });
  }

  // Sets the inspector's headers; false (with status 403) when a server on a loopback
  // address is asked under another host name: a web page that rebinds its own name to
  // 127.0.0.1 must not read what the apps sent.
  bool inspectorMayAnswer(const httplib::Request& request, httplib::Response& response) const {
    tRecorded = false;
    tInspected = 0;
    setInspectorHeaders(response);
    if (loopbackOnly() && !isLoopback(hostOf(request.get_header_value("Host")))) {
      response.status = 403;
      response.set_content("The inspector answers only at a loopback address.\n", "text/plain");
      return false;
    }
    return true;
  }

  void record(const httplib::Request& request) {
    tFaultName = {};
    tRecorded = true;
    tAnswerBody.clear();
    RecordedRequest recorded;
    recorded.method = request.method;
    const auto question = request.target.find('?');
    recorded.path = request.target.substr(0, question);
    if (question != std::string::npos) recorded.query = request.target.substr(question + 1);
    for (const auto& [name, value] : request.headers) {
      if (!isBookkeeping(name)) recorded.headers.emplace_back(name, value);
    }
    recorded.body = request.body;
    std::function<void(const RecordedRequest&)> observer;
    {
      std::lock_guard<std::mutex> lock(_mutex);
      observer = _observer;
    }
    if (observer) observer(recorded);
    std::string profileId;
    if (auto cookie = cookieValue(request.get_header_value("Cookie"), kVisitorCookie);
        cookie && _service.hasProfile(*cookie)) {
      profileId = std::move(*cookie);
    }
    tInspected = _inspector.received(recorded, profileId);
    {
      std::lock_guard<std::mutex> lock(_mutex);
      _requests.push_back(std::move(recorded));
    }
    _changed.notify_all();
  }

  void markHandled() {
    {
      std::lock_guard<std::mutex> lock(_mutex);
      ++_handled;
    }
    _changed.notify_all();
  }

  std::optional<Fault> takeFault() {
    std::lock_guard<std::mutex> lock(_mutex);
    if (_faults.empty()) return std::nullopt;
    Fault fault = std::move(_faults.front());
    _faults.pop_front();
    return fault;
  }

  RpcReply answer(const httplib::Request& request) {
    RpcRequest rpc;
    rpc.domainGroup = request.matches.size() > 1 ? request.matches[1].str() : "";
    if (request.matches.size() > 2 && request.matches[2].matched) rpc.zone = request.matches[2];
    rpc.visitorCookie = cookieValue(request.get_header_value("Cookie"), kVisitorCookie);
    rpc.referer = request.get_header_value("referer");
    rpc.body = request.body;
    return _service.handle(rpc);
  }

  void handleRpc(const httplib::Request& request, httplib::Response& response) {
    const std::optional<Fault> fault = takeFault();
    tFaultName = fault ? Fault::name(fault->kind) : std::string_view();
    if (!fault) {
      respond(answer(request), response);
      return;
    }
    switch (fault->kind) {
      case Fault::Kind::kDropConnection:
        HttpServer::dropConnection();
        return;
      case Fault::Kind::kDelay: {
        std::unique_lock<std::mutex> lock(_mutex);
        _changed.wait_for(lock, fault->delay, [this] { return _stopping; });
        lock.unlock();
        respond(answer(request), response);
        return;
      }
      case Fault::Kind::kStatus:
        response.status = fault->status;
        setAnswer(response, fault->body, "text/plain");
        return;
      case Fault::Kind::kMultipleChoices: {
        boost::json::object body;
        if (fault->location) body["location"] = *fault->location;
        response.status = 300;
        setAnswer(response, boost::json::serialize(body), "application/json");
        return;
      }
      case Fault::Kind::kRedirect:
        response.status = fault->status;
        response.set_header("Location", fault->location.value_or("/"));
        return;
      case Fault::Kind::kBody:
        response.status = fault->status;
        setAnswer(response, fault->body, "application/json");
        return;
      case Fault::Kind::kTruncatedBody: {
        RpcReply reply = answer(request);
        reply.body.resize(reply.body.size() / 2);
        respond(reply, response);
        return;
      }
      case Fault::Kind::kCutConnection: {
        RpcReply reply = answer(request);
        const size_t length = reply.body.size();
        response.status = reply.status;
        if (reply.setCookie) response.set_header("Set-Cookie", *reply.setCookie);
        tAnswerBody = reply.body.substr(0, length / 2);
        response.set_content_provider(
            length, reply.contentType,
            [body = std::move(reply.body)](size_t, size_t, httplib::DataSink& sink) {
              sink.write(body.data(), body.size() / 2);
              return false;  // ends the connection with the rest unsent
            });
        return;
      }
    }
  }

  static void respond(const RpcReply& reply, httplib::Response& response) {
    response.status = reply.status;
    if (reply.setCookie) response.set_header("Set-Cookie", *reply.setCookie);
    setAnswer(response, reply.body, reply.contentType.c_str());
  }

  void log(const httplib::Request& request, int status, std::string_view answerBody,
           std::string_view note = "") const {
    std::string line = request.method + " " + request.target + " -> ";
    line += status == 0 ? std::string(note) : std::to_string(status);
    if (status != 0 && !note.empty()) line += " (" + std::string(note) + ")";
    if (!request.body.empty()) line += "\n  request: " + request.body;
    if (!answerBody.empty()) line += "\n  answer:  " + std::string(answerBody);
    _options.logSink(line);
  }

  DevServerOptions _options;
  std::string _configError;  // set once, before _service is built
  RpcService _service;
  Inspector _inspector{_options.inspector};
  HttpServer _server;
  std::mutex _lifecycle;  // serialises start() and stop()
  std::thread _thread;
  int _port = 0;
  std::string _startError;  // guarded by _lifecycle

  mutable std::mutex _mutex;
  mutable std::condition_variable _changed;
  std::vector<RecordedRequest> _requests;                 // guarded by _mutex
  size_t _handled = 0;                                    // guarded by _mutex
  std::deque<Fault> _faults;                              // guarded by _mutex
  bool _stopping = false;                                 // guarded by _mutex
  std::function<void(const RecordedRequest&)> _observer;  // guarded by _mutex
};

DevServer::DevServer(DevServerOptions options)
    : _impl(std::make_unique<Impl>(std::move(options))) {}

DevServer::~DevServer() = default;

bool DevServer::start() { return _impl->start(); }
void DevServer::stop() { _impl->stop(); }
bool DevServer::isRunning() const { return _impl->isRunning(); }
std::string DevServer::startError() const { return _impl->startError(); }
int DevServer::port() const { return _impl->port(); }
std::string DevServer::baseUrl() const { return _impl->baseUrl(); }
std::string DevServer::inspectorUrl() const { return _impl->baseUrl() + "/"; }
bool DevServer::loopbackOnly() const { return _impl->loopbackOnly(); }

std::string DevServer::rpcUrl(std::string_view domainGroup,
                              std::optional<std::string_view> zone) const {
  std::string url = baseUrl() + "/DG/" + std::string(domainGroup) + "/rest/rpc/json/";
  if (zone) url += std::string(*zone) + "/";
  return url + "?";
}

RpcService& DevServer::service() { return _impl->service(); }
std::vector<RecordedRequest> DevServer::requests() const { return _impl->requests(); }
std::size_t DevServer::requestCount() const { return _impl->requestCount(); }

bool DevServer::waitForRequests(std::size_t count, std::chrono::milliseconds timeout) const {
  return _impl->waitForRequests(count, timeout);
}

bool DevServer::waitForHandled(std::size_t count, std::chrono::milliseconds timeout) const {
  return _impl->waitForHandled(count, timeout);
}

void DevServer::clearRequests() { _impl->clearRequests(); }

void DevServer::setRequestObserver(std::function<void(const RecordedRequest&)> observer) {
  _impl->setRequestObserver(std::move(observer));
}
void DevServer::injectFault(const Fault& fault, int times) { _impl->injectFault(fault, times); }

void DevServer::dropNextConnections(int times) {
  injectFault(Fault{.kind = Fault::Kind::kDropConnection}, times);
}

void DevServer::delayNextAnswers(std::chrono::milliseconds delay, int times) {
  injectFault(Fault{.kind = Fault::Kind::kDelay, .delay = delay}, times);
}

void DevServer::answerNextWithStatus(int status, std::string body, int times) {
  injectFault(Fault{.kind = Fault::Kind::kStatus, .status = status, .body = std::move(body)},
              times);
}

void DevServer::answerNextWithMultipleChoices(std::optional<std::string> location, int times) {
  injectFault(Fault{.kind = Fault::Kind::kMultipleChoices, .location = std::move(location)}, times);
}

void DevServer::redirectNext(int status, std::string location, int times) {
  injectFault(Fault{.kind = Fault::Kind::kRedirect, .status = status, .location = location}, times);
}

void DevServer::answerNextWithBody(std::string body, int times) {
  injectFault(Fault{.kind = Fault::Kind::kBody, .body = std::move(body)}, times);
}

void DevServer::truncateNextAnswers(int times) {
  injectFault(Fault{.kind = Fault::Kind::kTruncatedBody}, times);
}

void DevServer::cutNextAnswers(int times) {
  injectFault(Fault{.kind = Fault::Kind::kCutConnection}, times);
}

void DevServer::clearFaults() { _impl->clearFaults(); }
std::size_t DevServer::pendingFaults() const { return _impl->pendingFaults(); }

}  // namespace pelorin::devserver
