#include "platform/row_crew.h"

#include <algorithm>

namespace qivm {

namespace {

/// How long a change of the calling thread's priority may go unnoticed. Asking for it costs more
/// than a small frame on some systems.
constexpr std::uint32_t kPriorityMilliseconds = 250;

}  // namespace

RowCrew::RowCrew() {
  for (unsigned number = 0; number < kMaxSeats; ++number) {
    lines_[number].seat.crew_ = this;
    lines_[number].seat.number_ = number;
  }
}

bool RowCrew::Seat::ShouldClaimMore(int partsOfRow) const noexcept {
  const int left = crew_->rows_ - Count(crew_->claims_.load(std::memory_order_relaxed));
  const int inHand = inHand_.load(std::memory_order_relaxed);
  if (left <= 0 || inHand == 0) {
    return left > 0;
  }
  int toDo = left * partsOfRow;
  for (unsigned number = 0; number < crew_->seats_; ++number) {
    toDo += crew_->lines_[number].seat.inHand_.load(std::memory_order_relaxed);
  }
  // Three quarters of a row beyond its share: a row left lying costs more than one too many, which
  // the seat reads beside its others.
  const int beyond = partsOfRow * 3 / 4;
  return (inHand + partsOfRow - beyond) * static_cast<int>(crew_->seats_) <= toDo;
}

void RowCrew::Start(unsigned seats) noexcept {
  Stop();
  const unsigned wanted = std::min(seats, kMaxSeats);
  if (wanted <= 1 || !allLeft_.Create()) {
    return;
  }
  while (seats_ < wanted && StartHelper(seats_)) {
    ++seats_;
  }
  // So that the first frame hands on the caller's priority.
  caller_ = 0;
  priority_ = 0;
}

bool RowCrew::StartHelper(unsigned seat) noexcept {
  std::unique_ptr<Helper>& helper = helpers_[seat - 1];
  helper.reset(new Helper);
  if (helper == nullptr) {
    return false;
  }
  helper->crew = this;
  helper->seat = seat;
  if (!helper->start.Create() || !helper->thread.Start(&HelperBody, helper.get())) {
    helper.reset();
    return false;
  }
  return true;
}

void RowCrew::Stop() noexcept {
  for (unsigned seat = 1; seat < seats_; ++seat) {
    Helper& helper = *helpers_[seat - 1];
    helper.stop.store(true, std::memory_order_relaxed);
    helper.start.Set();
  }
  for (unsigned seat = 1; seat < seats_; ++seat) {
    helpers_[seat - 1]->thread.Join();
    helpers_[seat - 1].reset();
  }
  seats_ = 1;
  allLeft_.Close();
}

bool RowCrew::Run(int rows, Work work, void* context) noexcept {
  work_ = work;
  context_ = context;
  rows_ = rows;
  claims_.store(0, std::memory_order_relaxed);
  faulted_.store(false, std::memory_order_relaxed);
  for (unsigned number = 0; number < seats_; ++number) {
    lines_[number].seat.SetInHand(0);
  }
  // One row is not worth waking anyone.
  const bool shared = seats_ > 1 && rows > 1;
  if (shared) {
    PassOnPriority();
    door_.store(kOpen, std::memory_order_release);
    WakeFrom(0);
  }
  WorkAt(0);
  if (shared && door_.fetch_and(~kOpen, std::memory_order_acq_rel) != kOpen) {
    allLeft_.Wait();
  }
  return !faulted_.load(std::memory_order_relaxed);
}

void RowCrew::WorkAt(unsigned seat) noexcept {
  Seat& here = lines_[seat].seat;
  auto work = [this, &here] { work_(context_, here); };
  while (!platform::RunGuarded(work)) {
    faulted_.store(true, std::memory_order_relaxed);
    here.SetInHand(0);
  }
}

bool RowCrew::Enter() noexcept {
  std::uint32_t door = door_.load(std::memory_order_relaxed);
  while ((door & kOpen) != 0) {
    if (door_.compare_exchange_weak(door, door + 1, std::memory_order_acquire,
                                    std::memory_order_relaxed)) {
      return true;
    }
  }
  return false;
}

void RowCrew::Leave() noexcept {
  // The last one out of a closed frame tells the caller, who waits for it.
  if (door_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    allLeft_.Set();
  }
}

void RowCrew::WakeFrom(unsigned seat) noexcept {
  // Each thread wakes two more, so that the last one is awake after as many steps as the number of
  // threads has bits.
  for (unsigned woken = 2 * seat + 1; woken <= 2 * seat + 2 && woken < seats_ &&
                                      Count(claims_.load(std::memory_order_relaxed)) < rows_;
       ++woken) {
    helpers_[woken - 1]->start.Set();
  }
}

void RowCrew::PassOnPriority() noexcept {
  const std::uint32_t caller = platform::CallersThreadId();
  const std::uint32_t now = platform::Milliseconds();
  if (caller == caller_ && now - priorityTime_ < kPriorityMilliseconds) {
    return;
  }
  caller_ = caller;
  priorityTime_ = now;
  const platform::ThreadPriority priority = platform::CallersPriority();
  if (priority != priority_) {
    priority_ = priority;
    for (unsigned seat = 1; seat < seats_; ++seat) {
      helpers_[seat - 1]->thread.SetPriority(priority);
    }
  }
}

unsigned RowCrew::HelperBody(void* argument) {
  Helper& helper = *static_cast<Helper*>(argument);
  RowCrew& crew = *helper.crew;
  for (;;) {
    helper.start.Wait();
    if (helper.stop.load(std::memory_order_relaxed)) {
      return kExitCode;
    }
    if (crew.Enter()) {
      crew.WakeFrom(helper.seat);
      crew.WorkAt(helper.seat);
      crew.Leave();
    }
  }
}

}  // namespace qivm
