// Sends an alert to a group, or to a person, and ends when the server has stored it.
//
//   VNQ_USER=monitor VNQ_PASSWORD=... node alert.js --group Clot000001 "disk full on db1"
//   dmesg | tail -n 5 | node alert.js --to 1001 -
//
// The exit code is 0 when the server has it, 1 when not, 2 for bad arguments.
import { readFileSync } from 'node:fs';
import { Client, tcp } from '@vnq/client/node';

const usage = `usage: alert [--server HOST] [--code-page N] [--seconds N] (--group ID | --to USERID) TEXT
  TEXT may be "-" for standard input. VNQ_USER and VNQ_PASSWORD hold the account.`;

interface Alert {
  host: string;
  codePage: number;
  seconds: number;
  group: string;
  to: string;
  text: string;
}

function readArguments(args: string[]): Alert | undefined {
  const alert: Alert = { host: '127.0.0.1', codePage: 936, seconds: 30, group: '', to: '', text: '' };
  while (args.length > 0) {
    const name = args.shift()!;
    if (!name.startsWith('--')) {
      alert.text = name === '-' ? readFileSync(0, 'utf8').trim() : name;
      if (args.length > 0) return undefined;
    } else {
      const value = args.shift() ?? '';
      if (name === '--server') alert.host = value;
      else if (name === '--code-page') alert.codePage = Number(value);
      else if (name === '--seconds') alert.seconds = Number(value);
      else if (name === '--group') alert.group = value;
      else if (name === '--to') alert.to = value;
      else return undefined;
    }
  }
  const isWhole = alert.text !== '' && (alert.group === '') !== (alert.to === '') && alert.seconds > 0;
  return isWhole ? alert : undefined;
}

async function send({ host, codePage, seconds, group, to, text }: Alert): Promise<void> {
  const { VNQ_USER: user = '', VNQ_PASSWORD: password = '' } = process.env;
  const client = new Client({ connect: tcp({ host }), user, password, codePage });
  const stop = new AbortController();
  const late = setTimeout(() => stop.abort(new Error(`not stored within ${seconds} s`)), seconds * 1_000);
  try {
    await client.login({ keepTrying: true, signal: stop.signal });
    const options = { signal: stop.signal };
    await (group !== '' ? client.sendToGroup(group, text, options) : client.send(to, text, options));
  } finally {
    clearTimeout(late);
    await client.logout();
  }
}

const alert = readArguments(process.argv.slice(2));
if (!alert) {
  console.error(usage);
  process.exitCode = 2;
} else {
  send(alert).catch((error: Error) => {
    console.error(`alert: ${error.message}`);
    process.exitCode = 1;
  });
}
