import { ConnectionError, RecordError } from '@vnq/client';
import { toast } from '../model/toasts';
import { t } from '../texts';

/** Does what needs the server; tells the user when it cannot be done. True when it was done. */
export async function attempt(work: () => void | Promise<void>): Promise<boolean> {
  try {
    await work();
    return true;
  } catch (error) {
    if (error instanceof ConnectionError) toast(t('not_connected'));
    else if (error instanceof RecordError) toast(t('no_quote'));
    else toast(t('failed', (error as Error).message));
    return false;
  }
}
