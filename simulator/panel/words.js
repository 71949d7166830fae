// Times, values and events in words. Knows no page.

export function pad(number, digits = 2) {
    return String(Math.trunc(number)).padStart(digits, '0');
}

/** The time of day: "12:34:56.789"; with a step of full seconds "12:34:56". */
export function timeOfDay(wallTime, step = 1) {
    const date = new Date(wallTime);
    const seconds = `${pad(date.getHours())}:${pad(date.getMinutes())}:${pad(date.getSeconds())}`;
    return step % 1000 === 0 ? seconds : `${seconds}.${pad(date.getMilliseconds(), 3)}`;
}

/** "0.250 s", "12.3 s", "3 min 5 s", "2 h 7 min" */
export function duration(ms) {
    if (ms < 10000) {
        return `${(Math.max(ms, 0) / 1000).toFixed(ms < 1000 ? 3 : 1)} s`;
    }
    const seconds = Math.floor(ms / 1000);
    if (seconds < 60) {
        return `${seconds} s`;
    }
    const minutes = Math.floor(seconds / 60);
    return minutes < 60 ? `${minutes} min ${seconds % 60} s` : `${Math.floor(minutes / 60)} h ${minutes % 60} min`;
}

/** How long something has lasted, in whole seconds. */
export function age(ms) {
    return ms < 10000 ? `${Math.max(0, Math.floor(ms / 1000))} s` : duration(ms);
}

/** The length of a window: "60 s" becomes "1 min". */
export function spanText(ms) {
    if (ms < 1000) {
        return `${Math.round(ms)} ms`;
    }
    return ms < 60000 ? `${Number((ms / 1000).toPrecision(2))} s` : `${Number((ms / 60000).toPrecision(2))} min`;
}

export function counted(number, one, several = `${one}s`) {
    return `${number} ${number === 1 ? one : several}`;
}

export function onOff(on) {
    return on === true ? 'on' : on === false ? 'off' : 'unknown';
}

/** A value of a field as a person reads it. */
export function valueText(value) {
    if (value === undefined) {
        return 'not set';
    }
    if (Array.isArray(value)) {
        return value.length === 0 ? 'empty' : value.map(valueText).join(', ');
    }
    if (value !== null && typeof value === 'object') {
        return typeof value.uri === 'string' ? `${value.name ?? ''} (${value.uri})`.trim() : JSON.stringify(value);
    }
    return value === null ? 'none' : String(value);
}

/** A request and its status; 0 if it was not answered. */
export function requestText({method, path, status}) {
    return `${method} ${path}: ${status === 0 ? 'not answered' : status}`;
}

export function isFailed({status}) {
    return status >= 400 || status === 0;
}

/** "available", or how a service is away. */
export function serviceText({present, available}) {
    return !present ? 'not present' : available ? 'available' : 'unavailable';
}

function who(client, number, program) {
    if (!client && (number === 0 || program)) {
        return program || 'A client';
    }
    return client ? `${client.program || 'A client'} (${client.address})` : `Client ${number}`;
}

const kSentences = {
    element({path, data}, {element, isNew, changes}) {
        const shown = element ?? {name: path, ...data};
        if (isNew) {
            return {text: `${shown.name ?? path} was added: ${path}`};
        }
        const switched = changes?.find(({key}) => key === 'isSwitchedOn');
        if (switched && changes.length === 1) {
            const name = shown.type === 'Clamp15' ? 'Terminal 15' : shown.name ?? path;
            return {text: `${name} is ${onOff(switched.after)}`, tone: switched.after === true ? 'on' : ''};
        }
        if (!changes || changes.length === 0) {
            return {text: `${shown.name ?? path} was set, to the same state`};
        }
        const list = changes.map(({key, after}) => `${key} is ${valueText(after)}`).join(', ');
        return {text: `${shown.name ?? path}: ${list}`};
    },
    elementRemoved: ({path}, {element}) => ({text: `${element?.name ?? path} was removed: ${path}`}),
    service({name}, {service}) {
        const away = !service.present || !service.available;
        return {text: `The service ${name} is ${serviceText(service)}`, tone: away ? 'fault' : ''};
    },
    connected: ({client, service}, details) =>
        ({text: `${who(details.client, client)} has connected to ${service}`}),
    disconnected: ({client, reason}, details) => ({
        text: `${who(details.client, client)} has disconnected${reason ? `: ${reason}` : ''}`,
    }),
    request: (request) => ({
        text: `${requestText(request)}${request.program ? ` (${request.program})` : ''}`,
        tone: isFailed(request) ? 'fault' : '',
    }),
    subscribed: ({client, path}, details) => ({text: `${who(details.client, client)} has subscribed to ${path}`}),
    unsubscribed: ({client, path, reason}, details) => ({
        text: `${who(details.client, client)} is no longer subscribed to ` +
            `${path ?? details.subscription?.path}${reason ? `: ${reason}` : ''}`,
    }),
    fault: (fault) => ({text: `Fault "${faultName(fault)}" has begun: ${fault.text}`, tone: 'fault'}),
    cleared: ({kind}, {fault}) => ({text: `Fault "${kind}" has ended${fault?.text ? `: ${fault.text}` : ''}`}),
    violation: ({client, program, text}, details) =>
        ({text: `${who(details.client, client, program)}: ${text}`, tone: 'violation'}),
    step: ({kind, text, source}) => ({text: `${source === 'scenario' ? 'Scenario' : 'Step'}: ${text || kind}`}),
};


/** The kind of a fault, with its path unless its text names it. */
export function faultName({kind, path, text}) {
    return path && path !== '/' && !text?.includes(path.slice(1)) ? `${kind} ${path}` : kind;
}

/** The kinds of steps that say more than the events that they lead to. */
const kTellingSteps = ['release', 'skip', 'send', 'drop', 'close', 'freeze'];

/** Whether an event says something that no other says. */
export function isWorthTelling(name, {kind}) {
    return name !== 'step' || kTellingSteps.includes(kind);
}

/** The topics by which the log can be filtered. */
export const kTopics = {
    elements: ['element', 'elementRemoved', 'service'],
    clients: ['connected', 'disconnected', 'subscribed', 'unsubscribed'],
    requests: ['request'],
    faults: ['fault', 'cleared', 'violation', 'step'],
};

/** An event as a sentence: {text, tone, topic}. The tone is "", "on", "fault" or "violation". */
export function sentence(name, event, details) {
    const topic = Object.keys(kTopics).find((one) => kTopics[one].includes(name));
    return {tone: '', ...kSentences[name]?.(event, details) ?? {text: name}, topic};
}
