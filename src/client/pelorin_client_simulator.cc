// Connecting to the Pelorin Simulator through a deep link:
// <package name>://<host>/<user name>/<mobile session>
#include <vector>

#include "client/pelorin_client_impl.h"
#include "config/constants.h"
#include "json/utf8.h"
#include "pelorin/platform/main_thread.h"
#include "pelorin/platform/platform.h"
#include "pelorin/platform/ui.h"
#include "storage/pelorin_data_manager.h"

namespace pelorin {
namespace {

struct DeepLink {
  std::string scheme;
  std::string host;
  std::string path;
};

std::string lowerCased(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

// Splits "scheme://[user@]host[:port][/path][?query][#fragment]"; nothing when the text has
// no scheme or no authority.
std::optional<DeepLink> parseDeepLink(std::string_view url) {
  const auto colon = url.find(':');
  if (colon == std::string_view::npos || colon == 0) return std::nullopt;
  DeepLink link;
  link.scheme = std::string(url.substr(0, colon));
  std::string_view rest = url.substr(colon + 1);
  if (rest.substr(0, 2) != "//") return link;
  rest.remove_prefix(2);
  const auto authorityEnd = rest.find_first_of("/?#");
  std::string_view authority = rest.substr(0, authorityEnd);
  if (auto at = authority.rfind('@'); at != std::string_view::npos) authority.remove_prefix(at + 1);
  if (auto port = authority.rfind(':');
      port != std::string_view::npos && authority.front() != '[') {
    authority = authority.substr(0, port);
  }
  link.host = std::string(authority);
  if (authorityEnd != std::string_view::npos) {
    std::string_view path = rest.substr(authorityEnd);
    path = path.substr(0, path.find_first_of("?#"));
    link.path = std::string(path);
  }
  return link;
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The path as the platform's URL type gives it: percent escapes decoded and a trailing "/"
// dropped; "" when the decoded bytes are not UTF-8.
std::string relativePath(std::string_view path) {
  if (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  std::string decoded;
  decoded.reserve(path.size());
  for (std::size_t i = 0; i < path.size(); ++i) {
    if (path[i] == '%' && i + 2 < path.size() && hexValue(path[i + 1]) >= 0 &&
        hexValue(path[i + 2]) >= 0) {
      decoded.push_back(static_cast<char>(hexValue(path[i + 1]) * 16 + hexValue(path[i + 2])));
      i += 2;
    } else {
      decoded.push_back(path[i]);
    }
  }
  return isValidUtf8(decoded) ? decoded : std::string();
}

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (;;) {
    const auto end = text.find(separator, start);
    parts.push_back(text.substr(start, end - start));
    if (end == std::string::npos) return parts;
    start = end + 1;
  }
}

}  // namespace

bool PelorinClientImpl::setURL(std::string_view url) {
  auto link = parseDeepLink(url);
  if (!link || link->scheme.empty() || link->host.empty()) {
    log("Unable to connect to the Pelorin Simulator. No host and/or scheme found in url.");
    return false;
  }
  const std::string hostAddress = "https://" + link->host;
  const std::string scheme = lowerCased(link->scheme);
  const std::string packageName = lowerCased(PelorinConfiguration::getPackageName());
  log("Scheme data is " + scheme + ", with package name: " + packageName + " via host " +
      hostAddress);
  if (scheme != packageName) return false;
  const auto parts = split(relativePath(link->path), '/');
  if (parts.size() != 3 || !parts[0].empty()) return false;
  const std::string& userName = parts[1];
  const std::string& session = parts[2];

  _configuration->setHostName(hostAddress);
  _configuration->setSimulatorData(userName, session);
  _writer->writeText(Constants::Files::SIMULATOR_USERNAME, userName);
  _writer->writeText(Constants::Files::SIMULATOR_MOBILESESSION, session);

  if (PelorinConfiguration::getDebugMode()) {
    platform::Alert alert;
    alert.title = "Connected to Pelorin Simulator";
    alert.message =
        "Username: " + userName + " \nMobile session: " + session + " \nHost: " + hostAddress;
    alert.actions.emplace_back(platform::AlertAction{"OK"});
    Platform::current().mainThread().post(
        [alert = std::move(alert)] { Platform::current().ui().presentAlert(alert); });
  }
  // The reload runs on the operation queue, so the caller does not wait for the network.
  if (_configuration->isConnectedToSimulator()) reloadProfile();
  log("Connected to the Pelorin Simulator. Username: " + userName + " Mobile session: " + session +
      " Host: " + hostAddress);
  return true;
}

}  // namespace pelorin
