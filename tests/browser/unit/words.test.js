import assert from 'node:assert/strict';
import {test} from 'node:test';

import {age, counted, duration, isWorthTelling, sentence, spanText, timeOfDay, valueText}
    from '../../../simulator/panel/words.js';
import {stateWith, storeWith} from './bus-states.js';

function said(name, event, store = storeWith()) {
    return sentence(name, event, store.apply(name, event));
}

test('times are the times of the day', () => {
    const time = new Date(2026, 0, 31, 2, 3, 4, 5).getTime();
    assert.equal(timeOfDay(time), '02:03:04.005');
    assert.equal(timeOfDay(time, 1000), '02:03:04');
});

test('durations get coarser as they get longer', () => {
    assert.deepEqual([0, 250, 2500, 12345, 185000, 7620000].map(duration),
        ['0.000 s', '0.250 s', '2.5 s', '12 s', '3 min 5 s', '2 h 7 min']);
});

test('an age has no fractions', () => {
    assert.deepEqual([-5, 900, 8999, 61000].map(age), ['0 s', '0 s', '8 s', '1 min 1 s']);
});

test('the length of a window is a round number', () => {
    assert.deepEqual([100, 1500, 60000, 96000].map(spanText), ['100 ms', '1.5 s', '1 min', '1.6 min']);
});

test('numbers have their noun', () => {
    assert.deepEqual([counted(1, 'element'), counted(2, 'element')], ['1 element', '2 elements']);
});

test('values are what a person reads', () => {
    assert.equal(valueText(undefined), 'not set');
    assert.equal(valueText(null), 'none');
    assert.equal(valueText([]), 'empty');
    assert.equal(valueText(['a', 1]), 'a, 1');
    assert.equal(valueText({id: '1', name: 'Backend', uri: '/s/r/1'}), 'Backend (/s/r/1)');
});

test('terminal 15 is called by its name', () => {
    const event = {t: 1, path: '/ClampControl/clamps/1', data: {isSwitchedOn: true}};
    assert.deepEqual(said('element', event), {text: 'Terminal 15 is on', tone: 'on', topic: 'elements'});
});

test('a change names what has changed', () => {
    const event = {t: 1, path: '/ClampControl/clamps/2', data: {isSwitchedOn: false, type: 'X'}};
    assert.equal(said('element', event).text, 'Clamp 2: isSwitchedOn is false, type is X');
});

test('an element that was set to its own state is told, too', () => {
    const event = {t: 1, path: '/ClampControl/clamps/2', data: {isSwitchedOn: true}};
    assert.equal(said('element', event).text, 'Clamp 2 was set, to the same state');
});

test('elements are added and removed', () => {
    const path = '/ClampControl/clamps/9';
    const store = storeWith();
    assert.equal(said('element', {t: 1, path, data: {name: 'Nine'}}, store).text, `Nine was added: ${path}`);
    assert.equal(said('elementRemoved', {t: 1, path}, store).text, `Nine was removed: ${path}`);
});

test('a client is called by its program and address', () => {
    const store = storeWith();
    const connected = {t: 1, client: 3, service: 'ClampControl', address: '127.0.0.1:4', program: 'clamp-monitor/9'};
    assert.equal(said('connected', connected, store).text,
        'clamp-monitor/9 (127.0.0.1:4) has connected to ClampControl');
    assert.equal(said('disconnected', {t: 2, client: 3, reason: 'closed with 1001'}, store).text,
        'clamp-monitor/9 (127.0.0.1:4) has disconnected: closed with 1001');
    assert.equal(said('violation', {t: 3, client: 3, text: 'sent nonsense'}, store).text, 'Client 3: sent nonsense');
});

test('requests that fail have another tone', () => {
    const request = {t: 1, method: 'GET', path: '/x', status: 200, program: 'curl/8'};
    assert.deepEqual(said('request', request), {text: 'GET /x: 200 (curl/8)', tone: '', topic: 'requests'});
    assert.equal(said('request', {...request, status: 503}).tone, 'fault');
});

test('a service says how it is away', () => {
    const event = {t: 1, name: 'ClampControl', present: true, available: false};
    assert.deepEqual(said('service', event),
        {text: 'The service ClampControl is unavailable', tone: 'fault', topic: 'elements'});
});

test('a fault says where it is', () => {
    const store = storeWith(stateWith());
    const fault = {t: 1, fault: 2, kind: 'delay', path: '/ClampControl', text: 'answers after 500 ms'};
    assert.equal(said('fault', fault, store).text, 'Fault "delay /ClampControl" has begun: answers after 500 ms');
    assert.equal(said('cleared', {t: 2, fault: 2, kind: 'delay'}, store).text,
        'Fault "delay" has ended: answers after 500 ms');
});

test('a step is told unless its effect is told', () => {
    assert.ok(isWorthTelling('step', {kind: 'drop'}));
    assert.ok(!isWorthTelling('step', {kind: 'set'}));
    assert.ok(isWorthTelling('element', {}));
});

test('an event that the page does not know has a sentence, too', () => {
    assert.equal(sentence('somethingNew', {}, {}).text, 'somethingNew');
});
