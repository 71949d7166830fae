// The clients with a WebSocket, and their subscriptions.

import {KeyedList, make, setText} from './dom.js';
import {age} from './words.js';

export class ClientsView {
    constructor({store, clock}) {
        Object.assign(this, {store, clock});
        this.empty = document.getElementById('clients-empty');
        this.list = new KeyedList(document.getElementById('client-list'), ({client}) => client, clientView);
    }

    update() {
        this.empty.hidden = this.store.clients.size > 0;
        this.list.update([...this.store.clients.values()]);
        this.tick();
    }

    /** What changes with the time alone. */
    tick() {
        for (const {tick} of this.list.views.values()) {
            tick(this.clock.now());
        }
    }
}

function clientView({client}) {
    const program = make('strong', {});
    const since = make('span', {class: 'note'});
    const where = make('span', {class: 'note'});
    const below = make('ul', {class: 'plain subscriptions', 'aria-label': 'Subscriptions'});
    const list = new KeyedList(below, ({subscription}) => subscription, ({subscription, path}) => ({
        node: make('li', {}, make('code', {}, path), make('span', {class: 'note'}, ` id ${subscription}`)),
    }));
    let begin = 0;
    return {
        node: make('li', {class: 'client', 'data-client': client},
            make('div', {class: 'client-head'}, program, since), where, below),
        update(one) {
            begin = one.since;
            setText(program, one.program || 'unnamed program');
            setText(where, `${one.service} · ${one.address}`);
            list.update([...one.subscriptions.values()]);
        },
        tick: (now) => setText(since, age(now - begin)),
    };
}
