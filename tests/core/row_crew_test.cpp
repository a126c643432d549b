#include "platform/row_crew.h"

#include <gtest/gtest.h>
#include <set>
#include <thread>
#include <vector>

#include "tests/support/random.h"

namespace qivm::test {

namespace {

/// Rows that note who has worked on them, and fault where they are told to.
class Rows {
 public:
  Rows(RowCrew& crew, int rows) : crew_(crew), runs_(static_cast<std::size_t>(rows)) {}

  bool Run() {
    constexpr RowCrew::Work kWork = [](void* self, RowCrew::Seat& seat) {
      static_cast<Rows*>(self)->WorkAt(seat);
    };
    return crew_.Run(static_cast<int>(runs_.size()), kWork, this);
  }

  /// Rows whose work ends in a fault.
  std::set<int> faults;
  std::atomic<unsigned> seats = 0;  // a bit for each that has worked
  std::atomic<int> inside = 0;

  /// Expects that every row was worked on so many times.
  void ExpectEach(int times) const {
    for (const auto& runs : runs_) {
      ASSERT_EQ(runs.load(), times);
    }
  }

 private:
  void WorkAt(RowCrew::Seat& seat) {
    for (int row = seat.ClaimRow(); row != RowCrew::kNoRow; row = seat.ClaimRow()) {
      ++inside;
      seats |= 1U << seat.Number();
      ++runs_[static_cast<std::size_t>(row)];
      --inside;
      if (faults.contains(row)) {
        platform::RaiseFault();
      }
    }
  }

  RowCrew& crew_;
  std::vector<std::atomic<int>> runs_;
};

class RowCrewTest : public testing::TestWithParam<unsigned> {
 protected:
  RowCrewTest() { crew_.Start(GetParam()); }

  RowCrew crew_;
};

TEST_P(RowCrewTest, EveryRowOnceInEveryFrame) {
  EXPECT_EQ(crew_.Seats(), GetParam());
  for (const int rows : {0, 1, 2, 7, 36, 175}) {
    Rows frame(crew_, rows);
    for (int times = 1; times <= 300; ++times) {
      ASSERT_TRUE(frame.Run());
      ASSERT_EQ(frame.inside, 0);
      frame.ExpectEach(times);
    }
    EXPECT_EQ(frame.seats >> GetParam(), 0U);
  }
}

TEST_P(RowCrewTest, FaultsEndNothingButTheFrame) {
  Random random(41);
  constexpr int kRows = 40;
  for (int round = 0; round < 300; ++round) {
    Rows frame(crew_, kRows);
    for (std::uint32_t count = random.Below(5); count > 0; --count) {
      frame.faults.insert(static_cast<int>(random.Below(kRows)));
    }
    ASSERT_EQ(frame.Run(), frame.faults.empty());
    ASSERT_EQ(frame.inside, 0);
    frame.ExpectEach(1);
  }
}

TEST_P(RowCrewTest, EveryRowFaults) {
  Rows frame(crew_, 50);
  for (int row = 0; row < 50; ++row) {
    frame.faults.insert(row);
  }
  for (int times = 1; times <= 20; ++times) {
    EXPECT_FALSE(frame.Run());
    frame.ExpectEach(times);
  }
}

TEST_P(RowCrewTest, CallersMayChange) {
  Rows frame(crew_, 20);
  for (int times = 1; times <= 20; ++times) {
    std::thread([&] { EXPECT_TRUE(frame.Run()); }).join();
    frame.ExpectEach(times);
  }
}

TEST_P(RowCrewTest, StartsAgainAfterStopAndWithoutIt) {
  for (int round = 0; round < 20; ++round) {
    if (round % 2 == 0) {
      crew_.Stop();
      EXPECT_EQ(crew_.Seats(), 1U);
    }
    crew_.Start(GetParam());
    EXPECT_EQ(crew_.Seats(), GetParam());
    Rows frame(crew_, 9);
    EXPECT_TRUE(frame.Run());
    frame.ExpectEach(1);
  }
}

INSTANTIATE_TEST_SUITE_P(Seats, RowCrewTest, testing::Values(1U, 2U, 3U, 8U),
                         testing::PrintToStringParamName());

TEST(RowCrew, HelpersTakePart) {
  RowCrew crew;
  crew.Start(3);
  // Rows that wait for each other can only be worked on at the same time.
  std::atomic<int> arrived = 0;
  constexpr RowCrew::Work kWork = [](void* context, RowCrew::Seat& seat) {
    auto& here = *static_cast<std::atomic<int>*>(context);
    while (seat.ClaimRow() != RowCrew::kNoRow) {
      ++here;
      while (here < 3) {
        std::this_thread::yield();
      }
    }
  };
  for (int frame = 0; frame < 20; ++frame) {
    arrived = 0;
    EXPECT_TRUE(crew.Run(3, kWork, &arrived));
    EXPECT_EQ(arrived, 3);
  }
}

TEST(RowCrew, SeatsLeaveTheLastRowsToThoseWhoHaveLessInHand) {
  RowCrew crew;
  crew.Start(2);
  std::atomic<int> others = -1;
  constexpr RowCrew::Work kWork = [](void* context, RowCrew::Seat& seat) {
    constexpr int kParts = 8;  // of a row
    auto& othersInHand = *static_cast<std::atomic<int>*>(context);
    if (seat.Number() != 0) {
      seat.SetInHand(10 * kParts);
      othersInHand = 10 * kParts;
      return;
    }
    // With nothing in hand it is always right.
    EXPECT_TRUE(seat.ShouldClaimMore(kParts));
    EXPECT_EQ(seat.ClaimRow(), 0);
    seat.SetInHand(kParts);
    while (othersInHand < 0) {
      std::this_thread::yield();
    }
    // The other one is busy for long.
    for (int row = 1; row < 4; ++row) {
      EXPECT_TRUE(seat.ShouldClaimMore(kParts));
      EXPECT_EQ(seat.ClaimRow(), row);
      seat.SetInHand((row + 1) * kParts);
    }
    EXPECT_FALSE(seat.ShouldClaimMore(kParts));
    EXPECT_EQ(seat.ClaimRow(), RowCrew::kNoRow);
  };
  for (int frame = 0; frame < 20; ++frame) {
    others = -1;
    EXPECT_TRUE(crew.Run(4, kWork, &others));
  }
  // Nobody but the calling thread knows of anything: whatever it claims, half remains.
  constexpr RowCrew::Work kHalf = [](void*, RowCrew::Seat& seat) {
    if (seat.Number() == 0) {
      int claimed = 0;
      do {
        EXPECT_EQ(seat.ClaimRow(), claimed++);
        seat.SetInHand(4 * claimed);
      } while (seat.ShouldClaimMore(4));
      EXPECT_EQ(claimed, 5);
    }
  };
  EXPECT_TRUE(crew.Run(10, kHalf, nullptr));
}

TEST(RowCrew, HasAsManySeatsAsThereMayBe) {
  RowCrew crew;
  crew.Start(1000);
  EXPECT_EQ(crew.Seats(), RowCrew::kMaxSeats);
  Rows frame(crew, 175);
  EXPECT_TRUE(frame.Run());
  frame.ExpectEach(1);
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
