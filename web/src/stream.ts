// What is needed of ISO/IEC 13818-1 and ETSI EN 300 468: sections out of packets, services, events and networks out of
// sections. Strings stay the bytes that they were sent as.

export interface Service {
  network: number;
  stream: number;
  id: number;
  type: number;
  name: Uint8Array;
  provider: Uint8Array;
}

export interface Event {
  network: number;
  stream: number;
  service: number;
  id: number;
  /** Milliseconds since 1970, UTC; undefined where the start is not known. */
  start: number | undefined;
  /** Seconds. */
  duration: number;
  language: string;
  name: Uint8Array;
  text: Uint8Array;
  extended: Uint8Array[];
}

export interface Listing {
  services: Map<string, Service>;
  events: Map<string, Event>;
  networks: Map<number, Uint8Array>;
  bouquets: Map<number, Uint8Array>;
  /** The programs of each transport stream, by the program association table. */
  programs: Map<number, Set<number>>;
  packets: number;
  sections: number;
  /** Sections whose CRC is wrong, and packets that are none. */
  broken: number;
  /** Sections that were read already, by what tells them apart. */
  seen: Set<string>;
}

const packetBytes = 188;
const sync = 0x47;
const pids = new Set([0x00, 0x10, 0x11, 0x12]);
const none = new Uint8Array();

const crcTable = Uint32Array.from({ length: 256 }, (_, byte) => {
  let value = byte << 24;
  for (let bit = 0; bit < 8; ++bit) {
    value = (value << 1) ^ (value < 0 ? 0x04c11db7 : 0);
  }
  return value >>> 0;
});

/** The CRC of ISO/IEC 13818-1 Annex B; 0 over a whole section. */
export function crc32(bytes: Uint8Array): number {
  let value = 0xffffffff;
  for (const byte of bytes) {
    value = ((value << 8) ^ crcTable[(value >>> 24) ^ byte]!) >>> 0;
  }
  return value;
}

export function newListing(): Listing {
  return {
    services: new Map(),
    events: new Map(),
    networks: new Map(),
    bouquets: new Map(),
    programs: new Map(),
    packets: 0,
    sections: 0,
    broken: 0,
    seen: new Set(),
  };
}

const word = (bytes: Uint8Array, at: number) => (bytes[at]! << 8) | bytes[at + 1]!;
const binaryCoded = (byte: number) => (byte >> 4) * 10 + (byte & 15);

// Calls take() for each descriptor that fits.
function descriptors(bytes: Uint8Array, take: (tag: number, body: Uint8Array) => void): void {
  for (let at = 0; at + 2 <= bytes.length; ) {
    const end = at + 2 + bytes[at + 1]!;
    if (end > bytes.length) {
      return;
    }
    take(bytes[at]!, bytes.subarray(at + 2, end));
    at = end;
  }
}

// A string with its length before it; what the length promises and the descriptor does not hold is missing.
function counted(bytes: Uint8Array, at: number): Uint8Array {
  return at < bytes.length ? bytes.slice(at + 1, at + 1 + bytes[at]!) : none;
}

/** Takes what a section says; false for one that is broken. */
export function readSection(section: Uint8Array, listing: Listing): boolean {
  const table = section[0]!;
  const isServices = table === 0x42 || table === 0x46;
  const isEvents = table >= 0x4e && table <= 0x6f;
  const isGroup = table === 0x40 || table === 0x41 || table === 0x4a;
  const isPrograms = table === 0x00;
  if (!isServices && !isEvents && !isGroup && !isPrograms) {
    return true;
  }
  // Tables are sent again and again: one with the same head and the same CRC is not read twice.
  const key = [section.length, ...section.subarray(3, 12), ...section.subarray(-4), table].join();
  if (listing.seen.has(key)) {
    ++listing.sections;
    return true;
  }
  if (section.length < 12 || crc32(section) !== 0) {
    return false;
  }
  listing.seen.add(key);
  ++listing.sections;
  if ((section[5]! & 1) === 0) {
    return true; // not in force yet
  }
  const body = section.subarray(0, section.length - 4);
  if (isServices) {
    readServices(body, listing);
  } else if (isEvents) {
    readEvents(body, listing);
  } else if (isGroup) {
    const [groups, named] = table === 0x4a ? [listing.bouquets, 0x47] : [listing.networks, 0x40];
    const end = 10 + (word(body, 8) & 0xfff);
    descriptors(body.subarray(10, end), (tag, text) => {
      if (tag === named) {
        groups.set(word(body, 3), text.slice());
      }
    });
  } else {
    readPrograms(body, listing);
  }
  return true;
}

// Program 0 is the place of the network information, and no program.
function readPrograms(body: Uint8Array, listing: Listing): void {
  const stream = word(body, 3);
  const programs = listing.programs.get(stream) ?? new Set();
  listing.programs.set(stream, programs);
  for (let at = 8; at + 4 <= body.length; at += 4) {
    const program = word(body, at);
    if (program !== 0) {
      programs.add(program);
    }
  }
}

function readServices(body: Uint8Array, listing: Listing): void {
  const stream = word(body, 3);
  const network = word(body, 8);
  for (let at = 11; at + 5 <= body.length; ) {
    const id = word(body, at);
    const end = at + 5 + (word(body, at + 3) & 0xfff);
    const service: Service = { network, stream, id, type: 0, name: none, provider: none };
    descriptors(body.subarray(at + 5, end), (tag, text) => {
      if (tag === 0x48 && text.length > 0) {
        service.type = text[0]!;
        service.provider = counted(text, 1);
        service.name = counted(text, 2 + service.provider.length);
      }
    });
    listing.services.set(`${network}.${stream}.${id}`, service);
    at = end;
  }
}

function readEvents(body: Uint8Array, listing: Listing): void {
  const [service, stream, network] = [word(body, 3), word(body, 8), word(body, 10)];
  for (let at = 14; at + 12 <= body.length; ) {
    const id = word(body, at);
    const end = at + 12 + (word(body, at + 10) & 0xfff);
    const days = word(body, at + 2); // Modified Julian Date: 40587 is 1970-01-01
    const [hours, minutes, seconds] = [4, 5, 6].map((place) => binaryCoded(body[at + place]!)) as [number, number, number];
    const unknown = body.subarray(at + 2, at + 7).every((byte) => byte === 0xff);
    const event: Event = {
      network,
      stream,
      service,
      id,
      start: unknown ? undefined : (days - 40587) * 86400000 + ((hours * 60 + minutes) * 60 + seconds) * 1000,
      duration: [7, 8, 9].reduce((sum, place) => sum * 60 + binaryCoded(body[at + place]!), 0),
      language: '',
      name: none,
      text: none,
      extended: [],
    };
    let described = false;
    descriptors(body.subarray(at + 12, end), (tag, text) => {
      if (tag === 0x4d && text.length >= 5 && !described) {
        described = true;
        event.language = String.fromCharCode(...text.subarray(0, 3));
        event.name = counted(text, 3);
        event.text = counted(text, 4 + event.name.length);
      } else if (tag === 0x4e && text.length >= 6) {
        event.extended.push(counted(text, 5 + text[4]!));
      }
    });
    const key = `${network}.${stream}.${service}.${id}`;
    if (described || !listing.events.has(key)) {
      listing.events.set(key, event);
    }
    at = end;
  }
}

/** Puts sections together that packets bring in parts; the bytes come in blocks of any size. */
export class StreamReader {
  readonly listing = newListing();
  #rest: Uint8Array = none;
  #open = new Map<number, { bytes: Uint8Array; used: number; counter: number }>();

  add(block: Uint8Array): void {
    let bytes = block;
    if (this.#rest.length > 0) {
      bytes = new Uint8Array(this.#rest.length + block.length);
      bytes.set(this.#rest);
      bytes.set(block, this.#rest.length);
    }
    let at = 0;
    while (at + packetBytes < bytes.length) {
      // In step where the next packet begins in its place too.
      if (bytes[at] === sync && bytes[at + packetBytes] === sync) {
        if (pids.has(word(bytes, at + 1) & 0x1fff)) {
          this.#packet(bytes.subarray(at, at + packetBytes));
        } else {
          ++this.listing.packets;
        }
        at += packetBytes;
      } else if (bytes[at] === sync && [4, 16].some((more) => bytes[at + packetBytes + more] === sync)) {
        this.#packet(bytes.subarray(at, at + packetBytes));
        at += packetBytes + (bytes[at + packetBytes + 4] === sync ? 4 : 16);
      } else {
        this.listing.broken += bytes[at] === sync ? 1 : 0;
        ++at;
      }
    }
    this.#rest = bytes.slice(at);
  }

  end(): void {
    if (this.#rest.length === packetBytes && this.#rest[0] === sync) {
      this.#packet(this.#rest);
    }
    this.#rest = none;
  }

  #packet(packet: Uint8Array): void {
    ++this.listing.packets;
    const pid = word(packet, 1) & 0x1fff;
    if (!pids.has(pid) || (packet[1]! & 0x80) !== 0 || (packet[3]! & 0xd0) !== 0x10) {
      return; // not ours, with an error, scrambled, or without a payload
    }
    let at = 4 + ((packet[3]! & 0x20) !== 0 ? 1 + packet[4]! : 0);
    let open = this.#open.get(pid);
    const counter = packet[3]! & 15;
    if (open !== undefined && counter === open.counter) {
      return; // sent twice
    }
    if (open === undefined || counter !== ((open.counter + 1) & 15)) {
      open = { bytes: none, used: 0, counter }; // what is missing ends what was begun
      this.#open.set(pid, open);
    }
    open.counter = counter;
    const begins = (packet[1]! & 0x40) !== 0;
    if (begins) {
      const first = at + 1 + packet[at]!;
      if (open.used > 0) {
        this.#append(open, packet.subarray(at + 1, first));
      }
      open.used = 0;
      open.bytes = open.bytes.length > 0 ? open.bytes : new Uint8Array(4096 + packetBytes);
      at = first;
    } else if (open.bytes.length === 0) {
      return; // its beginning was missed
    }
    this.#append(open, packet.subarray(at));
  }

  #append(open: { bytes: Uint8Array; used: number }, bytes: Uint8Array): void {
    if (open.bytes.length === 0 || open.used + bytes.length > open.bytes.length) {
      return;
    }
    open.bytes.set(bytes, open.used);
    open.used += bytes.length;
    const used = readSections(open.bytes.subarray(0, open.used), this.listing);
    open.bytes.copyWithin(0, used, open.used);
    open.used -= used;
  }
}

/** Reads the whole sections at the front, up to stuffing; returns the bytes that were read. */
export function readSections(bytes: Uint8Array, listing: Listing): number {
  let at = 0;
  while (at + 3 <= bytes.length && bytes[at] !== 0xff) {
    const end = at + 3 + (word(bytes, at + 1) & 0xfff);
    if (end > bytes.length) {
      break;
    }
    listing.broken += readSection(bytes.slice(at, end), listing) ? 0 : 1;
    at = end;
  }
  return at;
}

export type FileKind = 'stream' | 'sections' | 'lines';

/** What a file is, by its first bytes. */
export function kindOf(bytes: Uint8Array): FileKind {
  for (const size of [188, 192, 204]) {
    for (let first = 0; first < size; ++first) {
      const places = [0, 1, 2].map((packet) => first + packet * size).filter((place) => place < bytes.length);
      if (places.length === 3 && places.every((place) => bytes[place] === sync)) {
        return 'stream';
      }
    }
  }
  const text = bytes.subarray(0, 4096);
  const isText = text.every((byte) => byte === 9 || byte === 10 || byte === 13 || (byte >= 0x20 && byte < 0x7f));
  return isText ? 'lines' : bytes[0] === sync && bytes.length % packetBytes === 0 ? 'stream' : 'sections';
}

/** The bytes of hexadecimal digits, which may be set apart; undefined where there is anything else. */
export function fromHex(text: string): Uint8Array | undefined {
  const digits = text.replace(/0x|\\x|[\s,:;-]/gi, '');
  if (digits.length % 2 !== 0 || !/^[0-9a-f]*$/i.test(digits)) {
    return undefined;
  }
  return Uint8Array.from(digits.match(/../g) ?? [], (pair) => parseInt(pair, 16));
}

export const toHex = (bytes: Uint8Array): string =>
  Array.from(bytes, (byte) => byte.toString(16).padStart(2, '0')).join('');
