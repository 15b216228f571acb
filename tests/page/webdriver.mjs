// A browser over the WebDriver protocol: chromedriver by plain HTTP, no packages.

import { spawn } from 'node:child_process';
import { createInterface } from 'node:readline';

const ELEMENT = 'element-6066-11e4-a52e-4f735466cecf';
const PATIENCE = 90000; // for a busy machine; usually a fraction of it
const BROWSER = process.env.CHROMIUM ?? '/usr/bin/chromium';

export const keys = {
  tab: '\uE004', enter: '\uE007', shift: '\uE008', control: '\uE009', alt: '\uE00A',
  left: '\uE012', up: '\uE013', right: '\uE014', down: '\uE015', escape: '\uE00C',
};

export const sleep = (pause) => new Promise((resolve) => setTimeout(resolve, pause));

/** Waits until a call gives something true, and returns it. */
export async function until(what, call, patience = PATIENCE) {
  const end = Date.now() + patience;
  let last;
  while (Date.now() < end) {
    try {
      const found = await call();
      if (found) {
        return found;
      }
    } catch (error) {
      last = error;
    }
    await sleep(60);
  }
  throw new Error(`waited in vain for ${what}${last ? ` (${last.message})` : ''}`);
}

export class Browser {
  static async start() {
    const browser = new Browser();
    browser.driver = spawn('chromedriver', ['--port=0'], { stdio: ['ignore', 'pipe', 'ignore'] });
    process.once('exit', () => browser.driver.kill());
    const port = await new Promise((resolve) => {
      createInterface({ input: browser.driver.stdout }).on('line', (line) => {
        /successfully on port (\d+)\./.exec(line)?.slice(1).forEach(resolve);
      });
    });
    browser.base = `http://127.0.0.1:${port}`;
    const args = ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
      '--disable-background-networking', '--disable-component-update', '--disable-sync',
      '--mute-audio', '--autoplay-policy=no-user-gesture-required', '--window-size=1440,900'];
    const { sessionId } = await browser.send('POST', '/session', { capabilities: { alwaysMatch: {
      timeouts: { script: PATIENCE, pageLoad: PATIENCE },
      'goog:chromeOptions': { binary: BROWSER, args },
      'goog:loggingPrefs': { browser: 'ALL', performance: 'ALL' },
    } } });
    browser.base += `/session/${sessionId}`;
    return browser;
  }

  async send(method, path, body) {
    const answer = await fetch(this.base + path, {
      method, body: method === 'POST' ? JSON.stringify(body ?? {}) : undefined,
    });
    const { value } = await answer.json();
    if (!answer.ok) {
      throw new Error(`${path}: ${value.message.split('\n')[0]}`);
    }
    return value;
  }

  async end() {
    await this.send('DELETE', '').catch(() => {});
    this.driver.kill();
  }

  open(address) {
    return this.send('POST', '/url', { url: address });
  }

  /** Runs a function in the page. */
  run(code, ...args) {
    return this.send('POST', '/execute/sync', { script: `return (${code})(...arguments)`, args });
  }

  devtools(cmd, params = {}) {
    return this.send('POST', '/goog/cdp/execute', { cmd, params });
  }

  find(selector) {
    return until(selector, async () => {
      const sought = { using: 'css selector', value: selector };
      return (await this.send('POST', '/elements', sought))[0]?.[ELEMENT];
    });
  }

  /** Clicks on an element once it is enabled, visible and still; a key may be held. */
  async click(selector, held = '') {
    if (held) {
      await this.act('keys', 'key', [{ type: 'keyDown', value: held }]);
      await this.hold(selector, 0, 'mouse');
      await this.act('keys', 'key', [{ type: 'keyUp', value: held }]);
      return;
    }
    await until(`a click on ${selector}`, async () => {
      const element = await this.find(selector);
      const isReady = await this.run(async (one) => {
        const { x, y } = one.getBoundingClientRect();
        await new Promise((resolve) => requestAnimationFrame(() => requestAnimationFrame(resolve)));
        const now = one.getBoundingClientRect();
        return now.x === x && now.y === y && !one.matches(':disabled');
      }, { [ELEMENT]: element });
      if (!isReady) {
        return false;
      }
      await this.send('POST', `/element/${element}/click`);
      return true;
    });
  }

  /** Presses on something for some milliseconds. */
  async hold(selector, duration, pointerType = 'touch') {
    const origin = { [ELEMENT]: await this.find(selector) };
    await this.devtools('Emulation.setTouchEmulationEnabled', { enabled: pointerType === 'touch' });
    await this.act(pointerType, 'pointer', [
      { type: 'pointerMove', origin, x: 0, y: 0 }, { type: 'pointerDown', button: 0 },
      { type: 'pause', duration }, { type: 'pointerUp', button: 0 },
    ], { pointerType });
  }

  /** What one device does: the keys, a mouse or a finger. */
  act(id, type, actions, parameters) {
    return this.send('POST', '/actions', { actions: [{ id, type, parameters, actions }] });
  }

  /** Chooses one of a select's values. */
  async pick(selector, value) {
    await this.find(selector);
    await this.run((one, wanted) => {
      const select = document.querySelector(one);
      select.value = wanted;
      select.dispatchEvent(new Event('change'));
    }, selector, value);
  }

  async type(selector, text) {
    const id = await this.find(selector);
    await this.send('POST', `/element/${id}/clear`).catch(() => {});
    await this.send('POST', `/element/${id}/value`, { text });
  }

  /** Presses keys, one after the other, each with a key held. */
  press(letters, held = '') {
    const around = (type) => held ? [{ type, value: held }] : [];
    const strokes = [...letters].flatMap((value) =>
      [{ type: 'keyDown', value }, { type: 'keyUp', value }]);
    return this.act('keys', 'key', [...around('keyDown'), ...strokes, ...around('keyUp')]);
  }

  async drag(from, to) {
    const at = async (selector) => ({ [ELEMENT]: await this.find(selector) });
    const move = (origin, x, y) => ({ type: 'pointerMove', duration: 80, origin, x, y });
    const [start, end] = [await at(from), await at(to)];
    return this.act('mouse', 'pointer', [
      move(start, 0, 0), { type: 'pointerDown', button: 0 }, move(start, 0, 12),
      move(end, 0, 12), move(end, 0, 14), { type: 'pointerUp', button: 0 },
    ], { pointerType: 'mouse' });
  }

  text(selector) {
    return this.run((one) => document.querySelector(one)?.textContent ?? '', selector);
  }

  /** The log since the last call: of the `browser` or its `performance`. */
  log(type) {
    return this.send('POST', '/se/log', { type });
  }
}
