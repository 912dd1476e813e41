// The long run of tests/long_run.h through the classes: every operation of a family, resets, accessors and
// resizes, on white noise in stretches. Its digest is the family's line in tests/digests.txt.

// std::mt19937_64
class Bits {
  #state = new BigUint64Array(312);
  #next = 312;
  constructor(seed) {
    this.#state[0] = BigInt(seed);
    for (let i = 1; i < 312; ++i) {
      const last = this.#state[i - 1];
      this.#state[i] = 6364136223846793005n * (last ^ (last >> 62n)) + BigInt(i);
    }
  }
  next() {
    const s = this.#state;
    if (this.#next === 312) {
      for (let i = 0; i < 312; ++i) {
        const x = (s[i] & 0xffffffff80000000n) | (s[(i + 1) % 312] & 0x7fffffffn);
        s[i] = s[(i + 156) % 312] ^ (x >> 1n) ^ (x & 1n ? 0xb5026f5aa96619e9n : 0n);
      }
      this.#next = 0;
    }
    let x = s[this.#next++];
    x ^= (x >> 29n) & 0x5555555555555555n;
    x ^= (x << 17n) & 0x71d67fffeda60000n;
    x ^= (x << 37n) & 0xfff7eee000000000n;
    return x ^ (x >> 43n);
  }
}

class Signal {
  #bits;
  silent = false;
  exponent = 0;
  constructor(seed) {
    this.#bits = new Bits(seed);
  }
  next() {
    if (this.silent) {
      return 0;
    }
    // Scaled in two steps: only the last one rounds, where the result is subnormal.
    const value = Number(this.#bits.next() >> 11n);
    const first = Math.max(this.exponent - 52, -1000);
    return value * 2 ** first * 2 ** (this.exponent - 52 - first) - 2 ** this.exponent;
  }
  take(n) {
    return Float64Array.from({ length: n }, () => this.next());
  }
  choose(n) {
    return Number(this.#bits.next() % BigInt(n));
  }
}

// FNV-1a of the bits of all results, low byte first, in two halves of 32 bits. All NaN are equal.
class Trace {
  #high = 0xcbf29ce4;
  #low = 0x84222325;
  #value = new Float64Array(1);
  #bytes = new Uint8Array(this.#value.buffer); // of a little-endian machine, as WebAssembly is
  add(value) {
    this.#value[0] = value;
    if (Number.isNaN(value)) {
      this.#bytes.set([0, 0, 0, 0, 0, 0, 0xf8, 0x7f]);
    }
    for (let i = 0; i < 8; ++i) {
      this.#low = (this.#low ^ this.#bytes[i]) >>> 0;
      const product = this.#low * 0x1b3; // the prime is 2^40 + 0x1b3
      const carry = Math.floor(product / 2 ** 32);
      this.#high = (this.#high * 0x1b3 + carry + this.#low * 2 ** 8) % 2 ** 32;
      this.#low = product % 2 ** 32;
    }
  }
  addAll(values) {
    for (const value of values) {
      this.add(value);
    }
  }
  digest() {
    return [this.#high, this.#low].map((half) => half.toString(16).padStart(8, '0')).join('');
  }
}

// Cosines from additions, divisions and square roots alone: tests/exact_tables.h.
function fillExactly(twiddles) {
  const quarter = twiddles.length / 2;
  let cosine = [1, 0];
  for (let step = 0; cosine.length <= quarter;) {
    step = Math.sqrt((1 + step) / 2);
    cosine = cosine.flatMap((value, j) =>
      (j + 1 < cosine.length ? [value, (value + cosine[j + 1]) / (2 * step)] : [value]));
  }
  for (let pair = 0; pair < quarter / 2; ++pair) {
    let reversed = 0;
    for (let bit = 1; bit < quarter / 2; bit *= 2) {
      reversed = 2 * reversed + (pair & bit ? 1 : 0);
    }
    twiddles[2 * pair] = cosine[2 * reversed];
    twiddles[2 * pair + 1] = cosine[quarter - 2 * reversed];
  }
  for (let j = 0; j < quarter; ++j) {
    twiddles[quarter + j] = 0.5 * cosine[j];
  }
}

// ---- The operations, in the order of tests/families.h

const update = (name = 'update') => (f, signal, trace) => {
  const x = signal.next();
  const { y, e } = f[name]([x], [signal.next()]);
  trace.add(y[0]);
  trace.add(e[0]);
};
const filter = (f, signal, trace) => trace.add(f.filter([signal.next()])[0]);
const predict = (adapt) => (f, signal, trace) => {
  const { y, e } = f.update([signal.next()], { adapt: [adapt] });
  trace.add(y[0]);
  trace.add(e[0]);
};
// tdlms64f of 2^k + 1 taps has a line of 2^k.
const regressors = (f) => {
  const line = f.view('delayLine');
  return Float64Array.from({ length: f.order }, (_, k) => line[k] ?? 0);
};
const updateLinear = (name = 'updateRegressors') => (f, signal, trace) => {
  const line = f.view('delayLine');
  line.copyWithin(1, 0);
  line[0] = signal.next();
  const { y, e } = f[name](regressors(f), [signal.next()]);
  trace.add(y[0]);
  if (!('fftLen' in f)) {
    trace.add(e[0]);
  }
};
const filterLinear = (f, signal, trace) =>
  trace.add(f.filterRegressors(regressors(f))[0]);
const updateBlock = (name = 'update') => (f, signal, trace) => {
  const x = signal.take(f.blockLen);
  const { y, e } = f[name](x, signal.take(f.blockLen));
  trace.add(0); // the status
  trace.addAll(y);
  trace.addAll(e);
};
const filterBlock = (length) => (f, signal, trace) => {
  const y = f.filter(signal.take(length ?? f.blockLen));
  trace.add(0);
  trace.addAll(y);
};
const without = (flag, call) => (f, signal, trace) => {
  f[flag] = 0;
  call(f, signal, trace);
  f[flag] = 1;
};
const onceSettled = (updateCall, filterCall) => (f, signal, trace) => {
  const energy = f.view('bwdEnergy')[f.order - 1];
  (energy > 4 && energy < 100 ? filterCall : updateCall)(f, signal, trace);
};

const mu = (value) => ({ mu: value });
const paths = { secCoef: [0, 0.75, -0.25], estCoef: [0, 0.5, -0.25, 0.125, 0.0625] };
const signs = ['', 'SignErr', 'SignReg', 'SignSign'];
const linear = [update(), updateLinear(), filter, filterLinear];
const gradientPredictor = [predict(1), without('updateCoef', predict(1)), predict(0)];
const leastSquaresPredictor = [
  predict(1), without('updateCoef', predict(1)), onceSettled(predict(1), predict(0))];
const onBlocks = [updateBlock(), filterBlock()];
const RUNS = {
  fir64f: [{ coef: [0.5, -0.25, 1, 0.125, -0.75, 0.0625, 0.375, -1] },
    [filter, filterLinear, filterBlock(41)]],
  lms64f: [{ order: 8, ...mu(0.05) },
    [...signs.map((sign) => update(`update${sign}`)),
      ...signs.map((sign) => updateLinear(`updateRegressors${sign}`)), filter, filterLinear]],
  nlms64f: [{ order: 8, ...mu(0.02) }, linear],
  adjlms64f: [{ order: 8, ...mu(0.01), ...paths }, [update(), filter]],
  fxlms64f: [{ order: 8, ...mu(0.01), ...paths }, [update(), filter]],
  blms64f: [{ order: 8, blockLen: 9, ...mu(0.05) },
    [...signs.map((sign) => updateBlock(`update${sign}`)), filterBlock()]],
  bnlms64f: [{ order: 8, blockLen: 9, ...mu(0.02) }, onBlocks],
  lbpef64f: [{ order: 8, ...mu(0.01) }, gradientPredictor],
  lfpef64f: [{ order: 8, ...mu(0.01) }, gradientPredictor],
  lmslattice64f: [{ order: 8, ...mu(0.005), muCoef: 0.02 },
    [update(), without('adaptParcor', update()), filter]],
  bfdaf64f: [{ order: 8, blockLen: 9, ...mu(0.01), constrained: 1 }, onBlocks],
  pbfdaf64f: [{ order: 8, blockLen: 9, partitions: 3, ...mu(0.01), constrained: 1 }, onBlocks],
  tdlms64f: [{ order: 8, ...mu(0.01) }, [update(), filter, updateLinear(), filterLinear]],
  rls64f: [{ order: 8, lambda: 0.99, delta: 0.5 }, linear],
  rlslattice64f: [{ order: 8, lambda: 0.99 }, [update(), onceSettled(update(), filter)]],
  rlslbpef64f: [{ order: 8, lambda: 0.99 }, leastSquaresPredictor],
  rlslfpef64f: [{ order: 8, lambda: 0.99 }, leastSquaresPredictor],
};

function adaptAndFilter(f, operations, signal, trace, calls) {
  for (let i = 0; i < calls; ++i) {
    operations[signal.choose(operations.length)](f, signal, trace);
  }
}

function readAndWrite(f, signal, trace) {
  for (const { name, writable } of f.constructor.family.accessors) {
    const Name = name[0].toUpperCase() + name.slice(1);
    const start = signal.choose(name === 'coef' ? f.taps : f[name].length);
    const reversed = signal.choose(2) === 1;
    const values = f[`get${Name}`](start, undefined, reversed);
    trace.addAll(values);
    if (writable) {
      f[`set${Name}`](values, 0, !reversed);
    }
  }
}

/** The digest of a family, as the hexadecimal number in tests/digests.txt. */
export function digest({ families }, name) {
  const [options, operations] = RUNS[name];
  const family = families[name].family;
  const signal = new Signal(20);
  const trace = new Trace();
  const f = new families[name](options);
  if (family.transforms) {
    fillExactly(f.twiddles);
  }
  const clear = () => {
    f.reset?.();
    f.resetDelayLine?.();
  };
  for (let i = 0; i < 600; ++i) {
    signal.silent = i % 10 === 3;
    signal.exponent = i % 10 === 6 ? -1060 : i % 10 === 9 ? 16 : 0;
    if (i % 10 === 9) {
      clear();
      adaptAndFilter(f, operations, signal, trace, 3);
      clear();
    } else {
      adaptAndFilter(f, operations, signal, trace, 40);
    }
    if (i % 7 === 5) {
      readAndWrite(f, signal, trace);
    }
    if (i % 13 === 11) {
      const order = signal.choose(family.maxOrder + 2) + 1;
      const smallest = name === 'tdlms64f' ? 3 : 1;
      family.maxOrder += 2; // the classes refuse what the module reduces
      if (order >= smallest) {
        f.resize({ order });
      }
      family.maxOrder -= 2;
      trace.add(order >= smallest ? 0 : -2); // the status
    }
    for (const array of family.arrays) {
      trace.addAll(f.view(array));
    }
  }
  f.free();
  return trace.digest();
}
