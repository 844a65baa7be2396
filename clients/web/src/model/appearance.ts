import { effect, signal } from '@preact/signals';
import { language } from '../texts';
import { remember, remembered } from './storage';

export type Theme = 'auto' | 'light' | 'dark';
export const theme = signal<Theme>(remembered<Theme>('theme', 'auto'));

export function setTheme(next: Theme): void {
  theme.value = next;
  remember('theme', next);
}

/** The page's root carries what the styles and screen readers go by. */
export function followAppearance(): void {
  const dark = window.matchMedia('(prefers-color-scheme: dark)');
  const isDark = signal(dark.matches);
  dark.addEventListener('change', () => (isDark.value = dark.matches));
  effect(() => {
    const ofSystem = isDark.value ? 'dark' : 'light';
    document.documentElement.dataset.theme = theme.value === 'auto' ? ofSystem : theme.value;
    document.documentElement.lang = language.value === 'zh' ? 'zh-CN' : 'en';
  });
}
