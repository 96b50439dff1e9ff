// Headless Chromium for the browser tests (label `browser`): finds the program and runs it
// once on a page, with a fresh profile and nothing that reaches the network by itself.
#ifndef PELORIN_TESTS_SUPPORT_CHROMIUM_H_
#define PELORIN_TESTS_SUPPORT_CHROMIUM_H_

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

extern char** environ;  // NOLINT(readability-redundant-declaration): POSIX leaves it undeclared

namespace pelorin::testing {

// The browser named by PELORIN_CHROMIUM, else the first of chromium, chromium-browser,
// google-chrome and google-chrome-stable on PATH; nothing when there is none.
inline std::optional<std::filesystem::path> findChromium() {
  namespace fs = std::filesystem;
  // NOLINTNEXTLINE(concurrency-mt-unsafe): read before any thread of the test starts
  if (const char* given = std::getenv("PELORIN_CHROMIUM"); given != nullptr && *given != '\0') {
    return fs::path(given);
  }
  const char* path = std::getenv("PATH");  // NOLINT(concurrency-mt-unsafe)
  if (path == nullptr) return std::nullopt;
  std::vector<fs::path> folders;
  for (std::string_view rest = path; !rest.empty();) {
    const std::size_t colon = rest.find(':');
    folders.emplace_back(rest.substr(0, colon));
    rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1);
  }
  for (const char* name :
       {"chromium", "chromium-browser", "google-chrome", "google-chrome-stable"}) {
    for (const auto& folder : folders) {
      const fs::path candidate = folder / name;
      if (::access(candidate.c_str(), X_OK) == 0) return candidate;
    }
  }
  return std::nullopt;
}

inline constexpr const char* kChromiumSkipMessage =
    "Chromium was not found (looked for chromium, chromium-browser and google-chrome on PATH, "
    "and PELORIN_CHROMIUM): install it, e.g. apt-get install chromium, to run the browser tests";

// Runs headless Chromium with `arguments` (what to do, then the address) and a profile in
// `folder`; answers what it printed on standard output once it exited with status 0.
// Otherwise the test fails, showing its log (folder/chromium.log), and nothing is answered.
inline std::optional<std::string> runChromium(const std::filesystem::path& chromium,
                                              const std::filesystem::path& folder,
                                              const std::vector<std::string>& arguments) {
  const std::filesystem::path out = folder / "chromium.out";
  const std::filesystem::path log = folder / "chromium.log";
  std::vector<std::string> all = {chromium.string(),
                                  "--headless",
                                  "--no-sandbox",
                                  "--disable-gpu",
                                  "--disable-background-networking",
                                  "--no-first-run",
                                  "--disable-component-update",
                                  "--disable-sync",
                                  "--hide-scrollbars",
                                  "--force-device-scale-factor=1",
                                  "--user-data-dir=" + (folder / "profile").string()};
  all.insert(all.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  argv.reserve(all.size() + 1);
  for (auto& argument : all) argv.push_back(argument.data());
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, log.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0644);
  pid_t child = 0;
  const int spawned = posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0) {
    ADD_FAILURE() << "cannot start " << chromium;
    return std::nullopt;
  }
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    std::ifstream output(log);
    ADD_FAILURE() << "chromium failed; its output:\n" << output.rdbuf();
    return std::nullopt;
  }
  std::ifstream output(out);
  std::ostringstream text;
  text << output.rdbuf();
  return text.str();
}

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_SUPPORT_CHROMIUM_H_
