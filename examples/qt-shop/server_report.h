// What the server received, read back from a devserver's inspector (its JSON API): the
// visitor seen last, how many requests it sent, and the properties the server holds.
//
// Thread safety: stateless; blocks on the network, so never call it from the GUI thread of
// a running app.
#ifndef PELORIN_EXAMPLES_QT_SHOP_SERVER_REPORT_H_
#define PELORIN_EXAMPLES_QT_SHOP_SERVER_REPORT_H_

#include <string>

#include "demo_output.h"

namespace qtshop {

// Prints the report for the devserver at `serverUrl` ("http://127.0.0.1:41327/"), or a line
// saying the server has no inspector to ask.
void reportServer(const demo::DemoOutput& out, const std::string& serverUrl);

}  // namespace qtshop

#endif  // PELORIN_EXAMPLES_QT_SHOP_SERVER_REPORT_H_
