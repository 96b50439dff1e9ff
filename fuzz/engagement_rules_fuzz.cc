// Feeds arbitrary bytes to the engagement score and ranking plug-ins on a small headless
// screen, then publishes the events the input names and taps the screen's buttons.
// Input lines: 1. the "engagement_rules" parameter, 2. "propertyRules", 3. "interests",
// then one event per line as "name|context 1|context 2|...". Whatever the rules, events and
// contexts say, the host must not crash.
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "client_harness.h"
#include "pelorin/event.h"
#include "pelorin/pelorin_event_factory.h"
#include "plugins/engagement_ranking_listener.h"
#include "plugins/engagement_score_listener.h"

using namespace pelorin;           // NOLINT(google-build-using-namespace): a fuzz driver
using namespace pelorin::fuzzing;  // NOLINT(google-build-using-namespace): a fuzz driver

namespace {

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  while (true) {
    const auto end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

template <typename Listener>
std::shared_ptr<Listener> load(Harness<>& h, const JsonValue& interaction) {
  auto listener = std::make_shared<Listener>(
      *h.client, InteractionContext(interaction.ref(), h.screen.controller, std::nullopt));
  listener->onLoad();
  return listener;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto& h = harness({.online = false, .firstAnswer = {}, .pageView = true});
  const std::vector<std::string_view> lines =
      split(std::string_view(reinterpret_cast<const char*>(data), size), '\n');
  auto line = [&](std::size_t i) { return i < lines.size() ? lines[i] : std::string_view(); };
  const JsonValue interaction = interactionWith({{"engagement_rules", line(0)},
                                                 {"propertyRules", line(1)},
                                                 {"property", R"([{"profileproperty":"score"}])"},
                                                 {"interests", line(2)}});
  auto score = load<EngagementScoreListener>(h, interaction);
  auto ranking = load<EngagementRankingListener>(h, interaction);

  PelorinEventManager& bus = PelorinEventFactory::getInstance();
  for (std::size_t i = 3; i < lines.size(); ++i) {
    std::vector<std::string_view> parts = split(lines[i], '|');
    const std::string name(parts.front());
    std::vector<std::string> context(parts.begin() + 1, parts.end());
    bus.publish(std::make_shared<AdvancedEvent>(name, context));
    bus.publish(std::make_shared<AdvancedEvent>(name));
    bus.publish(std::make_shared<ClickEvent>(name, context));
    bus.publish(std::make_shared<FormSubmitEvent>(name, context));
    bus.publish(std::make_shared<UpdateContentEvent>(name, context));
    bus.publish(std::make_shared<UpdateContentEvent>(context));
  }
  h.screen.buy->tap();
  h.screen.submit->tap();

  score->onDestroy();
  ranking->onDestroy();
  bus.clearEvents();
  return 0;
}
