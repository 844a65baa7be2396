// The signals of audio and video calls. The call's row, with its ChatId, is made outside the server
// (vnqctl meeting open); the media go elsewhere. What the other side does comes as "meeting" events.

import { MeetingState, outgoing } from '@vnq/protocol';
import type { Sender } from './friends';

export interface Call {
  readonly chatId: number;
  readonly otherParty: string;
  readonly isVideo?: boolean;
}

export class Meetings {
  constructor(private readonly sender: Sender) {}

  /** Rings on both devices of the other party. */
  invite(call: Call): void {
    this.#send(call, 'invitation');
  }

  /** The called one takes part, from a desktop unless said. */
  answer(call: Call, on: 'desktop' | 'phone' = 'desktop'): void {
    this.#send(call, 'answered', { loginType2: on === 'desktop' ? 1 : 2 });
  }

  end(call: Call): void {
    this.#send(call, 'ended');
  }

  #send(call: Call, state: MeetingState['state'], more: Partial<MeetingState> = {}): void {
    const { chatId, otherParty, isVideo = false } = call;
    const sender = this.sender.userId;
    this.sender.transmit(
      outgoing.meetingMessage({ chatId, otherParty, isVideo, sender, state, ...more }),
    );
  }
}
