// Which dialog stands in front of the page.

import { signal } from '@preact/signals';

export type Shown =
  | { readonly name: 'group' | 'person'; readonly id: string }
  | { readonly name: 'newGroup' | 'joinGroup' | 'notice' | 'profile' | 'settings' };

export const dialog = signal<Shown | undefined>(undefined);

export function closeDialog(): void {
  dialog.value = undefined;
}
