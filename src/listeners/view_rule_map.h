// The rules a rule-driven service attached to views (controls, pickers), found again by the
// view that calls back. Views are told apart by identity (a toolkit hands out the same
// `View` object for the same toolkit object while it lives): a view that is gone, or a new
// view at the address of a freed one, has no rules.
//
// Thread safety: none; used on the main thread, like the views.
#ifndef PELORIN_SRC_LISTENERS_VIEW_RULE_MAP_H_
#define PELORIN_SRC_LISTENERS_VIEW_RULE_MAP_H_

#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "listeners/event_serivce_base.h"
#include "pelorin/platform/view.h"

namespace pelorin {

class ViewRuleMap {
 public:
  // Appends `rule` to the rules of `view` (the list starts on first use).
  void add(const std::shared_ptr<platform::View>& view, Rule rule) {
    Entry& entry = _entries[view.get()];
    if (entry.view.lock() != view) entry = Entry{view, {}};
    entry.rules.push_back(std::move(rule));
  }
  void add(const std::shared_ptr<platform::View>& view, JsonValue rule) {
    add(view, Rule(std::move(rule)));
  }

  // The rules of `view`, in the order they were added; nothing when it has none.
  std::optional<std::vector<Rule>> find(const platform::View& view) const {
    auto found = _entries.find(&view);
    if (found == _entries.end() || view.isGone()) return std::nullopt;
    if (found->second.view.lock().get() != &view) return std::nullopt;
    return found->second.rules;
  }

  // The same, with no rules as an empty list.
  std::vector<Rule> rulesOf(const platform::View& view) const {
    return find(view).value_or(std::vector<Rule>());
  }

 private:
  struct Entry {
    std::weak_ptr<platform::View> view;
    std::vector<Rule> rules;
  };
  std::map<const platform::View*, Entry> _entries;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_LISTENERS_VIEW_RULE_MAP_H_
