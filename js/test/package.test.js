// What is sent: the module's size and interface, the files of the package, the examples of its page.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdirSync, mkdtempSync, readFileSync, rmSync, symlinkSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import path from 'node:path';
import { test } from 'node:test';
import { fileURLToPath } from 'node:url';
import { gzipSync } from 'node:zlib';

const folder = fileURLToPath(new URL('..', import.meta.url));
const wasm = readFileSync(path.join(folder, 'zelk.wasm'));
const module = new WebAssembly.Module(wasm);

test('the module is small', () => {
  assert.ok(wasm.length <= 260_000, `${wasm.length} bytes`);
  assert.ok(gzipSync(wasm, { level: 9 }).length <= 96 * 1024, 'compressed');
});

test('the module imports nothing', () => assert.deepEqual(WebAssembly.Module.imports(module), []));

test('the module has every name of both libraries', () => {
  const names = ['src', 'insight']
    .flatMap((part) => readFileSync(path.join(folder, '..', part, 'exports.txt'), 'utf8').split('\n'))
    .filter((name) => /^\w/.test(name) && !name.startsWith('_ZN'));
  const exported = new Set(WebAssembly.Module.exports(module).map(({ name }) => name));
  assert.deepEqual(names.filter((name) => !exported.has(name)), []);
});

test('the package holds what it needs and nothing else', () => {
  const [{ files }] = JSON.parse(execFileSync('npm', ['pack', '--dry-run', '--json'], { cwd: folder, encoding: 'utf8' }));
  assert.deepEqual(files.map((file) => file.path).sort(), [
    'LICENSE', 'README.md', 'instance.d.ts', 'instance.js', 'package.json', 'zelk.d.ts', 'zelk.js', 'zelk.wasm']);
  const manifest = JSON.parse(readFileSync(path.join(folder, 'package.json'), 'utf8'));
  assert.equal(manifest.dependencies, undefined);
  for (const script of ['preinstall', 'install', 'postinstall', 'prepare']) {
    assert.equal(manifest.scripts[script], undefined);
  }
  const header = readFileSync(path.join(folder, '../include/zelk.h'), 'utf8');
  const version = [...header.matchAll(/^#define ZELK_VERSION_(?:MAJOR|MINOR|PATCH) (\d+)$/gm)].map((match) => match[1]);
  assert.equal(manifest.version, version.join('.'));
});

for (const name of ['README.md', '../docs/javascript.md']) {
  test(`the examples of ${name} print what they say`, () => {
    const page = readFileSync(path.join(folder, name), 'utf8');
    const examples = [...page.matchAll(/```js\n(.*?)```\n(?:\n```text\n(.*?)```)?/gs)];
    assert.ok(examples.length >= 4);
    const temporary = mkdtempSync(path.join(tmpdir(), 'zelk-'));
    try {
      mkdirSync(path.join(temporary, 'node_modules'));
      symlinkSync(folder, path.join(temporary, 'node_modules/zelk'));
      // Each may use what the ones before it have set up.
      const program = examples.map(([, code]) => code).join('');
      writeFileSync(path.join(temporary, 'example.mjs'), program);
      const printed = execFileSync(process.execPath, ['example.mjs'], { cwd: temporary, encoding: 'utf8' });
      assert.equal(printed, examples.map(([, , output = '']) => output).join(''));
    } finally {
      rmSync(temporary, { recursive: true });
    }
  });
}

test('the types hold', () => {
  execFileSync('npx', ['--no-install', 'tsc', '--noEmit', '--strict', '--target', 'es2022', '--module', 'nodenext',
    '--lib', 'es2022,dom', 'test/types.ts'], { cwd: folder, stdio: 'pipe', encoding: 'utf8' });
});
