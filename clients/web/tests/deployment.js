// A server with the sample accounts, a gateway that serves the built page, and people in browsers.
// All on loopback addresses of their own; everything that was started ends with stop().

import { execFileSync, spawn } from 'node:child_process';
import { once } from 'node:events';
import { existsSync, mkdirSync, mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { chromium } from 'playwright-core';

const clients = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
const programs = path.resolve(process.env.VNQ_PROGRAMS ?? path.join(clients, '../build/release/bin'));
const vnqctl = process.env.VNQ_VNQCTL ?? path.join(programs, 'vnqctl');
const gatewayProgram = process.env.VNQ_GATEWAY ?? path.join(clients, 'gateway/dist/vnq-gateway.cjs');
export const screenshots = path.resolve(process.env.VNQ_SCREENSHOTS ?? path.join(clients, '.build/screenshots'));
mkdirSync(screenshots, { recursive: true });

const axe = readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');

export const alice = { id: '1', user: 'alice', password: 'alice-pw-1', name: 'Alice Martin' };
export const ben = { id: '2', user: 'ben', password: 'ben-pw-2', name: 'Ben Carter' };
export const carol = { id: '3', user: 'carol', password: 'carol-pw-3', name: 'Carol Jones' };
export const wangfang = { id: '4', user: 'wangfang', password: 'wangfang-pw-4', name: '王芳' };
export const team = { id: 'Clot000001', name: '项目组 Project team' };

/** Waits until a condition holds; rejects with `what` after a time. */
export async function until(condition, what, ms = 60_000) {
  const deadline = Date.now() + ms;
  while (!(await condition())) {
    if (Date.now() > deadline) throw new Error(`waited ${ms} ms in vain for ${what}`);
    await new Promise((resolve) => setTimeout(resolve, 30));
  }
}

// A child process; resolves `saw` when its output holds the words.
class Program {
  output = '';

  constructor(file, args) {
    this.child = spawn(file, args);
    this.ended = once(this.child, 'exit');
    for (const stream of [this.child.stdout, this.child.stderr]) {
      stream.setEncoding('utf8');
      stream.on('data', (text) => (this.output += text));
    }
  }

  saw(words) {
    const over = () => {
      if (this.child.exitCode !== null) throw new Error(`it has ended: ${this.output}`);
      return words.test(this.output);
    };
    return until(over, `${words} in ${this.output}`);
  }

  async stop(signal = 'SIGTERM') {
    if (this.child.exitCode === null && this.child.signalCode === null) this.child.kill(signal);
    await this.ended;
  }
}

let count = 0;

export class Deployment {
  address = `127.${88 + count++}.${1 + (Math.floor(process.pid / 254) % 254)}.${1 + (process.pid % 254)}`;
  folder = mkdtempSync(path.join(tmpdir(), 'vnq_web_'));
  #people = [];
  /** What a page has complained about: errors, and breaches of the content security policy. */
  complaints = [];

  init() {
    const page = ['--code-page', '936', '--language', '2052'];
    execFileSync(vnqctl, ['init', '--app-path', this.folder, '--demo', ...page]);
  }

  async start() {
    this.init();
    await this.startServer();
    await this.startGateway();
    const options = { executablePath: process.env.VNQ_CHROMIUM ?? '/usr/bin/chromium', args: ['--no-sandbox'] };
    this.browser = await chromium.launch(options);
    return this;
  }

  async startServer() {
    const args = ['--app-path', this.folder, '--bind', this.address];
    this.server = new Program(path.join(programs, 'vnq_main_service'), args);
    await this.server.saw(/\bready\b/);
  }

  killServer() {
    return this.server.stop('SIGKILL');
  }

  async startGateway() {
    if (!existsSync(gatewayProgram)) throw new Error(`there is no gateway in ${gatewayProgram}`);
    this.gateway = new Program('node', [
      gatewayProgram,
      ...['--listen', `${this.address}:8080`, '--server', `${this.address}:6004`],
      ...['--app-path', this.folder, '--vnqctl', vnqctl, '--web', path.join(clients, 'web/dist')],
      ...['--agents', `${ben.id},5`, '--visitor-data', path.join(this.folder, 'visitors')],
    ]);
    await until(() => fetch(`${this.url}/health`).then((answer) => answer.ok, () => false), 'the gateway');
  }

  get url() {
    return `http://${this.address}:8080`;
  }

  /** A browser of somebody's own. */
  async person(account, options = {}) {
    // A phone's or a desk's browser with a storage of its own.
    const context = await this.browser.newContext({
      locale: 'en-GB',
      viewport: { width: 1180, height: 760 },
      colorScheme: 'light',
      ...options,
    });
    const page = await context.newPage();
    page.on('pageerror', (error) => this.complaints.push(`${account.user}: ${error.message}`));
    page.on('console', (message) => {
      const text = message.text();
      // A connection that is refused while the server is away is told by every browser; a refused request in more words below.
      if (message.type() !== 'error' || /WebSocket|ERR_CONNECTION|status of \d/.test(text)) return;
      this.complaints.push(`${account.user}: ${text}`);
    });
    page.on('response', (response) => {
      if (response.status() < 400 || [401, 502, 503].includes(response.status())) return;
      // People come and go here faster than anywhere, and may get a line that was for the one before on their slot. It is in
      // no history of theirs, and the client marks what stands in front of it.
      if (response.status() === 404 && response.url().endsWith('/api/read')) return;
      this.complaints.push(`${account.user}: ${response.status()} ${response.url()} ${response.request().postData() ?? ''}`);
    });
    await page.goto(this.url);
    const person = new Person(page, account);
    this.#people.push(person);
    return person;
  }

  /** Logged in, with the lists there. */
  async comes(account, options = {}) {
    const person = await this.person(account, options);
    await person.logIn();
    return person.ready();
  }

  /** Ends all browsers, so that the next test begins with nobody. */
  async allLeave() {
    for (const person of this.#people.splice(0)) await person.leave().catch(() => undefined);
  }

  async stop() {
    await this.browser?.close();
    await this.gateway?.stop();
    await this.server?.stop();
    rmSync(this.folder, { recursive: true, force: true });
  }

  /** How many requests and news wait for the desktop of a user. */
  parked(user) {
    const options = { encoding: 'utf8', input: `${JSON.stringify({ id: 1, do: 'requests', user })}\n` };
    const answer = execFileSync(vnqctl, ['history', '--serve', '--app-path', this.folder], options);
    return JSON.parse(answer).result.requests.length;
  }

  history(user, ...args) {
    const all = ['history', '--app-path', this.folder, '--user', user, '--json', ...args];
    return JSON.parse(execFileSync(vnqctl, all, { encoding: 'utf8' }));
  }
}

/** What somebody does in a browser, and what they see there. */
export class Person {
  constructor(page, account) {
    this.page = page;
    this.account = account;
  }

  /** Closes the browser, without a word to the server. */
  async leave() {
    await this.page.context().close();
  }

  async logIn(password = this.account.password) {
    const { page } = this;
    const [user, secret] = [page.locator('input[autocomplete=username]'), page.locator('input[type=password]')];
    await user.fill(this.account.user);
    await secret.fill(password);
    await page.locator('button.primary').click();
    return this;
  }

  async ready() {
    await this.page.locator('.sidebar').waitFor();
    await this.page.locator('.bar').waitFor({ state: 'detached' });
    await this.page.locator('.me strong', { hasText: this.account.name }).waitFor();
    return this;
  }

  tab(name) {
    return this.page.locator('.tab', { hasText: name });
  }

  async open(name) {
    await this.tab(/People|通讯录/).click();
    await this.row(name).first().click();
    await this.page.locator('.head h2', { hasText: name }).waitFor();
  }

  row(name) {
    return this.page.locator('.panel .row', { hasText: name });
  }

  async write(text) {
    const box = this.page.locator('.composer textarea');
    await box.fill(text);
    await box.press('Enter');
  }

  /** The texts of the lines that are shown, in order. */
  texts() {
    return this.page.locator('.lines .line .text').allTextContents();
  }

  async sees(text) {
    await this.page.locator('.lines .text', { hasText: text }).first().waitFor();
  }

  /** A line's own status: "stored", or further, "delivered" ... */
  async hasStatus(text, status) {
    const line = this.page.locator('.line.own', { has: this.page.locator('.text', { hasText: text }) });
    const shown = status === 'stored' ? '.status.stored, .status.delivered' : `.status.${status}`;
    await line.last().locator(shown).waitFor();
  }

  screenshot(name) {
    return this.page.screenshot({ path: path.join(screenshots, `${name}.png`) });
  }

  /** What axe finds, in words; nothing when all is well. */
  async axeFindings() {
    await this.page.evaluate(axe);
    const { violations } = await this.page.evaluate(() => window.axe.run(document));
    return violations.map(({ id, help, nodes }) => `${id}: ${help}: ${nodes.map((n) => n.html.slice(0, 160) + ' ' + (n.any[0]?.message ?? '')).join('\n   ')}`);
  }
}
