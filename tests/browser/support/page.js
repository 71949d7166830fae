// A browser with the panel.

import assert from 'node:assert/strict';
import {existsSync, mkdirSync} from 'node:fs';
import {after, before, test} from 'node:test';

import {chromium} from 'playwright-core';

import {MockBus} from './mock-bus.js';

const kChromium = process.env.CHROMIUM || '/usr/bin/chromium';

/** Whether there is a browser; otherwise why not. */
export const kNoBrowser = existsSync(kChromium) ? false : `there is no ${kChromium}; CHROMIUM names another`;

export function launch() {
    return chromium.launch({executablePath: kChromium, args: ['--no-sandbox', '--disable-dev-shm-usage']});
}

/**
 * Opens the panel of a bus. `problems` collects what the browser complains about: errors of scripts, what the policy
 * forbids, files that are missing. What `isExpected` accepts is left out.
 */
export async function openPanel(browser, url, {isExpected = () => false, ...options} = {}) {
    const usual = {viewport: {width: 1360, height: 900}, reducedMotion: 'reduce'};
    const context = await browser.newContext({...usual, ...options});
    const page = await context.newPage();
    const problems = [];
    page.on('pageerror', (error) => problems.push(error.message));
    page.on('console', (message) => {
        // The tests read the canvas, so the browser advises how to make that faster.
        const isAdvice = message.text().startsWith('Canvas2D: Multiple readback');
        if (['error', 'warning'].includes(message.type()) && !isAdvice && !isExpected(message.text())) {
            problems.push(message.text());
        }
    });
    await page.goto(url);
    await page.locator('#page-state[data-state="connected"]').waitFor();
    return {page, problems, close: () => context.close()};
}

/** Waits until `condition` is true in the page. */
export async function until(page, condition, argument) {
    await page.waitForFunction(condition, argument, {timeout: 10000});
}

/** How many pixels of the timeline, between two places (in parts of its width), have this colour of the style sheet. */
export function colouredPixels(page, colour, {left = 0, right = 1} = {}) {
    return page.evaluate(([name, from, to]) => {
        const canvas = document.getElementById('timeline-canvas');
        const context = canvas.getContext('2d');
        const probe = document.createElement('canvas').getContext('2d');
        probe.fillStyle = getComputedStyle(canvas).getPropertyValue(`--${name}`);
        probe.fillRect(0, 0, 1, 1);
        const wanted = probe.getImageData(0, 0, 1, 1).data;
        const x = Math.floor(canvas.width * from);
        const {data} = context.getImageData(x, 0, Math.max(1, Math.floor(canvas.width * to) - x), canvas.height);
        let count = 0;
        for (let at = 0; at < data.length; at += 4) {
            const isNear = [0, 1, 2].every((part) => Math.abs(data[at + part] - wanted[part]) < 24);
            count += isNear && data[at + 3] > 150 ? 1 : 0;
        }
        return count;
    }, [colour, left, right]);
}

/** Stores pictures of the first screen and of the whole page, if the environment asks for pictures. */
export async function screenshot(page, name) {
    const directory = process.env.SCREENSHOTS;
    if (directory) {
        mkdirSync(directory, {recursive: true});
        await page.screenshot({path: `${directory}/${name}.png`});
        await page.screenshot({path: `${directory}/${name}-whole.png`, fullPage: true});
    }
}

/**
 * For the tests of a file: a browser, and for each test a bus and its panel, which are closed behind the test.
 * A test fails if the browser has complained.
 */
export function panelTests() {
    let browser;
    before(async () => {
        browser = kNoBrowser ? undefined : await launch();
    });
    after(() => browser?.close());
    return (name, action, {bus: busOptions, page: pageOptions} = {}) => test(name, {skip: kNoBrowser}, async (t) => {
        const bus = await new MockBus(busOptions).start();
        try {
            const panel = await openPanel(browser, bus.url, pageOptions);
            await action({bus, ...panel, t, browser});
            assert.deepEqual(panel.problems, []);
            await panel.close();
        } finally {
            await bus.stop();
        }
    });
}
