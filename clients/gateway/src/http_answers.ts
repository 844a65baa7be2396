// What every HTTP answer has in common, and how a body is read.

import type { Headers, IncomingMessage, ServerResponse } from 'node:http';

/** A request that is refused. */
export class Refusal extends Error {
  override name = 'Refusal';
  constructor(
    readonly status: number,
    message: string,
    readonly headers: Headers = {},
  ) {
    super(message);
  }
}

export const commonHeaders: Headers = {
  'X-Content-Type-Options': 'nosniff',
  'Referrer-Policy': 'no-referrer',
};

export function answer(
  response: ServerResponse,
  status: number,
  type: string,
  body: string | Uint8Array,
  headers: Headers = {},
): void {
  response.writeHead(status, {
    ...commonHeaders,
    'Content-Type': type,
    'Content-Length': Buffer.byteLength(body as string),
    ...headers,
  });
  response.end(body);
}

export function answerJson(
  response: ServerResponse,
  status: number,
  value: unknown,
  headers: Headers = {},
): void {
  const all = { 'Cache-Control': 'no-store', ...headers };
  answer(response, status, 'application/json; charset=utf-8', JSON.stringify(value), all);
}

const mostBodyBytes = 256 << 10;

/** The JSON object of a request's body. Rejects with a Refusal. */
export async function readJsonBody(request: IncomingMessage): Promise<Record<string, unknown>> {
  const parts: Uint8Array[] = [];
  let length = 0;
  for await (const part of request) {
    length += part.length;
    if (length > mostBodyBytes) throw new Refusal(413, 'the body is too long', { Connection: 'close' });
    parts.push(part);
  }
  let value: unknown;
  try {
    value = JSON.parse(Buffer.concat(parts).toString('utf8'));
  } catch {
    throw new Refusal(400, 'the body is not JSON');
  }
  if (typeof value !== 'object' || value === null || Array.isArray(value)) {
    throw new Refusal(400, 'the body must be a JSON object');
  }
  return value as Record<string, unknown>;
}
