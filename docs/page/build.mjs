// Builds the page as one file that needs no server. Usage: build.mjs NPM_DIR PACKAGE_DIR OUTPUT_DIR
import { mkdirSync, readFileSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { join, resolve } from 'node:path';

const [npm, packed, output] = process.argv.slice(2).map((path) => resolve(path));
const require = createRequire(join(npm, 'package.json'));
const { build } = require('esbuild');
const source = new URL('.', import.meta.url).pathname;

async function bundle(entry, format, plugins) {
  const { outputFiles } = await build({
    entryPoints: [join(source, entry)], bundle: true, minify: true, write: false, format,
    target: 'es2022', nodePaths: [join(npm, 'node_modules'), packed], external: ['node:*'],
    loader: { '.wasm': 'binary', '.txt': 'text', '.css': 'text' }, plugins,
    logOverride: { 'empty-import-meta': 'silent' },
  });
  return outputFiles[0].text;
}

const worker = await bundle('worker.js', 'iife');
const script = await bundle('main.js', 'iife', [{
  name: 'worker-source',
  setup({ onResolve, onLoad }) {
    onResolve({ filter: /^worker-source$/ }, () => ({ path: 'worker', namespace: 'worker' }));
    onLoad({ filter: /.*/, namespace: 'worker' }, () => ({ contents: worker, loader: 'text' }));
  },
}]);
const read = (path) => readFileSync(path, 'utf8');
const style = read(join(npm, 'node_modules/uplot/dist/uPlot.min.css')) + read(join(source, 'style.css'));

mkdirSync(output, { recursive: true });
writeFileSync(join(output, 'index.html'), read(join(source, 'index.html'))
  .replace('/* STYLE */', () => style)
  .replace('/* SCRIPT */', () => script.replaceAll('</script', '<\\/script')));
