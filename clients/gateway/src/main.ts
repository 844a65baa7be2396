// The program: reads its settings, runs the gateway until SIGTERM or SIGINT.

import { Gateway, version } from './gateway';
import { Log } from './log';
import { help, OptionError, readOptions, type Options } from './options';

function fail(message: string, code: number): never {
  process.stderr.write(`vnq-gateway: ${message}\n`);
  return process.exit(code);
}

function options(args: readonly string[]): Options {
  try {
    return readOptions(args);
  } catch (error) {
    if (error instanceof OptionError) return fail(error.message, 2);
    throw error;
  }
}

async function run(args: readonly string[]): Promise<void> {
  const log = new Log((line) => process.stderr.write(line));
  let gateway: Gateway;
  try {
    gateway = new Gateway(options(args), log);
    await gateway.start();
  } catch (error) {
    return fail((error as Error).message, 1);
  }
  let isStopping = false;
  const stop = (signal: string) => {
    if (isStopping) return;
    isStopping = true;
    log.info('stopping', { signal });
    void gateway.stop().then(() => process.exit(0));
  };
  process.on('SIGTERM', () => stop('SIGTERM'));
  process.on('SIGINT', () => stop('SIGINT'));
  process.on('SIGHUP', () => gateway.rereadCertificate());
}

const args = process.argv.slice(2);
if (args.includes('--help') || args.includes('-h')) process.stdout.write(help());
else if (args.includes('--version')) process.stdout.write(`vnq-gateway ${version}\n`);
else void run(args);
