import assert from 'node:assert/strict';
import {test} from 'node:test';

import {clamp, client, stateWith, storeWith} from './bus-states.js';

test('the store has the elements of a state', () => {
    const sut = storeWith();
    assert.deepEqual(sut.elements().map(({uri}) => uri), ['/ClampControl/clamps/1', '/ClampControl/clamps/2']);
    assert.equal(sut.terminal15().uri, '/ClampControl/clamps/1');
    assert.ok(sut.isLive);
});

test('terminal 15 is found by its type, and not by its id', () => {
    const sut = storeWith(stateWith({clamps: [clamp('1', true, 'ClampS'), clamp('7', false, 'Clamp15')]}));
    assert.equal(sut.terminal15().id, '7');
});

test('a bus without terminal 15 has none', () => {
    assert.equal(storeWith(stateWith({clamps: []})).terminal15(), undefined);
});

test('the store does not change the state that it was given', () => {
    const state = stateWith();
    const sut = storeWith(state);
    sut.apply('element', {t: 1100, path: '/ClampControl/clamps/1', data: {isSwitchedOn: true}});
    assert.equal(state.services[0].resources[0].elements[0].isSwitchedOn, false);
});

test('an event of an element changes its members, and says which', () => {
    const sut = storeWith();
    const {changes, isNew, element} = sut.apply('element',
        {t: 1100, path: '/ClampControl/clamps/1', data: {isSwitchedOn: true}});
    assert.deepEqual(changes, [{key: 'isSwitchedOn', before: false, after: true}]);
    assert.equal(isNew, false);
    assert.equal(element.type, 'Clamp15');
    assert.equal(sut.terminal15().isSwitchedOn, true);
});

test('an element of an unknown service is added with its service', () => {
    const sut = storeWith();
    const {isNew} = sut.apply('element', {t: 1, path: '/New/things/5', data: {name: 'Thing'}});
    assert.ok(isNew);
    assert.equal(sut.find('/New/things/5').element.id, '5');
});

test('an element that was removed can be brought back', () => {
    const sut = storeWith();
    sut.apply('elementRemoved', {t: 1, path: '/ClampControl/clamps/2'});
    assert.equal(sut.elements().length, 1);
    assert.equal(sut.removed.get('/ClampControl/clamps/2').name, 'Clamp 2');
    sut.apply('element', {t: 2, path: '/ClampControl/clamps/2', data: clamp('2', true)});
    assert.equal(sut.removed.size, 0);
});

test('elements that have gone while there was no connection can be brought back, too', () => {
    const sut = storeWith();
    sut.load(stateWith({clamps: [clamp('1', false)]}), true);
    assert.deepEqual([...sut.removed.keys()], ['/ClampControl/clamps/2']);
});

test('what was removed from another run of the bus is forgotten', () => {
    const sut = storeWith();
    sut.apply('elementRemoved', {t: 1, path: '/ClampControl/clamps/2'});
    sut.load(stateWith(), false);
    assert.equal(sut.removed.size, 0);
});

test('a client and its subscriptions come and go', () => {
    const sut = storeWith();
    sut.apply('connected', {t: 5, client: 3, service: 'ClampControl', address: 'a', program: 'p'});
    sut.apply('subscribed', {t: 6, client: 3, subscription: '7', path: '/ClampControl/clamps/1'});
    assert.deepEqual([...sut.clients.get(3).subscriptions.values()],
        [{subscription: '7', path: '/ClampControl/clamps/1', since: 6}]);
    const {subscription} = sut.apply('unsubscribed', {t: 7, client: 3, subscription: '7'});
    assert.equal(subscription.path, '/ClampControl/clamps/1');
    const {client: ended} = sut.apply('disconnected', {t: 8, client: 3});
    assert.equal(ended.program, 'p');
    assert.equal(sut.clients.size, 0);
});

test('a state replaces clients and faults', () => {
    const sut = storeWith(stateWith({clients: [client(1)], faults: [{fault: 1, kind: 'delay', since: 3}]}));
    sut.load(stateWith({clients: [client(2)]}), true);
    assert.deepEqual([...sut.clients.keys()], [2]);
    assert.equal(sut.faults.size, 0);
});

test('a service that goes away keeps its elements', () => {
    const sut = storeWith();
    const {before} = sut.apply('service', {t: 1, name: 'ClampControl', present: false, available: true});
    assert.deepEqual(before, {present: true, available: true});
    assert.equal(sut.services[0].present, false);
    assert.equal(sut.elements().length, 2);
});

test('requests and violations are counted', () => {
    const sut = storeWith();
    sut.apply('request', {t: 1, method: 'GET', path: '/', status: 200});
    sut.apply('violation', {t: 1, client: 1, text: 'x'});
    assert.deepEqual([sut.requests, sut.violations], [1, 1]);
});

test('events that the page does not know change nothing', () => {
    assert.deepEqual(storeWith().apply('somethingNew', {t: 1}), {});
});

test('the paths for faults are everything, services, resources and elements', () => {
    assert.deepEqual(storeWith().paths(), ['/', '/ClampControl', '/ClampControl/clamps', '/ClampControl/clamps/1',
        '/ClampControl/clamps/2']);
});
