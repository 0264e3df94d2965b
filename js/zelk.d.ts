import type { Zelk } from './instance.js';

export * from './instance.js';

/**
 * Loads the module. Each call makes an instance with memory of its own.
 *
 * @param source where it is not the file zelk.wasm beside
 */
export declare function load(
  source?: WebAssembly.Module | BufferSource | Response | Promise<WebAssembly.Module | BufferSource | Response>,
): Promise<Zelk>;
