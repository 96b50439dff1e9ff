// Test helper: the headless toolkit's own view behind a handle that the library answers
// through the toolkit interfaces (a lightbox's views, an outlet), to act on it as the user
// or to read what the headless toolkit recorded.
#ifndef PELORIN_TESTS_SUPPORT_HEADLESS_VIEWS_H_
#define PELORIN_TESTS_SUPPORT_HEADLESS_VIEWS_H_

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "pelorin/headless/toolkit.h"

namespace pelorin::testing {

// `view` as the headless class T; aborts the test program when it is not one.
template <typename T = headless::View>
T& asHeadless(const std::shared_ptr<platform::View>& view) {
  auto* typed = dynamic_cast<T*>(view.get());
  if (typed == nullptr) {
    std::fputs("asHeadless: not a view of the expected headless class\n", stderr);
    std::abort();
  }
  return *typed;
}

}  // namespace pelorin::testing

#endif  // PELORIN_TESTS_SUPPORT_HEADLESS_VIEWS_H_
