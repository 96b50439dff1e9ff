// How the demo and the Qt shop play a journey that restarts the app: a supervising process
// runs the app (the same program, told where the journey stands) as processes of their own,
// one after the other. An app that must restart leaves the journey's state in a hand-over
// file and exits with kRestartStatus; the library finishes its file writes as the process
// exits, so the next app starts on current files, as when a user closes and reopens an app.
#ifndef PELORIN_EXAMPLES_DEMO_APP_PROCESSES_H_
#define PELORIN_EXAMPLES_DEMO_APP_PROCESSES_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "devserver/dev_server.h"
#include "journey_state.h"

namespace demo {

// Exit status of an app process whose journey goes on in a restarted app.
inline constexpr int kRestartStatus = 75;

// Runs this program as app processes with `arguments` (what follows the program's path)
// and "--resume <state> --hand-over <handOver>", from the journey's first step, until one
// ends without asking for a restart; answers that one's exit status. `program` names this
// program in error messages.
int runJourneyInAppProcesses(const std::string& program, const std::vector<std::string>& arguments,
                             const std::string& handOver);

// Leaves the journey's state where the next app process finds it; false when it cannot.
bool handOverState(const std::string& handOver, const JourneyState& state);

// A fresh folder under the system's temporary folder, named `prefix` and a random suffix.
std::optional<std::string> makeTemporaryFolder(const std::string& prefix);

// The devserver embedded in the program, with the demo's configuration, started on a free
// loopback port; null, after saying why on stderr, when it did not start.
std::unique_ptr<pelorin::devserver::DevServer> startEmbeddedDevServer(const std::string& program);

}  // namespace demo

#endif  // PELORIN_EXAMPLES_DEMO_APP_PROCESSES_H_
