#include "base/describe.h"

#include "json/json_writer.h"

namespace pelorin {

std::string describe(std::string_view text) {
  // Quoted and escaped as in JSON: the same characters need escaping in a log line.
  std::string out;
  appendJsonString(out, text);
  return out;
}

std::string describe(const std::vector<std::string>& values) {
  std::string out = "[";
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) out += ", ";
    out += describe(values[i]);
  }
  out += "]";
  return out;
}

namespace {

template <typename Map>
std::string describeMap(const Map& map) {
  if (map.empty()) return "[:]";
  std::string out = "[";
  bool first = true;
  for (const auto& [key, values] : map) {
    if (!first) out += ", ";
    first = false;
    out += describe(key);
    out += ": ";
    out += describe(values);
  }
  out += "]";
  return out;
}

}  // namespace

std::string describe(const std::map<std::string, std::vector<std::string>>& map) {
  return describeMap(map);
}

std::string describe(const ChunkedMap<std::vector<std::string>>& map) { return describeMap(map); }

}  // namespace pelorin
