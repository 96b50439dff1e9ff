// Reads the library's batches and the server's answers back, for people: one line that
// names each command of a batch, one that says what the answer held, and the pieces of
// the answer the demo reports on (interactions, property names).
//
// Thread safety: stateless functions.
#ifndef PELORIN_EXAMPLES_DEMO_BATCH_SUMMARY_H_
#define PELORIN_EXAMPLES_DEMO_BATCH_SUMMARY_H_

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "pelorin/json_value.h"
#include "recording_http_client.h"

namespace demo {

// What one exchange said, in the demo's terms.
struct BatchSummary {
  // "getProfile, setProperties(city, email), getProperties, createEvent(PAGEVIEW on home)"
  std::string sent;
  // "200: profile, 3 properties, 2 interactions, 1 segment", or why there was no answer.
  std::string answer;
  // The interactions the server handed out, as it wrote them.
  std::vector<pelorin::JsonValue> interactions;
  // True when the batch asked for interactions (a page view or another event).
  bool askedForInteractions = false;
  // Every property name the batch wrote or the answer returned.
  std::set<std::string> propertyNames;
};

BatchSummary summarise(const Exchange& exchange);

// The parts with the separator between them: join({"a", "b"}, ", ") is "a, b".
std::string join(const std::vector<std::string>& parts, std::string_view separator);

// The request and answer bodies pretty-printed (the commands' "params" decoded), for
// --verbose.
std::string describeInFull(const Exchange& exchange);

}  // namespace demo

#endif  // PELORIN_EXAMPLES_DEMO_BATCH_SUMMARY_H_
