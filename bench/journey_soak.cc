// pelorin_journey_soak: the demo's journey for 20,000 page views against a devserver with
// the demo's configuration, run in a child process of its own so that its memory is
// measured apart from the client's (the child drops the devserver's record of the requests
// it answered every second, a record kept for tests and the inspector that nobody reads
// here). Every 1,000 page views
// it prints the client's resident set and heap, the time per four-view cycle (averaged over those
// 1,000 page views), the size of the cache file and the devserver's resident set; at the end the
// growth from 2,000 to 20,000 page views against its targets, each "met" or "MISSED".
//
// Time per cycle is the processor time the client's threads spent (user and system), next
// to the wall-clock time: on a machine shared with other work the wall clock mostly
// measures waiting for a processor, while the processor time is the client's own work.
// The targets are judged on the processor time.
//
//   pelorin_journey_soak [--page-views N] [--sample-every N]
//
// Exits with 1 when a target is missed or the server stopped answering.
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "devserver/dev_server.h"
#include "pelorin/json_value.h"
#include "soak/journey_soak.h"

namespace {

using pelorin::soak::JourneySoak;
using pelorin::soak::SoakSample;

constexpr double kMegabyte = 1024.0 * 1024.0;
constexpr double kMaxGrowth = 1.10;  // client heap and time per cycle
constexpr double kServerRssLimit = 64 * kMegabyte;

struct Server {
  pid_t pid = -1;
  int stopPipe = -1;  // closing it stops the server
  std::string baseUrl;
};

// Forks the devserver before this process starts any thread. The child serves until the
// parent closes its end of the stop pipe (or dies).
bool startServer(Server& server) {
  std::ifstream file(PELORIN_DEMO_CONFIG);
  std::stringstream text;
  text << file.rdbuf();
  auto config = pelorin::JsonValue::parse(text.str());
  if (!config) {
    std::fprintf(stderr, "pelorin_journey_soak: cannot read %s\n", PELORIN_DEMO_CONFIG);
    return false;
  }
  int urlPipe[2];
  int stopPipe[2];
  if (::pipe(urlPipe) != 0 || ::pipe(stopPipe) != 0) return false;
  const pid_t pid = ::fork();
  if (pid < 0) return false;
  if (pid == 0) {
    ::close(urlPipe[0]);
    ::close(stopPipe[1]);
    pelorin::devserver::DevServerOptions options;
    options.config = std::move(*config);
    pelorin::devserver::DevServer devServer(std::move(options));
    const std::string url = devServer.start() ? devServer.baseUrl() : "";
    [[maybe_unused]] const auto written = ::write(urlPipe[1], url.data(), url.size());
    ::close(urlPipe[1]);
    // The devserver records the requests it answers, for tests and its inspector; this
    // run inspects none, so it drops the record every second, as the client soak test does.
    pollfd stop{stopPipe[0], POLLIN, 0};
    while (::poll(&stop, 1, 1000) == 0) devServer.clearRequests();
    devServer.stop();
    std::_Exit(0);
  }
  ::close(urlPipe[1]);
  ::close(stopPipe[0]);
  char buffer[256];
  ssize_t length = 0;
  std::string url;
  while ((length = ::read(urlPipe[0], buffer, sizeof buffer)) > 0) {
    url.append(buffer, static_cast<std::size_t>(length));
  }
  ::close(urlPipe[0]);
  server.pid = pid;
  server.stopPipe = stopPipe[1];
  server.baseUrl = url;
  return !url.empty();
}

void stopServer(Server& server) {
  if (server.stopPipe >= 0) ::close(server.stopPipe);
  int status = 0;
  if (server.pid > 0) ::waitpid(server.pid, &status, 0);
}

double processorMs() {
  struct rusage usage {};
  ::getrusage(RUSAGE_SELF, &usage);
  const auto ms = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1000.0 + static_cast<double>(time.tv_usec) / 1000.0;
  };
  return ms(usage.ru_utime) + ms(usage.ru_stime);
}

struct Row {
  SoakSample client;
  double msPerCycle = 0;  // processor time
  double wallMsPerCycle = 0;
  std::int64_t serverResident = 0;
};

void printRow(const Row& row) {
  std::printf("| %6d | %6.1f MB | %6.2f MB | %8.1f KB | %6zu | %7.2f | %7.1f | %6.1f MB |\n",
              row.client.pageViews, static_cast<double>(row.client.residentBytes) / kMegabyte,
              static_cast<double>(row.client.heapBytes) / kMegabyte,
              static_cast<double>(row.client.cacheFileBytes) / 1024.0, row.client.profileValues,
              row.msPerCycle, row.wallMsPerCycle,
              static_cast<double>(row.serverResident) / kMegabyte);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"The demo's journey for many page views; prints memory and time per cycle."};
  int pageViews = 20000;
  int sampleEvery = 1000;
  app.add_option("--page-views", pageViews, "Page views in all (a multiple of 4)")
      ->capture_default_str();
  app.add_option("--sample-every", sampleEvery, "Page views between samples")
      ->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  const int cyclesPerSample = std::max(1, sampleEvery / JourneySoak::kPageViewsPerCycle);

  Server server;
  if (!startServer(server)) {
    std::fprintf(stderr, "pelorin_journey_soak: the devserver did not start\n");
    stopServer(server);
    return 1;
  }
  char folder[] = "/tmp/pelorin-soak-XXXXXX";
  if (::mkdtemp(folder) == nullptr) return 1;

  bool answered = true;
  std::vector<Row> rows;
  {
    JourneySoak soak(server.baseUrl + "/", folder);
    std::printf(
        "| page views | client RSS | client heap | cache file | profile values |"
        " ms per cycle (processor) | ms per cycle (wall) | devserver RSS |\n"
        "|---|---|---|---|---|---|---|---|\n");
    while (soak.pageViews() < pageViews && answered) {
      const auto start = std::chrono::steady_clock::now();
      const double startProcessor = processorMs();
      for (int i = 0; i < cyclesPerSample && answered; ++i) answered = soak.runCycle();
      const std::chrono::duration<double, std::milli> elapsed =
          std::chrono::steady_clock::now() - start;
      Row row{soak.sample(), (processorMs() - startProcessor) / cyclesPerSample,
              elapsed.count() / cyclesPerSample, pelorin::soak::residentBytesOf(server.pid)};
      printRow(row);
      rows.push_back(row);
    }
  }
  stopServer(server);
  std::error_code error;
  std::filesystem::remove_all(folder, error);
  if (!answered) {
    std::fprintf(stderr, "pelorin_journey_soak: the devserver stopped answering\n");
    return 1;
  }
  if (rows.size() < 2) return 0;

  // From the second sample (2,000 page views by default), once the first pages are warm.
  const Row& from = rows[1];
  const Row& to = rows.back();
  std::int64_t serverPeak = 0;
  for (const Row& row : rows) serverPeak = std::max(serverPeak, row.serverResident);
  const double heapGrowth =
      static_cast<double>(to.client.heapBytes) / static_cast<double>(from.client.heapBytes);
  const double timeGrowth = to.msPerCycle / from.msPerCycle;
  const bool heapMet = heapGrowth <= kMaxGrowth;
  const bool timeMet = timeGrowth <= kMaxGrowth;
  const bool serverMet = static_cast<double>(serverPeak) < kServerRssLimit;
  std::printf("\ngrowth from %d to %d page views\n", from.client.pageViews, to.client.pageViews);
  std::printf("client heap:      x%.2f (target: at most x%.2f)  %s\n", heapGrowth, kMaxGrowth,
              heapMet ? "met" : "MISSED");
  std::printf(
      "time per cycle:   x%.2f (target: at most x%.2f)  %s  (processor; wall clock x%.2f)\n",
      timeGrowth, kMaxGrowth, timeMet ? "met" : "MISSED", to.wallMsPerCycle / from.wallMsPerCycle);
  std::printf("devserver RSS:    %.1f MB at most (target: under %.0f MB)  %s\n",
              static_cast<double>(serverPeak) / kMegabyte, kServerRssLimit / kMegabyte,
              serverMet ? "met" : "MISSED");
  return heapMet && timeMet && serverMet ? 0 : 1;
}
