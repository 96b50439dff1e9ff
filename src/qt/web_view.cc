#include "qt/kinds.h"
#include "qt/view_registry.h"

namespace pelorin::qt {

// QWebEngineView widgets are plain views until the web view kind is written.
void addWebViewKind(ViewRegistry& /*registry*/) {}

}  // namespace pelorin::qt
