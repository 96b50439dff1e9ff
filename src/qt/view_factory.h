// The factory of the library's own views (the lightbox's) as Qt widgets.
#ifndef PELORIN_QT_VIEW_FACTORY_H_
#define PELORIN_QT_VIEW_FACTORY_H_

#include <memory>

#include "pelorin/platform/view_factory.h"

namespace pelorin::qt {

std::unique_ptr<platform::ViewFactory> makeViewFactory();

}  // namespace pelorin::qt

#endif  // PELORIN_QT_VIEW_FACTORY_H_
