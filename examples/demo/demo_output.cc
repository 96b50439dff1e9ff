#include "demo_output.h"

#include <cstdio>

namespace demo {
namespace {

constexpr std::size_t kLabelWidth = 10;

std::string bracketed(const std::vector<std::string>& values) {
  std::string text = "[";
  for (const auto& value : values) {
    if (text.size() > 1) text += ", ";
    text += value;
  }
  return text + "]";
}

}  // namespace

void DemoOutput::line(std::string_view text) const {
  std::string out(text);
  out += '\n';
  std::fwrite(out.data(), 1, out.size(), stdout);
  std::fflush(stdout);
}

void DemoOutput::stepHeading(int number, std::string_view title) const {
  line("");
  line("Step " + std::to_string(number) + ": " + std::string(title));
}

void DemoOutput::field(std::string_view label, std::string_view text) const {
  std::string prefix = "  " + std::string(label);
  prefix.resize(2 + kLabelWidth, ' ');
  const std::string indent(prefix.size(), ' ');
  if (text.ends_with('\n')) text.remove_suffix(1);
  bool first = true;
  for (std::size_t start = 0;;) {
    const auto end = text.find('\n', start);
    line((first ? prefix : indent) + std::string(text.substr(start, end - start)));
    first = false;
    if (end == std::string_view::npos) break;
    start = end + 1;
  }
}

void DemoOutput::exchange(const Exchange& exchange, const BatchSummary& summary) const {
  field("sent", summary.sent);
  field("answer", summary.answer);
  if (_verbose) field("", describeInFull(exchange));
}

std::string DemoOutput::describeValues(const std::string& name,
                                       const std::vector<std::string>& values) const {
  if (name.starts_with("_") && !_verbose) {
    return std::to_string(values.size()) + " raw point record" + (values.size() == 1 ? "" : "s") +
           " for the server to derive \"" + name.substr(1) + "\"";
  }
  return values.size() == 1 ? values.front() : bracketed(values);
}

void DemoOutput::profileChanges(const Profile& before, const Profile& after) const {
  if (_verbose) {
    profile("profile", after);
    return;
  }
  std::vector<std::string> lines;
  for (const auto& [name, values] : after) {
    auto old = before.find(name);
    if (old == before.end()) {
      lines.push_back("+ " + name + " = " + describeValues(name, values));
    } else if (old->second != values) {
      lines.push_back("~ " + name + " = " + describeValues(name, values));
    }
  }
  for (const auto& [name, values] : before) {
    if (!after.contains(name)) lines.push_back("- " + name);
  }
  if (lines.empty()) {
    field("profile", "unchanged (" + std::to_string(after.size()) + " properties)");
    return;
  }
  std::string text;
  for (const auto& entry : lines) text += (text.empty() ? "" : "\n") + entry;
  field("profile", text);
}

void DemoOutput::profile(std::string_view label, const Profile& profile) const {
  if (profile.empty()) {
    field(label, "(no properties)");
    return;
  }
  std::string text;
  for (const auto& [name, values] : profile) {
    text += (text.empty() ? "" : "\n") + name + " = " + describeValues(name, values);
  }
  field(label, text);
}

}  // namespace demo
