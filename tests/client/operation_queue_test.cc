#include "client/operation_queue.h"

#include <atomic>
#include <future>
#include <vector>

#include <gtest/gtest.h>

namespace pelorin {
namespace {

TEST(OperationQueueTest, RunsOperationsInOrderOneAtATime) {
  OperationQueue queue;
  std::vector<int> order;  // touched only by the worker, read after the wait
  std::atomic<int> running{0};
  std::atomic<bool> overlapped{false};
  for (int i = 0; i < 50; ++i) {
    queue.addOperation([&, i] {
      if (running.fetch_add(1) != 0) overlapped = true;
      order.push_back(i);
      running.fetch_sub(1);
    });
  }
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_FALSE(overlapped);
  ASSERT_EQ(order.size(), 50U);
  for (int i = 0; i < 50; ++i) EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
  EXPECT_EQ(queue.operationCount(), 0U);
}

TEST(OperationQueueTest, CountsTheRunningOperation) {
  OperationQueue queue;
  std::promise<void> started;
  std::promise<void> release;
  auto released = release.get_future().share();
  queue.addOperation([&] {
    started.set_value();
    released.wait();
  });
  queue.addOperation([] {});
  started.get_future().wait();
  EXPECT_EQ(queue.operationCount(), 2U);
  release.set_value();
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(queue.operationCount(), 0U);
}

TEST(OperationQueueTest, AnOperationMayAddAnother) {
  OperationQueue queue;
  std::promise<int> done;
  queue.addOperation([&] { queue.addOperation([&] { done.set_value(7); }); });
  EXPECT_EQ(done.get_future().get(), 7);
}

}  // namespace
}  // namespace pelorin
