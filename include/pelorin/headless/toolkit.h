// The headless user-interface toolkit in one include: views, controls, picker views, view
// controllers, web views and the `HeadlessUi` service, an in-memory implementation of the
// toolkit interfaces in pelorin/platform/. Main thread only, like any toolkit.
#ifndef PELORIN_HEADLESS_TOOLKIT_H_
#define PELORIN_HEADLESS_TOOLKIT_H_

#include "pelorin/headless/control.h"
#include "pelorin/headless/controls.h"
#include "pelorin/headless/headless_ui.h"
#include "pelorin/headless/picker_view.h"
#include "pelorin/headless/view.h"
#include "pelorin/headless/view_controller.h"
#include "pelorin/headless/web_view.h"
#include "pelorin/platform/ui.h"
#include "pelorin/platform/ui_types.h"

#endif  // PELORIN_HEADLESS_TOOLKIT_H_
