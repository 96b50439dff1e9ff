// The reference server over HTTP: serves the client protocol on a loopback port, records
// every request it receives, and misbehaves on request (dropped connections, delays, odd
// statuses, redirects, broken bodies) so tests can drive the client through its failure
// paths.
//
//   pelorin::devserver::DevServer server;
//   server.start();                       // 127.0.0.1 on a free port
//   std::string url = server.rpcUrl();    // "http://127.0.0.1:<port>/DG/DEFAULT/rest/rpc/json/?"
//   server.dropNextConnections(2);
//
// Thread safety: every member may be called from any thread. Requests are served on a
// pool of threads of the server's own.
#ifndef PELORIN_TOOLS_DEVSERVER_DEV_SERVER_H_
#define PELORIN_TOOLS_DEVSERVER_DEV_SERVER_H_

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "devserver/inspector.h"
#include "devserver/rpc_service.h"

namespace pelorin::devserver {

// A request as it reached the server.
struct RecordedRequest {
  std::string method;
  std::string path;   // without the query
  std::string query;  // the raw text after "?", "" when there is none
  // As received, minus the server's own bookkeeping entries (remote and local address).
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;

  // The first header named `name` (compared without case); "" when absent.
  std::string header(std::string_view name) const;
  bool hasHeader(std::string_view name) const;
};

// One way of misbehaving, applied to one request.
struct Fault {
  enum class Kind {
    // Read the request, then close the connection without a byte of answer.
    kDropConnection,
    // Wait `delay`, then answer normally.
    kDelay,
    // Answer with `status` and `body`.
    kStatus,
    // Answer 300 with the JSON body {"location": `location`}, or {} without a location.
    kMultipleChoices,
    // Answer `status` (302, 307, ...) with a "Location" header: `location`.
    kRedirect,
    // Answer 200 with `body` as it is (garbage, JSON that is not a batch answer, ...).
    kBody,
    // Answer 200 with the first half of the real answer, as a complete body.
    kTruncatedBody,
    // Announce the real answer's length, send half of it, and close the connection.
    kCutConnection,
  };

  Kind kind = Kind::kDropConnection;
  int status = 200;
  std::string body{};
  std::optional<std::string> location{};
  std::chrono::milliseconds delay{0};

  static std::string_view name(Kind kind);
};

struct DevServerOptions {
  // The address to listen on. Anything but a loopback address makes the inspector page,
  // and so everything the apps send, reachable from the network.
  std::string host = "127.0.0.1";
  int port = 0;  // 0: any free port
  // Write one line per request (method, target, status, bodies) to `logSink`.
  bool logRequests = false;
  // Where log lines go; standard output when empty.
  std::function<void(std::string_view)> logSink;
  RpcService::Options rpc;
  // What interactions requests are answered with; empty lists when none of the three is
  // given. Give at most one: `screenContent` itself, a configuration object (`config`) or
  // the path of a JSON file holding one (`configFile`), read by `ConfigScreenContent`
  // (format in README.md). A configuration that cannot be used makes start() fail, with
  // the reason in startError().
  std::unique_ptr<ScreenContent> screenContent;
  std::optional<JsonValue> config;
  std::optional<std::string> configFile;
  // What the inspector page at "/" keeps: how many requests, and how much of a large body.
  InspectorOptions inspector;
};

class DevServer {
 public:
  explicit DevServer(DevServerOptions options = {});
  // Stops the server (interrupting delayed answers) and waits for its threads.
  ~DevServer();
  DevServer(const DevServer&) = delete;
  DevServer& operator=(const DevServer&) = delete;

  // Binds the address and starts serving; connections are accepted as soon as this
  // returns. False when the address cannot be bound, the server was started before, or
  // the configuration cannot be used.
  bool start();
  void stop();
  bool isRunning() const;
  // Why the last start() failed, e.g. "cannot listen on 127.0.0.1:80" or
  // "configuration: screens.home[0]: an interaction must be an object"; "" after a start
  // that succeeded.
  std::string startError() const;

  // The bound port (0 before start()).
  int port() const;
  // "http://127.0.0.1:<port>"
  std::string baseUrl() const;
  // The inspector page: baseUrl() + "/".
  std::string inspectorUrl() const;
  // Whether the server listens on a loopback address only (127.0.0.0/8, ::1, localhost).
  bool loopbackOnly() const;
  // The client's remote-procedure-call address on this server, ending in "?" like the one
  // the client builds: baseUrl() + "/DG/<group>/rest/rpc/json/" + ("<zone>/") + "?".
  std::string rpcUrl(std::string_view domainGroup = "DEFAULT",
                     std::optional<std::string_view> zone = std::nullopt) const;

  RpcService& service();

  // --- Recorded requests ------------------------------------------------------------------
  std::vector<RecordedRequest> requests() const;
  std::size_t requestCount() const;
  // Waits until at least `count` requests have been received; false on time-out.
  bool waitForRequests(std::size_t count, std::chrono::milliseconds timeout) const;
  // Waits until at least `count` requests have been completely handled (answered,
  // dropped or cut); false on time-out.
  bool waitForHandled(std::size_t count, std::chrono::milliseconds timeout) const;
  void clearRequests();
  // Calls `observer` with each request as it is received, on the thread serving it, before
  // it is answered (or dropped). Set before requests arrive.
  void setRequestObserver(std::function<void(const RecordedRequest&)> observer);

  // --- Fault injection --------------------------------------------------------------------
  // Faults queue up; each POST to the protocol's address takes the first one.
  void injectFault(const Fault& fault, int times = 1);
  void dropNextConnections(int times);
  void delayNextAnswers(std::chrono::milliseconds delay, int times = 1);
  void answerNextWithStatus(int status, std::string body = "", int times = 1);
  void answerNextWithMultipleChoices(std::optional<std::string> location, int times = 1);
  void redirectNext(int status, std::string location, int times = 1);
  void answerNextWithBody(std::string body, int times = 1);
  void truncateNextAnswers(int times = 1);
  void cutNextAnswers(int times = 1);
  void clearFaults();
  std::size_t pendingFaults() const;

 private:
  class Impl;
  std::unique_ptr<Impl> _impl;
};

}  // namespace pelorin::devserver

#endif  // PELORIN_TOOLS_DEVSERVER_DEV_SERVER_H_
