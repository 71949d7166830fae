// The panel, the real simulator, and a real client.

import assert from 'node:assert/strict';
import {readFileSync} from 'node:fs';
import {after, before, test} from 'node:test';

import {kGroups} from '../../../simulator/panel/fault-catalog.js';
import {colouredPixels, kNoBrowser, launch, openPanel, screenshot, until} from '../support/page.js';
import {kNoPrograms, startMonitor, startSimulator} from '../support/programs.js';

const kClamp15 = '/ClampControl/clamps/1';
const kLost = (text) => /Failed to load resource|ERR_/.test(text);

let browser;
before(async () => {
    browser = kNoBrowser || kNoPrograms ? undefined : await launch();
});
after(() => browser?.close());

/** A test with a simulator, its panel, and a monitor that has found terminal 15. */
function panelTest(name, action, {options = [], isExpected} = {}) {
    test(name, {skip: kNoPrograms || kNoBrowser}, async () => {
        const simulator = await startSimulator(...options);
        const monitor = startMonitor(simulator.url);
        try {
            const motion = {reducedMotion: 'no-preference'};
            const {page, problems, close} = await openPanel(browser, simulator.url, {isExpected, ...motion});
            await monitor.sees('clamp15', false);
            await page.locator('.client').waitFor();
            await action({page, simulator, monitor});
            assert.deepEqual(problems, []);
            await close();
        } finally {
            await monitor.stop();
            await simulator.stop();
        }
    });
}

function pixels(page, colour, isEnough) {
    const end = Date.now() + 20000;
    const look = async () => {
        const count = await colouredPixels(page, colour, {left: 0.25});
        assert.ok(Date.now() < end, `${count} pixels have the colour ${colour}`);
        return isEnough(count) ? count : look();
    };
    return look();
}

async function closeUp(page) {
    for (let count = 0; count < 5; ++count) {
        await page.locator('#timeline-in').click();
    }
}

panelTest('a click on the switch arrives at the client, and raises the waveform', async ({page, monitor}) => {
    await closeUp(page);
    const before = await colouredPixels(page, 'on', {left: 0.25});
    await page.locator('#terminal15').click();
    await monitor.sees('clamp15', true);
    await page.locator('#terminal15[data-state="on"]').waitFor();
    await pixels(page, 'on', (count) => count > before + 50);
    await page.locator('#terminal15').click();
    await monitor.sees('clamp15', false);
    await page.locator('#terminal15[data-state="off"]').waitFor();
});

panelTest('the client is listed with its subscription, and its bar ends with it', async ({page, monitor}) => {
    await closeUp(page);
    assert.match(await page.locator('.client').innerText(), /clamp-monitor/);
    await page.locator('.subscriptions').getByText(kClamp15).waitFor();
    await pixels(page, 'connection', (count) => count > 300);
    await monitor.stop('SIGKILL');
    await page.locator('.client').waitFor({state: 'detached'});
    await page.locator('.entry').filter({hasText: /clamp-monitor.* has disconnected/}).waitFor();
    await page.locator('#timeline-table > summary').click();
    const row = page.locator('#timeline-tables tr').filter({hasText: /^clamp-monitor/}).first();
    assert.doesNotMatch(await row.innerText(), /lasts/);
});

panelTest('reset connections: the client loses the state and finds it again', async ({page, monitor}) => {
    await page.getByRole('button', {name: 'Reset connections'}).click();
    await monitor.sees('unknown');
    await monitor.sees('clamp15', false);
    await page.locator('.entry').filter({hasText: 'has disconnected'}).waitFor();
    await page.locator('.client').waitFor();
});

panelTest('service away: the client is told, and follows again when it is back', async ({page, monitor}) => {
    const choice = page.locator('.away[data-service="ClampControl"]');
    await choice.getByLabel('unavailable', {exact: true}).check();
    await monitor.sees('unknown');
    await page.locator('.active-fault').filter({hasText: 'ClampControl is unavailable'}).waitFor();
    await page.getByRole('button', {name: 'End all'}).click();
    await page.locator('.active-fault').waitFor({state: 'detached'});
    await monitor.sees('clamp15', false);
});

for (const kind of ['restart', 'refuseConnections']) {
    panelTest(`the client survives the step ${kind}, and the panel stays connected`, async ({page, monitor}) => {
        const form = page.locator(`form[data-kind="${kind}"]`);
        await form.getByLabel('Milliseconds').fill('300');
        await form.getByRole('button').click();
        await monitor.sees('unknown');
        await page.locator('.entry').filter({hasText: `Fault "${kind}" has ended`}).waitFor();
        await monitor.sees('clamp15', false);
        await page.locator('#page-state[data-state="connected"]').waitFor();
        await page.locator('#terminal15[data-state="off"]').waitFor();
        await page.locator('.client').waitFor();
        await page.getByText('Nothing is wrong with the bus.').waitFor();
    }, {isExpected: kLost});
}

panelTest('what was done can be downloaded as a scenario', async ({page, monitor}) => {
    await page.locator('#terminal15').click();
    await monitor.sees('clamp15', true);
    const downloading = page.waitForEvent('download');
    await page.getByRole('link', {name: 'Download scenario'}).click();
    const steps = JSON.parse(readFileSync(await (await downloading).path(), 'utf8'));
    const {path, data} = steps.find(({set}) => set).set;
    assert.deepEqual([path, data], [kClamp15, {isSwitchedOn: true}]);
});

panelTest('the simulator accepts every step as the panel offers it', async ({page}) => {
    const steps = kGroups.flatMap((group) => group.steps).filter(({cutsOff}) => !cutsOff);
    for (const {kind} of steps) {
        const form = page.locator(`form[data-kind="${kind}"]`);
        await form.locator('button[type="submit"]').click();
        await form.locator('button[aria-busy]').waitFor({state: 'detached'});
        assert.equal(await form.locator('.error').innerText(), '', kind);
    }
    await page.locator('.active-fault').first().waitFor();
    await page.getByRole('button', {name: 'End all'}).click();
    await page.getByText('Nothing is wrong with the bus.').waitFor();
});

panelTest('what the model does not allow is refused in words', async ({page}) => {
    const form = page.locator('form[data-kind="set"]');
    await form.getByLabel('Data').fill('{"type": "NoSuchLiteral"}');
    await form.getByRole('button').click();
    await until(page, () => document.querySelector('form[data-kind="set"] .error').textContent !== '');
    assert.match(await form.locator('.error').innerText(), /NoSuchLiteral/);
    await form.getByLabel('Unchecked').check();
    await form.getByRole('button').click();
    await page.locator(`.element[data-path="${kClamp15}"]`).getByText('unknown literal', {exact: true}).waitFor();
}, {isExpected: kLost});

panelTest('an element is removed and brought back', async ({page, monitor}) => {
    await page.getByRole('button', {name: `Remove ${kClamp15}`}).click();
    await monitor.sees('unknown');
    await page.getByRole('button', {name: `Undo: bring ${kClamp15} back`}).click();
    await monitor.sees('clamp15', false);
    await page.locator('#terminal15[data-state="off"]').waitFor();
});

panelTest('below a base path everything works, too', async ({page, monitor, simulator}) => {
    assert.ok(simulator.url.endsWith('/zeb/'));
    await page.locator('#terminal15').click();
    await monitor.sees('clamp15', true);
    await screenshot(page, 'real-light');
}, {options: ['--base-path', '/zeb/']});
