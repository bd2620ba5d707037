// `tallyfin export json` as its readers meet it: every document is what docs/export.schema.json says, and its rows are
// those of the CSV, cell by cell.

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdtempSync, mkdirSync, readdirSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, test } from 'node:test';
import Ajv from 'ajv/dist/2020.js';

const { TALLYFIN_COMMAND, TALLYFIN_EXAMPLE, TALLYFIN_SAMPLE, TALLYFIN_SCHEMA } = process.env;
const scratch = mkdtempSync(join(tmpdir(), 'tallyfin-json-'));
after(() => rmSync(scratch, { recursive: true }));

const ajv = new Ajv({ strict: true, allowUnionTypes: true });
const isValid = ajv.compile(JSON.parse(readFileSync(TALLYFIN_SCHEMA, 'utf8')));

const hostile = [
  '"},{"', '\\', 'a\u0000b\u0007c\u001b[31m\u0085', 'left\u202Eright\u2066', '\uFEFF\u200B\u2028\uFFFE', '=1+1', '-1', ',"\r\n',
  '\uD83D\uDE00 caf\u00E9', 'e' + '\u0301'.repeat(10_000), 'null', '(not broken down)',
];
const request = (i, name, model, usage) => JSON.stringify({
  timestamp: new Date(Date.now() - i * 40_000_000).toISOString(), requestId: `r${i}`, sessionId: name, cwd: `/${name}`,
  agentId: i % 3 ? `a${name}-0123456789abcdef` : undefined, message: { id: `m${i}`, model, usage },
});
const usage = { input_tokens: 20_001, output_tokens: 977, cache_read_input_tokens: 3, server_tool_use: { web_search_requests: 1 } };
const most = { input_tokens: 9223372036854775807n.toString() };

function home(name, lines) {
  const path = join(scratch, name);
  mkdirSync(join(path, '.claude/projects/p/folder.jsonl'), { recursive: true });
  writeFileSync(join(path, '.claude/projects/p/one.jsonl'), lines.map((line) => `${line}\n`).join(''));
  writeFileSync(join(path, 'prices.json'), '{"prices": [{"model": "local-coder", "input": 0.1, "output": 3}]}');
  return path;
}

const homes = {
  sample: TALLYFIN_SAMPLE,
  hostile: home('hostile', [
    ...hostile.map((name, i) => request(i, name, i % 2 ? 'claude-opus-5' : name, usage)),
    request(100, 's', 'local-coder', usage), request(101, 's', 'nova-1', usage),
    request(102, 's', 'claude-opus-5', most).replace(/"(\d{19})"/, '$1'), '{"usage": cut']),
};

const tallyfin = (path, ...words) => run(path, 'export', ...words);

function run(path, ...words) {
  return execFileSync(TALLYFIN_COMMAND, words, { maxBuffer: 1 << 30, encoding: 'utf8', env: {
    HOME: path, TALLYFIN_HOME: path, TALLYFIN_CACHE_PATH: join(scratch, 'cache.bin'), TZ: 'Europe/Berlin',
    TALLYFIN_PRICES: join(scratch, 'hostile/prices.json') } });
}

function validated(text) {
  const document = JSON.parse(text);
  assert.ok(isValid(document), JSON.stringify(isValid.errors, null, 1));
  return document;
}

// The rows of a CSV as objects.
function csvRows(text) {
  const cells = [...text.matchAll(/(?:"((?:[^"]|"")*)"|([^",\n\r]*))([,\n])/g)];
  const rows = [[]];
  for (const [, quoted, plain, end] of cells) {
    rows.at(-1).push(quoted?.replaceAll('""', '"') ?? plain);
    if (end === '\n') {
      rows.push([]);
    }
  }
  const [columns, ...values] = rows.slice(0, -1);
  return values.map((row) => Object.fromEntries(row.map((value, i) => [columns[i], value])));
}

// What the CSV says of a row, each cell made of the JSON document.
function asInCsv(document, row) {
  const { cost, models, key, ...rest } = row;
  const basis = { complete: 'complete', lower_bound: 'lower bound — priced requests only',
                  unknown: 'unknown — no known price for any request in this row' }[cost.basis];
  const cells = {
    ...rest, axis: document.axis, key, currency: document.currency,
    models: models.map(({ model, requests }) => `${model} (${requests})`).join('; '),
    cost: cost.usd?.toFixed(6) ?? 'unknown',
    cost_basis: basis + (cost.own_priced_models.length > 0 ? ', own prices' : ''),
    unpriced_requests: cost.unpriced_requests, unpriced_models: cost.unpriced_models.join('; ') || '(none)',
  };
  return Object.fromEntries(Object.entries(cells).map(([column, value]) => {
    const text = String(value ?? '(not broken down)');
    return [column, typeof value === 'string' && /^[=+\-@\t\r]/.test(text) ? `'${text}` : text];
  }));
}

// Numbers of so many digits lose some in JavaScript, and there alone.
const rounded = (row) => Object.fromEntries(Object.entries(row).map(([column, text]) =>
  [column, /^[\d.]{16,}$/.test(text) ? String(Number(text)) : text]));

for (const [name, path] of Object.entries(homes)) {
  test(`${name}: every axis is valid and has the cells of the CSV`, () => {
    const folder = join(scratch, `${name}-documents`);
    for (const kind of ['csv', 'json']) {
      tallyfin(path, kind, '--all', '--out', folder, '--label', 'x');
    }
    const files = readdirSync(folder).filter((file) => file.endsWith('.json'));
    assert.ok(files.length >= 8);
    for (const file of files) {
      const document = validated(readFileSync(join(folder, file), 'utf8'));
      const rows = csvRows(readFileSync(join(folder, file.replace(/json$/, 'csv')), 'utf8'));
      assert.ok(rows.length > 0);
      assert.deepEqual(document.rows.map((row) => rounded(asInCsv(document, row))), rows.map(rounded), file);
      assert.equal(document.rows.reduce((sum, row) => sum + row.requests, 0), document.total.requests, file);
    }
  });
}

test('what is lost, left out or not known is told', () => {
  const document = validated(tallyfin(homes.hostile, 'json', '--axis', 'model', '--limit', '2'));
  assert.equal(document.rows.length, 2);
  assert.ok(document.rows_left_out > 5);
  assert.deepEqual(document.losses, { files_unreadable: 1, folders_unreadable: 0, lines_rejected: 1 });
  assert.equal(document.total.cost.basis, 'lower_bound');
  assert.deepEqual(document.total.cost.own_priced_models, ['local-coder']);

  mkdirSync(join(scratch, 'empty'));
  const empty = validated(tallyfin(join(scratch, 'empty'), 'json'));
  assert.deepEqual(empty.losses, { files_unreadable: null, folders_unreadable: null, lines_rejected: null });
  assert.deepEqual([empty.total.cost.usd, empty.total.cost.basis, empty.rows], [null, 'unknown', []]);
});

test('views print valid documents', () => {
  for (const path of Object.values(homes)) {
    const sessions = validated(run(path, 'sessions', 'all', '--json'));
    for (const { session } of sessions.rows.filter((row) => !row.key.includes('\0'))) {
      const tree = validated(run(path, 'tree', '--json', '--limit', '3', `--session-id=${session}`));
      assert.equal(tree.total.requests >= 1, true);
    }
    validated(run(path, 'daily', 'all', '--json'));
    const kinds = validated(run(path, 'table', 'all', '--by', 'kind', '--json'));
    assert.equal(kinds.rows.reduce((sum, row) => sum + row.runs, 0), kinds.total.runs);
  }
});

test('the example of the documentation is a document', () => {
  validated(readFileSync(TALLYFIN_EXAMPLE, 'utf8').match(/```json[^\n]*\n(.*?)```/s)[1]);
});

test('the schema refuses documents that would mislead', () => {
  const good = tallyfin(homes.hostile, 'json', 'all', '--axis', 'model');
  const unpriced = (document) => document.rows.find((row) => row.key === 'nova-1').cost;
  const faults = {
    'an unknown cost of 0': (document) => { unpriced(document).usd = 0; },
    'no amount, and yet a bound': (document) => { unpriced(document).basis = 'lower_bound'; },
    'a bound called complete': (document) => { document.total.cost.basis = 'complete'; },
    'no reason': (document) => { unpriced(document).reason = null; },
    'a missing count': (document) => { delete document.rows[0].input_tokens; },
    'missing losses': (document) => { delete document.losses; },
    'words for a number': (document) => { document.total.requests = 'unknown'; },
    'a member too many': (document) => { document.total.key = 'x'; },
    'another version': (document) => { document.version = 2; },
    'an axis that does not exist': (document) => { document.axis = 'rawCwd'; },
    'a kind without runs': (document) => { document.axis = 'kind'; },
    'a time without an offset': (document) => { document.generated = '2026-05-04T17:42:10'; },
  };
  validated(good);
  for (const [fault, put] of Object.entries(faults)) {
    const document = JSON.parse(good);
    put(document);
    assert.ok(!isValid(document), fault);
  }
});
