#include "pelorin/headless/picker_view.h"

#include <fmt/format.h>

namespace pelorin::headless {

PickerView::PickerView(std::vector<std::vector<std::string>> components) {
  setComponents(std::move(components));
}

void PickerView::setComponents(std::vector<std::vector<std::string>> components) {
  _components = std::move(components);
  _selected.assign(_components.size(), std::nullopt);
  for (std::size_t i = 0; i < _components.size(); ++i) {
    if (!_components[i].empty()) _selected[i] = 0;
  }
}

std::size_t PickerView::numberOfRows(std::size_t component) const {
  return component < _components.size() ? _components[component].size() : 0;
}

std::optional<std::string> PickerView::titleForRow(std::size_t row, std::size_t component) const {
  if (row >= numberOfRows(component)) return std::nullopt;
  return _components[component][row];
}

std::optional<std::size_t> PickerView::selectedRow(std::size_t component) const {
  return component < _selected.size() ? _selected[component] : std::nullopt;
}

std::optional<std::string> PickerView::selectedTitle(std::size_t component) const {
  auto row = selectedRow(component);
  return row ? titleForRow(*row, component) : std::nullopt;
}

bool PickerView::selectRow(std::size_t row, std::size_t component) {
  if (row >= numberOfRows(component)) return false;
  _selected[component] = row;
  return true;
}

bool PickerView::pickRow(std::size_t row, std::size_t component) {
  if (isHidden() || !selectRow(row, component)) return false;
  if (auto delegate = _delegate.lock()) delegate->didSelectRow(*this, row, component);
  return true;
}

void PickerView::describeDetails(std::string& out) const {
  std::string selected;
  for (std::size_t i = 0; i < _components.size(); ++i) {
    if (i > 0) selected += ", ";
    auto title = selectedTitle(i);
    selected += title ? fmt::format("'{}'", *title) : "nil";
  }
  out += fmt::format("; selected = [{}]", selected);
}

}  // namespace pelorin::headless
