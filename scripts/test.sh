#!/usr/bin/env bash
# Builds everything and runs every test: a normal build, an ASan+UBSan build,
# and a TSan build of the tests labelled "threaded".
#   scripts/test.sh            all three
#   TESSAREL_QUICK=1 scripts/test.sh   the normal build only
#   TESSAREL_LONG=1 scripts/test.sh    also fuzz for a bounded time (needs clang)
# At the end (also after a failure) it prints the wall time of every phase.
set -euo pipefail
cd "$(dirname "$0")/.."

# Each phase's name and wall time, printed when the script ends.
phase_names=()
phase_seconds=()
phase_started=$SECONDS
report_times() {
  local status=$?
  ((${#phase_names[@]})) || return "$status"
  echo
  echo "Wall time per phase:"
  local i
  for i in "${!phase_names[@]}"; do
    printf '  %-28s %5d s\n' "${phase_names[$i]}" "${phase_seconds[$i]}"
  done
  printf '  %-28s %5d s\n' "total" "$((SECONDS - phase_started))"
  return "$status"
}
trap report_times EXIT
phase() {  # name, command...
  local name=$1 start=$SECONDS status=0
  shift
  "$@" || status=$?
  if ((status)); then name+=" (failed)"; fi
  phase_names+=("$name")
  phase_seconds+=($((SECONDS - start)))
  return "$status"
}

phase "install packages" scripts/install-deps.sh
if [[ -f ui/package.json ]]; then
  phase "build UI bundle" scripts/build-ui.sh
  phase "test UI" bash -c 'cd ui && npm test --silent'
fi

jobs=$(nproc)
configure() {  # dir, extra cmake args...
  local dir=$1; shift
  cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
}

configure build
phase "build normal" cmake --build build -j "$jobs"
phase "test normal" ctest --test-dir build --output-on-failure -j "$jobs"

if [[ -z ${TESSAREL_QUICK:-} ]]; then
  configure build-asan -DTESSAREL_SANITIZE=address -DTESSAREL_BUILD_BENCH=OFF
  phase "build ASan+UBSan" cmake --build build-asan -j "$jobs"
  phase "test ASan+UBSan" env ASAN_OPTIONS=detect_leaks=1 \
    UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    ctest --test-dir build-asan --output-on-failure -j "$jobs" -LE nosanitize

  configure build-tsan -DTESSAREL_SANITIZE=thread -DTESSAREL_BUILD_BENCH=OFF
  phase "build TSan" cmake --build build-tsan -j "$jobs" --target tessarel_threaded_tests
  phase "test TSan" env TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
    ctest --test-dir build-tsan --output-on-failure -j "$jobs" -L threaded -LE nosanitize
fi

if [[ -n ${TESSAREL_LONG:-} ]]; then
  # Long mode: a minute of fuzzing of the keyboard model and the device reply
  # handling, starting from the committed corpus; new inputs stay in the build
  # directory. (Every run above already replays the corpus once.)
  configure build-fuzz -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DTESSAREL_BUILD_FUZZ=ON -DTESSAREL_SANITIZE=address -DTESSAREL_BUILD_BENCH=OFF
  phase "build fuzz" cmake --build build-fuzz -j "$jobs" --target tessarel_model_fuzz
  mkdir -p build-fuzz/model-corpus
  phase "fuzz" build-fuzz/bin/tessarel_model_fuzz -max_total_time=60 -print_final_stats=1 \
    build-fuzz/model-corpus fuzz/corpus
fi
