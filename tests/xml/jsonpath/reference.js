// Runs each JSON path of a paths file through jsonpath-plus and prints, per path, one line of
// JSON: {"values": [...]} with the selected values in document order (each node once), or
// {"error": "..."}. Usage: node reference.js NODE_MODULES_DIR DOCUMENTS_DIR PATHS_FILE
'use strict';
const fs = require('fs');
const path = require('path');
const { JSONPath } = require(path.join(process.argv[2], 'jsonpath-plus'));
const docsDir = process.argv[3];
const lines = fs.readFileSync(process.argv[4], 'utf8').split('\n');

const docs = {};
// Pre-order position of every node, by JSON pointer.
function number(value, pointer, order) {
  order.set(pointer, order.size);
  if (value !== null && typeof value === 'object') {
    for (const key of Object.keys(value)) {
      number(value[key], pointer + '/' + String(key).replace(/~/g, '~0').replace(/\//g, '~1'), order);
    }
  }
}

for (const line of lines) {
  if (!line.trim() || line.startsWith('#')) continue;
  const [docName, expr] = line.split('\t');
  if (!docs[docName]) {
    const json = JSON.parse(fs.readFileSync(path.join(docsDir, docName), 'utf8'));
    const order = new Map();
    number(json, '', order);
    docs[docName] = { json, order };
  }
  const { json, order } = docs[docName];
  let out;
  try {
    const found = JSONPath({ path: expr, json, resultType: 'all', wrap: true, eval: 'safe' });
    const seen = new Set();
    const rows = [];
    for (const r of found) {
      if (seen.has(r.pointer)) continue;
      seen.add(r.pointer);
      rows.push([order.has(r.pointer) ? order.get(r.pointer) : -1, r.value]);
    }
    rows.sort((a, b) => a[0] - b[0]);
    out = { values: rows.map((r) => r[1]) };
  } catch (e) {
    out = { error: String(e && e.message) };
  }
  process.stdout.write(JSON.stringify(out) + '\n');
}
