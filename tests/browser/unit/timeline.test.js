import assert from 'node:assert/strict';
import {test} from 'node:test';

import {History} from '../../../simulator/panel/history.js';
import {factLines, momentText} from '../../../simulator/panel/timeline-facts.js';
import {layOut, waveform} from '../../../simulator/panel/timeline-layout.js';
import {factsAt, nextMoment, timelineRows, valueAt} from '../../../simulator/panel/timeline-rows.js';
import {kLongestSpan, kShortestSpan, TimeWindow} from '../../../simulator/panel/time-window.js';
import {client, stateWith, storeWith} from './bus-states.js';

const kPath = '/ClampControl/clamps/1';

function historyWith(clients = []) {
    const store = storeWith(stateWith({clients}));
    const history = new History();
    history.load(store, 1000);
    return {history, send: (name, event) => history.apply(name, event, store.apply(name, event))};
}

function windowAt(from, to) {
    const sut = new TimeWindow();
    sut.pause();
    sut.span = to - from;
    sut.to = to;
    return sut;
}

test('a window follows the time until it is paused', () => {
    const sut = new TimeWindow();
    sut.advance(100000);
    assert.ok(sut.from < 100000 && sut.to > 100000);
    sut.pause();
    sut.advance(200000);
    assert.ok(sut.to < 200000);
    sut.follow(200000);
    assert.ok(sut.to > 200000);
});

test('a window that follows is filled from its beginning before it moves', () => {
    const sut = new TimeWindow();
    sut.begin = 100000;
    sut.advance(100000);
    const {from} = sut;
    assert.ok(from < 100000 && from > 98000);
    sut.advance(110000);
    assert.equal(sut.from, from);
    sut.advance(200000);
    assert.ok(sut.from > from && sut.to > 200000);
});

test('zooming keeps the time under the pointer where it is', () => {
    const sut = windowAt(0, 1000);
    sut.zoom(0.5, 5000, 250);
    assert.equal(sut.x(250, 100), 25);
    assert.equal(sut.span, 500);
});

test('zooming while following keeps the present in the window', () => {
    const sut = new TimeWindow();
    sut.advance(100000);
    sut.zoom(0.1, 100000, 50000);
    assert.ok(sut.from < 100000 && sut.to > 100000 && sut.follows);
});

test('zooming has limits', () => {
    const sut = windowAt(0, 1000);
    sut.zoom(1e9, 0);
    assert.equal(sut.span, kLongestSpan);
    sut.zoom(1e-9, 0);
    assert.equal(sut.span, kShortestSpan);
});

test('panning ends the following, and does not leave the time that there is', () => {
    const sut = new TimeWindow();
    sut.advance(100000);
    sut.pan(1e12, 100000);
    assert.ok(!sut.follows && sut.from < 100000);
    sut.pan(-1e12, 100000);
    assert.ok(sut.to > 100000 - kLongestSpan);
});

test('ticks are at full seconds of the time of day', () => {
    const {step, times} = windowAt(0, 10000).ticks(500, (time) => time + 250);
    assert.equal(step, 2000);
    assert.deepEqual(times, [1750, 3750, 5750, 7750, 9750]);
});

test('terminal 15 is the first row, and a client has a row with its subscriptions below', () => {
    const {history} = historyWith([client(1, [{subscription: '7', path: kPath, since: 600}])]);
    const rows = timelineRows(history, 0, 2000, 2000);
    assert.deepEqual(rows.map(({kind, label}) => [kind, label]), [['signal', 'Clamp 1'], ['signal', 'Clamp 2'],
        ['connection', 'clamp-monitor/1'], ['subscription', kPath], ['marks', 'Requests'], ['marks', 'Steps'],
        ['marks', 'Violations']]);
});

test('a client that has left has a row as long as it can be seen', () => {
    const {history, send} = historyWith([client(1)]);
    send('disconnected', {t: 1500, client: 1});
    const connections = (from) => timelineRows(history, from, 9000, 9000).filter(({kind}) => kind === 'connection');
    assert.equal(connections(0).length, 1);
    assert.equal(connections(1600).length, 0);
});

test('a program that connects again gets its old row, one beside it another row', () => {
    const {history, send} = historyWith([client(1)]);
    const connect = (t, number) => send('connected', {...client(1), t, client: number});
    send('disconnected', {t: 1500, client: 1});
    connect(1600, 2);
    connect(1700, 3);
    const rows = timelineRows(history, 0, 2000, 2000).filter(({kind}) => kind === 'connection');
    assert.deepEqual(rows.map(({spans}) => spans.map((one) => one.client)), [[1, 2], [3]]);
});

test('more clients than can be read are counted', () => {
    const {history} = historyWith(Array.from({length: 60}, (_, index) => client(index)));
    const rows = timelineRows(history, 0, 2000, 2000);
    assert.equal(rows.filter(({kind}) => kind === 'connection').length, 24);
    assert.equal(rows.find(({kind}) => kind === 'more').label, 'and 36 older connections');
});

test('rows do not overlap, in a wide and in a narrow picture', () => {
    const {history} = historyWith([client(1, [{subscription: '7', path: kPath, since: 600}])]);
    for (const width of [320, 1200]) {
        const {rows, height, axisTop} = layOut(timelineRows(history, 0, 2000, 2000), width);
        rows.forEach((place, index) => {
            assert.ok(place.labelTop + 0 >= (index === 0 ? 0 : rows[index - 1].top + rows[index - 1].height));
        });
        assert.ok(axisTop >= rows.at(-1).top + rows.at(-1).height && height > axisTop);
    }
});

test('a waveform has a piece for each state', () => {
    const signal = {changes: [{t: 100, on: false}, {t: 200, on: true}, {t: 300, on: null}]};
    assert.deepEqual(waveform(signal, windowAt(0, 400), 400, 400), [{from: 0, to: 100, on: null},
        {from: 100, to: 200, on: false}, {from: 200, to: 300, on: true}, {from: 300, to: 400, on: null}]);
});

test('a waveform ends at the present', () => {
    const signal = {changes: [{t: 0, on: true}]};
    assert.deepEqual(waveform(signal, windowAt(0, 400), 100, 400), [{from: 0, to: 100, on: true}]);
});

test('thousands of changes become few pieces', () => {
    const changes = Array.from({length: 20000}, (_, t) => ({t, on: t % 2 === 0}));
    const pieces = waveform({changes}, windowAt(0, 20000), 20000, 800);
    assert.ok(pieces.length <= 1600, `${pieces.length} pieces`);
    assert.ok(pieces.some(({on}) => on === 'both'));
});

test('a short pulse is still to be seen', () => {
    const signal = {changes: [{t: 0, on: false}, {t: 5000, on: true}, {t: 5001, on: false}]};
    const pieces = waveform(signal, windowAt(0, 10000), 10000, 100);
    assert.deepEqual(pieces.map(({on}) => on), [false, 'both', false]);
});

test('the facts of a moment are those that were the case then', () => {
    const {history, send} = historyWith([client(1, [{subscription: '7', path: kPath, since: 600}])]);
    send('element', {t: 1100, path: kPath, data: {isSwitchedOn: true}});
    send('request', {t: 1105, method: 'GET', path: '/x', status: 404});
    send('disconnected', {t: 1500, client: 1});
    send('fault', {t: 1600, fault: 1, kind: 'delay', text: 'late'});
    const before = factLines(factsAt(history, 1102, 5)).map(({text}) => text);
    assert.deepEqual(before, ['Clamp 1: on', 'Clamp 2: on', 'clamp-monitor/1, ClampControl, 1 subscription',
        'GET /x: 404']);
    const after = factLines(factsAt(history, 1700, 5)).map(({text}) => text);
    assert.deepEqual(after, ['Clamp 1: on', 'Clamp 2: on', 'delay: late']);
});

test('nothing is told of a time that was not recorded', () => {
    const {history} = historyWith();
    assert.deepEqual(factLines(factsAt(history, 10, 5)), [{tone: 'muted', text: 'not recorded'}]);
    assert.equal(valueAt(history.signals.get(kPath), 10), null);
    history.lose(1500);
    assert.equal(factsAt(history, 1600, 5).known, false);
});

test('the next event is found in both directions', () => {
    const {history, send} = historyWith([client(1)]);
    send('element', {t: 1100, path: kPath, data: {isSwitchedOn: true}});
    send('disconnected', {t: 1500, client: 1});
    assert.equal(nextMoment(history, 1000, true), 1100);
    assert.equal(nextMoment(history, 1100, true), 1500);
    assert.equal(nextMoment(history, 1500, true), undefined);
    assert.equal(nextMoment(history, 1500, false), 1100);
    assert.equal(nextMoment(history, 500, false), undefined);
});

test('a moment has a time of day and a time of the bus', () => {
    const clock = {wallTime: (time) => new Date(2026, 0, 31, 12, 34, 56).getTime() + time};
    assert.equal(momentText(1789, clock), '12:34:57.789 · 1.789 s');
});
