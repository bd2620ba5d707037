// Tests the server with the published TypeScript SDK of the protocol, over its stdio client.

import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { after, before, describe, it } from 'node:test';

import { Client } from '@modelcontextprotocol/sdk/client/index.js';
import { StdioClientTransport } from '@modelcontextprotocol/sdk/client/stdio.js';
import { CallToolResultSchema, LATEST_PROTOCOL_VERSION, ToolSchema } from '@modelcontextprotocol/sdk/types.js';
import Ajv from 'ajv';

import { failures, makeHome, questions } from './Home.mjs';

const server = process.env.TALLYFIN_SERVER;

const isRunning = (pid) => {
  try {
    return process.kill(pid, 0);
  } catch {
    return false;
  }
};

describe('the SDK', () => {
  const home = makeHome();
  const statusFile = `${home.path}/status`;
  // The shell in between writes down the server's exit status; the server inherits the streams.
  const transport = new StdioClientTransport({
    command: '/bin/sh',
    args: ['-c', '"$0"; echo $? > "$1"', server, statusFile],
    env: home.environment,
    stderr: 'pipe',
  });
  let log = '';
  transport.stderr.on('data', (chunk) => (log += chunk));
  let negotiated;
  transport.setProtocolVersion = (version) => (negotiated = version);
  const client = new Client({ name: 'check', version: '1.0.0' });
  const strayErrors = [];
  client.onerror = (error) => strayErrors.push(error);

  before(() => client.connect(transport));
  after(() => home.remove());

  const call = async (name, args) => {
    const answer = await client.callTool({ name, arguments: args });
    CallToolResultSchema.strict().parse(answer);
    assert.deepEqual(answer.content.map((part) => part.type), ['text'], name);
    return { text: answer.content[0].text, isError: answer.isError };
  };

  it('shakes hands', () => {
    assert.equal(negotiated, LATEST_PROTOCOL_VERSION);
    assert.deepEqual(client.getServerVersion(), { name: 'tallyfin', version: process.env.TALLYFIN_VERSION });
    assert.deepEqual(client.getServerCapabilities(), { tools: {} });
    assert.match(client.getInstructions(), /^Tallyfin measures what .* Start with tally_overview\. .*never 0\.$/);
  });

  it('lists its tools with valid schemas, and asks each of them', async () => {
    const { tools, ...rest } = await client.listTools();
    assert.deepEqual(rest, {});
    const ajv = new Ajv({ strict: true });
    const validators = new Map();
    for (const tool of tools) {
      ToolSchema.strict().parse(tool);
      assert.match(tool.name, /^[A-Za-z0-9_.-]{1,128}$/);
      validators.set(tool.name, ajv.compile(tool.inputSchema));
    }
    assert.deepEqual([...validators.keys()], [...new Set(questions.map(([name]) => name))]);
    for (const [name, args, texts] of questions) {
      assert.ok(validators.get(name)(args), `${name}: our own question breaks the schema`);
      const { text, isError } = await call(name, args);
      assert.equal(isError, false, text);
      for (const part of texts) {
        assert.ok(text.includes(part), `${name} ${JSON.stringify(args)} should hold\n${part}\nand is\n${text}`);
      }
    }
  });

  it('is told what cannot be served, and goes on', async () => {
    for (const [name, args, text] of failures) {
      assert.deepEqual(await call(name, args), { text, isError: true });
    }
    // An argument of the wrong type counts as absent.
    assert.deepEqual(await call('tally_session', { session_id: 5 }), await call('tally_session', {}));
    const first = (answer) => answer.text.split('\n')[0];
    const ranking = { period: 'all', limit: 'many', subagents_only: 'yes' };
    assert.equal(first(await call('tally_top_agents', ranking)), 'Top agents by cost — all history');
    assert.deepEqual(await call('tally_top_agents', ranking), await call('tally_top_agents', { period: 'all' }));
    await assert.rejects(client.listResources(), { code: -32601 });
    await client.ping();
  });

  it('lets go of it without a trace', async () => {
    const { pid } = transport;
    assert.ok(isRunning(pid));
    await client.close();
    assert.equal(readFileSync(statusFile, 'utf8'), '0\n');
    assert.ok(!isRunning(pid));
    assert.deepEqual(strayErrors, []);
    assert.deepEqual(log.trimEnd().split('\n').map((one) => one.replace(/;.*/, '')), [
      '[tallyfin-mcp] started',
      '[tallyfin-mcp] stdin closed',
    ]);
  });
});
