// Elements in few words.

export type Child = Node | string | undefined;

export function make<Tag extends keyof HTMLElementTagNameMap>(
  tag: Tag,
  attributes: Record<string, string | boolean | (() => void)> = {},
  ...children: Child[]
): HTMLElementTagNameMap[Tag] {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (typeof value === 'function') {
      element.addEventListener(name, value);
    } else if (typeof value === 'boolean') {
      element.toggleAttribute(name, value);
    } else {
      element.setAttribute(name, value);
    }
  }
  element.append(...children.filter((child) => child !== undefined));
  return element;
}

export const byId = <Type extends HTMLElement>(id: string): Type => document.getElementById(id) as Type;

/** A fault in few words, with a link to its rule. */
export function faultLink(name: string, severity: string): HTMLElement {
  return make('a', { class: `fault ${severity}`, href: `#rule-${name}` }, name);
}

const shownControls: Record<string, string> = { '\n': '↵', '\t': '⇥' };

/** A text as it can be shown: controls as signs. */
export const shown = (text: string): string =>
  text.replace(/[\u0000-\u001f\u007f-\u009f]/g, (control) => shownControls[control] ?? '\u25AF');

export const codePoint = (character: number): string => `U+${character.toString(16).toUpperCase().padStart(4, '0')}`;

export function save(name: string, type: string, content: string): void {
  const place = URL.createObjectURL(new Blob([content], { type }));
  make('a', { href: place, download: name }).click();
  setTimeout(() => URL.revokeObjectURL(place), 10_000);
}
