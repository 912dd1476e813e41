// Compiled against the declarations, not run.
import { compile, instantiate, load, type Saved } from 'merlo64f';

const { Fir, Lms, Lfpef, Pbfdaf, families, restore } = await load();
const filter = new Lms({ order: 32, mu: 0.01 });
const { y, e } = filter.update([1, 2], new Float32Array(2), { adapt: [true, 0] });
const sum: number = y[0] + e[0] + filter.mu + filter.taps;
filter.mu = sum;
filter.coef = filter.copy().coef;
const saved: Saved = filter.save();
restore(saved).free();
const block = filter.block(128);
block.x.set(block.e);
block.updateSignErr();
new Lfpef({ order: 4, mu: 0.1 }).update(y, { y });
new Pbfdaf({ order: 32, blockLen: 32, partitions: 4, mu: 0.1, constrained: true }).resize({ partitions: 2 });
new families.fir64f({ coef: [1] }).filterRegressors([1]);
instantiate(await compile('merlo64f.wasm'));

// @ts-expect-error: a required argument
new Lms({ order: 32 });
// @ts-expect-error: a size, which only resize() changes
filter.order = 3;
// @ts-expect-error: a predictor has no desired signal
new Lfpef({ order: 4, mu: 0.1 }).update([1], [1]);
// @ts-expect-error: a fixed filter does not adapt
new Fir({ coef: [1] }).update([1], [1]);
// @ts-expect-error: no operation of a block
block.updateRegressors();
