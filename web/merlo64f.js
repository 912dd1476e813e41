// Adaptive filters in 64-bit floats: the classes of all families, made from the description that the
// WebAssembly module gives of itself. merlo64f.d.ts says what each of them has.

const STATUS = {
  [-1]: [Error, 'a required array is missing'],
  [-2]: [RangeError, 'an order, length, index or count is out of range'],
  [-3]: [RangeError, 'not enough memory'],
};
const MAX_INT = 2 ** 31 - 1;
const CHUNK = 4096; // samples that one call of the module takes

/** Compiles the module and makes the classes. Without a source: merlo64f.wasm beside this file. */
export async function load(source) {
  return instantiate(await compile(source ?? new URL('merlo64f.wasm', import.meta.url)));
}

/** The compiled module, which can be sent to a worker or an AudioWorklet. */
export async function compile(source) {
  if (source instanceof WebAssembly.Module) {
    return source;
  }
  if (source instanceof ArrayBuffer || ArrayBuffer.isView(source)) {
    return WebAssembly.compile(source);
  }
  if (source instanceof Promise || (typeof Response === 'function' && source instanceof Response)) {
    const response = await source;
    if (!response.ok) {
      throw new Error(`merlo64f: ${response.url}: ${response.status} ${response.statusText}`);
    }
    return WebAssembly.compile(await response.arrayBuffer());
  }
  const url = new URL(source);
  if (url.protocol === 'file:') {
    const { readFile } = await import('node:fs/promises');
    return WebAssembly.compile(await readFile(url));
  }
  return compile(fetch(url));
}

/** The classes over a new instance of a compiled module, at once. */
export function instantiate(module) {
  const wasm = new WebAssembly.Instance(module).exports;
  const memory = wasm.memory;
  const registry = new FinalizationRegistry((release) => release());

  // ---- Memory of the module. An address is 0 .. 2^31 - 1; growth detaches every view.

  function allocate(bytes, name) {
    const address = wasm.malloc(bytes);
    if (address === 0) {
      fail(-3, name);
    }
    return address;
  }
  const reals = (address, length) => new Float64Array(memory.buffer, address, length);

  // A Float64Array, or a Uint8Array, of the module.
  class Room {
    #address;
    #length;
    #view;
    #Type;
    constructor(Type, length, name) {
      this.#Type = Type;
      this.#length = length;
      this.#address = allocate(Math.max(1, length) * Type.BYTES_PER_ELEMENT, name);
      this.#view = new Type(memory.buffer, this.#address, length);
    }
    get address() {
      return this.#address;
    }
    get length() {
      return this.#length;
    }
    get view() {
      if (this.#view.buffer !== memory.buffer) {
        this.#view = new this.#Type(memory.buffer, this.#address, this.#length);
      }
      return this.#view;
    }
    free() {
      wasm.free(this.#address);
      this.#address = 0;
      this.#length = 0;
      this.#view = new this.#Type(0);
    }
  }

  // Shared by all calls over whole arrays.
  const rooms = {};
  function room(key, length, name) {
    if (!rooms[key] || rooms[key].length < length) {
      const larger = new Room(key === 'adapt' ? Uint8Array : Float64Array, Math.max(CHUNK, length), name);
      rooms[key]?.free();
      rooms[key] = larger;
    }
    return rooms[key];
  }

  function fail(status, name) {
    const [Kind, text] = STATUS[status];
    throw new Kind(`${name}: ${text}`);
  }

  // ---- What a caller passes

  function samples(value, argument, name) {
    if (value instanceof Float64Array || value instanceof Float32Array) {
      return value;
    }
    if (Array.isArray(value) || (ArrayBuffer.isView(value) && !(value instanceof DataView) &&
        !(value instanceof BigInt64Array) && !(value instanceof BigUint64Array))) {
      return Float64Array.from(value);
    }
    throw new TypeError(`${name}: ${argument} is no array of numbers`);
  }

  function output(value, argument, n, name) {
    if (value === undefined) {
      return new Float64Array(n);
    }
    if (!(value instanceof Float64Array || value instanceof Float32Array)) {
      throw new TypeError(`${name}: ${argument} is no Float64Array`);
    }
    sameLength(value, argument, n, name);
    return value;
  }

  function sameLength(array, argument, n, name) {
    if (array.length !== n) {
      throw new RangeError(`${name}: ${argument} has ${array.length} elements, not ${n}`);
    }
  }

  function onlyKnown(options, known, name) {
    for (const option of Object.keys(options)) {
      if (!known.includes(option)) {
        throw new TypeError(`${name}: unknown option ${option}; known are ${known.join(', ')}`);
      }
    }
  }

  function integer(value, argument, name) {
    const number = typeof value === 'boolean' ? Number(value) : value;
    if (typeof number !== 'number') {
      throw new TypeError(`${name}: ${argument} is ${value === undefined ? 'missing' : 'no number'}`);
    }
    if (!Number.isInteger(number) || Math.abs(number) > MAX_INT) {
      throw new RangeError(`${name}: ${argument} is ${number}, no whole number of 32 bits`);
    }
    return number;
  }

  function real(value, argument, name) {
    if (typeof value !== 'number') {
      throw new TypeError(`${name}: ${argument} is ${value === undefined ? 'missing' : 'no number'}`);
    }
    return value;
  }

  function order(value, { name, maxOrder }) {
    if (integer(value, 'order', name) < 1 || value > maxOrder) {
      throw new RangeError(`${name}: order is ${value}, not 1 to ${maxOrder}` +
        (value > maxOrder ? '; Pbfdaf has longer responses' : ''));
    }
    return value;
  }

  function size(value, argument, name) {
    if (integer(value, argument, name) < 1) {
      throw new RangeError(`${name}: ${argument} is ${value}, not 1 or more`);
    }
    return value;
  }

  const SIZES = ['order', 'blockLen', 'partitions']; // the arguments of Resize
  function checked({ name: argument, type }, value, family) {
    if (argument === 'order') {
      return order(value, family);
    }
    if (SIZES.includes(argument) || argument.endsWith('Len')) {
      return size(value, argument, family.name);
    }
    return (type === 'integer' ? integer : real)(value, argument, family.name);
  }

  // ---- The classes

  class Filter {
    static family; // its part of the description, with `index`
    #family;
    #address = 0;
    #blockLen = 1;

    constructor(options = {}) {
      const family = new.target.family;
      const { name } = family;
      const lengths = family.borrowed.map(({ length }) => length);
      const wanted = family.arguments.filter((argument) => !lengths.includes(argument.name));
      onlyKnown(options, wanted.map((argument) => argument.name), name);

      const values = {};
      const arrays = [];
      for (const argument of wanted) {
        const value = options[argument.name];
        if (argument.type !== 'array') {
          values[argument.name] = checked(argument, value, family);
          continue;
        }
        const array = samples(value, argument.name, name);
        const { length } = family.borrowed.find((borrowed) => borrowed.name === argument.name);
        values[length] = checked({ name: length, type: 'integer' }, array.length, family);
        arrays.push([argument.name, array]);
      }
      const lent = [];
      let created;
      try {
        for (const [argument, array] of arrays) {
          lent.push(new Room(Float64Array, array.length, name));
          lent.at(-1).view.set(array);
          values[argument] = lent.at(-1).address;
        }
        const list = room('x', CHUNK, name);
        list.view.set(family.arguments.map((argument) => values[argument.name]));
        created = wasm.create(family.index, list.address);
      } finally {
        lent.forEach((array) => array.free());
      }
      if (created < 0) {
        fail(created, name);
      }
      this.#family = family;
      this.#address = created;
      this.#blockLen = this.blockLen ?? 1;
      registry.register(this, () => wasm.destroy(family.index, created), this);
    }

    /** Releases the memory at once; otherwise the garbage collector does. */
    free() {
      if (this.#address !== 0) {
        registry.unregister(this);
        wasm.destroy(this.#family.index, this.#address);
        this.#address = 0;
      }
    }

    get #live() {
      if (this.#address === 0) {
        throw new Error(`${this.#family.name}: this filter has been freed`);
      }
      return this.#address;
    }

    static #run(filter, operation, x, d, y, e, adapt, n) {
      const status =
        wasm.operate(filter.#family.index, filter.#live, operation, x, d, y, e, adapt, n);
      if (status !== 0) {
        fail(status, filter.#family.name);
      }
    }

    // ---- Whole arrays. rows: elements of x per sample.

    #operate(operation, given, outputs, n, { rows = 1, adapt } = {}) {
      const { name } = this.#family;
      this.#live;
      this.#requireBlocks(n);
      if (adapt !== undefined) {
        adapt = this.#mask(adapt, n);
      }
      const unit = Math.max(rows, this.#blockLen);
      const step = Math.max(1, Math.floor(CHUNK / unit)) * this.#blockLen;
      const most = Math.min(n, step);
      const at = { x: 0, d: 0, y: 0, e: 0, adapt: 0 };
      for (const key of [...Object.keys(given), ...Object.keys(outputs)]) {
        at[key] = room(key, most * (key === 'x' ? rows : 1), name).address;
      }
      if (adapt) {
        at.adapt = room('adapt', most, name).address;
      }
      for (let i = 0; i < n; i += step) {
        const end = Math.min(i + step, n);
        for (const key of Object.keys(given)) {
          const width = key === 'x' ? rows : 1;
          rooms[key].view.set(given[key].subarray(i * width, end * width));
        }
        if (adapt) {
          rooms.adapt.view.set(adapt.subarray(i, end));
        }
        Filter.#run(this, operation, at.x, at.d, at.y, at.e, at.adapt, end - i);
        for (const key of Object.keys(outputs)) {
          outputs[key].set(rooms[key].view.subarray(0, end - i), i);
        }
      }
    }

    #requireBlocks(n) {
      if (n % this.#blockLen !== 0) {
        throw new RangeError(
          `${this.#family.name}: ${n} samples are no multiple of blockLen, ${this.#blockLen}`);
      }
    }

    #mask(adapt, n) {
      const { name } = this.#family;
      if (!Array.isArray(adapt) && !ArrayBuffer.isView(adapt)) {
        throw new TypeError(`${name}: adapt is no array`);
      }
      sameLength(adapt, 'adapt', n, name);
      const mask = Uint8Array.from(adapt, (element) => (element ? 1 : 0));
      const length = this.#blockLen;
      if (length > 1 && mask.some((element, i) => element !== mask[i - (i % length)])) {
        throw new RangeError(`${name}: adapt changes within a block of ${length} samples`);
      }
      return mask;
    }

    static #update(operation, filter, x, d, options = {}) {
      const { name, predicts } = filter.#family;
      if (predicts) {
        options = d ?? {};
      }
      onlyKnown(options, ['y', 'e', 'adapt'], name);
      const given = { x: samples(x, 'x', name) };
      const n = given.x.length;
      if (!predicts) {
        given.d = samples(d, 'd', name);
        sameLength(given.d, 'd', n, name);
      }
      const outputs = { y: output(options.y, 'y', n, name), e: output(options.e, 'e', n, name) };
      filter.#operate(operation, given, outputs, n, { adapt: options.adapt });
      return outputs;
    }

    static #filter(operation, filter, x, options = {}) {
      const { name } = filter.#family;
      onlyKnown(options, ['y'], name);
      const given = samples(x, 'x', name);
      const y = output(options.y, 'y', given.length, name);
      filter.#operate(operation, { x: given }, { y }, given.length);
      return y;
    }

    static #updateRows(operation, filter, rows, d, options = {}) {
      const { name } = filter.#family;
      onlyKnown(options, ['y', 'e'], name);
      const given = { x: samples(rows, 'rows', name), d: samples(d, 'd', name) };
      const n = given.d.length;
      sameLength(given.x, 'rows', n * filter.order, name);
      const outputs = { y: output(options.y, 'y', n, name), e: output(options.e, 'e', n, name) };
      filter.#operate(operation, given, outputs, n, { rows: filter.order });
      return outputs;
    }

    static #filterRows(operation, filter, rows, options = {}) {
      const { name } = filter.#family;
      onlyKnown(options, ['y'], name);
      const given = samples(rows, 'rows', name);
      const n = Math.floor(given.length / filter.order);
      sameLength(given, 'rows', n * filter.order, name);
      const y = output(options.y, 'y', n, name);
      filter.#operate(operation, { x: given }, { y }, n, { rows: filter.order });
      return y;
    }

    /** Arrays of n samples in the module's memory, for calls that allocate nothing. */
    block(n) {
      this.#live;
      this.#requireBlocks(size(n, 'n', this.#family.name));
      return new this.constructor.Block(this, n);
    }

    static blockClass(family) {
      class Block {
        #filter;
        #n;
        #x;
        #d;
        #y;
        #e;
        #adapt;
        constructor(filter, n) {
          const all = [];
          const add = (Type) => {
            all.push(new Room(Type, n, family.name));
            return all.at(-1);
          };
          try {
            this.#x = add(Float64Array);
            this.#d = add(Float64Array);
            this.#y = add(Float64Array);
            this.#e = add(Float64Array);
            this.#adapt = add(Uint8Array);
          } catch (error) {
            all.forEach((array) => array.free());
            throw error;
          }
          for (const array of all.slice(0, 4)) {
            array.view.fill(0);
          }
          this.#adapt.view.fill(1);
          this.#filter = filter;
          this.#n = n;
          registry.register(this, () => all.forEach((array) => array.free()), this);
        }
        get x() {
          return this.#x.view;
        }
        get d() {
          return this.#d.view;
        }
        get y() {
          return this.#y.view;
        }
        get e() {
          return this.#e.view;
        }
        get adapt() {
          return this.#adapt.view;
        }
        free() {
          registry.unregister(this);
          for (const array of [this.#x, this.#d, this.#y, this.#e, this.#adapt]) {
            array.free();
          }
          this.#n = 0;
        }
        static operation(index) {
          return function run() {
            if (this.#n === 0) {
              throw new Error(`${family.name}: this block has been freed`);
            }
            this.#filter.#requireBlocks(this.#n);
            Filter.#run(this.#filter, index, this.#x.address, this.#d.address, this.#y.address,
              this.#e.address, this.#adapt.address, this.#n);
          };
        }
      }
      return Block;
    }

    // ---- State

    /** Number of coefficients. (Reading those of a spectrum takes it through the time domain.) */
    get taps() {
      return Math.min(this.order, this.fftLen ?? this.order) * (this.partitions ?? 1);
    }

    /** Sizes that are left out stay. */
    resize(sizes = {}) {
      const family = this.#family;
      const known = SIZES.filter((field) => field in this);
      onlyKnown(sizes, known, family.name);
      const [wanted, blockLen, partitions] = SIZES.map((field) =>
        known.includes(field) ? checked({ name: field, type: 'integer' }, sizes[field] ?? this[field], family) : 1);
      const status = wasm.resize(family.index, this.#live, wanted, blockLen, partitions);
      if (status < 0) {
        fail(status, family.name);
      }
      this.#blockLen = this.blockLen ?? 1;
    }

    /** The record's own array of that name, read and written in place, until the memory grows. */
    view(name) {
      const family = this.#family;
      const index = family.arrays.indexOf(name);
      if (index < 0) {
        throw new TypeError(`${family.name}: no array ${name}; there are ${family.arrays.join(', ')}`);
      }
      return reals(wasm.array(family.index, this.#live, index),
        wasm.arrayLength(family.index, this.#address, index));
    }

    /** The whole state, as a value that structuredClone() and postMessage() take. */
    save() {
      const family = this.#family;
      const address = this.#live;
      return {
        family: family.name,
        fields: Object.fromEntries(
          family.fields.map(({ name }, i) => [name, wasm.getField(family.index, address, i)])),
        arrays: Object.fromEntries(family.arrays.map((name) => [name, this.view(name).slice()])),
        borrowed: Object.fromEntries(family.borrowed.map(({ name }, i) =>
          [name, reals(wasm.borrowed(family.index, address, i),
            wasm.borrowedLength(family.index, address, i)).slice()])),
      };
    }

    /** A filter in the state that save() has returned. */
    static restore(saved) {
      const { family } = this;
      const { name } = family;
      if (saved?.family !== name) {
        throw new TypeError(`${name}: no saved state of this family`);
      }
      const { fields, arrays, borrowed } = saved;
      const lengths = family.borrowed.map(({ length }) => length);
      const filter = new this(Object.fromEntries(family.arguments
        .filter((argument) => !lengths.includes(argument.name))
        .map(({ name: argument }) =>
          [argument, argument === 'delta' ? 0 : fields?.[argument] ?? borrowed?.[argument]])));
      try {
        family.fields.forEach((field, i) => {
          const value = (field.type === 'integer' ? integer : real)(fields[field.name], field.name, name);
          if (wasm.setField(family.index, filter.#address, i, value) === 0) {
            throw new RangeError(`${name}: ${field.name} of the saved state is out of range`);
          }
        });
        for (const array of family.arrays) {
          const to = filter.view(array);
          const values = samples(arrays?.[array], array, name);
          sameLength(values, array, to.length, name);
          to.set(values);
        }
      } catch (error) {
        filter.free();
        throw error;
      }
      return filter;
    }

    /** A filter in the same state, which shares nothing with this one. */
    copy() {
      return this.constructor.restore(this.save());
    }

    // ---- The parts that the description names

    static define(family) {
      const operations = {
        update: Filter.#update, filter: Filter.#filter,
        updateRegressors: Filter.#updateRows, filterRegressors: Filter.#filterRows,
      };
      const methods = this.prototype;
      const Block = (this.Block = Filter.blockClass(family));
      family.operations.forEach((operation, index) => {
        if (operation.startsWith('reset')) {
          methods[operation] = function reset() {
            Filter.#run(this, index, 0, 0, 0, 0, 0, 0);
          };
          return;
        }
        const run = operations[operation.replace(/Sign.*/, '')];
        methods[operation] = function operate(...given) {
          return run(index, this, ...given);
        };
        if (!operation.includes('Regressors')) {
          Block.prototype[operation] = Block.operation(index);
        }
      });
      family.fields.forEach(({ name, kind, type }, index) => {
        Object.defineProperty(methods, name, {
          get() {
            return wasm.getField(family.index, this.#live, index);
          },
          set: kind !== 'parameter' ? undefined : function set(value) {
            wasm.setField(family.index, this.#live, index,
              (type === 'integer' ? integer : real)(value, name, family.name));
          },
        });
      });
      family.accessors.forEach(({ name, writable }, index) => {
        const Name = name[0].toUpperCase() + name.slice(1);
        methods[`get${Name}`] = function get(start = 0, count = MAX_INT, reversed = false) {
          const longest = Math.max(...family.arrays.map((_, i) =>
            wasm.arrayLength(family.index, this.#live, i)));
          const buffer = room('x', longest, family.name);
          const copied = wasm.access(family.index, this.#live, index, 0, buffer.address,
            integer(start, 'start', family.name), integer(count, 'count', family.name), reversed ? 1 : 0);
          return copied < 0 ? fail(copied, family.name) : buffer.view.slice(0, copied);
        };
        if (writable) {
          methods[`set${Name}`] = function set(values, start = 0, reversed = false) {
            const given = samples(values, name, family.name);
            const buffer = room('x', given.length, family.name);
            buffer.view.set(given);
            const copied = wasm.access(family.index, this.#live, index, 1, buffer.address,
              integer(start, 'start', family.name), given.length, reversed ? 1 : 0);
            return copied < 0 ? fail(copied, family.name) : copied;
          };
        }
        Object.defineProperty(methods, name, {
          get() {
            return this[`get${Name}`]();
          },
          set: !writable ? undefined : function set(values) {
            const length = name === 'coef' ? this.taps : this[`get${Name}`]().length;
            sameLength(samples(values, name, family.name), name, length, family.name);
            this[`set${Name}`](values);
          },
        });
      });
      if (family.transforms) {
        Object.defineProperty(methods, 'twiddles', {
          get() {
            return reals(wasm.twiddles(family.index, this.#live),
              wasm.twiddlesLength(family.index, this.#address));
          },
        });
      }
    }
  }

  // ---- One class per family

  const bytes = new Uint8Array(memory.buffer, wasm.describe());
  const text = String.fromCharCode(...bytes.subarray(0, bytes.indexOf(0)));
  const classes = {};
  const families = {};
  JSON.parse(text).forEach((family, index) => {
    const className = family.name[0].toUpperCase() + family.name.slice(1, -'64f'.length);
    classes[className] = { [className]: class extends Filter {} }[className];
    classes[className].family = { ...family, index };
    classes[className].define(classes[className].family);
    families[family.name] = classes[className];
  });
  return {
    ...classes,
    families,
    memory,
    restore(saved) {
      const Class = families[saved?.family];
      if (!Class) {
        throw new TypeError('merlo64f: no saved state of a filter');
      }
      return Class.restore(saved);
    },
  };
}
