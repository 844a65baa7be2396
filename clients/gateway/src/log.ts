// One line of JSON an event on standard error, for the journal.

export type Level = 'info' | 'warning' | 'error';
export type Details = Record<string, string | number | boolean | undefined>;

export class Log {
  constructor(
    private readonly write: (line: string) => void,
    private readonly now: () => Date = () => new Date(),
  ) {}

  info(event: string, details: Details = {}): void {
    this.say('info', event, details);
  }

  warning(event: string, details: Details = {}): void {
    this.say('warning', event, details);
  }

  error(event: string, details: Details = {}): void {
    this.say('error', event, details);
  }

  private say(level: Level, event: string, details: Details): void {
    this.write(`${JSON.stringify({ time: this.now().toISOString(), level, event, ...details })}\n`);
  }
}
