// The toolkit contract suites of views, controls, view controllers and pickers against the
// Qt toolkit, on the offscreen platform.
#include <memory>

#include "contract/toolkit_driver.h"
#include "qt/qt_driver.h"

namespace pelorin::contract {
namespace {

std::unique_ptr<ToolkitDriver> makeQtDriver() { return std::make_unique<testing::QtDriver>(); }

}  // namespace

PELORIN_INSTANTIATE_WIDGET_CONTRACT(Qt, &makeQtDriver);

}  // namespace pelorin::contract
