// Posting a notice.

import { useState } from 'preact/hooks';
import { people } from '../model/directory';
import { client } from '../model/server';
import { toast } from '../model/toasts';
import { t } from '../texts';
import { attempt } from './attempt';
import { closeDialog } from './shown_dialog';
import { Chooser, Dialog, Field } from './parts';

export function NoticeDialog() {
  const [title, setTitle] = useState('');
  const [content, setContent] = useState('');
  const [link, setLink] = useState('');
  const [chosen, setChosen] = useState<ReadonlySet<string>>(new Set());
  const all = [...people.value.values()].sort((a, b) => a.name.localeCompare(b.name));
  const onSubmit = async (event: Event) => {
    event.preventDefault();
    const notice = { receivers: [...chosen], title: title.trim(), content: content.trim(), link: link.trim() };
    if (!(await attempt(() => client.value!.postNotice(notice)))) return;
    toast(t('posted'));
    closeDialog();
  };
  return (
    <Dialog title={t('post_notice')} onClose={closeDialog}>
      <form onSubmit={onSubmit}>
        <Field label={t('notice_title')} value={title} onInput={setTitle} required maxLength={100} />
        <Field label={t('notice_content')} value={content} onInput={setContent} lines={4} maxLength={1_000} />
        <Field label={t('notice_link')} value={link} onInput={setLink} type="url" maxLength={300} />
        <Chooser
          label={t('receivers')}
          choices={all.map(({ id, name, job }) => ({ id, name, hint: job }))}
          chosen={chosen}
          onChange={setChosen}
        />
        <footer>
          <button
            type="button"
            class="secondary"
            onClick={() => setChosen(new Set(chosen.size === all.length ? [] : all.map(({ id }) => id)))}
          >
            {t('everybody')}
          </button>
          <button class="primary" disabled={title.trim() === '' || chosen.size === 0}>
            {t('post')}
          </button>
        </footer>
      </form>
    </Dialog>
  );
}
