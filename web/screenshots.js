// Pictures of the page for the documents: node screenshots.js FOLDER.
import path from 'node:path';
import { fileURLToPath } from 'node:url';

import { chromium } from 'playwright-core';

const [folder] = process.argv.slice(2);
const pageFile = new URL('dist/index.html', import.meta.url);
const sample = fileURLToPath(new URL('../samples/multiplex.ts', import.meta.url));
const browser = await chromium.launch({
  executablePath: process.env.ZELK_CHROMIUM ?? '/usr/bin/chromium',
  args: process.getuid?.() === 0 ? ['--no-sandbox'] : [],
});

async function picture(name, options, prepare) {
  const page = await browser.newPage({ viewport: { width: 900, height: 640 }, reducedMotion: 'reduce', ...options });
  await page.goto(pageFile.href);
  await page.waitForSelector('[data-ready]');
  await prepare(page);
  await page.screenshot({ path: path.join(folder, `${name}.png`) });
  await page.close();
}

const scrollTo = (page, place) => page.$eval(place, (element) => element.scrollIntoView({ block: 'start' }));

await picture('string', {}, async (page) => {
  await page.click('#sample');
  await page.focus('.bytes button');
  await page.keyboard.press('End');
  await page.keyboard.press('ArrowLeft');
  await page.$eval('#result', (element) => element.scrollIntoView({ block: 'start' }));
});
await picture('stream', {}, async (page) => {
  await page.setInputFiles('#file', sample);
  await page.waitForSelector('#schedule');
  await scrollTo(page, '#services-card');
});
await picture('schedule', { colorScheme: 'dark' }, async (page) => {
  await page.setInputFiles('#file', sample);
  await page.waitForSelector('#schedule');
  await scrollTo(page, 'section:has(#schedule)');
});
await browser.close();
