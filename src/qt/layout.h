// Lays the subviews of a view out by the visual-format constraints applied on it.
#ifndef PELORIN_QT_LAYOUT_H_
#define PELORIN_QT_LAYOUT_H_

namespace pelorin::qt {

class QtView;

// Sets the geometry of the widgets that `view.constraints()` name, and keeps doing so
// whenever `view`'s widget resizes. Called after each change of the constraints.
void layOut(QtView& view);

}  // namespace pelorin::qt

#endif  // PELORIN_QT_LAYOUT_H_
