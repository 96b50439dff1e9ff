// The devserver configuration the demo starts its embedded server with: demo_config.json,
// built into the program so it runs from any folder.
#ifndef PELORIN_EXAMPLES_DEMO_DEMO_CONFIG_TEXT_H_
#define PELORIN_EXAMPLES_DEMO_DEMO_CONFIG_TEXT_H_

#include <string_view>

namespace demo {

std::string_view demoConfigText();

}  // namespace demo

#endif  // PELORIN_EXAMPLES_DEMO_DEMO_CONFIG_TEXT_H_
