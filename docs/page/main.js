// The page: controls, charts, sound. The filters are in the worker.
import uPlot from 'uplot';
import workerSource from 'worker-source';
import expectedText from '../../tests/digests.txt';
import { JOBS, hasMemory, largestOrder, orderStep, smallestOrder } from './jobs.js';

const $ = (selector) => document.querySelector(selector);
const element = (tag, properties = {}, children = []) => {
  const made = Object.assign(document.createElement(tag), properties);
  made.append(...children);
  return made;
};
const newWorker = () => {
  const url = URL.createObjectURL(new Blob([workerSource], { type: 'text/javascript' }));
  return new Worker(url);
};
const SIDES = ['A', 'B'];
const KEPT = 1500; // points of the learning curve

// What the tests read. The curve: samples, levels of A and B in dB, power that they relate to.
const page = (window.merlo64fPage = { done: 0, curve: [[], [], [], []], digests: {}, frames: 0, errors: [] });

// ---- Settings

const DEFAULTS = { order: 32, step: 0.25, memory: 1000 };
const state = { job: '', input: 'white', filters: [], pace: 48000, running: true, hold: false };
const logarithmic = (low, high) => ({
  toValue: (t) => low * (high / low) ** t,
  toSlider: (value) => Math.log(value / low) / Math.log(high / low),
});
const SCALES = {
  step: logarithmic(0.001, 2), memory: logarithmic(30, 1e6), pace: logarithmic(500, 48000),
};
const digits = (value) => Number(value.toPrecision(value < 1000 ? 2 : 3));

function settingsFor(family, given = {}) {
  const settings = { ...DEFAULTS, ...given };
  const multiple = orderStep(family);
  const order = Math.min(Math.max(settings.order, smallestOrder(family)), largestOrder(family));
  return { ...settings, order: Math.ceil(order / multiple) * multiple };
}

// ---- Worker

let worker = newWorker();
const send = (message) => worker.postMessage(message);

let runs = 0; // messages of an earlier one may still arrive
function start() {
  const { job, input, filters, pace, hold, running } = state;
  page.done = 0;
  page.curve = [[], [], [], []];
  latest = {};
  send({ type: 'start', run: ++runs, job, input, filters, pace, hold, running });
  showStatus([false, false]);
  makeCharts();
}
const set = () => send({ type: 'set', pace: state.pace, hold: state.hold, running: state.running });

let latest = {};
const RECEIVE = {
  progress(message) {
    if (message.run !== runs) {
      return;
    }
    page.done = message.done;
    for (const point of message.points) {
      page.curve.forEach((column, k) => column.push(point[k]));
    }
    page.curve.forEach((column) => column.splice(0, Math.max(0, column.length - KEPT)));
    if (message.spectra) {
      latest = message;
    }
    latest.fresh = true;
    showStatus(message.diverged);
  },
  sounds: ({ rate, sounds }) => play(sounds[wantedSound], rate),
  error({ message }) {
    page.errors.push(message);
    $('#status').textContent = message;
    $('#status').className = 'bad';
  },
};
worker.onmessage = ({ data }) => RECEIVE[data.type](data);
worker.onerror = ({ message }) => RECEIVE.error({ message });

function showStatus(diverged) {
  const { inSamples, rate } = JOBS[state.job];
  const time = inSamples ? `${page.done.toLocaleString('en')} samples` : `${(page.done / rate).toFixed(1)} s`;
  const levels = SIDES.map((side, k) => {
    const level = page.curve[k + 1].at(-1);
    return `${side} ${state.filters[k].family}: ` +
      (diverged[k] ? 'diverged; a smaller step or Restart sets it up anew'
        : level === undefined ? 'starts' : level === null ? 'silence' : `${level.toFixed(1)}\u00a0dB`);
  });
  $('#status').textContent = [time, ...levels].join(' · ');
  $('#status').className = diverged.some(Boolean) ? 'bad' : '';
}

// ---- Charts

let charts = {};
const colour = (name) => getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();

function chart(id, axes, series, height, range) {
  const place = $(`#${id}`);
  charts[id]?.destroy();
  const [x, y] = axes;
  const axis = {
    stroke: colour('text'), grid: { stroke: colour('line'), width: 1 }, ticks: { stroke: colour('line') }, labelSize: 22,
  };
  charts[id] = new uPlot({
    width: place.clientWidth, height,
    scales: { x: { time: false }, y: range ? { range } : {} },
    axes: [{ ...axis, label: x, size: 36, space: 75 }, { ...axis, label: y, size: 56 }], // px; 75 for 1,000,000
    series: [{ label: x }, ...series.map(([label, name, more]) => ({
      label, stroke: colour(name), width: 1.6, spanGaps: false, points: { show: false },
      value: (_, v) => (v == null ? '–' : v.toPrecision(3)), ...more,
    }))],
    cursor: { drag: { x: false, y: false } },
  }, [[], ...series.map(() => [])], place);
}

const sideSeries = () => SIDES.map((side, k) =>
  [`${side} ${state.filters[k].family}`, side.toLowerCase()]);

function makeCharts() {
  const { inSamples, range, sounds } = JOBS[state.job];
  const view = $('#view').value;
  const tall = Math.min(320, Math.max(220, innerHeight * 0.36));
  chart('curve', [inSamples ? 'Time (samples)' : 'Time (s)', 'Level (dB)'], sideSeries(), innerWidth < 736 ? 200 : tall,
    (_, low, high) => [Math.min(range[0], Math.max(low ?? 0, -120)), Math.max(range[1], Math.min(high ?? 0, 60))]);
  const dots = { points: { show: true, size: 5 } };
  const truth = state.job === 'control' || state.job === 'line' ? [] : [['true system', 'truth', { width: 3 }]];
  const few = state.filters.every(({ settings }) => settings.order <= 32);
  chart('response', ['Tap (samples of delay)', 'Coefficient (no unit)'],
    [...truth, ...sideSeries().map(([label, name]) => [label, name, few ? dots : {}])], tall);
  const labels = [[`before: ${sounds[0]}`, 'truth'],
    ...sideSeries().map(([label, name]) => [`after ${label}`, name])];
  const [amplitude, one] = state.job === 'control' ? ['Pa', '1 Pa²'] : ['1 = full scale', 'full scale'];
  if (view === 'spectra') {
    chart('signals', ['Frequency (Hz)', `Power per bin (dB re ${one})`], labels, tall);
  } else {
    chart('signals', ['Time (ms)', `Amplitude (${amplitude})`], labels, tall);
  }
  latest.fresh = true;
}

function pad(values, length) {
  return values ? Array.from({ length }, (_, k) => values[k] ?? null) : Array(length).fill(null);
}

function draw() {
  page.frames += 1;
  requestAnimationFrame(draw);
  if (!latest.fresh || !charts.curve) {
    return;
  }
  latest.fresh = false;
  const { inSamples, rate } = JOBS[state.job];
  const [done, a, b] = page.curve;
  charts.curve.setData([inSamples ? done.slice() : done.map((n) => n / rate), a.slice(), b.slice()]);
  if (!latest.spectra || latest === drawn) {
    return;
  }
  drawn = latest;
  const { responses, truth, spectra, waveforms } = latest;
  const shown = charts.response.series.length === 4 ? [truth, ...responses] : responses;
  const longest = Math.max(1, ...shown.map((values) => values?.length ?? 0));
  charts.response.setData([Array.from({ length: longest }, (_, k) => k),
    ...shown.map((values) => pad(values, longest))]);
  if ($('#view').value === 'spectra') {
    const bins = spectra[0]?.length ?? 0;
    charts.signals.setData([Array.from({ length: bins }, (_, k) => (k * rate) / 2 / bins),
      ...spectra.map((values) => pad(values, bins))]);
  } else {
    const n = waveforms[0].length;
    charts.signals.setData([Array.from({ length: n }, (_, k) => (1000 * k) / rate),
      ...waveforms.map((values) => Array.from(values, (v) => (Number.isFinite(v) ? v : null)))]);
  }
}
let drawn = null;

// ---- Sound

let audio = null;
let playing = null;
let wantedSound = 0;
function play(samples, rate) {
  silence();
  if (samples.length === 0) {
    return;
  }
  audio ??= new AudioContext();
  const buffer = audio.createBuffer(1, samples.length, rate);
  const most = samples.reduce((peak, v) => Math.max(peak, Number.isFinite(v) ? Math.abs(v) : 0), 0);
  const gain = most > 0.9 ? 0.9 / most : 1; // a residual stays as quiet as it is
  buffer.copyToChannel(samples.map((v) => (Number.isFinite(v) ? gain * v : 0)), 0);
  playing = new AudioBufferSourceNode(audio, { buffer });
  playing.connect(audio.destination);
  playing.start();
}
function silence() {
  playing?.stop();
  playing = null;
}

// ---- Controls

function slider(label, { min, max, step, value, show }, onInput) {
  const output = element('output', { textContent: show(value) });
  const input = element('input', { type: 'range', min, max, step, value });
  input.setAttribute('aria-valuetext', show(value));
  input.addEventListener('input', () => {
    output.textContent = show(Number(input.value));
    input.setAttribute('aria-valuetext', output.textContent);
    onInput(Number(input.value));
  });
  return element('label', {}, [element('span', { textContent: label }), input, output]);
}

function scaled(name, value, show, onValue) {
  const scale = SCALES[name];
  return [{
    min: 0, max: 1, step: 0.005, value: scale.toSlider(value), show: (t) => show(digits(scale.toValue(t))),
  }, (t) => onValue(digits(scale.toValue(t)))];
}

function makeFilter(index) {
  const filter = state.filters[index];
  const { family, settings } = filter;
  const change = (changes) => {
    filter.settings = { ...filter.settings, ...changes };
    send({ type: 'change', index, settings: filter.settings });
    if ('order' in changes) {
      makeCharts();
    }
  };
  const choice = element('select', { onchange: () => {
    state.filters[index] = { family: choice.value, settings: settingsFor(choice.value, { ...filter.settings }) };
    makeFilters();
    start();
  } }, JOBS[state.job].families.map((name) =>
    element('option', { value: name, textContent: name, selected: name === family })));
  const order = slider('Order', {
    min: smallestOrder(family), max: largestOrder(family), step: orderStep(family), value: settings.order,
    show: (value) => `${value} taps`,
  }, (value) => change({ order: value }));
  const rate = hasMemory(family)
    ? slider('Memory', ...scaled('memory', settings.memory, (v) => `${v.toLocaleString('en')} samples`, (memory) => change({ memory })))
    : slider('Step', ...scaled('step', settings.step, (v) => `${v} of limit`, (step) => change({ step })));
  const box = element('fieldset', { className: 'filter' }, [
    element('legend', { textContent: `Filter ${SIDES[index]}` }),
    element('label', {}, [element('span', { textContent: 'Family' }), choice]), order, rate]);
  box.dataset.index = index;
  return box;
}
const makeFilters = () => $('#filters').replaceChildren(makeFilter(0), makeFilter(1));

function chooseJob(name) {
  const job = JOBS[name];
  state.job = name;
  state.pace = job.pace;
  state.hold = job.hold ?? false;
  $('#hold').checked = state.hold;
  state.filters = job.start.map(([family, settings]) => ({ family, settings: settingsFor(family, settings) }));
  $('#about').textContent = job.about.replace(/(\d) (?=dB|s\b)/g, '$1\u00a0');
  $('#curve-title').textContent = `Learning curve: ${job.curve}`;
  $('#input-label').hidden = !job.inputs;
  $('#input').replaceChildren(...Object.entries(job.inputs ?? {}).map(([value, textContent]) =>
    element('option', { value, textContent, selected: value === state.input })));
  $(`#jobs input[value="${name}"]`).checked = true;
  $('#response-title').textContent = job.families[0].startsWith('fx') || name === 'line'
    ? 'Coefficients' : 'Coefficients and the true system';
  $('#pace').value = SCALES.pace.toSlider(state.pace);
  showPace();
  makeFilters();
  start();
}

const showPace = () => {
  $('#pace-value').textContent = `${state.pace.toLocaleString('en')} samples/s`;
  $('#pace').setAttribute('aria-valuetext', $('#pace-value').textContent);
};

$('#jobs').append(...Object.entries(JOBS).map(([value, { title }]) =>
  element('label', {}, [element('input', { type: 'radio', name: 'job', value, onchange: () => {
    location.hash = value;
  } }), title])));
$('#input').onchange = ({ target }) => {
  state.input = target.value;
  start();
};
$('#pace').oninput = ({ target }) => {
  state.pace = digits(SCALES.pace.toValue(Number(target.value)));
  showPace();
  set();
};
$('#pause').onclick = ({ target }) => {
  state.running = !state.running;
  target.setAttribute('aria-pressed', String(!state.running));
  target.textContent = state.running ? 'Pause' : 'Go on';
  set();
};
$('#restart').onclick = start;
$('#hold').onchange = ({ target }) => {
  state.hold = target.checked;
  set();
};
$('#step').onclick = () => {
  state.filters.forEach((filter, index) => {
    const { family, settings } = filter;
    filter.settings = { ...settings, ...(hasMemory(family) ? { memory: 30 } : { step: 1.6 }) };
    send({ type: 'change', index, settings: filter.settings });
  });
  makeFilters();
};
for (const kind of ['quiet', 'double', 'system']) {
  $(`#${kind}`).onclick = () => send({ type: 'mistake', kind });
}
document.querySelectorAll('[data-sound]').forEach((button) => {
  button.onclick = () => {
    wantedSound = Number(button.dataset.sound);
    send({ type: 'listen' });
  };
});
$('#silence').onclick = silence;
$('#view').onchange = makeCharts;

$('#digests').onclick = () => {
  const expected = Object.fromEntries(expectedText.trim().split('\n').map((line) => line.split(' ')));
  const rows = $('#digest-table tbody');
  const own = newWorker(); // the filters above go on
  page.digests = {};
  rows.replaceChildren();
  $('#digest-table').hidden = false;
  $('#digests').disabled = true;
  own.onmessage = ({ data: { family, digest, message } }) => {
    if (message) {
      RECEIVE.error({ message });
      return;
    }
    page.digests[family] = digest;
    const same = digest === expected[family];
    rows.append(element('tr', {}, [family, digest, same ? 'same bits' : `differs from ${expected[family]}`].map(
      (textContent, k) => element('td', { textContent, className: k < 2 ? '' : same ? 'good' : 'bad' }))));
    const done = Object.keys(page.digests).length;
    const all = Object.keys(expected).length;
    const equal = Object.keys(page.digests).filter((name) => page.digests[name] === expected[name]).length;
    $('#verdict').textContent = done < all ? `${done} of ${all} families`
      : equal === all ? `Same bits: all ${all} families` : `${all - equal} of ${all} families differ`;
    $('#verdict').className = done < all ? '' : equal === all ? 'good' : 'bad';
    if (done === all) {
      own.terminate();
      $('#digests').disabled = false;
    }
  };
  own.postMessage({ type: 'digests' });
};

const fromHash = () => {
  const name = location.hash.slice(1);
  chooseJob(name in JOBS ? name : 'identification');
};
addEventListener('hashchange', fromHash);
let width = 0;
new ResizeObserver(() => {
  if (innerWidth !== width && charts.curve) {
    width = innerWidth;
    makeCharts();
    drawn = null;
  }
}).observe(document.body);
matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => {
  makeCharts();
  drawn = null;
});
fromHash();
requestAnimationFrame(draw);
