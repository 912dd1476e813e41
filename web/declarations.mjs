// Writes merlo64f.d.ts from the module's own description. Usage: declarations.mjs PACKAGE_DIR
import { writeFileSync } from 'node:fs';
import { pathToFileURL } from 'node:url';

const directory = pathToFileURL(`${process.argv[2]}/`);
const { load } = await import(new URL('merlo64f.js', directory));
const { families } = await load();

const TYPES = { integer: 'number', real: 'number', array: 'Samples' };
const ABOUT = {
  fir64f: 'Fixed filter.',
  lms64f: 'Least mean squares (LMS).',
  nlms64f: 'Normalised LMS.',
  adjlms64f: 'Adjoint LMS, for active control.',
  fxlms64f: 'Filtered-x LMS, for active control.',
  blms64f: 'LMS in blocks.',
  bnlms64f: 'Normalised LMS in blocks.',
  lbpef64f: 'Gradient lattice: backward prediction.',
  lfpef64f: 'Gradient lattice: forward prediction.',
  lmslattice64f: 'Gradient lattice: joint process.',
  bfdaf64f: 'Block filter in the frequency domain.',
  pbfdaf64f: 'Partitioned block filter in the frequency domain, for long responses.',
  tdlms64f: 'LMS in the transform domain.',
  rls64f: 'Recursive least squares (RLS).',
  rlslattice64f: 'Least-squares lattice: joint process.',
  rlslbpef64f: 'Least-squares lattice: backward prediction.',
  rlslfpef64f: 'Least-squares lattice: forward prediction.',
};

function operation(name, { predicts }) {
  if (name.startsWith('reset')) {
    return `${name}(): void;`;
  }
  if (name.startsWith('filterReg')) {
    return `${name}(rows: Samples, options?: { y?: Output }): Float64Array;`;
  }
  if (name.startsWith('filter')) {
    return `${name}(x: Samples, options?: { y?: Output }): Float64Array;`;
  }
  if (name.startsWith('updateReg')) {
    return `${name}(rows: Samples, d: Samples, options?: Outputs): Result;`;
  }
  return `${name}(x: Samples, ${predicts ? '' : 'd: Samples, '}options?: Outputs & Mask): Result;`;
}

function declaration([name, Class]) {
  const { family } = Class;
  const lengths = family.borrowed.map(({ length }) => length);
  const options = family.arguments
    .filter((argument) => !lengths.includes(argument.name))
    .map(({ name: argument, type }) => `${argument}: ${TYPES[type]}${argument === 'constrained' ? ' | boolean' : ''}`);
  const sizes = ['order', 'blockLen', 'partitions']
    .filter((size) => family.fields.some((field) => field.name === size));
  const onBlocks = family.operations.filter((o) => !/Regressors|reset/.test(o));
  const accessors = family.accessors.flatMap(({ name: array, writable }) => {
    const Name = array[0].toUpperCase() + array.slice(1);
    return [
      `get${Name}(start?: number, count?: number, reversed?: boolean): Float64Array;`,
      ...(writable
        ? [`set${Name}(values: Samples, start?: number, reversed?: boolean): number;`,
          `get ${array}(): Float64Array;`, `set ${array}(values: Samples);`]
        : [`get ${array}(): Float64Array;`]),
    ];
  });
  const lines = [
    `constructor(options: { ${options.join('; ')} });`,
    ...family.operations.map((o) => operation(o, family)),
    `block(n: number): Block<${onBlocks.map((o) => `'${o}'`).join(' | ')}>;`,
    `resize(sizes: { ${sizes.map((size) => `${size}?: number`).join('; ')} }): void;`,
    ...family.fields.map(({ name: field, kind }) =>
      `${kind === 'parameter' ? '' : 'readonly '}${field}: number;`),
    ...accessors,
    `view(name: ${family.arrays.map((array) => `'${array}'`).join(' | ')}): Float64Array;`,
    ...(family.transforms
      ? ['/** The table of the transform, in place; hosts that need the same bits everywhere may fill it. */',
        'readonly twiddles: Float64Array;'] : []),
    `static restore(saved: Saved): ${Class.name};`,
  ];
  return `/** ${ABOUT[name]} See ${name}.h. */
export declare class ${Class.name} extends Filter {
${lines.map((line) => `  ${line}`).join('\n')}
}
`;
}

writeFileSync(new URL('merlo64f.d.ts', directory), `// Written by declarations.mjs.

/** Numbers: samples, coefficients. Others than Float64Array are converted. */
export type Samples = Float64Array | Float32Array | ArrayLike<number>;
export type Output = Float64Array | Float32Array;
/** Arrays that take the results, of the length of d; without them new ones are made. */
export interface Outputs { y?: Output; e?: Output }
/** One element per sample: a false one leaves the coefficients as they are for this sample. In families
 * with blockLen it must not change within a block. */
export interface Mask { adapt?: ArrayLike<number | boolean> }
/** y: outputs; e: errors, d - y, or d + y through a secondary path. */
export interface Result { y: Float64Array; e: Float64Array }

/** The state of a filter, for structuredClone() and postMessage(). */
export interface Saved {
  family: string;
  fields: Record<string, number>;
  arrays: Record<string, Float64Array>;
  borrowed: Record<string, Float64Array>;
}

/** Arrays of n samples in the memory of the filters. Write x, d and the mask, call an operation, read y and
 * e: nothing is allocated, as the process() of an AudioWorklet needs it. An array that was read before the
 * memory grew, as by a new filter, is empty: read the property each time. */
export type Block<Operations extends string> = {
  readonly x: Float64Array;
  readonly d: Float64Array;
  readonly y: Float64Array;
  readonly e: Float64Array;
  /** 1 at first. */
  readonly adapt: Uint8Array;
  free(): void;
} & { [name in Operations]: () => void };

/** Any filter. Wrong arguments throw a TypeError or a RangeError and change nothing. */
export declare abstract class Filter {
  /** Releases the memory now. Otherwise it is released some time after the filter was last used. */
  free(): void;
  /** Number of coefficients. */
  readonly taps: number;
  /** The whole state. */
  save(): Saved;
  /** A filter in the same state, which shares nothing with this one. */
  copy(): this;
}

${Object.entries(families).map(declaration).join('\n')}
/** The classes over one instance of the module, which has its own memory. */
export interface Merlo64f {
${Object.values(families).map((Class) => `  ${Class.name}: typeof ${Class.name};`).join('\n')}
  /** The classes by the names of their families. */
  families: {
${Object.entries(families).map(([name, Class]) => `    ${name}: typeof ${Class.name};`).join('\n')}
  };
  memory: WebAssembly.Memory;
  /** A filter in the state that save() has returned. */
  restore(saved: Saved): Filter;
}

type Source = string | URL | Response | Promise<Response> | BufferSource | WebAssembly.Module;
/** Compiles the module and makes the classes. Without a source: merlo64f.wasm beside merlo64f.js. */
export declare function load(source?: Source): Promise<Merlo64f>;
/** The compiled module, which can be sent to a worker or, in processorOptions, to an AudioWorklet. */
export declare function compile(source: Source): Promise<WebAssembly.Module>;
/** The classes at once, where nothing can be awaited. */
export declare function instantiate(module: WebAssembly.Module): Merlo64f;
`);
