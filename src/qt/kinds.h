// The view kinds of the adapter, each adding itself to the registry. The registry's
// constructor calls them in this order (later ones are tried first).
#ifndef PELORIN_QT_KINDS_H_
#define PELORIN_QT_KINDS_H_

namespace pelorin::qt {

class ViewRegistry;

// The dynamic property that `markPicker` sets on a container of picker components.
inline constexpr const char* kPickerProperty = "pelorinPicker";

// Labels, text fields and text editors (text.cc).
void addTextKinds(ViewRegistry& registry);
// Buttons, switches, sliders, steppers, segmented controls, date pickers (controls.cc).
void addControlKinds(ViewRegistry& registry);
// QComboBox and QListView as picker views (picker_view.cc).
void addPickerKinds(ViewRegistry& registry);
// QWebEngineView as a web view (web_view.cc).
void addWebViewKind(ViewRegistry& registry);

}  // namespace pelorin::qt

#endif  // PELORIN_QT_KINDS_H_
