/** Why the server refuses a log-in. */
export type RefusalReason = 'version' | 'credentials' | 'disabled' | 'restricted';

const refusals: Record<RefusalReason, string> = {
  version: 'the server asks for a newer client version',
  credentials: 'the server knows no such user with this password',
  disabled: 'the account is disabled',
  restricted: 'a role of this user does not admit this address or this machine',
};

/** The server has refused the log-in; trying again is of no use. */
export class LoginError extends Error {
  override name = 'LoginError';
  constructor(readonly reason: RefusalReason) {
    super(`the log-in was refused: ${refusals[reason]}`);
  }
}

/** There is no connection, or it broke. */
export class ConnectionError extends Error {
  override name = 'ConnectionError';
}
