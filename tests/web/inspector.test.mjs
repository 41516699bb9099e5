import assert from 'node:assert/strict';
import {after, before, beforeEach, test} from 'node:test';
import {makeWorld} from './world.mjs';

let world;
let page;

before(async () => { world = await makeWorld(); });
after(() => world.end());
beforeEach(async () => {
  await page?.close();
  page = await world.openPage();
});

const event = (name, values = {}) => ['trackEvent:withValues:', name, values];
const rows = () => page.locator('#rows tr');
const row = (text) => page.locator('#rows tr', {hasText: text});
const field = (name) => page.locator('.fields tr', {has: page.locator(`th code:text-is("${name}")`)});

// Waits until the page shows what the function finds, and says what it showed instead.
async function eventually(expected, found) {
  const deadline = Date.now() + 10000;
  for (;;) {
    const value = await found();
    if (JSON.stringify(value) === JSON.stringify(expected)) return;
    if (Date.now() > deadline) assert.deepEqual(value, expected);
    await page.evaluate(() => new Promise(requestAnimationFrame));
  }
}

test('what is reported appears live, opens by keyboard, and a filter narrows it', async () => {
  assert.equal(await rows().count(), 0);
  await world.report('living-room', ['set', 'customerUserID', 'viewer-42'], ['trackAppLaunch'], ['wait', 0.3],
    event('purchase', {qn_revenue: 9.99}));
  await eventually(['purchase', 'Launched'], () => page.locator('#rows td.event').allTextContents());
  assert.equal(await page.locator('.mark').count(), 0, 'a sound report has no problems');

  await page.locator('#rows tr[tabindex="0"]').focus();
  await page.keyboard.press('Enter');
  assert.equal(await field('appUID').locator('.text').textContent(), 'viewer-42');
  assert.equal(await field('eventvalue').locator('.text').textContent(), '{\n  "qn_revenue": 9.99\n}');
  assert.match(await field('date1').locator('.plain').textContent(), /^\w{3}, \d+ \w{3} \d{4}, \d\d:\d\d \(UTC/);
  assert.match(await field('iaecounter').locator('.meaning').textContent(), /event reports so far/);
  await page.keyboard.press('ArrowDown');
  await eventually('Launched', () => page.locator('#detail h2').textContent());
  await page.keyboard.press('Escape');
  assert.ok(await page.locator('#detail').isHidden());

  await page.locator('.chip', {hasText: 'launch'}).click();
  await eventually(['Launched'], () => page.locator('#rows td.event').allTextContents());
  await page.locator('.chip', {hasText: 'launch'}).click();
  await page.getByLabel('Search').fill('9.99');
  await eventually(['9.99'], () => page.locator('#rows mark').allTextContents());
  await page.reload();
  await eventually(['qn_revenue 9.99'], () => page.locator('#rows td.content').allTextContents());
  const [download] = await Promise.all([page.waitForEvent('download'), page.locator('#export').click()]);
  const lines = (await (await download.createReadStream()).toArray()).join('').trim().split('\n');
  assert.deepEqual(lines.map((line) => JSON.parse(line).event), ['purchase']);
});

test('a dropped connection sends the report to the cache, from which it comes back', async () => {
  await page.getByRole('button', {name: 'Simulate faults'}).click();
  await page.getByLabel('Drop the connection of event').check();
  await page.getByRole('button', {name: 'Close'}).click();
  await page.getByText('Simulated faults: event: connection dropped').waitFor();
  await world.report('bedroom', event('lost-and-found'));
  await eventually(['dropped'], () => row('lost-and-found').locator('.status-code').allTextContents());
  assert.equal(await world.cachedFiles('bedroom'), 1);

  await page.getByRole('button', {name: 'Back to normal'}).click();
  await page.locator('#banner').waitFor({state: 'hidden'});
  await world.report('bedroom', event('after'));
  await row('replayed').first().waitFor();
  await eventually(['200', 'dropped'], () => row('lost-and-found').locator('.status-code').allTextContents());
  assert.match(await row('lost-and-found').first().locator('.delivery').textContent(), /^replayed, after \d/);
  assert.equal(await world.cachedFiles('bedroom'), 0);
});

// Three mistakes of an integration, each of them named where the page is looked at first.
test('the checklist names a wrong key, an app ID with letters and lost values, and turns green', async () => {
  const verdict = (title) => page.locator('.verdict', {hasText: title});
  const states = (...titles) => Promise.all(titles.map(async (title) =>
    (await verdict(title).getAttribute('class').catch(() => '')).split(' ').at(-1)));
  const titles = ['developer key', 'app ID', 'Event values', 'Counters'];
  await page.getByRole('button', {name: 'Checklist'}).click();
  await world.report('mistaken', {key: 'other-key', app: '12ab'}, event('when', {at: {$date: 1457186820}}));
  await page.getByText('Wrong developer key.').waitFor();
  await world.report('mistaken', {app: '12ab'}, event('when', {at: {$date: 1457186820}}));
  await eventually(['good', 'bad', 'bad', 'good'], () => states(...titles));
  assert.match(await verdict('Event values').textContent(), /"when" came without values.*JSON has no form/);
  assert.ok(await page.locator('#key-banner').isHidden());
  await world.report('mistaken', ['trackAppLaunch'], ['wait', 0.3], event('when', {at: '2016'}));
  await eventually(['good', 'good', 'good', 'good'], () => states(...titles));
  await verdict('Event values').getByRole('button').click();
  await eventually('when', () => page.locator('#detail h2').textContent());
  await page.getByRole('button', {name: 'What changed'}).click();
  const changed = page.locator('.compared tr', {has: page.locator('code:text-is("eventvalue")')});
  await eventually(['', '{\n  "at": "2016"\n}'], () => changed.locator('td').allTextContents());
  await page.reload();
  await eventually(1, () => changed.count());
});

test('every view passes the accessibility rules, wide and narrow, light and dark', async () => {
  await world.report('accessible', ['trackAppLaunch'], ['wait', 0.3], event('purchase', {qn_revenue: 9.99}));
  await row('purchase').first().click();
  for (const [width, colorScheme] of [[1280, 'light'], [390, 'dark']]) {
    await page.setViewportSize({width, height: 844});
    await page.emulateMedia({colorScheme});
    for (const view of ['Requests', 'Checklist', 'Timeline', 'Connect']) {
      await page.getByRole('navigation', {name: 'Views'}).getByRole('button', {name: view}).click();
      const violations = await world.accessibilityViolations(page);
      assert.deepEqual(violations, [], `${view} at ${width}, ${colorScheme}`);
      const overflow = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
      assert.ok(overflow <= 0, `${view} is ${overflow} pixels too wide at ${width}`);
    }
  }
  await page.getByRole('button', {name: 'Simulate faults'}).click();
  assert.deepEqual(await world.accessibilityViolations(page), []);
});

test('markup in every field stays text', async () => {
  const markup = '<script>document.title = "owned"</script><img src=x onerror="document.title = \'owned\'">';
  await world.report('attacker', ['set', 'customerUserID', markup], ['set', 'currencyCode', markup],
    ['setAdditionalData:', {[markup]: markup}], ['handleOpenURL:sourceApplication:withAnnotation:', 'a://b', markup, null],
    event(markup, {[markup]: markup}));
  await row('owned').click();
  await eventually(markup, () => field('appUID').locator('.text').textContent());
  assert.equal(await page.locator('#detail h2').textContent(), markup);
  await page.getByRole('combobox', {name: 'Event'}).fill(markup);
  await eventually(1, () => rows().count());
  assert.equal(await page.title(), 'Inspector');
  assert.equal(await page.locator('main script, main img').count(), 0);
});

// A page of another site: it sends what it can to the inspector, and reads what it can get.
test('a hostile page changes nothing and reads nothing', async () => {
  await world.report('victim', event('secret'));
  const before = await rows().count();
  const hostile = await world.openHostilePage();
  const port = new URL(world.address).port;
  for (const host of ['127.0.0.1', 'localhost', 'rebound.example']) {
    const target = `http://${host}:${port}/`;
    const hidden = ['DELETE /api/requests HTTP/1.1', `Host: 127.0.0.1:${port}`, `Origin: http://127.0.0.1:${port}`,
      'Content-Type: application/json', 'Content-Length: 0', '', ''].join('\r\n');
    const outcomes = await hostile.evaluate(async ({target, hidden}) => {
      const attempt = async (path, options) => {
        const answer = await fetch(target + path, options).catch(() => null);
        return answer?.type === 'opaque' || !answer ? 'nothing' : answer.text();
      };
      return [await attempt('', {mode: 'no-cors', method: 'POST', body: hidden}),
        await attempt('api/requests', {mode: 'no-cors', method: 'POST', body: hidden}),
        await attempt('api/requests', {method: 'DELETE'}),
        await attempt('api/controls', {method: 'PUT', body: '{"faults":{"event":{"drop":true}}}'}),
        await attempt('api/export'), await attempt('api/export', {mode: 'no-cors'})];
    }, {target, hidden});
    assert.deepEqual(outcomes, Array(6).fill('nothing'), host);
  }
  // Under a name of its own that points to this machine it is of the same origin.
  await hostile.goto(`http://rebound.example:${port}/`);
  assert.match(await hostile.locator('body').textContent(), /answers to its own address only/);
  await hostile.close();
  await page.reload();
  await page.locator('.status.live').waitFor();
  await eventually(before, () => rows().count());
  assert.ok(await page.locator('#banner').isHidden());
});
