// What the devserver's inspector page shows: the last requests the server received, each
// with its commands and its answer, and per visitor the screens viewed and the segments
// and interactions answered. The JSON it hands out is described in README.md.
//
//   Inspector inspector({.capacity = 1000});
//   auto seq = inspector.received(request);                // before the answer
//   inspector.answered(seq, {.status = 200, .body = ...});  // once it is written
//   std::string page = inspector.requestsJson(0);
//
// Thread safety: every member may be called from any thread; one mutex guards the record.
#ifndef PELORIN_TOOLS_DEVSERVER_INSPECTOR_H_
#define PELORIN_TOOLS_DEVSERVER_INSPECTOR_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "devserver/rpc_service.h"

namespace pelorin::devserver {

struct RecordedRequest;

struct InspectorOptions {
  // How many requests are kept; older ones are dropped (and counted). 0 records nothing.
  std::size_t capacity = 1000;
  // A request or answer body longer than this is kept as its size and its first
  // `bodyPrefix` bytes. 16 MiB: the library's answer limit.
  std::size_t bodyLimit = std::size_t{16} * 1024 * 1024;
  std::size_t bodyPrefix = std::size_t{4} * 1024;
  // The time stamped on each request; the system clock when empty.
  std::function<std::chrono::system_clock::time_point()> clock{};
};

// How a request was answered, as the HTTP layer wrote it.
struct InspectedAnswer {
  int status = 0;  // 0: no answer was written (the connection was dropped or cut)
  std::string_view body{};
  // The "Set-Cookie" header sent, if any: it names a profile the batch created.
  std::optional<std::string> setCookie{};
  std::string_view fault{};  // the injected fault's name, "" for a normal answer
};

class Inspector {
 public:
  explicit Inspector(InspectorOptions options = {});

  // Records a request as it arrives; answers its number (1, 2, ...), 0 when nothing is
  // recorded (capacity 0). `profileId` is the visitor its cookie names, "" when none.
  std::uint64_t received(const RecordedRequest& request, const std::string& profileId);
  // Completes request `seq` with its answer; a request dropped from the record meanwhile
  // is ignored.
  void answered(std::uint64_t seq, const InspectedAnswer& answer);

  // {"cursor", "capacity", "kept", "dropped", "requests": [...]}: the requests received or
  // answered after `since` (a cursor handed out before; 0 for all), oldest first.
  std::string requestsJson(std::uint64_t since) const;
  // {"profiles": [{"id", "requests", "lastSeen", "properties"}, ...]}: every profile the
  // service holds or a request named, the one seen last first.
  std::string profilesJson(const RpcService& service) const;
  // One profile's properties, counted events, segments and screens; nothing when neither
  // the service nor a request knows the id.
  std::optional<std::string> profileJson(const RpcService& service,
                                         const std::string& profileId) const;

 private:
  struct Body {
    std::size_t size = 0;
    std::string text;  // whole, or its first bodyPrefix bytes when `cut`
    bool cut = false;
  };
  struct Entry {
    std::uint64_t seq = 0;
    std::uint64_t version = 0;  // the cursor value of its last change
    std::chrono::system_clock::time_point time;
    std::string method;
    std::string path;
    std::string query;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string profileId;
    Body body;
    bool answered = false;
    int status = 0;
    std::string fault;
    Body answer;
    // Its JSON, made when it is first asked for and again after a change.
    mutable std::string json;
  };
  // What was answered to a visitor's events of one type on one screen.
  struct ScreenViews {
    std::int64_t count = 0;
    std::string interactions = "[]";  // JSON text of the last answer's "interactions"
  };
  struct Visitor {
    std::uint64_t requests = 0;
    std::chrono::system_clock::time_point lastSeen;
    std::map<std::pair<std::string, std::string>, ScreenViews> screens;  // (type, screen)
    std::set<std::pair<std::string, std::string>> events;                // (interaction id, type)
    std::optional<std::string> segments;  // JSON text, as last answered
  };

  Body keep(std::string_view text) const;
  static std::string entryJson(const Entry& entry);
  void noteVisitor(const Entry& entry);  // _mutex held

  const InspectorOptions _options;
  mutable std::mutex _mutex;
  std::deque<Entry> _entries;                // guarded by _mutex; oldest first
  std::uint64_t _lastSeq = 0;                // guarded by _mutex
  std::uint64_t _cursor = 0;                 // guarded by _mutex
  std::uint64_t _dropped = 0;                // guarded by _mutex
  std::map<std::string, Visitor> _visitors;  // guarded by _mutex
};

}  // namespace pelorin::devserver

#endif  // PELORIN_TOOLS_DEVSERVER_INSPECTOR_H_
