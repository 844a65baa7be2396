// Friendships: asking, answering, ending. What the other side does comes as "verify" events.

import { Answer, outgoing } from '@vnq/protocol';

/** Sends records in the name of the user who is logged in. */
export interface Sender {
  readonly userId: string;
  transmit(...records: string[]): void;
}

export class Friends {
  constructor(private readonly sender: Sender) {}

  /** Asks a person. Depending on that person's settings it is granted at once or put to them. */
  request(userId: string, text = ''): void {
    this.sender.transmit(outgoing.friendRequest(userId, this.sender.userId, text));
  }

  /** Answers a request; "block" also turns away later ones. */
  answer(userId: string, answer: Answer, text = ''): void {
    this.sender.transmit(outgoing.friendAnswer(userId, this.sender.userId, answer, text));
  }

  delete(userId: string): void {
    this.sender.transmit(outgoing.friendDelete(userId, this.sender.userId));
  }
}
