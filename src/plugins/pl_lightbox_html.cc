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
  const std::size_t image = findTag(content, "<img");
  if (image == std::string_view::npos) return false;
  if (findTag(content, "<img", image + 1) != std::string_view::npos) return false;
  // No text outside the tags: only the image (perhaps inside a link or a division).
  bool inTag = false;
  for (char c : content) {
    if (c == '<') {
      inTag = true;
    } else if (c == '>') {
      inTag = false;
    } else if (!inTag && !isSpace(c)) {
      return false;
    }
  }
  return true;
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
    page += "<link rel=\"stylesheet\" type=\"text/css\" href=\"" + *cssUrl + "\" />";
  }
  page +=
      "</head><body>\n<div class=\"plFullScreenLightboxWrapper\">\n\t"
      "<div class=\"plFullScreenLightboxMain\">";
  page += body;
  page += "\n</div></div></body></html>";
  return page;
}

}  // namespace pelorin
