// The QApplication of a Qt test program that shows web views: made before the first
// test on the test thread, with the contexts the web engine shares, on the display that
// with-display.sh gives. Link web_application.cc into the program instead of
// qt_application.cc; its processQtEvents() is deliverPostedQtEvents() here.
#ifndef PELORIN_TESTS_QT_WEB_APPLICATION_H_
#define PELORIN_TESTS_QT_WEB_APPLICATION_H_

#include <functional>

namespace pelorin::testing {

// Delivers the events posted so far (queued calls, deferred deletes), and those they post,
// without waiting for anything: the web engine keeps its own work going meanwhile, so
// "nothing left" is never reached.
void deliverPostedQtEvents();

// Runs Qt's event loop until `condition` holds or `timeoutMs` passed; answers the
// condition. Each turn waits for events, never a fixed time.
bool waitUntil(const std::function<bool()>& condition, int timeoutMs = 20000);

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_QT_WEB_APPLICATION_H_
