// SPDX-License-Identifier: MIT
//
// The page's end of the connection to its engine. If the server goes away, it reconnects by itself.

const waits = [300, 1000, 2000, 4000];

/** A connection that calls these `handlers`:
 *    onMessage(message)   the server has sent a message
 *    onOpen(), onLost()   the connection is open; it is lost and will be opened again
 *    onRefused(text)      there is no engine for this tab; open() tries again */
export class Link {
  #socket = null;
  #tries = 0;
  #handlers;
  #isClosed = false;
  /** Which engine it is, and where. */
  kind = 'native';
  place = 'server';
  placeText = 'It runs on the computer that serves this page.';
  mostThreads = 64;
  mostHash = 32768;

  constructor(handlers) {
    this.#handlers = handlers;
  }

  open() {
    const address = new URL('engine', document.baseURI);
    address.protocol = 'ws:';
    const socket = new WebSocket(address);
    this.#socket = socket;
    let isRefused = false;
    socket.addEventListener('open', () => {
      this.#tries = 0;
      this.#handlers.onOpen();
    });
    socket.addEventListener('message', ({ data }) => {
      if (socket !== this.#socket) return;
      const message = JSON.parse(data);
      if (message.type === 'refused') {
        isRefused = true;
        this.#handlers.onRefused(message.text);
      } else {
        this.#handlers.onMessage(message);
      }
    });
    socket.addEventListener('close', () => {
      if (socket !== this.#socket) return;
      this.#socket = null;
      if (isRefused) return;
      this.#handlers.onLost();
      const wait = waits[Math.min(this.#tries++, waits.length - 1)];
      setTimeout(() => this.#isClosed || this.#socket || this.open(), wait);
    });
  }

  /** Ends it for good. */
  close() {
    const socket = this.#socket;
    this.#isClosed = true;
    this.#socket = null;
    socket?.close();
  }

  get isOpen() {
    return this.#socket?.readyState === WebSocket.OPEN;
  }

  send(message) {
    if (this.isOpen) this.#socket.send(JSON.stringify(message));
  }
}
