// Which agents are there, and what they are called, as the server's database says.

import type { History } from './history';

interface AgentState {
  readonly id: string;
  readonly name: string;
  readonly state: number;
}

const online = 1;
const away = 2;

export class AgentPresence {
  readonly #states = new Map<string, AgentState>();

  /** @param history nothing: every agent counts as there */
  constructor(
    private readonly history: History | undefined,
    private readonly agents: readonly string[],
  ) {}

  /** Asks anew. What was known stays where nothing can be learnt. */
  async ask(): Promise<void> {
    if (!this.history) return;
    try {
      const { states } = await this.history.ask<{ states: AgentState[] }>({ do: 'states', of: this.agents });
      this.#states.clear();
      for (const each of states) this.#states.set(each.id, each);
    } catch {
      return;
    }
  }

  isThere(agent: string): boolean {
    return !this.history || [online, away].includes(this.#states.get(agent)?.state ?? 0);
  }

  nameOf(agent: string): string {
    return this.#states.get(agent)?.name ?? '';
  }
}
