// The web client's built files.

import { readFileSync, statSync } from 'node:fs';
import { extname, join, normalize } from 'node:path';
import type { Headers, IncomingMessage, ServerResponse } from 'node:http';
import { gzipSync } from 'node:zlib';
import { answer, answerJson } from './http_answers';

const types: Record<string, string> = {
  '.html': 'text/html; charset=utf-8',
  '.js': 'text/javascript; charset=utf-8',
  '.css': 'text/css; charset=utf-8',
  '.json': 'application/json; charset=utf-8',
  '.webmanifest': 'application/manifest+json; charset=utf-8',
  '.svg': 'image/svg+xml',
  '.png': 'image/png',
  '.ico': 'image/x-icon',
  '.woff2': 'font/woff2',
  '.txt': 'text/plain; charset=utf-8',
  '.map': 'application/json; charset=utf-8',
};
const squeezed = /^(text\/|application\/json|image\/svg)/;

/** No exceptions: no inline script or style, nothing from elsewhere, no frame around the page. */
export const contentSecurityPolicy = [
  "default-src 'none'",
  "script-src 'self'",
  "style-src 'self'",
  "img-src 'self'",
  "font-src 'self'",
  "media-src 'self'",
  "connect-src 'self'",
  "manifest-src 'self'",
  "worker-src 'self'",
  "base-uri 'none'",
  "form-action 'none'",
  "frame-ancestors 'none'",
].join('; ');

interface Kept {
  readonly stamp: string;
  readonly plain: Uint8Array;
  readonly zipped: Uint8Array | undefined;
}

/** Files in memory, read again when they have changed. */
export class KeptFiles {
  readonly #kept = new Map<string, Kept>();

  /** Throws when the file cannot be read. */
  read(file: string, type: string): Kept {
    const { mtimeMs, size } = statSync(file);
    const stamp = `${mtimeMs}/${size}`;
    const kept = this.#kept.get(file);
    if (kept?.stamp === stamp) return kept;
    const plain = readFileSync(file);
    const zipped = squeezed.test(type) && plain.length > 512 ? gzipSync(plain) : undefined;
    const read = { stamp, plain, zipped };
    this.#kept.set(file, read);
    return read;
  }
}

export class StaticFiles {
  readonly #files = new KeptFiles();

  /** @param folder nothing: there are no files */
  constructor(private readonly folder: string | undefined) {}

  handle(request: IncomingMessage, response: ServerResponse, path: string): void {
    if (request.method !== 'GET' && request.method !== 'HEAD') {
      answerJson(response, 405, { error: 'files are only read' });
      return;
    }
    const file = this.#fileOf(path);
    if (!file) answerJson(response, 404, { error: 'there is no such page' });
    else sendFile(request, response, this.#files.read(file, typeOf(file)), typeOf(file), headersOf(path));
  }

  #fileOf(path: string): string | undefined {
    if (this.folder === undefined) return undefined;
    let name: string;
    try {
      name = decodeURIComponent(path);
    } catch {
      return undefined;
    }
    // Nothing above the folder, nothing hidden.
    if (/[\0\\]|(^|\/)\./.test(name)) return undefined;
    const file = join(this.folder, normalize(name === '/' ? '/index.html' : name));
    try {
      return types[extname(file)] && statSync(file).isFile() ? file : undefined;
    } catch {
      return undefined;
    }
  }
}

function typeOf(file: string): string {
  return types[extname(file)];
}

// Built files have their content's mark in their name; a page is asked for anew each time.
function headersOf(path: string): Headers {
  const forGood = path.startsWith('/assets/');
  return {
    'Content-Security-Policy': contentSecurityPolicy,
    'Cross-Origin-Opener-Policy': 'same-origin',
    'Cache-Control': forGood ? 'public, max-age=31536000, immutable' : 'no-cache',
  };
}

/** Sends a file, compressed where the browser takes it. */
export function sendFile(
  request: IncomingMessage,
  response: ServerResponse,
  kept: Kept,
  type: string,
  headers: Headers,
): void {
  const zipped = /\bgzip\b/.test(request.headers['accept-encoding'] ?? '') ? kept.zipped : undefined;
  const body = zipped ?? kept.plain;
  const all: Headers = { ...headers, Vary: 'Accept-Encoding' };
  if (zipped) all['Content-Encoding'] = 'gzip';
  if (request.method === 'HEAD') {
    response.writeHead(200, { ...all, 'Content-Type': type, 'Content-Length': body.length });
    response.end();
  } else {
    answer(response, 200, type, body, all);
  }
}
