// Takes arbitrary bytes as the "interactions" list of an answer. Builds each interaction's
// context for several requested locales (so the locale, default-locale and first-locale
// fallbacks run) and looks its parameters, view and connection up; then lets the engine
// resolve the plug-in classes, create the plug-ins with their contexts and start and stop
// them on a small screen. Whatever the list holds, the host must not crash.
#include <array>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "client/client_testing.h"
#include "client_harness.h"
#include "json/json_value_access.h"
#include "pelorin/interaction_context.h"
#include "pelorin/pelorin_client.h"
#include "pelorin/pelorin_event_factory.h"

namespace {

using namespace pelorin;  // NOLINT(google-build-using-namespace): a fuzz driver

// The locales an application may ask for: none, one the server may lack, a common one, and
// one that is only white space (which counts as none).
const std::array<std::optional<std::string>, 4> kLocales = {std::nullopt, "fr", "en", " \t"};

void lookUpParameters(const InteractionContext& context) {
  for (const auto& [key, values] : context.getParameters()) {
    std::optional<std::string> first = context.getValueFromParameters(key);
    // The first value, when there is one ("" included).
    const bool expected = !values.empty();
    if (first.has_value() != expected || (first && *first != values.front())) std::abort();
  }
  for (std::string_view key : {"listener_rules", "form_listener_rules", "version", "url", ""}) {
    (void)context.getValueFromParameters(key);
  }
  (void)context.getView();
  (void)context.getConnection(context.getInteractionId().value_or("c1"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto& h = fuzzing::harness();
  std::optional<JsonValue> interactions =
      JsonValue::parse(std::string_view(reinterpret_cast<const char*>(data), size));
  if (!interactions) return 0;

  for (const auto& locale : kLocales) {
    for (JsonRef interaction : interactions->elements()) {
      lookUpParameters(InteractionContext(interaction, h.screen.controller, locale));
    }
  }

  boost::json::object result;
  result["interactions"] = *rawJson(*interactions);
  const JsonValue answer =
      toJsonValue(boost::json::object{{"id", "4"}, {"result", std::move(result)}});
  PelorinClient::synchronized([&] {
    ClientTesting::engine(*h.client).setLocale(kLocales[size % kLocales.size()]);
    ClientTesting::engine(*h.client).processInteractionsResult(h.screen.controller, answer.ref(),
                                                               true);
  });
  h.services.mainLoop->runUntilIdle();
  h.screen.use();
  h.services.mainLoop->runUntilIdle();
  PelorinClient::synchronized([&] { ClientTesting::engine(*h.client).destroyPlugins(); });
  h.services.mainLoop->runUntilIdle();
  PelorinEventFactory::getInstance().clearEvents();
  return 0;
}
