// How bytes go to the main port and come from there.

import { ConnectionError } from './errors';
import { abortError } from './emitter';

export interface TransportHandlers {
  onBytes(bytes: Uint8Array): void;
  /** A text frame of a gateway. */
  onText(text: string): void;
  /** The connection has ended, once; not called after close(). */
  onClose(why: string): void;
}

/** An open connection. */
export interface Transport {
  /** The machine's own address on this connection, where that can be known. */
  readonly localAddress: string;
  /** A gateway is on the way, which proves who the user is once the log-in is granted. */
  readonly givesSession?: boolean;
  send(bytes: Uint8Array): void;
  close(): void;
}

/** Makes a connection; rejects with a ConnectionError, or an AbortError when the signal says so. */
export type Connector = (handlers: TransportHandlers, signal: AbortSignal) => Promise<Transport>;

/**
 * A connection through a gateway, for browsers: binary frames carry the bytes of the main port.
 *
 * @param url "wss://chat.example.org/ws"
 * @param make for a WebSocket of another kind than the platform's
 */
export function webSocket(
  url: string,
  make: (url: string) => WebSocket = (address) => new WebSocket(address),
): Connector {
  return (handlers, signal) =>
    new Promise((resolve, reject) => {
      if (signal.aborted) return reject(abortError(signal));
      const socket = make(url);
      socket.binaryType = 'arraybuffer';
      let state: 'opening' | 'open' | 'closed' = 'opening';
      const close = () => {
        state = 'closed';
        signal.removeEventListener('abort', onAbort);
        socket.close();
      };
      const onAbort = () => {
        const wasOpening = state === 'opening';
        close();
        if (wasOpening) reject(abortError(signal));
      };
      signal.addEventListener('abort', onAbort);
      socket.onopen = () => {
        if (state !== 'opening') return;
        state = 'open';
        resolve({ localAddress: '', givesSession: true, send: (bytes) => socket.send(bytes), close });
      };
      socket.onmessage = ({ data }: MessageEvent) => {
        if (state !== 'open') return;
        if (typeof data === 'string') handlers.onText(data);
        else handlers.onBytes(new Uint8Array(data as ArrayBuffer));
      };
      // What went wrong is told by the end that follows; some kinds of WebSocket end the program without a listener.
      socket.onerror = () => undefined;
      socket.onclose = (event: CloseEvent) => {
        const was = state;
        state = 'closed';
        signal.removeEventListener('abort', onAbort);
        const why = event.reason || `the connection has ended (${event.code})`;
        if (was === 'opening') reject(new ConnectionError(`cannot reach ${url}: ${why}`));
        if (was === 'open') handlers.onClose(why);
      };
    });
}
