// A spinning-wheel picker as the library sees it: one or more components (wheels), each a
// list of row titles, with one selected row per component. It is not a control: the library
// reads its selection and leaves its delegate to the app.
//
// Thread safety: none; main thread only, like every toolkit object.
#ifndef PELORIN_PLATFORM_PICKER_VIEW_H_
#define PELORIN_PLATFORM_PICKER_VIEW_H_

#include <cstddef>
#include <optional>
#include <string>

#include "pelorin/export.h"
#include "pelorin/platform/view.h"

namespace pelorin::platform {

class PELORIN_EXPORT PickerView {
 public:
  PickerView() = default;
  virtual ~PickerView() = default;
  PickerView(const PickerView&) = delete;
  PickerView& operator=(const PickerView&) = delete;

  // The same object as a view.
  virtual View& asView() = 0;
  virtual std::size_t numberOfComponents() const = 0;
  // Nothing when the component does not exist or has no rows.
  virtual std::optional<std::size_t> selectedRow(std::size_t component) const = 0;
  // Nothing when the row or the component does not exist.
  virtual std::optional<std::string> titleForRow(std::size_t row, std::size_t component) const = 0;
};

}  // namespace pelorin::platform

#endif  // PELORIN_PLATFORM_PICKER_VIEW_H_
