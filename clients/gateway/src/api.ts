// HTTP below /api: from a query to a request of the history reader, for the session's own user.

import type { IncomingMessage, ServerResponse } from 'node:http';
import { answerJson, readJsonBody, Refusal } from './http_answers';
import { History, HistoryError, type HistoryRequest } from './history';
import type { Session, Tokens } from './tokens';

/** Conversations of visitors with their agents; absent where the gateway takes no visitors. */
export interface VisitorArchive {
  of(agent: string): unknown[];
  /** Nothing when there is none, false when the user is not an agent of it. */
  conversation(visitor: string, agent: string): unknown | undefined | false;
}

export interface ApiOptions {
  readonly tokens: Tokens;
  readonly history: History | undefined;
  readonly visitors: VisitorArchive | undefined;
  readonly config: () => Record<string, unknown>;
}

type Query = URLSearchParams;
type Handler = (api: Api, session: Session, query: Query, request: IncomingMessage) => Promise<unknown>;

const statusOf = { bad_request: 400, not_found: 404, not_allowed: 403, database: 503 } as const;

function takesOnly(query: Query, ...names: string[]): void {
  for (const name of query.keys()) {
    if (!names.includes(name)) throw new Refusal(400, `there is no parameter ${name}`);
  }
}

function conversationOf(query: Query): Record<string, unknown> {
  const named: Record<string, unknown> = {};
  if (query.get('with')) named.with = query.get('with');
  if (query.get('group')) named.group = query.get('group');
  if (query.has('notices')) named.notices = true;
  return named;
}

function pageOf(query: Query, usual = 50): Record<string, unknown> {
  const limit = query.get('limit') ?? String(usual);
  if (!/^[1-9]\d{0,2}$/.test(limit) || Number(limit) > 500) throw new Refusal(400, 'limit must be 1 to 500');
  const page: Record<string, unknown> = { limit: Number(limit) };
  for (const name of ['before', 'after', 'since']) {
    const value = query.get(name);
    if (value) page[name] = value;
  }
  return page;
}

const pageNames = ['with', 'group', 'notices', 'limit', 'before', 'after', 'since'];

const handlers: Record<string, Handler> = {
  'GET conversations': (api, session, query) => {
    takesOnly(query);
    return api.ask(session, { do: 'conversations' });
  },
  'GET messages': (api, session, query) => {
    takesOnly(query, ...pageNames);
    return api.ask(session, { do: 'messages', ...conversationOf(query), ...pageOf(query) });
  },
  'GET unread': (api, session, query) => {
    takesOnly(query, 'limit');
    return api.ask(session, { do: 'unread', ...pageOf(query, 500) });
  },
  'GET search': (api, session, query) => {
    takesOnly(query, 'q', ...pageNames);
    const words = query.get('q') ?? '';
    if (words.length > 200) throw new Refusal(400, 'q is too long');
    return api.ask(session, { do: 'search', words, ...conversationOf(query), ...pageOf(query) });
  },
  'POST read': async (api, session, query, request) => {
    takesOnly(query);
    const { entries, with: peer, group, notices, through } = await readJsonBody(request);
    return api.ask(session, { do: 'read', entries, with: peer, group, notices, through });
  },
  'GET requests': (api, session, query) => {
    takesOnly(query);
    return api.ask(session, { do: 'requests' });
  },
  'POST requests/forget': async (api, session, query, request) => {
    takesOnly(query);
    const { requests } = await readJsonBody(request);
    return api.ask(session, { do: 'forget_requests', requests });
  },
  'GET people': (api, session, query) => {
    takesOnly(query);
    return api.ask(session, { do: 'people' });
  },
  'GET members': (api, session, query) => {
    takesOnly(query, 'group');
    return api.ask(session, { do: 'members', group: query.get('group') ?? '' });
  },
  'GET profile': (api, session, query) => {
    takesOnly(query, 'user');
    return api.ask(session, { do: 'profile', of: query.get('user') ?? session.user });
  },
  'GET visitors': async (api, session, query) => {
    takesOnly(query);
    return { visitors: api.options.visitors?.of(session.user) ?? [] };
  },
};

/** Everything that a session may ask for, as "METHOD path"; besides, there is visitors/<id>. */
export const sessionRequests: readonly string[] = Object.keys(handlers);

export class Api {
  constructor(readonly options: ApiOptions) {}

  /** Answers a request whose path begins with /api/. Never rejects. */
  async handle(request: IncomingMessage, response: ServerResponse, url: URL): Promise<void> {
    try {
      answerJson(response, 200, await this.#result(request, url));
    } catch (error) {
      this.#refuse(response, error);
    }
  }

  ask(session: Session, request: HistoryRequest): Promise<unknown> {
    const { history } = this.options;
    if (!history) throw new Refusal(503, 'this gateway has no history: it was started without --app-path');
    // The session's own user and device, whatever the request says.
    return history.ask({ ...request, user: session.user, device: session.device });
  }

  #result(request: IncomingMessage, url: URL): Promise<unknown> | unknown {
    const path = url.pathname.slice('/api/'.length);
    if (path === 'config' && request.method === 'GET') return this.options.config();
    const session = this.options.tokens.find(request.headers.authorization);
    if (!session) throw new Refusal(401, 'a session\'s token is wanted', { 'WWW-Authenticate': 'Bearer' });
    if (!session.pace.take()) throw new Refusal(429, 'too many requests', { 'Retry-After': 1 });
    const visitor = /^visitors\/([\w-]+)$/.exec(path)?.[1];
    if (visitor && request.method === 'GET') return this.#visitor(visitor, session);
    const handler = handlers[`${request.method} ${path}`];
    if (handler) return handler(this, session, url.searchParams, request);
    const isKnown = Object.keys(handlers).some((key) => key.endsWith(` ${path}`));
    throw isKnown ? new Refusal(405, 'this path takes another method') : new Refusal(404, 'there is no such path');
  }

  #visitor(visitor: string, session: Session): unknown {
    const conversation = this.options.visitors?.conversation(visitor, session.user);
    if (conversation === undefined) throw new Refusal(404, 'there is no such visitor');
    if (conversation === false) throw new Refusal(403, 'you are not an agent of this visitor');
    return conversation;
  }

  #refuse(response: ServerResponse, error: unknown): void {
    if (error instanceof Refusal) {
      answerJson(response, error.status, { error: error.message }, error.headers);
    } else if (error instanceof HistoryError) {
      const isAway = error.kind === 'database';
      // What the database says is for operators, who find it in the log of the reader.
      const message = isAway ? 'the history cannot be read now' : error.message;
      answerJson(response, statusOf[error.kind], { error: message }, isAway ? { 'Retry-After': 5 } : {});
    } else {
      answerJson(response, 500, { error: 'the gateway has failed' });
    }
  }
}
