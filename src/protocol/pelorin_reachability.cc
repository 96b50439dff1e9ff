#include "protocol/pelorin_reachability.h"

#include "pelorin/platform/platform.h"

namespace pelorin {

bool PelorinReachability::isConnectedToNetwork() {
  const auto flags = Platform::current().reachability().flags();
  if (!flags) return false;
  // A route that exists only after an on-demand connection does not count: the request
  // would have to wait for it.
  return flags->reachable && !flags->connectionRequired;
}

}  // namespace pelorin
