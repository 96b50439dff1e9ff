// Picker views: a QComboBox or a QListView is a picker of one component (its items; the
// selected row is the combo box's current item, the list's first selected row), and a
// widget marked with `markPicker` has one component per child combo box or list view.
#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QAbstractItemModel>
#include <QComboBox>
#include <QItemSelectionModel>
#include <QListView>
#include <QVariant>

#include "pelorin/platform/picker_view.h"
#include "qt/kinds.h"
#include "qt/view_registry.h"

namespace pelorin::qt {

namespace {

// One component: a combo box or a list view.
class Component {
 public:
  explicit Component(QWidget& widget)
      : _combo(qobject_cast<QComboBox*>(&widget)), _list(qobject_cast<QListView*>(&widget)) {}

  static bool isComponent(const QWidget& widget) {
    return qobject_cast<const QComboBox*>(&widget) != nullptr ||
           qobject_cast<const QListView*>(&widget) != nullptr;
  }

  std::size_t rowCount() const {
    if (_combo) return static_cast<std::size_t>(std::max(0, _combo->count()));
    if (_list && _list->model() != nullptr) {
      return static_cast<std::size_t>(std::max(0, _list->model()->rowCount(_list->rootIndex())));
    }
    return 0;
  }

  std::optional<std::size_t> selectedRow() const {
    if (rowCount() == 0) return std::nullopt;
    if (_combo) {
      if (_combo->currentIndex() < 0) return std::nullopt;
      return static_cast<std::size_t>(_combo->currentIndex());
    }
    if (!_list || _list->selectionModel() == nullptr) return std::nullopt;
    std::optional<std::size_t> first;
    for (const QModelIndex& index : _list->selectionModel()->selectedIndexes()) {
      if (index.parent() != _list->rootIndex() || index.column() != _list->modelColumn()) {
        continue;
      }
      const auto row = static_cast<std::size_t>(index.row());
      if (!first || row < *first) first = row;
    }
    return first;
  }

  std::optional<std::string> title(std::size_t row) const {
    if (row >= rowCount()) return std::nullopt;
    const int at = static_cast<int>(row);
    if (_combo) return toUtf8(_combo->itemText(at));
    const QModelIndex index = _list->model()->index(at, _list->modelColumn(), _list->rootIndex());
    return toUtf8(index.data(Qt::DisplayRole).toString());
  }

 private:
  QPointer<QComboBox> _combo;
  QPointer<QListView> _list;
};

class QtPickerView final : public QtView, public platform::PickerView {
 public:
  // A picker whose components are `components` (the widget itself, or its children).
  QtPickerView(QWidget& widget, const std::vector<QWidget*>& components) : QtView(widget, true) {
    for (QWidget* component : components) _components.emplace_back(*component);
  }

  platform::View& asView() override { return *this; }
  platform::PickerView* asPickerView() override { return this; }

  std::size_t numberOfComponents() const override { return isGone() ? 0 : _components.size(); }
  std::optional<std::size_t> selectedRow(std::size_t component) const override {
    if (component >= numberOfComponents()) return std::nullopt;
    return _components[component].selectedRow();
  }
  std::optional<std::string> titleForRow(std::size_t row, std::size_t component) const override {
    if (component >= numberOfComponents()) return std::nullopt;
    return _components[component].title(row);
  }

 private:
  std::vector<Component> _components;
};

}  // namespace

void addPickerKinds(ViewRegistry& registry) {
  registry.addKind([](QWidget& widget) -> std::shared_ptr<QtView> {
    if (Component::isComponent(widget)) {
      return std::make_shared<QtPickerView>(widget, std::vector<QWidget*>{&widget});
    }
    if (!widget.property(kPickerProperty).toBool()) return nullptr;
    std::vector<QWidget*> components;
    for (QObject* child : widget.children()) {
      auto* childWidget = qobject_cast<QWidget*>(child);
      if (childWidget != nullptr && Component::isComponent(*childWidget)) {
        components.push_back(childWidget);
      }
    }
    return std::make_shared<QtPickerView>(widget, components);
  });
}

}  // namespace pelorin::qt
