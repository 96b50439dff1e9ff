// Sends one request through an HttpClient and waits for its completion.
#ifndef PELORIN_TESTS_E2E_SEND_AND_WAIT_H_
#define PELORIN_TESTS_E2E_SEND_AND_WAIT_H_

#include <chrono>
#include <future>
#include <memory>
#include <optional>

#include "pelorin/platform/http.h"

namespace pelorin::testing {

// The result, or nothing when no completion came within `timeout`.
inline std::optional<platform::HttpResult> sendAndWait(
    platform::HttpClient& client, platform::HttpRequest request,
    std::chrono::milliseconds timeout = std::chrono::seconds(20)) {
  // Shared, so a completion that comes after the time-out has somewhere to go.
  auto promise = std::make_shared<std::promise<platform::HttpResult>>();
  auto future = promise->get_future();
  client.send(std::move(request),
              [promise](platform::HttpResult result) { promise->set_value(std::move(result)); });
  if (future.wait_for(timeout) != std::future_status::ready) return std::nullopt;
  return future.get();
}

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_E2E_SEND_AND_WAIT_H_
