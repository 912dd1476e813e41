// Learns in the background: two filters on the signals of a job, at a pace in samples per second.
import { instantiate } from '../../web/merlo64f.js';
import wasm from 'merlo64f.wasm';
import { digest } from '../../web/test/long_run.js';
import { BLOCK, JOBS, options } from './jobs.js';
import { decibels } from './signals.js';

const merlo = instantiate(new WebAssembly.Module(wasm));
const TICK = 16; // ms
const HEARD = 6; // s that can be listened to
const SPECTRUM = 1024; // samples

// ---- A filter under observation

class Learner {
  constructor(family, settings, job, stream) {
    this.family = family;
    this.finish = stream.finisher();
    this.job = job;
    this.stream = stream;
    this.heard = new Float32Array(HEARD * job.rate);
    this.setUp(settings);
  }

  setUp(settings) {
    this.filter?.free();
    this.settings = settings;
    const wanted = options(this.family, settings, this.stream);
    this.filter = new merlo.families[this.family](wanted);
    this.inBlocks = 'blockLen' in wanted; // and adapts in whole blocks
    this.residual = 0;
    this.diverged = false;
  }

  // A step size or memory changes at once; another order keeps what has been learned.
  change(settings) {
    if (this.diverged) {
      return this.setUp(settings);
    }
    const wanted = options(this.family, settings, this.stream);
    if (settings.order !== this.settings.order) {
      const { order, partitions } = wanted;
      this.filter.resize(partitions ? { partitions } : { order });
    }
    for (const name of ['mu', 'muCoef', 'lambda']) {
      if (name in wanted) {
        this.filter[name] = wanted[name];
      }
    }
    if ('invLambda' in this.filter) {
      this.filter.invLambda = 1 / wanted.lambda;
    }
    this.settings = settings;
  }

  process({ x, d, clean, held }, hold, at) {
    const adapt = { adapt: held.map((_, i) => (hold && held[this.inBlocks ? 0 : i] ? 0 : 1)) };
    const { y, e } = this.filter.constructor.family.predicts
      ? this.filter.update(d, adapt) : this.filter.update(x, d, adapt);
    const out = this.finish(e);
    const sound = this.job.outputIsWanted ? y : out;
    for (let i = 0; i < x.length; ++i) {
      this.residual += (out[i] - clean[i]) ** 2;
      this.heard[(at + i) % this.heard.length] = sound[i];
    }
    if (!Number.isFinite(this.residual)) {
      this.diverged = true;
    }
  }

  // The impulse response. Spectra and lattices are asked by a copy, so that the filter is not touched.
  response() {
    const { family, filter } = this;
    if (family.includes('lattice')) {
      const copy = filter.copy();
      copy.delayLine = new Float64Array(filter.order);
      const impulse = new Float64Array(filter.order);
      impulse[0] = 1;
      const h = copy.filter(impulse);
      copy.free();
      return h;
    }
    if (filter.constructor.family.transforms) {
      const copy = filter.copy();
      const { coef } = copy;
      copy.free();
      return coef;
    }
    return filter.coef;
  }
}

// ---- Spectra: the last SPECTRUM samples under a Hann window, smoothed over time

function spectrum(samples) {
  const n = SPECTRUM;
  const re = new Float64Array(n);
  const im = new Float64Array(n);
  const bits = Math.log2(n);
  for (let i = 0; i < n; ++i) {
    let reversed = 0;
    for (let bit = 0; bit < bits; ++bit) {
      reversed |= ((i >> bit) & 1) << (bits - 1 - bit);
    }
    re[reversed] = samples[i] * (1 - Math.cos((2 * Math.PI * i) / n));
  }
  for (let half = 1; half < n; half *= 2) {
    for (let k = 0; k < half; ++k) {
      const c = Math.cos((Math.PI * k) / half);
      const s = -Math.sin((Math.PI * k) / half);
      for (let i = k; i < n; i += 2 * half) {
        const j = i + half;
        const a = re[j] * c - im[j] * s;
        const b = re[j] * s + im[j] * c;
        re[j] = re[i] - a;
        im[j] = im[i] - b;
        re[i] += a;
        im[i] += b;
      }
    }
  }
  return Float64Array.from({ length: n / 2 }, (_, k) => (re[k] ** 2 + im[k] ** 2) / (0.75 * n * n));
}

class Smoothed {
  add(now) {
    this.power = this.power ? this.power.map((v, k) => 0.8 * v + 0.2 * now[k]) : now;
    return this.power.map((v) => Math.max(decibels(v), -140));
  }
}

// ---- The run

let run = null;

class Run {
  constructor({ run: number, job: name, input, filters, pace, hold }) {
    this.number = number;
    this.job = JOBS[name];
    this.stream = new this.job.Stream(merlo, { input });
    this.learners = filters.map(({ family, settings }) =>
      new Learner(family, settings, this.job, this.stream));
    this.before = new Float32Array(HEARD * this.job.rate);
    this.spectra = [0, 1, 2].map(() => new Smoothed());
    this.pace = pace;
    this.hold = hold;
    this.done = 0; // samples
    this.due = 0;
    this.reference = 0;
    this.mean = 0;
    this.inPoint = 0;
    this.points = [];
    this.last = performance.now();
    this.ticks = 0;
  }

  tick() {
    const now = performance.now();
    this.due = Math.min(this.due + ((now - this.last) * this.pace) / 1000, this.pace / 5);
    this.last = now;
    while (this.due >= BLOCK) {
      this.step();
      this.due -= BLOCK;
    }
    this.report();
  }

  step() {
    const block = this.stream.next(BLOCK);
    for (let i = 0; i < BLOCK; ++i) {
      this.reference += (block.before[i] - block.clean[i]) ** 2;
      this.before[(this.done + i) % this.before.length] = block.before[i];
    }
    for (const learner of this.learners) {
      if (!learner.diverged) {
        learner.process(block, this.hold, this.done);
      }
    }
    this.done += BLOCK;
    this.inPoint += BLOCK;
    if (this.inPoint >= this.job.point) {
      this.addPoint();
    }
  }

  // A point of the curve is missing where there is hardly anything to cancel.
  addPoint() {
    this.mean = Math.max(this.mean, this.reference / 4);
    const silent = this.reference < 1e-3 * this.mean;
    this.points.push([this.done, ...this.learners.map((learner) => {
      const level = decibels(learner.residual / this.reference);
      learner.residual = 0;
      return silent || learner.diverged ? null : level;
    }), this.reference / this.job.point]);
    this.reference = 0;
    this.inPoint = 0;
  }

  // The last samples of a ring, oldest first.
  newest(ring, n) {
    return Float64Array.from({ length: n }, (_, i) =>
      ring[(this.done - n + i + 8 * ring.length) % ring.length]);
  }

  report() {
    const message = {
      type: 'progress', run: this.number, done: this.done, points: this.points,
      diverged: this.learners.map(({ diverged }) => diverged),
    };
    this.points = [];
    if (this.ticks++ % 6 === 0) { // ten times a second
      message.responses = this.learners.map((l) => (l.diverged ? null : l.response()));
      message.truth = this.stream.truth;
      const rings = [this.before, ...this.learners.map(({ heard }) => heard)];
      const newest = rings.map((ring) => this.newest(ring, SPECTRUM));
      message.waveforms = newest;
      message.spectra = newest.map((samples, k) =>
        (samples.every(Number.isFinite) ? this.spectra[k].add(spectrum(samples)) : null));
    }
    postMessage(message);
  }

  sounds() {
    const n = Math.min(this.done, this.before.length);
    return [this.before, ...this.learners.map(({ heard }) => heard)].map((ring) =>
      Float32Array.from(this.newest(ring, n)));
  }
}

setInterval(() => run?.running !== false && run?.tick(), TICK);

const MESSAGES = {
  start: (message) => {
    run = new Run(message);
    run.running = message.running;
  },
  change: ({ index, settings }) => run.learners[index].change(settings),
  set: ({ pace, hold, running }) => {
    Object.assign(run, { pace, hold, running, last: performance.now() });
  },
  mistake: ({ kind }) => {
    if (kind === 'quiet') {
      run.stream.quietLeft = run.pace;
    } else if (kind === 'double') {
      run.stream.doubleLeft = run.pace;
    } else {
      run.stream.change();
    }
  },
  listen: () => postMessage({ type: 'sounds', rate: run.job.rate, sounds: run.sounds() }),
  digests: () => {
    for (const family of Object.keys(merlo.families)) {
      postMessage({ type: 'digest', family, digest: digest(merlo, family) });
    }
  },
};

onmessage = ({ data }) => {
  try {
    MESSAGES[data.type](data);
  } catch (error) {
    postMessage({ type: 'error', message: error.message });
  }
};
