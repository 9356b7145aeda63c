// The viewer in Chromium: what a person sees at chosen moments of the demo
// files.  Run by scripts/test-viewer, which says where playwright-core, the
// demo files and the screenshots are.
import assert from 'node:assert/strict';
import { mkdtempSync, rmSync } from 'node:fs';
import { createRequire } from 'node:module';
import os from 'node:os';
import path from 'node:path';
import { after, before, test } from 'node:test';
import { serve } from '../serve.mjs';

const { chromium } = createRequire(`${process.env.VIEWER_NODE_MODULES}/`)('playwright-core');
const DEMO = process.env.VIEWER_DEMO_DIR;
const SHOTS = process.env.VIEWER_SHOTS_DIR;
const FLAGS = ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
  '--disable-background-networking', '--disable-component-update', '--disable-sync'];

let server;
let profile;
let browser;
let page;
const errors = [];

before(async () => {
  server = await serve({ port: 0, files: ['demo.mcc', 'demo.scc'].map((name) => path.join(DEMO, name)) });
  profile = mkdtempSync(path.join(os.tmpdir(), 'viewer-chromium-'));
  browser = await chromium.launchPersistentContext(profile, {
    executablePath: '/usr/bin/chromium', headless: true, args: FLAGS, viewport: { width: 1280, height: 640 },
  });
  page = browser.pages()[0] ?? await browser.newPage();
  page.on('pageerror', (error) => errors.push(error));
});

after(async () => {
  await browser?.close();
  await server?.close();
  rmSync(profile, { recursive: true, force: true });
  assert.deepEqual(errors, [], 'no errors in the page');
});

async function open(query) {
  await page.goto(`${server.url}${query}`);
  await page.evaluate(() => window.viewer.ready);
}

// The screen as a person sees it: each window drawn, its box in percent of
// the safe title area, and its lines with the computed style of each run.
function look() {
  return page.evaluate(() => {
    const safe = document.querySelector('.cc-safe').getBoundingClientRect();
    const percent = (b) => ({
      left: ((b.left - safe.left) / safe.width) * 100, right: ((b.right - safe.left) / safe.width) * 100,
      top: ((b.top - safe.top) / safe.height) * 100, bottom: ((b.bottom - safe.top) / safe.height) * 100,
    });
    return [...document.querySelectorAll('.cc-window')].map((w) => ({
      id: Number(w.dataset.id),
      hidden: w.classList.contains('cc-hidden'),
      box: percent(w.getBoundingClientRect()),
      fill: getComputedStyle(w).backgroundColor,
      lines: [...w.querySelectorAll('.cc-line')].map((line) => line.textContent),
      runs: [...w.querySelectorAll('.cc-text')].map((run) => {
        const s = getComputedStyle(run);
        return { text: run.textContent, box: percent(run.getBoundingClientRect()), color: s.color,
          background: s.backgroundColor, italic: s.fontStyle === 'italic', underline: s.textDecorationLine === 'underline',
          font: s.fontFamily };
      }),
    }));
  });
}

async function at(t) {
  await page.evaluate((time) => window.viewer.seek(time), t);
  return look();
}

const html = () => page.evaluate(() => document.querySelector('.cc-screen').outerHTML);
const near = (actual, expected, what) => assert.ok(Math.abs(actual - expected) < 0.3, `${what}: ${actual} is not ${expected}`);
const run = (screen, text) => screen.flatMap((w) => w.runs).find((r) => r.text.trim() === text);

test('708 demo: the windows shown, where their anchors put them, their pens and fill', async () => {
  await open('?file=demo.mcc');
  let screen = await at(7);
  assert.deepEqual(screen.map((w) => w.id), [0, 2], 'window 1 is toggled off, window 2 on');
  const [bottom, right] = screen;
  near((bottom.box.left + bottom.box.right) / 2, 50, 'window 0 bottom centre x');
  near(bottom.box.bottom, 90, 'window 0 bottom centre y');
  near(bottom.box.right - bottom.box.left, (32 / 42) * 100, 'window 0: 32 of 42 columns');
  near(bottom.box.bottom - bottom.box.top, (3 / 15) * 100, 'window 0: 3 of 15 rows');
  near(right.box.right, 95, 'window 2 middle right x');
  near((right.box.top + right.box.bottom) / 2, 50, 'window 2 middle right y');
  assert.equal(bottom.fill, 'rgb(0, 0, 0)');
  assert.deepEqual(right.lines, ['Window 2, centred', 'Café™ underlined']);
  for (const [text, color] of [['Window 2, centred', 'rgb(0, 255, 0)'], ['Café™ underlined', 'rgb(255, 0, 0)']]) {
    const r = run(screen, text);
    assert.deepEqual([r.color, r.underline, r.italic], [color, true, false], text);
    near((r.box.left + r.box.right) / 2, (right.box.left + right.box.right) / 2, `${text} is centred`);
    assert.match(r.font, /monospace/);
  }
  await page.check('#hidden');
  await page.screenshot({ path: path.join(SHOTS, '708-demo.png') });
  assert.deepEqual((await look()).map((w) => [w.id, w.hidden]), [[0, false], [1, true], [2, false]]);
  await page.uncheck('#hidden');

  screen = await at(8.5);
  assert.deepEqual(screen.map((w) => w.id), [0, 1]);
  const top = screen[1];
  near(top.box.left, 5, 'window 1 top left x');
  near(top.box.top, 5, 'window 1 top left y');
  assert.deepEqual(Object.values(run(screen, 'Window 1: italic yellow')).slice(2, 5), ['rgb(255, 255, 0)', 'rgb(0, 0, 0)', true]);
  assert.ok(!(await at(10.9))[0].lines.includes('Held back until the alarm'), 'the Delay holds the line back');
  assert.equal((await at(11.1))[0].lines.at(-1), 'Held back until the alarm', 'until its alarm, 2 s later');
  assert.equal(run(await at(14), 'Released by DelayCancel').color, 'rgb(0, 255, 255)');
  assert.deepEqual((await at(16)).map((w) => w.id), [1], 'window 0 hidden');
  assert.deepEqual(await at(17), [], 'every window deleted');
  await page.screenshot({ path: path.join(SHOTS, '708-demo-end.png') });
});

test('608 demo: the 15 by 32 grid, PAC rows and indents, colours, italics, underline', async () => {
  await open('?file=demo.scc&t=3.5');
  assert.equal(await page.evaluate(() => window.viewer.service), 'CC1');
  let screen = await look();
  assert.deepEqual(screen.map((w) => w.lines.map((l) => l.trim())), [['Pop-on captions appear whole', 'in yellow, italics underline.']]);
  const first = run(screen, 'Pop-on captions appear whole');
  near(first.box.top, (13 / 15) * 100, 'PAC row 13');
  near(first.box.left, (4 / 32) * 100, 'indent 4');
  assert.equal(first.color, 'rgb(255, 255, 255)', '608 white');
  assert.deepEqual([run(screen, 'in yellow,').color, run(screen, 'italics').italic, run(screen, 'underline.').underline],
    ['rgb(255, 255, 0)', true, true]);
  assert.equal(screen[0].fill, 'rgba(0, 0, 0, 0)', 'transparent window fill');
  await page.screenshot({ path: path.join(SHOTS, '608-demo-pop-on.png') });

  screen = await at(10.8);
  assert.deepEqual(screen[0].lines.map((l) => l.trim()), ['Roll-up captions scroll', 'one row at a time,']);
  near(screen[0].box.bottom, 100, 'roll-up rows end at row 14');
  screen = await at(17.5);
  near(run(screen, 'Paint-on text').box.top, (5 / 15) * 100, 'paint-on row 5');
  assert.equal(run(screen, 'shows as it is typed.').color, 'rgb(255, 0, 0)');
});

test('scrubbing back and forth shows what a straight run shows', async () => {
  for (const file of ['demo.mcc', 'demo.scc']) {
    await open(`?file=${file}`);
    const changes = await page.evaluate(() => window.viewer.timeline.changes.map((c) => c.time));
    const times = changes.flatMap((t, i) => [t, (t + (changes[i + 1] ?? t + 1)) / 2]);
    const straight = [];
    for (const t of times) {
      await page.evaluate((time) => window.viewer.seek(time), t);
      straight.push(await html());
    }
    const order = times.map((_, i) => i).sort((a, b) => ((a * 7919) % times.length) - ((b * 7919) % times.length));
    for (const i of order) {
      await page.evaluate((time) => window.viewer.seek(time), times[i]);
      assert.equal(await html(), straight[i], `${file} at ${times[i]}`);
    }
    // Playing, then a deep link to where it stopped.
    await page.evaluate(() => { window.viewer.seek(5.5); window.viewer.play(); });
    await page.waitForTimeout(700);
    const stopped = await page.evaluate(() => { window.viewer.pause(); return window.viewer.time; });
    const played = await html();
    await open(`?file=${file}&t=${stopped}`);
    assert.equal(await html(), played, `${file}: played to ${stopped}`);
  }
});

test('the change list jumps to a change; the log shows the callbacks of that moment', async () => {
  await open('?file=demo.mcc');
  const item = page.locator('#changes li', { hasText: 'Held back until the alarm' }).first();
  await item.click();
  const time = Number(await item.locator('time').textContent());
  assert.ok(Math.abs(await page.evaluate(() => window.viewer.time) - time) < 0.001);
  assert.match(await page.locator('#log').textContent(), /delayAlarmExpired/);
  assert.match(page.url(), /file=demo\.mcc&service=1&t=11\.0/, 'the address links to this moment');
  await page.evaluate(() => window.viewer.seek(9.1));
  assert.match(await page.locator('#log').textContent(), /setDelayAlarm2000 ms/);
});

// Features the demo files do not use, drawn from window records made here.
test('the drawing follows borders, edges, fonts, sizes, opacity, flash, justification and vertical text', async () => {
  await open('');
  const found = await page.evaluate(async () => {
    const { renderScreen } = await import('/render.js');
    const pen = (o = {}) => ({ pen_size: 1, font_style: 0, fg_color: 0x3f, fg_opacity: 0, bg_color: 0, bg_opacity: 0,
      edge_type: 0, edge_color: 0x30, italics: false, underline: false, pen_offset: 1, ...o });
    const run = (row, column, text, p = pen()) => ({ row, column, length: text.length, text, pen: p });
    const window = (id, style, segments, o = {}) => ({ id, priority: 0, visible: true, defined: true, relative_positioning: true,
      anchor_point: 0, anchor_vertical: 10 * id, anchor_horizontal: 0, row_count: 4, column_count: 20, segments, current_segment: null,
      style: { justify: 0, print_direction: 0, scroll_direction: 3, fill_color: 0x02, fill_opacity: 2, border_type: 0, border_color: 0x3c, ...style }, ...o });
    const windows = [
      window(0, { border_type: 1 }, [run(0, 0, 'raised', pen({ edge_type: 1 })), run(1, 0, 'small caps', pen({ font_style: 7 }))]),
      window(1, { border_type: 3, justify: 1 }, [run(0, 2, 'right', pen({ fg_opacity: 1, font_style: 2 })), run(1, 0, 'A\uf8feB', pen({ bg_opacity: 2 }))]),
      window(2, { border_type: 5, print_direction: 2, scroll_direction: 1 }, [run(0, 3, 'UP', pen({ pen_size: 2, edge_type: 3 }))]),
      window(3, {}, [], { relative_positioning: false, anchor_horizontal: 105, anchor_vertical: 0 }),
    ];
    const host = document.body.appendChild(document.createElement('div'));
    host.style.width = '1000px';
    host.appendChild(renderScreen(document, windows, { format: 708, aspect: '16:9' }));
    const [w0, w1, w2, w3] = [...host.querySelectorAll('.cc-window')];
    const css = (e) => getComputedStyle(e);
    const texts = (w) => [...w.querySelectorAll('.cc-text')];
    const box = (e) => e.getBoundingClientRect();
    const safe = box(host.querySelector('.cc-safe'));
    return {
      borders: [css(w0).outlineStyle, css(w1).outlineStyle, css(w2).boxShadow],
      raised: css(texts(w0)[0]).textShadow, smallCaps: css(texts(w0)[1]).fontVariantCaps,
      flash: css(texts(w1)[0]).animationName, serif: css(texts(w1)[0]).fontFamily,
      rightEdge: Math.round(box(texts(w1)[0]).right - box(w1).right),
      gap: w1.querySelectorAll('.cc-gap').length, translucent: css(texts(w1)[1]).backgroundColor,
      vertical: [...w2.querySelectorAll('.cc-cell')].map((c) => Math.round((box(c).top - box(w2).top) / (box(w2).height / 4))),
      verticalColumn: Math.round((box(texts(w2)[0]).left - box(w2).left) / (box(w2).width / 20)),
      large: parseFloat(css(texts(w2)[0]).fontSize) / parseFloat(css(texts(w0)[0]).fontSize),
      absolute: Math.round(((box(w3).left - safe.left) / safe.width) * 1000) / 10,
    };
  });
  assert.deepEqual(found.borders.slice(0, 2), ['outset', 'solid']);
  assert.match(found.borders[2], /rgb\(255, 255, 0\) \d/, 'right drop shadow border');
  assert.match(found.raised, /rgb\(255, 0, 0\)/, 'raised edge in the edge colour');
  assert.equal(found.smallCaps, 'small-caps');
  assert.equal(found.flash, 'cc-flash-fg');
  assert.match(found.serif, /serif$/);
  assert.equal(found.rightEdge, 0, 'right justified');
  assert.equal(found.gap, 1, 'a transparent space shows the window');
  assert.equal(found.translucent, 'rgba(0, 0, 0, 0.5)');
  assert.deepEqual(found.vertical, [0, 1], 'printed top to bottom');
  assert.equal(found.verticalColumn, 3, 'on its column');
  assert.equal(found.large, 1.25);
  assert.equal(found.absolute, 50, 'absolute anchor 105 of 210');
});

test('an unreadable file gets the reader\'s one-line complaint, a damaged one its warnings', async () => {
  await open('');
  const pick = (name, text) => page.setInputFiles('#open', { name, mimeType: 'text/plain', buffer: Buffer.from(text) });
  await pick('junk.bin', 'neither captions nor video');
  await page.waitForSelector('#status.error');
  assert.match(await page.locator('#status').textContent(), /^junk\.bin: /);
  await pick('broken.scc', 'Scenarist_SCC V1.0\n\nnot a timecode\n');
  await page.waitForFunction(() => document.querySelector('#warnings li'));
  assert.equal(await page.locator('#warnings li').textContent(), 'broken.scc:3: line does not start with a timecode');
});
