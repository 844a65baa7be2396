// The parts of Node that these packages use, so that type checking needs no download. Where the
// real declarations of Node are installed they say the same in more words; these stay narrow on
// purpose: a member that is missing here has not been thought about yet.

declare const process: {
  readonly argv: string[];
  readonly env: Record<string, string | undefined>;
  readonly pid: number;
  readonly platform: string;
  readonly version: string;
  exitCode: number | undefined;
  readonly stdin: import('node:stream').Readable;
  readonly stdout: { write(text: string): boolean; isTTY?: boolean };
  readonly stderr: { write(text: string): boolean };
  cwd(): string;
  exit(code?: number): never;
  kill(pid: number, signal?: string | number): boolean;
  memoryUsage(): { rss: number; heapUsed: number };
  uptime(): number;
  hrtime: { bigint(): bigint };
  cpuUsage(): { user: number; system: number };
  on(event: string, listener: (...args: any[]) => void): void;
  once(event: string, listener: (...args: any[]) => void): void;
  off(event: string, listener: (...args: any[]) => void): void;
};

declare class Buffer extends Uint8Array {
  static from(text: string, encoding?: string): Buffer;
  static from(bytes: ArrayBuffer | ArrayLike<number>, offset?: number, length?: number): Buffer;
  static concat(parts: readonly Uint8Array[]): Buffer;
  static alloc(size: number): Buffer;
  static byteLength(text: string, encoding?: string): number;
  static isBuffer(value: unknown): value is Buffer;
  toString(encoding?: string, start?: number, end?: number): string;
  equals(other: Uint8Array): boolean;
  subarray(start?: number, end?: number): Buffer;
}

declare module 'node:events' {
  export class EventEmitter {
    on(event: string, listener: (...args: any[]) => void): this;
    once(event: string, listener: (...args: any[]) => void): this;
    off(event: string, listener: (...args: any[]) => void): this;
    emit(event: string, ...args: any[]): boolean;
    removeAllListeners(event?: string): this;
    setMaxListeners(count: number): this;
  }
  export function once(
    emitter: { once(event: string, listener: (...args: any[]) => void): unknown },
    event: string,
    options?: { signal?: AbortSignal },
  ): Promise<any[]>;
}

declare module 'node:stream' {
  import { EventEmitter } from 'node:events';
  export class Readable extends EventEmitter {
    setEncoding(encoding: string): this;
    pause(): this;
    resume(): this;
    pipe<T>(to: T): T;
    destroy(error?: Error): this;
    [Symbol.asyncIterator](): AsyncIterator<any>;
  }
  export class Writable extends EventEmitter {
    write(data: string | Uint8Array, done?: (error?: Error | null) => void): boolean;
    end(data?: string | Uint8Array, done?: () => void): this;
    destroy(error?: Error): this;
  }
}

declare module 'node:net' {
  import { EventEmitter } from 'node:events';
  export class Socket extends EventEmitter {
    readonly remoteAddress?: string;
    readonly remotePort?: number;
    readonly localAddress?: string;
    readonly writableLength: number;
    readonly destroyed: boolean;
    write(data: string | Uint8Array, done?: (error?: Error) => void): boolean;
    end(data?: string | Uint8Array): this;
    destroy(error?: Error): this;
    setNoDelay(on?: boolean): this;
    setKeepAlive(on?: boolean, delay?: number): this;
    setTimeout(ms: number, then?: () => void): this;
    pause(): this;
    resume(): this;
    ref(): this;
    unref(): this;
  }
  export interface ConnectOptions {
    host?: string;
    port: number;
    localAddress?: string;
    allowHalfOpen?: boolean;
  }
  export function connect(options: ConnectOptions, then?: () => void): Socket;
  export function createConnection(options: ConnectOptions, then?: () => void): Socket;
  export class Server extends EventEmitter {
    listen(options: { port: number; host?: string }, then?: () => void): this;
    listen(port: number, host?: string, then?: () => void): this;
    close(then?: (error?: Error) => void): this;
    address(): { address: string; port: number; family: string } | string | null;
    unref(): this;
  }
  export function createServer(onSocket?: (socket: Socket) => void): Server;
  export function isIP(text: string): 0 | 4 | 6;
}

declare module 'node:tls' {
  import { Socket } from 'node:net';
  export interface ConnectOptions {
    host?: string;
    port: number;
    servername?: string;
    ca?: string | Uint8Array;
    rejectUnauthorized?: boolean;
  }
  export class TLSSocket extends Socket {
    readonly authorized: boolean;
  }
  export function connect(options: ConnectOptions, then?: () => void): TLSSocket;
}

declare module 'node:fs' {
  export function readFileSync(path: string | URL | number, encoding: 'utf8'): string;
  export function readFileSync(path: string | URL): Buffer;
  export function writeFileSync(
    path: string,
    data: string | Uint8Array,
    options?: { mode?: number } | string,
  ): void;
  export function appendFileSync(path: string, data: string): void;
  export function existsSync(path: string): boolean;
  export function mkdirSync(path: string, options?: { recursive?: boolean }): string | undefined;
  export function mkdtempSync(prefix: string): string;
  export function readdirSync(path: string): string[];
  export function renameSync(from: string, to: string): void;
  export function rmSync(path: string, options?: { recursive?: boolean; force?: boolean }): void;
  export function symlinkSync(target: string, path: string): void;
  export function copyFileSync(from: string, to: string): void;
  export function cpSync(from: string, to: string, options?: { recursive?: boolean }): void;
  export function openSync(path: string, flags: string, mode?: number): number;
  export function closeSync(fd: number): void;
  export function fsyncSync(fd: number): void;
  export function writeSync(fd: number, data: string | Uint8Array): number;
  export function statSync(path: string): Stats;
  export interface Stats {
    readonly size: number;
    readonly mtimeMs: number;
    readonly ino: number;
    isFile(): boolean;
    isDirectory(): boolean;
  }
  export function createReadStream(path: string): import('node:stream').Readable;
  export function watchFile(path: string, options: { interval: number }, then: () => void): void;
  export function unwatchFile(path: string): void;
}

declare module 'node:path' {
  export function join(...parts: string[]): string;
  export function resolve(...parts: string[]): string;
  export function dirname(path: string): string;
  export function basename(path: string, extension?: string): string;
  export function extname(path: string): string;
  export function relative(from: string, to: string): string;
  export function normalize(path: string): string;
  export const sep: string;
  const path: {
    join: typeof join;
    resolve: typeof resolve;
    dirname: typeof dirname;
    basename: typeof basename;
    extname: typeof extname;
    relative: typeof relative;
    normalize: typeof normalize;
    sep: string;
  };
  export default path;
}

declare module 'node:os' {
  export function tmpdir(): string;
  export function hostname(): string;
  export function networkInterfaces(): Record<
    string,
    { address: string; mac: string; internal: boolean; family: string }[] | undefined
  >;
}

declare module 'node:child_process' {
  import { EventEmitter } from 'node:events';
  import { Readable, Writable } from 'node:stream';
  export class ChildProcess extends EventEmitter {
    readonly pid?: number;
    readonly exitCode: number | null;
    readonly signalCode: string | null;
    readonly stdin: Writable;
    readonly stdout: Readable;
    readonly stderr: Readable;
    kill(signal?: string | number): boolean;
    unref(): void;
  }
  export interface SpawnOptions {
    cwd?: string;
    env?: Record<string, string | undefined>;
    stdio?: any;
    detached?: boolean;
  }
  export function spawn(file: string, args?: string[], options?: SpawnOptions): ChildProcess;
  export interface ExecOptions extends SpawnOptions {
    input?: string | Uint8Array;
    encoding?: string;
    maxBuffer?: number;
    timeout?: number;
  }
  export function execFileSync(
    file: string,
    args: string[],
    options: ExecOptions & { encoding: 'utf8' },
  ): string;
  export function execFileSync(file: string, args?: string[], options?: ExecOptions): Buffer;
  export function execFile(
    file: string,
    args: string[],
    options: ExecOptions,
    then: (error: (Error & { code?: number }) | null, stdout: string, stderr: string) => void,
  ): ChildProcess;
  export function spawnSync(
    file: string,
    args?: string[],
    options?: ExecOptions,
  ): { status: number | null; stdout: any; stderr: any };
}

declare module 'node:crypto' {
  export function randomBytes(size: number): Buffer;
  export function randomUUID(): string;
  export function createHash(name: string): {
    update(data: string | Uint8Array): any;
    digest(encoding: string): string;
  };
  export function createHmac(
    name: string,
    key: string | Uint8Array,
  ): { update(data: string | Uint8Array): any; digest(encoding: string): string };
  export function timingSafeEqual(a: Uint8Array, b: Uint8Array): boolean;
}

declare module 'node:zlib' {
  export function gzipSync(data: string | Uint8Array, options?: { level?: number }): Buffer;
  export function brotliCompressSync(data: string | Uint8Array): Buffer;
}

declare module 'node:url' {
  export function fileURLToPath(url: string | URL): string;
  export function pathToFileURL(path: string): URL;
}

declare module 'node:util' {
  export function promisify(f: (...args: any[]) => void): (...args: any[]) => Promise<any>;
  export function parseArgs(options: any): { values: Record<string, any>; positionals: string[] };
}

declare module 'node:readline' {
  export function createInterface(options: {
    input: import('node:stream').Readable;
  }): AsyncIterable<string> & { close(): void };
}

declare module 'node:test' {
  export interface TestContext {
    readonly name: string;
    readonly signal: AbortSignal;
    after(f: () => void | Promise<void>): void;
    diagnostic(text: string): void;
    skip(why?: string): void;
    test(name: string, f: (t: TestContext) => void | Promise<void>): Promise<void>;
  }
  type Body = (t: TestContext) => void | Promise<void>;
  interface Options {
    timeout?: number;
    skip?: boolean | string;
    concurrency?: number | boolean;
  }
  export function test(name: string, f: Body): Promise<void>;
  export function test(name: string, options: Options, f: Body): Promise<void>;
  export function describe(name: string, f: () => void): void;
  export function describe(name: string, options: Options, f: () => void): void;
  export function it(name: string, f: Body): void;
  export function it(name: string, options: Options, f: Body): void;
  export function before(f: () => void | Promise<void>, options?: Options): void;
  export function after(f: () => void | Promise<void>, options?: Options): void;
  export function beforeEach(f: () => void | Promise<void>): void;
  export function afterEach(f: () => void | Promise<void>): void;
  export default test;
}

declare module 'node:assert/strict' {
  function assert(value: unknown, message?: string): asserts value;
  namespace assert {
    function ok(value: unknown, message?: string): asserts value;
    function equal<T>(actual: unknown, expected: T, message?: string): asserts actual is T;
    function notEqual(actual: unknown, expected: unknown, message?: string): void;
    function deepEqual(actual: unknown, expected: unknown, message?: string): void;
    function notDeepEqual(actual: unknown, expected: unknown, message?: string): void;
    function match(text: string, pattern: RegExp, message?: string): void;
    function doesNotMatch(text: string, pattern: RegExp, message?: string): void;
    function throws(f: () => unknown, expected?: unknown, message?: string): void;
    function rejects(f: Promise<unknown> | (() => Promise<unknown>), expected?: unknown): Promise<void>;
    function fail(message?: string): never;
  }
  export default assert;
}
