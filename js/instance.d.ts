/** How much a finding matters to a viewer. */
export type Severity = 'note' | 'warning' | 'error';

/** On whose word a table was taken. */
export type Reason = 'default' | 'default-code' | 'selector' | 'region' | 'override' | 'guess';

/** What a stretch of a string did. */
export type StepKind = 'selector' | 'text' | 'mark' | 'control' | 'dropped' | 'unassigned' | 'piece' | 'end';

/** The regional setting of a receiver: what a selector stands for that names no table. */
export declare const Region: Readonly<{
  iso8859_9: 0;
  standard: 1;
  iso8859_2: 2;
  iso8859_7: 3;
  iso8859_9Alt: 4;
  iso8859_15: 5;
  gb2312: 6;
}>;

/** What a string is coded in, as its selector says; 1 to 16 are ISO 8859-1 to -16. */
export declare const Code: Readonly<{
  default: 0;
  none: 18;
  prepared: 19;
  twoByte: 20;
  utf8: 21;
  compressed: 22;
}>;

/** The forms that encode() may use, a bit each; 1 << n is ISO 8859-n. */
export declare const Form: Readonly<{
  default: number;
  twoByte: number;
  utf8: number;
  compressed1: number;
  compressed2: number;
  standard: number;
}>;

/** How a string is read. */
export interface Settings {
  /** One of Region; the standard's way without it. */
  region?: number;
  /** One of Code: what strings without a selector are coded in. */
  defaultCode?: number;
  /** The encoding type (1, 2, 5 or 6) that goes with Code.compressed as a default. */
  defaultExtra?: number;
  /** Keeps the codes for emphasis on and off, U+0086 and U+0087. */
  keepEmphasis?: boolean;
  /** A selector is stepped over, and the defaults decide. */
  ignoreSelector?: boolean;
  /** The defaults come from an override: for the reason that is reported. */
  overridden?: boolean;
  /** Another table is taken where the bytes speak for it. */
  guess?: boolean;
}

export interface SettingsWithLanguage extends Settings {
  /** Of the broadcast, ISO 639-1 or 639-2 in small letters. */
  language?: string;
}

/** A finding, or a rule that a string breaks. Offsets in the text are those of the string that JavaScript has. */
export interface Fault {
  rule: number;
  /** Stable identifier, such as "byte-unassigned". */
  name: string;
  severity: Severity;
  offset: number;
  length: number;
  textOffset: number;
  textLength: number;
  value: number;
}

/** One stretch of a string; the steps of a string cover it without gap or overlap. */
export interface Step {
  kind: StepKind;
  offset: number;
  length: number;
  /** Of compressed text: the first bit, counted from the first bit of the string, and the bits. */
  bitOffset: number;
  bitCount: number;
  textOffset: number;
  textLength: number;
  /** The code point; 0 for none. */
  character: number;
  /** Of a letter the byte of its mark, of a compressed character its byte; of a mark and a piece their byte; else 0. */
  value: number;
  /** The name of the finding about it. */
  finding?: string;
}

export interface Explanation {
  text: string;
  /** After selection. */
  region: number;
  code: number;
  /** The encoding type of compressed text. */
  extra: number;
  table: number;
  tableName: string;
  reason: Reason;
  selectorLength: number;
  /** Of the worst finding. */
  severity: Severity;
  findings: Fault[];
  steps: Step[];
}

export interface Guess {
  table: number;
  tableName: string;
  /** That this table's text is the right one, 0 to 1. */
  confidence: number;
  /** Of the model that fits best, ISO 639-2/B, or an empty text. */
  language: string;
  /** Whether the text is that of the table which the string is read with without a guess. */
  announced: boolean;
}

export interface Rule {
  rule: number;
  name: string;
  severity: Severity;
  /** Of the public standard; empty for none. */
  clause: string;
  /** One English sentence. */
  meaning: string;
}

export interface EncodeOptions {
  /** One of Region: the setting of the receivers. */
  region?: number;
  /** Bits of Form. */
  forms?: number;
  /** UTF-8, where allowed, for all that is not ASCII. */
  preferUtf8?: boolean;
  /** The most bytes of the string. */
  limit?: number;
}

export interface Encoded {
  bytes: Uint8Array;
  /** One of Form. */
  form: number;
  code: number;
  extra: number;
  table: number;
  tableName: string;
  selectorLength: number;
  /** How much of the text is in the string. */
  used: number;
  /** Characters that no allowed form can say; each is sent as a question mark. */
  unsaid: number;
  /** Where the first of them is. */
  firstUnsaid?: number;
}

export interface SortOptions {
  /** Runs of digits count by their value: "BBC 2" is before "BBC 10". */
  natural?: boolean;
}

export interface MatchOptions {
  /** Letters of Latin, Greek and Cyrillic match in any case. */
  ignoreCase?: boolean;
  /** Control characters are skipped. */
  ignoreControls?: boolean;
}

/** Texts of UTF-8 that lie one after the other. */
export interface Packed {
  bytes: Uint8Array;
  /** Where each ends. */
  ends: Uint32Array;
}

export declare class Zelk {
  /** @param instance of zelk.wasm, not used before */
  constructor(instance: WebAssembly.Instance);

  /** Every function and table of the two C headers, for what this class has no method for. */
  get exports(): WebAssembly.Exports;

  /** Decodes a DVB string. */
  decode(bytes: Uint8Array, settings?: Settings): string;
  /** Decodes a DVB string to UTF-8. */
  decodeToUtf8(bytes: Uint8Array, settings?: Settings): Uint8Array;
  /** Decodes many DVB strings. */
  decodeAll(strings: readonly Uint8Array[], settings?: Settings): string[];
  /** Decodes DVB strings that lie one after the other; string i ends before ends[i]. */
  decodePacked(bytes: Uint8Array, ends: Uint32Array, settings?: Settings): string[];
  /** As decodePacked(), to UTF-8 texts that lie one after the other. */
  decodePackedToUtf8(bytes: Uint8Array, ends: Uint32Array, settings?: Settings): Packed;

  /** Decodes a DVB string and says what each of its bytes did. */
  explain(bytes: Uint8Array, settings?: Settings): Explanation;
  /** Checks a DVB string by rules. */
  lint(bytes: Uint8Array, settings?: SettingsWithLanguage): Fault[];
  /** Ranks the tables that a DVB string may be in, best first. */
  guess(bytes: Uint8Array, settings?: SettingsWithLanguage): Guess[];
  /** What a rule's number stands for. */
  rule(number: number): Rule;
  /** Every rule of lint(). */
  get rules(): Rule[];
  /** A table's name, such as "ISO 8859-5". */
  tableName(table: number): string;

  /** Encodes a text as a DVB string, in the shortest of the allowed forms that says it exactly. */
  encode(text: string, options?: EncodeOptions): Encoded;

  /** A sort key: the bytes of two keys order their texts. */
  sortKey(text: string, options?: SortOptions): Uint8Array;
  /** Compares two texts by the library's collation: negative where `a` sorts first, 0 for the same place. */
  compare(a: string, b: string): number;
  /** A sorted copy of a list; `by` gives the text of an entry. */
  sort<Entry>(list: Iterable<Entry>, options?: SortOptions & { by?: (entry: Entry) => string }): Entry[];
  /** Whether a text matches a pattern, in which `*` stands for any bytes of UTF-8 and `?` for one. */
  matches(text: string, pattern: string, options?: MatchOptions): boolean;
  /** A text as it is compared without case. */
  fold(text: string): string;
}

/** Lays strings one after the other, as decodePacked() takes them. */
export declare function pack(strings: readonly Uint8Array[]): Packed;
