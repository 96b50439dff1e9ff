// Controls as the library sees them: views that send actions to targets when control events
// happen (target-action with control-event masks). A toolkit implements `Control` for its
// buttons, fields, switches...; `ControlTargets` keeps the targets for it.
//
// Thread safety: none; main thread only, like every toolkit object.
//
//   if (platform::Control* control = view->asControl()) {
//     control->addTarget(service, &Service::touchAction, ControlEvents::kTouchDown);
//   }
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

class Control;

// Names the member function of a target-action pair, so that a repeat can be recognised.
class PELORIN_EXPORT ActionSelector {
 public:
  virtual ~ActionSelector() = default;
  virtual bool equals(const ActionSelector& other) const = 0;
};

// One registration of a control: an action for a set of events, on behalf of a target
// that the control holds weakly.
struct PELORIN_EXPORT TargetAction {
  using Action = std::function<void(Control& sender)>;

  std::weak_ptr<void> target;
  Action action;
  ControlEvents events;
  // The member function the action calls; null for a function object, which cannot be
  // compared with another.
  std::shared_ptr<const ActionSelector> selector;
};

class PELORIN_EXPORT Control {
 public:
  using Action = TargetAction::Action;

  Control() = default;
  virtual ~Control() = default;
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  // The same object as a view.
  virtual View& asView() = 0;
  virtual ControlKind kind() const = 0;
  // True for a slider that sends value-changed at every step of a drag (not only on
  // release); false for every other control.
  virtual bool isContinuous() const = 0;

  // Registers `entry`: its action runs, with this control as sender, whenever one of its
  // events happens and as long as its target lives (the control holds the target weakly;
  // while the action runs the target is kept alive). An empty action or mask is ignored,
  // and so is the identical repeat of an entry: the same live target with an equal
  // selector for the same events, as the platform's controls do.
  virtual void addTargetAction(TargetAction entry) = 0;
  // Stops `events` from reaching `target`'s actions (every action's when `target` is
  // null); an entry left with no events is removed.
  virtual void removeTarget(const void* target, ControlEvents events) = 0;

  // A function object as the action: each call adds an entry.
  void addTarget(std::weak_ptr<void> target, Action action, ControlEvents events) {
    addTargetAction(TargetAction{std::move(target), std::move(action), events, nullptr});
  }
  // A member function of the target, the toolkit's target-action pair:
  //   control.addTarget(service, &RuleService::touchAction, ControlEvents::kTouchDown);
  // Adding the same target with the same member function for the same events again is
  // ignored, so the pair acts once per event however often it was added.
  template <typename T>
  void addTarget(const std::shared_ptr<T>& target, void (T::*action)(Control&),
                 ControlEvents events) {
    if (!target || action == nullptr) return;
    std::weak_ptr<T> weak = target;
    addTargetAction(TargetAction{std::weak_ptr<void>(target),
                                 [weak, action](Control& sender) {
                                   if (auto strong = weak.lock()) ((*strong).*action)(sender);
                                 },
                                 events, std::make_shared<const MemberSelector<T>>(action)});
  }

 private:
  template <typename T>
  class MemberSelector final : public ActionSelector {
   public:
    explicit MemberSelector(void (T::*action)(Control&)) : _action(action) {}
    bool equals(const ActionSelector& other) const override {
      const auto* same = dynamic_cast<const MemberSelector<T>*>(&other);
      return same != nullptr && same->_action == _action;
    }

   private:
    void (T::*_action)(Control&);
  };
};

// The targets of one control, for toolkits to build their controls on: keeps the entries,
// applies the identical-repeat rule, and runs the actions of an event.
//
//   void MyButton::addTargetAction(TargetAction entry) { _targets.add(std::move(entry)); }
//   void MyButton::onClicked() { _targets.send(*this, ControlEvents::kTouchUpInside); }
class PELORIN_EXPORT ControlTargets {
 public:
  // Adds `entry`; false when it is ignored (empty action or mask, or an identical repeat).
  // Entries whose target is gone are dropped first; the others keep their order.
  bool add(TargetAction entry);
  // An action with no target, owned by the control: it runs for as long as the control
  // lives.
  void addAction(TargetAction::Action action, ControlEvents events);
  void remove(const void* target, ControlEvents events);

  // The events that the live target `target` is registered for (empty when none).
  ControlEvents eventsForTarget(const void* target) const;
  // The union of the events of every live entry.
  ControlEvents allEvents() const;
  // How many live targets (distinct objects) have entries.
  std::size_t targetCount() const;

  // Runs, in the order they were added, the actions of every live entry registered for at
  // least one of `events`, once each, with `sender`. Entries added by an action wait for
  // the next call; entries that an action removes do not run. The caller keeps `sender`
  // alive meanwhile.
  void send(Control& sender, ControlEvents events);

 private:
  struct Entry {
    std::uint64_t id;
    TargetAction registration;
    bool hasTarget;  // false: a target-less action owned by the control
  };

  static bool isLive(const Entry& entry) {
    return !entry.hasTarget || !entry.registration.target.expired();
  }
  // The events the entry `id` is registered for now (empty once it was removed).
  ControlEvents currentEvents(std::uint64_t id) const;

  std::vector<Entry> _entries;
  std::uint64_t _lastEntryId = 0;
};

}  // namespace pelorin::platform

#endif  // PELORIN_PLATFORM_CONTROL_H_
