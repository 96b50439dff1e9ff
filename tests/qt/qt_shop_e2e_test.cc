// The Qt shop (examples/qt-shop) as its users run it, against an in-process devserver with
// the demo's configuration: the scripted journey with real Qt input ends with the profile
// the headless demo's journey ends with, and the checkout step's screenshot shows the
// lightbox. Runs through with-display.sh: the shop's browser engine needs a display.
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <optional>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "devserver/dev_server.h"
#include "pelorin/json_value.h"
#include "pelorin/pelorin_types.h"
#include "support/bitmap.h"
#include "support/child_process.h"
#include "support/temp_folder.h"

namespace pelorin {
namespace {

using testing::Box;
using testing::ChildProcess;
using ::testing::ElementsAreArray;
using testing::Pixel;
using testing::readPng;
using testing::TempFolder;

constexpr auto kRunLimit = std::chrono::seconds(150);

// What the Qt platform reports of the device, where the headless demo plays a phone
// ("iOS" 17.4 on an "iPhone15,2" with a 390 x 844 screen at scale 3): the system's name
// and version, the hardware model and the screen.
const std::set<std::string> kDeviceValues = {
    "currentosname",      "currentosversion",    "osname",
    "osversion",          "currentresolution",   "resolution",
    "currentscreenwidth", "currentscreenheight", "mobile_app_model",
};

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

struct ProgramRun {
  int exitStatus = -1;
  std::vector<std::string> lines;
};

ProgramRun run(std::vector<std::string> arguments) {
  ChildProcess child(arguments);
  EXPECT_TRUE(child.started()) << arguments.front();
  ProgramRun result;
  std::istringstream in(child.readAll(kRunLimit));
  for (std::string line; std::getline(in, line);) result.lines.push_back(line);
  const int status = child.wait();
  result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

std::vector<std::string> stepHeadings(const ProgramRun& run) {
  std::vector<std::string> headings;
  for (const auto& line : run.lines) {
    if (line.starts_with("Step ")) headings.push_back(line);
  }
  return headings;
}

std::string allOf(const ProgramRun& run) {
  std::string text;
  for (const auto& line : run.lines) text += line + "\n";
  return text;
}

// The devserver with the demo's configuration, on a free loopback port.
class DemoServer {
 public:
  DemoServer() {
    std::ifstream in(PELORIN_DEMO_CONFIG);
    std::stringstream text;
    text << in.rdbuf();
    devserver::DevServerOptions options;
    options.config = JsonValue::parse(text.str());
    _server = std::make_unique<devserver::DevServer>(std::move(options));
    _started = _server->start();
  }
  bool started() const { return _started; }
  std::string url() const { return _server->baseUrl() + "/"; }
  devserver::DevServer& server() { return *_server; }

  // The profiles the server holds that are not in `known`.
  std::vector<std::string> newProfiles(const std::set<std::string>& known) const {
    std::vector<std::string> fresh;
    for (const auto& id : _server->service().profileIds()) {
      if (!known.contains(id)) fresh.push_back(id);
    }
    return fresh;
  }

 private:
  std::unique_ptr<devserver::DevServer> _server;
  bool _started = false;
};

// A profile as compared: the times of day (milliseconds since 1970) masked, since two runs
// differ only there.
Parameters comparable(const Parameters& properties) {
  static const std::regex kMilliseconds("[0-9]{13}");
  Parameters masked;
  for (const auto& [name, values] : properties) {
    std::vector<std::string>& out = masked[name];
    for (const auto& value : values)
      out.push_back(std::regex_replace(value, kMilliseconds, "<ms>"));
  }
  return masked;
}

std::vector<std::string> names(const Parameters& properties) {
  std::vector<std::string> all;
  for (const auto& [name, values] : properties) all.push_back(name);
  return all;
}

bool isWhite(Pixel p) { return p.red == 255 && p.green == 255 && p.blue == 255; }
// The heading's colour in the demo's lightbox (#2a7d4f), give or take the text's smoothing.
bool isHeadingGreen(Pixel p) {
  return std::abs(p.red - 0x2a) < 24 && std::abs(p.green - 0x7d) < 24 &&
         std::abs(p.blue - 0x4f) < 24;
}
// The close button's dark disc.
bool isDark(Pixel p) { return p.red < 80 && p.green < 80 && p.blue < 80; }

// The local date and hour now, as the library reads them ("2026-11-25 14").
std::string localHour() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H", &local);
  return text;
}

TEST(QtShopE2eTest, JourneyEndsWithTheHeadlessDemosProfileButForTheDeviceValues) {
  DemoServer server;
  ASSERT_TRUE(server.started());
  const TempFolder headlessStorage;
  const TempFolder qtStorage;
  const TempFolder screenshots;

  const std::string startedAt = localHour();
  const ProgramRun headless =
      run({PELORIN_DEMO_EXECUTABLE, "--server", server.url(), "--storage", headlessStorage.path()});
  const std::vector<std::string> headlessIds = server.newProfiles({});
  const ProgramRun qt = run({PELORIN_QT_SHOP_EXECUTABLE, "--script", "--server", server.url(),
                             "--storage", qtStorage.path(), "--screenshots", screenshots.path()});
  const std::set<std::string> known(headlessIds.begin(), headlessIds.end());
  const std::vector<std::string> qtIds = server.newProfiles(known);
  const std::string endedAt = localHour();

  ASSERT_EQ(headless.exitStatus, 0) << allOf(headless);
  ASSERT_EQ(qt.exitStatus, 0) << allOf(qt);
  EXPECT_THAT(stepHeadings(qt), ElementsAreArray(kStepHeadings));
  ASSERT_EQ(headlessIds.size(), 1U);
  ASSERT_EQ(qtIds.size(), 1U) << allOf(qt);
  EXPECT_THAT(qt.lines, ::testing::Contains("  lightbox  showing \"Spring sale 20% off all hiking "
                                            "boots until Sunday.\""));
  EXPECT_THAT(qt.lines, ::testing::Contains("  lightbox  closed with its close button"));
  EXPECT_THAT(qt.lines, ::testing::Contains("  nothing   every step had something to act on"));
  EXPECT_THAT(qt.lines, ::testing::Contains("  visitor   " + qtIds.front()));
  // A screenshot per step, in the folder the shop names at the start and at the end.
  EXPECT_EQ(std::count(qt.lines.begin(), qt.lines.end(), "  pictures  " + screenshots.path()), 2);
  for (int step = 1; step <= 13; ++step) {
    const std::string name = (step < 10 ? "step-0" : "step-") + std::to_string(step) + ".png";
    EXPECT_TRUE(readPng(std::filesystem::path(screenshots.path()) / name)) << name;
    EXPECT_THAT(qt.lines, ::testing::Contains("  picture   " + name));
  }

  Parameters expected =
      comparable(server.server().service().properties(headlessIds.front()).value_or(Parameters{}));
  Parameters actual =
      comparable(server.server().service().properties(qtIds.front()).value_or(Parameters{}));
  // The device values: both profiles have them, with values of their own platform.
  for (const auto& name : kDeviceValues) {
    EXPECT_TRUE(expected.contains(name)) << name;
    EXPECT_TRUE(actual.contains(name)) << name;
    expected.erase(name);
    actual.erase(name);
  }
  // Points are kept per day and the preferred hour per hour of the day: runs on either side
  // of a new hour differ there.
  if (startedAt.substr(0, 10) != endedAt.substr(0, 10)) {
    GTEST_SKIP() << "the runs were on either side of midnight";
  }
  if (startedAt != endedAt) {
    for (const char* name : {"preferred_hour", "_preferred_hour"}) {
      expected.erase(name);
      actual.erase(name);
    }
  }
  EXPECT_GT(expected.size(), 25U);
  EXPECT_THAT(names(actual), ElementsAreArray(names(expected)));
  EXPECT_EQ(actual, expected);
}

TEST(QtShopE2eTest, CheckoutScreenshotShowsTheLightboxInsideItsMarginsWithTheCloseButton) {
  DemoServer server;
  ASSERT_TRUE(server.started());
  const TempFolder storage;
  const TempFolder screenshots;

  const ProgramRun qt =
      run({PELORIN_QT_SHOP_EXECUTABLE, "--script", "--steps", "10", "--server", server.url(),
           "--storage", storage.path(), "--screenshots", screenshots.path()});

  ASSERT_EQ(qt.exitStatus, 0) << allOf(qt);
  const auto shot = readPng(std::filesystem::path(screenshots.path()) / "step-10.png");
  ASSERT_TRUE(shot) << "no screenshot of the checkout step";
  // The lightbox's dimmed background covers the screen: the window's top-left pixel is its
  // colour, and the screen is the box that colour spans.
  const Pixel background = shot->pixel(1, 1);
  EXPECT_LT(background.red, 160) << "the top-left corner is not dimmed";
  const auto screen = boundingBox(*shot, [&](Pixel p) {
    return p.red == background.red && p.green == background.green && p.blue == background.blue;
  });
  ASSERT_TRUE(screen);
  EXPECT_EQ(screen->left, 0);
  EXPECT_EQ(screen->top, 0);
  EXPECT_EQ(screen->right, shot->width - 1);

  // The page's colour (white) fills the lightbox: 10% of the screen's width and height
  // inside its edges.
  const auto lightbox = boundingBox(*shot, *screen, isWhite);
  ASSERT_TRUE(lightbox) << "no lightbox in the screenshot";
  const double marginX = screen->width() * 0.10;
  const double marginY = screen->height() * 0.10;
  EXPECT_NEAR(lightbox->left, screen->left + marginX, 2);
  EXPECT_NEAR(lightbox->right, screen->right - marginX, 2);
  EXPECT_NEAR(lightbox->top, screen->top + marginY, 2);
  EXPECT_NEAR(lightbox->bottom, screen->bottom - marginY, 2);
  // Filled: the text and the close button cover little of it.
  const int area = lightbox->width() * lightbox->height();
  EXPECT_GT(countMatching(*shot, *lightbox, isWhite), area * 85 / 100);

  // The page: its green heading at the top left, inside the page's 5-pixel padding.
  const auto heading = boundingBox(*shot, *lightbox, isHeadingGreen);
  ASSERT_TRUE(heading) << "the page's heading is not in the lightbox";
  EXPECT_GE(heading->left, lightbox->left + 5);
  EXPECT_LT(heading->top, lightbox->top + 40);
  EXPECT_LT(heading->right, lightbox->left + lightbox->width() * 3 / 4);

  // The close button: 10 pixels from the lightbox's top-right corner.
  const Box corner{lightbox->right - 80, lightbox->top, lightbox->right, lightbox->top + 80};
  const auto close = boundingBox(*shot, corner, isDark);
  ASSERT_TRUE(close) << "no close button in the lightbox's top-right corner";
  EXPECT_NEAR(close->right, lightbox->right - 10, 4);
  EXPECT_NEAR(close->top, lightbox->top + 10, 4);
  EXPECT_GT(close->width(), 16);
  EXPECT_GT(close->height(), 16);
}

}  // namespace
}  // namespace pelorin
