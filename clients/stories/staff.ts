// A colleague at the staff's client: what one sees and does there.

import type { BrowserContext, Page } from 'playwright-core';
import { sample, until, type Deployment, type SampleUser } from '../gateway/test/deployment';
import { somebody, type Look } from './browser';

export class Colleague {
  private constructor(
    private readonly deployment: Deployment,
    readonly user: SampleUser,
    readonly context: BrowserContext,
    readonly page: Page,
  ) {}

  static async at(deployment: Deployment, user: SampleUser, look: Look = {}): Promise<Colleague> {
    const context = await somebody(look);
    const colleague = new Colleague(deployment, user, context, await context.newPage());
    await colleague.logIn();
    return colleague;
  }

  async logIn(): Promise<void> {
    const { page } = this;
    await page.goto(`http://${this.deployment.address}:${this.deployment.port}/`);
    await page.getByLabel(/User name|用户名|Login|账号/).or(page.locator('input[autocomplete=username]')).first().fill(this.user);
    await page.locator('input[type=password]').fill(sample[this.user].password);
    await page.locator('form button.primary').click();
    await page.locator('.work').waitFor();
  }

  /** Opens the conversation with a person or of a group. */
  async open(name: string): Promise<void> {
    const { page } = this;
    if (!(await page.locator('.sidebar, .panel').first().isVisible())) await page.locator('.icon-button.phone-only').click();
    await page.locator('nav.tabs button', { hasText: /People|通讯录/ }).click();
    await page.locator('.panel button.row', { hasText: name }).first().click();
    await page.locator('.conversation header.head h2', { hasText: name }).waitFor();
  }

  async openChat(name: string): Promise<void> {
    await this.page.locator('nav.tabs button').first().click();
    await this.page.locator('.panel button.row', { hasText: name }).first().click();
  }

  async write(text: string): Promise<void> {
    await this.page.locator('form.composer textarea').fill(text);
    await this.page.keyboard.press('Enter');
  }

  /** The texts of the open conversation. */
  lines(): Promise<string[]> {
    return this.page.locator('.conversation li.line .text').allInnerTexts();
  }

  async reads(...texts: string[]): Promise<void> {
    await until(async () => JSON.stringify(await this.lines()) === JSON.stringify(texts), `${this.user} reads ${texts.join(' / ')}; there is ${(await this.lines()).join(' / ')}`);
  }

  /** The unread count at a chat in the list; 0 without one. */
  async unreadAt(name: string): Promise<number> {
    const badge = this.page.locator('.panel button.row', { hasText: name }).first().locator('.badge [aria-hidden]');
    return (await badge.count()) === 0 ? 0 : Number(await badge.innerText());
  }

  /** So many unread messages stand at a chat in the list. */
  async has(count: number, name: string): Promise<void> {
    let there = 0;
    const isSo = async () => (there = await this.unreadAt(name)) === count;
    await until(isSo, `${count} unread at ${name}`).catch((error) => {
      throw new Error(`${error.message}; there are ${there}`);
    });
  }

  async leave(): Promise<void> {
    await this.context.close();
  }
}

