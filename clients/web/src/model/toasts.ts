// Short messages that go by themselves.
import { signal } from '@preact/signals';

export interface Toast {
  readonly id: number;
  readonly text: string;
}

export const toasts = signal<readonly Toast[]>([]);
let next = 1;

export function toast(text: string): void {
  const id = next++;
  toasts.value = [...toasts.value.slice(-3), { id, text }];
  setTimeout(() => dismiss(id), 7_000);
}

export function dismiss(id: number): void {
  toasts.value = toasts.value.filter((each) => each.id !== id);
}
