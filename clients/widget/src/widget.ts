// The visitor's chat window for any web site.
//
//   <script src="https://chat.example.com/widget.js" data-gateway="https://chat.example.com"
//           data-agents="1001,1002"></script>
//
// or, from a script: `const chat = VNQVisitorChat.mount({ gateway, agents })`.

import { ChatWindow } from './chat_window';
import { OneWay } from './one_way';
import type { Road, RoadEvents } from './road';
import { textsFor, type Texts } from './texts';
import { TwoWays } from './two_ways';

export interface Settings {
  /** Address of the gateway, both ways. */
  gateway?: string;
  /** Address of the server's port 6001, one way, for sites without a gateway. */
  oneWay?: string;
  /** UserIDs; all are told that the visitor is here, the first who is there gets the lines. */
  agents?: readonly string[];
  /** Shown to the agent beside the visitor's name. */
  city?: string;
  /** en, zh, de, fr or es; the page's unless given. */
  language?: string;
  title?: string;
  greeting?: string;
  texts?: Partial<Texts>;
  /** A colour for the launcher and own lines; white text must be readable on it. */
  accent?: string;
  maxCharacters?: number;
  open?: boolean;
  /** One way only: the server's code page, and the pause between two pieces of a line. */
  codePage?: number;
  paceMs?: number;
}

export interface Handle {
  open(): void;
  close(): void;
  /** Takes the window off the page and ends its connection. */
  destroy(): void;
}

function webSocketAddress(gateway: string): string {
  const url = new URL(gateway, document.baseURI);
  url.protocol = url.protocol.replace('http', 'ws');
  if (!url.pathname.endsWith('/visitor')) url.pathname = `${url.pathname.replace(/\/$/, '')}/visitor`;
  return url.href;
}

// A browser may refuse, and then a page begins anew each time.
function storage(): Storage | undefined {
  try {
    return window.localStorage;
  } catch {
    return undefined;
  }
}

function road(settings: Settings, language: string, texts: Texts): (events: RoadEvents) => Road {
  const { gateway, oneWay, agents = [], city = '', codePage = 936, paceMs = 80 } = settings;
  if (gateway) {
    const url = webSocketAddress(gateway);
    return (events) => new TwoWays({ url, agents, city, language, storage: storage() }, events);
  }
  if (!oneWay) throw new Error('the visitor chat needs data-gateway or data-one-way');
  if (agents.length === 0) throw new Error('the visitor chat needs data-agents');
  return (events) => new OneWay({ url: oneWay, agents, city, codePage, paceMs, arrival: texts.arrival }, events);
}

/** Puts the window on the page. */
export function mount(settings: Settings): Handle {
  const language = settings.language || document.documentElement.lang || navigator.language;
  const { title, greeting } = settings;
  const texts = textsFor(language, { ...(title ? { title } : {}), ...(greeting ? { greeting } : {}), ...settings.texts });
  const chat = new ChatWindow({
    texts,
    language,
    accent: settings.accent ?? '',
    maxCharacters: settings.maxCharacters ?? 2000,
    isOpen: settings.open ?? false,
    makeRoad: road(settings, language, texts),
    storage: storage(),
  });
  return { open: () => chat.show(true), close: () => chat.show(false), destroy: () => chat.destroy() };
}

function fromAttributes({ dataset }: HTMLScriptElement): Settings {
  const number = (text: string | undefined) => (text ? Number(text) : undefined);
  return {
    gateway: dataset.gateway,
    oneWay: dataset.oneWay,
    agents: (dataset.agents ?? '').split(',').map((each) => each.trim()).filter((each) => each !== ''),
    city: dataset.city,
    language: dataset.language,
    title: dataset.title,
    greeting: dataset.greeting,
    texts: dataset.texts ? JSON.parse(dataset.texts) : undefined,
    accent: dataset.accent,
    open: dataset.open !== undefined,
    codePage: number(dataset.codePage),
    paceMs: number(dataset.paceMs),
    maxCharacters: number(dataset.maxCharacters),
  };
}

declare global {
  interface Window {
    VNQVisitorChat: { mount: typeof mount; widget?: Handle };
  }
}

window.VNQVisitorChat = { mount };
const script = document.currentScript as HTMLScriptElement | null;
if (script && (script.dataset.gateway || script.dataset.oneWay)) {
  const begin = () => (window.VNQVisitorChat.widget = mount(fromAttributes(script)));
  if (document.body) begin();
  else document.addEventListener('DOMContentLoaded', begin);
}
