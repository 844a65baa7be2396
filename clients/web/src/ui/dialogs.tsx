// Which dialog stands in front of the page.

import { signal } from '@preact/signals';
import { GroupDialog, JoinGroupDialog, NewGroupDialog } from './group_dialogs';
import { NoticeDialog } from './notice_dialog';
import { PersonDialog, ProfileDialog } from './person_dialogs';
import { SettingsDialog } from './settings_dialog';

export type Shown =
  | { readonly name: 'group' | 'person'; readonly id: string }
  | { readonly name: 'newGroup' | 'joinGroup' | 'notice' | 'profile' | 'settings' };

export const dialog = signal<Shown | undefined>(undefined);

export function closeDialog(): void {
  dialog.value = undefined;
}

export function Dialogs() {
  const shown = dialog.value;
  switch (shown?.name) {
    case 'group':
      return <GroupDialog key={shown.id} id={shown.id} />;
    case 'person':
      return <PersonDialog key={shown.id} id={shown.id} />;
    case 'newGroup':
      return <NewGroupDialog />;
    case 'joinGroup':
      return <JoinGroupDialog />;
    case 'notice':
      return <NoticeDialog />;
    case 'profile':
      return <ProfileDialog />;
    case 'settings':
      return <SettingsDialog />;
    default:
      return null;
  }
}
