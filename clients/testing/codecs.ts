// The server's own codecs, as `vnqctl text` runs them.
import { execFileSync } from 'node:child_process';
import { join } from 'node:path';

const vnqctl = join(process.env.VNQ_PROGRAMS ?? '', 'vnqctl');

/** What a codec of the server makes of a text. */
export function serverCodec(codec: string, input: string, codePage = 936): string {
  const args = ['text', codec, '--code-page', String(codePage)];
  const output = execFileSync(vnqctl, args, { input, encoding: 'utf8', maxBuffer: 1 << 26 });
  return output;
}

/** Numbers that are the same at each run. */
export function pseudoRandom(seed: number): (below: number) => number {
  let state = seed;
  return (below) => {
    state = (Math.imul(state, 1103515245) + 12345) >>> 0;
    return (state >>> 8) % below;
  };
}
