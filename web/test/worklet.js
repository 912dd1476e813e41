// A canceller in an AudioWorklet: input 0 is the reference, input 1 the signal; the output is the error.
import { instantiate } from './merlo64f.js';

registerProcessor('canceller', class extends AudioWorkletProcessor {
  constructor({ processorOptions: { module } }) {
    super();
    const { Nlms } = instantiate(module);
    this.block = new Nlms({ order: 32, mu: 0.01 }).block(128);
  }
  process([[reference], [signal]], [[output]]) {
    if (reference && signal) {
      this.block.x.set(reference);
      this.block.d.set(signal);
      this.block.update();
      output.set(this.block.e);
    }
    return true;
  }
});
