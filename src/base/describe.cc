#include "base/describe.h"

namespace pelorin {

std::string describe(std::string_view text) {
  std::string out;
  out.reserve(text.size() + 2);
  out.push_back('"');
  for (char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        out.push_back(c);
    }
  }
  out.push_back('"');
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

std::string describe(const std::map<std::string, std::vector<std::string>>& map) {
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

}  // namespace pelorin
