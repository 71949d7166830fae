// The timeline, against a bus in memory.

import assert from 'node:assert/strict';

import {colouredPixels, panelTests, until} from '../support/page.js';

const kClamp15 = '/ClampControl/clamps/1';
const panelTest = panelTests();

/** Waits until the timeline has more (or less) of a colour than a number of pixels. */
async function untilColoured(page, colour, isEnough, left = 0.25) {
    for (const end = Date.now() + 20000; ;) {
        const count = await colouredPixels(page, colour, {left});
        if (isEnough(count)) {
            return count;
        }
        assert.ok(Date.now() < end, `${count} pixels have the colour ${colour}`);
        await page.evaluate(() => new Promise((done) => requestAnimationFrame(done)));
    }
}

/** The place of the present on the timeline: the end of the bars of what lasts. */
function presentOf(page) {
    return page.evaluate(() => {
        const canvas = document.getElementById('timeline-canvas');
        const {data, width, height} = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height);
        const probe = document.createElement('canvas').getContext('2d');
        probe.fillStyle = getComputedStyle(canvas).getPropertyValue('--connection');
        probe.fillRect(0, 0, 1, 1);
        const wanted = probe.getImageData(0, 0, 1, 1).data;
        for (let x = width - 1; x > 0; --x) {
            for (let y = 0; y < height; ++y) {
                const at = 4 * (y * width + x);
                if ([0, 1, 2].every((part) => Math.abs(data[at + part] - wanted[part]) < 24) && data[at + 3] > 150) {
                    return x;
                }
            }
        }
        return 0;
    });
}

async function closeUp(page) {
    for (let count = 0; count < 6; ++count) {
        await page.locator('#timeline-in').click();
    }
}

/** Waits until the timeline says this of its window. It does so with the next picture. */
async function showsSpan(page, text) {
    await page.locator('#timeline-span').filter({hasText: text}).waitFor();
}

panelTest('the waveform rises when the clamp is switched on', async ({page}) => {
    await closeUp(page);
    const before = await colouredPixels(page, 'on', {left: 0.25});
    await page.locator('#terminal15').click();
    await untilColoured(page, 'on', (count) => count > before + 50);
});

panelTest('a connection has a bar that grows, and ends visibly', async ({page, bus}) => {
    await closeUp(page);
    assert.equal(await colouredPixels(page, 'connection', {left: 0.25, right: 0.9}), 0);
    const client = bus.connect('clamp-monitor/1');
    await page.locator('.client').waitFor();
    const first = await untilColoured(page, 'connection', (count) => count > 300);
    await untilColoured(page, 'connection', (count) => count > first + 300);
    bus.disconnect(client, 'reset');
    await page.locator('.client').waitFor({state: 'detached'});
    await page.locator('#timeline-table > summary').click();
    const row = page.locator('#timeline-tables tr').filter({hasText: 'clamp-monitor/1'});
    assert.match(await row.innerText(), /reset/);
});

panelTest('faults have bars, and failed requests have marks', async ({page, bus}) => {
    await closeUp(page);
    assert.equal(await colouredPixels(page, 'fault', {left: 0.25}), 0);
    bus.emit('request', {method: 'GET', path: '/nothing', status: 404, program: ''});
    const marked = await untilColoured(page, 'fault', (count) => count > 10);
    bus.beginFault('delay', '/', 'late');
    await untilColoured(page, 'fault', (count) => count > marked + 200);
});

panelTest('Pause holds the picture, and Follow now lets it go on', async ({page, bus}) => {
    await page.locator('#timeline-pause').click();
    assert.equal(await page.locator('#timeline-pause').getAttribute('aria-pressed'), 'true');
    await showsSpan(page, /^30 s, paused$/);
    bus.emit('request', {method: 'GET', path: '/a', status: 404, program: ''});
    await page.locator('.entry').waitFor();
    await page.getByRole('button', {name: 'Follow now'}).click();
    await showsSpan(page, /^30 s$/);
    assert.equal(await page.locator('#timeline-pause').getAttribute('aria-pressed'), 'false');
});

panelTest('buttons, keys and the wheel zoom', async ({page}) => {
    await showsSpan(page, /^30 s$/);
    await page.locator('#timeline-out').click();
    await showsSpan(page, /^48 s$/);
    const stage = page.locator('#timeline-stage');
    await stage.focus();
    await page.keyboard.press('+');
    await showsSpan(page, /^30 s$/);
    await stage.hover();
    await page.mouse.wheel(0, -600);
    await showsSpan(page, /^12 s/);
});

panelTest('the wheel scrolls the page as long as the timeline has no focus', async ({page}) => {
    await page.locator('#timeline-stage').hover();
    await page.mouse.wheel(0, 200);
    await until(page, () => scrollY > 0);
    await showsSpan(page, /^30 s$/);
});

panelTest('keys move a cursor that tells what was the case', async ({page, bus}) => {
    await page.locator('#terminal15').click();
    await page.locator('#terminal15[data-state="on"]').waitFor();
    bus.emit('request', {method: 'GET', path: '/after', status: 200, program: ''});
    await page.locator('.entry').filter({hasText: '/after'}).waitFor();
    const stage = page.locator('#timeline-stage');
    await stage.focus();
    await page.keyboard.press('End');
    assert.match(await stage.getAttribute('aria-valuetext'), /Clamp 15: on; Clamp S: on; Clamp 75 X: off/);
    for (let count = 0; count < 3; ++count) {
        await page.keyboard.press('Shift+ArrowLeft');
    }
    assert.match(await stage.getAttribute('aria-valuetext'), /^\d\d:\d\d:\d\d\.\d{3} · [\d.]+ s; Clamp 15: o/);
    await page.locator('#timeline-tooltip').waitFor();
    await page.keyboard.press('Escape');
    await page.locator('#timeline-tooltip').waitFor({state: 'hidden'});
    await page.keyboard.press('f');
    assert.equal(await page.locator('#timeline-pause').getAttribute('aria-pressed'), 'false');
});

panelTest('the pointer shows the values at a time, and drags the picture', async ({page, bus}) => {
    await closeUp(page);
    await page.locator('#terminal15').click();
    bus.connect('clamp-monitor/1');
    await untilColoured(page, 'connection', (count) => count > 3000);
    const box = await page.locator('#timeline-stage').boundingBox();
    await page.locator('#timeline-pause').click();
    // Just left of the present, which the bar of the connection has reached.
    await page.mouse.move(box.x + await presentOf(page) - 12, box.y + 40);
    await page.locator('#timeline-tooltip').getByText('Clamp 15: on').waitFor();
    await page.locator('#timeline-tooltip').getByText('clamp-monitor/1, ClampControl, 0 subscriptions').waitFor();
    const before = await colouredPixels(page, 'connection', {left: 0.25});
    await page.mouse.move(box.x + box.width * 0.4, box.y + 40);
    await page.mouse.down();
    await page.mouse.move(box.x + box.width * 0.95, box.y + 40, {steps: 4});
    await page.mouse.up();
    await untilColoured(page, 'connection', (count) => count < before);
});

panelTest('without a connection, the timeline claims nothing', async ({page, bus}) => {
    await page.locator('#terminal15').click();
    await page.locator('#terminal15[data-state="on"]').waitFor();
    await bus.stop();
    await page.locator('#page-state[data-state="lost"]').waitFor();
    const stage = page.locator('#timeline-stage');
    await stage.focus();
    await page.keyboard.press('End');
    assert.match(await stage.getAttribute('aria-valuetext'), /not recorded/);
    await bus.start();
    await page.locator('#page-state[data-state="connected"]').waitFor();
    await page.keyboard.press('End');
    assert.match(await stage.getAttribute('aria-valuetext'), /Clamp 15: on/);
}, {page: {isExpected: (text) => /Failed to load resource|ERR_/.test(text)}});

panelTest('the same facts are there as tables', async ({page, bus}) => {
    await page.locator('#terminal15').click();
    bus.subscribe(bus.connect('clamp-monitor/1'), kClamp15);
    bus.beginFault('delay', '/', 'answers after 500 ms');
    bus.emit('violation', {client: 1, text: 'sent a binary message'});
    await page.locator('.entry').filter({hasText: 'binary'}).waitFor();
    await page.locator('#timeline-table > summary').click();
    await page.locator('#timeline-tables').getByText('Violations and steps').waitFor();
    const text = await page.locator('#timeline-tables').innerText();
    for (const fact of [/Clamp 15\s+on/, /clamp-monitor\/1\s+ClampControl/, /delay\s+answers after 500 ms/,
        /sent a binary message/, /\/ClampControl\/clamps\/1\s+clamp-monitor\/1/]) {
        assert.match(text, fact);
    }
    bus.emit('violation', {client: 1, text: 'sent it again'});
    await page.locator('.entry').filter({hasText: 'again'}).waitFor();
    await page.getByRole('button', {name: 'Bring up to date'}).click();
    assert.match(await page.locator('#timeline-tables').innerText(), /sent it again/);
});
