// The quick start: a headless app that sets a profile property, sends a page view and
// prints the profile the server gave it.
//
//   pelorin-quickstart [server address]    (default https://pelorin.example)
#include <chrono>
#include <iostream>
#include <memory>
#include <string>

#include <pelorin/pelorin_client.h>
#include <pelorin/platform/headless.h>
#include <pelorin/platform/main_loop.h>
#include <pelorin/platform/platform.h>

int main(int argc, char** argv) {
  const std::string server = argc > 1 ? argv[1] : "https://pelorin.example";

  auto info = std::make_unique<pelorin::platform::HeadlessBundle>();
  info->set("pl_server_url", server);
  info->set("CFBundleIdentifier", "com.example.shop");
  auto loop = std::make_unique<pelorin::platform::MainLoop>();
  pelorin::platform::MainLoop& mainLoop = *loop;
  auto platform = std::make_unique<pelorin::Platform>();
  platform->setBundle(std::move(info));
  platform->setMainThread(std::move(loop));
  pelorin::Platform::install(std::move(platform));  // once, before the client is used

  auto& client = pelorin::PelorinClient::getInstance();
  client.setProfileValue("city", "Utrecht");  // recorded now, sent with the next request
  client.createEvent("PAGEVIEW", {{"screenName", "home"}},  // starts the screen's plug-ins
                     [&] { mainLoop.stop(); });             // once the server has answered
  mainLoop.runFor(std::chrono::seconds(20));  // the host drives the loop from its main thread

  const std::string profileId = client.getProfileId().value_or("");
  std::cout << "profile: " << (profileId.empty() ? "none" : profileId)
            << ", city: " << client.getProfileValue("city") << "\n";
  return profileId.empty() ? 1 : 0;
}
