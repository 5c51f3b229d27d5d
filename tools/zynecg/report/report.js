// The report page's figures, drawn on canvases from the data document
// (#report-data) and the ECG embedded as chunk lines (#report-signal).
// Times are seconds from the first analysed sample; clock labels add the
// recording's start time when the file gives one. The ECG is decoded one
// chunk at a time, only where the strip view shows it.
'use strict';

const data = JSON.parse(document.getElementById('report-data').textContent);
const meta = data.meta;
const duration = meta.analysedSeconds;
const BEAT_RATE = meta.signal200.rateHz;

const COLOURS = {
  normal: '#2b6cb0', extra: '#d62728', grid: '#f3c3c3', gridBold: '#e48f8f', trace: '#111',
  axis: '#888', text: '#333', quality: { 0: '#7fc97f', 3: '#9e9e9e', 5: '#fdae61', 6: '#e34a33', '-1': '#e0e0e0' },
  bands: { ULF: '#ececec', VLF: '#dbe8f6', LF: '#fde3c8', HF: '#d7f0d0' },
};

// ---------------------------------------------------------------- helpers

function el(tag, attrs, ...children) {
  const e = document.createElement(tag);
  for (const [k, v] of Object.entries(attrs || {})) {
    if (k === 'class') e.className = v; else if (k.startsWith('on')) e.addEventListener(k.slice(2), v); else e.setAttribute(k, v);
  }
  for (const c of children) e.append(c instanceof Node ? c : String(c));
  return e;
}

function fixed(v, digits) { return v === null || v === undefined || !isFinite(v) ? 'n/a' : Number(v).toFixed(digits); }

function pad2(n) { return String(n).padStart(2, '0'); }

// Clock text of a time from the first analysed sample: time of day when the
// file gives a start time, else time into the recording.
function clock(t, tenths) {
  let s = meta.offsetSeconds + t + (meta.startOfDaySeconds ?? 0);
  if (meta.startOfDaySeconds !== null) s = ((s % 86400) + 86400) % 86400;
  const whole = Math.floor(s + 1e-6);
  let text = `${pad2(Math.floor(whole / 3600))}:${pad2(Math.floor(whole / 60) % 60)}:${pad2(whole % 60)}`;
  if (tenths) text += '.' + Math.floor((s - whole) * 10 + 1e-6);
  return text;
}
const clockName = meta.startOfDaySeconds !== null ? 'clock time' : 'time into the recording';

function duration_text(s) {
  const h = Math.floor(s / 3600), m = Math.floor(s / 60) % 60, sec = s - 3600 * h - 60 * m;
  return (h ? `${h} h ` : '') + (h || m ? `${m} min ` : '') + `${sec.toFixed(h ? 0 : 1)} s`;
}

// Parses "hh:mm:ss", "mm:ss" or seconds as a clock time; gives seconds from
// the first analysed sample.
function parse_clock(text) {
  const parts = text.trim().split(':').map(Number);
  if (!parts.length || parts.some((p) => !isFinite(p))) return null;
  let s = parts.reduce((a, p) => a * 60 + p, 0);
  if (parts.length === 1) return s;
  s -= meta.offsetSeconds + (meta.startOfDaySeconds ?? 0);
  if (meta.startOfDaySeconds !== null) while (s < 0) s += 86400;
  return s;
}

// A canvas sized to its CSS width and data-height, drawn at device pixels.
function prepare(canvas, height) {
  const width = canvas.clientWidth || canvas.parentElement.clientWidth || 1000;
  const h = height ?? Number(canvas.dataset.height || 200);
  const ratio = window.devicePixelRatio || 1;
  canvas.width = Math.round(width * ratio);
  canvas.height = Math.round(h * ratio);
  canvas.style.height = h + 'px';
  const ctx = canvas.getContext('2d');
  ctx.setTransform(ratio, 0, 0, ratio, 0, 0);
  ctx.clearRect(0, 0, width, h);
  ctx.font = '11px system-ui, sans-serif';
  return { ctx, width, height: h };
}

// Round steps for value axes: 1, 2 or 5 times a power of ten.
function nice_step(span, count) {
  const raw = span / Math.max(1, count);
  const power = 10 ** Math.floor(Math.log10(raw));
  for (const m of [1, 2, 5]) if (m * power >= raw) return m * power;
  return 10 * power;
}

const TIME_STEPS = [0.2, 0.5, 1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 10800, 21600, 43200];

// A mapping from data to pixels within a frame, with its axes drawn.
class Frame {
  constructor(ctx, box, x0, x1, y0, y1, opts = {}) {
    Object.assign(this, { ctx, box, x0, x1, y0, y1, logX: !!opts.logX, logY: !!opts.logY });
  }
  fx(x) { return this.logX ? Math.log10(x) : x; }
  fy(y) { return this.logY ? Math.log10(y) : y; }
  px(x) { const b = this.box; return b.left + (this.fx(x) - this.fx(this.x0)) / (this.fx(this.x1) - this.fx(this.x0)) * b.width; }
  py(y) { const b = this.box; return b.top + b.height - (this.fy(y) - this.fy(this.y0)) / (this.fy(this.y1) - this.fy(this.y0)) * b.height; }
  xOf(px) {
    const b = this.box, f = this.fx(this.x0) + (px - b.left) / b.width * (this.fx(this.x1) - this.fx(this.x0));
    return this.logX ? 10 ** f : f;
  }
  frame() {
    const { ctx, box: b } = this;
    ctx.strokeStyle = COLOURS.axis; ctx.lineWidth = 1;
    ctx.strokeRect(b.left + 0.5, b.top + 0.5, b.width, b.height);
  }
  value_ticks(axis, label, count, format) {
    const { ctx, box: b } = this;
    const lo = axis === 'x' ? this.x0 : this.y0, hi = axis === 'x' ? this.x1 : this.y1;
    const log = axis === 'x' ? this.logX : this.logY;
    const ticks = [];
    if (log) {
      for (let e = Math.floor(Math.log10(lo)); e <= Math.ceil(Math.log10(hi)); e++) if (10 ** e >= lo && 10 ** e <= hi) ticks.push(10 ** e);
    } else {
      const step = nice_step(hi - lo, count);
      for (let v = Math.ceil(lo / step - 1e-9) * step; v <= hi + step * 1e-9; v += step) ticks.push(Math.abs(v) < step * 1e-9 ? 0 : v);
    }
    ctx.fillStyle = COLOURS.text; ctx.strokeStyle = '#eee';
    for (const v of ticks) {
      const text = format ? format(v) : String(+v.toPrecision(6));
      if (axis === 'x') {
        const x = this.px(v);
        ctx.beginPath(); ctx.moveTo(x, b.top); ctx.lineTo(x, b.top + b.height); ctx.stroke();
        ctx.textAlign = 'center'; ctx.fillText(text, x, b.top + b.height + 14);
      } else {
        const y = this.py(v);
        ctx.beginPath(); ctx.moveTo(b.left, y); ctx.lineTo(b.left + b.width, y); ctx.stroke();
        ctx.textAlign = 'right'; ctx.fillText(text, b.left - 5, y + 4);
      }
    }
    ctx.textAlign = 'center';
    if (axis === 'x') ctx.fillText(label, b.left + b.width / 2, b.top + b.height + 30);
    else { ctx.save(); ctx.translate(12, b.top + b.height / 2); ctx.rotate(-Math.PI / 2); ctx.fillText(label, 0, 0); ctx.restore(); }
  }
  // Clock-time ticks on the x axis, on whole steps of the clock.
  time_ticks(minPixels = 90) {
    const { ctx, box: b } = this;
    const span = this.x1 - this.x0;
    const step = TIME_STEPS.find((s) => s / span * b.width >= minPixels) ?? 86400;
    const base = meta.offsetSeconds + (meta.startOfDaySeconds ?? 0);
    ctx.fillStyle = COLOURS.text; ctx.strokeStyle = '#eee'; ctx.textAlign = 'center';
    for (let c = Math.ceil((this.x0 + base) / step - 1e-9) * step; c <= this.x1 + base + 1e-9; c += step) {
      const x = this.px(c - base);
      ctx.beginPath(); ctx.moveTo(x, b.top); ctx.lineTo(x, b.top + b.height); ctx.stroke();
      const text = clock(c - base, step < 1);
      ctx.fillText(step >= 60 && !text.includes('.') ? text.slice(0, 5) : text, x, b.top + b.height + 14);
    }
    ctx.fillText(clockName + (step >= 60 ? ' (hh:mm)' : ' (hh:mm:ss)'), b.left + b.width / 2, b.top + b.height + 30);
  }
}

// Draws y(x) for x ascending; where many points share a pixel column only
// their extremes are drawn, so that a day of beats costs one pass.
function draw_dense_line(frame, xs, ys, keep, from, to) {
  const ctx = frame.ctx;
  ctx.beginPath();
  let column = null, lo = 0, hi = 0, pen = false;
  const flush = () => { if (column !== null) { ctx.lineTo(column, frame.py(lo)); if (hi !== lo) ctx.lineTo(column, frame.py(hi)); } };
  for (let i = from; i < to; i++) {
    if (!keep(i)) { flush(); column = null; pen = false; continue; }
    const c = Math.round(frame.px(xs[i]));
    if (c === column) { lo = Math.min(lo, ys[i]); hi = Math.max(hi, ys[i]); continue; }
    flush();
    if (!pen) { ctx.moveTo(c, frame.py(ys[i])); pen = true; }
    column = c; lo = hi = ys[i];
  }
  flush();
  ctx.stroke();
}

function lower_bound(array, value) {
  let lo = 0, hi = array.length;
  while (lo < hi) { const mid = (lo + hi) >> 1; if (array[mid] < value) lo = mid + 1; else hi = mid; }
  return lo;
}

// ---------------------------------------------------------------- beats and series

const normalBeats = data.beats.normal, extraBeats = data.beats.extra;
const rr = { t: data.rr.t, ms: data.rr.ms, nn: data.rr.nn };
const meanNn = (() => {
  let s = 0, n = 0;
  for (let i = 0; i < rr.ms.length; i++) if (rr.nn[i] === '1') { s += rr.ms[i]; n++; }
  return n ? s / n : null;
})();

// ---------------------------------------------------------------- overview

function fill_facts() {
  document.getElementById('title-file').textContent = meta.file;
  const start = meta.startOfDaySeconds !== null
    ? `${meta.startDate ? meta.startDate + ' ' : ''}${clock(-meta.offsetSeconds)}` : 'not given by the file';
  const gain = meta.units === 'mV' ? `millivolts${meta.format === 'wfdb' || meta.format === 'edf' ? ', from the header\'s gain' : ''}`
    : meta.signal200.unitsPerMillivolt !== null
    ? `${+meta.signal200.unitsPerMillivolt.toPrecision(6)} ${meta.units} per mV (${meta.gainSource})`
    : `unknown: drawn as if ${+assumedUnitsPerMv.toPrecision(3)} ${meta.units} were 1 mV (give --gain)`;
  const rows = [
    ['file', meta.file], ['format', meta.format], ['signal', `${meta.signal || '(unnamed)'}, ${meta.units}`],
    ['sampling rate', `${+meta.fileRateHz.toPrecision(6)} Hz (analysed at ${BEAT_RATE} Hz)`], ['start', start],
    ['recorded', duration_text(meta.recordedSeconds)],
    ['analysed', `${duration_text(duration)}${meta.offsetSeconds ? `, from ${duration_text(meta.offsetSeconds)} into the file` : ''}`],
    ['amplitude scale', gain],
  ];
  const facts = document.getElementById('facts');
  for (const [k, v] of rows) facts.append(el('tr', {}, el('th', {}, k), el('td', {}, v)));
  const s = data.summary;
  const counts = document.getElementById('beat-counts');
  const total = s.normalBeats + s.extraSystoles;
  const share = (n) => total ? ` (${(100 * n / total).toFixed(1)} %)` : '';
  for (const [k, v] of [
    ['beats', total], ['normal beats (N)', s.normalBeats + share(s.normalBeats)],
    ['extra systoles (E)', s.extraSystoles + share(s.extraSystoles)],
    ['heart rate (median RR)', s.hrBpm === null ? 'n/a' : `${fixed(s.hrBpm, 0)} bpm`],
    ['heart rate (mean RR)', s.hrMeanBpm === null ? 'n/a' : `${fixed(s.hrMeanBpm, 0)} bpm`],
    ['quality windows', qualitySummary()],
  ]) counts.append(el('tr', {}, el('th', {}, k), el('td', {}, v)));
  const warnings = document.getElementById('warnings');
  const all = [...data.warnings];
  if (meta.signal200.unitsPerMillivolt === null)
    all.push(`The file does not say how its ${meta.units} relate to millivolts: the ECG grid is not in mV. Give --gain (units per mV).`);
  for (const w of all) warnings.append(el('li', {}, w));
}

function qualitySummary() {
  const codes = data.quality.codes;
  const good = codes.filter((c) => c === 0).length;
  return `${good} of ${codes.length} good (${data.quality.windowSeconds} s windows)`;
}

// Index of the quality window holding time t, or -1.
function window_at(t) {
  const q = data.quality, i = lower_bound(q.end, t + 1e-9);
  return i < q.codes.length && q.start[i] <= t ? i : -1;
}

function draw_trend() {
  const canvas = document.getElementById('trend');
  const { ctx, width, height } = prepare(canvas);
  const rows = data.trend;
  const box = { left: 50, top: 10, width: width - 60, height: height - 48 };
  let lo = Infinity, hi = -Infinity;
  for (const r of rows) for (const v of [r.minHr, r.maxHr, r.meanHr]) if (v !== null) { lo = Math.min(lo, v); hi = Math.max(hi, v); }
  if (!isFinite(lo)) { lo = 40; hi = 120; }
  lo = Math.max(0, Math.floor((lo - 5) / 10) * 10); hi = Math.ceil((hi + 5) / 10) * 10;
  const f = new Frame(ctx, box, 0, duration, lo, hi);
  f.time_ticks(); f.value_ticks('y', 'beats/min', 4); f.frame();
  if (!rows.length) {
    ctx.fillStyle = COLOURS.text; ctx.textAlign = 'center';
    ctx.fillText(data.hrvNote || 'no 5-minute segments', box.left + box.width / 2, box.top + box.height / 2);
  }
  ctx.fillStyle = 'rgba(43,108,176,0.18)';
  for (const r of rows) if (r.minHr !== null) {
    const x0 = f.px(r.start), x1 = f.px(r.start + r.seconds);
    ctx.fillRect(x0, f.py(r.maxHr), Math.max(1, x1 - x0 - 0.5), f.py(r.minHr) - f.py(r.maxHr));
  }
  ctx.strokeStyle = COLOURS.normal; ctx.lineWidth = 1.5; ctx.beginPath();
  let pen = false;
  for (const r of rows) {
    if (r.meanHr === null) { pen = false; continue; }
    const x = f.px(r.start + r.seconds / 2), y = f.py(r.meanHr);
    if (pen) ctx.lineTo(x, y); else ctx.moveTo(x, y);
    pen = true;
  }
  ctx.stroke(); ctx.lineWidth = 1;
  if (rows.length <= 400) {
    ctx.fillStyle = COLOURS.normal;
    for (const r of rows) if (r.meanHr !== null) { ctx.beginPath(); ctx.arc(f.px(r.start + r.seconds / 2), f.py(r.meanHr), 2.5, 0, 7); ctx.fill(); }
  }
  canvas.title = '';
  canvas.onmousemove = (e) => {
    const t = f.xOf(e.offsetX), r = rows.find((q) => t >= q.start && t < q.start + q.seconds);
    canvas.title = r ? `${clock(r.start)}: mean ${fixed(r.meanHr, 0)}, ${fixed(r.minHr, 0)} to ${fixed(r.maxHr, 0)} bpm; ` +
      `SDNN ${fixed(r.sdnnMs, 0)} ms, RMSSD ${fixed(r.rmssdMs, 0)} ms; ${r.normal} N, ${r.extra} E` : clock(t);
  };
  canvas.onclick = (e) => {
    const t = f.xOf(e.offsetX), r = rows.find((q) => t >= q.start && t < q.start + q.seconds);
    strip.show(r ? r.start : t, true);
  };
}

function draw_quality() {
  const canvas = document.getElementById('quality');
  const { ctx, width, height } = prepare(canvas);
  const box = { left: 50, top: 4, width: width - 60, height: height - 40 };
  const f = new Frame(ctx, box, 0, duration, 0, 1);
  const q = data.quality, w = q.windowSeconds, codes = q.codes;
  // Good windows first, then the others on top, at least a pixel wide, so
  // that a single poor window in a day stays visible.
  for (const pass of [true, false]) {
    for (let i = 0; i < codes.length; i++) {
      if ((codes[i] === 0) !== pass) continue;
      ctx.fillStyle = COLOURS.quality[codes[i]] ?? '#000';
      const x0 = f.px(q.start[i]), x1 = f.px(Math.min(duration, q.end[i]));
      ctx.fillRect(x0, box.top, Math.max(1, x1 - x0), box.height);
    }
  }
  f.time_ticks(); f.frame();
  document.getElementById('quality-hint').textContent = `${w} s windows; click to see the ECG`;
  const legend = document.getElementById('quality-legend');
  legend.textContent = '';
  for (const code of ['0', '3', '5', '6']) {
    const n = codes.filter((c) => String(c) === code).length;
    legend.append(el('span', { class: 'key', style: `background:${COLOURS.quality[code]}` }), `${data.qualityMeanings[code]} (${n}) `);
  }
  canvas.onmousemove = (e) => {
    const i = window_at(f.xOf(e.offsetX));
    canvas.title = i >= 0 ? `${clock(q.start[i])} to ${clock(q.end[i])}: ${data.qualityMeanings[codes[i]] ?? codes[i]}` : '';
  };
  canvas.onclick = (e) => { const t = f.xOf(e.offsetX), i = window_at(t); strip.show(i >= 0 ? q.start[i] : t, true); };
}

// ---------------------------------------------------------------- the ECG strip view

const unitsPerStep = meta.signal200.unitsPerStep;
const assumedUnitsPerMv = meta.signal200.unitsPerMillivolt ?? unitsPerStep * 1000;
const millivoltsPerStep = unitsPerStep / assumedUnitsPerMv;

// Decodes chunk lines of the embedded signal on first use and keeps the
// most recently used ones.
const signal = {
  lines: null, cache: new Map(),
  chunkSamples: Math.round(meta.signal200.chunkSeconds * BEAT_RATE),
  chunk(index) {
    if (this.cache.has(index)) { const c = this.cache.get(index); this.cache.delete(index); this.cache.set(index, c); return c; }
    if (!this.lines) this.lines = document.getElementById('report-signal').textContent.split('\n');
    const text = this.lines[index] || '';
    const bytes = Uint8Array.from(atob(text), (c) => c.charCodeAt(0));
    const out = new Float32Array(this.chunkSamples);
    let value = 0, n = 0;
    for (let i = 0; i < bytes.length && n < out.length;) {
      let code = 0, scale = 1, b;
      do { b = bytes[i++]; code += (b & 127) * scale; scale *= 128; } while (b & 128);
      if (code === 0) { out[n++] = NaN; continue; }
      const z = code - 1;
      value += z % 2 ? -(z + 1) / 2 : z / 2;
      out[n++] = value * millivoltsPerStep;
    }
    this.cache.set(index, n < out.length ? out.subarray(0, n) : out);
    if (this.cache.size > 24) this.cache.delete(this.cache.keys().next().value);
    return this.cache.get(index);
  },
  // Samples [from, to) in mV (NaN outside the recording).
  range(from, to) {
    const out = new Float32Array(Math.max(0, to - from)).fill(NaN);
    for (let i = Math.max(0, from); i < Math.min(to, meta.signal200.samples);) {
      const c = Math.floor(i / this.chunkSamples), chunk = this.chunk(c), at = i - c * this.chunkSamples;
      const n = Math.min(chunk.length - at, to - i);
      if (n <= 0) break;
      out.set(chunk.subarray(at, at + n), i - from);
      i += n;
    }
    return out;
  },
};

// Paper at 25 mm/s and 10 mm/mV; zoom sets pixels per millimetre.
const strip = {
  zooms: [1.5, 2, 3, 4, 6, 8, 12, 16], zoom: 3, start: 0, cursor: null,
  rowMm: 40, rows: 4, marginMm: 8, mmPerMv: 10,
  canvas: document.getElementById('strip'),
  geometry() {
    const width = this.canvas.clientWidth || 1000, pxMm = this.zooms[this.zoom];
    const rowSeconds = Math.max(0.5, Math.floor((width / pxMm - this.marginMm) / 25 * 5) / 5);
    const rows = pxMm >= 8 ? 2 : this.rows;
    return { width, pxMm, rowSeconds, rows, pageSeconds: rowSeconds * rows };
  },
  // Shows the ECG around time t; with mark, a cursor at t.
  show(t, scroll, mark = true) {
    const g = this.geometry();
    this.cursor = mark ? t : null;
    this.start = Math.max(0, Math.min(t - g.rowSeconds * 0.3, Math.max(0, duration - g.pageSeconds)));
    if (g.rowSeconds >= 1) this.start = Math.floor(this.start * 5) / 5;
    this.draw();
    if (scroll) document.getElementById('ecg').scrollIntoView({ block: 'start' });
  },
  move(seconds) { this.start = Math.max(0, Math.min(this.start + seconds, Math.max(0, duration - this.geometry().pageSeconds))); this.draw(); },
  draw() {
    const g = this.geometry(), pxMm = g.pxMm, rowPx = this.rowMm * pxMm;
    const { ctx, width, height } = prepare(this.canvas, rowPx * g.rows);
    const left = this.marginMm * pxMm, pxSecond = 25 * pxMm;
    // Paper: thin lines every 1 mm (when they are far enough apart), bold every 5 mm.
    for (const [stepMm, colour] of [[1, COLOURS.grid], [5, COLOURS.gridBold]]) {
      if (stepMm * pxMm < 3) continue;
      ctx.strokeStyle = colour; ctx.lineWidth = stepMm === 5 ? 0.8 : 0.5; ctx.beginPath();
      for (let x = left; x <= width; x += stepMm * pxMm) { ctx.moveTo(Math.round(x) + 0.5, 0); ctx.lineTo(Math.round(x) + 0.5, height); }
      for (let y = 0; y <= height; y += stepMm * pxMm) { ctx.moveTo(left, Math.round(y) + 0.5); ctx.lineTo(width, Math.round(y) + 0.5); }
      ctx.stroke();
    }
    const q = data.quality;
    for (let r = 0; r < g.rows; r++) {
      const t0 = this.start + r * g.rowSeconds, top = r * rowPx, first = Math.round(t0 * BEAT_RATE);
      const count = Math.round(g.rowSeconds * BEAT_RATE);
      if (t0 >= duration) break;
      const x = signal.range(first, first + count);
      const finite = Array.from(x).filter(isFinite).sort((a, b) => a - b);
      const centre = finite.length ? finite[finite.length >> 1] : 0;
      // The row's top 5 mm carry the beat letters; the trace has the rest.
      const yTop = top + 5 * pxMm, yBottom = top + rowPx - 6;
      const base = yTop + (yBottom - yTop) * 0.62, yOf = (mv) => base - (mv - centre) * this.mmPerMv * pxMm;
      // Quality of each window under the row.
      for (let k = lower_bound(q.end, t0 + 1e-9); k < q.codes.length && q.start[k] < t0 + g.rowSeconds; k++) {
        const a = Math.max(t0, q.start[k]), b = Math.min(t0 + g.rowSeconds, q.end[k]);
        ctx.fillStyle = COLOURS.quality[q.codes[k]] ?? '#000';
        ctx.fillRect(left + (a - t0) * pxSecond, top + rowPx - 4, (b - a) * pxSecond, 3);
      }
      // 1 mV calibration pulse: 10 mm high, 0.2 s wide.
      ctx.strokeStyle = COLOURS.trace; ctx.lineWidth = 1.2; ctx.beginPath();
      const c0 = 1.5 * pxMm, c1 = c0 + 5 * pxMm, zero = base;
      const pulse = this.mmPerMv * pxMm;
      ctx.moveTo(0.5 * pxMm, zero); ctx.lineTo(c0, zero); ctx.lineTo(c0, zero - pulse); ctx.lineTo(c1, zero - pulse);
      ctx.lineTo(c1, zero); ctx.lineTo(left - pxMm, zero); ctx.stroke();
      // The trace, clipped to its row; a red mark where it leaves the row.
      const clipped = [];
      ctx.save(); ctx.beginPath(); ctx.rect(left, top, width - left, rowPx); ctx.clip();
      ctx.strokeStyle = COLOURS.trace; ctx.lineWidth = pxMm >= 6 ? 1.4 : 1.1; ctx.beginPath();
      let pen = false;
      for (let i = 0; i < x.length; i++) {
        if (!isFinite(x[i])) { pen = false; continue; }
        const px = left + i / BEAT_RATE * pxSecond;
        let y = yOf(x[i]);
        if (y < yTop || y > yBottom) {
          const edge = y < yTop ? yTop : yBottom;
          if (!clipped.length || px - clipped[clipped.length - 1][0] > 6) clipped.push([px, edge, y < yTop]);
          y = edge;
        }
        if (pen) ctx.lineTo(px, y); else ctx.moveTo(px, y);
        pen = true;
      }
      ctx.stroke(); ctx.restore();
      ctx.fillStyle = COLOURS.extra;
      for (const [px, y, up] of clipped) {
        ctx.beginPath(); ctx.moveTo(px - 4, y + (up ? 6 : -6)); ctx.lineTo(px + 4, y + (up ? 6 : -6)); ctx.lineTo(px, y); ctx.fill();
      }
      // Beats by class, letters above the trace.
      ctx.font = `bold ${Math.max(10, Math.min(14, 2.6 * pxMm))}px system-ui, sans-serif`; ctx.textAlign = 'center';
      for (const [beats, colour, letter] of [[normalBeats, COLOURS.normal, 'N'], [extraBeats, COLOURS.extra, 'E']]) {
        ctx.fillStyle = colour; ctx.strokeStyle = colour;
        for (let i = lower_bound(beats, first); i < beats.length && beats[i] < first + count; i++) {
          const px = left + (beats[i] - first) / BEAT_RATE * pxSecond;
          ctx.fillText(letter, px, top + 2.6 * pxMm + 4);
          ctx.beginPath(); ctx.moveTo(px, top + 3.5 * pxMm); ctx.lineTo(px, yTop - 2); ctx.stroke();
        }
      }
      ctx.font = '11px system-ui, sans-serif'; ctx.textAlign = 'left'; ctx.fillStyle = '#444';
      ctx.fillText(clock(t0), left + 4, top + rowPx - 8);
      if (this.cursor !== null && this.cursor >= t0 && this.cursor < t0 + g.rowSeconds) {
        const px = left + (this.cursor - t0) * pxSecond;
        ctx.strokeStyle = 'rgba(200,0,0,0.6)'; ctx.lineWidth = 1; ctx.setLineDash([4, 3]);
        ctx.beginPath(); ctx.moveTo(px, top); ctx.lineTo(px, top + rowPx); ctx.stroke(); ctx.setLineDash([]);
      }
    }
    const end = Math.min(duration, this.start + g.pageSeconds);
    document.getElementById('strip-time').textContent = `${clock(this.start)} – ${clock(end)}`;
    document.getElementById('strip-cursor').textContent = this.cursor === null ? '' : `at ${clock(this.cursor, true)}`;
    document.getElementById('strip-zoom').textContent = `${+(pxMm).toFixed(1)} px/mm`;
    this.canvas.dataset.mmPerMv = this.mmPerMv;
    Object.assign(this.canvas.dataset, { start: this.start.toFixed(3), end: end.toFixed(3) });
    const scroll = document.getElementById('strip-scroll');
    scroll.max = Math.max(0, Math.ceil(duration - g.pageSeconds)); scroll.value = Math.floor(this.start);
  },
  setup() {
    const on = (id, f) => document.getElementById(id).addEventListener('click', f);
    on('strip-back', () => this.move(-this.geometry().rowSeconds));
    on('strip-forward', () => this.move(this.geometry().rowSeconds));
    on('strip-page-back', () => this.move(-this.geometry().pageSeconds));
    on('strip-page-forward', () => this.move(this.geometry().pageSeconds));
    const zoomTo = (z) => { const mid = this.cursor ?? this.start; this.zoom = Math.max(0, Math.min(this.zooms.length - 1, z)); this.show(mid, false, this.cursor !== null); };
    on('strip-zoom-in', () => zoomTo(this.zoom + 1));
    on('strip-zoom-out', () => zoomTo(this.zoom - 1));
    document.getElementById('strip-gain').addEventListener('change', (e) => { this.mmPerMv = Number(e.target.value); this.draw(); });
    document.getElementById('strip-scroll').addEventListener('input', (e) => { this.start = Number(e.target.value); this.draw(); });
    document.getElementById('strip-goto').addEventListener('change', (e) => {
      const t = parse_clock(e.target.value);
      if (t !== null && t >= 0 && t <= duration) this.show(t, false);
    });
    this.canvas.addEventListener('wheel', (e) => {
      if (e.ctrlKey) { e.preventDefault(); zoomTo(this.zoom + (e.deltaY < 0 ? 1 : -1)); return; }
      if (Math.abs(e.deltaX) > Math.abs(e.deltaY)) { e.preventDefault(); this.move(e.deltaX / 100); }
    }, { passive: false });
    let dragX = null, dragStart = 0;
    this.canvas.addEventListener('pointerdown', (e) => { dragX = e.clientX; dragStart = this.start; });
    window.addEventListener('pointerup', () => { dragX = null; });
    // A click without a drag puts the cursor (and its time) where it is.
    this.canvas.addEventListener('click', (e) => {
      if (Math.abs(this.start - dragStart) > 1e-9) return;
      const g = this.geometry(), row = Math.floor(e.offsetY / (this.rowMm * g.pxMm));
      const t = this.start + row * g.rowSeconds + (e.offsetX - this.marginMm * g.pxMm) / (25 * g.pxMm);
      if (t >= this.start && t <= Math.min(duration, this.start + g.pageSeconds)) { this.cursor = t; this.draw(); }
    });
    this.canvas.tabIndex = 0;
    this.canvas.addEventListener('keydown', (e) => {
      const g = this.geometry();
      const step = { ArrowLeft: -g.rowSeconds, ArrowRight: g.rowSeconds, PageUp: -g.pageSeconds, PageDown: g.pageSeconds }[e.key];
      if (step !== undefined) { e.preventDefault(); this.move(step); }
    });
    this.canvas.addEventListener('pointermove', (e) => {
      if (dragX === null || !(e.buttons & 1)) return;
      this.start = dragStart; this.move(-(e.clientX - dragX) / (25 * this.geometry().pxMm));
    });
    document.getElementById('strip-legend').textContent =
      `Paper 25 mm/s, 10 mm/mV (5 or 20 mm/mV when chosen above); the pulse at each row's start is 1 mV. N normal beat, E extra systole; a red triangle marks ` +
      `where the trace leaves its row (drawn clipped). The band under each row is the window quality. Drag, or use the ` +
      `buttons, slider or arrow keys, to move; Ctrl + wheel or − / + to zoom; click to place the cursor.`;
  },
};

// ---------------------------------------------------------------- events

const events = (() => {
  const list = [];
  const all = [...normalBeats.map((s) => [s, false]), ...extraBeats.map((s) => [s, true])].sort((a, b) => a[0] - b[0]);
  for (let i = 0; i < all.length; i++) {
    if (!all[i][1]) continue;
    const t = all[i][0] / BEAT_RATE;
    const before = i > 0 ? (all[i][0] - all[i - 1][0]) / BEAT_RATE * 1000 : null;
    const after = i + 1 < all.length ? (all[i + 1][0] - all[i][0]) / BEAT_RATE * 1000 : null;
    list.push({ t, kind: 'extra', what: 'extra systole (E)', rr: before,
      detail: `class: other morphology than the majority; following RR ${after === null ? 'n/a' : after.toFixed(0) + ' ms'}` });
  }
  // Runs of adjoining windows of one poor quality are one event.
  const q = data.quality, codes = q.codes;
  for (let i = 0; i < codes.length;) {
    let j = i + 1;
    while (j < codes.length && codes[j] === codes[i] && Math.abs(q.start[j] - q.end[j - 1]) < 1e-6) j++;
    if (codes[i] !== 0) {
      list.push({ t: q.start[i], kind: 'poor', what: `poor quality: ${data.qualityMeanings[codes[i]] ?? codes[i]}`, rr: null,
        detail: `${j - i} window${j - i > 1 ? 's' : ''}, ${duration_text(q.end[j - 1] - q.start[i])}` });
    }
    i = j;
  }
  return list.sort((a, b) => a.t - b.t);
})();

// A list that creates only the rows in view, so that a day's thousands of
// extra systoles cost nothing until scrolled to.
const eventList = {
  box: document.getElementById('event-list'), rowPx: 22, filter: 'all', shown: events, selected: null,
  setup() {
    const filters = document.getElementById('event-filter');
    const counts = { all: events.length, extra: events.filter((e) => e.kind === 'extra').length };
    counts.poor = counts.all - counts.extra;
    for (const [key, label] of [['all', 'all events'], ['extra', 'extra systoles'], ['poor', 'poor-quality windows']]) {
      filters.append(el('button', { 'data-filter': key, class: key === 'all' ? 'active' : '', onclick: (e) => {
        this.filter = key; this.shown = key === 'all' ? events : events.filter((v) => v.kind === key);
        for (const b of filters.children) b.classList.toggle('active', b === e.currentTarget);
        this.box.scrollTop = 0; this.render();
      } }, `${label} (${counts[key]})`));
    }
    this.box.addEventListener('scroll', () => this.render());
    this.render();
  },
  render() {
    const spacer = this.box.firstElementChild;
    spacer.style.height = Math.max(1, this.shown.length * this.rowPx) + 'px';
    for (const row of [...this.box.querySelectorAll('.event-row')]) row.remove();
    if (!this.shown.length) { this.box.append(el('div', { class: 'event-row' }, 'no events')); return; }
    const first = Math.floor(this.box.scrollTop / this.rowPx), last = Math.min(this.shown.length, first + Math.ceil(264 / this.rowPx) + 2);
    for (let i = first; i < last; i++) {
      const e = this.shown[i];
      const row = el('div', { class: 'event-row' + (e === this.selected ? ' selected' : ''), 'data-t': e.t.toFixed(3), 'data-kind': e.kind,
        style: `top:${i * this.rowPx}px`, onclick: () => { this.selected = e; this.render(); strip.show(e.t, true); } },
        el('span', { class: 'time' }, clock(e.t, e.kind === 'extra')), el('span', { class: e.kind }, e.what),
        el('span', {}, e.rr === null ? '' : `${e.rr.toFixed(0)} ms`), el('span', {}, e.detail));
      this.box.append(row);
    }
  },
};

// ---------------------------------------------------------------- HRV figures

const tacho = {
  canvas: document.getElementById('tachogram'), from: 0, to: duration, frame: null,
  draw() {
    const { ctx, width, height } = prepare(this.canvas);
    const box = { left: 56, top: 10, width: width - 66, height: height - 48 };
    const a = lower_bound(rr.t, this.from), b = lower_bound(rr.t, this.to);
    let lo = Infinity, hi = -Infinity;
    for (let i = a; i < b; i++) if (rr.nn[i] === '1') { lo = Math.min(lo, rr.ms[i]); hi = Math.max(hi, rr.ms[i]); }
    if (!isFinite(lo)) { lo = 400; hi = 1200; }
    lo = Math.max(0, Math.floor(lo / 100) * 100 - 100); hi = Math.ceil(hi / 100) * 100 + 100;
    const f = this.frame = new Frame(ctx, box, this.from, this.to, lo, hi);
    f.time_ticks(); f.value_ticks('y', 'RR interval (ms)', 5); f.frame();
    ctx.save(); ctx.beginPath(); ctx.rect(box.left, box.top, box.width, box.height); ctx.clip();
    ctx.strokeStyle = COLOURS.normal; ctx.lineWidth = 1;
    draw_dense_line(f, rr.t, rr.ms, (i) => rr.nn[i] === '1', a, b);
    ctx.fillStyle = COLOURS.extra;
    for (let i = a; i < b; i++) if (rr.nn[i] !== '1') ctx.fillRect(f.px(rr.t[i]) - 1.5, Math.max(box.top, Math.min(box.top + box.height, f.py(rr.ms[i]))) - 1.5, 3, 3);
    ctx.restore();
    Object.assign(this.canvas.dataset, { from: this.from.toFixed(3), to: this.to.toFixed(3) });
    document.getElementById('tacho-range').textContent = `${clock(this.from)} – ${clock(this.to)} (${duration_text(this.to - this.from)})`;
  },
  zoom(factor, centre) {
    const mid = centre ?? (this.from + this.to) / 2, span = Math.min(duration, Math.max(10, (this.to - this.from) * factor));
    this.from = Math.max(0, Math.min(mid - span * (mid - this.from) / (this.to - this.from), duration - span));
    this.to = this.from + span;
    this.draw();
  },
  setup() {
    const on = (id, f) => document.getElementById(id).addEventListener('click', f);
    on('tacho-zoom-in', () => this.zoom(0.5));
    on('tacho-zoom-out', () => this.zoom(2));
    on('tacho-reset', () => { this.from = 0; this.to = duration; this.draw(); });
    this.canvas.addEventListener('wheel', (e) => { e.preventDefault(); this.zoom(e.deltaY < 0 ? 0.8 : 1.25, this.frame.xOf(e.offsetX)); }, { passive: false });
    let drag = null;
    this.canvas.addEventListener('pointerdown', (e) => { drag = { x: e.offsetX, from: this.from, moved: false }; });
    this.canvas.addEventListener('pointermove', (e) => {
      if (!drag || !(e.buttons & 1)) return;
      const dx = e.offsetX - drag.x;
      if (Math.abs(dx) > 3) drag.moved = true;
      const span = this.to - this.from, shift = -dx / this.frame.box.width * span;
      this.from = Math.max(0, Math.min(drag.from + shift, duration - span)); this.to = this.from + span; this.draw();
    });
    this.canvas.addEventListener('pointerup', (e) => { if (drag && !drag.moved) strip.show(this.frame.xOf(e.offsetX), true); drag = null; });
  },
};

function nn_pairs() {
  const xs = [], ys = [];
  for (let i = 1; i < rr.ms.length; i++) if (rr.nn[i] === '1' && rr.nn[i - 1] === '1') { xs.push(rr.ms[i - 1]); ys.push(rr.ms[i]); }
  return [xs, ys];
}

function draw_poincare() {
  const canvas = document.getElementById('poincare');
  const { ctx, width, height } = prepare(canvas);
  const [xs, ys] = nn_pairs();
  const side = Math.min(width - 70, height - 50), box = { left: 60, top: 10, width: side, height: side };
  let lo = Infinity, hi = -Infinity;
  for (const v of xs) { lo = Math.min(lo, v); hi = Math.max(hi, v); }
  if (!isFinite(lo)) { lo = 400; hi = 1200; }
  lo = Math.max(0, Math.floor(lo / 100) * 100 - 100); hi = Math.ceil(hi / 100) * 100 + 100;
  const f = new Frame(ctx, box, lo, hi, lo, hi);
  f.value_ticks('x', 'NN interval n (ms)', 5); f.value_ticks('y', 'NN interval n+1 (ms)', 5); f.frame();
  ctx.save(); ctx.beginPath(); ctx.rect(box.left, box.top, box.width, box.height); ctx.clip();
  ctx.fillStyle = xs.length > 20000 ? 'rgba(43,108,176,0.08)' : xs.length > 2000 ? 'rgba(43,108,176,0.3)' : 'rgba(43,108,176,0.7)';
  for (let i = 0; i < xs.length; i++) ctx.fillRect(f.px(xs[i]) - 1, f.py(ys[i]) - 1, 2, 2);
  ctx.strokeStyle = '#999'; ctx.setLineDash([4, 4]); ctx.beginPath(); ctx.moveTo(f.px(lo), f.py(lo)); ctx.lineTo(f.px(hi), f.py(hi)); ctx.stroke();
  ctx.setLineDash([]);
  const p = data.poincare;
  if (p && meanNn !== null) {
    // The SD1/SD2 ellipse: semi-axes SD1 across and SD2 along the identity line.
    const scale = box.width / (hi - lo);
    ctx.strokeStyle = COLOURS.extra; ctx.lineWidth = 1.5; ctx.beginPath();
    ctx.ellipse(f.px(meanNn), f.py(meanNn), p.sd2Ms * scale, p.sd1Ms * scale, -Math.PI / 4, 0, 2 * Math.PI); ctx.stroke();
    ctx.lineWidth = 1;
  }
  ctx.restore();
  document.getElementById('poincare-legend').textContent = p
    ? `${p.pairs} pairs of successive NN intervals. SD1 ${p.sd1Ms.toFixed(1)} ms (across the identity line), ` +
      `SD2 ${p.sd2Ms.toFixed(1)} ms (along it), SD1/SD2 ${(p.sd1Ms / p.sd2Ms).toFixed(2)}; the ellipse has these semi-axes.`
    : 'Too few successive NN intervals for SD1 and SD2.';
}

function draw_histogram() {
  const canvas = document.getElementById('histogram');
  const { ctx, width, height } = prepare(canvas);
  const h = data.histogram, n = h.counts.length;
  const box = { left: 60, top: 10, width: width - 70, height: Math.min(width - 70, height - 50) };
  const peak = Math.max(1, ...h.counts);
  const lo = Math.floor(h.firstMs / 100) * 100, hi = Math.ceil((h.firstMs + n * h.binMs) / 100) * 100 || lo + 100;
  const f = new Frame(ctx, box, lo, Math.max(hi, lo + 100), 0, peak * 1.08);
  f.value_ticks('x', 'NN interval (ms)', 6); f.value_ticks('y', 'intervals per bin', 4); f.frame();
  ctx.fillStyle = COLOURS.normal;
  for (let i = 0; i < n; i++) {
    const x0 = f.px(h.firstMs + i * h.binMs), x1 = f.px(h.firstMs + (i + 1) * h.binMs);
    ctx.fillRect(x0, f.py(h.counts[i]), Math.max(1, x1 - x0 - 0.5), f.py(0) - f.py(h.counts[i]));
  }
  const total = h.counts.reduce((a, b) => a + b, 0);
  document.getElementById('histogram-legend').textContent = total
    ? `${total} NN intervals in ${h.binMs} ms bins (two 5 ms sample steps each); tallest bin ${peak}; ` +
      `HRV triangular index ${(total / peak).toFixed(1)} (intervals / tallest bin, here with ${h.binMs} ms bins).`
    : 'No NN intervals.';
}

function draw_spectrum() {
  const canvas = document.getElementById('spectrum');
  const { ctx, width, height } = prepare(canvas);
  const s = data.spectrum, log = document.getElementById('spectrum-log').checked;
  const box = { left: 70, top: 22, width: width - 80, height: height - 60 };
  let peak = 0, low = Infinity;
  for (const v of s.ms2PerHz) { if (v > peak) peak = v; if (v > 0 && v < low) low = v; }
  if (!s.hz.length) {
    ctx.fillStyle = COLOURS.text; ctx.fillText(data.hrvNote || 'No spectrum: too few NN intervals.', box.left, box.top + 20);
    return;
  }
  const x0 = log ? Math.max(1e-4, s.hz[0]) : 0, x1 = 0.4;
  const y0 = log ? Math.max(low, peak * 1e-6) : 0, y1 = log ? peak * 2 : peak * 1.08 || 1;
  const f = new Frame(ctx, box, x0, x1, y0, y1, { logX: log, logY: log });
  // The library's bands, shaded, with their names above the frame; a band
  // too narrow for its name gets it on a second line.
  let lastLabelEnd = -Infinity;
  for (const row of data.frequencyDomain.rows.length ? data.frequencyDomain.rows
    : [{ band: 'ULF', fromHz: 0, toHz: 0.0033 }, { band: 'VLF', fromHz: 0.0033, toHz: 0.04 }, { band: 'LF', fromHz: 0.04, toHz: 0.15 }, { band: 'HF', fromHz: 0.15, toHz: 0.4 }]) {
    const a = f.px(Math.max(x0, row.fromHz)), b = f.px(Math.min(x1, row.toHz));
    if (b <= a) continue;
    ctx.fillStyle = COLOURS.bands[row.band]; ctx.fillRect(a, box.top, b - a, box.height);
    ctx.fillStyle = '#555'; ctx.textAlign = 'center';
    const label = row.band, textWidth = ctx.measureText(label).width, mid = Math.max(box.left + textWidth / 2, (a + b) / 2);
    const y = mid - textWidth / 2 < lastLabelEnd + 4 ? 20 : 10;
    ctx.fillText(label, mid, y + 2);
    if (y === 10) lastLabelEnd = mid + textWidth / 2;
  }
  f.value_ticks('x', 'frequency (Hz)', 8, (v) => String(+v.toPrecision(3)));
  f.value_ticks('y', 'power spectral density (ms²/Hz)', 4, (v) => v >= 1e5 || (v > 0 && v < 0.01) ? v.toExponential(0) : String(+v.toPrecision(4)));
  f.frame();
  ctx.save(); ctx.beginPath(); ctx.rect(box.left, box.top, box.width, box.height); ctx.clip();
  ctx.strokeStyle = '#222'; ctx.lineWidth = 1.2;
  draw_dense_line(f, s.hz, s.ms2PerHz, (i) => !log || s.ms2PerHz[i] > 0, 0, s.hz.length);
  ctx.restore(); ctx.lineWidth = 1;
  document.getElementById('spectrum-legend').textContent =
    `The library's Lomb periodogram of the whole recording's ${rr.nn.split('').filter((c) => c === '1').length} NN intervals, ` +
    `${s.hz.length} frequencies up to 0.4 Hz, shown as power spectral density: the area under the curve in a band is that band's power in the table below.`;
}

function fill_tables() {
  const ft = document.getElementById('frequency-table'), fd = data.frequencyDomain;
  ft.append(el('tr', {}, ...['band', 'range (Hz)', 'peak (Hz)', 'power (ms²)', 'share of total (%)', 'normalised units (%)', ''].map((h) => el('th', {}, h))));
  const meanings = { ULF: 'ultra-low frequency: circadian and slower changes', VLF: 'very low frequency: thermoregulation, hormonal rhythms',
    LF: 'low frequency: baroreflex, sympathetic and vagal', HF: 'high frequency: respiratory sinus arrhythmia, vagal' };
  for (const r of fd.rows) {
    const tr = el('tr', { class: r.needs ? 'short' : '' }, el('th', {}, r.band),
      el('td', { class: 'num' }, `${r.fromHz}–${r.toHz}`), el('td', { class: 'num' }, r.peakHz === null ? 'n/a' : r.peakHz < 0.001 ? r.peakHz.toExponential(2) : r.peakHz.toFixed(4)),
      el('td', { class: 'num' }, fixed(r.powerMs2, 1)), el('td', { class: 'num' }, fixed(r.percent, 1)),
      el('td', { class: 'num' }, r.normalisedUnits === null ? '' : fixed(r.normalisedUnits, 1)),
      el('td', {}, meanings[r.band] ?? '', r.needs ? el('span', { class: 'needs' }, ' ' + r.needs) : ''));
    ft.append(tr);
  }
  if (fd.rows.length) {
    ft.append(el('tr', {}, el('th', {}, 'total'), el('td', { class: 'num' }, '0–0.4'), el('td', {}), el('td', { class: 'num' }, fixed(fd.totalMs2, 1)),
      el('td', { class: 'num' }, '100'), el('td', {}), el('td', {}, 'all power up to 0.4 Hz')));
    ft.append(el('tr', {}, el('th', {}, 'LF/HF'), el('td', {}), el('td', {}), el('td', { class: 'num' }, fixed(fd.lfHf, 2)), el('td', {}), el('td', {}),
      el('td', {}, 'ratio of LF to HF power; normalised units are each band\'s share of LF + HF')));
  } else {
    ft.append(el('tr', {}, el('td', { colspan: 7 }, data.hrvNote || 'no frequency-domain values')));
  }
  const tt = document.getElementById('time-table');
  tt.append(el('tr', {}, ...['statistic', 'value', 'unit', 'meaning'].map((h) => el('th', {}, h))));
  for (const r of data.timeDomain) {
    tt.append(el('tr', { class: r.needs ? 'short' : '' }, el('th', {}, r.name),
      el('td', { class: 'num' }, r.value === null ? 'n/a' : fixed(r.value, r.unit === '%' ? 1 : 1)), el('td', {}, r.unit),
      el('td', {}, r.meaning, r.needs ? el('span', { class: 'needs' }, ' ' + r.needs) : '')));
  }
  document.getElementById('hrv-note').textContent = data.hrvNote
    ? `HRV: ${data.hrvNote}.` : `Whole-recording HRV from ${duration_text(duration)} of ECG; marked values need a longer recording to mean what their names say.`;
}

// ---------------------------------------------------------------- start

function draw_all() {
  draw_trend(); draw_quality(); strip.draw(); tacho.draw(); draw_poincare(); draw_histogram(); draw_spectrum();
}

fill_facts();
fill_tables();
strip.setup();
tacho.setup();
eventList.setup();
document.getElementById('spectrum-log').checked = duration >= 3600;
document.getElementById('spectrum-log').addEventListener('change', draw_spectrum);
draw_all();
let resizeTimer = null;
window.addEventListener('resize', () => { clearTimeout(resizeTimer); resizeTimer = setTimeout(draw_all, 150); });
// Marks the page as drawn, for automatic checks.
document.body.dataset.rendered = 'yes';
