#include "app_processes.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "demo_config_text.h"
#include "pelorin/json_value.h"

extern char** environ;  // NOLINT(readability-identifier-naming)

namespace demo {
namespace {

int runApp(const std::string& program, const std::string& self,
           std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), self);
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (auto& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);

  std::fflush(stdout);
  pid_t child = 0;
  if (::posix_spawn(&child, self.c_str(), nullptr, nullptr, argv.data(), environ) != 0) {
    std::fprintf(stderr, "%s: cannot start the app\n", program.c_str());
    return 1;
  }
  int status = 0;
  if (::waitpid(child, &status, 0) != child) return 1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

}  // namespace

int runJourneyInAppProcesses(const std::string& program, const std::vector<std::string>& arguments,
                             const std::string& handOver) {
  std::error_code error;
  const std::string self = std::filesystem::read_symlink("/proc/self/exe", error).string();
  if (error) {
    std::fprintf(stderr, "%s: cannot find its own program to run the app\n", program.c_str());
    return 1;
  }
  std::string state = JourneyState().encode();
  for (;;) {
    std::vector<std::string> app = arguments;
    app.insert(app.end(), {"--resume", state, "--hand-over", handOver});
    const int status = runApp(program, self, std::move(app));
    if (status != kRestartStatus) return status;
    std::ifstream in(handOver, std::ios::binary);
    state.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    in.close();
    std::filesystem::remove(handOver);
  }
}

bool handOverState(const std::string& handOver, const JourneyState& state) {
  if (handOver.empty()) return false;
  std::ofstream out(handOver, std::ios::binary | std::ios::trunc);
  out << state.encode();
  out.close();
  return static_cast<bool>(out);
}

std::optional<std::string> makeTemporaryFolder(const std::string& prefix) {
  std::string pattern = (std::filesystem::temp_directory_path() / (prefix + "-XXXXXX")).string();
  if (::mkdtemp(pattern.data()) == nullptr) return std::nullopt;
  return pattern;
}

std::unique_ptr<pelorin::devserver::DevServer> startEmbeddedDevServer(const std::string& program) {
  std::string error;
  auto config = pelorin::JsonValue::parse(demoConfigText(), &error);
  if (!config) {
    std::fprintf(stderr, "%s: demo_config.json: %s\n", program.c_str(), error.c_str());
    return nullptr;
  }
  pelorin::devserver::DevServerOptions options;
  options.config = std::move(*config);
  auto server = std::make_unique<pelorin::devserver::DevServer>(std::move(options));
  if (!server->start()) {
    std::fprintf(stderr, "%s: the embedded devserver did not start: %s\n", program.c_str(),
                 server->startError().c_str());
    return nullptr;
  }
  return server;
}

}  // namespace demo
