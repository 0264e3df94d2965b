// The files that the page gives: JSON, CSV (RFC 4180), XMLTV and SARIF 2.1.0.
import type { Rule } from '../../js/instance.js';
import type { EventRow, GroupRow, Result, ServiceRow, Text } from './reader.js';

const clock = (seconds: number) =>
  [seconds / 3600, (seconds / 60) % 60, seconds % 60].map((part) => String(Math.floor(part)).padStart(2, '0')).join(':');
const instant = (time: number | undefined) =>
  time === undefined ? '' : new Date(time).toISOString().replace('.000', '');

const faults = (...texts: Text[]) => [...new Set(texts.flatMap((text) => text.faults.map((fault) => fault.name)))];

/** With members of `zelk scan --json`, and the faults. */
export function json(result: Result): string {
  const ids = ({ network, stream, service }: ServiceRow) => ({
    original_network: network,
    transport_stream: stream,
    service,
  });
  const byId = new Map(result.services.map((service) => [service.id, ids(service)]));
  const idsOf = (id: string) => {
    const [network, stream, service] = id.split('.').map(Number);
    return byId.get(id) ?? { original_network: network, transport_stream: stream, service };
  };
  const groups = (asked: GroupRow['kind']) =>
    result.groups.filter(({ kind }) => kind === asked).map(({ id, name }) => ({ id, name: name.text, faults: faults(name) }));
  return JSON.stringify(
    {
      networks: groups('network'),
      bouquets: groups('bouquet'),
      programs_without_service: result.undescribed.map(({ stream, program }) => ({ transport_stream: stream, program })),
      services: result.services.map((service) => ({
        ...ids(service),
        type: service.type,
        name: service.name.text,
        provider: service.provider.text,
        faults: faults(service.name, service.provider),
      })),
      events: result.events.map((event) => ({
        ...idsOf(event.service),
        event: event.event,
        language: event.language,
        start: instant(event.start),
        duration: clock(event.duration),
        name: event.name.text,
        text: event.text.text,
        extended: event.extended.text,
        faults: faults(event.name, event.text, event.extended),
      })),
      strings: result.lines.map(({ line, text }) => ({ line, bytes: text.hex, text: text.text, faults: faults(text) })),
    },
    null,
    1,
  );
}

export function csv(result: Result): string {
  // A cell that begins as a formula would is shown as text by spreadsheets.
  const cell = (value: string | number) => {
    const text = String(value);
    return `"${(/^[=+@\t-]/.test(text) ? `'${text}` : text).replaceAll('"', '""')}"`;
  };
  const table = (rows: (string | number)[][]) => rows.map((row) => `${row.map(cell).join(',')}\r\n`).join('');
  if (result.kind === 'lines') {
    return table([
      ['line', 'bytes', 'text', 'faults'],
      ...result.lines.map(({ line, text }) => [line, text.hex, text.text, faults(text).join(' ')]),
    ]);
  }
  const names = new Map(result.services.map((service) => [service.id, service.name.text]));
  return table([
    ['kind', 'service', 'service_name', 'event', 'start', 'duration', 'language', 'name', 'text', 'faults'],
    ...result.services.map((service) => [
      'service', service.id, service.name.text, '', '', '', '', service.name.text, service.provider.text,
      faults(service.name, service.provider).join(' '),
    ]),
    ...result.events.map((event) => [
      'event', event.service, names.get(event.service) ?? '', event.event, instant(event.start), clock(event.duration),
      event.language, event.name.text, event.text.text, faults(event.name, event.text, event.extended).join(' '),
    ]),
  ]);
}

export function xmltv(result: Result): string {
  const entities: Record<string, string> = { '&': '&amp;', '<': '&lt;', '>': '&gt;', '"': '&quot;' };
  // XML 1.0 has no other controls.
  const escaped = (text: string) =>
    text.replace(/[\u0000-\u0008\u000b\u000c\u000e-\u001f\ufffe\uffff]/g, '').replace(/[&<>"]/g, (sign) => entities[sign]!);
  const time = (value: number) => `${new Date(value).toISOString().replace(/\D/g, '').slice(0, 14)} +0000`;
  const programme = (event: EventRow) => {
    if (event.start === undefined) {
      return '';
    }
    const language = /^[a-z]{3}$/.test(event.language) ? ` lang="${event.language}"` : '';
    const description = [event.text.text, event.extended.text].filter((text) => text !== '').join('\n');
    return (
      ` <programme start="${time(event.start)}" stop="${time(event.start + 1000 * event.duration)}"` +
      ` channel="${event.service}">\n  <title${language}>${escaped(event.name.text)}</title>\n` +
      (description === '' ? '' : `  <desc${language}>${escaped(description)}</desc>\n`) +
      ' </programme>\n'
    );
  };
  return (
    '<?xml version="1.0" encoding="UTF-8"?>\n<!DOCTYPE tv SYSTEM "xmltv.dtd">\n<tv generator-info-name="zelk">\n' +
    result.services
      .map(({ id, name }) => ` <channel id="${id}">\n  <display-name>${escaped(name.text)}</display-name>\n </channel>\n`)
      .join('') +
    result.events.map(programme).join('') +
    '</tv>\n'
  );
}

export function sarif(result: Result, rules: Rule[], file: string): string {
  const places: { text: Text; name: string }[] = [
    ...result.services.flatMap((service) => [
      { text: service.name, name: `service ${service.id}, name` },
      { text: service.provider, name: `service ${service.id}, provider` },
    ]),
    ...result.events.flatMap((event) =>
      (['name', 'text', 'extended'] as const).map((part) => ({
        text: event[part],
        name: `service ${event.service}, event ${event.event}, ${part}`,
      }))),
    ...result.groups.map(({ kind, id, name }) => ({ text: name, name: `${kind} ${id}, name` })),
    ...result.lines.map(({ line, text }) => ({ text, name: `line ${line}` })),
  ];
  const meaning = new Map(rules.map((rule) => [rule.name, rule.meaning]));
  const results = places.flatMap(({ text, name }) =>
    text.faults.map((fault) => ({
      ruleId: fault.name,
      level: fault.severity,
      message: { text: `${meaning.get(fault.name) ?? fault.name} Byte ${fault.offset} of ${text.hex}.` },
      locations: [
        {
          physicalLocation: { artifactLocation: { uri: encodeURI(file) } },
          logicalLocations: [{ fullyQualifiedName: name }],
        },
      ],
    })));
  return JSON.stringify(
    {
      version: '2.1.0',
      $schema: 'https://json.schemastore.org/sarif-2.1.0.json',
      runs: [
        {
          tool: {
            driver: {
              name: 'zelk',
              rules: rules.map(({ name, severity, meaning: text, clause }) => ({
                id: name,
                shortDescription: { text },
                defaultConfiguration: { level: severity },
                properties: { clause },
              })),
            },
          },
          results,
        },
      ],
    },
    null,
    1,
  );
}
