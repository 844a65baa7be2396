// What the gateway counts, in the text form that metric collectors read.

interface Metric {
  readonly help: string;
  readonly kind: 'counter' | 'gauge';
  readonly values: Map<string, () => number>;
}

export class Metrics {
  readonly #metrics = new Map<string, Metric>();
  readonly #counts = new Map<string, number>();

  /** A number that is asked for at each reading. */
  gauge(name: string, help: string, read: () => number): void {
    this.#metric(name, help, 'gauge').values.set('', read);
  }

  /** Counts on; `label` is like `reason="full"`. */
  count(name: string, help: string, label = '', by = 1): void {
    const key = `${name}{${label}}`;
    this.#counts.set(key, (this.#counts.get(key) ?? 0) + by);
    const values = this.#metric(name, help, 'counter').values;
    if (!values.has(label)) values.set(label, () => this.#counts.get(key) ?? 0);
  }

  text(): string {
    let text = '';
    for (const [name, metric] of this.#metrics) {
      text += `# HELP ${name} ${metric.help}\n# TYPE ${name} ${metric.kind}\n`;
      for (const [label, read] of metric.values) {
        text += `${name}${label === '' ? '' : `{${label}}`} ${read()}\n`;
      }
    }
    return text;
  }

  #metric(name: string, help: string, kind: Metric['kind']): Metric {
    let metric = this.#metrics.get(name);
    if (!metric) this.#metrics.set(name, (metric = { help, kind, values: new Map() }));
    return metric;
  }
}
