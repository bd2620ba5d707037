// A generated home with known figures, and the server's environment for it.

import { mkdtempSync, mkdirSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

function line({ id, time, model, session, cwd, agent, input }) {
  return JSON.stringify({
    timestamp: time,
    requestId: `r-${id}`,
    sessionId: session,
    cwd,
    agentId: agent,
    message: { id, model, usage: { input_tokens: input, output_tokens: 0 } },
  });
}

// Three requests on two days long ago ($5.00, $2.00 by a sub-agent, and one without a price), a line that is
// not JSON, and one recent request of $1.00.
const transcript = () =>
  [
    line({ id: 'm1', time: '2024-03-10T12:00:00Z', model: 'claude-opus-5', session: 'session-one',
           cwd: '/nowhere/alpha', input: 1_000_000 }),
    line({ id: 'm2', time: '2024-03-10T13:00:00Z', model: 'claude-haiku-4-5', session: 'session-one',
           cwd: '/nowhere/alpha', agent: 'aplanner-0123456789abcdef', input: 2_000_000 }),
    line({ id: 'm3', time: '2024-03-11T09:30:00Z', model: 'nova-1', session: 'session-two',
           cwd: '/nowhere/beta', input: 5 }),
    '{"usage": cut',
    line({ id: 'm4', time: new Date().toISOString(), model: 'claude-haiku-4-5', session: 'session-three',
           cwd: '/nowhere/gamma', input: 1_000_000 }),
    '',
  ].join('\n');

export function makeHome() {
  const path = mkdtempSync(join(tmpdir(), 'tallyfin-client-'));
  const folder = join(path, '.claude/projects/alpha');
  mkdirSync(folder, { recursive: true });
  writeFileSync(join(folder, 'one.jsonl'), transcript());
  return {
    path,
    environment: {
      HOME: path,
      PATH: process.env.PATH,
      TALLYFIN_HOME: path,
      TALLYFIN_CACHE_PATH: join(path, 'cache/scan.bin'),
      TZ: 'UTC',
    },
    remove: () => rmSync(path, { recursive: true }),
  };
}

const days = { from: '2024-03-10', to: '2024-03-11' };
const lowerBound = '≥ $7.00 [1 request with no known price (nova-1) are not included]';

// A question for each tool, and texts that its answer contains on any day.
export const questions = [
  ['tally_overview', { top: 2 }, ['HISTORY\n  days with activity   3\n  total recorded       ≥ $8.00 [']],
  ['tally_cost', { period: '7d', by: 'project' }, ['TOTAL  $1.00\n', '\n  /nowhere/gamma ']],
  ['tally_cost', { ...days, agent: 'planner' }, ['Cost — 2024-03-10 → 2024-03-11', 'TOTAL  $2.00\n']],
  ['tally_top_agents', { ...days, subagents_only: true }, [' 1. planner  [aplanner-0123456789abcdef]', 'cost      $2.00']],
  ['tally_top_projects', { ...days, limit: 1 }, [' 1. /nowhere/alpha\n    cost   $7.00  ·  2 requests']],
  ['tally_by_model', { ...days, agents_per_model: 0 }, [`TOTAL ${lowerBound}`, '\nnova-1\n    cost   unknown (']],
  ['tally_session', { session_id: 'session-o' }, ['Session session-one — all history', 'cost      $7.00']],
  ['tally_session', { session_id: 'session-t' }, ['The prefix “session-t” matches 2 sessions — pick one:']],
  ['tally_agent', { agent: 'main', ...days }, ['Agent main session (no agentId)', 'cost      ≥ $5.00 [']],
  ['tally_provenance', days, [`cost   ${lowerBound}`, 'rejected: invalid JSON      1']],
  ['tally_sources', {}, ['files scanned         1\n  unified requests      4', '.claude-work       not on disk (']],
];

// Calls that fail, and their whole answers.
export const failures = [
  ['tally_nothing', {}, 'Unknown verb: tally_nothing'],
  ['tally_session', {}, '`session_id` is missing.'],
];
