// The lightbox's page template: the style block and the wrapper around server content.
#include <algorithm>
#include <cctype>

#include "plugins/pl_lightbox.h"

namespace pelorin {
namespace {

char lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// Position of `needle` (lower case) in `text` compared case-insensitively, from `from`.
std::size_t findNoCase(std::string_view text, std::string_view needle, std::size_t from = 0) {
  if (needle.size() > text.size()) return std::string_view::npos;
  for (std::size_t at = from; at + needle.size() <= text.size(); ++at) {
    if (std::equal(needle.begin(), needle.end(), text.begin() + static_cast<std::ptrdiff_t>(at),
                   [](char wanted, char actual) { return wanted == lower(actual); })) {
      return at;
    }
  }
  return std::string_view::npos;
}

// Position of the tag `<name` (followed by white space, "/" or ">"), from `from`.
std::size_t findTag(std::string_view text, std::string_view openName, std::size_t from = 0) {
  for (std::size_t at = findNoCase(text, openName, from); at != std::string_view::npos;
       at = findNoCase(text, openName, at + 1)) {
    const std::size_t next = at + openName.size();
    if (next == text.size() || isSpace(text[next]) || text[next] == '/' || text[next] == '>') {
      return at;
    }
  }
  return std::string_view::npos;
}

std::size_t findLastNoCase(std::string_view text, std::string_view needle) {
  std::size_t last = std::string_view::npos;
  for (std::size_t at = findNoCase(text, needle); at != std::string_view::npos;
       at = findNoCase(text, needle, at + 1)) {
    last = at;
  }
  return last;
}

}  // namespace

std::string PLLightbox::extractContentFromHtml(std::string_view content) {
  const std::size_t body = findTag(content, "<body");
  if (body == std::string_view::npos) return std::string(content);
  const std::size_t open = content.find('>', body);
  if (open == std::string_view::npos) return std::string(content);
  const std::size_t begin = open + 1;
  std::size_t end = findLastNoCase(content, "</body");
  if (end == std::string_view::npos || end < begin) end = content.size();
  return std::string(content.substr(begin, end - begin));
}

bool PLLightbox::isImageOnly(std::string_view content) {
  // The image rules size the image against its parent, the lightbox: only an image that is
  // the content itself (not one inside a link or a division) can fill it.
  const std::size_t first = content.find_first_not_of(" \t\r\n\f\v");
  if (first == std::string_view::npos || findTag(content, "<img", first) != first) return false;
  const std::size_t end = content.find('>', first);
  if (end == std::string_view::npos) return false;
  return content.find_first_not_of(" \t\r\n\f\v", end + 1) == std::string_view::npos;
}

std::string PLLightbox::setHtmlStyle(bool imageOnly, const std::optional<std::string>& inlineCss) {
  std::string style = "<style type=\"text/css\">\n";
  if (imageOnly) {
    style +=
        "img {max-height: 100%;max-width:100%;width:100%;height:100%;object-fit:contain;}\n"
        ".plFullScreenLightboxMain {display: -webkit-flex;-webkit-align-items: center;"
        "-webkit-justify-content: center;-webkit-flex-direction:column;height:100%}\n"
        ".plFullScreenLightboxWrapper { height:100%;}"
        "body { height:100vh;}";
  }
  style +=
      ".plFullScreenLightboxMain {padding: 5px;}\n"
      "* { margin: 0; padding: 0; }\n"
      "</style>";
  if (inlineCss && !inlineCss->empty()) {
    style += "<style type=\"text/css\">" + *inlineCss + "</style>";
  }
  return style;
}

std::optional<std::string> PLLightbox::constructHtml(const std::optional<std::string>& content,
                                                     const std::optional<std::string>& cssUrl,
                                                     const std::optional<std::string>& inlineCss) {
  if (!content || content->empty()) return std::nullopt;
  const std::string body = extractContentFromHtml(*content);
  std::string page = "<!DOCTYPE html><html><head>";
  page += setHtmlStyle(isImageOnly(body), inlineCss);
  if (cssUrl && !cssUrl->empty()) {
    page += R"(<link rel="stylesheet" type="text/css" href=")" + *cssUrl + R"(" />)";
  }
  page +=
      "</head><body>\n<div class=\"plFullScreenLightboxWrapper\">\n\t"
      "<div class=\"plFullScreenLightboxMain\">";
  page += body;
  page += "\n</div></div></body></html>";
  return page;
}

}  // namespace pelorin
