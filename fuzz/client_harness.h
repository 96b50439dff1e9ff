// A headless client for the fuzz targets: the shared fuzz platform, a screen, and the
// client started on it.
//
// Thread safety: the harness lives for the process and is used from the fuzzing thread.
#ifndef PELORIN_FUZZ_CLIENT_HARNESS_H_
#define PELORIN_FUZZ_CLIENT_HARNESS_H_

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <boost/json.hpp>

#include "client/client_testing.h"
#include "fuzz_support.h"
#include "json/json_value_access.h"
#include "pelorin/pelorin_client.h"

namespace pelorin::fuzzing {

struct HarnessOptions {
  bool online = false;      // the serving HTTP client answers; otherwise there is no network
  std::string firstAnswer;  // served with status 200 before the client starts, when set
  bool pageView = false;    // a page view of "Checkout/Product-42" before the first run
};

// The client of the process on `Screen` (a type with a `controller`), started as the
// options say.
template <typename Screen = ShopScreen>
struct Harness {
  explicit Harness(const HarnessOptions& options) : services(installFuzzPlatform(options.online)) {
    if (!options.firstAnswer.empty()) services.http->serve(200, options.firstAnswer);
    client = &PelorinClient::getInstance(screen.controller);
    if (options.pageView) {
      client->createEvent("PAGEVIEW", std::map<std::string, std::string>{
                                          {"screenName", "Checkout/Café-Ωμέγα/東京-42"}});
    }
    ClientTesting::waitForOperations(*client);
    services.mainLoop->runUntilIdle();
  }

  FuzzPlatform services;  // first: the platform is installed before the screen is built
  Screen screen;
  PelorinClient* client = nullptr;
};

// Made on the first call with its options (later options are ignored); lives for the
// process, like the client.
template <typename Screen = ShopScreen>
Harness<Screen>& harness(const HarnessOptions& options = {}) {
  static auto* instance = new Harness<Screen>(options);
  return *instance;
}

// An interaction "fuzz-1" whose parameters hold the given texts (one value each).
inline JsonValue interactionWith(
    const std::vector<std::pair<std::string_view, std::string_view>>& parameters) {
  boost::json::array list;
  for (const auto& [name, value] : parameters) {
    list.push_back(boost::json::object{{"id", name},
                                       {"value", boost::json::array{boost::json::string(value)}}});
  }
  return toJsonValue(boost::json::object{
      {"id", "fuzz-1"},
      {"defaultLocale", "en"},
      {"parameters",
       boost::json::array{boost::json::object{{"locale", "en"}, {"parameter", std::move(list)}}}}});
}

}  // namespace pelorin::fuzzing

#endif  // PELORIN_FUZZ_CLIENT_HARNESS_H_
