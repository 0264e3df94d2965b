// The package's entry: loads the module that lies beside this file, in Node.js and in browsers.
import { Zelk } from './instance.js';

export * from './instance.js';

/**
 * Loads the module. Each call makes an instance with memory of its own.
 *
 * @param {WebAssembly.Module | BufferSource | Response | Promise<Response>} [source] where it is not the file beside
 * @returns {Promise<Zelk>}
 */
export async function load(source) {
  if (source === undefined) {
    const place = new URL('./zelk.wasm', import.meta.url);
    if (place.protocol === 'file:' && globalThis.process?.versions?.node !== undefined) {
      const { readFile } = await import(/* @vite-ignore */ 'node:fs/promises');
      source = await readFile(place);
    } else {
      source = fetch(place);
    }
  }
  source = await source;
  if (source instanceof WebAssembly.Module) {
    return new Zelk(await WebAssembly.instantiate(source));
  }
  // Not by instantiateStreaming(), which needs a server that knows the type.
  const bytes = typeof source.arrayBuffer === 'function' ? await source.arrayBuffer() : source;
  return new Zelk((await WebAssembly.instantiate(bytes)).instance);
}
