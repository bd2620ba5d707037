// Tests the page in a real browser: it sends no requests, logs no errors, fits every width, and keeps its
// structure whatever names transcripts contain. Screenshots of the sample are kept in build/page.

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdtempSync, mkdirSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { pathToFileURL } from 'node:url';
import { chromium } from 'playwright-core';

const { TALLYFIN_COMMAND, TALLYFIN_SAMPLE, TALLYFIN_PAGES } = process.env;
const scratch = mkdtempSync(join(tmpdir(), 'tallyfin-page-'));
let browser;

before(async () => {
  browser = await chromium.launchPersistentContext(join(scratch, 'profile'), {
    executablePath: '/usr/bin/chromium',
    headless: true,
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
           '--disable-component-update', '--disable-sync'],
  });
});
after(async () => {
  await browser?.close();
  rmSync(scratch, { recursive: true });
});

// Names that would break a page built by pasting text, reverse its lines or make it huge.
const hostile = [
  '</style><script>alert(1)</script>', '"><img src=http://127.0.0.1:9/x onerror=alert(1)>', "' onmouseover='alert(1)",
  '{{style}}', '<!--', ']]>', '&lt;b&gt;', 'a\u0000b\u0007c\u001b[31m\u0085', 'left\u202Eright\u2066', '\u05E9\u05DC\u05D5\u05DD/x',
  'x'.repeat(10_000), 'e' + '\u0301'.repeat(10_000), '\uFEFF\u200B\u2028\uFFFE', '=1+1', '\uD83D\uDE00 caf\u00E9',
];

const request = (at, { session, cwd, agent, model }) => JSON.stringify({
  timestamp: new Date(at).toISOString(), requestId: `r${at}`, sessionId: session, cwd, agentId: agent,
  message: { id: `m${at}`, model, usage: { input_tokens: 200_000, output_tokens: 9_000 } },
});

function home(name, lines) {
  const path = join(scratch, name);
  mkdirSync(join(path, '.claude/projects/p'), { recursive: true });
  writeFileSync(join(path, '.claude/projects/p/one.jsonl'), lines.map((line) => `${line}\n`).join(''));
  return path;
}

const now = Date.now();
const day = 86_400_000;
const pages = {
  sample: { home: TALLYFIN_SAMPLE, range: ['last30Days'] },
  hostile: {
    home: home('hostile', hostile.map((text, i) => request(now - i * day / 3, {
      session: text, cwd: `/${text}`, agent: i % 2 ? text : `a${text}-0123456789abcdef`,
      model: i % 3 ? 'claude-opus-5' : text,
    })).concat('{"usage": cut')),
    range: ['--label', hostile.join(' ').replaceAll('\u0000', '')],
  },
  ages: {  // far apart, so that the axis shows months and must be cut
    home: home('ages', [0, 100, 5_000, 300_000].map((days) => request(now - days * day, {
      session: 's', cwd: '/work', model: days === 100 ? 'nova-1' : 'claude-opus-5' }))),
    range: [],
  },
  empty: { home: home('empty', []), range: [] },
};

async function opened(name, width, colorScheme) {
  const file = join(scratch, `${name}.html`);
  const { home: path, range } = pages[name];
  execFileSync(TALLYFIN_COMMAND, ['export', 'html', ...range, '--out', file],
               { env: { HOME: path, TALLYFIN_HOME: path, TALLYFIN_CACHE_PATH: join(path, 'cache.bin'), TZ: 'UTC' } });
  const page = await browser.newPage();
  const noise = [];
  page.on('console', (message) => noise.push(message.text()));
  page.on('pageerror', (error) => noise.push(String(error)));
  page.on('dialog', (dialog) => noise.push(dialog.message()));
  page.on('request', (sent) => noise.push(sent.url()));
  await page.emulateMedia({ colorScheme });
  await page.setViewportSize({ width, height: 900 });
  await page.goto(pathToFileURL(file).href);
  assert.deepEqual(noise.splice(0), [pathToFileURL(file).href], 'the document, and nothing else');
  return page;
}

const fits = (page) => page.evaluate(() => [document.scrollingElement.scrollWidth, innerWidth]);

for (const name of Object.keys(pages)) {
  for (const width of [390, 1280]) {
    for (const colour of ['light', 'dark']) {
      test(`${name}, ${width} pixels, ${colour}`, async () => {
        const page = await opened(name, width, colour);
        const [content, window] = await fits(page);
        assert.ok(content <= window, `${content} pixels wide`);
        await page.screenshot({ path: join(TALLYFIN_PAGES, `${name}-${width}-${colour}.png`), fullPage: true });
        for (const summary of await page.locator('summary').all()) {
          await summary.click();
        }
        assert.ok((await fits(page))[0] <= window, 'with its tables open');
        await page.close();
      });
    }
  }

  test(`${name} is read by keyboards and screen readers`, async () => {
    const page = await opened(name, 1280, 'light');
    const found = await page.evaluate(() => {
      const all = (selector) => [...document.querySelectorAll(selector)];
      const levels = all('h1, h2, h3').map((heading) => Number(heading.tagName[1]));
      return {
        first: levels[0],
        jumps: levels.filter((level, i) => i > 0 && level > levels[i - 1] + 1),
        headersWithoutScope: all('th:not([scope])').length,
        tablesWithoutCaption: all('table').filter((table) => table.caption === null).length,
        drawingsWithoutWords: all('svg:not([aria-hidden])').filter((svg) => !svg.closest('[role=img]') ||
          !document.getElementById(svg.closest('[role=img]').getAttribute('aria-labelledby').split(' ')[1])).length,
        links: all('a').filter((a) => !document.getElementById(a.getAttribute('href').slice(1))).length,
        scripts: all('script, img, iframe, object, embed, link, base, form').length,
        handlers: all('*').filter((e) => [...e.attributes].some((a) => /^(on|style$)/.test(a.name))).length,
      };
    });
    assert.deepEqual(found, { first: 1, jumps: [], headersWithoutScope: 0, tablesWithoutCaption: 0,
                              drawingsWithoutWords: 0, links: 0, scripts: 0, handlers: 0 });
    await page.close();
  });
}

test('hostile names are texts, their controls spelled out and their length bounded', async () => {
  const page = await opened('hostile', 1280, 'light');
  const text = await page.evaluate(() => document.body.textContent);
  for (const shown of ['</style><script>alert(1)</script>', '{{style}}', '<!--', '&lt;b&gt;', 'a\\u{0}b\\u{7}c\\u{1b}[31m',
                       'left\\u{202e}right\\u{2066}', '\\u{feff}\\u{200b}\\u{2028}\\u{fffe}', 'x…x']) {
    assert.ok(text.includes(shown), shown);
  }
  assert.ok(!/[\u0000-\u0008\u202A-\u202E\u2066-\u2069]/.test(text));
  assert.ok(text.length < 100_000);
  await page.close();
});

test('on paper it is A4', async () => {
  const page = await opened('sample', 794, 'dark');
  await page.emulateMedia({ media: 'print' });
  assert.ok((await fits(page))[0] <= 794);
  await page.pdf({ path: join(TALLYFIN_PAGES, 'sample.pdf'), preferCSSPageSize: true });
  await page.close();
});
