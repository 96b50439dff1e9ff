// The headless toolkit's spinning-wheel picker (a `platform::PickerView`): one or more components
// (wheels), each a list of row titles, with one selected row per component. It is not a control: it
// sends no control events and tells its delegate instead when the user selects a row.
//
// Thread safety: none; main thread only, like every toolkit object.
//
//   auto sizes = std::make_shared<PickerView>(
//       std::vector<std::vector<std::string>>{{"S", "M", "L"}});
//   sizes->setDelegate(formService);   // held weakly
//   sizes->pickRow(2, 0);               // the delegate hears didSelectRow(*sizes, 2, 0)
#ifndef PELORIN_HEADLESS_PICKER_VIEW_H_
#define PELORIN_HEADLESS_PICKER_VIEW_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "pelorin/export.h"
#include "pelorin/headless/view.h"
#include "pelorin/platform/picker_view.h"

namespace pelorin::headless {

class PickerView;

class PELORIN_EXPORT PickerViewDelegate {
 public:
  virtual ~PickerViewDelegate() = default;
  // The user settled `component` on `row`.
  virtual void didSelectRow(PickerView& pickerView, std::size_t row, std::size_t component) = 0;
};

class PELORIN_EXPORT PickerView : public View, public platform::PickerView {
 public:
  PickerView() = default;
  // Each element is one component's row titles. Every non-empty component starts with its
  // first row selected.
  explicit PickerView(std::vector<std::vector<std::string>> components);

  std::string_view className() const override { return "PickerView"; }
  platform::PickerView* asPickerView() override { return this; }
  platform::View& asView() override { return *this; }

  // Replaces the rows of every component; selections are reset as in the constructor.
  void setComponents(std::vector<std::vector<std::string>> components);
  std::size_t numberOfComponents() const override { return _components.size(); }
  // 0 for a component that does not exist.
  std::size_t numberOfRows(std::size_t component) const;
  std::optional<std::string> titleForRow(std::size_t row, std::size_t component) const override;
  // Nothing when the component does not exist or has no rows.
  std::optional<std::size_t> selectedRow(std::size_t component) const override;
  // The title of the selected row of `component`.
  std::optional<std::string> selectedTitle(std::size_t component) const;

  // Selects a row in code: the delegate is not told. False when out of range.
  bool selectRow(std::size_t row, std::size_t component);
  // The user spins `component` to `row`: selects it and tells the delegate, even when the
  // row was already selected. False (nothing told) when out of range or hidden.
  bool pickRow(std::size_t row, std::size_t component);

  // Held weakly: a delegate that is gone is not told.
  void setDelegate(std::weak_ptr<PickerViewDelegate> delegate) { _delegate = std::move(delegate); }
  std::shared_ptr<PickerViewDelegate> delegate() const { return _delegate.lock(); }

 protected:
  void describeDetails(std::string& out) const override;

 private:
  std::vector<std::vector<std::string>> _components;
  std::vector<std::optional<std::size_t>> _selected;
  std::weak_ptr<PickerViewDelegate> _delegate;
};

}  // namespace pelorin::headless

#endif  // PELORIN_HEADLESS_PICKER_VIEW_H_
