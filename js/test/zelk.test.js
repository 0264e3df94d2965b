// The package against the conformance vectors, the character sets of the platform, and what the standards say.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { describe, test } from 'node:test';

import { Code, Form, load, pack, Region } from '../zelk.js';

const zelk = await load();
const vectors = JSON.parse(readFileSync(new URL('../../vectors/annex-a.json', import.meta.url), 'utf8'));

const bytes = (...parts) =>
  Uint8Array.from(parts.flatMap((part) => (typeof part === 'string' ? [...Buffer.from(part)] : [part].flat())));
const fromHex = (hex) => Uint8Array.from(Buffer.from(hex, 'hex'));
const settingsOf = ({ charSet = 1, defaultCode = 18, flags = 0, ...rest }) => {
  assert.deepEqual(rest, {});
  return { region: charSet, defaultCode, keepEmphasis: (flags & 1) !== 0 };
};

// Offsets of the vectors are in bytes of UTF-8, those of the package in units.
const unitsOf = (text, offset, length) => {
  const utf8 = Buffer.from(text);
  return {
    textOffset: utf8.toString('utf8', 0, offset).length,
    textLength: utf8.toString('utf8', offset, offset + length).length,
  };
};

const bySettings = () => {
  const groups = new Map();
  for (const one of vectors.cases) {
    const key = JSON.stringify(one.settings);
    groups.set(key, [...(groups.get(key) ?? []), one]);
  }
  return groups;
};

describe('conformance vectors', () => {
  test('there are some', () => assert.ok(vectors.cases.length > 1000));

  test('each decodes to its text, alone', () => {
    for (const { id, bytes: hex, settings, text } of vectors.cases) {
      assert.equal(zelk.decode(fromHex(hex), settingsOf(settings)), text, id);
      assert.equal(Buffer.from(zelk.decodeToUtf8(fromHex(hex), settingsOf(settings))).toString(), text, id);
    }
  });

  test('each decodes to its text, among others', () => {
    for (const [settings, cases] of bySettings()) {
      const strings = cases.map((one) => fromHex(one.bytes));
      const options = settingsOf(JSON.parse(settings));
      assert.deepEqual(zelk.decodeAll(strings, options), cases.map((one) => one.text));
      const packed = pack(strings);
      const { bytes: utf8, ends } = zelk.decodePackedToUtf8(packed.bytes, packed.ends, options);
      let begin = 0;
      ends.forEach((end, i) => {
        assert.equal(Buffer.from(utf8.subarray(begin, end)).toString(), cases[i].text, cases[i].id);
        begin = end;
      });
    }
  });

  test('each is explained', () => {
    for (const { id, bytes: hex, settings, text, table, reason, findings } of vectors.cases) {
      const explained = zelk.explain(fromHex(hex), settingsOf(settings));
      assert.equal(explained.text, text, id);
      assert.equal(explained.tableName, table, id);
      assert.equal(explained.reason, reason, id);
      const expected = findings.map(({ kind, offset, length, textOffset, textLength, value }) => ({
        name: kind,
        offset,
        length,
        ...unitsOf(text, textOffset, textLength),
        value,
      }));
      const found = explained.findings.map(({ rule, severity, ...finding }) => finding);
      assert.deepEqual(found, expected, id);
    }
  });

  test('the steps of each cover it', () => {
    for (const { id, bytes: hex, settings, text } of vectors.cases) {
      const { steps, tableName } = zelk.explain(fromHex(hex), settingsOf(settings));
      if (tableName.includes('ompressed')) {
        continue; // by their bits
      }
      let at = 0;
      for (const { offset, length } of steps) {
        assert.equal(offset, at, id);
        at += length;
      }
      assert.equal(at, hex.length / 2, id);
      assert.equal(steps.map((step) => text.substr(step.textOffset, step.textLength)).join(''), text, id);
    }
  });
});

test('ISO 8859 is that of the platform', () => {
  // After its selector, all letters at once, where the platform has the same edition.
  for (const [selector, label] of [[0x01, 'iso-8859-5'], [0x09, 'iso-8859-13'], [0x0a, 'iso-8859-14'], [0x0b, 'iso-8859-15']]) {
    const upper = Array.from({ length: 0x5f }, (_, i) => 0xa1 + i);
    assert.equal(zelk.decode(bytes(selector, upper)), new TextDecoder(label).decode(bytes(upper)), label);
  }
});

test('two-byte text is UTF-16', () => {
  const units = Array.from({ length: 0x10000 }, (_, i) => i).filter(
    (unit) => unit >= 0x20 && !(unit >= 0x7f && unit < 0xa0) && !(unit >= 0xd800 && unit < 0xe000) &&
      !(unit >= 0xe080 && unit < 0xe0a0));
  const string = bytes(0x11, units.flatMap((unit) => [unit >> 8, unit & 0xff]));
  assert.equal(zelk.decode(string), units.map((unit) => String.fromCharCode(unit)).join(''));
  assert.equal(zelk.decode(bytes(0x11, 0xd8, 0x3d, 0xde, 0x00)), '\u{1F600}');
  assert.equal(zelk.decode(bytes(0x11, 0xd8, 0x3d, 0x00, 0x41)), '\uFFFDA');
  assert.equal(zelk.decode(bytes(0x15, '\uFEFFx')), '\uFEFFx');
});

test('a batch of any size decodes as its strings do', () => {
  const strings = Array.from({ length: 40_000 }, (_, i) =>
    i % 5 === 0
      ? bytes('News and weather '.slice(0, i % 18))
      : Uint8Array.from({ length: i % 37 }, (_, k) => (i * 7919 + k * 104729) % 251));
  const texts = zelk.decodeAll(strings);
  assert.equal(texts.length, strings.length);
  for (let i = 0; i < strings.length; i += 13) {
    assert.equal(texts[i], zelk.explain(strings[i]).text, Buffer.from(strings[i]).toString('hex'));
  }
  assert.deepEqual(zelk.decodeAll([]), []);
  assert.deepEqual(zelk.decodeAll([bytes()]), ['']);
});

// Large batches to UTF-16 keep characters that they met; those to UTF-8 do not.
test('a large batch decodes each pair of bytes as the library does', () => {
  const ofTable = Array.from({ length: 16 }, (_, table) => [0x10, 0, table]);
  const selectors = [[], ...Array.from({ length: 0x0b }, (_, i) => [i + 1]), ...ofTable];
  const pairs = Array.from({ length: 0x10000 }, (_, i) => [i >> 8, i & 0xff]);
  for (const [selector, settings] of [
    ...selectors.map((one) => [one, {}]),
    ...Object.values(Region).flatMap((region) => [[[], { region }], [[0x05], { region, keepEmphasis: true }]]),
    [[], { defaultCode: 7 }],
    [[], { defaultCode: 17 }],
  ]) {
    const strings = pack(pairs.map((pair) => Uint8Array.of(...selector, ...pair, 0x41)));
    const texts = zelk.decodePacked(strings.bytes, strings.ends, settings);
    const utf8 = zelk.decodePackedToUtf8(strings.bytes, strings.ends, settings);
    const about = JSON.stringify([selector, settings]);
    assert.ok(texts.join('') === Buffer.from(utf8.bytes).toString(), about);
    let end = 0;
    assert.ok(texts.every((text, i) => (end += Buffer.byteLength(text)) === utf8.ends[i]), about);
  }
});

test('a string does not see the next one', () => {
  // A mark in the last place composes with no letter of another string.
  assert.deepEqual(zelk.decodeAll([bytes('x', 0xc2), bytes('e')]), ['x\u00B4', 'e']);
  // Large batches are read as one string where they can be.
  const strings = [bytes(), bytes('a', 0xc8), bytes('e', 0xc8, 'a'), bytes(), bytes(0xc2, 'e'), bytes(0x05, 0xe9), bytes('i')];
  const texts = ['', 'a\u00A8', 'e\u00E4', '', '\u00E9', '\u00E9', 'i'];
  const many = (list) => Array.from({ length: 700 }, (_, i) => list[i % list.length]);
  assert.deepEqual(zelk.decodeAll(many(strings)), many(texts));
});

test('a batch of many megabytes decodes as its strings do', () => {
  const names = [bytes('Evening news'), bytes('S', 0xc8, 'udwest'), bytes(0x15, 'Zpr\u00E1vy'), bytes(0x11, 0, 0x41)];
  const strings = Array.from({ length: 400_000 }, (_, i) => names[(i * i) % 7 % names.length]);
  const expected = names.map((name) => zelk.explain(name).text);
  assert.ok(zelk.decodeAll(strings).every((text, i) => text === expected[names.indexOf(strings[i])]));
});

test('long and compressed strings grow the memory', () => {
  const long = new Uint8Array(3_000_000).fill(0x41);
  assert.equal(zelk.decode(long), 'A'.repeat(long.length));
  const expanding = bytes(0x1f, 1, Array.from({ length: 5000 }, () => 0xff));
  assert.equal(zelk.decode(expanding), zelk.explain(expanding).text);
  assert.ok(zelk.decode(expanding).length > 2 * expanding.length);
});

test('wrong arguments are refused', () => {
  assert.throws(() => zelk.decode('text'), TypeError);
  assert.throws(() => zelk.decode(bytes(), { region: 7 }), RangeError);
  assert.throws(() => zelk.decode(bytes('x'), { region: 7 }), RangeError);
  assert.throws(() => zelk.decode(bytes('x'), { defaultCode: -1 }), RangeError);
  assert.throws(() => zelk.decodePacked(bytes(1, 2), Uint32Array.of(3)), RangeError);
  assert.throws(() => zelk.decodePacked(bytes(1, 2), Uint32Array.of(2, 1)), RangeError);
  assert.throws(() => zelk.decodePacked(bytes(1, 2), [2]), TypeError);
  assert.throws(() => zelk.guess(bytes(1), { language: 'English' }), RangeError);
});

test('settings reach the decoder', () => {
  const loud = bytes('a', 0x86, 'b', 0x87);
  assert.equal(zelk.decode(loud), 'ab');
  assert.equal(zelk.decode(loud, { keepEmphasis: true }), 'a\u0086b\u0087');
  const cyrillic = [0xbd, 0xde]; // ISO 8859-5
  assert.equal(zelk.decode(bytes(cyrillic), { defaultCode: 5 }), 'Но');
  const { reason, text } = zelk.explain(bytes(0x05, cyrillic), { defaultCode: 5, ignoreSelector: true, overridden: true });
  assert.deepEqual([reason, text], ['override', 'Но']);
});

test('lint names what is wrong', () => {
  assert.deepEqual(zelk.lint(bytes('Caf', 0xc3, 0xa9)).map((fault) => fault.name), ['mark-without-letter', 'utf8-unannounced']);
  assert.deepEqual(
    zelk.lint(bytes(0x05, 'News')).map((fault) => [fault.name, fault.offset, fault.length]),
    [['selector-needless', 0, 1]]);
  assert.deepEqual(zelk.lint(bytes('News')), []);
  assert.ok(zelk.rules.length > 20);
  for (const rule of zelk.rules) {
    assert.match(rule.name, /^[a-z0-9-]+$/);
    assert.match(rule.meaning, /\.$/);
    assert.ok(['note', 'warning', 'error'].includes(rule.severity));
  }
});

test('guess finds the table of unannounced text', () => {
  const text = 'Réalisé par des élèves, à la télé';
  const [best] = zelk.guess(Uint8Array.from(Buffer.from(text, 'latin1')), { language: 'fre' });
  assert.equal(best.language, 'fre');
  assert.equal(best.announced, false);
  assert.equal(best.tableName, 'ISO 8859-1');
  assert.ok(best.confidence > 0.5 && best.confidence <= 1);
});

test('encode says what decode reads', () => {
  for (const text of ['News', 'Příběhy z dílny', 'Вечерние вести', 'Γαλάζιο Κανάλι', '海岸一台', 'a \u{1F600} b', '']) {
    const encoded = zelk.encode(text);
    assert.equal(zelk.decode(encoded.bytes), text);
    assert.equal(encoded.unsaid, 0);
    assert.equal(encoded.used, text.length);
  }
  assert.deepEqual([...zelk.encode('Но', { forms: Form.default << 5 }).bytes], [0x01, 0xbd, 0xde]);
  assert.deepEqual([...zelk.encode('é', { forms: Form.utf8 }).bytes], [0x15, 0xc3, 0xa9]);
  const ascii = zelk.encode('a海b', { forms: Form.default });
  assert.deepEqual([Buffer.from(ascii.bytes).toString(), ascii.unsaid, ascii.firstUnsaid], ['a?b', 1, 1]);
  const cut = zelk.encode('Programme', { limit: 4 });
  assert.deepEqual([Buffer.from(cut.bytes).toString(), cut.used], ['Prog', 4]);
  assert.equal(zelk.encode('x', { region: Region.iso8859_15 }).code, Code.default);
});

test('sort is by letters, then accents, then case', () => {
  assert.deepEqual(
    zelk.sort(['Zorro', 'étude', 'Eva', 'eva', 'Étude', 'Etude']),
    ['Etude', 'Étude', 'étude', 'Eva', 'eva', 'Zorro']);
  assert.deepEqual(zelk.sort(['BBC 10', 'BBC 2'], { natural: true }), ['BBC 2', 'BBC 10']);
  assert.deepEqual(zelk.sort([{ n: 'b' }, { n: 'a' }], { by: (entry) => entry.n }), [{ n: 'a' }, { n: 'b' }]);
  assert.ok(zelk.compare('Arte', 'ARD') > 0);
  assert.equal(zelk.compare('BBC 1', 'BBC1'), 0);
  assert.ok(Buffer.compare(zelk.sortKey('Arte'), zelk.sortKey('ARD')) > 0);
});

test('wildcards match', () => {
  assert.ok(zelk.matches('BBC One HD', 'BBC*HD'));
  assert.ok(!zelk.matches('BBC One', 'bbc*'));
  assert.ok(zelk.matches('ΓΑΛΆΖΙΟ', 'γαλ*', { ignoreCase: true }));
  assert.ok(zelk.matches('a\tb', 'ab', { ignoreControls: true }));
  assert.equal(zelk.fold('Straße'), 'strasse');
});

test('an instance of a compiled module', async () => {
  const module = new WebAssembly.Module(readFileSync(new URL('../zelk.wasm', import.meta.url)));
  assert.equal((await load(module)).decode(bytes('News')), 'News');
});
