// SPDX-License-Identifier: MIT
//
// A chess clock with base and increment. Times are in milliseconds.

/** A clock that is stopped until start(). `w` and `b` are the times that the sides have left. The
 *  tests give it their own `now`. */
export class Clock {
  #now;
  #since = 0;

  constructor({ base, increment, w = base, b = base }, now = () => performance.now()) {
    this.base = base;
    this.increment = increment;
    this.#now = now;
    this.times = { w, b };
    /** The side whose clock runs, or null. */
    this.side = null;
  }

  /** The time that a side has left; below 0 when it has run out. */
  left(side) {
    return this.times[side] - (side === this.side ? this.#now() - this.#since : 0);
  }

  start(side) {
    this.stop();
    this.side = side;
    this.#since = this.#now();
  }

  stop() {
    if (this.side) this.times[this.side] = this.left(this.side);
    this.side = null;
  }

  /** A side has moved: its time stops and grows by the increment. */
  moved(side) {
    this.stop();
    this.times[side] += this.increment;
  }

  /** What the constructor needs for the same clock, stopped. */
  get record() {
    const { base, increment } = this;
    return { base, increment, w: this.left('w'), b: this.left('b') };
  }
}

/** "1:02:03", "5:00"; "0:09.3" below twenty seconds. */
export function timeText(milliseconds) {
  const tenths = Math.max(0, Math.ceil(milliseconds / 100));
  const pad = (number) => String(number).padStart(2, '0');
  if (tenths < 200) return `0:${pad(Math.floor(tenths / 10))}.${tenths % 10}`;
  const seconds = Math.ceil(tenths / 10);
  const hours = Math.floor(seconds / 3600);
  const minutes = Math.floor(seconds / 60) % 60;
  return `${hours ? `${hours}:${pad(minutes)}` : minutes}:${pad(seconds % 60)}`;
}
