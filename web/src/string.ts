// The page of one string: what it says, and what each of its bytes did.
import { Code, type Explanation, type Fault, type Step, type SettingsWithLanguage, type Zelk } from '../../js/instance.js';
import { codePoint, faultLink, make, shown } from './dom.js';
import { toHex } from './stream.js';

const stepNames: Record<Step['kind'], string> = {
  selector: 'names the table',
  text: 'gives a character',
  mark: 'a mark, which waits for its letter',
  control: 'a control code',
  dropped: 'leaves nothing',
  unassigned: 'has no character',
  piece: 'a part of a compressed code',
  end: 'ends the text',
};

const reasonNames: Record<Explanation['reason'], string> = {
  default: 'no selector: the default table',
  'default-code': 'no selector: the default code of the settings',
  selector: 'the selector says so',
  region: 'the regional setting',
  override: 'an override',
  guess: 'a guess from the bytes',
};

const candidates = [
  ...[0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 14, 15, 16].map((code) => ({
    code,
    name: code === 0 ? 'DVB default table' : `ISO 8859-${code}`,
  })),
  { code: Code.utf8, name: 'UTF-8' },
  { code: Code.twoByte, name: 'two-byte characters' },
];

export function stringView(zelk: Zelk, bytes: Uint8Array, settings: SettingsWithLanguage): HTMLElement[] {
  const explained = zelk.explain(bytes, settings);
  const faults = zelk.lint(bytes, settings);
  return [
    summary(bytes, explained),
    byteStrip(zelk, bytes, explained),
    findings(zelk, faults),
    tables(zelk, bytes, settings, explained),
    encoding(zelk, bytes, settings),
  ];
}

const card = (title: string, ...children: HTMLElement[]) =>
  make('section', { class: 'card', 'aria-label': title }, make('h2', {}, title), ...children);

const pair = (name: string, value: Node | string) =>
  make('div', {}, make('dt', {}, name), make('dd', {}, value));

function summary(bytes: Uint8Array, { text, tableName, reason, selectorLength, severity, findings }: Explanation) {
  const selector = toHex(bytes.subarray(0, selectorLength)).replace(/../g, '$& ').trim().toUpperCase();
  return card(
    'Text',
    make('p', { class: 'text', id: 'text', dir: 'auto', lang: '' }, text === '' ? '\u00A0' : shown(text)),
    make(
      'dl',
      { class: 'facts' },
      pair('Table', tableName),
      pair('Because', reasonNames[reason]),
      pair('Selector', selector === '' ? 'none' : make('code', {}, selector)),
      pair('Bytes', String(bytes.length)),
      pair('Worst finding', findings.length === 0 ? 'none' : make('span', { class: `fault ${severity}` }, severity)),
    ),
  );
}

// ---- Bytes

function byteStrip(zelk: Zelk, bytes: Uint8Array, { text, steps, findings: found }: Explanation) {
  const detail = make('div', { class: 'detail', id: 'detail', 'aria-live': 'polite' });
  const describe = (step: Step) => {
    const said = text.substr(step.textOffset, step.textLength);
    const rule = zelk.rules.find(({ name }) => name === step.finding);
    detail.replaceChildren(
      make('strong', {}, `Byte ${step.offset}${step.length > 1 ? ` to ${step.offset + step.length - 1}` : ''}: `),
      `${stepNames[step.kind]}. `,
      ...(step.character > 0 && step.kind !== 'mark' ? [make('code', {}, codePoint(step.character)), ' '] : []),
      ...(said === '' ? [] : [make('bdi', { class: 'glyph' }, shown(said)), ' ']),
      ...(step.kind === 'mark' ? [`Mark ${step.value.toString(16).toUpperCase()}. `] : []),
      ...(step.bitCount > 0 ? [`${step.bitCount} bits from bit ${step.bitOffset % 8}. `] : []),
      ...(rule === undefined
        ? []
        : [faultLink(rule.name, rule.severity), ` ${rule.meaning} `, ...(rule.clause ? [make('cite', {}, rule.clause)] : [])]),
    );
  };
  const severities = new Map(found.map(({ name, severity }) => [name, severity]));
  const buttons = steps.map((step) => {
    const hex = toHex(bytes.subarray(step.offset, step.offset + step.length)).replace(/../g, '$& ').trim().toUpperCase();
    const said = text.substr(step.textOffset, step.textLength);
    const button = make(
      'button',
      {
        type: 'button',
        class: `byte is-${step.kind}${step.finding === undefined ? '' : ` found ${severities.get(step.finding)}`}`,
        tabindex: '-1',
        focus: () => describe(step),
        pointerenter: () => describe(step),
      },
      make('span', { class: 'hex' }, hex),
      make('bdi', { class: 'said' }, said === ' ' ? '␣' : said === '' ? '·' : shown(said)),
      make('span', { class: 'sr' }, [said === '' ? stepNames[step.kind] : '', step.finding ?? ''].join(' ')),
    );
    return make('li', {}, button);
  });
  // One stop of the tabulator for all; arrows go from byte to byte.
  const list = make('ol', { class: 'bytes', 'aria-label': 'Bytes; the arrow keys go through them' }, ...buttons);
  const all = [...list.querySelectorAll('button')];
  all[0]?.setAttribute('tabindex', '0');
  list.addEventListener('keydown', (event) => {
    const at = all.indexOf(event.target as HTMLButtonElement);
    const to = { ArrowRight: at + 1, ArrowLeft: at - 1, ArrowDown: at + 8, ArrowUp: at - 8, Home: 0, End: all.length - 1 }[
      event.key];
    if (to !== undefined && at >= 0) {
      event.preventDefault();
      const next = all[Math.max(0, Math.min(all.length - 1, to))]!;
      all[at]!.tabIndex = -1;
      next.tabIndex = 0;
      next.focus();
    }
  });
  const kinds = [...new Set(steps.map((step) => step.kind))];
  const legend = make(
    'ul',
    { class: 'legend', 'aria-label': 'What the colours mean' },
    ...kinds.map((kind) => make('li', {}, make('span', { class: `byte is-${kind}`, 'aria-hidden': 'true' }), stepNames[kind])),
  );
  if (steps[0] !== undefined) {
    describe(steps[0]);
  }
  return card('Bytes', list, detail, legend);
}

// ---- Findings

function findings(zelk: Zelk, faults: Fault[]) {
  if (faults.length === 0) {
    return card('Findings', make('p', { class: 'good' }, 'Nothing is wrong with this string.'));
  }
  return card(
    'Findings',
    make(
      'ul',
      { class: 'findings' },
      ...faults.map((fault) => {
        const { meaning, clause } = zelk.rule(fault.rule);
        const last = fault.offset + fault.length - 1;
        return make(
          'li',
          {},
          faultLink(fault.name, fault.severity),
          make('span', { class: 'where' }, `${fault.severity}, byte ${fault.offset}${last > fault.offset ? ` to ${last}` : ''}`),
          make('span', {}, meaning),
          clause === '' ? undefined : make('cite', {}, clause),
        );
      }),
    ),
  );
}

// ---- Tables

function tables(zelk: Zelk, bytes: Uint8Array, settings: SettingsWithLanguage, { tableName }: Explanation) {
  const guesses = new Map(zelk.guess(bytes, settings).map((guess) => [guess.tableName, guess]));
  const rows = candidates.map(({ code, name }) => {
    const { text, findings: found } = zelk.explain(bytes, { ...settings, defaultCode: code, ignoreSelector: true });
    return { name, text, faults: found.length, confidence: guesses.get(name)?.confidence ?? 0 };
  });
  rows.sort((a, b) => b.confidence - a.confidence);
  const body = rows.map(({ name, text, faults, confidence }) =>
    make(
      'tr',
      name === tableName ? { class: 'current', 'aria-current': 'true' } : {},
      make('th', { scope: 'row' }, name, name === tableName ? make('span', { class: 'tag' }, 'read') : undefined),
      make('td', { dir: 'auto', class: 'sample' }, shown(text)),
      make('td', { class: 'number' }, faults === 0 ? '–' : String(faults)),
      make('td', { class: 'number' }, confidence >= 0.005 ? `${Math.round(confidence * 100)} %` : '–'),
    ));
  return card(
    'In every table',
    make(
      'div',
      { class: 'scroll', tabindex: '0', role: 'region', 'aria-label': 'The text in every table' },
      make(
        'table',
        { class: 'every' },
        make(
          'thead',
          {},
          make('tr', {}, ...['Table', 'Text', 'Findings', 'Guess'].map((name) => make('th', { scope: 'col' }, name))),
        ),
        make('tbody', {}, ...body),
      ),
    ),
  );
}

// ---- Encoding

// The text that was meant: of another table where the bytes speak for it.
function encoding(zelk: Zelk, sent: Uint8Array, settings: SettingsWithLanguage) {
  const text = zelk.decode(sent, { ...settings, guess: true });
  const { bytes, tableName, unsaid } = zelk.encode(text, { region: settings.region });
  const faults = zelk.lint(bytes, settings);
  return card(
    'Encoded without faults',
    make('p', { class: 'sample', dir: 'auto', lang: '' }, text === '' ? '\u00A0' : shown(text)),
    make('p', {}, make('code', { class: 'long', id: 'encoded' }, toHex(bytes).replace(/../g, '$& ').trim().toUpperCase())),
    make(
      'p',
      { class: 'quiet' },
      `${bytes.length} bytes, ${tableName}` +
        (unsaid > 0 ? `; ${unsaid} characters cannot be said and are question marks` : '') +
        (faults.length === 0 ? '; no rule is broken.' : `; still ${faults.map((fault) => fault.name).join(', ')}.`),
    ),
    make('p', {}, make('a', { href: `#hex=${toHex(bytes)}` }, 'Look into it')),
  );
}
