// The subscriber side of the event bus: what a listener or a plug-in's service implements
// to receive events.
//
// Thread safety: the bus calls `handleEvent` inside the global lock, on the thread that
// published or replayed the event; a handler may publish, subscribe or replay from there.
#ifndef PELORIN_EVENT_HANDLER_H_
#define PELORIN_EVENT_HANDLER_H_

#include <memory>
#include <string>

#include "pelorin/event.h"
#include "pelorin/export.h"

namespace pelorin {

class PELORIN_EXPORT EventHandler {
 public:
  virtual ~EventHandler() = default;

  // The handler's identity. The bus records it in every event it delivers, so an event
  // reaches each identity once, and refuses a second subscription under an identifier
  // that a subscribed handler already answers to. Keep it fixed for the handler's life.
  virtual std::string listenerId() const = 0;

  // Receives one event. The event is shared with the bus's queue and its publisher; keep
  // the pointer to hold on to it, or publish it again.
  virtual void handleEvent(const std::shared_ptr<Event>& event) = 0;
};

// One subscription: the identifier given to `subscribe` and the handler it registered.
// The bus shares ownership of the handler (normally a plug-in's service, owned by the
// plug-in): a handler whose owner forgets to unsubscribe never dangles, and one that
// unsubscribes itself from inside handleEvent stays alive until it returns.
struct PELORIN_EXPORT HandlerMap {
  std::string id;
  std::shared_ptr<EventHandler> handler;
};

}  // namespace pelorin

#endif  // PELORIN_EVENT_HANDLER_H_
