// The steps that the panel offers, with their inputs. Knows no page.
//
// An input is {name, type, label, usual}. Types: path, service (empty: all), integer, text, choice (with choices),
// json, flag, and content, which is either a text or bytes in hexadecimal form. An input that is `optional` may stay
// empty and is then left out. `usual: kTerminal15` stands for the path of terminal 15.

export const kTerminal15 = Symbol('the path of terminal 15');

const path = {name: 'path', type: 'path', label: 'Path', usual: '/'};
const terminal15 = {name: 'path', type: 'path', label: 'Path', usual: kTerminal15};
const service = {name: 'service', type: 'service', label: 'Service', optional: true, usual: ''};
const integer = (name, label, usual, more = {}) => ({name, type: 'integer', label, usual, least: 0, ...more});
const text = (name, label, usual, more = {}) => ({name, type: 'text', label, usual, ...more});
const content = (usual) => ({name: 'content', type: 'content', label: 'Content', usual});

export const kGroups = [
    {
        title: 'HTTP answers',
        text: 'For requests to this path and everything below it.',
        steps: [
            {kind: 'delay', title: 'Answer late', text: 'Each answer comes later by this time.',
                inputs: [path, integer('ms', 'Milliseconds', 500)]},
            {kind: 'ignore', title: 'Never answer', text: 'Requests are read, but not answered.', inputs: [path]},
            {kind: 'status', title: 'Answer with a status', text: 'Each request fails with this HTTP status.',
                inputs: [path, integer('code', 'Status', 500, {least: 100, most: 599}),
                    text('body', 'Body', '', {optional: true})]},
            {kind: 'bytes', title: 'Answer with bytes', text: 'These bytes come in place of an answer, then the end.',
                inputs: [path, content('this is not HTTP')]},
            {kind: 'contentType', title: 'Wrong content type', text: 'The right answer, announced as something else.',
                inputs: [path, text('type', 'Type', 'text/html')]},
            {kind: 'pad', title: 'Pad the answer', text: 'The right answer, made as large as this.',
                inputs: [path, integer('size', 'Bytes', 1048576, {most: 67108864})]},
            {kind: 'cut', title: 'Cut the answer', text: 'The second half of each answer is missing.', inputs: [path]},
        ],
    },
    {
        title: 'Subscriptions and messages',
        text: 'For what goes over WebSockets.',
        steps: [
            {kind: 'refuse', title: 'Refuse subscriptions', text: 'New subscriptions to this path get an error.',
                inputs: [terminal15, integer('number', 'Number', 403, {least: 100, most: 599}),
                    text('message', 'Message', '', {optional: true})]},
            {kind: 'withhold', title: 'Withhold the first state',
                text: 'The first notifications of later subscriptions wait: for this time, or until they are released.',
                inputs: [integer('ms', 'Milliseconds', '', {optional: true})]},
            {kind: 'release', title: 'Release', text: 'Sends what is withheld.', inputs: []},
            {kind: 'skip', title: 'Omit notifications', text: 'The next notifications of this path are lost: a gap.',
                inputs: [terminal15, integer('count', 'How many', 1, {least: 1})]},
            {kind: 'twice', title: 'Send twice', text: 'Every message arrives twice.', inputs: []},
            {kind: 'fragment', title: 'Fragment messages', text: 'In pieces of so many bytes, with pings in between.',
                inputs: [integer('size', 'Bytes', 7, {least: 1, most: 125})]},
            {kind: 'sameId', title: 'Same id again', text: 'A new subscription gets the id of the latest open one.',
                inputs: []},
            {kind: 'send', title: 'Send a message', text: 'Once, to each WebSocket with a subscription to this path.',
                inputs: [terminal15, content('{"action":"nonsense"}')]},
        ],
    },
    {
        title: 'Connections',
        text: 'What happens to whole connections.',
        steps: [
            {kind: 'drop', title: 'Reset connections', text: 'The WebSockets end without a close frame.',
                inputs: [service, {name: 'how', type: 'choice', label: 'How', choices: ['reset', 'end'],
                    usual: 'reset'}]},
            {kind: 'close', title: 'Close WebSockets', text: 'The server closes them with this code.',
                inputs: [service, integer('code', 'Code', 1011, {least: 1000, most: 4999})]},
            {kind: 'freeze', title: 'Freeze WebSockets', text: 'The present ones stop reading and sending.',
                inputs: [service]},
            {kind: 'slow', title: 'Slow line', text: 'Everything that is sent leaves so slowly.',
                inputs: [integer('bytesPerSecond', 'Bytes per second', 1000, {least: 1})]},
            {kind: 'stall', title: 'Stall everything', text: 'Nothing that the bus sends leaves any more.', inputs: []},
            {kind: 'refuseConnections', title: 'Refuse connections',
                text: 'Connections are reset, and new ones refused for this time. This page stays connected.',
                inputs: [integer('ms', 'Milliseconds', 5000)], cutsOff: true},
            {kind: 'restart', title: 'Restart',
                text: 'Connections are closed, and new ones refused for this time. This page stays connected.',
                inputs: [integer('ms', 'Milliseconds', 2000)], cutsOff: true},
        ],
    },
    {
        title: 'More changes',
        text: 'What the fields of the elements do not offer.',
        place: 'element-steps',
        steps: [
            {kind: 'set', title: 'Set members',
                text: 'Unchecked, the model does not matter: unknown literals, other types.',
                inputs: [terminal15, {name: 'data', type: 'json', label: 'Data', usual: '{"isSwitchedOn": true}'},
                    {name: 'unchecked', type: 'flag', label: 'Unchecked', usual: false}]},
            {kind: 'add', title: 'Add an element', text: 'With this path and these members.',
                inputs: [{...path, usual: '/ClampControl/clamps/9'},
                    {name: 'data', type: 'json', label: 'Data',
                        usual: '{"name": "Clamp 9", "type": "ClampS", "isSwitchedOn": false}'},
                    {name: 'unchecked', type: 'flag', label: 'Unchecked', usual: false}]},
        ],
    },
];

/** The kinds of steps that have another place in the panel, or none. */
export const kElsewhere = {
    remove: 'each element has a button',
    service: 'each service has a choice',
    clear: 'each fault that lasts has a button',
    print: 'for scenarios only',
    wait: 'for scenarios only',
    expect: 'for scenarios only',
};

/** The value of a step, from the texts of its inputs. Throws an Error with a sentence for people. */
export function stepValue(step, texts) {
    const value = {};
    for (const input of step.inputs) {
        const given = texts[input.name];
        if (input.optional && (given === '' || given === undefined)) {
            continue;
        }
        if (input.type === 'content') {
            value[given.format] = given.format === 'hex' ? hexadecimal(given.text) : given.text;
        } else if (input.type === 'flag') {
            if (given) {
                value[input.name] = true;
            }
        } else {
            value[input.name] = read(input, given);
        }
    }
    return value;
}

function read(input, given) {
    switch (input.type) {
        case 'integer':
            return integerIn(given, input.label, input.least, input.most);
        case 'json':
            try {
                return JSON.parse(given);
            } catch (error) {
                throw new Error(`${input.label} is not JSON: ${error.message}`);
            }
        case 'path':
            if (!given.startsWith('/')) {
                throw new Error(`${input.label} must begin with "/".`);
            }
            return given;
        default:
            return given;
    }
}

/** The integer in a text. Throws an Error with a sentence for people. */
export function integerIn(text, label, least = -Infinity, most = Infinity) {
    const number = Number(text);
    if (!/^\s*-?\d+\s*$/.test(text)) {
        throw new Error(`${label} must be an integer.`);
    }
    if (!Number.isSafeInteger(number)) {
        throw new Error(`${label} is too large for this page.`);
    }
    if (number < least || number > most) {
        throw new Error(most === Infinity ? `${label} must be at least ${least}.`
            : `${label} must be between ${least} and ${most}.`);
    }
    return number;
}

function hexadecimal(text) {
    const digits = text.replace(/\s/g, '');
    if (!/^([0-9a-fA-F]{2})*$/.test(digits)) {
        throw new Error('Bytes must be pairs of hexadecimal digits, such as "48 54".');
    }
    return digits;
}

/**
 * The value of the step `clear` that ends one fault, and what it ends: those of a kind, or those of a path.
 * A fault that shares both with others ends together with those of its kind.
 */
export function clearOf(fault, faults) {
    const others = faults.filter((one) => one.fault !== fault.fault);
    const ofKind = others.filter(({kind}) => kind === fault.kind);
    const ofPath = others.filter(({path: where}) => where === fault.path);
    if (ofKind.length > 0 && ofPath.length === 0 && fault.path) {
        return {value: {path: fault.path}, ends: 1};
    }
    return {value: {fault: fault.kind}, ends: 1 + ofKind.length};
}
