// The page and its worker are one script: a page that is opened from a disk can load no other.
import { Code, Zelk, type SettingsWithLanguage } from '../../js/instance.js';
import { byId, make } from './dom.js';
import { readFile, type Answer, type Request, type Result } from './reader.js';
import { fromHex, toHex } from './stream.js';
import { stringView } from './string.js';
import { fileView } from './tables.js';
import './style.css';

// A title in the default table, with marks, a line break and emphasis, and a mark that has no letter.
const example = 'cf436f20706f766564616c2064c261cf7acf648a865072656d69c26572618720c831';

function workerMain(): void {
  addEventListener('message', ({ data }: MessageEvent<Request>) => {
    const answer = (value: Answer) => postMessage(value);
    const zelk = new Zelk(new WebAssembly.Instance(data.module));
    readFile(zelk, data.file, data.settings, (done) => answer({ done }))
      .then((result) => answer({ done: 1, result }))
      .catch((error: unknown) => answer({ done: 0, error: String(error) }));
  });
}

async function pageMain(): Promise<void> {
  const packed = Uint8Array.from(atob(byId('module').textContent!), (character) => character.charCodeAt(0));
  const plain = new Blob([packed]).stream().pipeThrough(new DecompressionStream('gzip'));
  const module = await WebAssembly.compile(await new Response(plain).arrayBuffer());
  const zelk = new Zelk(await WebAssembly.instantiate(module));

  const source = byId<HTMLTextAreaElement>('source');
  const formOf = byId<HTMLSelectElement>('form-of');
  const region = byId<HTMLSelectElement>('region');
  const defaultCode = byId<HTMLSelectElement>('default-code');
  const language = byId<HTMLInputElement>('language');
  const status = byId('status');
  const result = byId('result');

  for (let part = 1; part <= 16; ++part) {
    if (part !== 12) {
      defaultCode.append(make('option', { value: String(part) }, `ISO 8859-${part}`));
    }
  }
  defaultCode.append(make('option', { value: String(Code.utf8) }, 'UTF-8'));
  byId('rule-list').append(
    ...zelk.rules.flatMap(({ name, severity, meaning, clause }) => [
      make('dt', { id: `rule-${name}`, tabindex: '-1' }, make('span', { class: `fault ${severity}` }, name), ` ${severity}`),
      make('dd', {}, meaning, ' ', clause === '' ? undefined : make('cite', {}, clause)),
    ]));

  const settings = (): SettingsWithLanguage => ({
    region: Number(region.value),
    defaultCode: Number(defaultCode.value),
    ...(/^[a-z]{2,3}$/.test(language.value) ? { language: language.value } : {}),
  });

  // ---- A string

  const bytesOf = (text: string): Uint8Array | undefined => {
    const hex = formOf.value === 'text' ? undefined : fromHex(text);
    return hex ?? (formOf.value === 'hex' ? undefined : zelk.encode(text, { region: Number(region.value) }).bytes);
  };

  const showString = () => {
    const text = source.value.trim();
    if (text === '') {
      status.textContent = '';
      result.replaceChildren();
      return;
    }
    const bytes = bytesOf(text);
    if (bytes === undefined) {
      status.textContent = 'This is not hexadecimal: pairs of the digits 0 to 9 and a to f are expected.';
      return;
    }
    if (bytes.length > 4096) {
      status.textContent = 'A string of service information has at most 4096 bytes here; longer ones can be dropped as a file.';
      return;
    }
    status.textContent = '';
    result.replaceChildren(...stringView(zelk, bytes, settings()));
    const link = new URLSearchParams({ hex: toHex(bytes) });
    for (const [name, field] of [['region', region], ['code', defaultCode], ['language', language]] as const) {
      if (field.value !== (field === language ? '' : (field as HTMLSelectElement).options[0]!.value)) {
        link.set(name, field.value);
      }
    }
    history.replaceState(null, '', `#${link}`);
  };

  // ---- A file

  let worker: Worker | undefined;
  const progress = byId('progress');
  const stop = () => {
    worker?.terminate();
    worker = undefined;
    progress.hidden = true;
  };

  let shownFile: (() => HTMLElement[]) | undefined;
  const showFile = (file: File) => {
    stop();
    const bar = byId<HTMLProgressElement>('bar');
    byId('file-name').textContent = file.name;
    bar.value = 0;
    progress.hidden = false;
    status.textContent = '';
    const place = URL.createObjectURL(new Blob([byId('app').textContent!], { type: 'text/javascript' }));
    worker = new Worker(place);
    URL.revokeObjectURL(place);
    worker.onmessage = ({ data }: MessageEvent<Answer>) => {
      if ('error' in data) {
        stop();
        status.textContent = `The file cannot be read: ${data.error}`;
      } else if (data.result === undefined) {
        bar.value = data.done;
      } else {
        stop();
        present(data.result, file.name);
      }
    };
    worker.onerror = (event) => {
      stop();
      status.textContent = `The file cannot be read: ${event.message}`;
    };
    worker.postMessage({ module, file, settings: settings() } satisfies Request);
  };

  const present = (found: Result, name: string) => {
    if ([found.services, found.events, found.lines, found.groups, found.undescribed].every(({ length }) => length === 0)) {
      status.textContent = `${name} has no service information: no stream of 188-byte packets with tables of services or events, no such sections, no lines of hexadecimal.`;
      result.replaceChildren();
      return;
    }
    history.replaceState(null, '', '#file');
    shownFile = () => fileView(zelk, found, name);
    result.replaceChildren(...shownFile());
    status.textContent = `${name} is read.`;
  };

  // ---- What the visitor does

  const fromLink = () => {
    const hash = location.hash.slice(1);
    if (hash.startsWith('rule-')) {
      const rule = document.getElementById(hash);
      byId<HTMLDetailsElement>('rules').open = true;
      rule?.scrollIntoView({ block: 'center' });
      rule?.focus({ preventScroll: true });
      return;
    }
    if (hash === 'file' && shownFile !== undefined) {
      result.replaceChildren(...shownFile());
      return;
    }
    const link = new URLSearchParams(hash);
    const hex = link.get('hex');
    if (hex === null) {
      return;
    }
    source.value = hex.toUpperCase().replace(/../g, '$& ').trim();
    formOf.value = 'hex';
    region.value = link.get('region') ?? region.value;
    defaultCode.value = link.get('code') ?? defaultCode.value;
    language.value = link.get('language') ?? language.value;
    showString();
    result.focus({ preventScroll: true });
    result.scrollIntoView({ block: 'nearest' });
  };

  byId('form').addEventListener('submit', (event) => event.preventDefault());
  for (const field of [source, formOf, region, defaultCode, language]) {
    field.addEventListener('input', showString);
  }
  byId('cancel').addEventListener('click', () => {
    stop();
    status.textContent = 'Cancelled.';
  });
  byId('sample').addEventListener('click', () => {
    location.hash = `hex=${example}`;
    fromLink();
  });
  byId<HTMLInputElement>('file').addEventListener('change', ({ target }) => {
    const input = target as HTMLInputElement;
    const [file] = input.files ?? [];
    if (file !== undefined) {
      showFile(file);
      input.value = ''; // so that the same file can be chosen again
    }
  });
  const drop = byId('drop');
  addEventListener('dragover', (event) => {
    event.preventDefault();
    drop.classList.add('over');
  });
  addEventListener('dragleave', () => drop.classList.remove('over'));
  addEventListener('drop', (event) => {
    event.preventDefault();
    drop.classList.remove('over');
    const file = event.dataTransfer?.files[0];
    if (file !== undefined) {
      showFile(file);
    }
  });
  addEventListener('hashchange', fromLink);
  fromLink();
  document.documentElement.dataset['ready'] = '';
}

if (typeof document === 'undefined') {
  workerMain();
} else {
  void pageMain();
}
