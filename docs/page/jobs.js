// The jobs: their signals as streams that can be disturbed, and how a family is set up for them.
import {
  WhiteNoise, acousticPath, bladeTones, coloured, decaying, ductPath, energy, fanNoise, make, noisy,
  power, roomResponse, scaled, voice, voiceAt,
} from './signals.js';

export const BLOCK = 32; // samples; the block length of the families that have one
const FLOOR = 1e-5; // power of x re full scale, below which the hosts of the demo do not adapt

// The system that is to be learned, of up to 32 taps, exchangeable while it runs.
class System {
  #filter;
  constructor(merlo, taps) {
    this.#filter = new merlo.Fir({ coef: taps });
  }
  set(taps) {
    this.#filter.coef = taps;
  }
  filter(x) {
    return this.#filter.filter(x);
  }
}

// A response of any length: the library's own partitioned filter, which does not adapt.
class LongSystem {
  #filter;
  constructor(merlo, taps) {
    this.#filter = new merlo.Pbfdaf({
      order: BLOCK, blockLen: BLOCK, partitions: Math.ceil(taps.length / BLOCK), mu: 0, constrained: 1,
    });
    this.set(taps);
  }
  set(taps) {
    const all = new Float64Array(this.#filter.taps);
    all.set(taps);
    this.#filter.coef = all;
  }
  filter(x) {
    return this.#filter.filter(x);
  }
}

// The samples of an array over and over again.
class Loop {
  #samples;
  #at = 0;
  constructor(samples) {
    this.#samples = samples;
  }
  next(n) {
    return make(n, (i) => this.#samples[(this.#at + i) % this.#samples.length]);
  }
  skip(n) {
    this.#at += n;
  }
}

const sum = (a, b) => a.map((v, i) => v + b[i]);

// A stream gives, block by block: x and d for the filters; clean, what remains in d when the filter is
// perfect; held, for each sample whether a careful host would not adapt.
class Stream {
  quietLeft = 0; // samples
  doubleLeft = 0;
  changes = 0;
  burst = new WhiteNoise(77);
  /** Prepares a filter's error for the ear; of each filter its own. */
  finisher() {
    return (e) => e;
  }
  next(n) {
    const gain = this.quietLeft > 0 ? 1e-3 : 1;
    const block = this.produce(n, gain);
    const disturbed = this.quietLeft > 0 || this.doubleLeft > 0;
    block.held = make(n, (i) => disturbed || (block.held?.[i] ?? 0));
    if (this.doubleLeft > 0) {
      const noise = make(n, () => Math.sqrt(3) * this.level * this.burst.next());
      block.clean = sum(block.clean, noise);
      block.d = sum(block.d, noise);
    }
    this.quietLeft -= n;
    this.doubleLeft -= n;
    return { before: block.d, ...block };
  }
  change() {
    this.changes += 1;
    this.truth = this.system_(this.changes);
    this.system.set(this.truth);
  }
}

class Identification extends Stream {
  constructor(merlo, { input }) {
    super();
    this.noise = new WhiteNoise(1);
    this.other = new WhiteNoise(3001);
    this.pole = input === 'white' ? 0 : 0.9;
    this.last = 0;
    this.truth = this.system_(0);
    this.system = new System(merlo, this.truth);
    this.power = 1;
    this.level = 1;
  }
  system_(changes) {
    return decaying(32, 1001 + changes);
  }
  produce(n, gain) {
    const root = Math.sqrt(1 - this.pole ** 2);
    const x = make(n, () => {
      const sample = Math.sqrt(3) * this.noise.next();
      this.last = this.pole === 0 ? sample : this.pole * this.last + root * sample;
      return gain * this.last;
    });
    const clean = make(n, () => 1e-3 * Math.sqrt(3) * this.other.next());
    return { x, clean, d: sum(this.system.filter(x), clean) };
  }
}

class NoiseCancelling extends Stream {
  constructor(merlo) {
    super();
    const speech = voice(12);
    let fan = fanNoise(speech.length, this.rate);
    this.truth = this.system_(0);
    this.system = new System(merlo, this.truth);
    let heard = new System(merlo, this.truth).filter(fan);
    const noiseGain = Math.sqrt(power(speech) / power(heard) / 10 ** -0.5); // voice 5 dB below the noise
    heard = scaled(heard, noiseGain);
    fan = scaled(fan, noiseGain);
    let peak = 0;
    speech.forEach((v, i) => {
      peak = Math.max(peak, Math.abs(v + heard[i]), Math.abs(fan[i]));
    });
    this.speech = new Loop(scaled(speech, 0.7 / peak));
    this.fan = new Loop(scaled(fan, 0.7 / peak));
    this.power = power(fan.filter((v) => v !== 0)) * (0.7 / peak) ** 2; // while it runs
    this.level = Math.sqrt(power(heard)) * (0.7 / peak);
    this.microphone = noisy(21, -90);
    this.smoothed = 1; // power of x, as nlms64f has it
  }
  rate = 48000;
  system_(changes) {
    return acousticPath(0.9 + 0.5 * (changes % 3));
  }
  produce(n, gain) {
    const fan = scaled(this.fan.next(n), gain);
    const clean = this.speech.next(n);
    this.fan.skip(n);
    this.speech.skip(n);
    const x = this.microphone(fan);
    const held = x.map((v) => {
      const below = this.smoothed < FLOOR;
      this.smoothed = 0.99 * this.smoothed + 0.01 * v * v;
      return below;
    });
    return { x, clean, d: sum(this.system.filter(fan), clean), held };
  }
}

class LineEnhancement extends Stream {
  constructor() {
    super();
    this.noise = new WhiteNoise(5);
    this.phases = [0, 0];
    this.last = 0;
    this.level = 0.1;
    this.power = 0.02;
    this.truth = null;
  }
  produce(n, gain) {
    const frequencies = [1800, 5200].map((f) => f * (1 + 0.25 * (this.changes % 3)));
    const clean = make(n, () => gain * 0.1 * Math.sqrt(3) * this.noise.next());
    const d = clean.map((noise) => frequencies.reduce((total, f, k) => {
      this.phases[k] += (2 * Math.PI * f) / 48000;
      return total + gain * 0.1 * Math.sin(this.phases[k]);
    }, noise));
    const x = make(n, (i) => (i > 0 ? d[i - 1] : this.last));
    this.last = d[n - 1];
    return { x, clean, d };
  }
  change() {
    this.changes += 1;
  }
}

const EMPHASIS = 0.9;
class Echo extends Stream {
  constructor(merlo) {
    super();
    const rate = 16000;
    const at = (seconds) => Math.floor(seconds * rate);
    const [bothFrom, nearFrom, farAgain, end] = [24, 27.5, 29.5, 33];
    const farVoice = voiceAt(merlo.Fir, rate, nearFrom + end - farAgain, 1);
    let far = new Float64Array(at(end));
    far.set(farVoice.subarray(0, at(nearFrom)));
    far.set(farVoice.subarray(at(nearFrom)), at(farAgain));
    let near = new Float64Array(at(end));
    near.set(voiceAt(merlo.Fir, rate, farAgain - bothFrom, 0.8), at(bothFrom));
    far = scaled(far, 0.7 / far.reduce((most, v) => Math.max(most, Math.abs(v)), 0));
    this.far = new Loop(far);
    const line = () => noisy(32, -75);
    this.line = line();
    far = line()(far);

    this.rate = rate;
    this.gain_ = 1;
    const unscaled = new LongSystem(merlo, roomResponse(rate)).filter(far);
    this.gain_ = 10 ** (-6 / 20) * Math.sqrt(power(far) / power(unscaled));
    const echo = scaled(unscaled, this.gain_);
    const echoPower = power(echo.subarray(0, at(nearFrom)));
    near = scaled(near, Math.sqrt(echoPower / power(near.subarray(at(bothFrom), at(farAgain)))));
    this.truth = this.system_(0);
    this.system = new LongSystem(merlo, this.truth);
    this.noise = new WhiteNoise(31);
    this.noiseGain = 10 ** (-45 / 20) * Math.sqrt(3 * echoPower);
    this.level = Math.sqrt(echoPower);

    // The level at which the filters work: see examples/echo_canceller.cpp.
    let last = 0;
    const emphasised = far.map((v) => {
      const y = v - EMPHASIS * last;
      last = v;
      return y;
    });
    this.working = Math.sqrt(0.5e-6 / power(emphasised));
    this.power = 0.5e-6;
    this.near = new Loop(near);
    this.smoothed = 0; // power of the far end
    this.lastX = 0;
    this.lastD = 0;
    this.position = 0;
    this.talk = [at(bothFrom), at(farAgain), at(end)]; // the near end: from, to, of
  }
  system_(changes) {
    return scaled(roomResponse(this.rate, changes), this.gain_);
  }
  emphasise(x, last) {
    return x.map((v, i) => this.working * (v - EMPHASIS * (i > 0 ? x[i - 1] : last)));
  }
  produce(n, gain) {
    const far = this.line(scaled(this.far.next(n), gain));
    const near = this.near.next(n);
    this.far.skip(n);
    this.near.skip(n);
    const heard = sum(this.system.filter(far), make(n, () => this.noiseGain * this.noise.next()));
    const keep = Math.exp(-n / (0.03 * this.rate));
    this.smoothed = keep * this.smoothed + (1 - keep) * power(far);
    const moment = this.position % this.talk[2];
    this.position += n;
    const talk = moment >= this.talk[0] && moment < this.talk[1]; // the demo has a second filter for this
    return { far, clean: near, d: sum(heard, near), held: far.map(() => talk || this.smoothed < FLOOR) };
  }
  next(n) {
    const block = super.next(n);
    const x = this.emphasise(block.far, this.lastX);
    const d = this.emphasise(block.d, this.lastD);
    this.lastX = block.far[n - 1];
    this.lastD = block.d[n - 1];
    return { ...block, x, d, before: block.d };
  }
  finisher() {
    let last = 0;
    return (e) => e.map((v) => (last = v / this.working + EMPHASIS * last));
  }
}

class Control extends Stream {
  constructor(merlo) {
    super();
    const rate = 4000;
    this.rate = rate;
    const n = 60 * rate;
    const fan = sum(bladeTones(n, rate), coloured(n, 1, 0.5, 0.7));
    const reference = sum(fan, coloured(n, 2, 0.5, 0.03));
    this.secondary = ductPath(rate, 6, 0.6, 4, 500);
    this.estimate = this.identify(merlo);
    this.system = new System(merlo, this.system_(0));
    const primary = new System(merlo, this.system_(0)).filter(fan);
    this.level = Math.sqrt(power(primary));
    this.power = power(reference);
    this.fan = new Loop(fan);
    this.reference = new Loop(reference);
    this.turbulence = new Loop(coloured(n, 3, 0.5, 0.02));
    this.truth = null;
  }
  // 3 s of white noise, 10 dB above other noise at the error microphone.
  identify(merlo) {
    const [noise, other] = [new WhiteNoise(4), new WhiteNoise(5)];
    const probe = make(3 * this.rate, () => noise.next());
    const heard = new System(merlo, this.secondary).filter(probe);
    const gain = Math.sqrt(power(heard) / power(probe) / 10);
    const filter = new merlo.Lms({ order: 24, mu: 0.1 / (24 * power(probe)) });
    filter.update(probe, heard.map((v) => v + gain * other.next()));
    return filter.coef;
  }
  system_(changes) {
    return ductPath(this.rate, 14 + (changes % 2), 0.8, 5, 300 + 60 * (changes % 3));
  }
  produce(n, gain) {
    const x = scaled(this.reference.next(n), gain);
    const fan = scaled(this.fan.next(n), gain);
    const d = sum(this.system.filter(fan), this.turbulence.next(n));
    [this.reference, this.fan, this.turbulence].forEach((loop) => loop.skip(n));
    return { x, d, clean: new Float64Array(n) };
  }
  change() {
    super.change();
    this.truth = null;
  }
}

const TRANSVERSAL = ['lms64f', 'nlms64f', 'tdlms64f', 'blms64f', 'bnlms64f', 'bfdaf64f', 'pbfdaf64f',
  'lmslattice64f', 'rls64f', 'rlslattice64f'];

/** rate: Hz. point: samples per point of the learning curve, a multiple of BLOCK. pace: samples per second at first.
 * start: the settings of both filters; order in taps, step relative to the stability limit for white noise.
 * hold: whether the host is careful at first, as that of the demo. */
export const JOBS = {
  identification: {
    title: 'Identification',
    about: 'An unknown system of 32 taps, with noise 60 dB below its output. The filter sees input and output.',
    curve: 'residual re system output', Stream: Identification, rate: 48000, point: 32, inSamples: true,
    pace: 3000, inputs: { white: 'white noise', coloured: 'coloured noise, 26 dB span' },
    families: TRANSVERSAL, start: [['lms64f', { step: 0.25 }], ['rls64f', { memory: 1000 }]],
    range: [-70, 10], sounds: ['system output', 'residual'],
  },
  noise: {
    title: 'Noise cancelling',
    about: 'A voice beside a fan, 5 dB below its noise. A second microphone at the fan hears the noise only. ' +
      'After every 2.5 s the fan pauses for 0.7 s; a filter that adapts in the pause follows the voice.',
    curve: 'residual noise re noise', Stream: NoiseCancelling, rate: 48000, point: 2400, pace: 48000,
    families: TRANSVERSAL, start: [['nlms64f', { step: 0.0015 }], ['rls64f', { memory: 200000 }]], hold: true,
    range: [-50, 10], sounds: ['voice and noise', 'voice'],
  },
  line: {
    title: 'Line enhancement',
    about: 'Two tones in white noise of the same power. The filter predicts the next sample: tones can be ' +
      'predicted, white noise cannot.',
    curve: 'residual re tones', Stream: LineEnhancement, rate: 48000, point: 480, pace: 48000,
    families: ['lms64f', 'nlms64f', 'tdlms64f', 'lfpef64f', 'rls64f', 'rlslfpef64f', 'lmslattice64f'],
    start: [['nlms64f', { step: 0.02 }], ['rls64f', { memory: 5000 }]],
    range: [-30, 10], sounds: ['tones and noise', 'tones'], outputIsWanted: true,
  },
  echo: {
    title: 'Echo, double talk',
    about: 'A telephone in a living room with 0.15 s of reverberation. Of every 33 s the near end speaks from ' +
      '24 s to 29.5 s, and the far end is silent from 27.5 s to 29.5 s.',
    curve: 'residual echo re echo', Stream: Echo, rate: 16000, point: 1600, pace: 16000,
    families: ['pbfdaf64f', 'bfdaf64f', 'nlms64f', 'bnlms64f'],
    start: [['pbfdaf64f', { order: 1536, step: 0.6 }], ['nlms64f', { step: 0.25 }]], hold: true,
    range: [-45, 15], sounds: ['microphone', 'without echo'],
  },
  control: {
    title: 'Active control',
    about: 'Fan noise in a duct. The loudspeaker adds a sound that cancels it at the error microphone, through ' +
      'a secondary path that was identified before.',
    curve: 'noise with control re noise without', Stream: Control, rate: 4000, point: 320, pace: 8000,
    families: ['fxlms64f', 'adjlms64f'],
    start: [['fxlms64f', { step: 0.05 }], ['adjlms64f', { step: 0.05 }]],
    range: [-50, 10], sounds: ['without control', 'with control'],
  },
};

export const hasMemory = (family) => family.startsWith('rls'); // a memory instead of a step size
export const largestOrder = (family) =>
  (family === 'pbfdaf64f' ? 4096 : family.endsWith('pef64f') ? 10 : 32);
export const orderStep = (family) => (family === 'pbfdaf64f' ? BLOCK : 1);
export const smallestOrder = (family) => ({ pbfdaf64f: BLOCK, tdlms64f: 3 }[family] ?? 1);

const powerOfTwo = (n) => 2 ** Math.ceil(Math.log2(n));

/** What the constructor of a family takes, for settings of the page. */
export function options(family, { order, step, memory }, stream) {
  const limit = 2 / order; // of the step size, for white noise of power 1
  const lambda = 1 - 1 / memory;
  switch (family) {
    case 'lms64f': return { order, mu: (step * limit) / stream.power };
    case 'blms64f': return { order, mu: (step * limit) / stream.power, blockLen: BLOCK };
    case 'nlms64f': return { order, mu: step * limit };
    case 'bnlms64f': return { order, mu: step * limit, blockLen: BLOCK };
    case 'tdlms64f': return { order, mu: (step * 2) / powerOfTwo(order - 1) };
    case 'bfdaf64f': return { order, mu: (step * 2) / BLOCK, blockLen: BLOCK, constrained: 1 };
    case 'pbfdaf64f': return {
      order: BLOCK, blockLen: BLOCK, partitions: order / BLOCK, mu: step * limit, constrained: 1,
    };
    case 'fxlms64f':
    case 'adjlms64f': { // fxlms64f divides by the power of the filtered reference, adjlms64f by that of x
      const gain = family === 'adjlms64f' ? energy(stream.estimate) : 1;
      const mu = (step * 2) / (order + stream.estimate.length) / gain;
      return { order, mu, secCoef: stream.secondary, estCoef: stream.estimate };
    }
    case 'lfpef64f': return { order, mu: 0.02 * step };
    case 'lmslattice64f': return { order, mu: 0.01, muCoef: step * limit };
    case 'rls64f': return { order, lambda, delta: 1 };
    default: return { order, lambda };
  }
}
