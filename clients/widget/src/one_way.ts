// The server's own visitor port: lines go out and nothing comes back. Kept for sites without a
// gateway; examples/visitor has the rules of this road.

import { CodePage } from '../../../examples/visitor/code_page.js';
import { Gateway } from '../../../examples/visitor/gateway.js';
import { visitorName } from '../../../examples/visitor/identity.js';
import type { Road, RoadEvents } from './road';

export interface OneWaySettings {
  readonly url: string;
  readonly agents: readonly string[];
  readonly city: string;
  readonly codePage: number;
  readonly paceMs: number;
  readonly arrival: string;
}

const states = { connecting: 'connecting', open: 'here', waiting: 'lost', closed: 'lost' } as const;

export class OneWay implements Road {
  readonly isTwoWay = false;
  readonly #refs = new Map<number, string>();
  #port: Gateway | undefined;
  #early: [string, string][] = [];
  #stopped = false;

  constructor(
    private readonly settings: OneWaySettings,
    private readonly events: RoadEvents,
  ) {}

  start(): void {
    void this.#start();
  }

  send(ref: string, text: string): void {
    if (!this.#port) {
      this.#early.push([ref, text]);
      return;
    }
    const id = this.#refs.size + 1;
    this.#refs.set(id, ref);
    this.#port.send(id, text);
  }

  leave(): void {
    // Nobody's presence is known here, so there is no form.
  }

  stop(): void {
    this.#stopped = true;
    this.#port?.close();
  }

  async #start(): Promise<void> {
    const { url, agents, city, codePage, paceMs, arrival } = this.settings;
    const visitor = await visitorName();
    if (this.#stopped) return;
    const port = new Gateway({ url, agents, visitor, city, arrivalText: arrival, paceMs }, new CodePage(codePage));
    this.#port = port;
    port.addEventListener('state', (event) => this.events.state(states[(event as CustomEvent).detail.state as keyof typeof states]));
    port.addEventListener('progress', (event) => this.#progress((event as CustomEvent).detail));
    port.connect();
    for (const [ref, text] of this.#early.splice(0)) this.send(ref, text);
  }

  #progress({ id, sent, pieces }: { id: number; sent: number; pieces: number }): void {
    if (sent === pieces) this.events.taken(this.#refs.get(id) ?? '');
  }
}
