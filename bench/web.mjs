// Compares the npm package with the native library in one run: nanoseconds per sample over whole arrays, in
// turns, medians. Usage: web.mjs PACKAGE_DIR ARRAYS_PROGRAM
import { execFileSync } from 'node:child_process';
import { pathToFileURL } from 'node:url';

const [directory, program] = process.argv.slice(2);
const { load } = await import(new URL('merlo64f.js', pathToFileURL(`${directory}/`)));
const { families } = await load();
const SAMPLES = 4096; // as in arrays.cpp
const PASSES = 15;
const ROUNDS = 9;
const OPTIONS = {
  lms64f: { order: 32, mu: 0.01 },
  nlms64f: { order: 32, mu: 0.01 },
  rls64f: { order: 32, lambda: 0.999, delta: 1 },
  pbfdaf64f: { order: 32, blockLen: 32, partitions: 64, mu: 0.0005, constrained: 1 },
};

const median = (values) => values.sort((a, b) => a - b)[values.length >> 1];
const noise = () => Float64Array.from({ length: SAMPLES }, () => 2 * Math.random() - 1);
const native = Object.fromEntries(Object.keys(OPTIONS).map((family) => [family, []]));
const web = structuredClone(native);
const filters = Object.entries(OPTIONS).map(([family, options]) => [family, new families[family](options)]);
const [x, d, y, e] = [noise(), noise(), new Float64Array(SAMPLES), new Float64Array(SAMPLES)];
for (let round = 0; round < ROUNDS; ++round) {
  for (const line of execFileSync(program, { encoding: 'utf8' }).trim().split('\n')) {
    const [family, nanoseconds] = line.split(' ');
    native[family].push(Number(nanoseconds));
  }
  for (const [family, filter] of filters) {
    const passes = [];
    for (let pass = 0; pass < PASSES; ++pass) {
      const began = process.hrtime.bigint();
      filter.update(x, d, { y, e });
      passes.push(Number(process.hrtime.bigint() - began) / SAMPLES);
    }
    web[family].push(median(passes));
  }
}
console.log('family     native (ns)  node (ns)  ratio');
for (const family of Object.keys(OPTIONS)) {
  const [a, b] = [median(native[family]), median(web[family])];
  console.log(`${family.padEnd(10)} ${a.toFixed(1).padStart(11)} ${b.toFixed(1).padStart(10)} ${(b / a).toFixed(2).padStart(6)}`);
}
