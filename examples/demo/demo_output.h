// What the demo prints on standard output: one heading per step, then labelled lines
// ("sent", "answer", "plug-in", "profile", "segments"), compact unless verbose. Every
// line starts with a letter or two spaces, never with "[", so the library's own log lines
// (which start with "[<date>]") stand apart from the demo's.
//
// Thread safety: one thread (the demo's main thread).
#ifndef PELORIN_EXAMPLES_DEMO_DEMO_OUTPUT_H_
#define PELORIN_EXAMPLES_DEMO_DEMO_OUTPUT_H_

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "batch_summary.h"
#include "recording_http_client.h"

namespace demo {

// A profile as the app sees it: property name to values, in name order.
using Profile = std::map<std::string, std::vector<std::string>>;

class DemoOutput {
 public:
  explicit DemoOutput(bool verbose) : _verbose(verbose) {}

  bool verbose() const { return _verbose; }

  // One line, written and flushed at once so it never mixes with a library log line.
  void line(std::string_view text) const;
  void stepHeading(int number, std::string_view title) const;
  // "  <label padded> <text>"; each further line of `text` is indented to match.
  void field(std::string_view label, std::string_view text) const;

  // The batch and its answer: one line each, or both bodies in full when verbose.
  void exchange(const Exchange& exchange, const BatchSummary& summary) const;
  // What changed from `before` to `after`, one property a line; all of it when verbose.
  void profileChanges(const Profile& before, const Profile& after) const;
  // Every property, one a line.
  void profile(std::string_view label, const Profile& profile) const;

  // A property's values as they read best: one value bare, several in brackets. The
  // hidden "_" companions hold raw point data for the server; they are counted, not shown,
  // unless verbose.
  std::string describeValues(const std::string& name, const std::vector<std::string>& values) const;

 private:
  bool _verbose;
};

}  // namespace demo

#endif  // PELORIN_EXAMPLES_DEMO_DEMO_OUTPUT_H_
