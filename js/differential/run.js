// Compares the module with the native library over random strings of every family: node run.js NATIVE CALLER
// [STRINGS-PER-FAMILY]. NATIVE is the program of native.cpp, CALLER the module of families.cpp, which is placed into the
// memory and the table of zelk.wasm.
import { execFileSync } from 'node:child_process';
import { readFileSync } from 'node:fs';

const [native, caller, strings = '5000'] = process.argv.slice(2);
const block = 500;
const callerBegin = 0x1000000; // as it is linked
const callerMost = 0x400000;

const library = new WebAssembly.Instance(
  new WebAssembly.Module(readFileSync(new URL('../zelk.wasm', import.meta.url)))).exports;
library._initialize();
const place = library.malloc(callerBegin + callerMost);
if (place === 0 || place > callerBegin) {
  throw new Error('the memory of the calling module is not where it was linked');
}
const table = library.__indirect_function_table;
table.grow(1000 + 200 - table.length);
const { differentialFamily, differentialRun } = new WebAssembly.Instance(new WebAssembly.Module(readFileSync(caller)), {
  env: { ...library, memory: library.memory, __indirect_function_table: table },
}).exports;

const tables = library.malloc(20);
new Uint32Array(library.memory.buffer, tables, 5).set(
  ['zelk_bitsRevSeqTab', 'HuffmanDecodeTable_1', 'HuffmanDecodeTable_2', '_title_dec_table', '_desc_dec_table'].map(
    (name) => library[name].value));

const nameAt = (at) => {
  const bytes = new Uint8Array(library.memory.buffer);
  return new TextDecoder().decode(bytes.subarray(at, bytes.indexOf(0, at)));
};

const expected = execFileSync(native, [strings, String(block)], { encoding: 'utf8', maxBuffer: 1 << 28 }).trim();
let differences = 0;
let lines = 0;
for (const line of expected.split('\n')) {
  const [name, first, hash] = line.split(' ');
  let family = 0;
  while (nameAt(differentialFamily(family)) !== name) {
    ++family;
  }
  const count = Math.min(block, Number(strings) - Number(first));
  const found = BigInt.asUintN(64, differentialRun(tables, family, Number(first), count)).toString(16).padStart(16, '0');
  ++lines;
  if (found !== hash) {
    ++differences;
    console.log(`${name}: strings ${first} to ${Number(first) + count - 1} differ`);
  }
}
const families = new Set(expected.split('\n').map((line) => line.split(' ')[0])).size;
console.log(`${families} families, ${families * Number(strings)} strings, ${lines} blocks, ${differences} different`);
process.exitCode = differences === 0 && families > 0 ? 0 : 1;
