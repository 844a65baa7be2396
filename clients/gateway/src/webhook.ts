// Hands a value to another program by HTTP.

import * as http from 'node:http';
import * as https from 'node:https';

const answerWithinMs = 10_000;

/** Posts JSON; rejects unless the answer is a success. */
export function post(url: string, value: unknown): Promise<void> {
  const body = JSON.stringify(value);
  const headers = { 'Content-Type': 'application/json', 'Content-Length': Buffer.byteLength(body) };
  const { request } = url.startsWith('https:') ? https : http;
  return new Promise((resolve, reject) => {
    const asked = request(url, { method: 'POST', headers }, (response) => {
      response.resume();
      const status = response.statusCode ?? 0;
      if (status >= 200 && status < 300) resolve();
      else reject(new Error(`the webhook has answered ${status}`));
    });
    asked.on('error', reject);
    asked.setTimeout(answerWithinMs, () => asked.destroy(new Error('the webhook does not answer')));
    asked.end(body);
  });
}
