#include "pelorin/headless/view.h"

#include <algorithm>
#include <cctype>

#include <fmt/format.h>

namespace pelorin::headless {

// --- TapGestureRecognizer

TapGestureRecognizer::TapGestureRecognizer(std::weak_ptr<void> target, Action action) {
  addTarget(std::move(target), std::move(action));
}

void TapGestureRecognizer::addTarget(std::weak_ptr<void> target, Action action) {
  if (!action) return;
  _entries.push_back(Entry{std::move(target), std::move(action)});
}

std::size_t TapGestureRecognizer::recognize() {
  if (!_enabled) return 0;
  std::erase_if(_entries, [](const Entry& entry) { return entry.target.expired(); });
  const std::vector<Entry> snapshot = _entries;  // actions may add targets
  std::size_t ran = 0;
  for (const Entry& entry : snapshot) {
    auto target = entry.target.lock();  // keeps the target alive while its action runs
    if (!target) continue;
    entry.action(*this);
    ++ran;
  }
  return ran;
}

// --- View

View::~View() {
  for (const auto& recognizer : _gestureRecognizers) recognizer->_view.reset();
}

void View::setAccessibilityIdentifier(std::string identifier) {
  _accessibilityIdentifier = std::move(identifier);
}

std::string View::description() const {
  std::string out = fmt::format("<{}; frame = ({:g} {:g}; {:g} {:g})", className(), _frame.origin.x,
                                _frame.origin.y, _frame.size.width, _frame.size.height);
  if (!_accessibilityIdentifier.empty()) {
    out += fmt::format("; identifier = '{}'", _accessibilityIdentifier);
  }
  if (_hidden) out += "; hidden = YES";
  describeDetails(out);
  out += '>';
  return out;
}

void View::describeDetails(std::string& /*out*/) const {}

void View::forEachSubview(SubviewVisitor visit) const {
  for (const auto& subview : _subviews) visit(*subview);
}

void View::addSubview(const std::shared_ptr<platform::View>& added) {
  auto view = std::dynamic_pointer_cast<View>(added);
  if (!view || isDescendantOf(*view)) return;
  view->removeFromSuperview();
  view->_superview = weak_from_this();
  _subviews.push_back(view);
}

void View::removeFromSuperview() {
  auto parent = _superview.lock();
  _superview.reset();
  if (!parent) return;
  for (auto ancestor = parent; ancestor; ancestor = ancestor->_superview.lock()) {
    ancestor->removeConstraintsReferencing(*this);
  }
  std::erase_if(parent->_subviews, [this](const auto& subview) { return subview.get() == this; });
}

void View::removeConstraintsReferencing(const View& removed) {
  std::erase_if(_constraints, [&removed](const LayoutConstraint& constraint) {
    for (const auto& name : constraint.viewNames()) {
      auto view = std::dynamic_pointer_cast<View>(constraint.view(name));
      if (view && view->isDescendantOf(removed)) return true;
    }
    return false;
  });
}

bool View::isDescendantOf(const View& ancestor) const {
  if (this == &ancestor) return true;
  for (auto parent = _superview.lock(); parent; parent = parent->_superview.lock()) {
    if (parent.get() == &ancestor) return true;
  }
  return false;
}

bool View::addConstraint(LayoutConstraint constraint) {
  if (!constraint.isValid()) return false;
  _constraints.push_back(std::move(constraint));
  return true;
}

std::vector<std::string> View::constraintFormats() const {
  std::vector<std::string> formats;
  formats.reserve(_constraints.size());
  for (const auto& constraint : _constraints) formats.push_back(constraint.visualFormat());
  return formats;
}

void View::addGestureRecognizer(const std::shared_ptr<TapGestureRecognizer>& recognizer) {
  if (!recognizer) return;
  if (auto previous = recognizer->view()) previous->removeGestureRecognizer(*recognizer);
  recognizer->_view = weak_from_this();
  _gestureRecognizers.push_back(recognizer);
}

void View::removeGestureRecognizer(const TapGestureRecognizer& recognizer) {
  std::erase_if(_gestureRecognizers, [&recognizer](const auto& attached) {
    if (attached.get() != &recognizer) return false;
    attached->_view.reset();
    return true;
  });
}

void View::tap() {
  if (_hidden) return;
  auto self = weak_from_this().lock();  // an action may remove the view from its tree
  const auto recognizers = _gestureRecognizers;
  for (const auto& recognizer : recognizers) recognizer->recognize();
}

// --- Label

void Label::describeDetails(std::string& out) const { appendTextDetail(out, "text", _text); }

void appendTextDetail(std::string& out, std::string_view name,
                      const std::optional<std::string>& text) {
  out += "; ";
  out += name;
  out += text ? " = '" + *text + "'" : std::string(" = nil");
}

}  // namespace pelorin::headless
