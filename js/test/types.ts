// Uses every method with its types; compiled, never run.
import { Code, Form, load, pack, Region, type Explanation, type Fault, type Guess, type Settings } from '../zelk.js';

const zelk = await load(fetch('zelk.wasm'));
const settings: Settings = { region: Region.standard, defaultCode: Code.none, guess: true };
const name: Uint8Array = Uint8Array.of(0x05, 0xe9);
const text: string = zelk.decode(name, settings);
const explained: Explanation = zelk.explain(name);
const faults: Fault[] = zelk.lint(name, { language: 'ger' });
const guesses: Guess[] = zelk.guess(name, { ...settings, language: 'ger' });
const { bytes, ends } = pack([name]);
const texts: string[] = zelk.decodePacked(bytes, ends);
const utf8: Uint8Array = zelk.decodePackedToUtf8(bytes, ends).bytes;
const used: number = zelk.encode(text, { forms: Form.utf8 | Form.twoByte, limit: 20 }).used;
const sorted: { title: string }[] = zelk.sort([{ title: text }], { by: (entry) => entry.title, natural: true });
const found: boolean = zelk.matches(text, '*', { ignoreCase: true });
// @ts-expect-error a string is bytes
zelk.decode('text');
export { explained, faults, found, guesses, sorted, texts, used, utf8 };
