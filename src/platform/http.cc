#include "pelorin/platform/http.h"

#include <algorithm>

namespace pelorin::platform {
namespace {

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, [](char x, char y) {
    auto lower = [](char c) {
      return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    };
    return lower(x) == lower(y);
  });
}

}  // namespace

std::string_view UrlError::description(int code) {
  switch (code) {
    case kCancelled:
      return "cancelled";
    case kBadUrl:
      return "bad URL";
    case kTimedOut:
      return "The request timed out.";
    case kUnsupportedUrl:
      return "unsupported URL";
    case kCannotFindHost:
      return "A server with this host name could not be found.";
    case kCannotConnectToHost:
      return "Could not connect to the server.";
    case kNetworkConnectionLost:
      return "The network connection was lost.";
    case kHttpTooManyRedirects:
      return "too many HTTP redirects";
    case kBadServerResponse:
      return "bad server response";
    case kCannotDecodeContentData:
      return "cannot decode content data";
    case kDataLengthExceedsMaximum:
      return "resource exceeds maximum size";
    case kSecureConnectionFailed:
      return "An SSL error has occurred and a secure connection to the server cannot be made.";
    case kServerCertificateUntrusted:
      return "The certificate for this server is invalid.";
    case kClientCertificateRejected:
      return "The server did not accept the certificate.";
    default:
      return "unknown error";
  }
}

std::optional<std::string> HttpRequest::header(std::string_view name) const {
  for (const auto& [key, value] : headers) {
    if (equalsIgnoringCase(key, name)) return value;
  }
  return std::nullopt;
}

void HttpRequest::setHeader(std::string name, std::string value) {
  for (auto& [key, existing] : headers) {
    if (equalsIgnoringCase(key, name)) {
      existing = std::move(value);
      return;
    }
  }
  headers.emplace_back(std::move(name), std::move(value));
}

std::string HttpError::toString() const {
  std::string text = description + " (" + std::to_string(code) + ")";
  if (!detail.empty()) text += ": " + detail;
  return text;
}

}  // namespace pelorin::platform
