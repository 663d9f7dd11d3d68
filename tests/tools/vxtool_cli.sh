#!/usr/bin/env bash
# Command-line habits of vxtool: help, usage errors, exit codes, "-" for standard input, and
# messages that show every character. Usage: vxtool_cli.sh VXTOOL SAMPLES_DIR
set -u
VXTOOL="$1"
SAMPLES="$2"
TMP="$(mktemp -d)"
trap 'rm -rf "$TMP"' EXIT
failures=0

# check NAME EXPECTED_CODE STDOUT_PATTERN STDERR_PATTERN -- COMMAND...
check() {
  local name="$1" code="$2" out_pat="$3" err_pat="$4"
  shift 5
  "$@" >"$TMP/out" 2>"$TMP/err"
  local rc=$?
  local ok=1
  [ "$rc" = "$code" ] || ok=0
  [ -z "$out_pat" ] || grep -qE -- "$out_pat" "$TMP/out" || ok=0
  [ -z "$err_pat" ] || grep -qE -- "$err_pat" "$TMP/err" || ok=0
  if [ "$ok" = 1 ]; then
    echo "ok   $name"
  else
    echo "FAIL $name (exit $rc, expected $code)"
    echo "  stdout: $(head -c 400 "$TMP/out")"
    echo "  stderr: $(head -c 400 "$TMP/err")"
    failures=$((failures + 1))
  fi
}

check "--help prints usage on stdout, exit 0" 0 "^usage: vxtool" "" -- "$VXTOOL" --help
check "-h after a command is help too" 0 "^usage: vxtool" "" -- "$VXTOOL" events -h
check "--version" 0 "^vxtool [0-9]" "" -- "$VXTOOL" --version
check "no arguments: usage on stderr, exit 2" 2 "" "usage: vxtool" -- "$VXTOOL"
check "unknown option refused, exit 2" 2 "" "unknown option '--frobnicate'" -- "$VXTOOL" --frobnicate events x
check "unknown command refused, exit 2" 2 "" "unknown command 'evnts'" -- "$VXTOOL" evnts x
check "extra argument refused, exit 2" 2 "" "unexpected argument 'two'" -- "$VXTOOL" events one two
check "missing argument refused, exit 2" 2 "" "events: missing argument" -- "$VXTOOL" events
check "unknown encoding is named, exit 2" 2 "" "unknown encoding 'klingon'" -- "$VXTOOL" read "$SAMPLES/greeting.UTF-8.xml" klingon
check "read with an encoding" 0 "Съешь" "" -- "$VXTOOL" read "$SAMPLES/greeting.KOI8-R.txt" koi8-r
check "missing file: exit 1, the name in the message" 1 "" "no-such-file.xml" -- "$VXTOOL" events "$TMP/no-such-file.xml"
check "events of a file" 0 "^StartElement \"urn:example:catalog\" \"catalog\"" "" -- "$VXTOOL" events "$SAMPLES/catalog.xml"
check "events from standard input" 0 "^StartElement \"\" \"object\"" "" -- bash -c "\"$VXTOOL\" events - < \"$SAMPLES/order.json\""
check "events from a pipe" 0 "^EndDocument" "" -- bash -c "cat \"$SAMPLES/catalog.xml\" | \"$VXTOOL\" events -"
check "read from standard input" 0 "Grüße" "" -- bash -c "printf 'Grüße' | \"$VXTOOL\" read -"
: > "$TMP/empty.xml"
check "an empty file is diagnosed as empty" 1 "" "is empty" -- "$VXTOOL" events "$TMP/empty.xml"
check "empty standard input too" 1 "" "standard input is empty" -- bash -c "\"$VXTOOL\" events - < /dev/null"
check "malformed document: position and message, exit 1" 1 "FatalError Line 1, column" "Line 1, column [0-9]+: The document is not wellformed" -- bash -c "printf '<a></a><b/>' | \"$VXTOOL\" events -"
# UTF-16 without a byte-order mark read as UTF-8: the character found is U+0000, shown as \x00.
printf '<\0a\0>\0' > "$TMP/utf16.xml"
check "a U+0000 in a message is shown, not cut off" 1 "" 'x00' -- "$VXTOOL" events "$TMP/utf16.xml"
check "format indents an XML document" 0 "^  <cat:book id=\"b1\" cat:year=\"2024\">" "" -- "$VXTOOL" format "$SAMPLES/catalog.xml"
check "format keeps the declaration's encoding" 0 'encoding="UTF-8"' "" -- "$VXTOOL" format "$SAMPLES/catalog.xml"
check "format into another encoding rewrites the declaration" 0 'encoding="iso-8859-1"' "" -- "$VXTOOL" format "$SAMPLES/greeting.UTF-8.xml" iso-8859-1
"$VXTOOL" format "$SAMPLES/catalog.xml" iso-8859-1 > "$TMP/latin1.xml"
check "the re-encoded document reads back the same" 0 "" "" -- bash -c "diff <(\"$VXTOOL\" tojson \"$TMP/latin1.xml\") <(\"$VXTOOL\" tojson \"$SAMPLES/catalog.xml\")"
check "characters the encoding lacks become ?" 0 '"ru": "\?\?\?\?\?\?, \?\?\?"' "" -- bash -c "\"$VXTOOL\" format \"$SAMPLES/greeting.UTF-8.xml\" iso-8859-1 | \"$VXTOOL\" tojson -"
check "format to UTF-16 starts with a byte-order mark" 0 "^0000000 377 376" "" -- bash -c "\"$VXTOOL\" format \"$SAMPLES/catalog.xml\" utf-16 | od -c"
check "format of JSON input writes its XML form" 0 "<vip xsd:type=\"boolean\">true</vip>" "" -- "$VXTOOL" format "$SAMPLES/order.json"
check "format from standard input" 0 "^  <b />" "" -- bash -c "printf '<a><b/></a>' | \"$VXTOOL\" format -"
check "format of a malformed document: position, exit 1" 1 "" "Line 1, column [0-9]+: The document is not wellformed" -- bash -c "printf '<a></a><b/>' | \"$VXTOOL\" format -"
check "format of an empty input" 1 "" "is empty" -- bash -c "\"$VXTOOL\" format - < /dev/null"
check "tojson of an XML document" 0 '^    "_xmlns.cat": "urn:example:catalog",' "" -- "$VXTOOL" tojson "$SAMPLES/catalog.xml"
check "tojson of JSON gives the same JSON value" 0 "^same$" "" -- bash -c "\"$VXTOOL\" tojson \"$SAMPLES/order.json\" | python3 -c 'import json,sys; print(\"same\" if json.load(sys.stdin) == json.load(open(sys.argv[1])) else \"different\")' \"$SAMPLES/order.json\""
check "tojson from standard input" 0 '"a": \{\}' "" -- bash -c "printf '<a/>' | \"$VXTOOL\" tojson -"
check "select prints each node's path and text" 0 '^/cat:catalog/cat:book/title "Gödel, Escher, Bach & more"$' "" -- "$VXTOOL" select "$SAMPLES/catalog.xml" 'cat:catalog/cat:book[@id = "b1"]/*'
check "select with a // search from standard input" 0 '^/r/a/b "x"$' "" -- bash -c "printf '<r><a><b>x</b></a></r>' | \"$VXTOOL\" select - //b"
check "select of nothing prints nothing, exit 0" 0 "" "" -- "$VXTOOL" select "$SAMPLES/catalog.xml" nothing
check "select with a bad path: the message, exit 1" 1 "" "bad path: The specified nodePath started with an unexpected token \(/\)!" -- "$VXTOOL" select "$SAMPLES/catalog.xml" /cat:catalog
check "select with a bad predicate" 1 "" 'contains an invalid compare operator \(=<\)' -- "$VXTOOL" select "$SAMPLES/catalog.xml" '*[@a =< 1]'
check "select needs a path" 2 "" "select: missing argument" -- "$VXTOOL" select "$SAMPLES/catalog.xml"
check "json writes the JSON model formatted" 0 '^  "id": 1042, "customer": \{ ' "" -- "$VXTOOL" json "$SAMPLES/order.json"
check "json --compact" 0 '^\{"id": 1042, "customer": \{"name": "Zoë", "vip": true\}' "" -- "$VXTOOL" json --compact "$SAMPLES/order.json"
check "json accepts the line break at the end of a file" 0 '^\[1, 2\]$' "" -- bash -c "printf '[1, 2]\n' | \"$VXTOOL\" json --compact -"
check "json --form reads form-url-encoded input" 0 '"a": \{"b": "1", "c": "é"\}, "l": \["x"\]' "" -- bash -c "printf 'a[b]=1&a[c]=%%C3%%A9&l[]=x' | \"$VXTOOL\" json --compact --form -"
check "json of a malformed document: the message, exit 1" 1 "" '"e" expected, but "\}" found!' -- bash -c "printf '[1, {\"a\": tru}]' | \"$VXTOOL\" json -"
check "jsonpath prints each selected value, compact, one per line" 0 '^"A-1"$' "" -- bash -c "\"$VXTOOL\" jsonpath \"$SAMPLES/order.json\" '\$..sku'"
check "jsonpath with a filter" 0 '^\{"sku": "A-1", "qty": 2\}$' "" -- "$VXTOOL" jsonpath "$SAMPLES/order.json" '$.items[?(@.qty > 1)]'
check "jsonpath from standard input" 0 '^2$' "" -- bash -c "printf '{\"a\": [1, 2]}\n' | \"$VXTOOL\" jsonpath - '\$.a[-1]'"
check "jsonpath that selects nothing prints nothing, exit 0" 0 "" "" -- bash -c "test -z \"\$(\"$VXTOOL\" jsonpath \"$SAMPLES/order.json\" '\$.none')\""
check "jsonpath with a bad path: the message with its position, exit 1" 1 "" 'Position 10: "\]" expected, but the end found' -- "$VXTOOL" jsonpath "$SAMPLES/order.json" '$.items[0'
check "an option another command does not take is refused" 2 "" "unknown option '--compact'" -- "$VXTOOL" --compact events "$SAMPLES/order.json"
check "demo" 0 "encodings the library knows" "" -- "$VXTOOL" demo "$SAMPLES"

if [ "$failures" != 0 ]; then
  echo "$failures check(s) failed"
  exit 1
fi
