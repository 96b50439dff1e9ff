// A client showing the Checkout screen, and helpers to run an engagement service on it and
// read back what it stored.
#ifndef PELORIN_TESTS_PLUGINS_ENGAGEMENT_FIXTURE_H_
#define PELORIN_TESTS_PLUGINS_ENGAGEMENT_FIXTURE_H_

#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "listeners/engagement_service.h"
#include "listeners/rule_service_fixture.h"

namespace pelorin {

// Failure messages show JSON values as their compact text.
inline void PrintTo(const JsonValue& value, std::ostream* out) { *out << value.toCompactString(); }

namespace testing {

// RuleServiceTest's client and Checkout screen, with engagement services on it.
class EngagementServiceTest : public RuleServiceTest {
 protected:
  using Strings = std::vector<std::string>;

  // A score service for the property "engagement" (classic format) of the interaction "i1".
  std::shared_ptr<EngagementService> scoreService() {
    return std::make_shared<EngagementService>(_client, "i1", "engagement", false, Strings(),
                                               false);
  }
  // A ranking service for the interaction "i1" (half-time format, under "i1").
  std::shared_ptr<EngagementService> rankingService(Strings allInterests = {}) {
    return std::make_shared<EngagementService>(_client, "i1", "i1", true, std::move(allInterests),
                                               true);
  }
  static void apply(EngagementService& service, std::string_view rulesJson) {
    JsonValue rules = json(rulesJson);
    service.applyRules(rules.ref());
  }

  // The values of a profile property, each parsed as JSON.
  std::vector<JsonValue> stored(std::string_view property) {
    std::vector<JsonValue> values;
    for (const std::string& text : _client.getProfileValues(property).value_or(Strings())) {
      values.push_back(json(text));
    }
    return values;
  }
  // Log lines of the engagement service only.
  std::vector<std::string> engagementLines() const {
    std::vector<std::string> lines;
    for (const auto& line : _platform.logLines()) {
      if (line.find("[PL_ENGAGMENTSERVICE]") != std::string::npos) lines.push_back(line);
    }
    return lines;
  }
};

}  // namespace testing
}  // namespace pelorin

#endif  // PELORIN_TESTS_PLUGINS_ENGAGEMENT_FIXTURE_H_
