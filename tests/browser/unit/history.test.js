import assert from 'node:assert/strict';
import {test} from 'node:test';

import {firstAfter, History} from '../../../simulator/panel/history.js';
import {client, stateWith, storeWith} from './bus-states.js';

const kPath = '/ClampControl/clamps/1';

function scene(state = stateWith(), limits = {}) {
    const store = storeWith(state);
    const sut = new History(limits);
    sut.load(store, state.now);
    const send = (name, event) => sut.apply(name, event, store.apply(name, event));
    const set = (t, isSwitchedOn) => send('element', {t, path: kPath, data: {isSwitchedOn}});
    return {store, sut, send, set};
}

test('firstAfter finds the first later entry', () => {
    const list = [{t: 1}, {t: 3}, {t: 3}, {t: 5}];
    assert.deepEqual([0, 1, 2, 3, 4, 5].map((time) => firstAfter(list, time)), [0, 1, 1, 3, 3, 4]);
});

test('a clamp has a change for each time it is switched', () => {
    const {sut, set} = scene();
    set(1100, true);
    set(1200, true);
    set(1300, false);
    assert.deepEqual(sut.signals.get(kPath).changes,
        [{t: 1000, on: false}, {t: 1100, on: true}, {t: 1300, on: false}]);
});

test('the state of a clamp that was removed is not known', () => {
    const {sut, send} = scene();
    send('elementRemoved', {t: 1100, path: kPath});
    assert.deepEqual(sut.signals.get(kPath).changes.at(-1), {t: 1100, on: null});
});

test('a connection lasts until the client leaves, and its subscriptions with it', () => {
    const {sut, send} = scene();
    send('connected', {t: 1100, client: 3, service: 'ClampControl', address: 'a', program: 'p'});
    send('subscribed', {t: 1110, client: 3, subscription: '7', path: kPath});
    assert.equal(sut.connections[0].to, undefined);
    send('disconnected', {t: 1500, client: 3, reason: 'reset'});
    assert.deepEqual([sut.connections[0].from, sut.connections[0].to, sut.connections[0].reason],
        [1100, 1500, 'reset']);
    assert.deepEqual([sut.subscriptions[0].path, sut.subscriptions[0].to], [kPath, 1500]);
});

test('subscriptions with the same id at different clients are different', () => {
    const {sut, send} = scene();
    send('subscribed', {t: 1110, client: 3, subscription: '1', path: kPath});
    send('subscribed', {t: 1120, client: 4, subscription: '1', path: kPath});
    send('unsubscribed', {t: 1130, client: 3, subscription: '1', path: kPath});
    assert.deepEqual(sut.subscriptions.map(({to}) => to), [1130, undefined]);
});

test('what was there before the page was opened begins when it began', () => {
    const {sut} = scene(stateWith({clients: [client(3, [{subscription: '7', path: kPath, since: 600}])],
        faults: [{fault: 1, kind: 'delay', path: '/', text: 'late', since: 700}]}));
    assert.deepEqual([sut.connections[0].from, sut.subscriptions[0].from, sut.faults[0].from], [500, 600, 700]);
});

test('a fault lasts until it is cleared', () => {
    const {sut, send} = scene();
    send('fault', {t: 1100, fault: 2, kind: 'delay', path: '/', text: 'late'});
    send('cleared', {t: 1400, fault: 2, kind: 'delay'});
    assert.deepEqual([sut.faults[0].from, sut.faults[0].to], [1100, 1400]);
});

test('requests, steps and violations are marks', () => {
    const {sut, send} = scene();
    send('request', {t: 1100, method: 'GET', path: '/', status: 200});
    send('step', {t: 1101, kind: 'drop', text: 'drops WebSockets', source: 'control'});
    send('violation', {t: 1102, client: 1, text: 'sent a binary message'});
    assert.deepEqual(sut.marks.map(({kind}) => kind), ['request', 'step', 'violation']);
    assert.equal(sut.marks[1].text, 'drops WebSockets');
});

test('nothing is known of the time without a connection', () => {
    const {store, sut, set} = scene(stateWith({clients: [client(1), client(2)]}));
    set(1100, true);
    sut.lose(2000);
    sut.lose(2500);
    store.load(stateWith({clients: [client(2), client(3, [], 3000)]}), true);
    sut.load(store, 4000);
    assert.deepEqual(sut.gaps, [{from: 2000, to: 4000}]);
    assert.deepEqual(sut.signals.get(kPath).changes.slice(-2), [{t: 2000, on: null}, {t: 4000, on: false}]);
    assert.deepEqual(sut.connections.map(({client: number, from, to}) => [number, from, to]),
        [[1, 500, 4000], [2, 500, undefined], [3, 3000, undefined]]);
    assert.equal(sut.lostAt, undefined);
});

test('a loss before the first state is nothing to remember', () => {
    const sut = new History();
    sut.lose(0);
    sut.load(storeWith(), 1000);
    assert.deepEqual(sut.gaps, []);
});

test('what is older than the limit is forgotten, but not how a clamp was at the limit', () => {
    const {sut, set, send} = scene(stateWith(), {longest: 1000, most: 100});
    for (let t = 1001; t <= 1050; ++t) {
        set(t, t % 2 === 1);
        send('request', {t, method: 'GET', path: '/', status: 200});
    }
    send('fault', {t: 1051, fault: 1, kind: 'delay'});
    send('cleared', {t: 1052, fault: 1, kind: 'delay'});
    sut.trim(5000);
    assert.deepEqual(sut.signals.get(kPath).changes, [{t: 1050, on: false}]);
    assert.deepEqual(sut.marks, []);
    assert.deepEqual(sut.faults, []);
    assert.equal(sut.knownSince, 4000);
});

test('a flood of requests does not grow without limit', () => {
    const {sut, send} = scene(stateWith(), {most: 1000});
    for (let t = 1001; t <= 10000; ++t) {
        send('request', {t, method: 'GET', path: '/', status: 200});
    }
    assert.ok(sut.marks.length <= 1100 && sut.marks.length >= 1000, `${sut.marks.length} marks`);
    assert.equal(sut.marks.at(-1).t, 10000);
    assert.ok(sut.knownSince >= sut.marks[0].t - 1);
});

test('many short connections do not grow without limit, and those that last stay', () => {
    const {sut, send} = scene(stateWith({clients: [client(1)]}), {most: 400});
    for (let number = 10; number < 1000; ++number) {
        send('connected', {t: 1000 + number, client: number, service: 'ClampControl', address: '', program: 'p'});
        send('disconnected', {t: 1000 + number, client: number});
    }
    assert.ok(sut.connections.length <= 110, `${sut.connections.length} connections`);
    assert.ok(sut.connections.some((one) => one.client === 1 && one.to === undefined));
    assert.ok(sut.connections.some((one) => one.client === 999));
});

test('more lasting connections than the limit do not keep those that have ended', () => {
    const clients = Array.from({length: 150}, (_, index) => client(index));
    const {sut, send} = scene(stateWith({clients}), {most: 400});
    send('disconnected', {t: 1100, client: 0});
    assert.ok(sut.connections.every(({to}) => to === undefined));
});
