// Opens zynecg HTML reports in the system's Chromium (through playwright-core,
// which never downloads a browser here) and checks what a reader does with
// them: the page draws without a console error, clicking an extra systole
// in the event list shows its time in the ECG strip view, the tachogram
// zooms. Saves screenshots of the overview, the strip and the HRV section.
//   node report.test.mjs --chromium PATH --screenshots DIR name=report.html ...
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { pathToFileURL } from 'node:url';
import { chromium } from 'playwright-core';

const args = process.argv.slice(2);
const option = (name) => { const i = args.indexOf(name); return i >= 0 ? args.splice(i, 2)[1] : null; };
const executablePath = option('--chromium') ?? '/usr/bin/chromium';
const screenshots = option('--screenshots') ?? '.';
const reports = args.map((a) => a.split('='));

let failures = 0;
function check(condition, message) {
  if (!condition) { failures++; console.error(`FAIL ${message}`); } else console.log(`ok   ${message}`);
}

async function checkReport(context, name, file) {
  const page = await context.newPage();
  await page.setViewportSize({ width: 1280, height: 900 });
  const errors = [];
  page.on('console', (m) => { if (m.type() === 'error') errors.push(m.text()); });
  page.on('pageerror', (e) => errors.push(String(e)));
  const started = Date.now();
  await page.goto(pathToFileURL(file).href, { waitUntil: 'load', timeout: 60000 });
  await page.waitForSelector('body[data-rendered="yes"]', { timeout: 60000 });
  const openSeconds = (Date.now() - started) / 1000;
  console.log(`     ${name}: opened and drawn in ${openSeconds.toFixed(2)} s`);
  check(openSeconds < 30, `${name}: the page opens (${openSeconds.toFixed(2)} s)`);
  await page.screenshot({ path: join(screenshots, `${name}-overview.png`) });

  // An extra systole from the middle of the list: the list creates its rows
  // only when they scroll into view.
  const extras = await page.evaluate(() => {
    document.querySelector('#event-filter button[data-filter="extra"]').click();
    const list = document.getElementById('event-list');
    const count = Number(document.querySelector('#event-filter button[data-filter="extra"]').textContent.match(/\((\d+)\)/)[1]);
    list.scrollTop = Math.floor(count / 2) * 22;
    list.dispatchEvent(new Event('scroll'));
    return count;
  });
  if (extras > 0) {
    const row = page.locator('#event-list .event-row[data-kind="extra"]').nth(2);
    const time = await row.locator('.time').textContent();
    const t = Number(await row.getAttribute('data-t'));
    await row.click();
    const cursor = await page.locator('#strip-cursor').textContent();
    check(cursor.includes(time), `${name}: the strip view shows the clicked extra systole's time ${time} (${cursor})`);
    const { start, end } = await page.locator('#strip').evaluate((c) => ({ start: Number(c.dataset.start), end: Number(c.dataset.end) }));
    check(start <= t && t <= end, `${name}: the strip covers ${t} s (${start} to ${end} s)`);
    await page.locator('#ecg').screenshot({ path: join(screenshots, `${name}-strip.png`) });
  } else {
    console.log(`     ${name}: no extra systoles to click`);
    await page.locator('#ecg').screenshot({ path: join(screenshots, `${name}-strip.png`) });
  }

  const span = async () => page.locator('#tachogram').evaluate((c) => Number(c.dataset.to) - Number(c.dataset.from));
  const whole = await span();
  await page.click('#tacho-zoom-in');
  await page.click('#tacho-zoom-in');
  const zoomed = await span();
  check(Math.abs(zoomed - whole / 4) < 1e-3 * whole || zoomed === 10, `${name}: the tachogram zooms from ${whole} s to ${zoomed} s`);
  await page.locator('#hrv').screenshot({ path: join(screenshots, `${name}-hrv.png`) });
  await page.click('#tacho-reset');
  check(errors.length === 0, `${name}: no console errors${errors.length ? ': ' + errors.join(' | ') : ''}`);
  await page.close();
}

const profile = mkdtempSync(join(tmpdir(), 'zynecg-report-'));
const context = await chromium.launchPersistentContext(profile, {
  executablePath,
  headless: true,
  args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
    '--disable-component-update', '--disable-sync'],
});
try {
  for (const [name, file] of reports) await checkReport(context, name, file);
} finally {
  await context.close();
  rmSync(profile, { recursive: true, force: true });
}
console.log(failures ? `${failures} check(s) failed` : 'all checks passed');
process.exit(failures ? 1 : 0);
