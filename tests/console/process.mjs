// SPDX-License-Identifier: MIT
// What the kernel reports about a process: how long it has waited, and the memory, threads and
// files that it has.

import assert from 'node:assert/strict';
import fs from 'node:fs';

// Maps each thread of a process to the milliseconds that it has waited for a processor since its
// start. Empty if the process has ended.
export function waitsOf(pid) {
  const tasks = `/proc/${pid}/task`;
  const read = (id) => Number(fs.readFileSync(`${tasks}/${id}/schedstat`, 'utf8').split(' ')[1]);
  if (!fs.existsSync(tasks)) return new Map();
  return new Map(fs.readdirSync(tasks).map((id) => [id, read(id) / 1e6]));
}

// Kilobytes by which the memory may grow after the first measurement. The engine allocates its
// tables once; the rest are pages of the heap and the stacks that rare events touch late. A leak of
// 210 bytes a search exceeds this within twenty thousand searches.
export const tolerance = 4096;

// Returns { rss, peak, size, data, threads, files } of a process, the first four in kilobytes.
export function readUse(pid) {
  const status = fs.readFileSync(`/proc/${pid}/status`, 'utf8');
  const number = (name) => Number(new RegExp(`^${name}:\\s+(\\d+)`, 'm').exec(status)[1]);
  return {
    rss: number('VmRSS'),
    peak: number('VmHWM'),
    size: number('VmSize'),
    data: number('VmData'),
    threads: number('Threads'),
    files: fs.readdirSync(`/proc/${pid}/fd`).length,
  };
}

// Fails if a process has more than at the first measurement.
export function checkFlat(first, later, where) {
  const both = `${where}: ${JSON.stringify(first)}, then ${JSON.stringify(later)}`;
  assert.ok(later.rss <= first.rss + tolerance, `memory grows, ${both}`);
  assert.ok(later.peak <= first.peak + tolerance, `peak of memory grows, ${both}`);
  assert.equal(later.threads, first.threads, `number of threads, ${both}`);
  assert.equal(later.files, first.files, `open files, ${both}`);
}
