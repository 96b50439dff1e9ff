#include "qt/kinds.h"
#include "qt/view_registry.h"

namespace pelorin::qt {

void addTextKinds(ViewRegistry& /*registry*/) {}

}  // namespace pelorin::qt
