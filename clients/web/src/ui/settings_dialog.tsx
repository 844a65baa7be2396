// How the page looks and speaks, what it may show, and how others see the user.

import { setTheme, Theme, theme } from '../model/appearance';
import { notificationsOn, permission, toggleNotifications } from '../model/notifications';
import { client } from '../model/server';
import { logOut, ownPresence } from '../model/session';
import { Language, language, setLanguage, t } from '../texts';
import { attempt } from './attempt';
import { closeDialog, dialog } from './shown_dialog';
import { Dialog } from './parts';

interface SelectProps<T extends string> {
  readonly label: string;
  readonly value: T;
  readonly choices: readonly (readonly [T, string])[];
  readonly onChange: (value: T) => void;
}

function Select<T extends string>({ label, value, choices, onChange }: SelectProps<T>) {
  return (
    <label class="field">
      <span>{label}</span>
      <select value={value} onChange={(event) => onChange((event.target as HTMLSelectElement).value as T)}>
        {choices.map(([id, text]) => (
          <option key={id} value={id}>
            {text}
          </option>
        ))}
      </select>
    </label>
  );
}

export function SettingsDialog() {
  const setPresence = (presence: typeof ownPresence.value) =>
    void attempt(() => {
      client.value!.setPresence(presence);
      ownPresence.value = presence;
    });
  return (
    <Dialog title={t('settings')} onClose={closeDialog}>
      <Select
        label={t('your_status')}
        value={ownPresence.value}
        onChange={setPresence}
        choices={[['online', t('online')], ['away', t('away')], ['offline', t('invisible')]]}
      />
      <Select<Theme>
        label={t('theme')}
        value={theme.value}
        onChange={setTheme}
        choices={[['auto', t('theme_auto')], ['light', t('theme_light')], ['dark', t('theme_dark')]]}
      />
      <Select<Language>
        label={t('language')}
        value={language.value}
        onChange={setLanguage}
        choices={[['en', 'English'], ['zh', '中文']]}
      />
      <label class="switch">
        <input type="checkbox" checked={notificationsOn.value} onChange={() => void toggleNotifications()} />
        <span>{t('notifications')}</span>
      </label>
      {permission() === 'denied' && <p class="hint">{t('notifications_denied')}</p>}
      <footer>
        <button type="button" class="secondary" onClick={() => (dialog.value = { name: 'profile' })}>
          {t('profile')}
        </button>
        <button
          type="button"
          class="danger"
          onClick={() => {
            closeDialog();
            void logOut();
          }}
        >
          {t('log_out')}
        </button>
      </footer>
    </Dialog>
  );
}
