// A headless client for the fuzz targets that drive plug-ins: the shared fuzz platform
// offline (nothing is ever sent), showing the checkout screen after a page view.
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

#include "client/pelorin_client_impl.h"
#include "fuzz_support.h"
#include "pelorin/pelorin_client.h"

namespace pelorin::fuzzing {

struct Harness {
  Harness() : services(installFuzzPlatform(/*online=*/false)) {
    client = &PelorinClient::getInstance(screen.controller);
    client->createEvent("PAGEVIEW",
                        std::map<std::string, std::string>{{"screenName", "Checkout/Product-42"}});
    client->engine().waitForOperations();
    services.mainLoop->runUntilIdle();
  }

  FuzzPlatform services;
  ShopScreen screen;
  PelorinClient* client = nullptr;
};

inline Harness& harness() {
  static auto* instance = new Harness();  // lives for the process, like the client
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
  return JsonValue(boost::json::object{
      {"id", "fuzz-1"},
      {"defaultLocale", "en"},
      {"parameters",
       boost::json::array{boost::json::object{{"locale", "en"}, {"parameter", std::move(list)}}}}});
}

}  // namespace pelorin::fuzzing

#endif  // PELORIN_FUZZ_CLIENT_HARNESS_H_
