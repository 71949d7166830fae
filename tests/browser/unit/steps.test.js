import assert from 'node:assert/strict';
import {existsSync, readFileSync} from 'node:fs';
import {test} from 'node:test';

import {Announcer} from '../../../simulator/panel/announcer.js';
import {BusClock} from '../../../simulator/panel/bus-clock.js';
import {clearOf, integerIn, kElsewhere, kGroups, kTerminal15, stepValue}
    from '../../../simulator/panel/fault-catalog.js';
import {kNoAnswer, Steps} from '../../../simulator/panel/steps.js';

const kSteps = kGroups.flatMap(({steps}) => steps);
const kSchema = new URL('../../../simulator/scenario.schema.json', import.meta.url);

function stepOf(kind) {
    return kSteps.find((step) => step.kind === kind);
}

/** What a reference in the schema stands for; anything else stands for itself. */
function resolved(schema, part) {
    return part.$ref ? part.$ref.slice(2).split('/').reduce((at, key) => at[key], schema) : part;
}

/** The steps in the schema: their members by kind. */
function stepsOf(schema) {
    const {at, ...kinds} = resolved(schema, schema.items).properties;
    return new Map(Object.entries(kinds).map(([kind, value]) =>
        [kind, Object.keys(resolved(schema, value).properties ?? {})]));
}

test('each step of a scenario has its place in the panel', {skip: !existsSync(kSchema) && 'there is no schema'}, () => {
    const known = stepsOf(JSON.parse(readFileSync(kSchema, 'utf8')));
    const offered = [...kSteps.map(({kind}) => kind), ...Object.keys(kElsewhere)];
    assert.deepEqual(offered.sort(), [...known.keys()].sort());
    for (const {kind, inputs} of kSteps) {
        const members = inputs.flatMap(({name}) => (name === 'content' ? ['text', 'hex'] : name));
        assert.deepEqual(members.sort(), known.get(kind).sort(), kind);
    }
});

test('no kind of step is offered twice', () => {
    assert.equal(new Set(kSteps.map(({kind}) => kind)).size, kSteps.length);
});

test('each step can be done as it is offered', () => {
    for (const step of kSteps) {
        const texts = Object.fromEntries(step.inputs.map(({name, type, usual}) => [name,
            usual === kTerminal15 ? '/ClampControl/clamps/1' : type === 'content' ? {format: 'text', text: usual}
                : type === 'flag' ? usual : String(usual)]));
        assert.doesNotThrow(() => stepValue(step, texts), step.kind);
    }
});

test('a value has numbers where numbers are meant, and leaves out what is empty', () => {
    assert.deepEqual(stepValue(stepOf('status'), {path: '/', code: '503', body: ''}), {path: '/', code: 503});
    assert.deepEqual(stepValue(stepOf('close'), {service: '', code: '1011'}), {code: 1011});
    assert.deepEqual(stepValue(stepOf('add'), {path: '/a/b/1', data: '{"x": 1}', unchecked: true}),
        {path: '/a/b/1', data: {x: 1}, unchecked: true});
});

test('bytes are a text or hexadecimal digits', () => {
    const value = (format, text) => stepValue(stepOf('bytes'), {path: '/', content: {format, text}});
    assert.deepEqual(value('text', 'abc'), {path: '/', text: 'abc'});
    assert.deepEqual(value('hex', '48 54'), {path: '/', hex: '4854'});
    assert.throws(() => value('hex', '4'), /pairs of hexadecimal digits/);
});

test('inputs that cannot be meant are refused in words', () => {
    assert.throws(() => stepValue(stepOf('delay'), {path: '/', ms: 'soon'}), /Milliseconds must be an integer/);
    assert.throws(() => stepValue(stepOf('delay'), {path: '/', ms: '-1'}), /at least 0/);
    assert.throws(() => stepValue(stepOf('status'), {path: '/', code: '7', body: ''}), /between 100 and 599/);
    assert.throws(() => stepValue(stepOf('delay'), {path: 'x', ms: '1'}), /must begin with/);
    assert.throws(() => stepValue(stepOf('set'), {path: '/', data: '{'}), /Data is not JSON/);
    assert.throws(() => integerIn('99999999999999999999', 'value'), /too large/);
    assert.equal(integerIn(' -5 ', 'value'), -5);
});

test('one of several faults is ended by what it has alone', () => {
    const delay = {fault: 1, kind: 'delay', path: '/'};
    const other = {fault: 2, kind: 'delay', path: '/ClampControl'};
    const status = {fault: 3, kind: 'status', path: '/ClampControl'};
    assert.deepEqual(clearOf(delay, [delay]), {value: {fault: 'delay'}, ends: 1});
    assert.deepEqual(clearOf(delay, [delay, other]), {value: {path: '/'}, ends: 1});
    assert.deepEqual(clearOf(other, [delay, other, status]), {value: {fault: 'delay'}, ends: 2});
    assert.deepEqual(clearOf(status, [delay, other, status]), {value: {fault: 'status'}, ends: 1});
});

test('a step is posted below the base path', async () => {
    const sent = [];
    const sut = new Steps('/zeb/', async (...request) => {
        sent.push(request);
        return {ok: true};
    });
    assert.deepEqual(await sut.perform('set', {path: '/a'}), {done: true});
    assert.equal(sent[0][0], '/zeb/_sim/set');
    assert.equal(sent[0][1].body, '{"path":"/a"}');
});

test('the message of the simulator is what a person reads', async () => {
    const answer = (json) => new Steps('/', async () => ({ok: false, status: 404, json}));
    assert.deepEqual(await answer(async () => ({error: {message: 'There is no such element'}})).perform('set', {}),
        {done: false, message: 'There is no such element'});
    assert.deepEqual(await answer(async () => {
        throw new SyntaxError('not JSON');
    }).perform('set', {}), {done: false, message: 'The simulator has refused it (404).'});
});

test('a simulator that does not answer is told, unless the step cuts the connection off', async () => {
    const sut = new Steps('/', async () => {
        throw new TypeError('Failed to fetch');
    });
    assert.deepEqual(await sut.perform('set', {}), {done: false, message: kNoAnswer});
    assert.deepEqual(await sut.perform('restart', {}, {cutsOff: true}), {done: true});
});

test('the clock tells the time of the bus, and goes forward to that of an event', () => {
    let time = 100;
    const sut = new BusClock(() => time, () => 1700000000000);
    assert.equal(sut.synchronize(5000), false);
    time = 200;
    assert.equal(sut.now(), 5100);
    sut.hear(5150);
    sut.hear(5000);
    assert.equal(sut.now(), 5150);
    assert.equal(sut.wallTime(5000), 1700000000000);
});

test('the clock knows another run of the bus by its time', () => {
    let time = 0;
    const sut = new BusClock(() => time, () => 0);
    sut.synchronize(60000);
    time = 10000;
    assert.equal(sut.synchronize(70001), true);
    assert.equal(sut.synchronize(300), false);
});

test('of several changes at once, the last is told', () => {
    const node = {textContent: ''};
    let tell;
    const sut = new Announcer(node, {later: (action) => {
        tell = action;
    }, clock: () => 0});
    sut.say('on');
    sut.say('off');
    tell();
    assert.equal(node.textContent, 'off');
});
