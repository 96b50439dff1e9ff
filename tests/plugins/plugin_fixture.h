// A client without a server for the built-in plug-ins' tests: the test platform, the
// client singleton (its sync tick pushed far away so that moving the pinned clock does not
// start a request), and interactions loaded the way the engine loads a server's answer.
#ifndef PELORIN_TESTS_PLUGINS_PLUGIN_FIXTURE_H_
#define PELORIN_TESTS_PLUGINS_PLUGIN_FIXTURE_H_

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <boost/json.hpp>

#include "client/client_testing.h"
#include "client/pelorin_client_impl.h"
#include "json/json_value_access.h"
#include "pelorin/headless/view_controller.h"
#include "pelorin/pelorin_client.h"
#include "storage/pelorin_commit_log.h"
#include "support/test_platform.h"

namespace pelorin::testing {

class PluginTest : public ::testing::Test {
 protected:
  PluginTest() {
    // A server address nobody listens on; the tick never comes within a test's time.
    _test.bundle().set("pl_server_url", JsonValue("http://127.0.0.1:9/"));
    _test.platform().setSyncInterval(std::chrono::hours(24 * 365));
  }

  PelorinClient& client() { return PelorinClient::getInstance(); }

  // An interaction of `pluginClass` with `parameters` (default locale "en"), as the server
  // sends it.
  static JsonValue interaction(const std::string& pluginClass, const Parameters& parameters) {
    boost::json::array list;
    for (const auto& [id, values] : parameters) {
      boost::json::array texts(values.begin(), values.end());
      list.push_back(boost::json::object{{"id", id}, {"value", std::move(texts)}});
    }
    return toJsonValue(boost::json::object{
        {"id", "i-1"},
        {"myInteractionTypeId", "t-1"},
        {"pluginClass", pluginClass},
        {"defaultLocale", "en"},
        {"parameters",
         boost::json::array{boost::json::object{{"locale", "en"}, {"parameter", list}}}}});
  }

  static InteractionContext context(const Parameters& parameters,
                                    const std::shared_ptr<headless::ViewController>& screen = {}) {
    JsonValue description = interaction("", parameters);
    return InteractionContext(description.ref(), screen, std::nullopt);
  }

  // Processes a page view's answer naming one interaction of `pluginClass`, then runs the
  // main loop so that its plug-in loads.
  void loadInteraction(const std::string& pluginClass, const Parameters& parameters) {
    const JsonValue result = JsonValue::object(
        {{"result", JsonValue::object({{"interactions", JsonValue::array({interaction(
                                                            pluginClass, parameters)})}})}});
    PelorinClient::synchronized([&] {
      ClientTesting::engine(client()).processInteractionsResult(
          ClientTesting::engine(client()).viewController(), result.ref(), true);
    });
    _test.mainLoop().runUntilIdle();
  }

  // The pending change of a property: its operation and values; nothing when none.
  std::optional<std::pair<OperationType, std::vector<std::string>>> pendingChange(
      std::string_view name) {
    return PelorinClient::synchronized(
        [&]() -> std::optional<std::pair<OperationType, std::vector<std::string>>> {
          const auto* entry = ClientTesting::engine(client()).commitLog().getProperty(name);
          if (entry == nullptr) return std::nullopt;
          return std::make_pair(entry->type(), entry->values());
        });
  }

  std::vector<std::string> values(std::string_view name) {
    return client().getProfileValues(name).value_or(std::vector<std::string>{});
  }

  TestPlatform _test;
};

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_PLUGINS_PLUGIN_FIXTURE_H_
