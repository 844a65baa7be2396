import { render } from 'preact';
import { followAppearance } from './model/appearance';
import { unreadInAll } from './model/conversations';
import { countInTitle } from './model/notifications';
import { App } from './ui/app';

followAppearance();
countInTitle(() => unreadInAll.value);
render(<App />, document.getElementById('app')!);
