#include "pelorin/platform/view.h"

#include <algorithm>
#include <cctype>

#include <fmt/format.h>

namespace pelorin::platform {

// --- LayoutConstraint

LayoutConstraint::LayoutConstraint(std::string visualFormat,
                                   const std::map<std::string, std::shared_ptr<View>>& views)
    : _visualFormat(std::move(visualFormat)) {
  for (const auto& [name, view] : views) _views.emplace(name, view);
}

std::shared_ptr<View> LayoutConstraint::view(std::string_view name) const {
  auto found = _views.find(name);
  return found == _views.end() ? nullptr : found->second.lock();
}

std::vector<std::string> LayoutConstraint::viewNames() const {
  std::vector<std::string> names;
  names.reserve(_views.size());
  for (const auto& entry : _views) names.push_back(entry.first);
  return names;
}

std::vector<std::string> LayoutConstraint::namesInFormat() const {
  std::vector<std::string> names;
  for (std::size_t open = _visualFormat.find('['); open != std::string::npos;
       open = _visualFormat.find('[', open + 1)) {
    std::size_t end = open + 1;
    while (end < _visualFormat.size() &&
           (std::isalnum(static_cast<unsigned char>(_visualFormat[end])) != 0 ||
            _visualFormat[end] == '_')) {
      ++end;
    }
    names.push_back(_visualFormat.substr(open + 1, end - open - 1));
  }
  return names;
}

bool LayoutConstraint::isValid() const {
  if (_visualFormat.empty()) return false;
  const auto names = namesInFormat();
  return std::all_of(names.begin(), names.end(),
                     [this](const std::string& name) { return view(name) != nullptr; });
}

bool LayoutConstraint::references(const View& target) const {
  return std::any_of(_views.begin(), _views.end(),
                     [&target](const auto& entry) { return entry.second.lock().get() == &target; });
}

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

void View::addSubview(const std::shared_ptr<View>& view) {
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
      auto view = constraint.view(name);
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

bool View::addConstraints(std::string visualFormat,
                          const std::map<std::string, std::shared_ptr<View>>& views) {
  return addConstraint(LayoutConstraint(std::move(visualFormat), views));
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

}  // namespace pelorin::platform
