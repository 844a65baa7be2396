// The dialogs that can stand in front of the page.

import { GroupDialog, JoinGroupDialog, NewGroupDialog } from './group_dialogs';
import { NoticeDialog } from './notice_dialog';
import { PersonDialog, ProfileDialog } from './person_dialogs';
import { SettingsDialog } from './settings_dialog';
import { dialog } from './shown_dialog';

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
