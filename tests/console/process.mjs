// SPDX-License-Identifier: MIT
// What the kernel reports about a process: how long it waited, and what it holds (memory,
// threads and open files) and whether that stays the same.

import assert from 'node:assert/strict';
import fs from 'node:fs';

// How long each thread of a process, by its number, has waited for a processor since its start, in
// milliseconds. Empty when the process has ended.
export function waitsOf(pid) {
  const tasks = `/proc/${pid}/task`;
  const read = (id) => Number(fs.readFileSync(`${tasks}/${id}/schedstat`, 'utf8').split(' ')[1]);
  if (!fs.existsSync(tasks)) return new Map();
  return new Map(fs.readdirSync(tasks).map((id) => [id, read(id) / 1e6]));
}

// Kilobytes by which the memory may grow between the first look and any later one. The engine
// takes its tables once; what is left are pages of the heap and of the stacks that a rarer course
// of things touches late. Over twenty thousand searches a leak of 210 bytes each is more.
export const tolerance = 4096;

// Returns { rss, peak, threads, files } of a process, the first two in kilobytes.
export function readUse(pid) {
  const status = fs.readFileSync(`/proc/${pid}/status`, 'utf8');
  const number = (name) => Number(new RegExp(`^${name}:\\s+(\\d+)`, 'm').exec(status)[1]);
  return {
    rss: number('VmRSS'),
    peak: number('VmHWM'),
    threads: number('Threads'),
    files: fs.readdirSync(`/proc/${pid}/fd`).length,
  };
}

// Fails if a later look at a process shows more than the first.
export function checkFlat(first, later, where) {
  const both = `${where}: ${JSON.stringify(first)}, then ${JSON.stringify(later)}`;
  assert.ok(later.rss <= first.rss + tolerance, `memory grows, ${both}`);
  assert.ok(later.peak <= first.peak + tolerance, `peak of memory grows, ${both}`);
  assert.equal(later.threads, first.threads, `number of threads, ${both}`);
  assert.equal(later.files, first.files, `open files, ${both}`);
}
