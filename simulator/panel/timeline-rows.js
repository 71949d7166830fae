// The rows of the timeline: what is drawn where, from the history. Knows no page.

import {firstAfter} from './history.js';
import {faultName} from './words.js';

/** More rows would not be read. */
const kMostRows = {connection: 24, fault: 12};
const kMostSubscriptionRows = 6;

export function clientName(one) {
    return one.program || one.address || `client ${one.client}`;
}

/** The rows with something in this window: {kind, label, note, signal | spans | marks}. */
export function timelineRows(history, from, to, now) {
    return [
        ...signalRows(history),
        ...connectionRows(history, from, to, now),
        ...spanRows('fault', history.faults, from, to, now, faultLabel),
        ...markRows(history, from, to),
    ];
}

function signalRows(history) {
    const signals = [...history.signals.values()];
    return [...signals.filter((one) => one.isTerminal15), ...signals.filter((one) => !one.isTerminal15)]
        .map((signal) => ({kind: 'signal', label: signal.name, note: signal.path, signal}));
}

/** Each client has a row, below it are those of its subscriptions. A client that comes back gets its old row. */
function connectionRows(history, from, to, now) {
    const rows = spanRows('connection', history.connections, from, to, now,
        (one) => ({key: `${clientName(one)} ${one.service}`, label: clientName(one), note: one.service}));
    return rows.flatMap((row) => {
        const clients = new Set(row.spans.map(({client}) => client));
        const own = history.subscriptions.filter(({client}) => clients.has(client));
        const below = spanRows('subscription', own, from, to, now, ({path}) => ({key: path, label: path, note: ''}));
        return row.kind === 'more' ? [row] : [row, ...limited(below, kMostSubscriptionRows, 'subscriptions')];
    });
}

function faultLabel(fault) {
    return {key: `${fault.kind} ${fault.path ?? ''}`, label: faultName(fault), note: fault.text ?? ''};
}

/** Spans with the same key share a row unless they overlap. */
function spanRows(kind, spans, from, to, now, describe) {
    const rows = [];
    const byKey = new Map();
    for (const span of [...spans].sort((one, other) => one.from - other.from)) {
        if (span.from > to || (span.to ?? now) < from) {
            continue;
        }
        const {key, label, note} = describe(span);
        const candidates = byKey.get(key) ?? [];
        let row = candidates.find((one) => (one.spans.at(-1).to ?? Infinity) <= span.from);
        if (!row) {
            row = {kind, label, note, spans: []};
            candidates.push(row);
            byKey.set(key, candidates);
            rows.push(row);
        }
        row.spans.push(span);
    }
    return kind === 'subscription' ? rows : limited(rows, kMostRows[kind], `${kind}s`);
}

/** The newest rows, and one that tells how many are missing. */
function limited(rows, most, what) {
    if (rows.length <= most) {
        return rows;
    }
    const kept = rows.slice(rows.length - most);
    return [...kept, {kind: 'more', label: `and ${rows.length - most} older ${what}`, note: '', spans: []}];
}

function markRows(history, from, to) {
    const first = Math.max(0, firstAfter(history.marks, from) - 1);
    const marks = history.marks.slice(first, firstAfter(history.marks, to));
    const rowOf = (kind, label) => ({kind: 'marks', of: kind, label, note: '',
        marks: marks.filter((one) => one.kind === kind)});
    return [rowOf('request', 'Requests'), rowOf('step', 'Steps'), rowOf('violation', 'Violations')];
}

/** Everything that is the case at a time; the marks are those within the tolerance. */
export function factsAt(history, time, tolerance) {
    const during = (one) => one.from <= time && (one.to === undefined || one.to >= time);
    const known = time >= history.knownSince && !history.gaps.some(during) &&
        !(history.lostAt !== undefined && time > history.lostAt);
    const marks = history.marks.slice(firstAfter(history.marks, time - tolerance),
        firstAfter(history.marks, time + tolerance));
    return {
        known,
        signals: [...history.signals.values()].map((signal) => ({
            name: signal.name, path: signal.path, isTerminal15: signal.isTerminal15,
            on: known ? valueAt(signal, time) : null,
        })),
        connections: history.connections.filter(during),
        subscriptions: history.subscriptions.filter(during),
        faults: history.faults.filter(during),
        marks,
    };
}

/** Whether a clamp was on; null if it is not known. */
export function valueAt(signal, time) {
    return signal.changes[firstAfter(signal.changes, time) - 1]?.on ?? null;
}

/** The time of the next (or previous) change of anything, or undefined. */
export function nextMoment(history, time, forward) {
    let best;
    const offer = (at) => {
        if (at !== undefined && (forward ? at > time : at < time) &&
            (best === undefined || (forward ? at < best : at > best))) {
            best = at;
        }
    };
    const inList = (list) => {
        const after = firstAfter(list, time);
        offer(list[after]?.t);
        // Several entries may have exactly this time.
        for (let index = after - 1; index >= 0 && index >= after - 1000; --index) {
            offer(list[index].t);
            if (list[index].t < time) {
                break;
            }
        }
    };
    for (const signal of history.signals.values()) {
        inList(signal.changes);
    }
    inList(history.marks);
    for (const list of [history.connections, history.subscriptions, history.faults]) {
        for (const one of list) {
            offer(one.from);
            offer(one.to);
        }
    }
    return best;
}
