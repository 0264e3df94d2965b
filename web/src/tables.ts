// The page of a file: services, events, the schedule, and the files that it can be saved as.
import type { Zelk } from '../../js/instance.js';
import { faultLink, make, save, shown } from './dom.js';
import { csv, json, sarif, xmltv } from './formats.js';
import type { EventRow, GroupRow, Result, ServiceRow, Text } from './reader.js';

const rowsAtOnce = 200;

interface Column<Row> {
  name: string;
  cell: (row: Row) => Node | string;
  /** Orders rows; the texts of the library's collation have keys. */
  key: (row: Row) => string | number;
  rowHeader?: boolean;
  number?: boolean;
}

const worst = (texts: Text[]) => {
  const all = texts.flatMap((text) => text.faults);
  return ['error', 'warning', 'note'].find((severity) => all.some((fault) => fault.severity === severity));
};

function faultCell(texts: Text[]): HTMLElement {
  const seen = new Map(texts.flatMap((text) => text.faults).map((fault) => [fault.name, fault.severity]));
  return make('span', { class: 'faults' }, ...[...seen].map(([name, severity]) => faultLink(name, severity)));
}

const textCell = (text: Text) =>
  make('a', { class: 'text-link', href: `#hex=${text.hex}`, dir: 'auto' }, text.text === '' ? '–' : shown(text.text));

const severityRank = (texts: Text[]) => ['note', 'warning', 'error'].indexOf(worst(texts) ?? '');

const time = new Intl.DateTimeFormat('en-GB', { dateStyle: 'medium', timeStyle: 'short', timeZone: 'UTC' });
const clock = new Intl.DateTimeFormat('en-GB', { hour: '2-digit', minute: '2-digit', timeZone: 'UTC' });
const day = new Intl.DateTimeFormat('en-GB', { weekday: 'short', day: 'numeric', month: 'short', timeZone: 'UTC' });
const minutes = (seconds: number) => `${Math.round(seconds / 60)} min`;
const when = (start: number | undefined) => (start === undefined ? 'not known' : time.format(start));

function sortedTable<Row>(
  title: string,
  rows: Row[],
  columns: Column<Row>[],
  texts: (row: Row) => Text[],
  zelk: Zelk,
): HTMLElement {
  const id = title.toLowerCase().split(' ')[0]!;
  const filter = make('input', { type: 'search', id: `${id}-filter`, autocomplete: 'off', spellcheck: 'false' });
  const onlyFaults = make('input', { type: 'checkbox', id: `${id}-faults` });
  const count = make('p', { class: 'quiet', role: 'status' });
  const body = make('tbody');
  const more = make('button', { type: 'button', class: 'plain' }, 'Show more');
  const headers = columns.map(({ name, number }) => {
    const button = make('button', { type: 'button' }, name);
    return make('th', { scope: 'col', ...(number ? { class: 'number' } : {}) }, button);
  });
  let order = 0;
  let down = false;
  let limit = rowsAtOnce;

  const show = () => {
    const pattern = filter.value.trim();
    const asked = /[*?]/.test(pattern) ? pattern : `*${pattern}*`;
    const fits = (row: Row) =>
      (pattern === '' || texts(row).some(({ text }) => zelk.matches(text, asked, { ignoreCase: true }))) &&
      (!onlyFaults.checked || texts(row).some(({ faults }) => faults.length > 0));
    const found = rows.filter(fits);
    const { key } = columns[order]!;
    const keys = new Map(found.map((row) => [row, key(row)]));
    found.sort((a, b) => {
      const [x, y] = [keys.get(a)!, keys.get(b)!];
      return (x < y ? -1 : x > y ? 1 : 0) * (down ? -1 : 1);
    });
    headers.forEach((header, i) => {
      if (i === order) {
        header.setAttribute('aria-sort', down ? 'descending' : 'ascending');
      } else {
        header.removeAttribute('aria-sort');
      }
    });
    body.replaceChildren(
      ...found.slice(0, limit).map((row) =>
        make(
          'tr',
          {},
          ...columns.map(({ cell, rowHeader, number }) =>
            make(rowHeader ? 'th' : 'td', { ...(rowHeader ? { scope: 'row' } : {}), ...(number ? { class: 'number' } : {}) }, cell(row))),
        )));
    more.hidden = found.length <= limit;
    count.textContent = `${found.length} of ${rows.length}`;
  };
  headers.forEach((header, i) =>
    header.querySelector('button')!.addEventListener('click', () => {
      down = order === i && !down;
      order = i;
      show();
    }));
  more.addEventListener('click', () => {
    limit += 5 * rowsAtOnce;
    show();
  });
  filter.addEventListener('input', show);
  onlyFaults.addEventListener('change', show);
  show();
  return make(
    'section',
    { class: 'card', id: `${id}-card`, 'aria-label': title },
    make('h2', {}, title),
    make(
      'div',
      { class: 'fields' },
      make('div', { class: 'field' }, make('label', { for: filter.id }, 'Filter; * and ? are wildcards'), filter),
      make('div', { class: 'field check' }, onlyFaults, make('label', { for: onlyFaults.id }, 'with faults only')),
      count,
    ),
    make(
      'div',
      { class: 'scroll', tabindex: '0', role: 'region', 'aria-label': `Table of ${id}` },
      make('table', { id }, make('thead', {}, make('tr', {}, ...headers)), body),
    ),
    more,
  );
}

function serviceTable(rows: ServiceRow[], zelk: Zelk): HTMLElement {
  const texts = (row: ServiceRow) => [row.name, row.provider];
  return sortedTable<ServiceRow>(
    'Services',
    rows,
    [
      { name: 'Name', cell: (row) => textCell(row.name), key: (row) => row.name.key, rowHeader: true },
      { name: 'Provider', cell: (row) => textCell(row.provider), key: (row) => row.provider.key },
      { name: 'Service', cell: (row) => row.id, key: (row) => row.network * 2 ** 32 + row.stream * 2 ** 16 + row.service, number: true },
      { name: 'Faults', cell: (row) => faultCell(texts(row)), key: (row) => -severityRank(texts(row)) },
    ],
    texts,
    zelk,
  );
}

function groupTable(rows: GroupRow[], zelk: Zelk): HTMLElement {
  const texts = (row: GroupRow) => [row.name];
  return sortedTable<GroupRow>(
    'Networks and bouquets',
    rows,
    [
      { name: 'Name', cell: (row) => textCell(row.name), key: (row) => row.name.key, rowHeader: true },
      { name: 'Kind', cell: (row) => row.kind, key: (row) => row.kind },
      { name: 'Number', cell: (row) => String(row.id), key: (row) => row.id, number: true },
      { name: 'Faults', cell: (row) => faultCell(texts(row)), key: (row) => -severityRank(texts(row)) },
    ],
    texts,
    zelk,
  );
}

function eventTable(rows: EventRow[], names: Map<string, Text>, zelk: Zelk): HTMLElement {
  const texts = (row: EventRow) => [row.name, row.text, row.extended];
  return sortedTable<EventRow>(
    'Events',
    rows,
    [
      { name: 'Name', cell: (row) => textCell(row.name), key: (row) => row.name.key, rowHeader: true },
      {
        name: 'Service',
        cell: (row) => make('bdi', {}, shown(names.get(row.service)?.text ?? row.service)),
        key: (row) => names.get(row.service)?.key ?? row.service,
      },
      { name: 'Start, UTC', cell: (row) => when(row.start), key: (row) => row.start ?? Infinity, number: true },
      { name: 'Length', cell: (row) => minutes(row.duration), key: (row) => row.duration, number: true },
      { name: 'Language', cell: (row) => row.language, key: (row) => row.language },
      { name: 'Faults', cell: (row) => faultCell(texts(row)), key: (row) => -severityRank(texts(row)) },
    ],
    texts,
    zelk,
  );
}

function lineTable(rows: Result['lines'], zelk: Zelk): HTMLElement {
  type Row = Result['lines'][number];
  return sortedTable<Row>(
    'Strings',
    rows,
    [
      { name: 'Line', cell: (row) => String(row.line), key: (row) => row.line, number: true },
      { name: 'Text', cell: (row) => textCell(row.text), key: (row) => row.text.key, rowHeader: true },
      { name: 'Faults', cell: (row) => faultCell([row.text]), key: (row) => -severityRank([row.text]) },
    ],
    (row) => [row.text],
    zelk,
  );
}

// ---- Schedule

const hour = 3_600_000;
const shownHours = 3;

function schedule(result: Result, names: Map<string, Text>): HTMLElement | undefined {
  const timed = result.events.filter((event): event is EventRow & { start: number } => event.start !== undefined);
  if (timed.length === 0) {
    return undefined;
  }
  const first = Math.floor(Math.min(...timed.map(({ start }) => start)) / hour) * hour;
  const last = Math.max(...timed.map(({ start, duration }) => start + 1000 * duration));
  const grid = make('div', { class: 'scroll', tabindex: '0', role: 'region', 'aria-label': 'Schedule' });
  const title = make('p', { class: 'quiet', role: 'status' });
  let begin = first;
  const show = () => {
    const end = begin + shownHours * hour;
    const part = (at: number) => ((Math.max(begin, Math.min(end, at)) - begin) / (end - begin)) * 100;
    const here = timed.filter(({ start, duration }) => start < end && start + 1000 * duration > begin);
    const rows = new Map<string, (EventRow & { start: number })[]>();
    for (const event of here) {
      rows.set(event.service, [...(rows.get(event.service) ?? []), event]);
    }
    const hours = Array.from({ length: shownHours }, (_, i) =>
      make('span', { class: 'hour' }, clock.format(begin + i * hour)));
    const key = (service: string) => names.get(service)?.key ?? '\u{FFFF}';
    const body = [...rows]
      .sort(([a], [b]) => (key(a) < key(b) ? -1 : 1))
      .map(([service, events]) => {
        const line = make('td');
        const list = make('ul', { class: 'line' });
        for (const event of events.sort((a, b) => a.start - b.start)) {
          const severity = worst([event.name, event.text, event.extended]);
          const entry = make(
            'a',
            { href: `#hex=${event.name.hex}`, class: `programme ${severity ?? ''}`, title: shown(event.name.text) },
            make('span', { class: 'at' }, clock.format(event.start)),
            ' ',
            make('bdi', {}, shown(event.name.text)),
            severity === undefined ? undefined : make('span', { class: 'sr' }, ` (${severity})`),
          );
          const item = make('li', {}, entry);
          item.style.insetInlineStart = `${part(event.start)}%`;
          item.style.width = `${part(event.start + 1000 * event.duration) - part(event.start)}%`;
          list.append(item);
        }
        line.append(list);
        const name = names.get(service)?.text;
        return make('tr', {}, make('th', { scope: 'row' }, make('bdi', {}, name ? shown(name) : service)), line);
      });
    title.textContent = `${day.format(begin)}, ${clock.format(begin)} to ${clock.format(end)} UTC, ${here.length} events`;
    grid.replaceChildren(
      make(
        'table',
        { class: 'schedule', id: 'schedule' },
        make('thead', {}, make('tr', {}, make('th', { scope: 'col' }, 'Service'),
          make('th', { scope: 'col' }, make('span', { class: 'hours' }, ...hours)))),
        make('tbody', {}, ...body),
      ),
    );
    earlier.disabled = begin <= first;
    later.disabled = end >= last;
  };
  const step = (hours: number) => () => {
    begin += hours * hour;
    show();
  };
  const earlier = make('button', { type: 'button', click: step(-shownHours) }, 'Earlier');
  const later = make('button', { type: 'button', click: step(shownHours) }, 'Later');
  show();
  return make(
    'section',
    { class: 'card', 'aria-label': 'Schedule by service and time' },
    make('h2', {}, 'Schedule'),
    make('div', { class: 'fields' }, earlier, later, title),
    grid,
  );
}

export function fileView(zelk: Zelk, result: Result, file: string): HTMLElement[] {
  const names = new Map(result.services.map((service) => [service.id, service.name]));
  const base = file.replace(/\.[^.]*$/, '') || 'zelk';
  const formats: [string, () => void][] = [
    ['JSON', () => save(`${base}.json`, 'application/json', json(result))],
    ['CSV', () => save(`${base}.csv`, 'text/csv', csv(result))],
    ['XMLTV', () => save(`${base}.xml`, 'application/xml', xmltv(result))],
    ['SARIF', () => save(`${base}.sarif`, 'application/sarif+json', sarif(result, zelk.rules, file))],
  ];
  const fact = (value: number, name: string) =>
    make('div', {}, make('dt', {}, name), make('dd', {}, value.toLocaleString('en')));
  const isLines = result.kind === 'lines';
  const overview = make(
    'section',
    { class: 'card', 'aria-label': 'File' },
    make('h2', {}, file),
    make(
      'dl',
      { class: 'facts' },
      ...(isLines
        ? [fact(result.lines.length, 'Strings')]
        : [
            fact(result.services.length, 'Services'),
            fact(result.events.length, 'Events'),
            fact(result.packets, 'Packets'),
            fact(result.sections, 'Sections'),
            ...(result.undescribed.length > 0 ? [fact(result.undescribed.length, 'Programs without a name')] : []),
          ]),
      fact(result.broken, isLines ? 'Lines that are no strings' : 'Broken'),
    ),
    make(
      'div',
      { class: 'fields', role: 'group', 'aria-label': 'Save as' },
      make('span', {}, 'Save as'),
      ...formats
        .filter(([name]) => !isLines || name !== 'XMLTV')
        .map(([name, run]) => make('button', { type: 'button', click: run }, name)),
    ),
  );
  if (isLines) {
    return [overview, lineTable(result.lines, zelk)];
  }
  return [
    overview,
    ...(result.services.length > 0 ? [serviceTable(result.services, zelk)] : []),
    ...[schedule(result, names)].filter((part) => part !== undefined),
    ...(result.events.length > 0 ? [eventTable(result.events, names, zelk)] : []),
    ...(result.groups.length > 0 ? [groupTable(result.groups, zelk)] : []),
  ];
}
