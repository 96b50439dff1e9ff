// The demo as its users run it: a process of its own, against the devserver it embeds or
// against a standalone pelorin-devserver, with its output read back line by line.
#include <chrono>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include "support/child_process.h"

namespace {

using pelorin::testing::ChildProcess;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;

constexpr auto kRunLimit = std::chrono::seconds(150);

const std::vector<std::string> kStepHeadings = {
    "Step 1: Opens the app on the home screen",
    "Step 2: Taps \"Shop trail shoes\": the product screen opens",
    "Step 3: Taps \"Read reviews\"",
    "Step 4: Taps \"Add to cart\"",
    R"(Step 5: Taps "Save for later": the app sends its own event "wishlist")",
    "Step 6: Opens the sign-up screen",
    "Step 7: Types an e-mail address and a city",
    "Step 8: Switches the newsletter on, drags the budget slider to 150, picks shoe size 42",
    "Step 9: Taps \"Create account\"",
    "Step 10: Opens the checkout screen",
    "Step 11: Closes the lightbox",
    "Step 12: Taps \"Pay now\"",
    "Step 13: Restarts the app on the same storage folder and opens the home screen",
};

struct DemoRun {
  int exitStatus = -1;
  std::vector<std::string> lines;
};

std::vector<std::string> splitLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

DemoRun runDemo(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), PELORIN_DEMO_EXECUTABLE);
  ChildProcess demo(arguments);
  EXPECT_TRUE(demo.started());
  DemoRun run;
  run.lines = splitLines(demo.readAll(kRunLimit));
  const int status = demo.wait();
  run.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

std::vector<std::string> stepHeadings(const DemoRun& run) {
  std::vector<std::string> headings;
  for (const auto& line : run.lines) {
    if (line.starts_with("Step ")) headings.push_back(line);
  }
  return headings;
}

// The profile listed at the end, with the times of day masked: two runs differ only there.
std::vector<std::string> finalProfile(const DemoRun& run) {
  static const std::regex kMilliseconds("[0-9]{13}");
  std::vector<std::string> profile;
  bool atTheEnd = false;
  bool inProfile = false;
  for (const auto& line : run.lines) {
    if (line == "The end") atTheEnd = true;
    if (!atTheEnd) continue;
    if (line.starts_with("  profile ")) inProfile = true;
    if (inProfile && !line.starts_with("  profile ") && !line.starts_with("            ")) break;
    if (inProfile) profile.push_back(std::regex_replace(line, kMilliseconds, "<ms>"));
  }
  return profile;
}

// A standalone devserver on a free port; its base address once it listens.
class StandaloneDevServer {
 public:
  explicit StandaloneDevServer(std::vector<std::string> arguments)
      : _process([&] {
          arguments.insert(arguments.begin(), PELORIN_DEVSERVER_EXECUTABLE);
          return arguments;
        }()) {
    if (!_process.waitForOutput("\n", std::chrono::seconds(20))) return;
    const std::string first = _process.output().substr(0, _process.output().find('\n'));
    const auto at = first.find("http://");
    if (at != std::string::npos) _url = first.substr(at) + "/";
  }
  const std::string& url() const { return _url; }

 private:
  ChildProcess _process;
  std::string _url;
};

std::optional<std::string> lineStartingWith(const DemoRun& run, const std::string& prefix) {
  for (const auto& line : run.lines) {
    if (line.starts_with(prefix)) return line;
  }
  return std::nullopt;
}

TEST(DemoTest, RunsEveryStepAgainstTheEmbeddedDevserverAndEndsWithTheDerivedValues) {
  const DemoRun run = runDemo({});

  EXPECT_EQ(run.exitStatus, 0);
  EXPECT_THAT(stepHeadings(run), ElementsAreArray(kStepHeadings));
  ASSERT_GE(run.lines.size(), 3U);
  const std::string& score = run.lines[run.lines.size() - 2];
  const std::string& ranking = run.lines.back();
  // 5 points for each of the product and checkout page views, 10 for reading the reviews,
  // 3 for the wishlist event, all on one day.
  ASSERT_THAT(score, ::testing::StartsWith("engagement score (engagement_score): "));
  EXPECT_DOUBLE_EQ(std::stod(score.substr(score.find(": ") + 2)), 23.0);
  // running: 2 for the description and 3 for the wishlist event; hiking: 2.
  EXPECT_EQ(ranking, "interest ranking (interest_ranking): running, hiking");
}

TEST(DemoTest, ShowsWhatEachStepChanged) {
  const DemoRun run = runDemo({});

  EXPECT_EQ(run.exitStatus, 0);
  EXPECT_THAT(run.lines,
              ::testing::Contains("  plug-in   PelorinClient.FormListener (sign-up-form)"));
  EXPECT_THAT(run.lines, ::testing::Contains("  profile   + cart = trail-running-shoes"));
  // Step 5 first lists the engagement plug-ins' point records, then the wishlist.
  EXPECT_THAT(run.lines, ::testing::Contains("            + wishlist = trail-running-shoes"));
  EXPECT_THAT(run.lines, ::testing::Contains("  profile   + city = Utrecht"));
  EXPECT_THAT(run.lines, ::testing::Contains("            + newsletter = yes"));
  EXPECT_THAT(run.lines, ::testing::Contains("            + shoe_size = 42"));
  EXPECT_THAT(run.lines, ::testing::Contains("  profile   + accounts = jo@example.com"));
  EXPECT_THAT(run.lines, ::testing::Contains(
                             "  lightbox  showing \"Spring sale 20% off all hiking boots until "
                             "Sunday.\""));
  EXPECT_THAT(run.lines, ::testing::Contains("  lightbox  closed with its close button"));
  EXPECT_THAT(run.lines, ::testing::Contains("  profile   + customer = yes"));
  EXPECT_THAT(run.lines, ::testing::Contains("  segments  All visitors, Has something in the "
                                             "cart, Newsletter subscribers, Visitors from "
                                             "Utrecht, Customers"));
  // After the restart the counters go on from what the first process stored.
  EXPECT_THAT(run.lines, ::testing::Contains("            clickcount = 4"));
  EXPECT_THAT(run.lines, ::testing::Contains("            ~ clickcount = 5"));
  EXPECT_THAT(run.lines, ::testing::Contains("  nothing   every step had something to act on"));
  EXPECT_THAT(
      run.lines,
      ::testing::Contains(::testing::MatchesRegex("            cache5\\.2\\.data +[0-9]+ bytes")));
  // Without --debug the library is silent.
  for (const auto& line : run.lines) EXPECT_FALSE(line.starts_with("[")) << line;
}

TEST(DemoTest, ServerOptionAgainstAStandaloneDevserverGivesTheSameProfile) {
  StandaloneDevServer server({"--port", "0", "--config", PELORIN_DEMO_CONFIG});
  ASSERT_FALSE(server.url().empty());

  const DemoRun standalone = runDemo({"--server", server.url()});
  const DemoRun embedded = runDemo({});

  EXPECT_EQ(standalone.exitStatus, 0);
  EXPECT_EQ(embedded.exitStatus, 0);
  EXPECT_THAT(lineStartingWith(standalone, "  server    "),
              ::testing::Optional("  server    " + server.url()));
  const auto profile = finalProfile(standalone);
  EXPECT_GT(profile.size(), 30U);
  EXPECT_EQ(profile, finalProfile(embedded));
}

TEST(DemoTest, DebugAddsTheLibrarysLogLinesInTheirLineFormat) {
  const DemoRun run = runDemo({"--debug", "--steps", "1"});

  EXPECT_EQ(run.exitStatus, 0);
  const std::regex hostname(
      R"(\[\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\] INFO \[PL_CLIENT\]: Hostname: http://127\.0\.0\.1:\d+)");
  const std::regex logLine(
      R"(\[\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\] (INFO|WARNING|ERROR) \[[A-Z_]+\]: .*)");
  int logLines = 0;
  bool sawHostname = false;
  for (const auto& line : run.lines) {
    if (!line.starts_with("[")) continue;
    ++logLines;
    EXPECT_TRUE(std::regex_match(line, logLine)) << line;
    sawHostname = sawHostname || std::regex_match(line, hostname);
  }
  EXPECT_TRUE(sawHostname);
  EXPECT_GT(logLines, 10);
  EXPECT_THAT(stepHeadings(run),
              ElementsAreArray(kStepHeadings.begin(), kStepHeadings.begin() + 1));
}

TEST(DemoTest, WithoutConfigurationRunsToTheEndAndSaysWhichStepsHadNothingToActOn) {
  StandaloneDevServer server({"--port", "0"});
  ASSERT_FALSE(server.url().empty());

  const DemoRun run = runDemo({"--server", server.url()});

  EXPECT_EQ(run.exitStatus, 0);
  EXPECT_THAT(stepHeadings(run), ElementsAreArray(kStepHeadings));
  int pageViewsWithoutPlugins = 0;
  for (const auto& line : run.lines) {
    if (line == "  nothing   to act on: the server started no plug-ins on this screen") {
      ++pageViewsWithoutPlugins;
    }
  }
  EXPECT_EQ(pageViewsWithoutPlugins, 5);
  EXPECT_THAT(run.lines, ::testing::Contains("  nothing   to act on: no lightbox is showing"));
  EXPECT_THAT(run.lines,
              ::testing::Contains("  nothing   to act on: no plug-in watches this screen"));
  EXPECT_THAT(run.lines, ::testing::Contains(
                             "  nothing   to act on in steps 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, "
                             "12, 13"));
  ASSERT_GE(run.lines.size(), 2U);
  EXPECT_EQ(run.lines[run.lines.size() - 2],
            "engagement score: no PelorinClient.EngagementScoreListener interaction reached the "
            "app");
  EXPECT_EQ(run.lines.back(),
            "interest ranking: no PelorinClient.EngagementRankingListener interaction reached "
            "the app");
}

TEST(DemoTest, StepsStopsTheJourneyAfterThatStep) {
  const DemoRun run = runDemo({"--steps", "2"});

  EXPECT_EQ(run.exitStatus, 0);
  EXPECT_THAT(stepHeadings(run),
              ElementsAreArray(kStepHeadings.begin(), kStepHeadings.begin() + 2));
  EXPECT_THAT(run.lines, ::testing::Contains("The end"));
}

TEST(DemoTest, HelpNamesTheOptions) {
  const DemoRun run = runDemo({"--help"});

  EXPECT_EQ(run.exitStatus, 0);
  std::string text;
  for (const auto& line : run.lines) text += line + "\n";
  for (const char* option :
       {"--server", "--storage", "--debug", "--app-id", "--steps", "--verbose", "--help"}) {
    EXPECT_THAT(text, HasSubstr(option));
  }
  EXPECT_THAT(text, ::testing::Not(HasSubstr("--resume")));
}

}  // namespace
