#!/usr/bin/env bash
# Builds the libFuzzer targets (preset fuzz) and runs each for SECONDS (default 30) on a copy of
# its seed corpus in tests/fuzz/corpus, so the repository's corpus stays as it is. A crash, leak
# or timeout fails the run; the input that caused it is kept under build/fuzz/crashes/.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-30}
if ! [[ $seconds =~ ^[1-9][0-9]*$ ]]; then
    echo "usage: $0 [SECONDS]" >&2
    exit 2
fi
if ! command -v clang++ >/dev/null; then
    echo "clang++ is missing: run scripts/deps.sh as root" >&2
    exit 1
fi

targets=(fuzz_reply_reader fuzz_reply_parsers fuzz_listing_line fuzz_settings_file fuzz_quick_launch
         fuzz_init_file fuzz_archive_entries)
# Inputs long enough to pass the reply line capacity and the Quick-Launch line limit. The limit
# of lines per reply (10,000) is left to the unit tests: inputs that reach it run 100 times slower.
declare -A max_len=([fuzz_reply_reader]=8192 [fuzz_quick_launch]=8192)

echo "== fuzz build"
cmake --preset fuzz --no-warn-unused-cli >/dev/null
cmake --build --preset fuzz -j "$(nproc)"

build=build/fuzz
crashes=$build/crashes
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

failed=0
summary=()
for target in "${targets[@]}"; do
    binary=$build/tests/fuzz/$target
    corpus=$work/$target
    cp -r "tests/fuzz/corpus/$target" "$corpus"
    before=$(find "$corpus" -type f | wc -l)
    mkdir -p "$crashes/$target"
    log=$work/$target.log
    options=(-max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1
             -close_fd_mask=1 -artifact_prefix="$crashes/$target/")
    if [[ -n ${max_len[$target]:-} ]]; then
        options+=(-max_len="${max_len[$target]}")
    fi

    echo "== $target, ${seconds}s"
    status=0
    # The outer limit only guards against a fuzzer that never returns.
    timeout --signal=KILL $((seconds + 120)) "$binary" "${options[@]}" "$corpus" >"$log" 2>&1 ||
        status=$?

    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
    speed=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -n 1)
    after=$(find "$corpus" -type f | wc -l)
    if ((status == 0)); then
        result=ok
    else
        failed=1
        result="FAILED (exit $status)"
        tail -n 60 "$log"
        # libFuzzer names the reproducer on a line "Test unit written to PATH".
        reproducer=$(sed -n 's/.*Test unit written to \(.*\)$/\1/p' "$log" | tail -n 1)
        if [[ -n $reproducer ]]; then
            echo "reproducer: $reproducer (run: $binary $reproducer)"
            result+=", reproducer $reproducer"
        fi
    fi
    summary+=("$(printf '%-20s runs %-10s exec/s %-8s corpus %s -> %s  %s' \
        "$target" "${runs:-?}" "${speed:-?}" "$before" "$after" "$result")")
done

echo "== fuzz summary (${seconds}s per target)"
printf '%s\n' "${summary[@]}"
exit "$failed"
