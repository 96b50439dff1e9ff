// Test helper: records, in order, the control events a control sends. The same recorder
// serves the toolkit contract suites.
#ifndef PELORIN_TESTS_HEADLESS_EVENT_RECORDER_H_
#define PELORIN_TESTS_HEADLESS_EVENT_RECORDER_H_

#include "contract/event_log.h"
#include "pelorin/headless/control.h"

namespace pelorin::headless {

using EventRecorder = contract::EventLog;

}  // namespace pelorin::headless

#endif  // PELORIN_TESTS_HEADLESS_EVENT_RECORDER_H_
