#!/usr/bin/env bash
# Decoding speed of the JavaScript package against mux.js, in one run, on the
# inputs of the peer harness's bench_all.sh: the news hour (gst-plugins-rs
# dn2018-1217.scc), synthetic 608 and dense synthetic 708 (make_synth.sh).
#
#   bindings/js/bench/compare-muxjs.sh [RUNS=5] [REPS=10]
#
# Each run starts every driver once per input, alternating, and each driver
# times REPS decodes of the whole input in-process (after 3 unmeasured ones),
# exactly as the harness's mux.js driver does.  Per input the table shows the
# median over runs of ns per input byte (3 per cc_data triplet), then mux.js's
# time divided by each of ours (the median of the ratios within each run).  Needs the harness set up (../shared/peers/setup.sh)
# and scripts/build-wasm.
set -euo pipefail
HERE=$(cd "$(dirname "$0")" && pwd)
ROOT=$(cd "$HERE/../../.." && pwd)
PEERS=${PEERS:-$ROOT/../shared/peers}
SAMPLES=${SAMPLES:-$ROOT/../shared/samples}
RUNS=${1:-5}
REPS=${2:-10}
[ -f "$PEERS/node/node_modules/mux.js/package.json" ] || { echo "compare-muxjs: run $PEERS/setup.sh first" >&2; exit 2; }
[ -f "$HERE/../libvqsoftcc.wasm" ] || { echo "compare-muxjs: run scripts/build-wasm first" >&2; exit 2; }

TMP=$(mktemp -d)
trap 'rm -rf "$TMP"' EXIT
"$PEERS/make_synth.sh" "$TMP/synth" >/dev/null
python3 "$PEERS/tools/cctool.py" to-ccd "$SAMPLES/gst-plugins-rs/dn2018-1217.scc" "$TMP/news.ccd" --tail 60
python3 "$PEERS/tools/cctool.py" to-ccd "$TMP/synth/synth608-1mb.scc" "$TMP/synth608.ccd" --tail 60
cp "$TMP/synth/synth708dense-1mb.ccd" "$TMP/dense708.ccd"

drivers=(muxjs ours ours-screen ours-callback ours-frame)
command_for() {
    case $1 in
        muxjs) echo "node $PEERS/node/muxjs_driver.js $2 --bench $REPS";;
        ours) echo "node $HERE/bench_driver.mjs $2 --render none --bench $REPS";;
        ours-screen) echo "node $HERE/bench_driver.mjs $2 --bench $REPS";;
        ours-callback) echo "node $HERE/bench_driver.mjs $2 --windows callback --render none --bench $REPS";;
        ours-frame) echo "node $HERE/bench_driver.mjs $2 --feed frame --render none --bench $REPS";;
    esac
}
inputs=(news synth608 dense708)
for ((run = 0; run < RUNS; run++)); do
    for input in "${inputs[@]}"; do
        for driver in "${drivers[@]}"; do
            $(command_for "$driver" "$TMP/$input.ccd") >> "$TMP/$input.$driver.jsonl"
        done
    done
done

echo "# node $(node --version), $(nproc) cores, runs=$RUNS reps/run=$REPS; ns per input byte, median over runs"
echo "# ours: window objects once per media time (updateWindows), 300 frames a call, kept as a renderer keeps them"
echo "# ours-screen: the same, and the visible text composed into cues after every media time"
echo "# ours-callback: an object for every window callback; ours-frame: one call per frame"
python3 - "$TMP" "${inputs[@]}" -- "${drivers[@]}" <<'PY'
import json, statistics, sys
tmp = sys.argv[1]
split = sys.argv.index('--')
inputs, drivers = sys.argv[2:split], sys.argv[split + 1:]
print('%-10s' % 'input' + ''.join('%14s' % d for d in drivers) + ''.join('%14s' % ('/' + d) for d in drivers[1:]))
for name in inputs:
    rows = {d: [json.loads(l)['ns_per_byte'] for l in open('%s/%s.%s.jsonl' % (tmp, name, d))] for d in drivers}
    med = {d: statistics.median(v) for d, v in rows.items()}
    # The ratio within each run, then its median: both drivers saw the same load.
    ratios = {d: statistics.median(m / o for m, o in zip(rows['muxjs'], rows[d])) for d in drivers[1:]}
    print('%-10s' % name + ''.join('%14.2f' % med[d] for d in drivers) + ''.join('%14.2f' % ratios[d] for d in drivers[1:]))
# On a loaded machine the fastest repetition of each driver is the steadier figure.
print('# the same, from the fastest repetition of each driver over all runs')
for name in inputs:
    best = {d: min(json.loads(l)['ns_per_byte_min'] for l in open('%s/%s.%s.jsonl' % (tmp, name, d))) for d in drivers}
    print('%-10s' % name + ''.join('%14.2f' % best[d] for d in drivers) + ''.join('%14.2f' % (best['muxjs'] / best[d]) for d in drivers[1:]))
PY
