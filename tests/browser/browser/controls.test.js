// The controls of the panel, against a bus in memory.

import assert from 'node:assert/strict';

import {kGroups} from '../../../simulator/panel/fault-catalog.js';
import {kUnknownLiteral} from '../../../simulator/panel/field-controls.js';
import {panelTests, until} from '../support/page.js';

const kClamp15 = '/ClampControl/clamps/1';
const panelTest = panelTests();

function ignition(page, state) {
    return page.locator(`#terminal15[data-state="${state}"]`).waitFor();
}

function card(page, path) {
    return page.locator(`.element[data-path="${path}"]`);
}

async function openService(page, name) {
    await page.locator(`.service[data-service="${name}"] > summary`).click();
}

panelTest('terminal 15 is switched on and off with a click', async ({page, bus}) => {
    const sut = page.getByRole('switch', {name: 'Terminal 15', exact: true});
    await ignition(page, 'off');
    await sut.click();
    await ignition(page, 'on');
    assert.equal(await sut.getAttribute('aria-checked'), 'true');
    assert.equal(await page.locator('#terminal15-state').innerText(), 'ON');
    assert.equal(bus.find(kClamp15).element.isSwitchedOn, true);
    await sut.click();
    await ignition(page, 'off');
    assert.equal(await sut.getAttribute('aria-checked'), 'false');
});

panelTest('terminal 15 is switched with the keyboard, and the change is announced', async ({page}) => {
    await page.locator('#terminal15').focus();
    await page.keyboard.press('Space');
    await ignition(page, 'on');
    await until(page, () => document.getElementById('announcements').textContent === 'Terminal 15 is on');
    await page.keyboard.press('Enter');
    await ignition(page, 'off');
    await until(page, () => document.getElementById('announcements').textContent === 'Terminal 15 is off');
});

panelTest('a change that comes from elsewhere moves the switch', async ({page, bus}) => {
    bus.find(kClamp15).element.isSwitchedOn = true;
    bus.emit('element', {path: kClamp15, data: bus.find(kClamp15).element});
    await ignition(page, 'on');
    assert.match(await page.title(), /^on/);
});

panelTest('a bus without terminal 15 says so', async ({page, bus}) => {
    bus.find(kClamp15).resource.elements.shift();
    bus.emit('elementRemoved', {path: kClamp15});
    await ignition(page, 'unknown');
    assert.match(await page.locator('#ignition-note').innerText(), /no clamp of type Clamp15/);
});

panelTest('booleans, literals, integers and strings are changed in place', async ({page, bus}) => {
    await openService(page, 'Immobilizer');
    const info = '/Immobilizer/info/1';
    await card(page, info).getByRole('switch', {name: 'isLocked'}).click();
    await until(page, (path) => document.querySelector(`[data-path="${path}"] .switch`).ariaChecked === 'false', info);
    await card(page, info).getByLabel('stateOfLife').fill('17');
    await page.keyboard.press('Enter');
    await card(page, info).getByLabel('vehicleIdentificationNumber').fill('Grüße');
    await page.keyboard.press('Tab');
    await card(page, kClamp15).getByLabel('type').selectOption('ClampS');
    await ignition(page, 'unknown');
    const {isLocked, stateOfLife, vehicleIdentificationNumber} = bus.find(info).element;
    assert.deepEqual([isLocked, stateOfLife, vehicleIdentificationNumber], [false, 17, 'Grüße']);
    assert.equal(bus.find(kClamp15).element.type, 'ClampS');
});

panelTest('an unknown literal can be sent, and is marked', async ({page, bus}) => {
    const path = '/ClampControl/clamps/2';
    await card(page, path).getByLabel('type').selectOption({label: '(send an unknown literal)'});
    await card(page, path).getByText('unknown literal', {exact: true}).waitFor();
    assert.equal(bus.find(path).element.type, kUnknownLiteral);
    const shown = await card(page, path).getByLabel('type').evaluate((node) => node.selectedOptions[0].textContent);
    assert.equal(shown, `⚠ ${kUnknownLiteral}`);
});

panelTest('a value that cannot be meant is refused beside its control, and stays to be mended', async ({page, bus}) => {
    const path = '/ClampControl/notifications/1';
    const input = card(page, path).getByLabel('value');
    await input.fill('many');
    await page.keyboard.press('Enter');
    assert.match(await card(page, path).locator('.error').innerText(), /value must be an integer/);
    assert.equal(await input.getAttribute('aria-invalid'), 'true');
    await page.keyboard.press('Escape');
    assert.equal(await input.inputValue(), '0');
    assert.equal(bus.steps.length, 0);
});

panelTest('the message of the simulator is shown beside the control', async ({page, bus}) => {
    bus.find(kClamp15).resource.elements.shift();
    await card(page, kClamp15).getByRole('switch').click();
    await card(page, kClamp15).locator('.error').getByText(`There is no element ${kClamp15}`).waitFor();
}, {page: {isExpected: (text) => text.includes('404')}});

panelTest('what a person is typing is not overwritten', async ({page, bus}) => {
    const path = '/ClampControl/notifications/1';
    const input = card(page, path).getByLabel('value');
    await input.fill('4');
    bus.emit('element', {path, data: {value: 9, name: 'Renamed'}});
    await card(page, path).getByText('Renamed').waitFor();
    assert.equal(await input.inputValue(), '4');
});

panelTest('lists and references are shown, and fields without a model by their value', async ({page}) => {
    await openService(page, 'servicemanagement');
    const transaction = card(page, '/servicemanagement/transactionTypes/1');
    assert.match(await transaction.innerText(), /Backend \(\/servicemanagement\/connectionStates\/1\)/);
    assert.match(await transaction.innerText(), /unknown literal: consentData/);
    const operation = card(page, '/servicemanagement/mqttOperationTypes/1');
    await operation.getByRole('switch', {name: 'isAlwaysOnOperation'}).waitFor();
});

panelTest('an element is removed and brought back', async ({page, bus}) => {
    const path = '/ClampControl/clamps/2';
    await page.getByRole('button', {name: `Remove ${path}`}).click();
    await card(page, path).waitFor({state: 'detached'});
    const undo = page.getByRole('button', {name: `Undo: bring ${path} back`});
    await undo.waitFor();
    await until(page, () => document.activeElement?.textContent === 'Undo');
    await page.keyboard.press('Enter');
    await card(page, path).waitFor();
    assert.equal(bus.find(path).element.name, 'Clamp S');
    await undo.waitFor({state: 'detached'});
    assert.deepEqual(bus.steps.map((step) => Object.keys(step)[0]), ['remove', 'add']);
});

panelTest('each step of the catalog can be performed as it is offered', async ({page, bus}) => {
    const kinds = kGroups.flatMap(({steps}) => steps.map(({kind}) => kind)).filter((kind) => kind !== 'restart');
    for (const kind of kinds) {
        await page.locator(`form[data-kind="${kind}"] button[type="submit"]`).click();
        await page.locator(`form[data-kind="${kind}"] button[aria-busy]`).waitFor({state: 'detached'});
        assert.equal(await page.locator(`form[data-kind="${kind}"] .error`).innerText(), '', kind);
    }
    assert.deepEqual(bus.steps.map((step) => Object.keys(step)[0]), kinds);
    assert.deepEqual(bus.steps[0], {delay: {path: '/', ms: 500}});
    assert.deepEqual(bus.steps.find(({refuse}) => refuse), {refuse: {path: kClamp15, number: 403}});
});

panelTest('faults that last are listed, and end one by one and all at once', async ({page, bus}) => {
    const start = (name) => page.getByRole('button', {name, exact: true}).click();
    await start('Answer late');
    await start('Cut the answer');
    await start('Send twice');
    await page.locator('.active-fault').nth(2).waitFor();
    assert.match(await page.locator('.active-fault').first().innerText(), /delay/);
    await page.getByRole('button', {name: 'End cut'}).click();
    await until(page, () => document.querySelectorAll('.active-fault').length === 2);
    assert.deepEqual([...bus.faults.values()].map(({kind}) => kind), ['delay', 'twice']);
    await page.getByRole('button', {name: 'End all'}).click();
    await page.getByText('Nothing is wrong with the bus.').waitFor();
    assert.equal(bus.faults.size, 0);
});

panelTest('an input that is wrong is told beside its step', async ({page, bus}) => {
    const form = page.locator('form[data-kind="delay"]');
    await form.getByLabel('Milliseconds').fill('soon');
    await page.keyboard.press('Enter');
    assert.match(await form.locator('.error').innerText(), /Milliseconds must be an integer/);
    assert.equal(bus.steps.length, 0);
});

panelTest('a service goes away and returns', async ({page, bus}) => {
    const choice = page.locator('.away[data-service="ClampControl"]');
    const badge = (state) => page.locator(`.service[data-service="ClampControl"] .badge[data-state="${state}"]`);
    await choice.getByLabel('not present').check();
    await badge('not present').waitFor();
    await choice.getByLabel('unavailable', {exact: true}).check();
    await badge('unavailable').waitFor();
    assert.deepEqual([bus.services[0].present, bus.services[0].available], [true, false]);
    await choice.getByLabel('available', {exact: true}).check();
    await badge('available').waitFor();
});

panelTest('a service that was not present comes back unavailable, and is never available between', async ({page, bus}) => {
    const choice = page.locator('.away[data-service="ClampControl"]');
    const badge = (state) => page.locator(`.service[data-service="ClampControl"] .badge[data-state="${state}"]`);
    await choice.getByLabel('not present').check();
    await badge('not present').waitFor();
    await choice.getByLabel('unavailable', {exact: true}).check();
    await badge('unavailable').waitFor();
    assert.deepEqual(bus.steps.map(({service}) => service), [{name: 'ClampControl', present: false},
        {name: 'ClampControl', available: false}, {name: 'ClampControl', present: true}]);
});

panelTest('clients are listed with their subscriptions as long as they are there', async ({page, bus}) => {
    const client = bus.connect('clamp-monitor/4711');
    bus.subscribe(client, kClamp15);
    const entry = page.locator('.client').filter({hasText: 'clamp-monitor/4711'});
    await entry.getByText(kClamp15).waitFor();
    assert.match(await entry.innerText(), /ClampControl · 127\.0\.0\.1/);
    bus.disconnect(client, 'reset');
    await entry.waitFor({state: 'detached'});
});

panelTest('the log tells what has happened, the newest first, and can leave out kinds', async ({page, bus}) => {
    bus.emit('request', {method: 'GET', path: '/ClampControl/clamps/', status: 200, program: 'curl/8'});
    bus.emit('violation', {client: 9, text: 'sent a binary message'});
    await page.locator('.entry').nth(1).waitFor();
    assert.match(await page.locator('.entry').first().innerText(), /Client 9: sent a binary message/);
    const request = page.locator('.entry').filter({hasText: 'GET /ClampControl/clamps/: 200'});
    assert.ok(await request.isVisible());
    await page.getByRole('checkbox', {name: 'Requests'}).uncheck();
    assert.ok(!await request.isVisible());
    assert.equal(await page.locator('#log-counts').innerText(), '1 request, 1 violation');
});
