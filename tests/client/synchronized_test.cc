#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "pelorin/pelorin_client.h"

namespace pelorin {
namespace {

TEST(SynchronizedTest, ReturnsTheCallbackResult) {
  EXPECT_EQ(PelorinClient::synchronized([] { return 42; }), 42);
}

TEST(SynchronizedTest, NestedCallsRunInlineWithoutDeadLock) {
  std::vector<int> order;
  PelorinClient::synchronized([&] {
    order.push_back(1);
    PelorinClient::synchronized([&] {
      order.push_back(2);
      PelorinClient::synchronized([&] { order.push_back(3); });
    });
    order.push_back(4);
  });
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
}

TEST(SynchronizedTest, CallbacksOfSeveralThreadsNeverOverlap) {
  constexpr int kThreads = 4;
  constexpr int kIterations = 20000;
  std::atomic<int> inside{0};
  std::atomic<bool> overlapped{false};
  long counter = 0;  // guarded only by synchronized: TSan reports any unguarded access
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kIterations; ++i) {
        PelorinClient::synchronized([&] {
          if (inside.fetch_add(1) != 0) overlapped = true;
          PelorinClient::synchronized([&] { ++counter; });
          inside.fetch_sub(1);
        });
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_FALSE(overlapped);
  EXPECT_EQ(counter, static_cast<long>(kThreads) * kIterations);
}

}  // namespace
}  // namespace pelorin
