// Sends random messages to the built driver from several host threads at once and checks every
// answer, every access to memory and, at the end, that the driver holds nothing.
//
// usage: message_fuzzer [--messages N] [--seed S] [--threads T]

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

#include "tests/driver/driver_module.h"
#include "tests/driver/registry_tree.h"
#include "tests/driver/resource_watch.h"
#include "tests/robustness/access_watch.h"
#include "tests/robustness/host_stand_ins.h"
#include "tests/robustness/options.h"
#include "tests/robustness/random_host.h"

namespace qivm::test {

namespace {

constexpr int kHungExitCode = 4;
constexpr DWORD kRoundTimeLimit = 120000;  // milliseconds; a round takes a fraction of a second
/// After so many messages a host goes on on another thread.
constexpr std::uint64_t kMessagesOfARound = 500;

std::vector<std::unique_ptr<RandomHost>>* g_hosts = nullptr;

void DescribeHosts() {
  for (const auto& host : *g_hosts) {
    host->Describe();
  }
}

struct Round {
  RandomHost* host;
  int messages;

  static DWORD WINAPI Run(LPVOID self) {
    const auto& round = *static_cast<Round*>(self);
    round.host->Run(round.messages);
    return 0;
  }
};

void RunRounds(std::uint64_t messages) {
  auto& hosts = *g_hosts;
  std::uint64_t left = messages;
  while (left > 0) {
    std::vector<Round> rounds;
    for (const auto& host : hosts) {
      const std::uint64_t share = std::min(left, kMessagesOfARound);
      left -= share;
      rounds.push_back({host.get(), static_cast<int>(share)});
    }
    std::vector<HANDLE> threads;
    for (Round& round : rounds) {
      threads.push_back(CreateThread(nullptr, 0, &Round::Run, &round, 0, nullptr));
    }
    if (WaitForMultipleObjects(static_cast<DWORD>(threads.size()), threads.data(), TRUE,
                               kRoundTimeLimit) != WAIT_OBJECT_0) {
      std::fprintf(stderr, "the driver hangs\n");
      DescribeHosts();
      std::fflush(nullptr);
      TerminateProcess(GetCurrentProcess(), kHungExitCode);
    }
    for (const HANDLE thread : threads) {
      CloseHandle(thread);
    }
  }
}

void Report(std::uint64_t seed, const std::vector<std::unique_ptr<RandomHost>>& hosts) {
  RandomHost::Counts total;
  for (const auto& host : hosts) {
    const RandomHost::Counts& counts = host->Total();
    total.messages += counts.messages;
    total.begins += counts.begins;
    total.frames += counts.frames;
    total.damaged += counts.damaged;
    total.comparisons += counts.comparisons;
    total.dialogs += counts.dialogs;
  }
  std::printf(
      "seed %llu: %llu messages from %u threads: %llu contexts, %llu sound frames (%llu compared), "
      "%llu damaged ones, %llu faults, %llu dialogs\n",
      static_cast<unsigned long long>(seed), static_cast<unsigned long long>(total.messages),
      static_cast<unsigned>(hosts.size()), static_cast<unsigned long long>(total.begins),
      static_cast<unsigned long long>(total.frames),
      static_cast<unsigned long long>(total.comparisons),
      static_cast<unsigned long long>(total.damaged),
      static_cast<unsigned long long>(AccessWatch::Faults()),
      static_cast<unsigned long long>(total.dialogs));
}

int Fuzz(std::uint64_t messages, std::uint64_t seed, std::uint64_t threads) {
  const PreservedSettings settings;
  const DriverModule driver;
  const HostStandIns standIns(driver.Handle());
  const ReferenceFrames references(driver);
  std::vector<std::unique_ptr<RandomHost>> hosts;
  for (std::uint64_t lane = 0; lane < threads; ++lane) {
    hosts.push_back(
        std::make_unique<RandomHost>(driver, references, static_cast<std::size_t>(lane), seed));
  }
  g_hosts = &hosts;
  const AccessWatch accesses(&DescribeHosts);
  const ResourceWatch resources(driver.Handle());
  std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
  std::fflush(stdout);
  RunRounds(messages);
  for (const auto& host : hosts) {
    host->CloseAll();
  }
  Report(seed, hosts);
  const ResourceWatch::Holdings held = resources.Held();
  if (held != ResourceWatch::Holdings{}) {
    std::fprintf(stderr, "the driver keeps %d blocks, %d handles, %d keys\n", held.blocks,
                 held.handles, held.keys);
    return RandomHost::kExitCode;
  }
  return 0;
}

}  // namespace

}  // namespace qivm::test

int main(int argumentCount, char** arguments) {
  std::uint64_t messages = 100000;
  std::uint64_t seed = 1;
  std::uint64_t threads = 4;
  // The utilities of the driver's tests report by GoogleTest.
  ::testing::InitGoogleTest();
  if (!qivm::test::ReadOptions(
          argumentCount, arguments,
          {{"--messages", messages}, {"--seed", seed}, {"--threads", threads}}) ||
      threads < 1 || threads > qivm::test::AccessWatch::kLanes) {
    return 2;
  }
  const int result = qivm::test::Fuzz(messages, seed, threads);
  return ::testing::UnitTest::GetInstance()->Passed() ? result : qivm::test::RandomHost::kExitCode;
}
