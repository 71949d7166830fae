// What the timeline shows: how clamps, connections, subscriptions and faults went on, and single moments.
// Keeps a limited time and a limited number of entries. Knows no page.

import {awayFault, isAway} from './store.js';

export const kLongestHistory = 30 * 60 * 1000;
export const kMostEntries = 20000;

/** The index of the first entry whose time is later. The list is sorted by `t`. */
export function firstAfter(list, time) {
    let low = 0;
    let high = list.length;
    while (low < high) {
        const middle = (low + high) >>> 1;
        if (list[middle].t <= time) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low;
}

export class History {
    constructor({longest = kLongestHistory, most = kMostEntries} = {}) {
        this.longest = longest;
        this.most = most;
        this.clear();
    }

    clear() {
        /** By path: {path, name, isTerminal15, changes: [{t, on}]}; `on` is null while it is not known. */
        this.signals = new Map();
        /** Each is {from, to, reason, ...}; `to` is undefined as long as it lasts. */
        this.connections = [];
        this.subscriptions = [];
        this.faults = [];
        /** Moments: {t, kind, ...} with the kinds request, violation, step. */
        this.marks = [];
        /** The times about which nothing is known: {from, to}. */
        this.gaps = [];
        /** Nothing is known of the time before. */
        this.knownSince = undefined;
        this.lostAt = undefined;
    }

    /** The connection to the simulator is lost: what happens from now on is not known. */
    lose(time) {
        if (this.knownSince !== undefined) {
            this.lostAt ??= time;
        }
    }

    /** Takes the state in the store at this time, at first and after a loss. */
    load(store, time) {
        this.knownSince ??= time;
        if (this.lostAt !== undefined) {
            this.gaps.push({from: this.lostAt, to: time});
        }
        const lostAt = this.lostAt ?? time;
        this.lostAt = undefined;
        for (const signal of this.signals.values()) {
            this._change(signal, lostAt, null);
        }
        for (const clamp of store.clamps()) {
            this._signal(clamp, time);
        }
        const clients = [...store.clients.values()];
        this._reconcile(this.connections, clients, ({client}) => client, time);
        const subscriptions = clients.flatMap((client) => [...client.subscriptions.values()]
            .map((one) => ({...one, client: client.client})));
        this._reconcile(this.subscriptions, subscriptions, (one) => `${one.client} ${one.subscription}`, time);
        this._reconcile(this.faults, store.activeFaults(), ({fault}) => fault, time);
        this.trim(time);
    }

    /** Takes an event, with what the store says of it. */
    apply(name, event, details) {
        const time = event.t;
        switch (name) {
            case 'element':
                if (typeof details.element?.isSwitchedOn === 'boolean') {
                    this._signal(details.element, time);
                }
                break;
            case 'elementRemoved':
                if (this.signals.has(event.path)) {
                    this._change(this.signals.get(event.path), time, null);
                }
                break;
            case 'connected':
                this.connections.push(span(event, time));
                break;
            case 'disconnected':
                this._end(this.connections, ({client}) => client === event.client, time, event.reason);
                this._end(this.subscriptions, ({client}) => client === event.client, time, event.reason);
                break;
            case 'subscribed':
                this.subscriptions.push(span(event, time));
                break;
            case 'unsubscribed':
                this._end(this.subscriptions, (one) => one.client === event.client &&
                    one.subscription === event.subscription, time, event.reason);
                break;
            case 'service':
                this._end(this.faults, ({fault}) => fault === `service ${event.name}`, time);
                if (isAway(details.service)) {
                    this.faults.push(span(awayFault(details.service), time));
                }
                break;
            case 'fault':
                if (event.kind === 'service') {
                    return;
                }
                this._end(this.faults, ({fault}) => fault === event.fault, time);
                this.faults.push(span(event, time));
                break;
            case 'cleared':
                this._end(this.faults, ({fault}) => fault === event.fault, time);
                break;
            case 'request':
            case 'violation':
                this.marks.push({...event, kind: name});
                break;
            case 'step':
                this.marks.push({t: time, kind: 'step', text: event.text ?? event.kind, source: event.source});
                break;
            default:
                return;
        }
        this.trim(time);
    }

    /** Forgets what is too old or too much. */
    trim(now) {
        const limit = now - this.longest;
        for (const signal of this.signals.values()) {
            // The last change before the limit says how it was at the limit.
            this._drop(signal.changes, Math.max(0, firstAfter(signal.changes, limit) - 1), this.most);
        }
        this._drop(this.marks, firstAfter(this.marks, limit), this.most);
        for (const name of ['connections', 'subscriptions', 'faults', 'gaps']) {
            this._dropEnded(name, limit);
        }
        this.knownSince = Math.max(this.knownSince ?? limit, limit);
    }

    _drop(list, old, most) {
        const tooMany = list.length > most * 1.1 ? list.length - most : 0;
        const count = Math.max(old > most * 0.1 || old === list.length ? old : 0, tooMany);
        if (count > 0) {
            const [last] = list.splice(0, count).slice(-1);
            if (tooMany > 0) {
                this.knownSince = Math.max(this.knownSince, last.t);
            }
        }
    }

    _dropEnded(name, limit) {
        const list = this[name];
        const most = this.most / 4;
        if (list.length > most * 1.1) {
            const lasting = list.filter((one) => one.to === undefined);
            const ended = list.filter((one) => one.to !== undefined);
            const kept = Math.max(0, Math.floor(most) - lasting.length);
            this[name] = [...ended.slice(Math.max(0, ended.length - kept)), ...lasting];
        }
        if (list.length > 0 && list[0].to < limit) {
            this[name] = this[name].filter((one) => !(one.to < limit));
        }
    }

    _signal(element, time) {
        let signal = this.signals.get(element.uri);
        if (!signal) {
            signal = {path: element.uri, changes: []};
            this.signals.set(element.uri, signal);
        }
        signal.name = element.name ?? element.uri;
        signal.isTerminal15 = element.type === 'Clamp15';
        this._change(signal, time, element.isSwitchedOn);
    }

    _change(signal, t, on) {
        if (signal.changes.at(-1)?.on !== on || signal.changes.length === 0) {
            signal.changes.push({t, on});
        }
    }

    _end(list, matches, time, reason) {
        // From behind: what lasts is mostly new.
        for (let index = list.length - 1; index >= 0; --index) {
            const one = list[index];
            if (one.to === undefined && matches(one)) {
                one.to = time;
                one.reason = reason;
            }
        }
    }

    _reconcile(list, present, key, time) {
        const open = new Map(list.filter((one) => one.to === undefined).map((one) => [key(one), one]));
        for (const one of present) {
            if (!open.delete(key(one))) {
                list.push(span(one, one.since ?? time));
            }
        }
        for (const one of open.values()) {
            one.to = time;
            one.reason = 'ended while this page had no connection';
        }
    }
}

function span(event, from) {
    const {t, since, subscriptions, ...rest} = event;
    return {...rest, from, to: undefined};
}
