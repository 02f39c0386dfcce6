// A WebSocket that comes back by itself.

import { parseFrame } from './frame_message.js';

const kFirstPauseMs = 100;
const kLongestPauseMs = 2000;

// handlers: frame(frame), text(object), open(), lost(). onRefused is asked after a failed attempt;
// it resolves when another one makes sense: a socket does not say whether the token was missing.
export class Connection {
  constructor(path, handlers, onRefused) {
    this.url = `${location.protocol === 'https:' ? 'wss' : 'ws'}://${location.host}${path}`;
    this.handlers = handlers;
    this.onRefused = onRefused;
    this.pauseMs = kFirstPauseMs;
    this.isClosed = false;
    this.connect();
  }

  connect() {
    this.timer = 0;
    const socket = new WebSocket(this.url);
    let opened = false;
    this.socket = socket;
    socket.binaryType = 'arraybuffer';
    socket.onopen = () => {
      opened = true;
      this.handlers.open?.();
    };
    socket.onmessage = ({ data }) => {
      this.pauseMs = kFirstPauseMs;
      if (typeof data === 'string') {
        const object = objectOf(data);
        if (object) this.handlers.text?.(object);
        return;
      }
      const frame = parseFrame(data);
      if (frame) this.handlers.frame?.(frame);
    };
    socket.onclose = async () => {
      if (this.isClosed) return;
      this.handlers.lost?.();
      if (!opened) await this.onRefused?.().catch(() => {});
      if (this.isClosed) return;
      this.timer = setTimeout(() => this.connect(), this.pauseMs);
      this.pauseMs = Math.min(this.pauseMs * 2, kLongestPauseMs);
    };
  }

  send(object) {
    if (this.socket.readyState === WebSocket.OPEN) this.socket.send(JSON.stringify(object));
  }

  close() {
    this.isClosed = true;
    clearTimeout(this.timer);
    this.socket.close();
  }
}

function objectOf(text) {
  try {
    return JSON.parse(text);
  } catch {
    return null;
  }
}
