// The parts of Node's HTTP and of the package ws that the gateway uses; see node.d.ts.

declare module 'node:http' {
  import { EventEmitter } from 'node:events';
  import { Readable, Writable } from 'node:stream';
  import { Server as NetServer, Socket } from 'node:net';
  export type Headers = Record<string, string | number>;
  export class IncomingMessage extends Readable {
    readonly method: string;
    readonly url: string;
    readonly headers: Record<string, string | undefined>;
    readonly socket: Socket;
    readonly statusCode?: number;
  }
  export class ServerResponse extends Writable {
    readonly headersSent: boolean;
    writeHead(status: number, headers?: Headers): this;
    setHeader(name: string, value: string | number): void;
  }
  type OnRequest = (request: IncomingMessage, response: ServerResponse) => void;
  export class Server extends NetServer {
    closeIdleConnections?(): void;
    headersTimeout: number;
    requestTimeout: number;
  }
  export interface ServerOptions {
    maxHeaderSize?: number;
  }
  export function createServer(options: ServerOptions, onRequest?: OnRequest): Server;
  export class ClientRequest extends Writable {
    setTimeout(ms: number, then: () => void): this;
  }
  export interface RequestOptions {
    method?: string;
    headers?: Headers;
    host?: string;
    port?: number;
    path?: string;
    rejectUnauthorized?: boolean;
    localAddress?: string;
  }
  export function request(
    url: string | URL,
    options: RequestOptions,
    then?: (response: IncomingMessage) => void,
  ): ClientRequest;
}

declare module 'node:https' {
  import { ClientRequest, IncomingMessage, RequestOptions, Server as HttpServer, ServerOptions } from 'node:http';
  interface Certificate {
    cert: string | Uint8Array;
    key: string | Uint8Array;
  }
  export class Server extends HttpServer {
    setSecureContext(certificate: Certificate): void;
  }
  export function createServer(options: ServerOptions & Certificate & { minVersion?: string }): Server;
  export function request(
    url: string | URL,
    options: RequestOptions,
    then?: (response: IncomingMessage) => void,
  ): ClientRequest;
}

declare module 'ws' {
  import { EventEmitter } from 'node:events';
  import { IncomingMessage } from 'node:http';
  import { Socket } from 'node:net';
  export class WebSocket extends EventEmitter {
    constructor(
      url: string,
      options?: { headers?: Record<string, string>; rejectUnauthorized?: boolean; perMessageDeflate?: boolean },
    );
    static readonly OPEN: number;
    readonly readyState: number;
    readonly bufferedAmount: number;
    send(data: string | Uint8Array, options?: { binary?: boolean }, done?: (error?: Error) => void): void;
    ping(): void;
    pause(): void;
    resume(): void;
    close(code?: number, reason?: string): void;
    terminate(): void;
  }
  export class WebSocketServer {
    constructor(options: { noServer: true; maxPayload: number; perMessageDeflate: boolean; clientTracking: boolean });
    handleUpgrade(request: IncomingMessage, socket: Socket, head: Uint8Array, then: (ws: WebSocket) => void): void;
  }
}
