// The gateway's settings: flags, and the same names in a file.
//
//   file = { line }     line = name "=" value | "#" comment | nothing
//
// A flag wins over the file. Every refusal names the flag, or the file and its line.

import { existsSync, readFileSync, statSync } from 'node:fs';
import { isIP } from 'node:net';

/** A setting that cannot be used. */
export class OptionError extends Error {
  override name = 'OptionError';
}

export interface Options {
  listen: { host: string; port: number };
  server: { host: string; port: number };
  certificate?: string;
  key?: string;
  behindProxy: boolean;
  appPath?: string;
  vnqctl: string;
  historyProcesses: number;
  codePage?: number;
  web?: string;
  widget?: string;
  agents: string[];
  visitorData?: string;
  visitorDays: number;
  visitorOrigins: string[];
  formWebhook?: string;
  maxSessions: number;
  maxVisitors: number;
  sessionsPerAddress: number;
  visitorsPerAddress: number;
  operators: string[];
}

interface Setting {
  readonly value: string;
  readonly help: string;
  take(options: Options, text: string): void;
}

function wrong(what: string): never {
  throw new OptionError(what);
}

function wholeNumber(text: string, least: number, most: number): number {
  const number = Number(text);
  if (!/^\d{1,9}$/.test(text) || number < least || number > most) wrong(`${text} is not a number from ${least} to ${most}`);
  return number;
}

function place(text: string): { host: string; port: number } {
  const [, bracketed, plain, port] = /^(?:\[([^\]]+)\]|([^:]+)):(\d{1,5})$/.exec(text) ?? [];
  const host = bracketed ?? plain ?? '';
  if (host === '' || Number(port) > 65535) wrong(`${text} is not ADDRESS:PORT`);
  return { host, port: Number(port) };
}

function readable(text: string): string {
  if (!existsSync(text)) wrong(`there is no ${text}`);
  return text;
}

function folder(text: string): string {
  if (!existsSync(text) || !statSync(text).isDirectory()) wrong(`${text} is not a folder`);
  return text;
}

function list(text: string): string[] {
  return text.split(',').map((each) => each.trim()).filter((each) => each !== '');
}

function webAddress(text: string): string {
  if (!/^https?:\/\/[^\s]+$/.test(text)) wrong(`${text} is not an http or https address`);
  return text;
}

function agentList(text: string): string[] {
  const agents = list(text);
  for (const agent of agents) if (/[|'\s]|\.\+/.test(agent)) wrong(`${agent} is not a UserID`);
  return agents;
}

function origins(text: string): string[] {
  for (const origin of list(text)) {
    if (!/^https?:\/\/[^/\s]+$/.test(origin)) wrong(`${origin} is not an origin such as https://www.example.com`);
  }
  return list(text);
}

function addresses(text: string): string[] {
  for (const address of list(text)) if (!isIP(address)) wrong(`${address} is not an address`);
  return list(text);
}

const settings: Record<string, Setting> = {
  listen: {
    value: 'ADDRESS:PORT',
    help: 'where browsers come; 127.0.0.1:8443 unless given',
    take: (options, text) => (options.listen = place(text)),
  },
  server: {
    value: 'ADDRESS:PORT',
    help: 'the main port of the server; 127.0.0.1:6004 unless given',
    take: (options, text) => (options.server = place(text)),
  },
  certificate: {
    value: 'FILE',
    help: 'certificate chain (PEM). With it and the key the gateway speaks HTTPS; without, plain\nHTTP, and that only on a loopback address. Both are read again when they change',
    take: (options, text) => (options.certificate = readable(text)),
  },
  key: { value: 'FILE', help: 'the private key (PEM)', take: (options, text) => (options.key = readable(text)) },
  'behind-proxy': {
    value: '',
    help: 'a proxy in front ends TLS: plain HTTP on any address, and the visitor\'s address is\nthe last of X-Forwarded-For',
    take: (options, text) => (options.behindProxy = text === 'yes' || text === ''),
  },
  'app-path': {
    value: 'DIR',
    help: 'the server\'s folder, for history; without it /api gives none',
    take: (options, text) => (options.appPath = folder(text)),
  },
  vnqctl: { value: 'FILE', help: 'the tool that reads history; vnqctl unless given', take: (options, text) => (options.vnqctl = text) },
  'history-processes': {
    value: 'N',
    help: 'how many of it run; 2 unless given',
    take: (options, text) => (options.historyProcesses = wholeNumber(text, 1, 16)),
  },
  'code-page': {
    value: 'N',
    help: 'the server\'s code page: 936, 950 or 1252; that of its folder, else 936, unless given',
    take: (options, text) => (options.codePage = wholeNumber(text, 1, 65535)),
  },
  web: { value: 'DIR', help: 'the built files of the web client', take: (options, text) => (options.web = folder(text)) },
  widget: { value: 'FILE', help: 'the visitor widget, served as /widget.js', take: (options, text) => (options.widget = readable(text)) },
  agents: {
    value: 'ID,ID,...',
    help: 'UserIDs that visitors may write to; without it no visitor is taken',
    take: (options, text) => (options.agents = agentList(text)),
  },
  'visitor-data': {
    value: 'DIR',
    help: 'where visitors\' conversations are kept; needed with agents',
    take: (options, text) => (options.visitorData = text),
  },
  'visitor-days': {
    value: 'N',
    help: 'for how many days; 30 unless given',
    take: (options, text) => (options.visitorDays = wholeNumber(text, 1, 3650)),
  },
  'visitor-origins': {
    value: 'ORIGIN,...',
    help: 'sites whose pages may open the widget\'s connection; any unless given',
    take: (options, text) => (options.visitorOrigins = origins(text)),
  },
  'form-webhook': {
    value: 'ADDRESS',
    help: 'gets what visitors leave when nobody is there, as JSON; unless given it waits on the\nserver for the first agent',
    take: (options, text) => (options.formWebhook = webAddress(text)),
  },
  'max-sessions': {
    value: 'N',
    help: 'staff at one time; 2000 unless given',
    take: (options, text) => (options.maxSessions = wholeNumber(text, 1, 30000)),
  },
  'max-visitors': {
    value: 'N',
    help: 'visitors at one time; 500 unless given',
    take: (options, text) => (options.maxVisitors = wholeNumber(text, 1, 30000)),
  },
  'sessions-per-address': {
    value: 'N',
    help: 'staff from one address; 500 unless given, since an office may be one',
    take: (options, text) => (options.sessionsPerAddress = wholeNumber(text, 1, 30000)),
  },
  'visitors-per-address': {
    value: 'N',
    help: 'visitors from one address; 20 unless given',
    take: (options, text) => (options.visitorsPerAddress = wholeNumber(text, 1, 30000)),
  },
  operators: {
    value: 'ADDRESS,...',
    help: 'who may read /health and /metrics besides this machine',
    take: (options, text) => (options.operators = addresses(text)),
  },
};

const defaults = (): Options => ({
  listen: { host: '127.0.0.1', port: 8443 },
  server: { host: '127.0.0.1', port: 6004 },
  behindProxy: false,
  vnqctl: 'vnqctl',
  historyProcesses: 2,
  agents: [],
  visitorDays: 30,
  visitorOrigins: [],
  maxSessions: 2000,
  maxVisitors: 500,
  sessionsPerAddress: 500,
  visitorsPerAddress: 20,
  operators: [],
});

export function help(): string {
  let text = 'usage: vnq-gateway [--config FILE] [--NAME VALUE ...] [--help] [--version]\n\n' +
    'Brings browsers to a VNQ Main Service: staff, history, visitors of a web site.\n' +
    'A file given with --config has lines NAME = VALUE with the names below.\n\n';
  for (const [name, { value, help: words }] of Object.entries(settings)) {
    const lines = words.split('\n');
    text += `  ${`--${name} ${value}`.trimEnd().padEnd(32)} ${lines.join(`\n${' '.repeat(35)}`)}\n`;
  }
  return text;
}

function take(options: Options, name: string, value: string, where: string): void {
  const setting = settings[name];
  if (!setting) wrong(`${where}: there is no setting ${name}`);
  try {
    if (value === '' && setting.value !== '') wrong(`a value is wanted: ${setting.value}`);
    setting.take(options, value);
  } catch (error) {
    throw error instanceof OptionError ? new OptionError(`${where}: ${name}: ${error.message}`) : error;
  }
}

function takeFile(options: Options, path: string): void {
  let text: string;
  try {
    text = readFileSync(path, 'utf8');
  } catch (error) {
    wrong(`--config: ${(error as Error).message}`);
  }
  text.split('\n').forEach((line, index) => {
    const [, name, value] = /^\s*([\w-]+)\s*=\s*(.*?)\s*$/.exec(line) ?? [];
    const where = `${path}, line ${index + 1}`;
    if (name) take(options, name, value, where);
    else if (!/^\s*(#.*)?$/.test(line)) wrong(`${where}: NAME = VALUE is wanted`);
  });
}

function isLoopback(host: string): boolean {
  return host === 'localhost' || host === '::1' || host.startsWith('127.');
}

function check(options: Options): void {
  const { certificate, key, behindProxy, listen, agents, visitorData } = options;
  if ((certificate === undefined) !== (key === undefined)) wrong('--certificate and --key belong together');
  if (!certificate && !behindProxy && !isLoopback(listen.host)) {
    wrong(`--listen: without --certificate and --key only a loopback address is taken, and ${listen.host} is none; --behind-proxy says that a proxy in front ends TLS`);
  }
  if (agents.length > 0 && visitorData === undefined) wrong('--agents needs --visitor-data, where visitors\' conversations are kept');
}

/** Reads the command line, without the program's name. Throws an OptionError. */
export function readOptions(args: readonly string[]): Options {
  const flags: [string, string][] = [];
  const options = defaults();
  for (let i = 0; i < args.length; ++i) {
    const [, name, , joined] = /^--([\w-]+)(=([\s\S]*))?$/.exec(args[i]) ?? [];
    if (!name) wrong(`${args[i]} is not a flag; --help lists them`);
    const isSwitch = settings[name]?.value === '';
    const value = joined ?? (isSwitch ? '' : args[++i] ?? '');
    if (name === 'config') takeFile(options, value);
    else flags.push([name, value]);
  }
  for (const [name, value] of flags) take(options, name, value, 'command line');
  check(options);
  return options;
}
