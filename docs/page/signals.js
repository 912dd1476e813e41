// The signals of the jobs. Voices, noises, paths and rooms are those of examples/demo, sample for sample up
// to the last bits of exp and cos.

// Uniform in -1 .. 1, power 1/3: a 64-bit linear congruential generator in two halves.
export class WhiteNoise {
  #high;
  #low;
  constructor(seed) {
    this.#high = 0;
    this.#low = seed >>> 0;
  }
  next() {
    // state * 0x5851f42d4c957f2d + 0x14057b7ef767814f
    const a = this.#low & 0xffff;
    const b = this.#low >>> 16;
    const low = a * 0x7f2d;
    const middle = b * 0x7f2d + a * 0x4c95 + (low >>> 16);
    const sum = ((middle & 0xffff) * 0x10000 + (low & 0xffff)) % 2 ** 32 + 0xf767814f;
    const carry = Math.floor(middle / 0x10000) + b * 0x4c95 + (sum >= 2 ** 32 ? 1 : 0);
    this.#high = (Math.imul(this.#high, 0x4c957f2d) + Math.imul(this.#low, 0x5851f42d) + carry +
      0x14057b7e) >>> 0;
    this.#low = sum >>> 0;
    return (this.#high * 2 ** 21 + (this.#low >>> 11)) * 2 ** -52 - 1;
  }
}

export const make = (n, sample) => Float64Array.from({ length: n }, (_, i) => sample(i));
export const energy = (x) => x.reduce((sum, v) => sum + v * v, 0);
export const power = (x) => energy(x) / x.length;
export const scaled = (x, gain) => x.map((v) => v * gain);
export const decibels = (ratio) => 10 * Math.log10(ratio);

/** White noise of power 1. */
export function white(n, seed) {
  const noise = new WhiteNoise(seed);
  return make(n, () => Math.sqrt(3) * noise.next());
}

/** Adds white noise of a level in dB re full scale to block after block. */
export function noisy(seed, level) {
  const noise = new WhiteNoise(seed);
  const amplitude = Math.sqrt(3) * 10 ** (level / 20);
  return (block) => block.map((v) => v + amplitude * noise.next());
}

/** A random response with a time constant of an eighth of its length and an energy of 1. */
export function decaying(taps, seed) {
  const h = white(taps, seed).map((v, k) => v * Math.exp((-8 * k) / taps));
  return scaled(h, 1 / Math.sqrt(energy(h)));
}

/** A windowed sinc of 32 taps with unit gain at 0 Hz; cutoff in cycles per sample. */
function lowPass(cutoff, window) {
  const taps = make(32, (k) => {
    const t = k - 15.5;
    return (Math.sin(2 * Math.PI * t * cutoff) / t) *
      (window + (1 - window) * Math.cos((2 * Math.PI * t) / 32));
  });
  return scaled(taps, 1 / taps.reduce((sum, v) => sum + v, 0));
}

export const VOICE_RATE = 48000; // Hz
const VOWELS = [[730, 1090, 2440], [270, 2290, 3010], [300, 870, 2240], [530, 1840, 2480], [570, 840, 2410]];

/** A pulse train of varying pitch through the formants of one vowel per syllable. */
export function voice(seconds) {
  const period = Math.floor(0.28 * VOICE_RATE);
  const x = new Float64Array(Math.floor(seconds * VOICE_RATE));
  let cycle = 0;
  for (let from = 0, count = 0; from < x.length; from += period, ++count) {
    const vowel = VOWELS[(count * 3 + Math.floor(count / 7)) % VOWELS.length];
    const formants = vowel.map((centre, k) => {
      const radius = Math.exp((-Math.PI * [80, 100, 140][k]) / VOICE_RATE);
      const a1 = 2 * radius * Math.cos((2 * Math.PI * centre) / VOICE_RATE);
      return { a1, a2: -radius * radius, y1: 0, y2: 0 };
    });
    for (let n = 0; n < Math.min(period, x.length - from); ++n) {
      const t = n / VOICE_RATE;
      cycle += (115 + 18 * Math.cos(0.7 * count + 6 * t)) / VOICE_RATE;
      const pulse = cycle >= 1 ? 1 : 0;
      cycle -= pulse;
      let sample = pulse;
      for (const f of formants) {
        sample = (1 - f.a1 - f.a2) * sample + f.a1 * f.y1 + f.a2 * f.y2;
        f.y2 = f.y1;
        f.y1 = sample;
      }
      const open = t / 0.2;
      const envelope = open < 1 ? Math.sin(Math.PI * open) ** 2 : 0;
      x[from + n] = count % 8 === 7 ? 0 : envelope * sample;
    }
  }
  return x;
}

/** The voice at another rate; a pitch other than 1 also changes the speed. */
export function voiceAt(Fir, rate, seconds, pitch) {
  const advance = (pitch * VOICE_RATE) / rate;
  const coef = lowPass(0.425 / Math.max(1, advance), 0.5);
  const smooth = new Fir({ coef }).filter(voice(seconds * pitch + 0.1));
  return make(Math.floor(seconds * rate), (i) => {
    const at = advance * i;
    const before = Math.floor(at);
    const part = at - before;
    return smooth[before] + part * ((smooth[before + 1] ?? 0) - smooth[before]);
  });
}

/** Fan noise: white noise through a pole at 0.6, modulated at 23 Hz; after every 2.5 s a pause of 0.7 s. */
export function fanNoise(n, rate) {
  const noise = new WhiteNoise(20);
  let last = 0;
  return make(n, (i) => {
    last = noise.next() + 0.6 * last;
    return (i / rate) % 3.2 >= 2.5 ? 0 : last * (1 + 0.25 * Math.sin((2 * Math.PI * 23 * i) / rate));
  });
}

/** Four samples of delay, the direct sound, and decaying reflections. */
export function acousticPath(speed = 0.9) {
  return make(32, (k) => (k < 4 ? 0 : 0.8 * Math.exp(-(k - 4) / 6) * Math.cos(speed * (k - 4)) +
    0.12 * Math.exp(-(k - 4) / 12) * Math.sin(2.3 * (k - 4))));
}

/** Direct sound after 2 ms, six reflections, reverberation that decays by 60 dB in 150 ms. */
export function roomResponse(rate, moved = 0) {
  const delays = [2, 5.3, 7.9, 11.2, 14.6, 19.1, 24.8];
  const gains = [1, -0.45, 0.38, -0.3, 0.26, 0.2, -0.16];
  const response = new Float64Array(Math.floor(1.2 * 0.15 * rate));
  const noise = new WhiteNoise(30 + moved);
  for (let n = Math.floor(0.004 * rate); n < response.length; ++n) {
    response[n] = 0.12 * noise.next() * 10 ** ((-60 * n) / rate / 0.15 / 20);
  }
  delays.forEach((delay, k) => {
    response[Math.floor(((delay + (k > 0 ? 0.6 * moved : 0)) * rate) / 1000)] += gains[k];
  });
  return response;
}

/** A resonance after a delay, as a path of the duct. */
export function ductPath(rate, delay, gain, decay, frequency) {
  return make(32, (k) => (k < delay ? 0 : gain * Math.exp(-(k - delay) / decay) *
    Math.cos(((2 * Math.PI * frequency) / rate) * (k - delay))));
}

/** White noise through a pole. */
export function coloured(n, seed, pole, amplitude) {
  const noise = new WhiteNoise(seed);
  let last = 0;
  return make(n, () => (last = amplitude * noise.next() + pole * last));
}

/** Tones of a fan's blades: 140 Hz, modulated by 2 Hz in 7 s, and three harmonics. */
export function bladeTones(n, rate) {
  let phase = 0;
  return make(n, (i) => {
    phase += (2 * Math.PI * (140 + 2 * Math.sin((2 * Math.PI * i) / rate / 7))) / rate;
    return [2, 1.1, 0.7, 0.4].reduce((sum, a, k) => sum + a * Math.sin((k + 1) * phase), 0);
  });
}
