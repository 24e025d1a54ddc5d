// SPDX-License-Identifier: MIT

export interface Settings {
  /** Threads that search, 1 to 64; one on a page that is not cross-origin isolated. Default 1. */
  threads?: number;
  /** Megabytes of the transposition table, 1 to 32768; the engine takes less where it must, and
   *  says so. Default 64. */
  hash?: number;
  /** Words of one command, after which the engine ends, such as ['perft', '5']. */
  args?: string[];
  /** Whether to take the build with threads. Default: wherever there is shared memory. */
  threaded?: boolean;
}

export interface Engine {
  /** Whether this is the build with threads. */
  readonly threaded: boolean;
  /** False once the engine has ended, in whatever way. */
  readonly isRunning: boolean;
  /** Gets each line that the engine writes, without its end. Earlier lines come at once. */
  onLine: ((line: string) => void) | null;
  /** Called when the engine has ended: with null after `quit`, else with what went wrong. */
  onExit: ((fault: Error | null) => void) | null;
  /** Resolves, never rejects, with what `onExit` gets. */
  readonly ended: Promise<Error | null>;
  /** Hands the engine one line. Throws when it has ended. */
  send(line: string): void;
  /** Hands over text as it is, one byte a character; each "\n" ends a line. */
  write(text: string): void;
  /** Ends the engine in an orderly way; resolves as `ended` does. */
  quit(): Promise<Error | null>;
  /** Ends the engine at once, even in a search. */
  kill(): void;
}

/** Starts an engine. Rejects when it can't be loaded or a setting is out of range. */
export function Quillon(settings?: Settings): Promise<Engine>;
