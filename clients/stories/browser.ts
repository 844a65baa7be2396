// A headless Chromium, the site of a company, screenshots.

import { once } from 'node:events';
import { mkdirSync, mkdtempSync, rmSync } from 'node:fs';
import { createServer, type Server } from 'node:http';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after } from 'node:test';
import { chromium, type Browser, type BrowserContext, type Page } from 'playwright-core';

export const clients = process.env.VNQ_CLIENTS ?? '';
const screenshots = process.env.VNQ_SCREENSHOTS ?? join(clients, '../build/screenshots');
export const phone = { width: 390, height: 844 };
export const desk = { width: 1280, height: 800 };

/** Problems that pages of this test process have told of; each test ends with none. */
export const problems: string[] = [];

let browser: Browser | undefined;

export async function openBrowser(): Promise<Browser> {
  browser ??= await chromium.launch({
    executablePath: process.env.VNQ_CHROMIUM ?? '/usr/bin/chromium',
    args: ['--no-sandbox', '--disable-gpu', '--no-first-run', '--disable-background-networking', '--disable-component-update', '--disable-sync'],
  });
  return browser;
}

export async function closeBrowser(): Promise<void> {
  await browser?.close();
  browser = undefined;
}

export interface Look {
  readonly viewport?: { width: number; height: number };
  readonly colorScheme?: 'light' | 'dark';
  readonly locale?: string;
}

/** Somebody's browser: storage of its own. */
export async function somebody(look: Look = {}): Promise<BrowserContext> {
  const context = await (await openBrowser()).newContext({ viewport: desk, locale: 'en-GB', reducedMotion: 'reduce', ...look });
  context.setDefaultTimeout(60_000);
  context.on('weberror', (error) => problems.push(String(error.error())));
  return context;
}

export async function picture(page: Page, name: string): Promise<void> {
  mkdirSync(screenshots, { recursive: true });
  await page.screenshot({ path: join(screenshots, `${name}.png`) });
}

// A story that fails leaves no site behind, which would keep the run from ending.
const sites = new Set<Site>();
after(() => sites.forEach((site) => site.stop()));

/** A company's web site with one page; `html` may be changed while it runs. */
export class Site {
  html = '';
  readonly #server: Server = createServer({}, (_, response) => {
    response.writeHead(200, { 'Content-Type': 'text/html; charset=utf-8', ...this.headers });
    response.end(this.html);
  });
  headers: Record<string, string> = {};
  address = '';

  async start(): Promise<this> {
    sites.add(this);
    this.#server.listen(0, '127.0.0.1');
    await once(this.#server, 'listening');
    this.address = `http://127.0.0.1:${(this.#server.address() as { port: number }).port}/`;
    return this;
  }

  stop(): void {
    sites.delete(this);
    this.#server.close();
  }
}

export function temporaryFolder(): { path: string; remove(): void } {
  const path = mkdtempSync(join(tmpdir(), 'vnq_story_'));
  return { path, remove: () => rmSync(path, { recursive: true, force: true }) };
}
