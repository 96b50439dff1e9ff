// Controls of the headless toolkit: views that send actions to targets when control events
// happen (target-action with control-event masks).
//
// Thread safety: none; main thread only, like every toolkit object.
//
//   auto buy = std::make_shared<Button>("Buy");
//   buy->addTarget(service, [](Control& sender) { ... }, ControlEvents::kTouchUpInside);
//   buy->tap();  // touch-down, then touch-up-inside: the action runs once
#ifndef PELORIN_PLATFORM_CONTROL_H_
#define PELORIN_PLATFORM_CONTROL_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "pelorin/export.h"
#include "pelorin/platform/view.h"

namespace pelorin::platform {

// A set of control events. The bit values are those of the common mobile toolkit, so masks
// written by rules and plug-ins keep their meaning.
class PELORIN_EXPORT ControlEvents {
 public:
  static const ControlEvents kTouchDown;            // 0x1
  static const ControlEvents kTouchUpInside;        // 0x40
  static const ControlEvents kValueChanged;         // 0x1000
  static const ControlEvents kEditingDidBegin;      // 0x10000
  static const ControlEvents kEditingChanged;       // 0x20000
  static const ControlEvents kEditingDidEnd;        // 0x40000
  static const ControlEvents kEditingDidEndOnExit;  // 0x80000
  static const ControlEvents kAllEvents;            // 0xFFFFFFFF

  constexpr ControlEvents() = default;
  constexpr explicit ControlEvents(std::uint32_t bits) : _bits(bits) {}

  constexpr std::uint32_t bits() const { return _bits; }
  constexpr bool empty() const { return _bits == 0; }
  // True when the two sets share at least one event.
  constexpr bool intersects(ControlEvents other) const { return (_bits & other._bits) != 0; }
  constexpr bool contains(ControlEvents other) const {
    return (_bits & other._bits) == other._bits;
  }

  friend constexpr ControlEvents operator|(ControlEvents a, ControlEvents b) {
    return ControlEvents(a._bits | b._bits);
  }
  friend constexpr ControlEvents operator&(ControlEvents a, ControlEvents b) {
    return ControlEvents(a._bits & b._bits);
  }
  friend constexpr bool operator==(ControlEvents, ControlEvents) = default;

 private:
  std::uint32_t _bits = 0;
};

inline constexpr ControlEvents ControlEvents::kTouchDown{0x1};
inline constexpr ControlEvents ControlEvents::kTouchUpInside{0x40};
inline constexpr ControlEvents ControlEvents::kValueChanged{0x1000};
inline constexpr ControlEvents ControlEvents::kEditingDidBegin{0x10000};
inline constexpr ControlEvents ControlEvents::kEditingChanged{0x20000};
inline constexpr ControlEvents ControlEvents::kEditingDidEnd{0x40000};
inline constexpr ControlEvents ControlEvents::kEditingDidEndOnExit{0x80000};
inline constexpr ControlEvents ControlEvents::kAllEvents{0xFFFFFFFF};

// What kind of control a view is; listeners choose the events to observe by it.
enum class ControlKind {
  kButton,
  kTextField,
  kSwitch,
  kSlider,
  kStepper,
  kSegmentedControl,
  kDatePicker,
  kOther,
};

PELORIN_EXPORT std::string_view toString(ControlKind kind);

// The base of every control. On its own (kind kOther) it is a generic control that an app
// subclasses; the concrete ones are in controls.h.
class PELORIN_EXPORT Control : public View {
 public:
  using Action = std::function<void(Control&)>;

  std::string_view className() const override { return "Control"; }
  virtual ControlKind kind() const { return ControlKind::kOther; }

  bool isEnabled() const { return _enabled; }
  // A disabled control ignores the user (tap, typing, dragging...); `sendActions` still
  // works.
  void setEnabled(bool enabled) { _enabled = enabled; }

  // Calls `action` with this control whenever one of `events` happens, as long as `target`
  // lives: the control holds the target weakly and drops the entry once it is gone. While
  // the action runs, the target is kept alive. A function object cannot be compared with
  // another, so each call adds an entry. An empty action or mask is ignored.
  void addTarget(std::weak_ptr<void> target, Action action, ControlEvents events);
  // The same with a member function of the target, the toolkit's target-action pair:
  //   control.addTarget(service, &RuleService::touchAction, ControlEvents::kTouchDown);
  // Adding the same target with the same member function for the same events again is
  // ignored, so the pair acts once per event however often it was added.
  template <typename T>
  void addTarget(const std::shared_ptr<T>& target, void (T::*action)(Control&),
                 ControlEvents events) {
    if (!target || action == nullptr || events.empty()) return;
    auto selector = std::make_shared<const MemberSelector<T>>(action);
    if (hasEntry(target.get(), *selector, events)) return;
    std::weak_ptr<T> weak = target;
    addEntry(
        std::weak_ptr<void>(target),
        [weak, action](Control& sender) {
          if (auto strong = weak.lock()) ((*strong).*action)(sender);
        },
        events, std::move(selector));
  }
  // An action that the control itself owns, with no target: it runs for as long as the
  // control lives.
  void addAction(Action action, ControlEvents events);
  // Stops `events` from reaching `target`'s actions (all targets and target-less actions
  // when `target` is null); an entry left with no events is removed.
  void removeTarget(const void* target, ControlEvents events);

  // The events that the live target `target` is registered for (empty when none).
  ControlEvents controlEventsForTarget(const void* target) const;
  // The union of the events of every live entry.
  ControlEvents allControlEvents() const;
  // How many live targets (distinct objects) have entries.
  std::size_t targetCount() const;

  // Runs, in the order they were added, the actions of every live entry registered for at
  // least one of `events`, once each. Entries added by an action wait for the next call;
  // entries that an action removes do not run.
  void sendActions(ControlEvents events);

  // The user taps the control: when enabled, touch-down then touch-up-inside. Some
  // controls do more (a switch toggles).
  void tap() override;

 protected:
  void describeDetails(std::string& out) const override;

 private:
  // Names the member function of a target-action pair, so a repeat can be recognised.
  class Selector {
   public:
    virtual ~Selector() = default;
    virtual bool equals(const Selector& other) const = 0;
  };
  template <typename T>
  class MemberSelector final : public Selector {
   public:
    explicit MemberSelector(void (T::*action)(Control&)) : _action(action) {}
    bool equals(const Selector& other) const override {
      const auto* same = dynamic_cast<const MemberSelector<T>*>(&other);
      return same != nullptr && same->_action == _action;
    }

   private:
    void (T::*_action)(Control&);
  };
  struct Entry {
    std::uint64_t id;
    std::weak_ptr<void> target;
    bool hasTarget;  // false: a target-less action owned by the control
    Action action;
    ControlEvents events;
    std::shared_ptr<const Selector> selector;  // none for a function object
  };

  // True when the live `target` already has an entry with `selector` for exactly `events`.
  bool hasEntry(const void* target, const Selector& selector, ControlEvents events) const;
  void addEntry(std::weak_ptr<void> target, Action action, ControlEvents events,
                std::shared_ptr<const Selector> selector);
  bool isLive(const Entry& entry) const { return !entry.hasTarget || !entry.target.expired(); }

  // The events the entry `id` is registered for now (empty once it was removed).
  ControlEvents currentEvents(std::uint64_t id) const;

  std::vector<Entry> _entries;
  std::uint64_t _lastEntryId = 0;
  bool _enabled = true;
};

}  // namespace pelorin::platform

#endif  // PELORIN_PLATFORM_CONTROL_H_
