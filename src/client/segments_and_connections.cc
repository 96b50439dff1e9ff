#include "client/segments_and_connections.h"

#include <string>

#include "config/pelorin_configuration.h"

namespace pelorin {

std::vector<PelorinSegment> addSegments(JsonRef list) {
  std::vector<PelorinSegment> segments;
  for (JsonRef element : list.elements()) {
    auto id = element["id"].asString();
    auto name = element["name"].asString();
    if (!id || !name) continue;
    segments.emplace_back(std::move(*id), std::move(*name));
  }
  PelorinConfiguration::log(std::to_string(segments.size()) + " segment(s) added!",
                            PelorinConfiguration::LOG_TAG, LogFlag::INFO);
  return segments;
}

std::vector<Connection> addConnections(JsonRef list) {
  std::vector<Connection> connections;
  for (JsonRef element : list.elements()) {
    auto id = element["id"].asString();
    JsonRef entries = element["parameters"];
    if (!id || !entries.isArrayOfObjects() || entries.empty()) continue;
    // Only the first locale-style entry of a connection carries its parameters.
    JsonRef parameters = entries[0]["parameter"];
    if (!parameters.isArrayOfObjects()) continue;
    connections.emplace_back(std::move(*id),
                             PelorinConfiguration::parametersToDictionary(parameters));
  }
  PelorinConfiguration::log(std::to_string(connections.size()) + " connection(s) added!",
                            PelorinConfiguration::LOG_TAG, LogFlag::INFO);
  return connections;
}

}  // namespace pelorin
