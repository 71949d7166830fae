// Pictures of the panel in use, if the environment variable SCREENSHOTS names a directory.

import {panelTests, screenshot} from '../support/page.js';

const kClamp15 = '/ClampControl/clamps/1';
const kPictures = {
    light: {colorScheme: 'light'},
    dark: {colorScheme: 'dark'},
    narrow: {colorScheme: 'light', viewport: {width: 360, height: 740}},
    'narrow-dark': {colorScheme: 'dark', viewport: {width: 360, height: 740}},
    'forced-colors': {forcedColors: 'active'},
};
const panelTest = panelTests();

/** What may happen in a minute. The page takes the times of the events for the present. */
function story(bus) {
    const at = (t, name, event) => bus.emit(name, {...event}, t);
    const set = (t, path, isSwitchedOn) => {
        bus.find(path).element.isSwitchedOn = isSwitchedOn;
        at(t, 'element', {path, data: {isSwitchedOn}});
    };
    const connect = (t, client, program, service = 'ClampControl') => {
        const one = {client, service, address: `127.0.0.1:${41000 + client}`, program, since: t, subscriptions: []};
        bus.clients.set(client, one);
        at(t, 'connected', one);
        at(t + 4, 'request', {method: 'GET', path: `/${service}`, status: 200, program});
    };
    connect(2000, 1, 'clamp-monitor/4711');
    at(2100, 'subscribed', {client: 1, subscription: '1', path: kClamp15});
    connect(6000, 2, 'dashboard/815');
    at(6100, 'subscribed', {client: 2, subscription: '2', path: '/ClampControl/clamps'});
    at(6200, 'subscribed', {client: 2, subscription: '3', path: '/ClampControl/notifications/1'});
    set(9000, kClamp15, true);
    set(9400, '/ClampControl/clamps/3', true);
    for (let t = 15000; t < 21000; t += 450) {
        set(t, kClamp15, Math.round(t / 450) % 2 === 0);
    }
    set(21500, kClamp15, false);
    at(24000, 'fault', {fault: 1, kind: 'delay', path: '/ClampControl', text: 'answers /ClampControl after 500 ms'});
    for (let t = 24500; t < 33000; t += 700) {
        at(t, 'request', {method: 'GET', path: kClamp15, status: t > 29000 ? 503 : 200, program: 'dashboard/815'});
    }
    at(29000, 'service', {name: 'Immobilizer', present: true, available: false});
    at(34000, 'cleared', {fault: 1, kind: 'delay'});
    at(35000, 'step', {kind: 'drop', text: 'drops the WebSockets of ClampControl', source: 'control'});
    at(35010, 'disconnected', {client: 1, reason: 'reset'});
    at(35010, 'disconnected', {client: 2, reason: 'reset'});
    connect(36100, 3, 'clamp-monitor/4711');
    at(36200, 'subscribed', {client: 3, subscription: '4', path: kClamp15});
    at(41000, 'violation', {client: 3, program: 'clamp-monitor/4711', text: 'has sent a binary message'});
    set(44000, kClamp15, true);
    at(47000, 'fault', {fault: 2, kind: 'twice', text: 'sends every message twice'});
    at(55000, 'request', {method: 'GET', path: kClamp15, status: 200, program: 'dashboard/815'});
}

for (const [name, options] of Object.entries(kPictures)) {
    panelTest(`the panel in use, ${name}`, async ({page, bus}) => {
        story(bus);
        await page.locator('.active-fault').filter({hasText: 'twice'}).waitFor();
        await page.locator('#terminal15[data-state="on"]').waitFor();
        await page.locator('#timeline-out').click();
        await page.mouse.move(0, 0);
        await screenshot(page, name);
    }, {page: options});
}

panelTest('the panel under the pointer', async ({page, bus}) => {
    story(bus);
    await page.locator('#terminal15[data-state="on"]').waitFor();
    await page.locator('#timeline-pause').click();
    await page.locator('#timeline-stage').hover({position: {x: 400, y: 90}});
    await page.locator('#timeline-tooltip').getByText('delay').waitFor();
    await screenshot(page, 'hover');
});

panelTest('the panel without a simulator', async ({page, bus}) => {
    await bus.stop();
    await page.locator('#page-state[data-state="lost"]').waitFor();
    await screenshot(page, 'lost');
    await bus.start();
}, {page: {isExpected: (text) => /Failed to load resource|ERR_/.test(text)}});
