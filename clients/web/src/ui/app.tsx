// The whole page.

import { useEffect, useRef } from 'preact/hooks';
import { current, keyInAddress, markRead, open } from '../model/conversations';
import { client, connection } from '../model/server';
import { isLoggedIn, shaken } from '../model/session';
import { dismiss, toasts } from '../model/toasts';
import { t } from '../texts';
import { ConversationView } from './conversation';
import { Dialogs } from './dialogs';
import { Login } from './login';
import { IconButton } from './parts';
import { Sidebar } from './sidebar';

function ConnectionBar() {
  if (connection.value === 'ready') return null;
  return (
    <div class="bar" role="status">
      {t(connection.value === 'connecting' ? 'connecting' : 'waiting')}
      {connection.value === 'waiting' && (
        <button type="button" class="plain" onClick={() => client.value?.reconnectNow()}>
          {t('try_now')}
        </button>
      )}
    </div>
  );
}

// In the top layer, so that a dialog does not hide them: shown anew, they stand in front of it.
function Toasts() {
  const element = useRef<HTMLDivElement>(null);
  const last = toasts.value[toasts.value.length - 1]?.id;
  useEffect(() => {
    const popover = element.current as (HTMLElement & { showPopover?(): void; hidePopover?(): void }) | null;
    if (!popover?.showPopover || !popover.hidePopover) return;
    if (popover.matches(':popover-open')) popover.hidePopover();
    if (last !== undefined) popover.showPopover();
  }, [last]);
  return (
    <div ref={element} class="toasts" popover="manual" role="status" aria-live="polite">
      {toasts.value.map(({ id, text }) => (
        <div key={id} class="toast">
          <span class="grow">{text}</span>
          <IconButton icon="close" label={t('dismiss')} onClick={() => dismiss(id)} />
        </div>
      ))}
    </div>
  );
}

// The address names the conversation, so that the browser's "back" leads out of it.
function useAddress(): void {
  useEffect(() => {
    const onHash = () => open(keyInAddress());
    addEventListener('hashchange', onHash);
    return () => removeEventListener('hashchange', onHash);
  }, []);
  const key = current.value;
  useEffect(() => {
    const wanted = key === '' ? '#/' : `#/${encodeURIComponent(key)}`;
    if (location.hash !== wanted) location.hash = wanted;
  }, [key]);
}

function useAttention(): void {
  useEffect(() => {
    const onAttention = () => current.value !== '' && markRead(current.value);
    const onKey = (event: KeyboardEvent) => {
      if (event.key !== 'k' || !(event.ctrlKey || event.metaKey)) return;
      event.preventDefault();
      document.getElementById('search')?.focus();
    };
    addEventListener('focus', onAttention);
    document.addEventListener('visibilitychange', onAttention);
    addEventListener('keydown', onKey);
    return () => {
      removeEventListener('focus', onAttention);
      document.removeEventListener('visibilitychange', onAttention);
      removeEventListener('keydown', onKey);
    };
  }, []);
}

function Work() {
  const element = useRef<HTMLElement>(null);
  useAddress();
  useAttention();
  useEffect(() => {
    if (shaken.value === 0) return;
    const shaking = element.current!;
    shaking.classList.add('shaken');
    const timer = setTimeout(() => shaking.classList.remove('shaken'), 600);
    return () => clearTimeout(timer);
  }, [shaken.value]);
  return (
    <main ref={element} class={`work ${current.value === '' ? '' : 'has-conversation'}`}>
      <h1 class="unseen">VNQ</h1>
      <ConnectionBar />
      <Sidebar />
      {current.value === '' ? (
        <section class="conversation nothing">
          <p>{t('choose')}</p>
        </section>
      ) : (
        <ConversationView />
      )}
      <Dialogs />
    </main>
  );
}

export function App() {
  return (
    <>
      {isLoggedIn.value ? <Work /> : <Login />}
      <Toasts />
    </>
  );
}
