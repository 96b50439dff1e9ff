// A small tour of what the library does today: configuration from the information
// dictionary, the log line format, the server address, and a commit log that survives a
// round trip through a file.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "client/pelorin_configuration.h"
#include "pelorin/platform/headless.h"
#include "pelorin/platform/platform.h"
#include "storage/pelorin_commit_log.h"

namespace {

void say(const std::string& line) { std::printf("%s\n", line.c_str()); }

std::string describe(const pelorin::PelorinCommitLog& log) {
  std::string text;
  for (const auto& entry : log.properties()) {
    text += "  " + std::string(pelorin::toString(entry.type())) + " " + entry.identifier() + " =";
    for (const auto& value : entry.values()) text += " \"" + value + "\"";
    text += "\n";
  }
  for (const auto& entry : log.events()) {
    text += "  " + std::string(pelorin::toString(entry.type())) + " on interaction " +
            entry.identifier() + " x" + std::to_string(entry.count()) + "\n";
  }
  return text;
}

}  // namespace

int main() {
  using pelorin::JsonValue;
  using pelorin::PelorinConfiguration;

  auto bundle = std::make_unique<pelorin::platform::HeadlessBundle>();
  bundle->set("pl_server_url", JsonValue(boost::json::value("https://shop.example.com/")));
  bundle->set("CFBundleIdentifier", JsonValue(boost::json::value("com.example.shop")));
  bundle->set("pl_debug", JsonValue(true));
  auto platform = std::make_unique<pelorin::Platform>();
  platform->setBundle(std::move(bundle));
  pelorin::Platform::install(std::move(platform));

  say("1. Configuration read from the information dictionary");
  PelorinConfiguration configuration;
  say("   server:        " + configuration.getHostName());
  say("   package name:  " + PelorinConfiguration::getPackageName());
  say("   RPC address:   " + PelorinConfiguration::getDomaingGroupUrl(configuration.getHostName(),
                                                                      std::nullopt, std::nullopt));

  say("\n2. A log line (\"pl_debug\" is true):");
  PelorinConfiguration::log("Hostname: " + configuration.getHostName(), "PL_CLIENT", "INFO");

  say("\n3. The commit log records changes and counted events");
  pelorin::PelorinCommitLog log;
  log.setProperties("city", {"Utrecht"});
  log.addProperties("interests", {"sports", "news"});
  log.addProperties("interests", {"news", "travel"});
  log.updateEvent(pelorin::EventType::CLICK, "banner-1", 1);
  log.updateEvent(pelorin::EventType::CLICK, "banner-1", 1);
  std::printf("%s", describe(log).c_str());

  const auto path = std::filesystem::temp_directory_path() / "pelorin-example-commitlog.data";
  {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << log.encode();
  }
  say("\n4. Written to " + path.string() + " (" + std::to_string(std::filesystem::file_size(path)) +
      " bytes) and read back:");
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  auto decoded = pelorin::PelorinCommitLog::decode(text.str());
  if (!decoded.ok()) {
    say("   could not decode: " + decoded.error().message);
    return 1;
  }
  std::printf("%s", describe(decoded.value()).c_str());
  say(decoded.value() == log ? "   identical to the log in memory" : "   DIFFERENT from the log!");
  std::filesystem::remove(path);
  return decoded.value() == log ? 0 : 1;
}
