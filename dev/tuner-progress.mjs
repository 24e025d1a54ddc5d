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
import { duration } from '../tools/lib/command.mjs';

/** What the lines of a tuner say; times in seconds. */
export class Progress {
  constructor() {
    this.start = null; // time of the first error
    this.points = []; // { time, error } of the start and of each kept step
    this.passes = []; // { time, kept } of each finished pass
    this.kept = 0; // in the running pass
    this.isFinished = false;
    this.time = 0; // of the last line
  }

  read(line, time) {
    this.time = time;
    const [, what, error] = line.match(/^(Starting|Min|Ending) error (\S+)/) ?? [];
    if (what === 'Starting') this.start = time;
    if (what === 'Min') this.kept++;
    if (what === 'Ending') this.isFinished = true;
    else if (Number.isFinite(Number(error))) this.points.push({ time, error: Number(error) });
    if (/^ Improving: \d+/.test(line)) {
      this.passes.push({ time, kept: this.kept });
      this.kept = 0;
    }
  }

  /** Passes that are still to come, the running one included: the kept steps of a pass fall by
   * about the same factor each time, and the last pass keeps none. Null while nothing is known. */
  passesLeft() {
    const kept = this.passes.slice(-4).map((pass) => pass.kept);
    const last = kept.at(-1);
    if (this.isFinished || last === 0) return 0;
    if (kept.length < 2 || last >= kept[0]) return null;
    const factor = (last / kept[0]) ** (1 / (kept.length - 1));
    return Math.max(1, Math.ceil(Math.log(last) / -Math.log(factor)) + 1);
  }

  /** Seconds that are left, null while nothing is known. */
  secondsLeft() {
    const left = this.passesLeft();
    if (!left) return left;
    const times = [this.start, ...this.passes.map((pass) => pass.time)];
    const [before, last] = times.slice(-2);
    return Math.max(0, left * (last - before) - (this.time - last));
  }
}

/** Places of labels on an axis, 1, 2 or 5 times a power of ten apart, or as the units of time. */
function labels(least, most, count, steps = []) {
  const rough = (most - least) / count || 1;
  const power = 10 ** Math.floor(Math.log10(rough));
  const decimal = [1, 2, 5, 10].map((factor) => factor * power);
  const step = [...steps, ...decimal].find((one) => one >= rough) ?? steps.at(-1);
  const found = [];
  for (let i = Math.ceil(least / step); i * step <= most; i++) found.push(i * step);
  return found;
}
const timeSteps = [60, 120, 300, 600, 1200, 1800, 3600, 7200, 14400, 43200, 86400];

/** The picture of a progress. */
export function draw(progress) {
  const { points, passes, kept, time: end } = progress;
  const [width, left, right] = [900, 90, 870];
  const upper = { top: 90, bottom: 400 }; // error
  const lower = { top: 450, bottom: 560 }; // kept steps
  const begin = progress.start ?? 0;
  const span = Math.max(end - begin, 1e-9);
  const errors = points.map(({ error }) => error);
  const [least, most] = errors.length ? [Math.min(...errors), Math.max(...errors)] : [0, 1];
  const height = most - least || most * 0.01 || 1;
  const fixed = (value) => value.toFixed(1);
  const x = (time) => fixed(left + ((time - begin) / span) * (right - left));
  const depth = upper.bottom - upper.top;
  const y = (error) => fixed(upper.bottom - ((error - least) / height) * depth);
  const marks = [];
  const text = (atX, atY, words, anchor = 'start', kind = 'plain') =>
    marks.push(`<text x="${atX}" y="${atY}" text-anchor="${anchor}" class="${kind}">${words}</text>`);
  const line = (x1, x2, y1, y2, kind) =>
    marks.push(`<line x1="${x1}" x2="${x2}" y1="${y1}" y2="${y2}" class="${kind}"/>`);

  for (const error of labels(least, least + height, 6)) {
    line(left, right, y(error), y(error), 'grid');
    text(left - 8, y(error), Number(error.toPrecision(6)), 'end');
  }
  for (const time of labels(0, span, 8, span < 480 ? [] : timeSteps)) {
    text(x(begin + time), lower.bottom + 18, duration(time), 'middle');
  }
  const bars = [...passes, { time: end, kept, isRunning: true }];
  const isCrowded = bars.length > 60; // no room for a line and a gap each
  const mostKept = Math.max(1, ...bars.map((bar) => bar.kept));
  let from = begin;
  for (const [i, { time, kept: count, isRunning }] of bars.entries()) {
    const [barWidth, middle] = [x(time) - x(from), x((from + time) / 2)];
    const top = lower.bottom - (count / mostKept) * (lower.bottom - lower.top);
    const shown = Math.max(barWidth - (isCrowded ? 0 : 2), 0.5);
    marks.push(
      `<rect x="${x(from)}" y="${fixed(top)}" width="${fixed(shown)}" ` +
        `height="${fixed(lower.bottom - top)}" class="${isRunning ? 'running' : 'pass'}"/>`,
    );
    if (barWidth > 26 && count) text(middle, fixed(top - 4), count, 'middle');
    if (barWidth > 26 && !isRunning) text(middle, upper.top - 6, `pass ${i + 1}`, 'middle', 'soft');
    if (!isRunning && !isCrowded) line(x(time), x(time), upper.top, upper.bottom, 'turn');
    from = time;
  }
  if (points.length) {
    const steps = points.map(({ time, error }) => `H${x(time)}V${y(error)}`).join('');
    marks.push(`<path d="M${x(points[0].time)} ${y(errors[0])}${steps}H${x(end)}" class="error"/>`);
  }

  const total = bars.reduce((sum, bar) => sum + bar.kept, 0);
  const seconds = progress.secondsLeft();
  const rest = `about ${progress.passesLeft()} passes and ${duration(seconds)} left`;
  const state = seconds === null ? 'too early to say what is left' : rest;
  const error = errors.length ? `error ${errors[0]} to ${errors.at(-1)}` : 'no error yet';
  text(left, 30, 'Tuning', 'start', 'title');
  text(left, 54, `${error}; ${passes.length} passes, ${total} steps kept; ` +
    `${duration(end - begin)}, ${progress.isFinished ? 'finished' : state}`);
  text(20, upper.top - 22, 'error', 'start', 'soft');
  text(20, lower.top - 14, 'steps kept', 'start', 'soft');
  return `<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 ${width} 600" font-family="sans-serif" font-size="12">
<style>
.plain { fill: #222 } .soft { fill: #777 } .title { font-size: 18px; font-weight: bold }
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
