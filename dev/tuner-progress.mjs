// SPDX-License-Identifier: MIT
//
// Follows a running tuner: hands its output on and keeps a picture of the error over time, the
// passes, the steps kept in each, and an estimate of what is left.
//
// Usage: quillon-tune texel | node dev/tuner-progress.mjs PICTURE.svg
// A finished log carries no times: with --log as a second argument each line counts as a second.

import { writeFileSync } from 'node:fs';
import { createInterface } from 'node:readline';
import { pathToFileURL } from 'node:url';

/** What the lines of a tuner say; times in seconds. */
export class Progress {
  constructor() {
    this.start = null; // { time, error }
    this.points = []; // { time, error } of each kept step
    this.passes = []; // { time, kept } of each finished pass
    this.kept = 0; // in the running pass
    this.end = null; // { time, error }
    this.time = 0; // of the last line
  }

  read(line, time) {
    this.time = time;
    const number = String.raw`(-?nan|[-+.e\d]+)`;
    const starting = line.match(new RegExp(`^Starting error ${number}`));
    const step = line.match(new RegExp(`^Min error ${number} parameter \\d+ `));
    const ending = line.match(new RegExp(`^Ending error ${number}`));
    if (starting) {
      this.start = { time, error: Number(starting[1]) };
      this.points.push(this.start);
    } else if (step) {
      this.points.push({ time, error: Number(step[1]) });
      this.kept++;
    } else if (/^ Improving: \d+/.test(line)) {
      this.passes.push({ time, kept: this.kept });
      this.kept = 0;
    } else if (ending) this.end = { time, error: Number(ending[1]) };
  }

  /** Passes that are still to come, the running one included: the kept steps of a pass fall by
   * about the same factor each time, and the last pass keeps none. Null while nothing is known. */
  passesLeft() {
    if (this.end) return 0;
    const kept = this.passes.slice(-4).map((pass) => pass.kept);
    const last = kept.at(-1);
    if (last === 0) return 0;
    if (kept.length < 2 || last >= kept[0]) return null;
    const factor = (last / kept[0]) ** (1 / (kept.length - 1));
    return Math.max(1, Math.ceil(Math.log(last) / -Math.log(factor)) + 1);
  }

  /** Seconds that are left, null while nothing is known. */
  secondsLeft() {
    const left = this.passesLeft();
    if (left === null || !this.start || this.passes.length === 0) return left === 0 ? 0 : null;
    const lastPass = this.passes.at(-1).time - (this.passes.at(-2) ?? this.start).time;
    const running = this.time - this.passes.at(-1).time;
    return Math.max(0, left * lastPass - running);
  }
}

/** A duration for people. */
export function duration(seconds) {
  if (seconds < 90) return `${Math.round(seconds)} s`;
  if (seconds < 5400) return `${Math.round(seconds / 60)} min`;
  return `${(seconds / 3600).toFixed(1)} h`;
}

/** The step between two labels of an axis, 1, 2 or 5 times a power of ten. */
function niceStep(range, count) {
  const rough = range / count || 1;
  const power = 10 ** Math.floor(Math.log10(rough));
  return power * ([1, 2, 5].find((factor) => factor * power >= rough) ?? 10);
}

/** The seconds between two labels of the time axis. */
function timeStepOf(span) {
  const steps = [1, 2, 5, 10, 20, 30, 60, 120, 300, 600, 1200, 1800, 3600, 7200, 14400, 43200];
  return span < 4 ? niceStep(span, 8) : steps.find((step) => step * 8 >= span) ?? 86400;
}

/** A label of the time axis. */
function timeLabel(seconds, step) {
  if (step >= 3600) return `${seconds / 3600} h`;
  if (step >= 60) return `${seconds / 60} min`;
  return `${Number(seconds.toFixed(3))} s`;
}

/** The picture of a progress. */
export function draw(progress) {
  const width = 900;
  const left = 90;
  const right = width - 30;
  const upper = { top: 90, bottom: 400 }; // error
  const lower = { top: 450, bottom: 560 }; // kept steps
  const begin = progress.start?.time ?? 0;
  const span = Math.max(progress.time - begin, 1e-9);
  const points = progress.points.filter((point) => Number.isFinite(point.error));
  const errors = points.map((point) => point.error);
  const most = errors.length ? Math.max(...errors) : 1;
  const least = errors.length ? Math.min(...errors) : 0;
  const height = most - least || most * 0.01 || 1;
  const x = (time) => left + ((time - begin) / span) * (right - left);
  const y = (error) => upper.bottom - ((error - least) / height) * (upper.bottom - upper.top);
  const fixed = (value) => value.toFixed(1);
  const marks = [];
  const text = (atX, atY, words, anchor = 'start', kind = '') =>
    marks.push(`<text x="${fixed(atX)}" y="${fixed(atY)}" text-anchor="${anchor}"` +
      `${kind && ` class="${kind}"`}>${words}</text>`);

  const errorStep = niceStep(height, 6);
  const decimals = Math.max(0, -Math.floor(Math.log10(errorStep)));
  for (let e = Math.ceil(least / errorStep) * errorStep; e <= most; e += errorStep) {
    marks.push(`<line x1="${left}" x2="${right}" y1="${fixed(y(e))}" y2="${fixed(y(e))}" class="grid"/>`);
    text(left - 8, y(e) + 4, e.toFixed(decimals), 'end');
  }
  const timeStep = timeStepOf(span);
  for (let t = 0; t <= span; t += timeStep)
    text(x(begin + t), lower.bottom + 18, timeLabel(t, timeStep), 'middle');

  const mostKept = Math.max(1, progress.kept, ...progress.passes.map((pass) => pass.kept));
  const bars = [...progress.passes, { time: progress.time, kept: progress.kept, running: true }];
  const isCrowded = bars.length > 60; // no room for a line and a gap each
  const gap = isCrowded ? 0 : 1;
  let from = begin;
  for (const [i, bar] of bars.entries()) {
    const barWidth = x(bar.time) - x(from);
    const barHeight = (bar.kept / mostKept) * (lower.bottom - lower.top);
    if (!bar.running || bar.kept) {
      marks.push(`<rect x="${fixed(x(from) + gap)}" y="${fixed(lower.bottom - barHeight)}" ` +
        `width="${fixed(Math.max(barWidth - 2 * gap, 0.5))}" height="${fixed(barHeight)}" ` +
        `class="${bar.running ? 'running' : 'pass'}"/>`);
      if (barWidth > 26)
        text(x(from) + barWidth / 2, lower.bottom - barHeight - 4, bar.kept, 'middle');
    }
    if (!bar.running) {
      if (!isCrowded)
        marks.push(`<line x1="${fixed(x(bar.time))}" x2="${fixed(x(bar.time))}" y1="${upper.top}" y2="${upper.bottom}" class="turn"/>`);
      if (barWidth > 26) text(x(from) + barWidth / 2, upper.top - 6, `pass ${i + 1}`, 'middle', 'soft');
    }
    from = bar.time;
  }

  let path = '';
  for (const point of points)
    path += path ? `H${fixed(x(point.time))}V${fixed(y(point.error))}` : `M${fixed(x(point.time))} ${fixed(y(point.error))}`;
  if (path) marks.push(`<path d="${path}H${fixed(x(progress.time))}" class="error"/>`);

  const steps = progress.passes.reduce((sum, pass) => sum + pass.kept, progress.kept);
  const seconds = progress.secondsLeft();
  const state = progress.end
    ? 'finished'
    : seconds === null
      ? 'too early to say what is left'
      : `about ${progress.passesLeft()} passes and ${duration(seconds)} left`;
  const error = errors.length ? `error ${errors[0]} to ${errors.at(-1)}` : 'no error yet';
  text(left, 30, 'Tuning', 'start', 'title');
  text(left, 54, `${error}; ${progress.passes.length} passes, ${steps} steps kept; ` +
    `${duration(progress.time - begin)}, ${state}`);
  text(left - 70, upper.top - 22, 'error', 'start', 'soft');
  text(left - 70, lower.top - 14, 'steps kept', 'start', 'soft');

  return `<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 ${width} 600" font-family="sans-serif" font-size="12">
<style>
text { fill: #222 } .soft { fill: #777 } .title { font-size: 18px; font-weight: bold }
.grid { stroke: #ddd } .turn { stroke: #bbb; stroke-dasharray: 3 3 }
.error { fill: none; stroke: #1f5fa8; stroke-width: 2 } .pass { fill: #7fa7d4 } .running { fill: #c9d9ec }
</style>
<rect width="${width}" height="600" fill="#fff"/>
${marks.join('\n')}
</svg>
`;
}

async function main([picture, option]) {
  if (!picture) {
    console.error('usage: quillon-tune texel | node dev/tuner-progress.mjs PICTURE.svg [--log]');
    process.exit(2);
  }
  const progress = new Progress();
  const write = () => writeFileSync(picture, draw(progress));
  const timer = setInterval(write, 1000);
  let lines = 0;
  for await (const line of createInterface({ input: process.stdin })) {
    console.log(line);
    progress.read(line, option === '--log' ? lines++ : performance.now() / 1000);
  }
  clearInterval(timer);
  write();
}

if (import.meta.url === pathToFileURL(process.argv[1]).href) await main(process.argv.slice(2));
