# shellcheck shell=bash
# How the check scripts report: one line 'ok - NAME' or 'not ok - NAME' a check on standard output,
# what is wrong above it on standard error. Sourced; the script ends with "exit $failures".

# shellcheck disable=SC2034 # the sourcing script's exit code
failures=0

# Report NAME STATUS [REASON]: STATUS 0 is a pass.
Report() {
  if [ "$2" = 0 ]; then
    echo "ok - $1"
  else
    [ -z "${3-}" ] || echo "$3" >&2
    echo "not ok - $1"
    failures=1
  fi
}

# Check NAME COMMAND...: the check is the command's exit code, its output what is wrong.
Check() {
  local name=$1 output status=0
  shift
  output=$("$@" 2>&1 </dev/null) || status=$?
  Report "$name" $status "$output"
}

# CheckNothing NAME TEXT: passes when TEXT, a list of findings, is empty.
CheckNothing() {
  local status=0
  [ -z "$2" ] || status=1
  Report "$1" $status "$2"
}
