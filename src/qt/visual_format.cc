#include "qt/visual_format.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>

namespace pelorin::qt {
namespace {

bool isNameStart(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool isNameChar(char c) { return isNameStart(c) || (c >= '0' && c <= '9'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Reads the text of a format from left to right.
class Reader {
 public:
  explicit Reader(std::string_view text) : _text(text) {}

  bool atEnd() const { return _at == _text.size(); }
  bool peek(char c) const { return _at < _text.size() && _text[_at] == c; }
  bool take(char c) {
    if (!peek(c)) return false;
    ++_at;
    return true;
  }
  bool take(std::string_view word) {
    if (_text.substr(_at).substr(0, word.size()) != word) return false;
    _at += word.size();
    return true;
  }

  // A non-negative decimal number ("10", "39.5"); digits only, as the library writes them.
  std::optional<double> number() {
    const std::size_t begin = _at;
    while (_at < _text.size() && (isDigit(_text[_at]) || _text[_at] == '.')) ++_at;
    if (_at == begin || !isDigit(_text[begin]) || !isDigit(_text[_at - 1])) return std::nullopt;
    double value = 0;
    const char* first = _text.data() + begin;
    const char* last = _text.data() + _at;
    auto [end, error] = std::from_chars(first, last, value, std::chars_format::fixed);
    if (error != std::errc() || end != last) return std::nullopt;
    return value;
  }

  std::optional<std::string> name() {
    const std::size_t begin = _at;
    if (_at == _text.size() || !isNameStart(_text[_at])) return std::nullopt;
    while (_at < _text.size() && isNameChar(_text[_at])) ++_at;
    return std::string(_text.substr(begin, _at - begin));
  }

 private:
  std::string_view _text;
  std::size_t _at = 0;
};

// A connection: "-n-" (n points), "-" (the standard spacing `standard`) or nothing (0).
// Nothing answered when the text is not one.
std::optional<double> connection(Reader& reader, double standard) {
  if (!reader.take('-')) return 0.0;
  if (!reader.peek('[') && !reader.peek('|')) {
    auto points = reader.number();
    if (!points || !reader.take('-')) return std::nullopt;
    return points;
  }
  return standard;
}

// "[name]" or "[name(44)]" (also "[name(==44)]").
std::optional<VisualFormatView> view(Reader& reader) {
  if (!reader.take('[')) return std::nullopt;
  VisualFormatView parsed;
  auto name = reader.name();
  if (!name) return std::nullopt;
  parsed.name = std::move(*name);
  if (reader.take('(')) {
    reader.take("==");
    parsed.length = reader.number();
    if (!parsed.length || !reader.take(')')) return std::nullopt;
  }
  if (!reader.take(']')) return std::nullopt;
  return parsed;
}

}  // namespace

std::optional<VisualFormat> parseVisualFormat(std::string_view text) {
  Reader reader(text);
  VisualFormat format;
  if (reader.take("V:")) {
    format.orientation = Orientation::kVertical;
  } else {
    reader.take("H:");
  }
  if (reader.take('|')) {
    format.leadingSpacing = connection(reader, kStandardEdgeSpacing);
    if (!format.leadingSpacing) return std::nullopt;
  }
  auto first = view(reader);
  if (!first) return std::nullopt;
  format.views.push_back(std::move(*first));
  while (!reader.atEnd()) {
    // "-" before "|" is the edge's standard spacing, before a view the views' one.
    Reader ahead = reader;
    auto spacing = connection(ahead, kStandardSpacing);
    if (!spacing) return std::nullopt;
    if (ahead.take('|')) {
      format.trailingSpacing = connection(reader, kStandardEdgeSpacing);
      reader.take('|');
      if (!reader.atEnd()) return std::nullopt;
      break;
    }
    reader = ahead;
    auto next = view(reader);
    if (!next) return std::nullopt;
    format.spacings.push_back(*spacing);
    format.views.push_back(std::move(*next));
  }
  return format;
}

std::optional<std::vector<AxisPlacement>> solveAxis(const VisualFormat& format,
                                                    double superviewLength,
                                                    const std::vector<AxisItem>& items) {
  const std::size_t count = format.views.size();
  if (items.size() != count || format.spacings.size() + 1 != count) return std::nullopt;

  std::vector<AxisPlacement> placed(count);
  std::optional<std::size_t> stretching;
  for (std::size_t i = 0; i < count; ++i) {
    if (items[i].isGuide) {
      placed[i].length = items[i].naturalLength;
    } else if (format.views[i].length) {
      placed[i].length = *format.views[i].length;
    } else {
      placed[i].length = items[i].naturalLength;
      if (!stretching && !items[i].isFixed) stretching = i;
    }
  }

  double spacing = 0;
  for (double between : format.spacings) spacing += between;
  const bool leading = format.leadingSpacing.has_value();
  const bool trailing = format.trailingSpacing.has_value();

  if (leading && trailing && stretching) {
    double others = spacing + *format.leadingSpacing + *format.trailingSpacing;
    for (std::size_t i = 0; i < count; ++i) {
      if (i != *stretching) others += placed[i].length;
    }
    placed[*stretching].length = std::max(0.0, superviewLength - others);
  }

  if (!leading && trailing) {
    // From the trailing edge backwards.
    double end = superviewLength - *format.trailingSpacing;
    for (std::size_t i = count; i-- > 0;) {
      placed[i].start = end - placed[i].length;
      if (i > 0) end = placed[i].start - format.spacings[i - 1];
    }
    return placed;
  }

  double start = leading ? *format.leadingSpacing : items[0].currentStart;
  for (std::size_t i = 0; i < count; ++i) {
    // A guide keeps its place; the chain goes on from its end.
    placed[i].start = items[i].isGuide ? items[i].currentStart : start;
    start = placed[i].start + placed[i].length + (i + 1 < count ? format.spacings[i] : 0);
  }
  return placed;
}

}  // namespace pelorin::qt
