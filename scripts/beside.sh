# Commands beside a script, for scripts to include.

# Put before a command that uses only the time that others leave. Where it could not be undone, it is milder: otherwise
# the command would not proceed on a machine that others keep busy.
aside=(nice -n 10)
! chrt --idle 0 chrt --other 0 true 2>/dev/null || aside=(chrt --idle 0)

# Runs a command in a process group of its own: beside LOG COMMAND... Its number is in $started.
started=
beside() {
  local log=$1
  shift
  set -m
  "$@" >"$log" 2>&1 &
  set +m
  started=$!
}

# Waits for a command that `beside` started, and gives it an equal share of the processors: await NUMBER.
await() {
  local process
  for process in $(pgrep -g "$1"); do
    chrt --other --pid 0 "$process" 2>/dev/null
  done
  wait "$1"
}
