// The number helpers of the "merge" method: reading numbers written with either decimal
// separator, summing them and writing the total.
#include "listeners/rule_service.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>
#include <system_error>

#include "base/describe.h"
#include "base/text.h"
#include "config/pelorin_configuration.h"

namespace pelorin {
namespace {

void logInfo(auto&& makeMessage) {
  PelorinConfiguration::log(std::forward<decltype(makeMessage)>(makeMessage), RuleService::LOG_TAG,
                            LogFlag::INFO);
}

}  // namespace

std::optional<std::string> RuleService::sum(const std::string& current,
                                            const std::vector<std::string>& newValues) {
  logInfo([&] { return "Merging currentValue " + current + " with " + describe(newValues); });
  std::optional<double> total = parseNumber(convertToFormattable(current));
  if (!total) return std::nullopt;
  for (const std::string& value : newValues) {
    if (std::optional<double> number = parseNumber(convertToFormattable(value))) *total += *number;
  }
  if (!std::isfinite(*total)) return std::nullopt;
  return formatNumber(*total);
}

std::string RuleService::getFirstNonEmptyValue(
    const std::optional<std::vector<std::string>>& values) {
  if (values) {
    for (const std::string& value : *values) {
      std::string_view trimmed = text::trim(value);
      if (!trimmed.empty()) return std::string(trimmed);
    }
  }
  return "0";
}

std::string RuleService::convertToFormattable(std::string_view value) {
  const std::size_t lastDot = value.rfind('.');
  const std::size_t lastComma = value.rfind(',');
  const bool hasDot = lastDot != std::string_view::npos;
  const bool hasComma = lastComma != std::string_view::npos;
  std::string result(value);
  auto removeAll = [&result](char c) { std::erase(result, c); };
  if (hasDot && hasComma) {
    if (lastComma > lastDot) {
      removeAll('.');
      std::replace(result.begin(), result.end(), ',', '.');
    } else {
      removeAll(',');
    }
  } else if (hasComma) {
    if (std::count(result.begin(), result.end(), ',') == 1) {
      std::replace(result.begin(), result.end(), ',', '.');
    } else {
      removeAll(',');
    }
  } else if (hasDot && std::count(result.begin(), result.end(), '.') > 1) {
    removeAll('.');
  }
  return result;
}

std::optional<double> RuleService::parseNumber(std::string_view text) {
  // An optional sign, then a digit or the point: from_chars alone would also read "inf",
  // "nan" and a "+" followed by another sign.
  std::string_view magnitude = text;
  if (!magnitude.empty() && (magnitude.front() == '+' || magnitude.front() == '-')) {
    magnitude.remove_prefix(1);
  }
  if (magnitude.empty() || !(std::isdigit(static_cast<unsigned char>(magnitude.front())) != 0 ||
                             magnitude.front() == '.')) {
    return std::nullopt;
  }
  if (text.front() == '+') text.remove_prefix(1);
  double number = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(number)) {
    return std::nullopt;
  }
  return number;
}

std::string RuleService::formatNumber(double value) {
  if (!std::isfinite(value)) return "";
  // The shortest digits that read back as `value`, from the scientific form "d.ddde+XX",
  // laid out in fixed-point notation.
  char buffer[64];
  auto [end, error] =
      std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific);
  if (error != std::errc()) return "";
  std::string_view scientific(buffer, static_cast<std::size_t>(end - buffer));
  std::string text;
  if (scientific.front() == '-') {
    text.push_back('-');
    scientific.remove_prefix(1);
  }
  const std::size_t e = scientific.find('e');
  std::string digits;
  for (char c : scientific.substr(0, e)) {
    if (c != '.') digits.push_back(c);
  }
  int exponent = 0;
  std::string_view exponentText = scientific.substr(e + 1);
  if (exponentText.front() == '+') exponentText.remove_prefix(1);
  std::from_chars(exponentText.data(), exponentText.data() + exponentText.size(), exponent);
  // The point stands after `exponent + 1` digits.
  const int pointAt = exponent + 1;
  if (pointAt <= 0) {
    text += "0.";
    text.append(static_cast<std::size_t>(-pointAt), '0');
    text += digits;
  } else if (static_cast<std::size_t>(pointAt) >= digits.size()) {
    text += digits;
    text.append(static_cast<std::size_t>(pointAt) - digits.size(), '0');
    text += ".0";
  } else {
    text += digits.substr(0, static_cast<std::size_t>(pointAt));
    text.push_back('.');
    text += digits.substr(static_cast<std::size_t>(pointAt));
  }
  return text;
}

}  // namespace pelorin
