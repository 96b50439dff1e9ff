#include "base/mutex.h"

#include <cstdio>
#include <cstdlib>

namespace pelorin {

void RecursiveMutex::assertHeld() const {
  if (isHeldByCurrentThread()) return;
  std::fputs("pelorin: a function that needs the lock ran without it\n", stderr);
  std::abort();
}

RecursiveMutex& globalLock() {
  // Leaked on purpose (see the header).
  static auto* lock = new RecursiveMutex;
  return *lock;
}

}  // namespace pelorin
