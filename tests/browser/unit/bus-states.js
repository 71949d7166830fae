// States and stores for the unit tests.

import {Store} from '../../../simulator/panel/store.js';

export function clamp(id, isSwitchedOn, type = id === '1' ? 'Clamp15' : 'ClampS') {
    return {id, name: `Clamp ${id}`, uri: `/ClampControl/clamps/${id}`, isSwitchedOn, type};
}

const kClamps = [clamp('1', false), clamp('2', true)];

export function stateWith({clamps = kClamps, clients = [], faults = [], now = 1000} = {}) {
    return {
        name: 'zeb-bus-sim', version: '0.1.0', now, baseUri: 'http://127.0.0.1:8015', basePath: '/', clients, faults,
        services: [{name: 'ClampControl', present: true, available: true,
            resources: [{name: 'clamps', elements: clamps}]}],
    };
}

export function client(number, subscriptions = [], since = 500) {
    const address = `127.0.0.1:${40000 + number}`;
    const program = `clamp-monitor/${number}`;
    return {client: number, service: 'ClampControl', address, program, since, subscriptions};
}

export function storeWith(state = stateWith()) {
    const store = new Store();
    store.load(state, false);
    return store;
}
