// Records, Base64 text, code pages and escapes, as the server has them.
export { base64Decode, base64Encode } from './base64';
export { CodePage, codePageNumbers, openCodePage } from './code_page';
export type { CodePageNumber } from './code_page';
export type { PageTable } from './tables/page_table';
export {
  escapeText,
  fieldText,
  fitsAField,
  readEscapedText,
  readMessageText,
  unescapeText,
} from './escape';
export type { MessageText, SingleBytes } from './escape';
export {
  encodeForApplications,
  encodeForMainPort,
  escapeOutside,
  joinRecord,
  RecordError,
  RecordFields,
  RecordStream,
} from './record';
export { deliveryKey, incomingWords, parseRecord, readMembers } from './incoming';
export type {
  GroupMessage,
  Incoming,
  IncomingType,
  Meeting,
  Member,
  Notice,
  PeerMessage,
  Verify,
  VerifyStep,
  Visitor,
} from './incoming';
export * as outgoing from './outgoing';
export type {
  AccountApplication,
  Answer,
  Landing,
  MemberEntry,
  MeetingState,
  OutgoingNotice,
  OutgoingText,
  OutsideApplication,
  Presence,
  Profile,
  Retraction,
  UploadedFile,
  Verification,
} from './outgoing';
