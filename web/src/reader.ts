// What the worker does: reads a file block by block, decodes and checks each string once, and gives rows.
import { Zelk, type Settings, type SettingsWithLanguage } from '../../js/instance.js';
import { fromHex, kindOf, readSections, StreamReader, toHex, type FileKind, type Listing } from './stream.js';

export interface Text {
  hex: string;
  text: string;
  /** Orders texts as the library does. */
  key: string;
  faults: { name: string; severity: string; offset: number }[];
}

export interface ServiceRow {
  id: string;
  network: number;
  stream: number;
  service: number;
  type: number;
  name: Text;
  provider: Text;
}

export interface EventRow {
  service: string;
  event: number;
  start: number | undefined;
  duration: number;
  language: string;
  name: Text;
  text: Text;
  extended: Text;
}

export interface GroupRow {
  kind: 'network' | 'bouquet';
  id: number;
  name: Text;
}

export interface Result {
  kind: FileKind;
  services: ServiceRow[];
  events: EventRow[];
  lines: { line: number; text: Text }[];
  groups: GroupRow[];
  /** What the program association tables name and no service description describes. */
  undescribed: { stream: number; program: number }[];
  packets: number;
  sections: number;
  broken: number;
}

export type Request = { module: WebAssembly.Module; file: Blob; settings: Settings };
export type Answer = { done: number; result?: undefined } | { done: 1; result: Result } | { done: 0; error: string };

const blockBytes = 4 << 20;
const mostLines = 200_000;

export async function readFile(
  zelk: Zelk,
  file: Blob,
  settings: Settings,
  progress: (part: number) => void,
): Promise<Result> {
  const bytesAt = async (at: number, size: number) => new Uint8Array(await file.slice(at, at + size).arrayBuffer());
  const kind = kindOf(await bytesAt(0, 4096));
  const reader = new StreamReader();
  const lines: Result['lines'] = [];
  const text = textReader(zelk, settings);
  let rest = '';
  let line = 0;
  let left = new Uint8Array();
  for (let at = 0; at < file.size; at += blockBytes) {
    progress(at / file.size);
    const block = await bytesAt(at, blockBytes);
    if (kind === 'stream') {
      reader.add(block);
    } else if (kind === 'sections') {
      const bytes = new Uint8Array(left.length + block.length);
      bytes.set(left);
      bytes.set(block, left.length);
      left = bytes.slice(readSections(bytes, reader.listing));
    } else {
      const parts = (rest + new TextDecoder('latin1').decode(block)).split('\n');
      rest = parts.pop()!;
      for (const part of at + blockBytes >= file.size ? [...parts, rest] : parts) {
        ++line;
        const bytes = part.trim() === '' ? undefined : fromHex(part);
        if (bytes !== undefined && lines.length < mostLines) {
          lines.push({ line, text: text(bytes) });
        } else if (part.trim() !== '') {
          ++reader.listing.broken;
        }
      }
    }
  }
  reader.end();
  return { kind, lines, ...rowsOf(zelk, reader.listing, text) };
}

// Strings repeat in a stream: each is decoded once.
function textReader(zelk: Zelk, settings: Settings): (bytes: Uint8Array, language?: string) => Text {
  const known = new Map<string, Text>();
  return (bytes, language = '') => {
    const hex = toHex(bytes);
    const spoken = /^[a-z]{3}$/.test(language) && language !== 'und' ? language : '';
    let found = known.get(hex + spoken);
    if (found === undefined) {
      const options: SettingsWithLanguage = spoken === '' ? settings : { ...settings, language: spoken };
      const text = zelk.decode(bytes, settings);
      found = {
        hex,
        text,
        key: String.fromCharCode(...zelk.sortKey(text, { natural: true })),
        faults: zelk.lint(bytes, options).map(({ name, severity, offset }) => ({ name, severity, offset })),
      };
      known.set(hex + spoken, found);
    }
    return found;
  };
}

// The pieces of a long text as strings, of which each goes on without a selector or with the same. Each piece of
// compressed text is a text of its own.
function joined(zelk: Zelk, pieces: Uint8Array[]): Uint8Array[] {
  const strings: Uint8Array[] = [];
  let selector: Uint8Array | undefined;
  for (const piece of pieces) {
    const own = piece.subarray(0, zelk.explain(piece).selectorLength);
    const goesOn = selector !== undefined && selector[0] !== 0x1f &&
      (own.length === 0 || (own.length === selector.length && own.every((byte, i) => byte === selector![i])));
    if (goesOn) {
      strings.push(Uint8Array.of(...strings.pop()!, ...piece.subarray(own.length)));
    } else {
      strings.push(piece);
      selector = own;
    }
  }
  return strings;
}

// Several strings that are shown as one text.
function together(texts: Text[]): Text {
  const all = (part: 'hex' | 'text' | 'key') => texts.map((text) => text[part]).join('');
  return { hex: texts[0]!.hex, text: all('text'), key: all('key'), faults: texts.flatMap(({ faults }) => faults) };
}

function rowsOf(zelk: Zelk, listing: Listing, text: (bytes: Uint8Array, language?: string) => Text) {
  const services = [...listing.services.values()].map(
    ({ network, stream, id, type, name, provider }): ServiceRow => ({
      id: `${network}.${stream}.${id}`,
      network,
      stream,
      service: id,
      type,
      name: text(name),
      provider: text(provider),
    }));
  const events = [...listing.events.values()].map(
    (event): EventRow => ({
      service: `${event.network}.${event.stream}.${event.service}`,
      event: event.id,
      start: event.start,
      duration: event.duration,
      language: event.language,
      name: text(event.name, event.language),
      text: text(event.text, event.language),
      extended: together(
        (event.extended.length === 0 ? [new Uint8Array()] : joined(zelk, event.extended)).map((string) =>
          text(string, event.language))),
    }));
  const named = (kind: GroupRow['kind'], names: Map<number, Uint8Array>) =>
    [...names].map(([id, name]): GroupRow => ({ kind, id, name: text(name) }));
  const groups = [...named('network', listing.networks), ...named('bouquet', listing.bouquets)];
  const described = new Set(services.map(({ stream, service }) => `${stream}.${service}`));
  const undescribed = [...listing.programs].flatMap(([stream, programs]) =>
    [...programs].filter((program) => !described.has(`${stream}.${program}`)).map((program) => ({ stream, program })));
  const { packets, sections, broken } = listing;
  return { services, events, groups, undescribed, packets, sections, broken };
}
