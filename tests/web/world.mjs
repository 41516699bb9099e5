// A collector, applications that report to it, and a browser that looks at its inspector.
import {spawn} from 'node:child_process';
import {once} from 'node:events';
import {createRequire} from 'node:module';
import {createServer} from 'node:http';
import {mkdtemp, readdir, readFile, rm} from 'node:fs/promises';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {createInterface} from 'node:readline';
import {chromium} from 'playwright-core';

const axe = readFile(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
const bin = process.env.QUARNEL_BIN;
export const devKey = 'web-test-key';

async function startCollector(folder) {
  const collector = spawn(join(bin, 'quarnel-collector'),
    ['--port', '0', '--dev-key', devKey, '--state', join(folder, 'collector'), '--jsonl'],
    {stdio: ['ignore', 'pipe', 'inherit']});
  const lines = createInterface({input: collector.stdout});
  const [first] = await once(lines, 'line');
  const {listening, ca, inspector, token} = JSON.parse(first);
  return {process: collector, port: listening, ca, address: inspector, token};
}

export async function makeWorld() {
  const folder = await mkdtemp(join(tmpdir(), 'quarnel-web-'));
  const collector = await startCollector(folder);
  const browser = await chromium.launch({executablePath: '/usr/bin/chromium', args: ['--no-sandbox', '--host-resolver-rules=MAP *.example 127.0.0.1']});
  return {
    address: collector.address.split('#')[0],
    token: collector.token,

    async openPage() {
      const page = await browser.newPage();
      await page.goto(collector.address);
      await page.locator('.status.live').waitFor();
      return page;
    },

    async openHostilePage() {
      const site = createServer((request, response) => response.end('<!doctype html><title>evil</title>'));
      await once(site.listen(0, '127.0.0.1'), 'listening');
      const hostile = await browser.newPage();
      hostile.once('close', () => site.close());
      await hostile.goto(`http://evil.example:${site.address().port}/`);
      return hostile;
    },

    // Runs an application to its end; the name tells its installation from others.
    // Options may come first: another key or application ID.
    async report(name, ...commands) {
      const options = Array.isArray(commands[0]) ? {} : commands.shift();
      const host = spawn(join(bin, 'quarnel-host'),
        ['--state', join(folder, name), '--dev-key', options.key ?? devKey, '--app-id', options.app ?? '123456789',
          '--collector', `localhost:${collector.port}`, '--ca', collector.ca], {stdio: ['pipe', 'ignore', 'ignore']});
      host.stdin.end(commands.map((command) => `${JSON.stringify(command)}\n`).join(''));
      const [code] = await once(host, 'exit');
      if (code !== 0) throw new Error(`quarnel-host ended with ${code}`);
    },

    cachedFiles: async (name) => (await readdir(join(folder, name, 'Caches', 'QuarnelCache')).catch(() => [])).length,

    // What axe-core objects to. Its code runs beside the page, whose policy would not let it in.
    async accessibilityViolations(page) {
      const session = await page.context().newCDPSession(page);
      await session.send('Runtime.evaluate', {expression: await axe});
      const {violations} = await page.evaluate(() => globalThis.axe.run());
      await session.detach();
      return violations.map(({id, nodes}) => `${id}: ${nodes.map((node) => node.html.slice(0, 120)).join(' | ')}`);
    },

    async end() {
      await browser.close();
      collector.process.kill('SIGTERM');
      await once(collector.process, 'exit');
      await rm(folder, {recursive: true});
    },
  };
}
