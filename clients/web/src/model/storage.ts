// What a browser remembers between visits. A browser that forbids it remembers nothing.

function storage(): Storage | undefined {
  try {
    return window.localStorage;
  } catch {
    return undefined;
  }
}

export function remembered<T>(key: string, otherwise: T): T {
  try {
    const text = storage()?.getItem(`vnq.${key}`);
    return text === null || text === undefined ? otherwise : (JSON.parse(text) as T);
  } catch {
    return otherwise;
  }
}

export function remember(key: string, value: unknown): void {
  try {
    storage()?.setItem(`vnq.${key}`, JSON.stringify(value));
  } catch {
    // A full or forbidden storage costs the memory, nothing else.
  }
}

/** For the library's outbox. */
export const outboxPlace: Pick<Storage, 'getItem' | 'setItem'> = {
  getItem: (key) => {
    try {
      return storage()?.getItem(key) ?? null;
    } catch {
      return null;
    }
  },
  setItem: (key, value) => {
    try {
      storage()?.setItem(key, value);
    } catch {
      // As above.
    }
  },
};
