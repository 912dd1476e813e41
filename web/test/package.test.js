// The npm package: what the classes add to the library. Usage: MERLO64F_PACKAGE=DIR node --expose-gc --test
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { copyFileSync, mkdirSync, mkdtempSync, readFileSync, rmSync, symlinkSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';
import { pathToFileURL } from 'node:url';
import { getHeapStatistics } from 'node:v8';
import { gzipSync } from 'node:zlib';
import { digest } from './long_run.js';

const directory = pathToFileURL(`${process.env.MERLO64F_PACKAGE}/`);
const { compile, instantiate, load } = await import(new URL('merlo64f.js', directory));
const merlo = await load();
const { families, Fir, Fxlms, Lms, Pbfdaf, Rls } = merlo;

const path = [0, 0.75, -0.25];
const VALUES = {
  order: 7, mu: 0.01, muCoef: 0.02, lambda: 0.99, delta: 0.5, blockLen: 8, partitions: 3, constrained: 1,
  coef: [0.5, -0.25, 1], secCoef: path, estCoef: [...path, 0.1],
};

function make(Class) {
  const { family } = Class;
  const given = family.borrowed.map(({ length }) => length);
  return new Class(Object.fromEntries(
    family.arguments.filter(({ name }) => !given.includes(name)).map(({ name }) => [name, VALUES[name]])));
}

let state = 1;
function noise(n) {
  return Float64Array.from({ length: n }, () => {
    state = (Math.imul(state, 1664525) + 1013904223) | 0;
    return state / 2 ** 31;
  });
}

// All outputs of a filter for x and d, in one call or in pieces.
function run(filter, x, d, piece = x.length, adapt) {
  const results = [];
  for (let i = 0; i < x.length; i += piece) {
    const options = adapt && { adapt: adapt.slice(i, i + piece) };
    const part = x.subarray(i, i + piece);
    if (!filter.update) {
      results.push(...filter.filter(part));
    } else {
      const { y, e } = filter.constructor.family.predicts
        ? filter.update(part, options) : filter.update(part, d.subarray(i, i + piece), options);
      y.forEach((value, k) => results.push(value, e[k]));
    }
  }
  return results;
}

test('the digests of all families', () => {
  const expected = readFileSync(new URL('../../tests/digests.txt', import.meta.url), 'utf8');
  const actual = Object.keys(families).map((name) => `${name} ${digest(merlo, name)}\n`);
  assert.equal(actual.join(''), expected);
});

test('the module is at most 55 kB, compressed', () => {
  const bytes = gzipSync(readFileSync(new URL('merlo64f.wasm', directory)), { level: 9 }).length;
  assert.ok(bytes <= 55000, `${bytes} bytes`);
});

// More samples than one call of the module takes.
for (const [name, Class] of Object.entries(families)) {
  test(`${name}: pieces, masks, copies and saved states give the bits of the whole`, () => {
    const n = 9000;
    const x = noise(n);
    const d = noise(n);
    const adapt = Array.from({ length: n }, (_, i) => (i >> 7) % 3 !== 0);
    const whole = make(Class);
    const pieces = make(Class);
    const all = run(whole, x, d, n, adapt);
    assert.ok(all.every(Number.isFinite));
    assert.deepEqual(run(pieces, x, d, 40, adapt), all);
    const copy = whole.copy();
    const restored = merlo.restore(structuredClone(whole.save()));
    const more = run(whole, d, x);
    assert.deepEqual(run(copy, d, x, 8), more);
    assert.deepEqual(run(restored, d, x), more);
    whole.resize({ order: 9 });
    copy.resize({ order: 9 });
    assert.equal(whole.order, 9);
    assert.deepEqual(run(whole, x, d), run(copy, x, d));

    const saved = whole.save();
    saved.fields.order += 1;
    assert.throws(() => merlo.restore(saved), /of the saved state is out of range|elements, not/);
    [whole, pieces, copy, restored].forEach((filter) => filter.free());
  });

  test(`${name}: a block gives the bits of whole arrays, in the caller's order`, () => {
    const x = noise(128);
    const d = noise(128);
    const filter = make(Class);
    const block = make(Class).block(128);
    const larger = new Lms({ order: 2, mu: 0 }).block(2 ** 20); // the memory grows; views follow
    block.x.set(x);
    block.d.set(d);
    block.adapt.fill(0, 64);
    const adapt = Array.from({ length: 128 }, (_, i) => i < 64);
    (block.update ?? block.filter).call(block);
    const expected = filter.update ? run(filter, x, d, 128, adapt) : [...filter.filter(x)];
    assert.deepEqual(filter.update ? [...block.y].flatMap((y, i) => [y, block.e[i]]) : [...block.y], expected);
    larger.free();
    block.free();
    assert.throws(() => (block.update ?? block.filter).call(block), /has been freed/);
  });
}

test('a filter learns a system; coefficients are read and written', () => {
  const system = [0.5, -0.25, 0.125];
  const x = noise(3000);
  const d = new Fir({ coef: system }).filter(x);
  const filter = new Rls({ order: 3, lambda: 0.99, delta: 1 });
  const { e } = filter.update(x, d);
  filter.coef.forEach((tap, k) => assert.ok(Math.abs(tap - system[k]) < 1e-6));
  assert.ok(Math.abs(e[2999]) < 1e-6);
  filter.coef = [1, 2, 3];
  assert.deepEqual([...filter.getCoef(1, 5, true)], [3, 2]);
  assert.deepEqual([...filter.view('coef')], [1, 2, 3]);
  filter.lambda = 0.5;
  assert.equal(filter.lambda, 0.5);
  filter.reset();
  assert.deepEqual([...filter.coef], [0, 0, 0]);
});

test('results go to arrays of the caller, and any numbers are taken', () => {
  const [a, b] = [new Lms({ order: 2, mu: 0.1 }), new Lms({ order: 2, mu: 0.1 })];
  const y = new Float64Array(3);
  const e = new Float32Array(3);
  const result = a.update(new Float32Array([1, 2, 3]), [1, 1, 1], { y, e });
  assert.equal(result.y, y);
  assert.equal(result.e, e);
  const expected = b.update(Int16Array.of(1, 2, 3), [1, 1, 1]);
  assert.deepEqual(y, expected.y);
  assert.deepEqual(e, Float32Array.from(expected.e));
  const { y: none } = a.update([], []);
  assert.equal(none.length, 0);
});

test('wrong arguments are refused by name and change nothing', () => {
  const lms = new Lms({ order: 4, mu: 0.1 });
  const block = new Pbfdaf({ order: 4, blockLen: 8, partitions: 2, mu: 0.1, constrained: true });
  const before = [lms.save(), block.save()];
  const refused = (call, Kind, message) => assert.throws(call, (error) =>
    error instanceof Kind && (assert.equal(error.message, message), true));
  refused(() => new Lms({ order: 4 }), TypeError, 'lms64f: mu is missing');
  refused(() => new Lms(), TypeError, 'lms64f: order is missing');
  refused(() => new Lms({ order: 4, mu: 1, step: 2 }), TypeError,
    'lms64f: unknown option step; known are order, mu');
  refused(() => new Lms({ order: 64, mu: 1 }), RangeError,
    'lms64f: order is 64, not 1 to 32; Pbfdaf has longer responses');
  refused(() => new Lms({ order: 2.5, mu: 1 }), RangeError,
    'lms64f: order is 2.5, no whole number of 32 bits');
  refused(() => new Lms({ order: '4', mu: 1 }), TypeError, 'lms64f: order is no number');
  refused(() => new Fir({ coef: [] }), RangeError, 'fir64f: order is 0, not 1 to 32');
  refused(() => new Fir({ coef: 'abc' }), TypeError, 'fir64f: coef is no array of numbers');
  refused(() => new Fxlms({ order: 4, mu: 1, secCoef: [], estCoef: [1] }), RangeError,
    'fxlms64f: secLen is 0, not 1 or more');
  refused(() => new Rls({ order: 4, lambda: 1, delta: 2 }), RangeError,
    'rls64f: an order, length, index or count is out of range');
  refused(() => new Pbfdaf({ order: 32, blockLen: 2 ** 30, partitions: 1, mu: 0, constrained: 0 }), RangeError,
    'pbfdaf64f: an order, length, index or count is out of range');
  refused(() => lms.update([1, 2], [1]), RangeError, 'lms64f: d has 1 elements, not 2');
  refused(() => lms.update([1, 2]), TypeError, 'lms64f: d is no array of numbers');
  refused(() => lms.update([1, 2], [1, 2], { y: [0, 0] }), TypeError, 'lms64f: y is no Float64Array');
  refused(() => lms.update([1], [1], { adapt: [true, true] }), RangeError,
    'lms64f: adapt has 2 elements, not 1');
  refused(() => lms.updateRegressors([1, 2, 3], [1]), RangeError, 'lms64f: rows has 3 elements, not 4');
  refused(() => lms.resize({ order: 0 }), RangeError, 'lms64f: order is 0, not 1 to 32');
  refused(() => lms.getCoef(4), RangeError, 'lms64f: an order, length, index or count is out of range');
  refused(() => { lms.coef = [1]; }, RangeError, 'lms64f: coef has 1 elements, not 4');
  refused(() => lms.view('gain'), TypeError, 'lms64f: no array gain; there are coef, delayLine');
  assert.throws(() => { lms.order = 3; }, TypeError);
  refused(() => block.filter([1, 2, 3]), RangeError,
    'pbfdaf64f: 3 samples are no multiple of blockLen, 8');
  refused(() => block.update(new Float64Array(8), new Float64Array(8), { adapt: [1, 1, 1, 1, 0, 1, 1, 1] }),
    RangeError, 'pbfdaf64f: adapt changes within a block of 8 samples');
  refused(() => block.block(4), RangeError, 'pbfdaf64f: 4 samples are no multiple of blockLen, 8');
  refused(() => Lms.restore(block.save()), TypeError, 'lms64f: no saved state of this family');
  refused(() => merlo.restore({}), TypeError, 'merlo64f: no saved state of a filter');
  assert.deepEqual([lms.save(), block.save()], before);
  lms.free();
  lms.free();
  refused(() => lms.update([1], [1]), Error, 'lms64f: this filter has been freed');
});

test('memory is freed by free() and by the garbage collector', async () => {
  const { memory, Pbfdaf: Own } = instantiate(await compile(new URL('merlo64f.wasm', directory)));
  const long = { order: 32, blockLen: 32, partitions: 128, mu: 0.1, constrained: 1 }; // 270 kB
  new Own(long).free();
  const before = memory.buffer.byteLength;
  for (let i = 0; i < 200; ++i) {
    const filter = new Own(long);
    filter.copy().free();
    filter.block(3200).free();
    filter.free();
  }
  assert.ok(memory.buffer.byteLength <= before + 2 ** 20, 'after free()');
  const held = memory.buffer.byteLength;
  for (let i = 0; i < 40; ++i) {
    for (let k = 0; k < 5; ++k) {
      new Own(long).block(3200);
    }
    globalThis.gc();
    await new Promise((resolve) => setTimeout(resolve, 2)); // the registry calls back later
  }
  assert.ok(memory.buffer.byteLength <= held + 2 ** 23, // 54 MB were allocated
    `after garbage collection: ${held} to ${memory.buffer.byteLength}`);
});

// As an AudioWorkletProcessor has it: Float32Arrays of 128 samples in and out.
test('process() of an AudioWorklet allocates nothing', async () => {
  const { memory, Nlms: Own } = instantiate(await compile(new URL('merlo64f.wasm', directory)));
  const block = new Own({ order: 32, mu: 0.01 }).block(128);
  const input = Float32Array.from(noise(128));
  const desired = Float32Array.from(noise(128));
  const out = new Float32Array(128);
  const process = () => {
    block.x.set(input);
    block.d.set(desired);
    block.update();
    out.set(block.e);
    return true;
  };
  for (let i = 0; i < 20000; ++i) {
    process(); // until the compiler has settled
  }
  const bytes = memory.buffer.byteLength;
  globalThis.gc();
  const before = getHeapStatistics().used_heap_size;
  for (let i = 0; i < 20000; ++i) {
    process();
  }
  const grown = getHeapStatistics().used_heap_size - before;
  assert.equal(memory.buffer.byteLength, bytes);
  assert.ok(grown < 100000, `${grown} bytes in 20000 calls`); // an object per call is 240 kB or more
});

// A worklet has neither URL nor fetch, and waits for nothing.
test('the classes come from a compiled module without the browser', async () => {
  const module = await compile(readFileSync(new URL('merlo64f.wasm', directory)));
  const { URL: url, fetch: get } = globalThis;
  delete globalThis.URL;
  delete globalThis.fetch;
  try {
    assert.equal(new (instantiate(module).Nlms)({ order: 2, mu: 0.1 }).order, 2);
  } finally {
    Object.assign(globalThis, { URL: url, fetch: get });
  }
});

test('the declarations name every class and member', () => {
  const text = readFileSync(new URL('merlo64f.d.ts', directory), 'utf8');
  for (const Class of Object.values(families)) {
    const [, body] = text.match(new RegExp(`class ${Class.name} extends Filter \\{\\n([^]*?)\\n\\}`));
    for (const member of Object.getOwnPropertyNames(Class.prototype)) {
      if (member !== 'constructor') {
        assert.match(body, new RegExp(`\\b${member}\\b`), `${Class.name}.${member}`);
      }
    }
  }
});

const compiler = process.env.MERLO64F_TSC;
test('the declarations fit a program', { skip: !compiler && 'no TypeScript' }, () => {
  const project = mkdtempSync(join(tmpdir(), 'merlo64f-'));
  try {
    mkdirSync(join(project, 'node_modules'));
    symlinkSync(process.env.MERLO64F_PACKAGE, join(project, 'node_modules/merlo64f'));
    writeFileSync(join(project, 'package.json'), '{"type": "module"}');
    copyFileSync(new URL('program.ts', import.meta.url), join(project, 'program.ts'));
    const { stdout } = spawnSync(process.execPath, [compiler, '--noEmit', '--strict', '--target', 'es2022',
      '--module', 'nodenext', '--lib', 'es2022,dom', 'program.ts'],
    { cwd: project, encoding: 'utf8' });
    assert.equal(stdout, '');
  } finally {
    rmSync(project, { recursive: true });
  }
});
