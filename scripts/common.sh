# shellcheck shell=bash
# What the scripts have in common. Sourced, with the tree's root as the working folder.

# Complain TEXT...: says that something is wrong, and goes on.
Complain() { echo "${0##*/}: error: $*" >&2; }

# Fail TEXT...: ends the script; the exit code is $failStatus, 1 unless the script sets it.
Fail() {
  Complain "$@"
  exit "${failStatus:-1}"
}

Step() { echo "==> $*"; }

# Usage: prints the comment at the head of the script.
Usage() { sed -n '2,/^set /{/^#/s/^# \{0,1\}//p}' "$0"; }

# Logged NAME COMMAND...: runs a command whose output goes to $logFolder/NAME.log and is shown only
# when it fails, which ends the script.
Logged() {
  # shellcheck disable=SC2154 # set by the script
  local log=$logFolder/$1.log
  shift
  if ! "$@" >"$log" 2>&1 </dev/null; then
    tail -n 40 "$log" >&2
    Fail "this failed: $*"
  fi
}

# BuildPreset PRESET [TARGET...]: configures and builds.
BuildPreset() {
  local preset=$1
  shift
  Step "Building: $preset"
  Logged "configure-$preset" cmake --preset "$preset"
  Logged "build-$preset" cmake --build --preset "$preset" --parallel "$(nproc)" \
    ${1+--target} "$@"
}

# FindFiles FIND-EXPRESSION...: prints the tree's files that the expression chooses, each ended by a
# NUL, without what was built.
FindFiles() {
  find . \( -path ./out -o -path ./.git \) -prune -o -type f \( "$@" \) -print0 | sort -z
}

# Prints the project's C++ files likewise.
FindSources() { FindFiles -name '*.h' -o -name '*.cpp' -o -name '*.inc'; }
