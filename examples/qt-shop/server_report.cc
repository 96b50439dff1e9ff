#include "server_report.h"

#include <curl/curl.h>

#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "pelorin/json_value.h"

namespace qtshop {
namespace {

using pelorin::JsonRef;
using pelorin::JsonValue;

std::size_t append(char* data, std::size_t size, std::size_t count, void* body) {
  static_cast<std::string*>(body)->append(data, size * count);
  return size * count;
}

// The JSON a GET of `url` answers with status 200; nothing otherwise.
std::optional<JsonValue> getJson(const std::string& url) {
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), curl_easy_cleanup);
  if (!curl) return std::nullopt;
  std::string body;
  curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, append);
  curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &body);
  curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, 10L);
  curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
  if (curl_easy_perform(curl.get()) != CURLE_OK) return std::nullopt;
  long status = 0;  // NOLINT(google-runtime-int): libcurl's type
  curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
  if (status != 200) return std::nullopt;
  return JsonValue::parse(body);
}

}  // namespace

void reportServer(const demo::DemoOutput& out, const std::string& serverUrl) {
  out.line("");
  out.line("What the server received");
  std::string base = serverUrl;
  if (!base.ends_with('/')) base += '/';
  const std::optional<JsonValue> visitors = getJson(base + "inspect/profiles");
  const JsonRef last = visitors ? visitors->ref()["profiles"].at(0) : JsonRef();
  const std::string id = last["id"].string();
  if (id.empty()) {
    out.field("server", "has no inspector to ask (not a pelorin-devserver?)");
    return;
  }
  out.field("visitor", id);
  out.field("requests", std::to_string(last["requests"].asInt().value_or(0)));
  const std::optional<JsonValue> visitor = getJson(base + "inspect/profiles/" + id);
  demo::Profile profile;
  if (visitor) {
    for (const auto& [name, values] : visitor->ref()["properties"].members()) {
      profile.emplace(name, values.asStringList().value_or(std::vector<std::string>{}));
    }
  }
  out.profile("profile", profile);
}

}  // namespace qtshop
