#include "qt/layout.h"

#include "qt/view.h"

namespace pelorin::qt {

// The constraints are kept on the view; laying widgets out by them comes with the visual
// format parser.
void layOut(QtView& /*view*/) {}

}  // namespace pelorin::qt
