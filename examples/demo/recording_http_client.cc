#include "recording_http_client.h"

#include <utility>

namespace demo {

using pelorin::platform::CookieAcceptPolicy;
using pelorin::platform::HttpRequest;
using pelorin::platform::HttpResult;

RecordingHttpClient::RecordingHttpClient(std::unique_ptr<pelorin::platform::HttpClient> inner)
    : _inner(std::move(inner)) {}

void RecordingHttpClient::send(HttpRequest request, Completion completion) {
  {
    std::lock_guard<std::mutex> lock(_mutex);
    ++_inFlight;
  }
  HttpRequest copy = request;
  _inner->send(std::move(request), [this, copy = std::move(copy),
                                    completion = std::move(completion)](HttpResult result) {
    {
      // Recorded before the library hears the answer, so an exchange the library has
      // finished with is always in the record.
      std::lock_guard<std::mutex> lock(_mutex);
      _finished.push_back(Exchange{copy, result});
    }
    completion(std::move(result));
    std::lock_guard<std::mutex> lock(_mutex);
    --_inFlight;
  });
}

CookieAcceptPolicy RecordingHttpClient::cookieAcceptPolicy() const {
  return _inner->cookieAcceptPolicy();
}

void RecordingHttpClient::setCookieAcceptPolicy(CookieAcceptPolicy policy) {
  _inner->setCookieAcceptPolicy(policy);
}

std::vector<Exchange> RecordingHttpClient::takeFinished() {
  std::lock_guard<std::mutex> lock(_mutex);
  return std::exchange(_finished, {});
}

std::size_t RecordingHttpClient::inFlight() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _inFlight;
}

}  // namespace demo
