// SPDX-License-Identifier: MIT

export interface Settings {
  /** Search threads, 1 to 64; only one on a page that isn't cross-origin isolated. Default 1. */
  threads?: number;
  /** Megabytes of the transposition table, 1 to 32768; if memory is short, the engine takes less and
   *  reports the size. Default 64. */
  hash?: number;
  /** The words of a command, such as ['perft', '5'], after which the engine exits. */
  args?: string[];
  /** Whether to use the build with threads. Default: true if there is shared memory. */
  threaded?: boolean;
}

export interface Engine {
  /** Whether this is the build with threads. */
  readonly threaded: boolean;
  /** False once the engine has ended. */
  readonly isRunning: boolean;
  /** Called with each line that the engine writes. Lines written earlier are passed at once. */
  onLine: ((line: string) => void) | null;
  /** Called when the engine has ended: with null after `quit`, otherwise with an error. */
  onExit: ((fault: Error | null) => void) | null;
  /** Resolves with the argument of `onExit`; never rejects. */
  readonly ended: Promise<Error | null>;
  /** Sends the engine one line. Throws if it has ended. */
  send(line: string): void;
  /** Sends text unchanged, one byte for each character; "\n" ends a line. */
  write(text: string): void;
  /** Sends `quit`; resolves as `ended` does. */
  quit(): Promise<Error | null>;
  /** Ends the engine at once, even in a search. */
  kill(): void;
}

/** Starts an engine. Rejects if it can't be loaded or a setting is out of range. */
export function Quillon(settings?: Settings): Promise<Engine>;
