// Compact and indented JSON text. Boost.JSON has no pretty printer and writes doubles in
// exponent form (2.5E0); this writer gives both forms and the shortest round-trip text
// for doubles, so texts the library stores or logs never depend on the parser's choice.
#include <array>
#include <charconv>
#include <cmath>
#include <string>

#include "json/json_value_access.h"
#include "json/json_writer.h"
#include "pelorin/json_value.h"

namespace pelorin {
namespace {

constexpr char kHex[] = "0123456789abcdef";

// Characters a JSON string cannot hold as they are: controls, the quote and the back-slash.
constexpr auto kNeedsEscape = [] {
  std::array<bool, 256> table{};
  for (int c = 0; c < 0x20; ++c) table[c] = true;
  table['"'] = true;
  table['\\'] = true;
  return table;
}();

bool needsEscape(unsigned char c) { return kNeedsEscape[c]; }

void writeString(std::string& out, boost::json::string_view s) {
  out.push_back('"');
  const char* run = s.data();
  const char* const end = s.data() + s.size();
  for (const char* p = run; p != end; ++p) {
    const auto u = static_cast<unsigned char>(*p);
    if (!needsEscape(u)) continue;
    // Copy the characters that need no escape in one go.
    out.append(run, p);
    run = p + 1;
    switch (*p) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\b':
        out += "\\b";
        break;
      case '\f':
        out += "\\f";
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
        out += "\\u00";
        out.push_back(kHex[u >> 4]);
        out.push_back(kHex[u & 0xF]);
    }
  }
  out.append(run, end);
  out.push_back('"');
}

template <typename T>
void writeNumber(std::string& out, T value) {
  char buffer[32];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  out.append(buffer, result.ptr);
}

void writeDouble(std::string& out, double value) {
  // JSON has no text for infinities or NaN; write null as most serialisers do.
  if (!std::isfinite(value)) {
    out += "null";
    return;
  }
  writeNumber(out, value);
}

void newline(std::string& out, int depth) {
  out.push_back('\n');
  out.append(static_cast<std::size_t>(depth) * 2, ' ');
}

void write(std::string& out, const boost::json::value& value, bool pretty, int depth) {
  switch (value.kind()) {
    case boost::json::kind::null:
      out += "null";
      break;
    case boost::json::kind::bool_:
      out += value.get_bool() ? "true" : "false";
      break;
    case boost::json::kind::int64:
      writeNumber(out, value.get_int64());
      break;
    case boost::json::kind::uint64:
      writeNumber(out, value.get_uint64());
      break;
    case boost::json::kind::double_:
      writeDouble(out, value.get_double());
      break;
    case boost::json::kind::string:
      writeString(out, value.get_string());
      break;
    case boost::json::kind::array: {
      const auto& array = value.get_array();
      out.push_back('[');
      bool first = true;
      for (const auto& element : array) {
        if (!first) out.push_back(',');
        first = false;
        if (pretty) newline(out, depth + 1);
        write(out, element, pretty, depth + 1);
      }
      if (pretty && !array.empty()) newline(out, depth);
      out.push_back(']');
      break;
    }
    case boost::json::kind::object: {
      const auto& object = value.get_object();
      out.push_back('{');
      bool first = true;
      for (const auto& member : object) {
        if (!first) out.push_back(',');
        first = false;
        if (pretty) newline(out, depth + 1);
        writeString(out, member.key());
        out += pretty ? " : " : ":";
        write(out, member.value(), pretty, depth + 1);
      }
      if (pretty && !object.empty()) newline(out, depth);
      out.push_back('}');
      break;
    }
  }
}

}  // namespace

void appendJsonString(std::string& out, std::string_view text) {
  writeString(out, boost::json::string_view(text.data(), text.size()));
}

void appendJson(std::string& out, const boost::json::value& value) { write(out, value, false, 0); }

std::string serializeJson(const boost::json::value& value, bool pretty) {
  std::string out;
  write(out, value, pretty, 0);
  return out;
}

}  // namespace pelorin
