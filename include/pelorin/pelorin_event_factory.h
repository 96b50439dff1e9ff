// Hands out the process's one event bus.
//
// Thread safety: getInstance may be called from any thread.
#ifndef PELORIN_PELORIN_EVENT_FACTORY_H_
#define PELORIN_PELORIN_EVENT_FACTORY_H_

#include "pelorin/export.h"
#include "pelorin/pelorin_event_manager.h"

namespace pelorin {

class PELORIN_EXPORT PelorinEventFactory {
 public:
  PelorinEventFactory() = delete;

  // The bus, created on the first call and never destroyed, so handlers and threads that
  // still use it while the process exits find it intact.
  static PelorinEventManager& getInstance();
};

}  // namespace pelorin

#endif  // PELORIN_PELORIN_EVENT_FACTORY_H_
