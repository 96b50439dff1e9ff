// The headless user-interface toolkit in one include: views, controls, picker views, view
// controllers, web views and the `Ui` service. Main thread only, like any toolkit.
#ifndef PELORIN_PLATFORM_TOOLKIT_H_
#define PELORIN_PLATFORM_TOOLKIT_H_

#include "pelorin/platform/control.h"
#include "pelorin/platform/controls.h"
#include "pelorin/platform/headless_ui.h"
#include "pelorin/platform/picker_view.h"
#include "pelorin/platform/ui.h"
#include "pelorin/platform/ui_types.h"
#include "pelorin/platform/view.h"
#include "pelorin/platform/view_controller.h"
#include "pelorin/platform/web_view.h"

#endif  // PELORIN_PLATFORM_TOOLKIT_H_
