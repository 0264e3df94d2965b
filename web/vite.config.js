// Builds one page that needs nothing beside it and works from a disk: style, script and module lie inside, and the
// Content-Security-Policy allows these by their hashes and nothing else.
import { createHash } from 'node:crypto';
import { readFileSync } from 'node:fs';
import { gzipSync } from 'node:zlib';
import { defineConfig } from 'vite';

const hash = (text) => `'sha256-${createHash('sha256').update(text).digest('base64')}'`;

const onePage = {
  name: 'one-page',
  enforce: 'post',
  generateBundle(_, bundle) {
    const take = (ending) => {
      const found = Object.values(bundle).filter((part) => part.fileName.endsWith(ending));
      for (const part of found) {
        delete bundle[part.fileName];
      }
      return found.map((part) => part.code ?? String(part.source)).join('\n');
    };
    const script = take('.js').replaceAll('</script', '<\\/script').trim();
    const style = take('.css').trim();
    const wasm = gzipSync(readFileSync(new URL('../js/zelk.wasm', import.meta.url)), { level: 9 }).toString('base64');
    const page = bundle['index.html'];
    const policy = [
      "default-src 'none'",
      `script-src ${hash(script)} 'wasm-unsafe-eval'`,
      `style-src ${hash(style)}`,
      'worker-src blob:',
      "img-src data:",
      "base-uri 'none'",
      "form-action 'none'",
    ].join('; ');
    page.source = String(page.source)
      .replace(/\s*<script type="module"[^>]*><\/script>/, '')
      .replace(/\s*<link rel="stylesheet"[^>]*>/, '')
      .replace('<!-- policy -->', () => `<meta http-equiv="Content-Security-Policy" content="${policy}">`)
      .replace('<!-- style -->', () => `<style>${style}</style>`)
      .replace(
        '<!-- script -->',
        () => `<script type="application/octet-stream" id="module">${wasm}</script>\n<script id="app">${script}</script>`,
      );
  },
};

export default defineConfig({
  plugins: [onePage],
  build: {
    modulePreload: false,
    cssCodeSplit: false,
    rollupOptions: { output: { format: 'iife' } },
  },
});
