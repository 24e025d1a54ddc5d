// SPDX-License-Identifier: MIT
//
// The server's end of a WebSocket (RFC 6455), as far as the board needs it: text messages of a
// limited size, fragments, ping and pong, and an orderly close.

import { createHash } from 'node:crypto';

const acceptGuid = '258EAFA5-E914-47DA-95CA-C5AB0DC85B11';
const opcodes = { continuation: 0, text: 1, binary: 2, close: 8, ping: 9, pong: 10 };
/** A reader that lets more bytes than this wait is taken to be gone. */
const mostUnsent = 4 << 20;

/** What a client has sent that it may not send; `code` is the WebSocket's close code. */
class Violation extends Error {
  constructor(code, message) {
    super(message);
    this.code = code;
  }
}

/** Whether a request asks for a WebSocket in a way that `WebSocket` can serve.
 *  @param {import('node:http').IncomingMessage} request */
export function isHandshake({ method, headers }) {
  return (
    method === 'GET' &&
    headers.upgrade?.toLowerCase() === 'websocket' &&
    headers['sec-websocket-version'] === '13' &&
    Buffer.from(headers['sec-websocket-key'] ?? '', 'base64').length === 16
  );
}

/** A connection. It calls `onMessage(text)` for each message and `onClose()` once, at its end. */
export class WebSocket {
  #socket;
  #unread;
  #fragments = null;
  #isClosing = false;
  #isAnswering = true;

  /** Answers the handshake and takes the connection over.
   *  @param {import('node:http').IncomingMessage} request for which isHandshake() is true
   *  @param {import('node:net').Socket} socket
   *  @param {Buffer} head what has been read behind the request
   *  @param {object} settings
   *  @param {number} settings.longest bytes of a message; a longer one ends the connection
   *  @param {number} [settings.heartbeat] milliseconds between pings; a client that hasn't answered
   *      the one before is gone */
  constructor(request, socket, head, { longest, heartbeat = 15000 }) {
    this.longest = longest;
    this.onMessage = () => {};
    this.onClose = () => {};
    this.#socket = socket;
    this.#unread = head;
    const key = request.headers['sec-websocket-key'];
    const accept = createHash('sha1')
      .update(key + acceptGuid)
      .digest('base64');
    socket.write(
      'HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n' +
        `Sec-WebSocket-Accept: ${accept}\r\n\r\n`,
    );
    socket.setTimeout(0);
    socket.setNoDelay(true);
    const timer = setInterval(() => this.#beat(), heartbeat);
    socket.on('data', (bytes) => this.#take(bytes));
    socket.on('end', () => socket.end());
    socket.on('error', () => {}); // "close" follows
    socket.on('close', () => {
      clearInterval(timer);
      this.#isClosing = true;
      this.onClose();
    });
    if (head.length) queueMicrotask(() => this.#take(Buffer.alloc(0)));
  }

  /** Sends a text; nothing happens when the connection has ended. */
  send(text) {
    if (this.#isClosing) return;
    this.#write(opcodes.text, Buffer.from(text));
    if (this.#socket.writableLength > mostUnsent) this.#socket.destroy();
  }

  /** Ends the connection.
   *  @param {number} [code] 1000 is a normal end
   *  @param {string} [reason] at most 120 bytes */
  close(code = 1000, reason = '') {
    if (this.#isClosing) return;
    const payload = Buffer.alloc(2 + Buffer.byteLength(reason));
    payload.writeUInt16BE(code);
    payload.write(reason, 2);
    this.#write(opcodes.close, payload);
    this.#isClosing = true;
    this.#socket.end();
    // A client that never closes its side.
    setTimeout(() => this.#socket.destroy(), 2000).unref();
  }

  #beat() {
    if (!this.#isAnswering) {
      this.#socket.destroy();
      return;
    }
    this.#isAnswering = false;
    this.#write(opcodes.ping, Buffer.alloc(0));
  }

  #write(opcode, payload) {
    const { length } = payload;
    let header;
    if (length < 126) {
      header = Buffer.from([0x80 | opcode, length]);
    } else if (length < 65536) {
      header = Buffer.from([0x80 | opcode, 126, length >> 8, length & 255]);
    } else {
      header = Buffer.alloc(10);
      header[0] = 0x80 | opcode;
      header[1] = 127;
      header.writeBigUInt64BE(BigInt(length), 2);
    }
    if (this.#socket.writable) this.#socket.write(Buffer.concat([header, payload]));
  }

  #take(bytes) {
    if (this.#isClosing) return;
    this.#unread = this.#unread.length ? Buffer.concat([this.#unread, bytes]) : bytes;
    try {
      while (!this.#isClosing && this.#takeFrame());
    } catch (error) {
      if (!(error instanceof Violation)) throw error;
      this.close(error.code, error.message);
    }
  }

  /** Takes one frame off what is unread; false when it isn't complete. */
  #takeFrame() {
    const data = this.#unread;
    if (data.length < 2) return false;
    const opcode = data[0] & 15;
    const isFinal = (data[0] & 0x80) !== 0;
    if (data[0] & 0x70) throw new Violation(1002, 'no extension has been agreed on');
    if (!(data[1] & 0x80)) throw new Violation(1002, 'a client masks what it sends');
    let length = data[1] & 127;
    let at = 2;
    if (opcode >= 8 && (length > 125 || !isFinal))
      throw new Violation(1002, 'control frame too long');
    if (length === 126) {
      if (data.length < 4) return false;
      length = data.readUInt16BE(2);
      at = 4;
    } else if (length === 127) {
      if (data.length < 10) return false;
      const long = data.readBigUInt64BE(2);
      if (long > BigInt(this.longest)) throw new Violation(1009, 'message too long');
      length = Number(long);
      at = 10;
    }
    const before = this.#fragments?.reduce((sum, part) => sum + part.length, 0) ?? 0;
    if (opcode < 8 && before + length > this.longest) throw new Violation(1009, 'message too long');
    if (data.length < at + 4 + length) return false;
    const mask = data.subarray(at, at + 4);
    const payload = Buffer.from(data.subarray(at + 4, at + 4 + length));
    for (let i = 0; i < payload.length; i++) payload[i] ^= mask[i & 3];
    this.#unread = data.subarray(at + 4 + length);
    this.#takePayload(opcode, isFinal, payload);
    return true;
  }

  #takePayload(opcode, isFinal, payload) {
    switch (opcode) {
      case opcodes.text:
        if (this.#fragments) throw new Violation(1002, 'message within a message');
        this.#fragments = [payload];
        break;
      case opcodes.continuation:
        if (!this.#fragments) throw new Violation(1002, 'nothing to continue');
        // Empty fragments would cost memory that the limit of bytes doesn't see.
        if (payload.length) this.#fragments.push(payload);
        break;
      case opcodes.ping:
        this.#write(opcodes.pong, payload);
        return;
      case opcodes.pong:
        this.#isAnswering = true;
        return;
      case opcodes.close:
        this.close(1000);
        return;
      case opcodes.binary:
        throw new Violation(1003, 'text only');
      default:
        throw new Violation(1002, 'unknown kind of frame');
    }
    if (!isFinal) return;
    const whole = Buffer.concat(this.#fragments);
    this.#fragments = null;
    let text;
    try {
      text = new TextDecoder('utf-8', { fatal: true }).decode(whole);
    } catch {
      throw new Violation(1007, 'not UTF-8');
    }
    this.onMessage(text);
  }
}
