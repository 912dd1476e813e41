// Chromium without a window, on a page of its own.
import { mkdtempSync, rmSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

const require = createRequire(join(process.env.MERLO64F_NPM, 'package.json'));
const puppeteer = require('puppeteer-core');

export async function launch() {
  const profile = mkdtempSync(join(tmpdir(), 'chromium-'));
  const browser = await puppeteer.launch({
    executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
    userDataDir: profile,
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
      '--disable-background-networking', '--disable-component-update', '--disable-sync',
      '--autoplay-policy=no-user-gesture-required', '--mute-audio'],
  });
  return {
    newPage: () => browser.newPage(),
    close: async () => {
      await browser.close();
      rmSync(profile, { recursive: true, force: true });
    },
  };
}
