#include "client/client_testing.h"

#include "pelorin/pelorin_event_factory.h"
#include "protocol/pelorin_connector.h"

namespace pelorin {

void ClientTesting::reset() {
  // Destroyed outside the lock: its queue's worker and its writer are joined, and plug-ins
  // and handlers that go with it may take the lock on the way.
  delete takeEngine();
  PelorinConnector::waitForAbandonedRequest();
  PelorinEventManager& bus = PelorinEventFactory::getInstance();
  bus.clearEventHandlers();
  bus.clearEvents();
}

}  // namespace pelorin
