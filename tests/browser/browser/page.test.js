// The page as a whole: where it is served, its own connection, and whether everybody can use it.

import assert from 'node:assert/strict';
import {once} from 'node:events';

import {MockBus} from '../support/mock-bus.js';
import {openPanel, panelTests, until} from '../support/page.js';

const panelTest = panelTests();
const kLost = {isExpected: (text) => /Failed to load resource|ERR_|EventSource/.test(text)};

panelTest('the page needs nothing from elsewhere', async ({page, bus}) => {
    const foreign = [];
    page.on('request', (request) => {
        if (!request.url().startsWith(bus.url)) {
            foreign.push(request.url());
        }
    });
    await page.reload();
    await page.locator('#page-state[data-state="connected"]').waitFor();
    assert.deepEqual(foreign, []);
    assert.ok(!bus.requests.includes('/favicon.ico'));
});

panelTest('the page works below a base path, and at the root, too', async ({page, bus, browser}) => {
    assert.ok(page.url().endsWith('/zeb/vehicle/'));
    const {page: atRoot, close} = await openPanel(browser, new URL('/', bus.url).href);
    await atRoot.getByRole('switch', {name: 'Terminal 15', exact: true}).click();
    await page.locator('#terminal15[data-state="on"]').waitFor();
    assert.equal(await page.getByRole('link', {name: 'Download scenario'}).getAttribute('href'),
        '/zeb/vehicle/_sim/scenario');
    await close();
}, {bus: {basePath: '/zeb/vehicle/'}});

panelTest('the scenario is a download', async ({page}) => {
    await page.locator('#terminal15').click();
    await page.locator('#terminal15[data-state="on"]').waitFor();
    const downloading = page.waitForEvent('download');
    await page.getByRole('link', {name: 'Download scenario'}).click();
    assert.equal((await downloading).suggestedFilename(), 'scenario.json');
});

panelTest('a simulator that ends is told, and nothing is claimed until it is back', async ({page, bus}) => {
    const client = bus.connect('clamp-monitor/1');
    await page.locator('.client').waitFor();
    await bus.stop();
    await page.getByText('The simulator does not answer; trying again').first().waitFor();
    await page.locator('#terminal15[data-state="unknown"]').waitFor();
    assert.ok(await page.locator('#lost').isVisible());
    bus.clients.delete(client);
    bus.find('/ClampControl/clamps/1').element.isSwitchedOn = true;
    await bus.start();
    await page.locator('#page-state[data-state="connected"]').waitFor();
    await page.locator('#terminal15[data-state="on"]').waitFor();
    await page.locator('.client').waitFor({state: 'detached'});
    assert.ok(!await page.locator('#lost').isVisible());
}, {page: kLost});

panelTest('an answer that is no stream does not end the attempts', async ({page, bus}) => {
    const serve = bus._serve;
    bus._serve = (request, response) => {
        response.writeHead(503);
        response.end();
    };
    const asked = once(bus.server, 'request');
    bus.server.closeAllConnections();
    await page.locator('#page-state[data-state="lost"]').waitFor();
    await asked;
    bus._serve = serve;
    await page.locator('#page-state[data-state="connected"]').waitFor();
}, {page: kLost});

panelTest('another run of the simulator begins a new history', async ({page, bus}) => {
    bus.emit('request', {method: 'GET', path: '/of/the/first/run', status: 200, program: ''});
    await page.getByText('GET /of/the/first/run: 200').waitFor();
    await bus.stop();
    const other = new MockBus();
    other.port = bus.port;
    other.begin -= 3600000;
    await other.start();
    await page.locator('#page-state[data-state="connected"]').waitFor();
    await page.getByText('Nothing has happened since this page was opened.').waitFor();
    await other.stop();
    await bus.start();
}, {page: kLost});

panelTest('names from outside are texts, and nothing else', async ({page, bus}) => {
    const name = '<img src=x onerror="document.title=1"><b>bold</b>';
    bus.emit('element', {path: '/ClampControl/clamps/66', data: {name, type: name, isSwitchedOn: true}});
    bus.connect(name);
    bus.emit('violation', {client: 1, text: name});
    await page.locator('.element[data-path="/ClampControl/clamps/66"] h5').getByText(name).waitFor();
    await page.locator('.client strong').getByText(name).waitFor();
    await page.locator('.entry').nth(2).waitFor();
    assert.equal(await page.locator('main img, main b').count(), 0);
});

panelTest('a flood of events leaves the page alive and bounded', async ({page, bus, t}) => {
    const clamp = '/ClampControl/clamps/1';
    for (let number = 0; number < 12000; ++number) {
        bus.emit('request', {method: 'GET', path: '/ClampControl', status: 200, program: 'flood'});
        bus.emit('element', {path: clamp, data: {isSwitchedOn: number % 2 === 0}});
    }
    await until(page, () => document.getElementById('log-counts').textContent.startsWith('12000 requests'));
    assert.ok(await page.locator('.entry').count() <= 500);
    const frames = await page.evaluate(async () => {
        const begin = performance.now();
        for (let frame = 0; frame < 30; ++frame) {
            document.getElementById('timeline-in').click();
            document.getElementById('timeline-out').click();
            await new Promise((done) => requestAnimationFrame(done));
        }
        return (performance.now() - begin) / 30;
    });
    t.diagnostic(`one picture with 24,000 events takes ${frames.toFixed(1)} ms`);
    await page.locator('#terminal15').click();
    await page.locator('#terminal15[data-state="on"]').waitFor();
});

for (const colorScheme of ['light', 'dark']) {
    panelTest(`texts have enough contrast, ${colorScheme}`, async ({page}) => {
        const ratios = await page.evaluate(() => {
            const style = getComputedStyle(document.documentElement);
            const luminance = (name) => {
                const hex = style.getPropertyValue(`--${name}`).trim();
                const [red, green, blue] = [1, 3, 5].map((at) => parseInt(hex.slice(at, at + 2), 16) / 255)
                    .map((part) => (part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4));
                return 0.2126 * red + 0.7152 * green + 0.0722 * blue;
            };
            const ratio = ([one, other]) => {
                const [dark, light] = [luminance(one), luminance(other)].sort((a, b) => a - b);
                return (light + 0.05) / (dark + 0.05);
            };
            const backs = ['page', 'surface', 'raised'];
            const texts = ['ink', 'muted', 'accent', 'on', 'off', 'fault', 'violation'];
            const pairs = [...texts.flatMap((text) => backs.map((back) => [text, back])), ['on', 'on-soft'],
                ['fault', 'fault-soft'], ['ink', 'fault-soft'], ['muted', 'fault-soft'], ['on-accent', 'accent']];
            const shapes = ['border', 'connection', 'subscription', 'request'].map((shape) => [shape, 'surface']);
            return [...pairs.map((pair) => [pair.join(' on '), ratio(pair), 4.5]),
                ...shapes.map((pair) => [pair.join(' on '), ratio(pair), 3])];
        });
        assert.deepEqual(ratios.filter(([, ratio, least]) => !(ratio >= least)), []);
    }, {page: {colorScheme}});
}

panelTest('each control has a name for those who hear the page', async ({page, bus}) => {
    bus.beginFault('delay', '/', 'late');
    await page.locator('.active-fault').waitFor();
    await page.evaluate(() => document.querySelectorAll('details').forEach((node) => {
        node.open = true;
    }));
    const nameless = await page.evaluate(() => [...document.querySelectorAll('button, input, select, textarea, a')]
        .filter((node) => !(node.labels?.[0]?.textContent || node.ariaLabel || node.textContent.trim() ||
            node.getAttribute('aria-labelledby'))).map((node) => node.outerHTML));
    assert.deepEqual(nameless, []);
    const ids = await page.evaluate(() => [...document.querySelectorAll('[id]')].map(({id}) => id));
    assert.equal(new Set(ids).size, ids.length);
});

for (const width of [360, 768, 1024]) {
    panelTest(`nothing is wider than a page of ${width} pixels`, async ({page, bus}) => {
        bus.beginFault('contentType', '/ClampControl/clamps/1', 'the right answer, announced as text/html');
        bus.subscribe(bus.connect('a-program-with-a-rather-long-name/123456'), '/ClampControl/clamps/1');
        await page.locator('.subscriptions li').waitFor();
        await page.evaluate(() => document.querySelectorAll('details').forEach((node) => {
            node.open = true;
        }));
        const wide = await page.evaluate(() => [...document.querySelectorAll('body *')]
            .filter((node) => node.getBoundingClientRect().right > innerWidth + 1 && !node.closest('.table, .skip'))
            .map((node) => `${node.tagName} ${node.className} ${node.getBoundingClientRect().right}`));
        assert.deepEqual(wide, []);
        assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth));
    }, {page: {viewport: {width, height: 800}}});
}

panelTest('the page can be used with the keyboard alone, with a visible focus', async ({page}) => {
    const order = [];
    for (let count = 0; count < 12; ++count) {
        await page.keyboard.press('Tab');
        order.push(await page.evaluate(() => {
            const {outlineStyle, outlineWidth} = getComputedStyle(document.activeElement);
            return [document.activeElement.id || document.activeElement.className, outlineStyle !== 'none' &&
                parseFloat(outlineWidth) >= 2];
        }));
    }
    assert.deepEqual(order.slice(0, 4).map(([name]) => name), ['skip', 'scenario', 'terminal15', 'timeline-pause']);
    assert.ok(order.some(([name]) => name === 'timeline-stage'));
    assert.deepEqual(order.filter(([, isVisible]) => !isVisible), []);
});
