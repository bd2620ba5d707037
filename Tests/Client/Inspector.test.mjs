// Tests the server with the published inspector's command line, one process per question. Sessions are opened
// in both ways: with an immediate handshake, and by first asking whether the server works without one.

import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { after, describe, it } from 'node:test';
import { fileURLToPath } from 'node:url';

import { failures, makeHome, questions } from './Home.mjs';

const inspector = fileURLToPath(new URL('node_modules/.bin/mcp-inspector', import.meta.url));
const isTooOld = Number(process.versions.node.split('.')[0]) < 20;
const toolFailed = 5;  // the inspector's own exit status

describe('the inspector', { skip: isTooOld && 'needs Node 20' }, () => {
  const home = makeHome();
  after(() => home.remove());

  const inspect = (...options) => {
    const { status, stdout, stderr } = spawnSync(
      process.execPath, [inspector, '--cli', process.env.TALLYFIN_SERVER, '--quiet', ...options],
      { env: home.environment, encoding: 'utf8' });
    return { status, stderr, answer: stdout && JSON.parse(stdout) };
  };
  const call = (name, args) =>
    inspect('--method', 'tools/call', '--tool-name', name, '--tool-args-json', JSON.stringify(args));

  for (const era of ['legacy', 'auto']) {
    it(`lists the tools and finds no fault in their schemas (${era})`, () => {
      const { status, stderr, answer } = inspect('--protocol-era', era, '--method', 'tools/list', '--strict');
      assert.equal(status, 0, stderr);
      assert.deepEqual(answer.tools.map((tool) => tool.name), [...new Set(questions.map(([name]) => name))]);
    });
  }

  it('gets the same answers', () => {
    for (const [name, args, texts] of questions) {
      const { status, stderr, answer } = call(name, args);
      assert.equal(status, 0, stderr);
      for (const part of texts) {
        assert.ok(answer.content[0].text.includes(part), name);
      }
    }
    for (const [name, args, text] of failures) {
      const { status, answer } = call(name, args);
      assert.equal(status, toolFailed);
      if (answer) {  // the inspector itself rejects tools that the server does not list
        assert.deepEqual(answer, { content: [{ type: 'text', text }], isError: true });
      }
    }
  });
});
