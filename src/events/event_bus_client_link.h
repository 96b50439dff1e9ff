// What the event bus asks of the client: whether it exists and which screen is showing.
// The client engine installs its link when it is built; until then no client exists.
//
// Thread safety: the bus calls the link only inside the global lock.
#ifndef PELORIN_SRC_EVENTS_EVENT_BUS_CLIENT_LINK_H_
#define PELORIN_SRC_EVENTS_EVENT_BUS_CLIENT_LINK_H_

#include <optional>
#include <string>

namespace pelorin {

class EventBusClientLink {
 public:
  virtual ~EventBusClientLink() = default;

  // False while the client has not been created: events published then are dropped.
  virtual bool clientExists() const = 0;

  // The current screen's name, absent when none was set.
  virtual std::optional<std::string> currentScreenName() const = 0;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_EVENTS_EVENT_BUS_CLIENT_LINK_H_
