// The server as the published inspector's command line meets it: one process a question, in both ways of opening a
// session: with the handshake at once, and asking first whether the server does without.

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
      if (answer) {  // a tool that is in no list is refused by the inspector itself
        assert.deepEqual(answer, { content: [{ type: 'text', text }], isError: true });
      }
    }
  });
});
