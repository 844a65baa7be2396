// What tells somebody who is not looking: the page's title, and notifications of the desktop.

import { effect, signal } from '@preact/signals';
import { remember, remembered } from './storage';

export const notificationsOn = signal(remembered('notifications', false) && permission() === 'granted');

export function permission(): NotificationPermission | 'unknown' {
  return 'Notification' in window ? Notification.permission : 'unknown';
}

/** Asks for the right to notify, which must come from a click; or turns notifications off. */
export async function toggleNotifications(): Promise<void> {
  if (!notificationsOn.value && permission() === 'default') await Notification.requestPermission();
  notificationsOn.value = !notificationsOn.value && permission() === 'granted';
  remember('notifications', notificationsOn.value);
}

/** Where the page is not in front, shows a notification; `then` runs when it is clicked. */
export function notify(title: string, body: string, tag: string, then: () => void): void {
  if (!notificationsOn.value || isWatched()) return;
  try {
    const shown = new Notification(title, { body: body.slice(0, 200), tag, icon: '/icon.svg' });
    shown.onclick = () => {
      window.focus();
      shown.close();
      then();
    };
  } catch {
    // Phones allow notifications of a page only by a worker.
  }
}

/** True while somebody can see the page. */
export function isWatched(): boolean {
  return document.visibilityState === 'visible' && document.hasFocus();
}

export function countInTitle(unread: () => number): void {
  effect(() => {
    const count = unread();
    document.title = count > 0 ? `(${count}) VNQ` : 'VNQ';
  });
}
