#include <array>
#include <csignal>
#include <fcntl.h>
#include <iostream>
#include <unistd.h>

#include "tools/vfwtool/base/system.h"

namespace vfwtool {
namespace {

volatile std::sig_atomic_t g_isRequested = 0;
volatile std::sig_atomic_t g_isReading = 0;

constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP};
std::array<struct sigaction, kSignals.size()> g_previousActions;

/// The second signal ends the process as it would without a watch.
void HandleInterruption(int signal) {
  g_isRequested = 1;
  std::signal(signal, SIG_DFL);
  if (g_isReading == 0) {
    return;
  }
  // A read that waits at a pipe begins anew after a signal, and finds the input's end here.
  const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (nothing >= 0) {
    dup2(nothing, STDIN_FILENO);
    close(nothing);
  }
}

}  // namespace

ProcessStreams::ProcessStreams() { std::signal(SIGPIPE, SIG_IGN); }

ProcessStreams::~ProcessStreams() { std::signal(SIGPIPE, SIG_DFL); }

ToolStreams ProcessStreams::Streams() {
  return {.input = std::cin,
          .output = std::cout,
          .errors = std::cerr,
          .errorsAreTerminal = isatty(STDERR_FILENO) != 0};
}

std::istream& BinaryInput(const ToolStreams& streams) { return streams.input; }

std::ostream& BinaryOutput(const ToolStreams& streams) { return streams.output; }

InterruptionWatch::InterruptionWatch() {
  struct sigaction action = {};
  action.sa_handler = &HandleInterruption;
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    sigaction(kSignals[i], nullptr, &g_previousActions[i]);
    // What the caller wants to be ignored (as nohup does) stays so.
    if (g_previousActions[i].sa_handler != SIG_IGN) {
      sigaction(kSignals[i], &action, nullptr);
    }
  }
}

InterruptionWatch::~InterruptionWatch() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    sigaction(kSignals[i], &g_previousActions[i], nullptr);
  }
  g_isRequested = 0;
}

bool InterruptionWatch::IsRequested() { return g_isRequested != 0; }

InterruptionWatch::Reading::Reading() { g_isReading = 1; }

InterruptionWatch::Reading::~Reading() { g_isReading = 0; }

}  // namespace vfwtool
