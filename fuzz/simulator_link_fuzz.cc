// Feeds arbitrary bytes as a deep link to `PelorinClient::setURL`: the link is parsed, and
// one that names the simulator connects to it, stores the simulator settings and reloads
// the profile from the simulator's host (the request carries the user name and session
// from the link). Whatever the link, the host must not crash.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "client/client_testing.h"
#include "client_harness.h"
#include "pelorin/pelorin_client.h"

namespace {

using namespace pelorin;  // NOLINT(google-build-using-namespace): a fuzz driver

// Whether `url` begins with the package name (in any case) followed by ":".
bool hasPackageScheme(std::string_view url) {
  const std::string_view package = fuzzing::kPackageName;
  if (url.size() <= package.size() || url[package.size()] != ':') return false;
  for (std::size_t i = 0; i < package.size(); ++i) {
    char c = url[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != package[i]) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto& h = fuzzing::harness(
      {.online = true, .firstAnswer = R"([{"id": "0", "profileId": "p1"}])", .pageView = false});
  const std::string_view url(reinterpret_cast<const char*>(data), size);
  const bool connected = h.client->setURL(url);
  // Only a link in the application's own scheme may connect.
  if (connected && !hasPackageScheme(url)) std::abort();
  ClientTesting::waitForOperations(*h.client);
  h.services.mainLoop->runUntilIdle();
  return 0;
}
