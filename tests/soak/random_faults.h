// Random faults for a long run: each request that reaches the devserver's protocol address
// misbehaves with a given probability, in a way drawn from a seeded generator. Batches the
// server applies without the client taking the answer (a truncated or cut answer, and the
// answer at the end of a redirect the HTTP client followed, after which the batch is posted
// again) are tallied with the events they carried, so the test knows how often the server
// counted an event that the client then sent again.
//
// Thread safety: the observer runs on the server's threads; every member may be called
// from any thread.
#ifndef PELORIN_TESTS_SOAK_RANDOM_FAULTS_H_
#define PELORIN_TESTS_SOAK_RANDOM_FAULTS_H_

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <utility>

#include "devserver/dev_server.h"
#include "pelorin/json_value.h"

namespace pelorin::testing {

class RandomFaults {
 public:
  // (interaction id, event type) -> count
  using EventCounts = std::map<std::pair<std::string, std::string>, std::int64_t>;

  RandomFaults(devserver::DevServer& server, std::uint32_t seed, double rate)
      : _server(server), _state(std::make_shared<State>(seed, rate)) {
    server.setRequestObserver([&server, state = _state](const devserver::RecordedRequest& request) {
      if (request.method != "POST" || request.path.find("/rest/rpc/json/") == std::string::npos) {
        return;
      }
      std::lock_guard<std::mutex> lock(state->mutex);
      if (!state->on) return;
      // The client sends one request at a time, so the request after a redirect is the one
      // the HTTP client followed it with. Redirects lead to the protocol address without a
      // query (curl drops the final "?"), so a chain that began at a request of the
      // client's own, which has a query, ends at another address than the one asked for:
      // the server applies the batch there, and the connector posts it again.
      const bool followed = std::exchange(state->following, false);
      const bool endsAway = followed && state->chainAway;
      if (!state->chance(state->random)) {
        if (endsAway) countEvents(request.body, state->appliedTwice);
        return;
      }
      const devserver::Fault fault = state->draw(server);
      ++state->injected[std::string(devserver::Fault::name(fault.kind))];
      using Kind = devserver::Fault::Kind;
      if (fault.kind == Kind::kRedirect) {
        state->following = true;
        state->chainAway = followed ? state->chainAway : !request.query.empty();
      }
      // Applied, and the answer lost (or, at the end of such a chain, not taken).
      if (fault.kind == Kind::kTruncatedBody || fault.kind == Kind::kCutConnection ||
          (fault.kind == Kind::kDelay && endsAway)) {
        countEvents(request.body, state->appliedTwice);
      }
      // Only this observer injects faults, and the client sends one request at a time, so
      // the fault is the first in the queue: the request being observed takes it.
      server.injectFault(fault);
    });
  }
  ~RandomFaults() { _server.setRequestObserver(nullptr); }
  RandomFaults(const RandomFaults&) = delete;
  RandomFaults& operator=(const RandomFaults&) = delete;

  // Stops injecting (faults already queued are cleared too).
  void stop() {
    {
      std::lock_guard<std::mutex> lock(_state->mutex);
      _state->on = false;
    }
    _server.clearFaults();
  }
  // Events the server counted for a batch whose answer the client did not take: each comes
  // again with the client's next try.
  EventCounts appliedTwice() const {
    std::lock_guard<std::mutex> lock(_state->mutex);
    return _state->appliedTwice;
  }
  // Faults injected so far, by kind.
  std::map<std::string, int> injected() const {
    std::lock_guard<std::mutex> lock(_state->mutex);
    return _state->injected;
  }

  // The counted events ("createEvent" with an interaction) in a batch body.
  static void countEvents(const std::string& body, EventCounts& counts) {
    auto batch = JsonValue::parse(body);
    if (!batch) return;
    for (JsonRef command : batch->elements()) {
      if (command["method"].stringView() != "createEvent") continue;
      auto params = JsonValue::parse(command["params"].stringView());
      if (!params) continue;
      const std::string interaction = params->get("interaction").at(0).string();
      if (!interaction.empty()) ++counts[{interaction, params->get("type").at(0).string()}];
    }
  }

 private:
  struct State {
    State(std::uint32_t seed, double rate) : random(seed), chance(rate) {}

    devserver::Fault draw(const devserver::DevServer& server) {
      using Kind = devserver::Fault::Kind;
      switch (std::uniform_int_distribution<int>(0, 9)(random)) {
        case 0:
          return {.kind = Kind::kDropConnection};
        case 1:
          return {.kind = Kind::kStatus, .status = 500, .body = "Internal Server Error"};
        case 2:
          return {.kind = Kind::kStatus, .status = 503, .body = ""};
        case 3:
          return {.kind = Kind::kBody, .body = "<html>maintenance</html>"};
        case 4:
          return {.kind = Kind::kTruncatedBody};
        case 5:
          return {.kind = Kind::kCutConnection};
        case 6:
          return {.kind = Kind::kMultipleChoices};
        case 7:
          return {.kind = Kind::kMultipleChoices, .location = server.rpcUrl()};
        case 8:
          return {.kind = Kind::kRedirect, .status = 307, .location = server.rpcUrl()};
        default:
          // Well within the client's wait: slow, not lost.
          return {.kind = Kind::kDelay,
                  .delay =
                      std::chrono::milliseconds(std::uniform_int_distribution<int>(5, 60)(random))};
      }
    }

    std::mutex mutex;
    std::mt19937 random;                  // guarded by mutex
    std::bernoulli_distribution chance;   // guarded by mutex
    bool on = true;                       // guarded by mutex
    bool following = false;               // guarded by mutex: the last request was redirected
    bool chainAway = false;               // guarded by mutex: its chain began with a query
    EventCounts appliedTwice;             // guarded by mutex
    std::map<std::string, int> injected;  // guarded by mutex
  };

  devserver::DevServer& _server;
  std::shared_ptr<State> _state;
};

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_SOAK_RANDOM_FAULTS_H_
