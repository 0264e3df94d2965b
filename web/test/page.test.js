// The built page in a browser, opened from the disk as anybody would: what it shows, what it saves, how it is used
// without a mouse, and what axe says of it. Screenshots go to the folder in ZELK_SCREENSHOTS.
import assert from 'node:assert/strict';
import { createWriteStream, mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import path from 'node:path';
import { after, before, describe, test } from 'node:test';
import { fileURLToPath, pathToFileURL } from 'node:url';
import { gzipSync } from 'node:zlib';

import { chromium } from 'playwright-core';
import typescript from 'typescript';

const folder = fileURLToPath(new URL('..', import.meta.url));
const pageFile = path.join(folder, 'dist/index.html');
const sample = path.join(folder, '../samples/multiplex.ts');
const expected = JSON.parse(readFileSync(path.join(folder, '../samples/multiplex.expected.json'), 'utf8'));
const { outputText } = typescript.transpileModule(readFileSync(path.join(folder, 'src/stream.ts'), 'utf8'), {
  compilerOptions: { target: 'es2022', module: 'esnext' },
});
const { crc32, fromHex, kindOf, newListing, readSection } = await import(
  `data:text/javascript;base64,${Buffer.from(outputText).toString('base64')}`);
const axe = readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
const screenshots = process.env.ZELK_SCREENSHOTS;

let browser;
let temporary;
const faults = [];

before(async () => {
  temporary = mkdtempSync(path.join(tmpdir(), 'zelk-page-'));
  browser = await chromium.launch({
    executablePath: process.env.ZELK_CHROMIUM ?? '/usr/bin/chromium',
    args: process.getuid?.() === 0 ? ['--no-sandbox'] : [],
  });
});
after(async () => {
  await browser?.close();
  rmSync(temporary, { recursive: true, force: true });
});

async function open({ hash = '', ...options } = {}) {
  const context = await browser.newContext({ viewport: { width: 1100, height: 900 }, ...options });
  const page = await context.newPage();
  page.setDefaultTimeout(60_000);
  page.on('pageerror', (error) => faults.push(String(error)));
  page.on('console', (message) => message.type() === 'error' && faults.push(message.text()));
  page.on('request', (request) => {
    if (!/^(file|blob|data):/.test(request.url())) {
      faults.push(`asks for ${request.url()}`);
    }
  });
  await page.goto(pathToFileURL(pageFile) + hash);
  await page.waitForSelector('[data-ready]');
  return page;
}

async function openFile(page, file = sample) {
  await page.setInputFiles('#file', file);
  await page.waitForSelector('#services, #strings');
}

// Without violations, and no wider than the window. The state is kept as a picture.
async function check(page, name) {
  await page.evaluate(axe);
  const { violations } = await page.evaluate('axe.run(document, { resultTypes: ["violations"] })');
  const said = violations.map(({ id, nodes }) => `${id}: ${nodes.slice(0, 3).map((node) => node.html).join(' ')}`);
  assert.deepEqual(said, [], name);
  const [width, room] = await page.evaluate(() => [document.documentElement.scrollWidth, innerWidth]);
  assert.ok(width <= room, `${name}: ${width} of ${room}`);
  if (screenshots !== undefined) {
    await page.screenshot({ path: path.join(screenshots, `${name}.png`), fullPage: true });
  }
}

const cells = (page, table, column) =>
  page.$$eval(`#${table} tbody tr`, (rows, at) => rows.map((row) => row.children[at].textContent), column);

describe('the file', () => {
  const page = readFileSync(pageFile, 'utf8');

  test('has a small script', () => {
    const [, script] = /<script id="app">(.*?)<\/script>/s.exec(page);
    assert.ok(gzipSync(script, { level: 9 }).length <= 20_000);
  });

  test('has a strict policy and nothing beside it', () => {
    const [, policy] = /http-equiv="Content-Security-Policy" content="([^"]*)"/.exec(page);
    assert.match(policy, /^default-src 'none'; script-src 'sha256-[^']+' 'wasm-unsafe-eval'; style-src 'sha256-[^']+'; /);
    assert.doesNotMatch(policy, /unsafe-inline|unsafe-eval'(?<!wasm-unsafe-eval')|https?:|\*/);
    assert.doesNotMatch(page, /<(?:script|link|img)[^>]*(?:src|href)="(?!data:)/);
  });
});

describe('reading', () => {
  test('hexadecimal in every form', () => {
    for (const text of ['0A1bff', '0a 1B FF', '0x0A, 0x1B, 0xFF', '\\x0a\\x1b\\xff', '0a:1b:ff']) {
      assert.deepEqual([...fromHex(text)], [0x0a, 0x1b, 0xff], text);
    }
    assert.equal(fromHex('0a1'), undefined);
    assert.equal(fromHex('News'), undefined);
  });

  test('the CRC is that of the standard', () => {
    // The check value of CRC-32/MPEG-2.
    assert.equal(crc32(Buffer.from('123456789')), 0x0376e6e7);
  });

  test('programs and bouquets are read', () => {
    // A section of so many bytes, with its CRC.
    const withCrc = (...head) => {
      const section = new Uint8Array(head.length + 4);
      section.set(head);
      new DataView(section.buffer).setUint32(head.length, crc32(section.subarray(0, head.length)));
      return section;
    };
    const listing = newListing();
    // ISO/IEC 13818-1, 2.4.4.3: stream 7 with its network information and the programs 258 and 3.
    assert.ok(readSection(
      withCrc(0x00, 0xb0, 21, 0, 7, 0xc1, 0, 0, 0, 0, 0xe0, 0x10, 1, 2, 0xe1, 0, 0, 3, 0xe1, 1), listing));
    assert.deepEqual([...listing.programs].map(([stream, programs]) => [stream, ...programs]), [[7, 258, 3]]);
    // ETSI EN 300 468, 5.2.2 and 6.2.4: bouquet 513 "Hi".
    assert.ok(readSection(
      withCrc(0x4a, 0xf0, 17, 2, 1, 0xc1, 0, 0, 0xf0, 4, 0x47, 2, 0x48, 0x69, 0xf0, 0), listing));
    assert.deepEqual([...listing.bouquets], [[513, Uint8Array.of(0x48, 0x69)]]);
    assert.equal(listing.networks.size, 0);
  });

  test('hostile sections end in order', () => {
    for (let round = 0; round < 20_000; ++round) {
      const length = 12 + ((round * 7919) % 80);
      const body = Uint8Array.from({ length }, (_, i) => (round * 31 + i * i * 17 + ((round >> 3) * i)) & 0xff);
      body[0] = [0x40, 0x42, 0x46, 0x4e, 0x50, 0x6f, 0x00, 0x4a][round % 8];
      body[5] |= 1;
      const section = new Uint8Array(length + 4);
      section.set(body);
      new DataView(section.buffer).setUint32(length, crc32(body));
      const listing = newListing();
      assert.equal(readSection(section, listing), true);
      assert.equal(listing.sections, 1);
      section[length] ^= 1;
      assert.equal(readSection(section, listing), false);
    }
  });

  test('files are told apart', () => {
    assert.equal(kindOf(readFileSync(sample).subarray(0, 4096)), 'stream');
    assert.equal(kindOf(Buffer.from('4E657773\n05 4e\n')), 'lines');
    assert.equal(kindOf(Buffer.from([0x42, 0xf0, 0x11, 0x00])), 'sections');
  });
});

describe('a string', () => {
  test('is shown with what its bytes did', async () => {
    const page = await open();
    await check(page, 'empty');
    await page.fill('#source', '41 C2 65 8A 80 C8 31');
    assert.equal(await page.textContent('#text'), 'Aé↵¨1');
    assert.equal(await page.locator('.bytes button').count(), 7);
    assert.deepEqual(
      await page.$$eval('.bytes button', (all) => all.map((one) => /is-(\w+)/.exec(one.className)[1])),
      ['text', 'mark', 'text', 'control', 'dropped', 'text', 'text']);
    assert.deepEqual(await page.$$eval('.findings a', (all) => all.map((one) => one.textContent)),
      ['control-dropped', 'mark-without-letter']);
    // By the keyboard: one stop for all bytes, arrows between them.
    await page.focus('.bytes button[tabindex="0"]');
    await page.keyboard.press('ArrowRight');
    await page.keyboard.press('ArrowRight');
    assert.match(await page.textContent('#detail'), /Byte 2: gives a character\. U\+00E9/);
    await page.keyboard.press('End');
    await page.keyboard.press('ArrowLeft');
    assert.match(await page.textContent('#detail'), /mark-without-letter.*ISO\/IEC 6937/);
    await check(page, 'string');
    // A finding leads to its rule.
    await page.click('.findings a >> nth=1');
    assert.equal(await page.evaluate(() => document.activeElement.id), 'rule-mark-without-letter');
    await check(page, 'rules');
    await page.context().close();
  });

  test('is in the link', async () => {
    const page = await open({ hash: '#hex=03cddde1&region=0' });
    assert.equal(await page.textContent('#text'), 'Νέα');
    await page.fill('#source', '05 43 61 66 E9');
    const again = await open({ hash: new URL(page.url()).hash });
    assert.equal(await again.textContent('#text'), 'Café');
    assert.equal(await again.inputValue('#region'), '0');
    await page.context().close();
    await again.context().close();
  });

  test('is encoded from text, and another table is offered', async () => {
    const page = await open();
    await page.fill('#source', 'Вести');
    assert.equal(await page.textContent('#text'), 'Вести');
    assert.equal(await page.textContent('#encoded'), '01 B2 D5 E1 E2 D8'); // ISO 8859-5
    const title = Buffer.from('Réalisé par des élèves', 'latin1').toString('hex');
    await page.fill('#source', title);
    const rows = await page.$$eval('.every tbody tr', (all) => all.map((row) => [...row.children].map((c) => c.textContent)));
    assert.equal(rows[0][1], 'Réalisé par des élèves');
    assert.match(rows[0][0], /^ISO 8859-(1|9|15)/);
    assert.ok(rows.length > 15);
    await page.selectOption('#form-of', 'hex');
    await page.fill('#source', 'News');
    assert.match(await page.textContent('#status'), /not hexadecimal/);
    await page.context().close();
  });

  test('of right-to-left text, narrow and dark', async () => {
    const page = await open({ hash: '#hex=02c7e4c3cec8c7d1', viewport: { width: 360, height: 800 }, colorScheme: 'dark' });
    assert.equal(await page.textContent('#text'), new TextDecoder('iso-8859-6').decode(Buffer.from('c7e4c3cec8c7d1', 'hex')));
    assert.equal(await page.$eval('#text', (element) => getComputedStyle(element).direction), 'rtl');
    await check(page, 'string-narrow-dark');
    await page.context().close();
  });
});

describe('a stream', () => {
  test('is listed as the tool lists it', async () => {
    const page = await open({ acceptDownloads: true });
    await openFile(page);
    await check(page, 'stream');
    const [download] = await Promise.all([page.waitForEvent('download'), page.click('button:text-is("JSON")')]);
    const { networks, bouquets, services, events } = JSON.parse(readFileSync(await download.path(), 'utf8'));
    const plain = ({ faults: found, ...rest }) => {
      assert.ok(Array.isArray(found));
      return rest;
    };
    // The tool says more of each.
    const part = (list, members) =>
      list.map((entry) => Object.fromEntries(members.map((member) => [member, entry[member] ?? ''])));
    const members = (list) => Object.keys(plain(list[0]));
    const sorted = (list) => list.map((entry) => JSON.stringify(Object.entries(entry).sort())).sort();
    assert.deepEqual(sorted(networks.map(plain)), sorted(expected.networks));
    assert.deepEqual(sorted(bouquets.map(plain)), sorted(expected.bouquets));
    assert.deepEqual(
      (await cells(page, 'networks', 1)).sort(), [...bouquets.map(() => 'bouquet'), ...networks.map(() => 'network')]);
    assert.deepEqual(sorted(services.map(plain)), sorted(part(expected.services, members(services))));
    assert.deepEqual(
      sorted(events.map(plain)),
      sorted(part(expected.events, members(events))));
    await page.context().close();
  });

  test('is saved as CSV, XMLTV and SARIF', async () => {
    const page = await open({ acceptDownloads: true });
    await openFile(page);
    const saved = {};
    for (const name of ['CSV', 'XMLTV', 'SARIF']) {
      const [download] = await Promise.all([page.waitForEvent('download'), page.click(`button:text-is("${name}")`)]);
      saved[name] = readFileSync(await download.path(), 'utf8');
    }
    const rows = saved.CSV.match(/(?:"(?:[^"]|"")*",?)+\r\n/g);
    assert.equal(rows.join(''), saved.CSV);
    assert.equal(rows.length, 1 + expected.services.length + expected.events.length);
    const titles = await page.evaluate((xml) => {
      const tv = new DOMParser().parseFromString(xml, 'application/xml');
      return [tv.querySelectorAll('parsererror').length, tv.querySelectorAll('channel').length,
        [...tv.querySelectorAll('programme title')].map((title) => title.textContent)];
    }, saved.XMLTV);
    assert.deepEqual(titles.slice(0, 2), [0, expected.services.length]);
    assert.deepEqual(titles[2].sort(), expected.events.map(({ name }) => name).sort());
    const sarif = JSON.parse(saved.SARIF);
    assert.equal(sarif.version, '2.1.0');
    const [{ tool, results }] = sarif.runs;
    const rules = new Set(tool.driver.rules.map(({ id }) => id));
    assert.ok(results.length > 0 && results.every(({ ruleId }) => rules.has(ruleId)));
    await page.context().close();
  });

  test('sorts and filters', async () => {
    const page = await open();
    await openFile(page);
    const names = await cells(page, 'services', 0);
    assert.equal(names.length, expected.services.length);
    // The order of ICU, of names whose letters both place alike.
    const collator = new Intl.Collator('und', { ignorePunctuation: true, numeric: true });
    const shared = names.filter((name) => /^[a-zA-Zéèíóúüöäčšžāēīūñç0-9 ]+$/.test(name));
    assert.ok(shared.length > 20);
    assert.deepEqual(shared, [...shared].sort(collator.compare));
    await page.click('#services th:first-child button');
    assert.deepEqual(await cells(page, 'services', 0), names.reverse());
    assert.equal(await page.getAttribute('#services th:first-child', 'aria-sort'), 'descending');
    await page.fill('#services-filter', 'HARBOUR*');
    assert.deepEqual((await cells(page, 'services', 0)).sort(), ['Harbour One', 'Harbour Two']);
    await page.fill('#services-filter', 'ΚΑΝΆΛΙ');
    assert.deepEqual(await cells(page, 'services', 0), ['Γαλάζιο Κανάλι']);
    await page.fill('#services-filter', '');
    await page.check('#services-faults');
    const faulty = await page.$$eval('#services tbody tr', (rows) => rows.map((row) => row.querySelectorAll('.fault').length));
    assert.ok(faulty.length > 0 && faulty.length < names.length && faulty.every((count) => count > 0));
    // A name leads to its bytes, and back.
    await page.uncheck('#services-faults');
    await page.click('#services a:text-is("Γαλάζιο Κανάλι")');
    await page.waitForSelector('.bytes');
    assert.equal(await page.textContent('#text'), 'Γαλάζιο Κανάλι');
    await page.goBack();
    await page.waitForSelector('#services');
    await page.context().close();
  });

  test('has a schedule', async () => {
    const page = await open({ reducedMotion: 'reduce' });
    await openFile(page);
    const line = page.locator('#schedule tr', { hasText: 'Harbour One' });
    assert.deepEqual(
      await line.locator('.programme bdi').allTextContents(),
      expected.events.filter(({ service, start }) => service === 101 && start < '2026-03-01T21:00:00Z').map(({ name }) => name));
    assert.equal(await page.locator('button:text-is("Earlier")').isDisabled(), true);
    const boxes = await line.locator('li').evaluateAll((items) => items.map((item) => item.getBoundingClientRect().toJSON()));
    boxes.slice(1).forEach((box, i) => assert.ok(box.left >= boxes[i].right - 1));
    assert.equal(await page.$eval('html', (html) => getComputedStyle(html).scrollBehavior), 'auto');
    await page.context().close();
  });

  test('fits a narrow window in the dark', async () => {
    const page = await open({ viewport: { width: 360, height: 800 }, colorScheme: 'dark' });
    await openFile(page);
    await check(page, 'stream-narrow-dark');
    await page.context().close();
  });

  test('can be dropped', async () => {
    const page = await open();
    const bytes = readFileSync(sample).toString('base64');
    await page.evaluate((content) => {
      const transfer = new DataTransfer();
      const data = Uint8Array.from(atob(content), (character) => character.charCodeAt(0));
      transfer.items.add(new File([data], 'dropped.ts'));
      document.getElementById('drop').dispatchEvent(new DragEvent('drop', { dataTransfer: transfer, bubbles: true }));
    }, bytes);
    await page.waitForSelector('#services');
    await page.context().close();
  });

  test('of hundreds of megabytes can be cancelled, and read', async () => {
    const large = path.join(temporary, 'large.ts');
    const other = Buffer.alloc(188, 0xff);
    other.set([0x47, 0x1f, 0xff, 0x10]); // packets without a use, as most of a stream are to the reader
    const packets = readFileSync(sample);
    const block = Buffer.concat([packets, ...Array.from({ length: 50 * packets.length / 188 }, () => other)]);
    const out = createWriteStream(large);
    for (let written = 0; written < 200e6; written += block.length) {
      if (!out.write(block)) {
        await new Promise((resolve) => out.once('drain', resolve));
      }
    }
    await new Promise((resolve) => out.end(resolve));
    const page = await open();
    await page.setInputFiles('#file', large);
    await page.waitForFunction(() => document.getElementById('bar').value > 0);
    await page.click('#cancel');
    assert.equal(await page.textContent('#status'), 'Cancelled.');
    assert.equal(await page.isHidden('#progress'), true);
    assert.equal(await page.locator('#services').count(), 0);
    await page.setInputFiles('#file', large);
    await page.waitForSelector('#services', { timeout: 300_000 });
    assert.equal((await cells(page, 'services', 0)).length, expected.services.length);
    await page.context().close();
  });
});

describe('other files', () => {
  test('lines of hexadecimal', async () => {
    const file = path.join(temporary, 'strings.txt');
    writeFileSync(file, '4E657773\n05 43 61 66 E9\n\nnot one\n43 61 66 C3 A9\n');
    const page = await open();
    await openFile(page, file);
    // C3 is a mark before no letter in the default table, A9 a quotation mark.
    assert.deepEqual(await cells(page, 'strings', 0), ['1', '2', '5']);
    assert.deepEqual((await cells(page, 'strings', 1)).slice(0, 2), ['News', 'Café']);
    assert.match((await cells(page, 'strings', 2))[2], /utf8-unannounced/);
    await check(page, 'lines');
    await page.context().close();
  });

  test('what is none', async () => {
    const file = path.join(temporary, 'picture.bin');
    writeFileSync(file, Buffer.from(Array.from({ length: 5000 }, (_, i) => (i * i) & 0xff)));
    const page = await open();
    await page.setInputFiles('#file', file);
    await page.waitForFunction(() => document.getElementById('status').textContent !== '');
    assert.match(await page.textContent('#status'), /no service information/);
    await page.context().close();
  });
});

test('nothing went wrong on the way, and nothing was asked for', () => assert.deepEqual(faults, []));
