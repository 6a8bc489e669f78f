#!/usr/bin/env bash
# bench/run_emoji.sh BENCH_BINARY: runs bench_emoji and the JavaScript peers
# (emoji-toolkit, node-emoji) on the same generated texts, in one run, and
# prints one table. The peers are installed with npm into build/bench-node;
# the library's own build never needs them.
set -euo pipefail
bin=$(realpath "${1:?usage: bench/run_emoji.sh path/to/bench_emoji}")
cd "$(dirname "$0")/.."
node_dir=build/bench-node
peers=(emoji-toolkit@11.0.0 node-emoji@2.2.0)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$bin" --write-corpus "$work"
"$bin" --benchmark_out="$work/ours.json" --benchmark_out_format=json \
  --benchmark_repetitions=3
for _ in 1 2 3 4 5; do "$bin" --first-use; done | tee "$work/first_use.txt"

if ! command -v node >/dev/null || ! command -v npm >/dev/null; then
  echo "run_emoji: node and npm are needed for the peer figures; showing ours only" >&2
  exit 0
fi
mkdir -p "$node_dir"
[[ -f $node_dir/package.json ]] || echo '{"private": true}' >"$node_dir/package.json"
if ! (cd "$node_dir" && npm ls --silent "${peers[@]}" >/dev/null 2>&1); then
  (cd "$node_dir" && npm install --silent --no-audit --no-fund "${peers[@]}")
fi
echo
node bench/emoji_peers.cjs "$work" "$node_dir"
