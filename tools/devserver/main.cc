// pelorin-devserver: the reference server on a loopback port, until interrupted.
#include <pthread.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "devserver/dev_server.h"

int main(int argc, char** argv) {
  CLI::App app{
      "Pelorin reference server: speaks the client protocol on 127.0.0.1 and shows what it "
      "receives on an inspector page."};
  int port = 0;
  std::string listen = "127.0.0.1";
  std::size_t keep = pelorin::devserver::InspectorOptions().capacity;
  bool log = false;
  bool plJson = false;
  std::string domainGroup;
  std::string zone;
  std::string config;
  double halfLife = pelorin::devserver::DerivedValues::Options().halfLifeDays;
  bool wallClock = false;
  app.add_option("-p,--port", port, "Port to listen on; 0 picks a free one")
      ->check(CLI::Range(0, 65535));
  app.add_option("--listen", listen,
                 "Address to listen on, e.g. 0.0.0.0; anything but a loopback address makes the "
                 "inspector reachable from the network")
      ->capture_default_str();
  app.add_option("--keep", keep, "Requests the inspector keeps; older ones are dropped")
      ->capture_default_str();
  app.add_flag("-l,--log", log, "Log every request and answer");
  app.add_option("--domain-group", domainGroup,
                 "Domain group that getProfile reports (default: the one in the request path)");
  app.add_option("--zone", zone,
                 "Zone that getProfile reports (default: the one in the request path, if any)");
  app.add_flag("--pl-json", plJson, "Wrap every answer as pl_json(...)");
  app.add_option("-c,--config", config,
                 "JSON file with the interactions per screen and event, segments and "
                 "connections to answer with (see README.md)");
  app.add_option("--half-life", halfLife,
                 "Days after which engagement and ranking points count half; 0: no decay")
      ->capture_default_str();
  app.add_flag("--wall-clock", wallClock,
               "Decay points up to today's date (default: up to the newest day in the data)");
  CLI11_PARSE(app, argc, argv);

  // Block the stop signals before any thread starts, so that all of them inherit the mask
  // and the signals wait for sigwait() below.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

  pelorin::devserver::DevServerOptions options;
  options.host = listen;
  options.port = port;
  options.inspector.capacity = keep;
  options.logRequests = log;
  if (!domainGroup.empty()) options.rpc.domainGroupId = domainGroup;
  if (!zone.empty()) options.rpc.zoneId = zone;
  options.rpc.wrapInPlJson = plJson;
  if (!config.empty()) options.configFile = config;
  options.rpc.derivedValues.halfLifeDays = halfLife;
  if (wallClock) options.rpc.derivedValues.now = [] { return std::chrono::system_clock::now(); };
  pelorin::devserver::DevServer server(std::move(options));
  if (!server.start()) {
    std::fprintf(stderr, "pelorin-devserver: %s\n", server.startError().c_str());
    return 1;
  }
  std::printf("pelorin-devserver listening on %s\n", server.baseUrl().c_str());
  std::printf("client address: %s\n", server.rpcUrl().c_str());
  if (server.loopbackOnly()) {
    std::printf("inspector: %s\n", server.inspectorUrl().c_str());
  } else {
    std::printf(
        "inspector: %s (reachable from the network: anyone who can reach this port sees what "
        "the apps send)\n",
        server.inspectorUrl().c_str());
  }
  std::fflush(stdout);

  int received = 0;
  sigwait(&stopSignals, &received);
  server.stop();
  return 0;
}
