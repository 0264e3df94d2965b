// The interface over one instance of the module: strings and arrays of JavaScript in, plain objects out.
//
// Every call copies its input to one stretch of the module's memory, which grows to what the largest call needed, and
// what comes out is copied from there. The layouts of records are those of zelk_insight.h with 32-bit pointers;
// module.cpp checks their sizes.

/** The regional setting of a receiver: what a selector stands for that names no table. */
export const Region = Object.freeze({
  iso8859_9: 0,
  standard: 1,
  iso8859_2: 2,
  iso8859_7: 3,
  iso8859_9Alt: 4,
  iso8859_15: 5,
  gb2312: 6,
});

/** What a string is coded in, as its selector says; 1 to 16 are ISO 8859-1 to -16. */
export const Code = Object.freeze({
  default: 0,
  none: 18,
  prepared: 19,
  twoByte: 20,
  utf8: 21,
  compressed: 22,
});

/** The forms that encode() may use, a bit each; 1 << n is ISO 8859-n. */
export const Form = Object.freeze({
  default: 1 << 0,
  twoByte: 1 << 20,
  utf8: 1 << 21,
  compressed1: 1 << 22,
  compressed2: 1 << 23,
  standard: 0x30efff,
});

const severities = ['note', 'warning', 'error'];
const reasons = ['default', 'default-code', 'selector', 'region', 'override', 'guess'];
const stepKinds = ['selector', 'text', 'mark', 'control', 'dropped', 'unassigned', 'piece', 'end'];

const optionBits = { ignoreSelector: 1, overridden: 2, guess: 4 };
const settingsBytes = 20;
const evidenceBytes = 52;
const findingWords = 7;
const stepWords = 10;
const guessBytes = 16;
const mostGuesses = 32;
const encodedWords = 8;

const stringsInChunk = 1 << 17;
const bytesInChunk = 5 << 18; // most texts of so many bytes have a million units: Node.js keeps them outside of its heap
const blockBytes = 16; // what batches read and write beyond
const mostInput = 0x2000000; // so that every size stays a number of 31 bits
const unitsAtOnce = 1 << 12;

const utf8Encoder = new TextEncoder();
const utf8Decoder = new TextDecoder('utf-8', { ignoreBOM: true });
const utf16Decoder = new TextDecoder('utf-16le', { ignoreBOM: true });
const nodeBuffer = globalThis.Buffer;

function checked(value, lowest, highest, name) {
  if (!Number.isInteger(value) || value < lowest || value > highest) {
    throw new RangeError(`${name} is ${value}: expected ${lowest} to ${highest}`);
  }
  return value;
}

function bytesOf(value) {
  if (!(value instanceof Uint8Array)) {
    throw new TypeError('a DVB string is a Uint8Array');
  }
  if (value.length > mostInput) {
    throw new RangeError(`a string has at most ${mostInput} bytes`);
  }
  return value;
}

// A function of its own, for variables of a closure take longer.
function slicesOf(all, ends, to, place) {
  const count = ends.length;
  let begin = 0;
  for (let i = 0; i < count; ++i) {
    const end = ends[i];
    to[place + i] = all.slice(begin, end);
    begin = end;
  }
}

// How many strings from `from` on make a chunk, at least one; the first begins at `begin`, and all end within `length`.
function stringsThatFit(ends, from, begin, length) {
  const stop = Math.min(from + stringsInChunk, ends.length);
  const limit = Math.min(begin + bytesInChunk, length, 0xffffffff) >>> 0; // unsigned, as `ends`: others take longer
  let last = begin >>> 0;
  let i = from;
  for (; i < stop; ++i) {
    const end = ends[i];
    if (end < last || end > limit) {
      break;
    }
    last = end;
  }
  if (i !== from) {
    return i - from;
  }
  const end = ends[from];
  if (end < begin || end > length || end - begin > mostInput) {
    throw new RangeError(`string ${from} ends at ${end}`);
  }
  return 1;
}

export class Zelk {
  #exports;
  #memory;
  #place = 0;
  #room = 0;
  #settingsPlace;
  #lastSettings;
  #names = new Map();

  /** @param {WebAssembly.Instance} instance of zelk.wasm, not used before */
  constructor(instance) {
    this.#exports = instance.exports;
    this.#memory = instance.exports.memory;
    this.#exports._initialize();
    this.#settingsPlace = this.#exports.malloc(settingsBytes);
  }

  /** Every function and table of the two C headers, for what this class has no method for. */
  get exports() {
    return this.#exports;
  }

  // ---- Memory

  // The beginning of at least `bytes` of memory, whose contents are not kept from call to call.
  #reserve(bytes) {
    if (bytes > this.#room) {
      this.#exports.free(this.#place);
      this.#place = this.#exports.malloc(bytes);
      this.#room = this.#place === 0 ? 0 : bytes;
      if (this.#place === 0) {
        throw new RangeError(`no memory for ${bytes} bytes`);
      }
    }
    return this.#place;
  }

  #bytes(place, length) {
    return new Uint8Array(this.#memory.buffer, place, length);
  }

  #words(place, count) {
    return new Uint32Array(this.#memory.buffer, place, count);
  }

  // Copies a string with zeros after it: a mark in the last place looks at the byte after it.
  #put(place, bytes) {
    const to = this.#bytes(place, bytes.length + 4);
    to.set(bytes);
    to.fill(0, bytes.length);
  }

  // Copies a text as UTF-8 and a zero. Returns the bytes of the text; the room is three for each unit and one.
  #putText(place, text) {
    const { written } = utf8Encoder.encodeInto(text, this.#bytes(place, 3 * text.length));
    this.#bytes(place + written, 1)[0] = 0;
    return written;
  }

  #text(place, length) {
    return utf8Decoder.decode(this.#bytes(place, length));
  }

  #constant(place) {
    const bytes = new Uint8Array(this.#memory.buffer);
    return this.#text(place, bytes.indexOf(0, place) - place);
  }

  #settings(settings = {}) {
    const words = this.#words(this.#settingsPlace, settingsBytes / 4);
    words[0] = checked(settings.region ?? Region.standard, 0, 6, 'region');
    words[1] = checked(settings.defaultCode ?? Code.none, 0, 22, 'defaultCode');
    words[2] = checked(settings.defaultExtra ?? 0, 0, 6, 'defaultExtra');
    words[3] = settings.keepEmphasis ? 1 : 0;
    words[4] = 0;
    for (const option in optionBits) {
      words[4] |= settings[option] ? optionBits[option] : 0;
    }
    return this.#settingsPlace;
  }

  // A short text is made of its units at once.
  #fromUtf16(place, units) {
    if (units > unitsAtOnce) {
      const bytes = this.#bytes(place, 2 * units);
      // The buffer's own method copies units; a decoder looks at each of them.
      return nodeBuffer?.prototype.ucs2Slice?.call(bytes, 0, bytes.length) ?? utf16Decoder.decode(bytes);
    }
    return String.fromCharCode.apply(null, new Uint16Array(this.#memory.buffer, place, units));
  }

  // ---- Decode

  /** Decodes a DVB string. */
  decode(bytes, settings) {
    bytesOf(bytes);
    return this.decodePacked(bytes, Uint32Array.of(bytes.length), settings)[0];
  }

  /** Decodes a DVB string to UTF-8. */
  decodeToUtf8(bytes, settings) {
    bytesOf(bytes);
    return this.decodePackedToUtf8(bytes, Uint32Array.of(bytes.length), settings).bytes;
  }

  /** Decodes many DVB strings. */
  decodeAll(strings, settings) {
    const { bytes, ends } = pack(strings);
    return this.decodePacked(bytes, ends, settings);
  }

  /** Decodes DVB strings that lie one after the other; string i ends before ends[i]. */
  decodePacked(bytes, ends, settings) {
    const texts = new Array(ends.length);
    let filled = 0;
    this.#decodeChunks(bytes, ends, settings, this.#exports.zelkBatchToUtf16, 2, (place, textEnds, count) => {
      slicesOf(this.#fromUtf16(place, textEnds[count - 1]), textEnds, texts, filled);
      filled += count;
    });
    return texts;
  }

  /** As decodePacked(), to UTF-8 texts that lie one after the other. */
  decodePackedToUtf8(bytes, ends, settings) {
    let out = new Uint8Array(bytes.length + (bytes.length >> 2) + blockBytes);
    const outEnds = new Uint32Array(ends.length);
    let filled = 0;
    let written = 0;
    this.#decodeChunks(bytes, ends, settings, this.#exports.zelkBatchToUtf8, 1, (place, textEnds, count) => {
      const length = textEnds[count - 1];
      if (written + length > out.length) {
        const larger = new Uint8Array(2 * (written + length));
        larger.set(out.subarray(0, written));
        out = larger;
      }
      out.set(this.#bytes(place, length), written);
      for (let i = 0; i < count; ++i) {
        outEnds[filled++] = written + textEnds[i];
      }
      written += length;
    });
    return { bytes: out.slice(0, written), ends: outEnds };
  }

  // Calls take(place of the texts, their ends, count) for chunks of strings.
  #decodeChunks(bytes, ends, settings, decode, unitBytes, take) {
    if (!(bytes instanceof Uint8Array) || !(ends instanceof Uint32Array)) {
      throw new TypeError('packed strings are a Uint8Array and a Uint32Array of where they end');
    }
    const { length } = bytes;
    let from = 0;
    let begin = 0;
    let least = 0; // the room that the string at `from` asks for
    while (from < ends.length) {
      const count = stringsThatFit(ends, from, begin, length);
      const last = ends[from + count - 1];
      const size = Math.max(3 * (last - begin) + 8, least);
      const inBytes = (last - begin + blockBytes + 3) & ~3;
      const outBytes = ((unitBytes === 2 ? 3 : 1) * size + 2 * blockBytes + 3) & ~3;
      const inPlace = this.#reserve(inBytes + outBytes + 8 * count);
      const settingsPlace = this.#settings(settings);
      const outPlace = inPlace + inBytes;
      const endsPlace = outPlace + outBytes;
      const textEndsPlace = endsPlace + 4 * count;
      this.#put(inPlace, bytes.subarray(begin, last));
      this.#words(endsPlace, count).set(ends.subarray(from, from + count));
      const done = decode(settingsPlace, inPlace, begin, endsPlace, count, outPlace, size, textEndsPlace);
      if (done === 0) {
        // Compressed text grows more than others.
        least = 24 * (ends[from] - begin) + 64;
        continue;
      }
      take(outPlace, this.#words(textEndsPlace, done), done);
      from += done;
      begin = ends[from - 1];
      least = 0;
    }
  }

  // ---- Evidence

  /** Decodes a DVB string and says what each of its bytes did. */
  explain(bytes, settings) {
    bytesOf(bytes);
    const { length } = bytes;
    const first = this.#reserve(length + 4);
    this.#put(first, bytes);
    const outSize = this.#exports.zelkInsightDecodeSize(this.#settings(settings), first, length);
    const out = (length + 11) & ~7;
    const evidence = (out + outSize + 7) & ~7;
    const findings = evidence + 56;
    // Counts without room for any, then stores.
    const run = (findingRoom, stepRoom) => {
      const steps = findings + 4 * findingWords * findingRoom;
      const begin = this.#reserve(steps + 4 * stepWords * stepRoom);
      this.#put(begin, bytes);
      this.#words(begin + evidence, 4).set([begin + findings, findingRoom, begin + steps, stepRoom]);
      const textBytes = this.#exports.zelkInsightDecode(
        this.#settings(settings), begin + out, outSize, begin, length, begin + evidence);
      return { begin, steps, textBytes, words: this.#words(begin + evidence, evidenceBytes / 4) };
    };
    const counted = run(0, 0).words;
    const { begin, steps, textBytes, words } = run(counted[4], counted[5]);
    const [, , , , findingCount, stepCount, severity, region, code, extra, table, reason, selectorLength] = words;
    const utf8 = this.#bytes(begin + out, textBytes).slice();
    const unitAt = unitsBefore(utf8);
    return {
      text: utf8Decoder.decode(utf8),
      region,
      code,
      extra,
      table,
      tableName: this.tableName(table),
      reason: reasons[reason],
      selectorLength,
      severity: severities[severity],
      findings: this.#faults(begin + findings, findingCount, unitAt),
      steps: this.#steps(begin + steps, stepCount, unitAt),
    };
  }

  #faults(place, count, unitAt) {
    const words = this.#words(place, findingWords * count).slice();
    const faults = [];
    for (let at = 0; at < words.length; at += findingWords) {
      const [rule, severity, offset, length, textOffset, textLength, value] = words.subarray(at, at + findingWords);
      const textBegin = unitAt(textOffset);
      faults.push({
        rule,
        name: this.rule(rule).name,
        severity: severities[severity],
        offset,
        length,
        textOffset: textBegin,
        textLength: unitAt(textOffset + textLength) - textBegin,
        value,
      });
    }
    return faults;
  }

  #steps(place, count, unitAt) {
    const words = this.#words(place, stepWords * count).slice();
    const steps = [];
    for (let at = 0; at < words.length; at += stepWords) {
      const [kind, offset, length, bitOffset, bitCount, textOffset, textLength, character, value, finding] =
        words.subarray(at, at + stepWords);
      const textBegin = unitAt(textOffset);
      steps.push({
        kind: stepKinds[kind],
        offset,
        length,
        bitOffset,
        bitCount,
        textOffset: textBegin,
        textLength: unitAt(textOffset + textLength) - textBegin,
        character,
        value,
        finding: finding === 0xffffffff ? undefined : this.rule(finding).name,
      });
    }
    return steps;
  }

  /** Checks a DVB string by rules. */
  lint(bytes, settings) {
    bytesOf(bytes);
    const { length } = bytes;
    const first = this.#reserve(length + 32);
    const run = (place, faults, room) => {
      this.#put(place, bytes);
      const language = this.#language(place + length + 4, settings);
      return this.#exports.zelkInsightLint(this.#settings(settings), place, length, language, faults, room);
    };
    const count = run(first, 0, 0);
    const faults = (length + 39) & ~7;
    const place = this.#reserve(faults + 4 * findingWords * count);
    run(place, place + faults, count);
    const words = this.#words(place + faults, findingWords * count).slice();
    const unitAt = count === 0 ? () => 0 : unitsBefore(utf8Encoder.encode(this.decode(bytes, settings)));
    const copy = this.#reserve(4 * words.length + 4);
    this.#words(copy, words.length).set(words);
    return this.#faults(copy, count, unitAt);
  }

  #language(place, settings) {
    const language = settings?.language ?? '';
    if (language === '') {
      return 0;
    }
    if (!/^[a-z]{2,3}$/.test(language)) {
      throw new RangeError(`language is '${language}': expected two or three small letters`);
    }
    this.#putText(place, language);
    return place;
  }

  /** Ranks the tables that a DVB string may be in, best first. */
  guess(bytes, settings) {
    bytesOf(bytes);
    const { length } = bytes;
    const guesses = (length + 39) & ~7;
    const place = this.#reserve(guesses + guessBytes * mostGuesses);
    this.#put(place, bytes);
    const language = this.#language(place + length + 4, settings);
    const count = this.#exports.zelkInsightGuessTables(
      this.#settings(settings), place, length, language, place + guesses, mostGuesses);
    const words = this.#words(place + guesses, 4 * count).slice();
    const letters = new Uint8Array(words.buffer);
    return Array.from({ length: count }, (_, i) => ({
      table: words[4 * i],
      tableName: this.tableName(words[4 * i]),
      confidence: words[4 * i + 1] / 10000,
      language: String.fromCharCode(...letters.subarray(16 * i + 8, 16 * i + 12)).replace(/\0.*$/s, ''),
      announced: words[4 * i + 3] !== 0,
    }));
  }

  /** What a rule's number stands for. */
  rule(number) {
    let rule = this.#names.get(number);
    if (rule === undefined) {
      rule = Object.freeze({
        rule: number,
        name: this.#constant(this.#exports.zelkInsightRuleName(number)),
        severity: severities[this.#exports.zelkInsightRuleSeverity(number)],
        clause: this.#constant(this.#exports.zelkInsightRuleClause(number)),
        meaning: this.#constant(this.#exports.zelkInsightRuleMeaning(number)),
      });
      this.#names.set(number, rule);
    }
    return rule;
  }

  /** Every rule of lint(). */
  get rules() {
    return Array.from({ length: 128 }, (_, number) => this.rule(number)).filter((rule) => rule.name !== 'unknown');
  }

  /** A table's name, such as "ISO 8859-5". */
  tableName(table) {
    return this.#constant(this.#exports.zelkInsightTableName(table));
  }

  // ---- Encode

  /** Encodes a text as a DVB string, in the shortest of the allowed forms that says it exactly. */
  encode(text, options = {}) {
    text = String(text);
    if (text.length > mostInput / 4) {
      throw new RangeError(`a text has at most ${mostInput / 4} units`);
    }
    const limit = checked(options.limit ?? 6 * text.length + 8, 0, mostInput, 'limit');
    const input = 12 + 4 * encodedWords;
    const out = input + 3 * text.length + 4;
    const place = this.#reserve(out + limit + 1);
    this.#words(place, 3).set([
      checked(options.region ?? Region.standard, 0, 6, 'region'),
      options.forms ?? 0,
      options.preferUtf8 ? 1 : 0,
    ]);
    const length = this.#putText(place + input, text);
    const written = this.#exports.zelkInsightEncode(
      place, place + out, limit + 1, place + input, length, place + 12);
    const [form, code, extra, table, selectorLength, used, unsaid, firstUnsaid] = this.#words(place + 12, encodedWords);
    const bytes = this.#bytes(place + out, written).slice();
    const unitAt = unitsBefore(this.#bytes(place + input, length).slice());
    return {
      bytes,
      form: form < 31 ? 1 << form : 0,
      code,
      extra,
      table,
      tableName: this.tableName(table),
      selectorLength,
      used: unitAt(used),
      unsaid,
      firstUnsaid: unsaid === 0 ? undefined : unitAt(firstUnsaid),
    };
  }

  // ---- Sort and match

  /** A sort key: the bytes of two keys order their texts. */
  sortKey(text, options = {}) {
    text = String(text);
    const key = 3 * text.length + 1;
    const place = this.#reserve(key);
    const length = this.#putText(place, text);
    const size = this.#exports.zelkInsightSortKeySize(place, length);
    const begin = this.#reserve(key + size);
    this.#putText(begin, text);
    const written = this.#exports.zelkInsightSortKey(begin + key, size, begin, length, options.natural ? 1 : 0);
    return this.#bytes(begin + key, written).slice();
  }

  /** Compares two texts by the library's collation: negative where `a` sorts first, 0 where they take the same place. */
  compare(a, b) {
    a = String(a);
    b = String(b);
    const second = 3 * a.length + 1;
    const place = this.#reserve(second + 3 * b.length + 1);
    this.#putText(place, a);
    this.#putText(place + second, b);
    return this.#exports.zelkCollate(0, place, place + second);
  }

  /** A sorted copy of a list; options.by gives the text of an entry. */
  sort(list, options = {}) {
    const textOf = options.by ?? String;
    // A byte of a key is a unit here, so that JavaScript compares keys as memcmp() does.
    return Array.from(list, (entry) => ({ entry, key: latin1(this.sortKey(textOf(entry), options)) }))
      .sort((a, b) => (a.key < b.key ? -1 : a.key > b.key ? 1 : 0))
      .map(({ entry }) => entry);
  }

  /** Whether a text matches a pattern, in which `*` stands for any bytes of UTF-8 and `?` for one. */
  matches(text, pattern, options = {}) {
    const { ignoreCase = false, ignoreControls = false } = options;
    const fold = (value) => (ignoreCase ? this.fold(value) : String(value));
    const a = fold(text);
    const b = fold(pattern);
    const second = 3 * a.length + 1;
    const place = this.#reserve(second + 3 * b.length + 1);
    this.#putText(place, a);
    this.#putText(place + second, b);
    const match = ignoreControls
      ? this.#exports.zelk_patternWildcardMatchIgnoreControlChars
      : this.#exports.zelk_patternWildcardMatch;
    return match(place, place + second) === 0;
  }

  /** A text as it is compared without case: Latin, Greek and Cyrillic. */
  fold(text) {
    text = String(text);
    const out = 3 * text.length + 1;
    const size = 3 * out + 1;
    const place = this.#reserve(out + size);
    const length = this.#putText(place, text);
    return this.#text(place + out, this.#exports.zelkInsightFold(place + out, size, place, length));
  }
}

/** Lays strings one after the other, as decodePacked() takes them. */
export function pack(strings) {
  const ends = new Uint32Array(strings.length);
  let length = 0;
  strings.forEach((string, i) => {
    length += bytesOf(string).length;
    ends[i] = length;
  });
  const bytes = new Uint8Array(length);
  strings.forEach((string, i) => bytes.set(string, ends[i] - string.length));
  return { bytes, ends };
}

// Where the byte at an offset of valid UTF-8 stands in the same text as a string.
function unitsBefore(utf8) {
  const units = new Uint32Array(utf8.length + 1);
  let count = 0;
  for (let i = 0; i < utf8.length; ++i) {
    units[i] = count;
    count += (utf8[i] & 0xc0) === 0x80 ? 0 : utf8[i] >= 0xf0 ? 2 : 1;
  }
  units[utf8.length] = count;
  return (offset) => units[Math.min(offset, utf8.length)];
}

function latin1(bytes) {
  let text = '';
  for (let i = 0; i < bytes.length; i += unitsAtOnce) {
    text += String.fromCharCode.apply(null, bytes.subarray(i, i + unitsAtOnce));
  }
  return text;
}
