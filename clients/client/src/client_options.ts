// What a client is made of, and what it tells.

import type { Incoming, IncomingType, Presence } from '@vnq/protocol';
import type { CatchUp } from './catch_up';
import type { Timing } from './connection';
import type { OutboxStore } from './outbox';
import type { Identity, SessionEnd } from './session';
import type { Connector } from './transport';

export type OfType<T extends IncomingType> = Extract<Incoming, { type: T }>;

export interface ClientOptions {
  /** tcp(...) and tls(...) of "@vnq/client/node", webSocket(...) in a browser. */
  readonly connect: Connector;
  readonly user: string;
  readonly password: string;
  /** The server's code page: 936, 950 or 1252. */
  readonly codePage?: number;
  /** What a role's restriction to machines compares. */
  readonly machineId?: string;
  /** "phone" logs in beside the user's desktop. */
  readonly device?: 'desktop' | 'phone';
  readonly platform?: string;
  readonly pushId?: string;
  readonly manufacturer?: string;
  readonly version?: number;
  /** How others see the user at first. */
  readonly presence?: Presence;
  /** False: a lost connection stays lost. */
  readonly reconnect?: boolean;
  /** Tells senders that their message has arrived here. */
  readonly confirmDelivery?: boolean;
  /** Keeps messages without a receipt between runs. */
  readonly outbox?: OutboxStore;
  /**
   * Brings what came while nobody was here; asked after each log-in. What comes both ways is handed out once. A Gateway
   * is one.
   */
  readonly catchUp?: CatchUp;
  readonly timing?: Partial<Timing>;
}

export type ClientState = 'closed' | 'connecting' | 'ready' | 'waiting';

/** How far a sent message has come. */
export interface MessageStatus {
  readonly id: string;
  /** "stored": the server has it. "delivered": a client of the receiver has it. */
  readonly status: 'queued' | 'sent' | 'stored' | 'delivered' | 'withdrawn';
}

/** A session of a gateway, where the connection goes through one. */
export interface GatewaySession {
  readonly user: string;
  readonly device: string;
  readonly token: string;
}

/** The records of the server by their type, and what the client itself has to tell. */
export type ClientEvents = { [T in IncomingType]: OfType<T> } & {
  state: ClientState;
  /** Logged in and visible, at each connection; what was missed has been handed out. */
  ready: { readonly userId: string; readonly isFirst: boolean };
  /** The session has ended, and whether it is tried again. */
  ended: SessionEnd & { readonly retryIn?: number };
  status: MessageStatus;
  session: GatewaySession;
  /** Something went wrong that no promise tells. */
  trouble: Error;
  /** Every record as it came. */
  record: { readonly incoming: Incoming; readonly record: string };
};

export interface SendOptions {
  /** Withdraws the message; it may have been sent already. */
  readonly signal?: AbortSignal;
  /** A message's own id; sent again with it, it is stored once. */
  readonly id?: string;
  readonly font?: string;
}

export interface LoginOptions {
  readonly signal?: AbortSignal;
  /** Goes on trying where the server cannot be reached. */
  readonly keepTrying?: boolean;
}

/** The part of the options that the log-in tells the server. */
export function identityOf(options: ClientOptions): Identity {
  const { user, password, machineId = '', device = 'desktop' } = options;
  const { platform, pushId, manufacturer, version } = options;
  return {
    user,
    password,
    machineId,
    device,
    ...(platform !== undefined ? { platform } : {}),
    ...(pushId !== undefined ? { pushId } : {}),
    ...(manufacturer !== undefined ? { manufacturer } : {}),
    ...(version !== undefined ? { version } : {}),
  };
}
