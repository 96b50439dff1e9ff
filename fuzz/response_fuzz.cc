// Serves arbitrary bytes as the body of the server's answer to a page view. The connector
// unwraps ("pl_json(...)") and parses it; the engine takes the profile, domain group,
// properties, connections, segments and interactions from it and starts the plug-ins it
// names on a small screen, which is then used. The same body is also served with status
// 300, the connector's redirect path. Whatever the body, the host must not crash.
#include <cstdint>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "client/client_testing.h"
#include "client_harness.h"
#include "json/json_value_access.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"
#include "protocol/pelorin_connector.h"

namespace {

using namespace pelorin;  // NOLINT(google-build-using-namespace): a fuzz driver

// What parseResponse promises of any map it gives: objects only, each under its own "id".
void checkAnswers(std::string_view body) {
  auto parsed = PelorinConnector::parseResponse(body);
  if (!parsed.ok() || !parsed.value()) return;
  for (const auto& [id, answer] : *parsed.value()) {
    if (!answer.isObject() || !answer.get("id").isString() || answer.get("id").string() != id) {
      std::abort();
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static int runs = 0;
  auto& h = fuzzing::harness({.online = true, .firstAnswer = {}, .pageView = false});
  const std::string body(reinterpret_cast<const char*>(data), size);
  checkAnswers(body);

  h.services.http->serve(200, body);
  h.client->createEvent("PAGEVIEW", std::map<std::string, std::string>{{"screenName", "Checkout"}});
  ClientTesting::waitForOperations(*h.client);
  h.services.mainLoop->runUntilIdle();
  h.screen.use();
  h.services.mainLoop->runUntilIdle();

  h.services.http->serve(300, body);
  PelorinConnector connector(std::nullopt, std::nullopt);
  (void)connector.execute("https://fuzz.example.com/DG/DEFAULT/rest/rpc/json/?", {}, "Checkout");
  if (connector.retryCount() > PelorinConnector::RETRY_AND_REDIRECT_LIMIT) std::abort();

  // Another visitor for the next run: a new profile identifier empties the cache, so the
  // properties of earlier runs do not pile up.
  const JsonValue reset =
      toJsonValue(boost::json::object{{"profileId", "fuzz-" + std::to_string(++runs % 2)}});
  PelorinClient::synchronized([&] {
    (void)ClientTesting::engine(*h.client).processProfileResult(reset.ref());
    ClientTesting::engine(*h.client).destroyPlugins();
  });
  h.services.mainLoop->runUntilIdle();
  PelorinEventFactory::getInstance().clearEvents();
  return 0;
}
