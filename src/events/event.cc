#include "pelorin/event.h"

#include <fmt/format.h>

namespace pelorin {

std::string Event::message() const { return std::string(name()); }

std::string Event::description() const {
  std::string text = message();
  text += _location ? fmt::format(" at '{}'", *_location) : std::string(" without location");
  text += fmt::format(" handled by [{}]", fmt::join(_handledBy, ", "));
  return text;
}

std::string ClickEvent::message() const { return fmt::format("'{}' - {}", _selector, name()); }

std::string UpdateContentEvent::message() const {
  return fmt::format("'{}' - {}", _selector.value_or(""), name());
}

std::string AdvancedEvent::message() const { return fmt::format("'{}' - {}", _eventName, name()); }

}  // namespace pelorin
