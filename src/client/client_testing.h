// Test support: the engine behind the client, and a reset after which the next
// `PelorinClient::getInstance()` builds a fresh client on the platform installed then, so
// each test of a binary starts from a fresh client and event bus.
//
//   PelorinClient::synchronized([&] {
//     EXPECT_TRUE(ClientTesting::engine(client).commitLog().isEmpty());
//   });
//   ClientTesting::reset();
//
// Thread safety: `engine` for a thread that holds the global lock; the waits and `reset`
// for a thread that does not.
#ifndef PELORIN_SRC_CLIENT_CLIENT_TESTING_H_
#define PELORIN_SRC_CLIENT_CLIENT_TESTING_H_

#include <cstddef>

#include "base/mutex.h"
#include "client/pelorin_client_impl.h"
#include "pelorin/pelorin_client.h"

namespace pelorin {

class ClientTesting {
 public:
  ClientTesting() = delete;

  // The engine of `client`. The calling thread must hold the global lock (inside
  // `PelorinClient::synchronized`); the process aborts when it does not.
  static PelorinClientImpl& engine(PelorinClient& client) ASSERT_CAPABILITY(globalLock()) {
    globalLock().assertHeld();
    return *client._engine;
  }

  // The engine's work in the background, which needs no lock (and must not hold it).
  static void waitForOperations(PelorinClient& client) EXCLUDES(globalLock()) {
    client._engine->waitForOperations();
  }
  static void waitForWrites(PelorinClient& client) { client._engine->waitForWrites(); }
  static std::size_t pendingOperations(PelorinClient& client) {
    return client._engine->pendingOperations();
  }

  // Destroys the client's engine with its plug-ins, and empties the event bus (its
  // handlers and queue). Waits first for the engine's operations, its file writes and a
  // request still running on the HTTP client. Call it from the main thread while no timer
  // or other thread of the test uses the client; then getInstance() makes a new one.
  // Without a client it only empties the bus.
  static void reset() EXCLUDES(globalLock());

 private:
  // The client's engine, taken away under the lock once no operation is queued: the
  // client is gone for getInstance(). Null without a client.
  static PelorinClientImpl* takeEngine() EXCLUDES(globalLock());
};

}  // namespace pelorin

#endif  // PELORIN_SRC_CLIENT_CLIENT_TESTING_H_
