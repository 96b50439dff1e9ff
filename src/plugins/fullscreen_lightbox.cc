#include "plugins/fullscreen_lightbox.h"

#include <charconv>
#include <cmath>

#include <fmt/format.h>

#include "base/decimal_integer.h"
#include "config/pelorin_configuration.h"
#include "pelorin/pelorin_client.h"

namespace pelorin {
namespace {

// The first string of a parameter, "" included; nothing when it is missing or has no values.
std::optional<std::string> firstValue(const Parameters& parameters, std::string_view key) {
  auto found = parameters.find(std::string(key));
  if (found == parameters.end() || found->second.empty()) return std::nullopt;
  return found->second.front();
}

void logIgnored(std::string_view parameter, std::string_view text) {
  PelorinConfiguration::log(
      [&] { return fmt::format("The {} value '{}' is ignored", parameter, text); },
      FullscreenLightbox::LOG_TAG, LogFlag::WARNING);
}

}  // namespace

FullscreenLightbox::FullscreenLightbox(PelorinClient& client, InteractionContext context)
    : _client(client), _context(std::move(context)) {}

void FullscreenLightbox::onLoad() {
  auto host = selectTopViewController();
  if (!host) return;
  _lightbox = presentLightbox(host, _context.getParameters());
}

std::optional<std::string> FullscreenLightbox::getValueFromParameters(std::string_view key) const {
  return firstValue(_context.getParameters(), key);
}

std::shared_ptr<platform::ViewController> FullscreenLightbox::selectTopViewController() const {
  return outermostParent(PelorinClient::synchronized([&] { return _client.getViewController(); }));
}

std::shared_ptr<PLLightbox> FullscreenLightbox::presentLightbox(
    const std::shared_ptr<platform::ViewController>& host, const Parameters& parameters) {
  if (!host) return nullptr;
  const auto iconUrl = firstValue(parameters, "iconUrl");
  std::shared_ptr<PLLightbox> lightbox;
  if (auto url = firstValue(parameters, "url")) {
    lightbox = PLLightbox::makeURLString(host, *url, iconUrl);
  } else if (auto html = firstValue(parameters, "html")) {
    lightbox = PLLightbox::makeContent(host, std::move(*html), std::nullopt, iconUrl);
  } else {
    lightbox = PLLightbox::makeContentFromHtml(host, firstValue(parameters, "content"),
                                               firstValue(parameters, "cssUrl"),
                                               firstValue(parameters, "inlineCss"), iconUrl);
  }
  if (!lightbox) return nullptr;
  if (auto text = firstValue(parameters, "margins")) {
    if (auto margin = parseMargin(*text)) lightbox->margin = *margin;
  }
  if (auto text = firstValue(parameters, "hideTimer")) {
    if (auto seconds = parseHideTimer(*text)) lightbox->hideTimer = *seconds;
  }
  lightbox->showIfReady();
  return lightbox;
}

std::shared_ptr<platform::ViewController> FullscreenLightbox::outermostParent(
    std::shared_ptr<platform::ViewController> controller) {
  while (controller) {
    auto parent = controller->parentViewController();
    if (!parent) break;
    controller = std::move(parent);
  }
  return controller;
}

std::optional<float> FullscreenLightbox::parseMargin(std::string_view text) {
  std::string_view number = text;
  // from_chars takes a leading "-" but not a "+".
  if (number.starts_with('+') && number.size() > 1 && number[1] != '-') number.remove_prefix(1);
  float margin = 0;
  const char* end = number.data() + number.size();
  auto [next, error] = std::from_chars(number.data(), end, margin);
  // A layout takes no negative or non-finite margin.
  if (error != std::errc() || next != end || !std::isfinite(margin) || margin < 0) {
    logIgnored("margins", text);
    return std::nullopt;
  }
  return margin;
}

std::optional<std::int64_t> FullscreenLightbox::parseHideTimer(std::string_view text) {
  const auto seconds = parseDecimalInteger(text);
  if (!seconds || *seconds > PLLightbox::kMaxHideTimerSeconds) {
    logIgnored("hideTimer", text);
    return std::nullopt;
  }
  return seconds;
}

}  // namespace pelorin
