// A server of the test's own with the sample accounts, an agent at a terminal client, and the page
// on a web server. All on loopback; everything that was started ends with stop().

import { spawn, execFileSync } from 'node:child_process';
import { once } from 'node:events';
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { createServer } from 'node:http';
import { tmpdir } from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const root = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
const programs = path.resolve(process.env.VNQ_PROGRAMS ?? path.join(root, 'build/bin'));
const pageFolder = path.join(root, 'examples/visitor');

export const screenshotFolder = path.resolve(process.env.VNQ_SCREENSHOTS ?? path.join(root, 'build'));

/** Waits until a condition holds; rejects with `what` after a time. */
export async function until(condition, what, ms = 60_000) {
  const deadline = Date.now() + ms;
  while (!(await condition())) {
    if (Date.now() > deadline) throw new Error(`waited ${ms} ms in vain: ${what()}`);
    await new Promise((resolve) => setTimeout(resolve, 20));
  }
}

// A child process with what it has written so far.
class Program {
  output = '';

  constructor(name, args, env = {}) {
    this.child = spawn(path.join(programs, name), args, { env: { ...process.env, ...env } });
    this.ended = once(this.child, 'exit');
    for (const stream of [this.child.stdout, this.child.stderr]) {
      stream.setEncoding('utf8');
      stream.on('data', (text) => (this.output += text));
    }
  }

  saw(words) {
    return until(
      () => this.output.includes(words),
      () => `${words.slice(0, 60)} in ${this.output.slice(-500)}`,
    );
  }

  async stop() {
    if (this.child.exitCode === null) this.child.kill('SIGTERM');
    await this.ended;
  }
}

export class Deployment {
  address = `127.77.${Math.floor(process.pid / 254) % 254}.${1 + (process.pid % 254)}`;
  folder = mkdtempSync(path.join(tmpdir(), 'vnq_browser_'));
  #agents = [];

  async start() {
    execFileSync(path.join(programs, 'vnqctl'), ['init', '--app-path', this.folder, '--demo']);
    await this.startServer();
  }

  async startServer() {
    const args = ['--app-path', this.folder, '--bind', this.address];
    this.server = new Program('vnq_main_service', args);
    await this.server.saw('ready');
  }

  async stopServer() {
    await this.server.stop();
  }

  /** A sample user at the terminal client; `output` holds what the user reads. */
  async agent(user, password) {
    const args = ['chat', '--server', this.address, '--user', user];
    const state = ['--state-file', path.join(this.folder, `${user}.names`)];
    const agent = new Program('vnqctl', [...args, ...state], { VNQ_PASSWORD: password });
    this.#agents.push(agent);
    await agent.saw('logged in');
    return agent;
  }

  get gateway() {
    return `ws://${this.address}:6001/`;
  }

  /** Serves the page's own files, with a configuration for this deployment. @returns its address */
  async servePage(config) {
    const script = `export const config = ${JSON.stringify({ gateway: this.gateway, ...config })};`;
    const types = { '.html': 'text/html', '.js': 'text/javascript', '.css': 'text/css' };
    this.web = createServer((request, response) => {
      const name = path.basename(request.url === '/' ? 'index.html' : request.url);
      try {
        const body = name === 'config.js' ? script : readFileSync(path.join(pageFolder, name));
        const type = types[path.extname(name)] ?? 'application/octet-stream';
        response.writeHead(200, { 'Content-Type': `${type}; charset=utf-8` }).end(body);
      } catch {
        response.writeHead(404).end();
      }
    });
    this.web.listen(0, '127.0.0.1');
    await once(this.web, 'listening');
    return `http://127.0.0.1:${this.web.address().port}/`;
  }

  async stop() {
    for (const agent of this.#agents) await agent.stop();
    await this.server?.stop();
    this.web?.closeAllConnections();
    this.web?.close();
    rmSync(this.folder, { recursive: true, force: true });
  }
}
