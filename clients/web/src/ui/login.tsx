import { useState } from 'preact/hooks';
import { logIn, loginTrouble, rememberedUser } from '../model/session';
import { language, setLanguage, t } from '../texts';
import { Field } from './parts';

export function Login() {
  const [user, setUser] = useState(new URLSearchParams(location.search).get('user') ?? rememberedUser());
  const [password, setPassword] = useState('');
  const [isBusy, setBusy] = useState(false);
  const onSubmit = async (event: Event) => {
    event.preventDefault();
    setBusy(true);
    await logIn(user.trim(), password);
    setBusy(false);
    setPassword('');
  };
  return (
    <main class="login">
      <form onSubmit={onSubmit}>
        <img src="/icon.svg" alt="" width="56" height="56" />
        <h1>VNQ</h1>
        <p role="alert" class="trouble">
          {loginTrouble.value && t(loginTrouble.value)}
        </p>
        <Field label={t('user')} value={user} onInput={setUser} autoComplete="username" required />
        <Field
          label={t('password')}
          type="password"
          value={password}
          onInput={setPassword}
          autoComplete="current-password"
          required
        />
        <button class="primary" disabled={isBusy}>
          {isBusy ? t('logging_in') : t('log_in')}
        </button>
        <button
          type="button"
          class="plain"
          lang={language.value === 'zh' ? 'en' : 'zh'}
          onClick={() => setLanguage(language.value === 'zh' ? 'en' : 'zh')}
        >
          {language.value === 'zh' ? 'English' : '中文'}
        </button>
      </form>
    </main>
  );
}
