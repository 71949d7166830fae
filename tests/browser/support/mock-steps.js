// What the steps do to the mock bus. Faults are only listed: the mock serves nothing that they could harm.

const kLasting = new Set(['delay', 'ignore', 'status', 'bytes', 'contentType', 'pad', 'cut', 'refuse', 'withhold',
    'twice', 'fragment', 'sameId', 'stall', 'slow', 'refuseConnections']);
const kAtOnce = new Set(['release', 'skip', 'send', 'freeze', 'print']);

export class Refusal extends Error {
    constructor(number, reason, message) {
        super(message);
        Object.assign(this, {number, reason});
    }
}

/** Does a step. Throws a Refusal. */
export function performStep(bus, kind, value) {
    const step = kSteps[kind];
    if (step) {
        step(bus, value);
    } else if (kLasting.has(kind)) {
        bus.beginFault(kind, value.path, `${kind} ${JSON.stringify(value)}`);
    } else if (!kAtOnce.has(kind)) {
        throw new Refusal(404, 'invalid_path', `There is no step "${kind}"`);
    }
    bus.emit('step', {kind, text: `${kind} ${JSON.stringify(value)}`, source: 'control'});
}

function elementAt(bus, path) {
    const {resource, element} = bus.find(path);
    if (!element) {
        throw new Refusal(404, 'unavailable_data', `There is no element ${path}`);
    }
    return {resource, element};
}

function check(resource, data) {
    for (const {key, literals} of resource.fields ?? []) {
        if (literals && typeof data[key] === 'string' && !literals.includes(data[key])) {
            throw new Refusal(400, 'bad_request', `"${data[key]}" is not a literal of ${key}`);
        }
    }
}

const kSteps = {
    set(bus, {path, data, unchecked}) {
        const {resource, element} = elementAt(bus, path);
        if (!unchecked) {
            check(resource, data);
        }
        Object.assign(element, data);
        bus.emit('element', {path, data: element});
    },
    add(bus, {path, data, unchecked}) {
        const {resource, element} = bus.find(path);
        if (!resource || element) {
            throw new Refusal(400, 'bad_request', `${path} cannot be added`);
        }
        if (!unchecked) {
            check(resource, data);
        }
        const added = {id: path.split('/').pop(), name: '', ...data, uri: path};
        resource.elements.push(added);
        bus.emit('element', {path, data: added});
    },
    remove(bus, {path}) {
        const {resource, element} = elementAt(bus, path);
        resource.elements.splice(resource.elements.indexOf(element), 1);
        bus.emit('elementRemoved', {path});
    },
    service(bus, {name, ...change}) {
        const service = bus.services.find((one) => one.name === name);
        if (!service) {
            throw new Refusal(404, 'invalid_path', `There is no service "${name}"`);
        }
        Object.assign(service, change);
        const {present, available} = service;
        bus.emit('service', {name, present, available});
        if (!present || !available) {
            bus.disconnectAll(name, 'closed with 1001');
        }
    },
    clear(bus, {path, fault}) {
        const isForAll = path === undefined && fault === undefined;
        bus.endFaults((one) => isForAll || (fault === undefined ? one.path === path : one.kind === fault));
        for (const {name} of isForAll ? bus.services.filter((one) => !one.present || !one.available) : []) {
            kSteps.service(bus, {name, present: true, available: true});
        }
    },
    drop: (bus, {service}) => bus.disconnectAll(service, 'dropped'),
    close: (bus, {service, code}) => bus.disconnectAll(service, `closed with ${code}`),
    restart(bus, {ms = 0}) {
        bus.disconnectAll(undefined, 'restart');
        setTimeout(() => bus.restart(ms), 20);
    },
};
