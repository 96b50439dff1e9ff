// The QApplication of a Qt test program: made before the first test, on the test thread,
// on the offscreen platform unless QT_QPA_PLATFORM says otherwise (a program that needs a
// display, such as a browser engine's, runs with QT_QPA_PLATFORM=xcb). Link
// qt_application.cc into the program.
#ifndef PELORIN_TESTS_QT_QT_APPLICATION_H_
#define PELORIN_TESTS_QT_QT_APPLICATION_H_

namespace pelorin::testing {

// Processes Qt's pending events (posted calls, deferred deletes) until none is left.
void processQtEvents();

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_QT_QT_APPLICATION_H_
