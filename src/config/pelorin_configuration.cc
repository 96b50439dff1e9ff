#include "config/pelorin_configuration.h"

#include <fmt/format.h>

#include "pelorin/platform/platform.h"

namespace pelorin {
namespace {

std::optional<JsonValue> infoValue(std::string_view key) {
  return Platform::current().bundle().objectForInfoDictionaryKey(key);
}

bool isQueryValueCharacter(unsigned char c) {
  if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) return true;
  constexpr std::string_view kAllowed = "-._~!$'()*,;:@/?";
  return kAllowed.find(static_cast<char>(c)) != std::string_view::npos;
}

bool isControlCharacter(unsigned char c) { return c < 0x20 || c == 0x7F; }

template <typename Keep>
std::string percentEncode(std::string_view text, Keep keep) {
  constexpr char kHex[] = "0123456789ABCDEF";
  std::string encoded;
  encoded.reserve(text.size());
  for (char c : text) {
    const auto u = static_cast<unsigned char>(c);
    if (keep(u)) {
      encoded.push_back(c);
    } else {
      encoded.push_back('%');
      encoded.push_back(kHex[u >> 4]);
      encoded.push_back(kHex[u & 0xF]);
    }
  }
  return encoded;
}

bool isFragmentCharacter(unsigned char c) {
  if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) return true;
  constexpr std::string_view kAllowed = "-._~!$&'()*+,;=:@/?";
  return kAllowed.find(static_cast<char>(c)) != std::string_view::npos;
}

}  // namespace

std::string PelorinConfiguration::getHostName() const {
  if (_overruleHostname) return *_overruleHostname;
  auto value = infoValue("pl_server_url");
  if (!value || !value->isString()) return "";
  std::string host = value->string();
  if (!host.empty() && host.back() == '/') host.pop_back();
  return host;
}

bool PelorinConfiguration::getDebugMode() {
  auto value = infoValue("pl_debug");
  return value && value->boolean();
}

void PelorinConfiguration::log(std::string_view message, std::string_view tag,
                               std::string_view flag) {
  if (!getDebugMode()) return;
  writeLogLine(message, tag, flag);
}

void PelorinConfiguration::writeLogLine(std::string_view message, std::string_view tag,
                                        std::string_view flag) {
  Platform::current().console().writeLine(
      fmt::format("[{}] {} [{}]: {}", printDate(), flag, tag, message));
}

std::string PelorinConfiguration::printDate() {
  const auto& clock = Platform::current().clock();
  const platform::LocalTime t = clock.toLocal(clock.now());
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", t.year, t.month, t.day, t.hour,
                     t.minute, t.second);
}

std::string PelorinConfiguration::getPackageName() {
  auto value = infoValue("CFBundleIdentifier");
  if (!value || !value->isString()) return "";
  return percentEncodeFragment(value->stringView());
}

std::string PelorinConfiguration::getDomaingGroupUrl(std::string_view host,
                                                     const std::optional<std::string>& domainGroup,
                                                     const std::optional<std::string>& zoneId) {
  std::string url;
  url.reserve(host.size() + 48);
  url.append(host);
  url.append("/DG/");
  // Both come from the server's answers: no control character may reach the request line.
  url.append(domainGroup ? percentEncodeControls(*domainGroup) : std::string("DEFAULT"));
  url.append("/rest/rpc/json/");
  if (zoneId) {
    url.append(percentEncodeControls(*zoneId));
    url.push_back('/');
  }
  url.push_back('?');
  return url;
}

Parameters PelorinConfiguration::parametersToDictionary(JsonRef list) {
  Parameters parameters;
  for (JsonRef element : list.elements()) {
    if (!element.isObject()) continue;
    std::string id = element["id"].string();
    parameters[std::move(id)] =
        element["value"].asStringList().value_or(std::vector<std::string>{});
  }
  return parameters;
}

std::string percentEncodeFragment(std::string_view text) {
  return percentEncode(text, isFragmentCharacter);
}

std::string percentEncodeControls(std::string_view text) {
  return percentEncode(text, [](unsigned char c) { return !isControlCharacter(c); });
}

std::string percentEncodeQueryValue(std::string_view text) {
  return percentEncode(text, isQueryValueCharacter);
}

}  // namespace pelorin
