#include "plugins/pl_lightbox.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <system_error>

#include <fmt/format.h>

#include "config/pelorin_configuration.h"
#include "pelorin/platform/file_system.h"
#include "pelorin/platform/platform.h"
#include "plugins/library_resources.h"

namespace pelorin {
namespace {

bool isAsciiLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isAsciiDigit(char c) { return c >= '0' && c <= '9'; }

// The characters an address may hold as it stands (letters, digits, RFC 3986's unreserved,
// reserved and "%" of escapes).
bool isAddressCharacter(char c) {
  constexpr std::string_view kAllowed = "-._~:/?#[]@!$&'()*+,;=%";
  return isAsciiLetter(c) || isAsciiDigit(c) || kAllowed.find(c) != std::string_view::npos;
}

// True when `url` starts with a scheme ("http:", "mailto:", ...).
bool hasScheme(std::string_view url) {
  if (url.empty() || !isAsciiLetter(url.front())) return false;
  for (char c : url.substr(1)) {
    if (c == ':') return true;
    if (!isAsciiLetter(c) && !isAsciiDigit(c) && c != '+' && c != '-' && c != '.') return false;
  }
  return false;
}

// True when an address without scheme names a host ("//example.com/...").
bool hasHost(std::string_view url) {
  if (!url.starts_with("//")) return false;
  const std::size_t end = url.find_first_of("/?#", 2);
  return (end == std::string_view::npos ? url.size() : end) > 2;
}

// The largest close icon read from a file.
constexpr std::size_t kMaxIconBytes = std::size_t{1024} * 1024;

// Writes a margin as a plain decimal number (never an exponent), -0 as 0.
std::string formatMargin(double value) {
  if (value == 0) value = 0;  // -0 compares equal to 0 and becomes +0
  std::array<char, 512> buffer{};
  auto [end, error] =
      std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::fixed);
  return error == std::errc() ? std::string(buffer.data(), end) : std::string("0");
}

// The close button's image: the one at `iconUrl`, else the library's own. A file address
// is read here; any other address is left to the toolkit to fetch, so that the main thread
// never waits for the network.
std::optional<platform::Image> closeImage(const std::optional<std::string>& iconUrl) {
  if (!iconUrl || iconUrl->empty()) return plugins::libraryImage("close", "png");
  constexpr std::string_view kFileScheme = "file://";
  if (!iconUrl->starts_with(kFileScheme)) return platform::Image{*iconUrl, {}};
  // Only a regular file of bounded size: a device or a FIFO would hold the main thread.
  std::string bytes;
  const platform::FileStatus status =
      platform::readRegularFile(iconUrl->substr(kFileScheme.size()), kMaxIconBytes, &bytes);
  if (!status.isOk() || bytes.empty()) {
    PelorinConfiguration::log(
        [&] { return "The close icon '" + *iconUrl + "' cannot be read; using the default"; },
        PLLightbox::LOG_TAG, LogFlag::WARNING);
    return plugins::libraryImage("close", "png");
  }
  return platform::Image{*iconUrl, std::vector<std::uint8_t>(bytes.begin(), bytes.end())};
}

}  // namespace

PLLightbox::PLLightbox(const std::shared_ptr<platform::ViewController>& viewController,
                       std::optional<std::string> iconUrl)
    : _viewController(viewController), _iconUrl(std::move(iconUrl)) {}

PLLightbox::~PLLightbox() {
  // Its timer would find nothing to hide.
  if (_hideTimerId.valid()) Platform::current().mainThread().cancelTimer(_hideTimerId);
}

void PLLightbox::create() {
  std::weak_ptr<PLLightbox> weak = weak_from_this();

  _backgroundView = std::make_shared<platform::View>();
  _backgroundView->setBackgroundColor(lightBoxBackgroundColor);
  _backgroundView->setTranslatesAutoresizingMaskIntoConstraints(false);
  _backgroundView->addGestureRecognizer(std::make_shared<platform::TapGestureRecognizer>(
      weak, [weak](platform::TapGestureRecognizer& recognizer) {
        if (auto self = weak.lock()) self->handleLightBox(recognizer);
      }));

  _lightboxView = std::make_shared<platform::WebView>();
  _lightboxView->setTranslatesAutoresizingMaskIntoConstraints(false);
  _lightboxView->setNavigationDelegate(weak);

  _closeButton = std::make_shared<platform::Button>();
  _closeButton->setTranslatesAutoresizingMaskIntoConstraints(false);
  _closeButton->setImage(closeImage(_iconUrl));
  _closeButton->addTarget(
      weak,
      [weak](platform::Control& /*sender*/) {
        if (auto self = weak.lock()) self->hide();
      },
      platform::ControlEvents::kTouchUpInside);
}

void PLLightbox::show() {
  auto host = _viewController.lock();
  if (!host || _isShown || !_backgroundView) return;
  const std::shared_ptr<platform::View> hostView = host->view();
  const platform::Rect bounds = hostView->bounds();

  _backgroundView->setBackgroundColor(lightBoxBackgroundColor);
  hostView->addSubview(_backgroundView);
  hostView->addConstraints("H:|-0-[background]-0-|", {{"background", _backgroundView}});
  hostView->addConstraints("V:|-0-[background]-0-|", {{"background", _backgroundView}});

  const double horizontal = bounds.width() * static_cast<double>(margin) / 100;
  const double vertical = bounds.height() * static_cast<double>(margin) / 100;
  hostView->addSubview(_lightboxView);
  const std::string h = formatMargin(horizontal);
  const std::string v = formatMargin(vertical);
  hostView->addConstraints(fmt::format("H:|-{}-[lightbox]-{}-|", h, h),
                           {{"lightbox", _lightboxView}});
  hostView->addConstraints(fmt::format("V:|[topGuide]-{}-[lightbox]-{}-|", v, v),
                           {{"topGuide", host->topLayoutGuide()}, {"lightbox", _lightboxView}});

  _lightboxView->addSubview(_closeButton);
  _lightboxView->addConstraints("H:[closeButton]-10-|", {{"closeButton", _closeButton}});
  _lightboxView->addConstraints("V:|-10-[closeButton]", {{"closeButton", _closeButton}});

  _isShown = true;
  if (hideTimer && *hideTimer > kMaxHideTimerSeconds) {
    PelorinConfiguration::log(
        [&] { return fmt::format("The hide timer of {} seconds is ignored", *hideTimer); }, LOG_TAG,
        LogFlag::WARNING);
  } else if (hideTimer) {
    // A timer set in the past fires at once.
    const std::int64_t seconds = std::max<std::int64_t>(*hideTimer, 0);
    std::weak_ptr<PLLightbox> weak = weak_from_this();
    _hideTimerId =
        Platform::current().mainThread().scheduleTimer(std::chrono::seconds(seconds), [weak] {
          if (auto self = weak.lock()) self->hide();
        });
  }
}

void PLLightbox::showIfReady() {
  _isReadyForShowing = true;
  if (_isLoaded) show();
}

void PLLightbox::hide() {
  if (_hideTimerId.valid()) {
    Platform::current().mainThread().cancelTimer(_hideTimerId);
    _hideTimerId = {};
  }
  if (_backgroundView) _backgroundView->removeFromSuperview();
  if (_lightboxView) _lightboxView->removeFromSuperview();
  if (_closeButton) _closeButton->removeFromSuperview();
  _isShown = false;
}

void PLLightbox::handleLightBox(platform::TapGestureRecognizer& /*recognizer*/) { hide(); }

// The handler is taken by value because the interface lets delegates keep it.
void PLLightbox::decidePolicyFor(
    platform::WebView& /*webView*/, const platform::NavigationAction& action,
    DecisionHandler decisionHandler) {  // NOLINT(performance-unnecessary-value-param)
  if (action.navigationType == platform::NavigationType::kLinkActivated &&
      !action.request.url.empty()) {
    Platform::current().ui().openURL(action.request.url);
    decisionHandler(platform::NavigationActionPolicy::kCancel);
    return;
  }
  decisionHandler(platform::NavigationActionPolicy::kAllow);
}

void PLLightbox::didStartProvisionalNavigation(platform::WebView& /*webView*/,
                                               const platform::Navigation& /*navigation*/) {
  if (_isLoaded) return;
  _isLoaded = true;
  if (_isReadyForShowing) show();
}

std::shared_ptr<PLLightbox> PLLightbox::makeContentFromHtml(
    const std::shared_ptr<platform::ViewController>& viewController,
    const std::optional<std::string>& content, const std::optional<std::string>& cssUrl,
    const std::optional<std::string>& inlineCss, const std::optional<std::string>& iconUrl) {
  auto page = constructHtml(content, cssUrl, inlineCss);
  if (!page) return nullptr;
  return makeContent(viewController, std::move(*page), std::nullopt, iconUrl);
}

std::shared_ptr<PLLightbox> PLLightbox::makeContent(
    const std::shared_ptr<platform::ViewController>& viewController, std::string html,
    std::optional<std::string> baseURL, const std::optional<std::string>& iconUrl) {
  auto lightbox = std::make_shared<PLLightbox>(viewController, iconUrl);
  lightbox->create();
  lightbox->_lightboxView->loadHTMLString(std::move(html), std::move(baseURL));
  return lightbox;
}

std::shared_ptr<PLLightbox> PLLightbox::makeURLString(
    const std::shared_ptr<platform::ViewController>& viewController, std::string_view url,
    const std::optional<std::string>& iconUrl) {
  if (url.empty() || !std::all_of(url.begin(), url.end(), isAddressCharacter)) {
    PelorinConfiguration::log(
        [&] { return fmt::format("The lightbox address '{}' is not a valid URL", url); }, LOG_TAG,
        LogFlag::WARNING);
    return nullptr;
  }
  return makeURL(viewController, url, iconUrl);
}

std::shared_ptr<PLLightbox> PLLightbox::makeURL(
    const std::shared_ptr<platform::ViewController>& viewController, std::string_view url,
    const std::optional<std::string>& iconUrl) {
  std::string address(url);
  if (!hasScheme(url) && !hasHost(url)) {
    // Typed without a prefix: "example.com/offer" is a path to the address parser.
    address = "http://" + std::string(url.substr(0, url.find_first_of("?#")));
  }
  auto lightbox = std::make_shared<PLLightbox>(viewController, iconUrl);
  lightbox->create();
  lightbox->_lightboxView->load(makeURLRequest(std::move(address)));
  return lightbox;
}

platform::UrlRequest PLLightbox::makeURLRequest(std::string url) {
  platform::UrlRequest request;
  request.url = std::move(url);
  request.cachePolicy = platform::UrlRequestCachePolicy::kUseProtocolCachePolicy;
  request.timeoutInterval = std::chrono::seconds(60);
  return request;
}

}  // namespace pelorin
