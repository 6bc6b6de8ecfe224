#!/usr/bin/env bash
# Runs each libFuzzer target for a bounded time; any finding fails the run.
set -euo pipefail
build=${1:?usage: run-fuzzers.sh <fuzz build dir> [seconds]}
seconds=${2:-30}
status=0
for f in "$build"/fuzz/fuzz_*; do
  [ -x "$f" ] || continue
  name=$(basename "$f")
  corpus=$(mktemp -d)
  echo "== $name for ${seconds}s"
  if ! "$f" -max_total_time="$seconds" -print_final_stats=0 "$corpus" 2>"/tmp/$name.log"; then
    tail -n 40 "/tmp/$name.log"
    status=1
  fi
  rm -rf "$corpus"
done
exit $status
