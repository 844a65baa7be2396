// A client of the VNQ Main Service, for Node and browsers. In Node take "@vnq/client/node", which
// has all of this and connections by TCP.
export { applyForAccount, ApplicationError, listDepartments } from './apply';
export type { ApplyOptions, Department } from './apply';
export type { CatchUp, Delivery } from './catch_up';
export { Client } from './client';
export type {
  ClientEvents,
  ClientOptions,
  ClientState,
  GatewaySession,
  LoginOptions,
  MessageStatus,
  SendOptions,
} from './client_options';
export { defaultTiming } from './connection';
export type { Timing } from './connection';
export { Emitter } from './emitter';
export type { WaitOptions } from './emitter';
export { ConnectionError, LoginError } from './errors';
export type { RefusalReason } from './errors';
export type { Friends } from './friends';
export type { Groups } from './groups';
export { deliveryOf, Gateway, GatewayError, verifyOf } from './history';
export type { ConversationName, EntryPage, HistoryEntry, PageOptions, ParkedRequest } from './history';
export { newMessageId } from './identifiers';
export type { Call, Meetings } from './meetings';
export { MemoryOutbox, StorageOutbox } from './outbox';
export type { OutboxItem, OutboxStore } from './outbox';
export type { LoggedIn, SessionEnd } from './session';
export { webSocket } from './transport';
export type { Connector, Transport, TransportHandlers } from './transport';
export { escapeText, outgoing, parseRecord, readEscapedText, RecordError } from '@vnq/protocol';
export type {
  AccountApplication,
  Answer,
  GroupMessage,
  Incoming,
  IncomingType,
  Meeting,
  Member,
  MemberEntry,
  Notice,
  OutgoingNotice,
  PeerMessage,
  Presence,
  Profile,
  Verify,
  VerifyStep,
  Visitor,
} from '@vnq/protocol';
