#include "pelorin/pelorin_event_factory.h"

namespace pelorin {

PelorinEventManager& PelorinEventFactory::getInstance() {
  // Leaked on purpose: the bus lives as long as the process (see the header).
  static auto* manager = new PelorinEventManager();
  return *manager;
}

}  // namespace pelorin
