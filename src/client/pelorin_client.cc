#include "pelorin/pelorin_client.h"

namespace pelorin {

std::recursive_mutex& PelorinClient::globalLock() {
  // Leaked on purpose: threads of the library may take the lock while the process exits.
  static auto* lock = new std::recursive_mutex;
  return *lock;
}

}  // namespace pelorin
