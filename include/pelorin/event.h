// The events that travel over the event bus: taps, form submits and field changes seen in
// the user interface, value and content updates, and the application's own named events.
//
// Thread safety: an event is built by one thread and handed to the bus as a shared_ptr.
// Once published, the bus writes its `location` and `handledBy` under the global lock
// (`PelorinClient::synchronized`); read or change them under that lock too.
#ifndef PELORIN_EVENT_H_
#define PELORIN_EVENT_H_

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pelorin/export.h"

namespace pelorin::platform {
class ViewController;
}  // namespace pelorin::platform

namespace pelorin {

// The base of every event. An event's name is its concrete class's module-qualified name
// ("PelorinClient.ClickEvent"); the bus files subscriptions under that name, so subscribe
// with the class's NAME:
//
//   bus.subscribe(ClickEvent::NAME, handler, handler->listenerId());
class PELORIN_EXPORT Event {
 public:
  static constexpr std::string_view NAME = "PelorinClient.Event";

  Event() = default;
  virtual ~Event() = default;
  // Events are shared by identity; copying one would make a second event.
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  // The name of the concrete class; each class has its own, a subclass never answers to
  // its base's name.
  virtual std::string_view name() const { return NAME; }

  // The screen on which the event was published; set by the bus, absent before.
  const std::optional<std::string>& location() const { return _location; }
  void setLocation(std::optional<std::string> location) { _location = std::move(location); }

  // The identities of the handlers that received the event, in delivery order.
  const std::vector<std::string>& handledBy() const { return _handledBy; }
  // Appends `listenerId` as it is, even when it is already there.
  void addHandledBy(std::string listenerId) { _handledBy.push_back(std::move(listenerId)); }

  // The event as it appears in log lines, e.g. "'button1' - PelorinClient.ClickEvent".
  virtual std::string message() const;

  // message(), the location and the handlers, e.g.
  // "'button1' - PelorinClient.ClickEvent at 'Home' handled by [h1, h2]"
  // ("without location" before publication).
  std::string description() const;

 private:
  std::optional<std::string> _location;
  std::vector<std::string> _handledBy;
};

// A tap on a control found by `selector`; `context` carries the interaction's context
// values when the listener has some.
class PELORIN_EXPORT ClickEvent : public Event {
 public:
  static constexpr std::string_view NAME = "PelorinClient.ClickEvent";

  explicit ClickEvent(std::string selector) : _selector(std::move(selector)) {}
  ClickEvent(std::string selector, std::optional<std::vector<std::string>> context)
      : _selector(std::move(selector)), _context(std::move(context)) {}

  std::string_view name() const override { return NAME; }
  // "'" + selector + "' - " + name().
  std::string message() const override;

  const std::string& selector() const { return _selector; }
  const std::optional<std::vector<std::string>>& context() const { return _context; }

 private:
  std::string _selector;
  std::optional<std::vector<std::string>> _context;
};

// A form found by `selector` was submitted.
class PELORIN_EXPORT FormSubmitEvent : public ClickEvent {
 public:
  static constexpr std::string_view NAME = "PelorinClient.FormSubmitEvent";
  using ClickEvent::ClickEvent;
  std::string_view name() const override { return NAME; }
};

// A field found by `selector` changed its value.
class PELORIN_EXPORT FieldChangeEvent : public ClickEvent {
 public:
  static constexpr std::string_view NAME = "PelorinClient.FieldChangeEvent";
  using ClickEvent::ClickEvent;
  std::string_view name() const override { return NAME; }
};

// New values, optionally for the view found by `selector`. Its message is its name alone,
// like a plain event's.
class PELORIN_EXPORT UpdateValuesEvent : public Event {
 public:
  static constexpr std::string_view NAME = "PelorinClient.UpdateValuesEvent";

  explicit UpdateValuesEvent(std::vector<std::string> values) : _values(std::move(values)) {}
  UpdateValuesEvent(std::string selector, std::vector<std::string> values)
      : _values(std::move(values)), _selector(std::move(selector)) {}

  std::string_view name() const override { return NAME; }

  const std::vector<std::string>& values() const { return _values; }
  const std::optional<std::string>& selector() const { return _selector; }

 private:
  std::vector<std::string> _values;
  std::optional<std::string> _selector;
};

// New content, optionally for the view found by `selector`.
class PELORIN_EXPORT UpdateContentEvent : public Event {
 public:
  static constexpr std::string_view NAME = "PelorinClient.UpdateContentEvent";

  explicit UpdateContentEvent(std::vector<std::string> content) : _content(std::move(content)) {}
  UpdateContentEvent(std::string selector, std::vector<std::string> content)
      : _content(std::move(content)), _selector(std::move(selector)) {}

  std::string_view name() const override { return NAME; }
  // "'" + selector ("" when absent) + "' - " + name().
  std::string message() const override;

  const std::vector<std::string>& content() const { return _content; }
  const std::optional<std::string>& selector() const { return _selector; }

 private:
  std::vector<std::string> _content;
  std::optional<std::string> _selector;
};

// An event the application names itself, e.g. "purchase", published through the client.
class PELORIN_EXPORT AdvancedEvent : public Event {
 public:
  static constexpr std::string_view NAME = "PelorinClient.AdvancedEvent";

  explicit AdvancedEvent(std::string eventName) : _eventName(std::move(eventName)) {}
  AdvancedEvent(std::string eventName, std::optional<std::vector<std::string>> context)
      : _eventName(std::move(eventName)), _context(std::move(context)) {}

  std::string_view name() const override { return NAME; }
  // "'" + eventName + "' - " + name().
  std::string message() const override;

  const std::string& eventName() const { return _eventName; }
  void setEventName(std::string eventName) { _eventName = std::move(eventName); }
  const std::optional<std::vector<std::string>>& context() const { return _context; }

  // The view controller of the screen the event belongs to. Held weakly: an event kept in
  // the bus's queue must not keep a screen alive after the application dismissed it.
  const std::weak_ptr<platform::ViewController>& myLocation() const { return _myLocation; }
  void setMyLocation(std::weak_ptr<platform::ViewController> viewController) {
    _myLocation = std::move(viewController);
  }

 private:
  std::string _eventName;
  std::optional<std::vector<std::string>> _context;
  std::weak_ptr<platform::ViewController> _myLocation;
};

}  // namespace pelorin

#endif  // PELORIN_EVENT_H_
