// The modules of the page in examples/visitor that the widget uses.

declare module '*/examples/visitor/code_page.js' {
  export class CodePage {
    constructor(number: number);
  }
}

declare module '*/examples/visitor/gateway.js' {
  import type { CodePage } from '*/examples/visitor/code_page.js';
  export class Gateway extends EventTarget {
    constructor(
      settings: { url: string; agents: readonly string[]; visitor: string; city: string; arrivalText: string; paceMs: number },
      codePage: CodePage,
    );
    connect(): void;
    send(id: number, text: string): void;
    close(): void;
  }
}

declare module '*/examples/visitor/identity.js' {
  export function visitorName(): Promise<string>;
}
