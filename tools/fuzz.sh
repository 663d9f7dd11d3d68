#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, AddressSanitizer, UndefinedBehaviorSanitizer) and runs
# each for SECONDS (default 20) from seed corpora written from fuzz/seeds, the samples and the
# JSON path test list. Exit 1 on any finding; the crashing input is left in build/fuzz/findings.
#
#   tools/fuzz.sh 600            # ten minutes per target
#   tools/fuzz.sh 60 fuzz_json   # one target
#   VX_FUZZ_SEED=1 tools/fuzz.sh  # a fixed random seed: the same inputs every run (CI)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-20}"
shift || true
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz >/dev/null
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(fuzz_sax fuzz_sax_parser fuzz_json_sax fuzz_json fuzz_formurl fuzz_dom fuzz_xpath
  fuzz_jsonpath fuzz_escape fuzz_values)
corpus=build/fuzz/corpus
findings=build/fuzz/findings
mkdir -p "$findings"
# Seeds: one file per line of the seed lists and per sample, each behind a few first bytes
# (the first byte picks window, stream step, code page and options in every target).
python3 - "$corpus" <<'PY'
import glob, os, sys
corpus = sys.argv[1]
def lines(path):
    return [l.encode() for l in open(path, encoding="utf-8").read().split("\n") if l]
def files(pattern):
    return [open(p, "rb").read() for p in sorted(glob.glob(pattern))]
xml = lines("fuzz/seeds/xml.txt") + files("samples/*.xml")
json = lines("fuzz/seeds/json.txt") + files("samples/*.json") + files("tests/xml/jsonpath/*.json")
jsonpaths = [l.split("\t")[1].encode() for l in open("tests/xml/jsonpath/paths.tsv", encoding="utf-8").read().split("\n")
             if l and not l.startswith("#")]
text = lines("fuzz/seeds/values.txt") + lines("fuzz/seeds/form.txt")
seeds = {"fuzz_sax": xml, "fuzz_sax_parser": xml + json, "fuzz_json_sax": json, "fuzz_json": json,
         "fuzz_formurl": lines("fuzz/seeds/form.txt"), "fuzz_dom": xml, "fuzz_xpath": lines("fuzz/seeds/xpath.txt"),
         "fuzz_jsonpath": jsonpaths, "fuzz_escape": text + xml[:4], "fuzz_values": lines("fuzz/seeds/values.txt")}
for target, items in seeds.items():
    os.makedirs(os.path.join(corpus, target), exist_ok=True)
    for k, item in enumerate(items):
        for first in (0x00, 0x21, 0xE6):
            with open(os.path.join(corpus, target, "seed-%03d-%02x" % (k, first)), "wb") as f:
                f.write(bytes([first]) + item)
PY
# Each run uses a copy of the binaries, so a rebuild while it runs changes nothing under it.
bin=$(mktemp -d build/fuzz/bin.XXXXXX)
trap 'rm -rf "$bin"' EXIT
for t in "${targets[@]}"; do cp build/fuzz/fuzz/"$t" "$bin/"; done
status=0
TIMEFORMAT='%U %S'
for t in "${targets[@]}"; do
  log="build/fuzz/$t.log"
  if { time "$bin/$t" -max_total_time="$seconds" -seed="${VX_FUZZ_SEED:-0}" -max_len=8192 -timeout=10 -rss_limit_mb=4096 \
      -artifact_prefix="$findings/$t-" -print_final_stats=1 "$corpus/$t" >"$log" 2>&1; } 2>"$log.time"; then
    cpu=$(awk '{printf "%.1f", ($1 + $2) / 60}' "$log.time")
    echo "fuzz: $t: $(grep -o 'number_of_executed_units: [0-9]*' "$log" | head -1 | cut -d' ' -f2) runs in ${seconds}s ($cpu CPU-min), no finding"
  else
    echo "fuzz: $t: FINDING (see $log and $findings)"
    grep -m1 -A8 'invariant broken\|ERROR: ' "$log" || true
    status=1
  fi
done
exit $status
