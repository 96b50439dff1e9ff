// The connector: carries one batch of commands to the server and hands back the answers
// keyed by call identifier; its static builders make the commands of a batch.
//
// Thread safety: the builders are pure functions, safe from any thread.
#ifndef PELORIN_SRC_PROTOCOL_PELORIN_CONNECTOR_H_
#define PELORIN_SRC_PROTOCOL_PELORIN_CONNECTOR_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pelorin/json_value.h"
#include "protocol/pelorin_request_command.h"
#include "storage/pelorin_commit_log.h"

namespace pelorin {

class PelorinConnector {
 public:
  // ---- Command builders (pelorin_command_builders.cc) -------------------------------------

  // Most event commands one commit entry may add to a batch; see setUpdateCommand.
  static constexpr std::int64_t MAX_EVENT_COMMANDS_PER_ENTRY = 10000;

  // "getProfile" with "forceCreate": ["true"]; the engine passes id 0.
  static PelorinRequestCommand getProfileCommand(std::int64_t callId);
  // "createEvent" asking for the interactions of a screen: "type": [eventType],
  // "interaction": [] and, when `properties` is an object that converts, "timelineContext":
  // [its compact JSON text]. The engine passes id 4.
  static PelorinRequestCommand getInteractionCommand(std::int64_t callId,
                                                     std::string_view eventType,
                                                     const std::optional<JsonValue>& properties);
  // "createEvent" of a logged event: "type": ["CLICK" | "VIEW" | "CONVERSION"],
  // "interaction": [interactionId].
  static PelorinRequestCommand getEventCommand(std::int64_t id, EventType eventType,
                                               std::string_view interactionId);
  // "getProperties" with "hash": [hash], or with no parameters at all ("params" "{}") when
  // there is no hash. The engine passes id 3.
  static PelorinRequestCommand getGetPropertiesCommand(std::int64_t callId,
                                                       const std::optional<std::string>& hash);
  // The commands of an update batch: "getProfile" (id 0); "addProperties" (id 1) and
  // "setProperties" (id 2) when they have entries; then, for each event entry, `_count`
  // "createEvent" commands with ids 5, 6, ... The ids start again at 5 for every entry, so
  // two entries both send id "5": the server answers each and the last answer of an id is
  // kept. An entry counting more than MAX_EVENT_COMMANDS_PER_ENTRY (only a damaged stored
  // log can) sends that many, with a warning.
  static std::vector<PelorinRequestCommand> setUpdateCommand(
      RequestParameters addProperties, RequestParameters setProperties,
      const std::vector<PelorinEventCommitEntry>& events);
};

}  // namespace pelorin

#endif  // PELORIN_SRC_PROTOCOL_PELORIN_CONNECTOR_H_
