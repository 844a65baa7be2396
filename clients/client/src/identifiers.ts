// Ids of messages, and the memory of what was handed out.

/** A new id of a message, in the form that the server's own ids have: 32 hexadecimal digits. */
export function newMessageId(): string {
  const bytes = globalThis.crypto?.getRandomValues(new Uint8Array(16)) ?? fallback();
  return [...bytes].map((byte) => byte.toString(16).padStart(2, '0')).join('').toUpperCase();
}

// Node 18 shows its generator only behind a switch; ids are no secrets.
function fallback(): Uint8Array {
  const bytes = new Uint8Array(16);
  for (let i = 0; i < bytes.length; ++i) bytes[i] = Math.floor(Math.random() * 256);
  return bytes;
}

const maxKeys = 8192;

/** The keys of the last deliveries. */
export class SeenKeys {
  readonly #keys = new Set<string>();

  /** False when the key was there. */
  add(key: string): boolean {
    if (this.#keys.has(key)) return false;
    this.#keys.add(key);
    // A Set keeps the order of insertion: the first is the oldest.
    if (this.#keys.size > maxKeys) this.#keys.delete(this.#keys.values().next().value as string);
    return true;
  }
}
