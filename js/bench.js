// Measures batches: a million names to kept strings beside slicing those strings out of one, and to UTF-8. Processor
// time of one thread (run with --single-threaded --expose-gc), that of the kernel for new memory included; the least of
// several runs, taken by turns.
import { readdirSync, readFileSync } from 'node:fs';

import { load, pack } from './zelk.js';

const count = 1_000_000;
const rounds = 9;
const corpus = new URL('../bench/corpus/', import.meta.url);
const languages = process.argv.slice(2).length ? process.argv.slice(2) : ['english', 'german', 'french', 'czech'];

const zelk = await load();
const names = readdirSync(corpus)
  .filter((file) => languages.some((language) => file === `${language}_titles.txt`))
  .flatMap((file) => readFileSync(new URL(file, corpus), 'utf8').split('\n'))
  .filter((name) => name !== '')
  .map((name) => zelk.encode(name).bytes);
const { bytes, ends } = pack(Array.from({ length: count }, (_, i) => names[i % names.length]));

const texts = zelk.decodePacked(bytes, ends);
const joined = texts.join('');
const one = Buffer.from(joined, 'utf16le').toString('utf16le'); // no rope
const textEnds = Uint32Array.from(texts, ((at) => (text) => (at += text.length))(0));

const candidates = {
  'slices of one string': () => {
    const kept = new Array(count);
    let begin = 0;
    for (let i = 0; i < count; ++i) {
      kept[i] = one.slice(begin, textEnds[i]);
      begin = textEnds[i];
    }
    return kept;
  },
  'decodePacked()': () => zelk.decodePacked(bytes, ends),
  'decodePackedToUtf8()': () => zelk.decodePackedToUtf8(bytes, ends),
};

const best = {};
for (let round = 0; round < rounds; ++round) {
  for (const [name, run] of Object.entries(candidates)) {
    globalThis.gc?.();
    const begin = process.cpuUsage();
    const kept = run();
    const { user, system } = process.cpuUsage(begin);
    const time = (user + system) / 1000;
    best[name] = Math.min(best[name] ?? Infinity, time);
    if (kept.length === 0) {
      throw new Error('nothing');
    }
  }
}
console.log(`${count} names, ${(bytes.length / count).toFixed(1)} bytes each, ${languages.join(', ')}`);
for (const [name, time] of Object.entries(best)) {
  const ratio = time / best['slices of one string'];
  console.log(`${name.padEnd(22)} ${((time * 1e6) / count).toFixed(0).padStart(5)} ns a name   ${ratio.toFixed(2)}`);
}
