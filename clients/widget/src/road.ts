// How lines travel: both ways through the gateway, or one way into the server's own visitor port.

export interface Line {
  /** What the window knows its own line by, until and after it has an id. */
  readonly ref?: string;
  readonly id?: string;
  readonly isOwn: boolean;
  readonly name: string;
  readonly text: string;
}

export type RoadState = 'connecting' | 'here' | 'away' | 'lost' | 'refused';
export type Refused = 'too_long' | 'too_many' | 'empty' | 'nobody' | 'unstored';

export interface RoadEvents {
  state(state: RoadState): void;
  /** A line that is not known yet, or is known by its ref and has an id now. */
  line(line: Line): void;
  /** The server has the line, or has the form. */
  taken(ref: string): void;
  refused(ref: string, why: Refused): void;
}

export interface Form {
  readonly name: string;
  readonly contact: string;
  readonly text: string;
}

export interface Road {
  readonly isTwoWay: boolean;
  start(): void;
  send(ref: string, text: string): void;
  leave(ref: string, form: Form): void;
  stop(): void;
}
