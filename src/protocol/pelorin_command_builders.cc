// The command builders of PelorinConnector.
#include "config/pelorin_configuration.h"
#include "protocol/pelorin_connector.h"

namespace pelorin {
namespace {

using Texts = std::vector<std::string>;

}  // namespace

PelorinRequestCommand PelorinConnector::getProfileCommand(std::int64_t callId) {
  return PelorinRequestCommand("getProfile", callId,
                               RequestParameters{{"forceCreate", Texts{"true"}}});
}

PelorinRequestCommand PelorinConnector::getInteractionCommand(
    std::int64_t callId, std::string_view eventType, const std::optional<JsonValue>& properties) {
  RequestParameters parameters{{"type", Texts{std::string(eventType)}}, {"interaction", Texts{}}};
  if (auto context = PelorinRequestCommand::convertDataToJSON(properties)) {
    parameters.set("timelineContext", Texts{std::move(*context)});
  }
  return PelorinRequestCommand("createEvent", callId, std::move(parameters));
}

PelorinRequestCommand PelorinConnector::getEventCommand(std::int64_t id, EventType eventType,
                                                        std::string_view interactionId) {
  return PelorinRequestCommand(
      "createEvent", id,
      RequestParameters{{"type", Texts{std::string(toString(eventType))}},
                        {"interaction", Texts{std::string(interactionId)}}});
}

PelorinRequestCommand PelorinConnector::getGetPropertiesCommand(
    std::int64_t callId, const std::optional<std::string>& hash) {
  RequestParameters parameters;
  if (hash) parameters.set("hash", Texts{*hash});
  return PelorinRequestCommand("getProperties", callId, std::move(parameters));
}

std::vector<PelorinRequestCommand> PelorinConnector::setUpdateCommand(
    RequestParameters addProperties, RequestParameters setProperties,
    const std::vector<PelorinEventCommitEntry>& events) {
  std::vector<PelorinRequestCommand> commands;
  commands.push_back(getProfileCommand(rawValue(CallId::profile)));
  if (!addProperties.empty()) {
    commands.emplace_back("addProperties", rawValue(CallId::addProperties),
                          std::move(addProperties), true);
  }
  if (!setProperties.empty()) {
    commands.emplace_back("setProperties", rawValue(CallId::setProperties),
                          std::move(setProperties), true);
  }
  for (const auto& entry : events) {
    const std::int64_t count = entry.count();
    // Every entry numbers its commands from 5 again; the repeated ids are intended.
    for (std::int64_t i = 0; i < count; ++i) {
      commands.push_back(
          getEventCommand(rawValue(CallId::events) + i, entry.type(), entry.identifier()));
    }
  }
  return commands;
}

}  // namespace pelorin
