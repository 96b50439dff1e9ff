// Lays the subviews of a view out by the visual-format constraints applied on it
// (visual_format.h): "H:" constraints set the named widgets' x and width, "V:" ones their
// y and height, in the view's coordinates, in the order the constraints were added.
#ifndef PELORIN_QT_LAYOUT_H_
#define PELORIN_QT_LAYOUT_H_

#include "pelorin/platform/view.h"

namespace pelorin::qt {

class QtView;

// True when the layout understands the constraint's format; a view rejects others.
bool canLayOut(const platform::LayoutConstraint& constraint);

// Sets the geometry of the widgets that `view.constraints()` name, and keeps doing so
// whenever `view`'s widget resizes or is shown. Called after each change of the
// constraints.
void layOut(QtView& view);

}  // namespace pelorin::qt

#endif  // PELORIN_QT_LAYOUT_H_
