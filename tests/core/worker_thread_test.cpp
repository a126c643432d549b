#include "platform/worker_thread.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "platform/platform.h"

namespace qivm::test {

namespace {

struct Counter {
  int runs = 0;
  bool fault = false;
  std::thread::id thread;
};

void Count(void* context) {
  auto& counter = *static_cast<Counter*>(context);
  ++counter.runs;
  counter.thread = std::this_thread::get_id();
  if (counter.fault) {
    platform::RaiseFault();
  }
}

TEST(WorkerThread, RunsTheJobOnceForEveryBegin) {
  Counter counter;
  WorkerThread worker;
  EXPECT_FALSE(worker.Running());
  ASSERT_TRUE(worker.Start(&Count, &counter));
  EXPECT_TRUE(worker.Running());
  for (int i = 1; i <= 1000; ++i) {
    worker.Begin();
    ASSERT_TRUE(worker.Wait());
    ASSERT_EQ(counter.runs, i);
  }
  EXPECT_NE(counter.thread, std::this_thread::get_id());
}

TEST(WorkerThread, LeavesWithItsExitCode) {
  Counter counter;
  WorkerThread worker;
  ASSERT_TRUE(worker.Start(&Count, &counter));
  EXPECT_EQ(worker.Stop(), 12U);
  EXPECT_EQ(counter.runs, 0);
  EXPECT_FALSE(worker.Running());
  EXPECT_EQ(worker.Stop(), 0U);
}

TEST(WorkerThread, LeavesWithItsExitCodeAfterJobsAndFaults) {
  Counter counter;
  WorkerThread worker;
  ASSERT_TRUE(worker.Start(&Count, &counter));
  worker.Begin();
  EXPECT_TRUE(worker.Wait());
  counter.fault = true;
  worker.Begin();
  EXPECT_FALSE(worker.Wait());
  EXPECT_EQ(worker.Stop(), 12U);
  EXPECT_EQ(counter.runs, 2);
}

TEST(WorkerThread, StartsAgainAfterStop) {
  Counter counter;
  WorkerThread worker;
  for (int round = 1; round <= 3; ++round) {
    ASSERT_TRUE(worker.Start(&Count, &counter));
    worker.Begin();
    EXPECT_TRUE(worker.Wait());
    EXPECT_EQ(counter.runs, round);
    EXPECT_EQ(worker.Stop(), 12U);
  }
}

TEST(WorkerThread, FaultEndsTheJobOnly) {
  Counter counter;
  WorkerThread worker;
  ASSERT_TRUE(worker.Start(&Count, &counter));
  for (int i = 0; i < 200; ++i) {
    counter.fault = i % 3 != 0;
    worker.Begin();
    ASSERT_EQ(worker.Wait(), !counter.fault);
  }
  EXPECT_EQ(counter.runs, 200);
}

TEST(FaultGuard, ReportsTheFault) {
  int steps = 0;
  auto sound = [&steps] { ++steps; };
  auto faulty = [&steps] {
    ++steps;
    platform::RaiseFault();
  };
  EXPECT_TRUE(platform::RunGuarded(sound));
  EXPECT_FALSE(platform::RunGuarded(faulty));
  EXPECT_TRUE(platform::RunGuarded(sound));
  EXPECT_EQ(steps, 3);
}

TEST(FaultGuard, Nests) {
  std::vector<int> order;
  order.reserve(8);
  bool innerSound = true;
  auto inner = [&order] {
    order.push_back(2);
    platform::RaiseFault();
  };
  auto outer = [&] {
    order.push_back(1);
    innerSound = platform::RunGuarded(inner);
    order.push_back(3);
    platform::RaiseFault();
  };
  EXPECT_FALSE(platform::RunGuarded(outer));
  EXPECT_FALSE(innerSound);
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST(FaultGuard, HoldsOnSeveralThreadsAtOnce) {
  std::atomic<int> faults = 0;
  std::atomic<int> sound = 0;
  const auto work = [&] {
    for (int i = 0; i < 1000; ++i) {
      auto body = [i] {
        if (i % 2 == 0) {
          platform::RaiseFault();
        }
      };
      ++(platform::RunGuarded(body) ? sound : faults);
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back(work);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(faults, 2000);
  EXPECT_EQ(sound, 2000);
}

}  // namespace

}  // namespace qivm::test
