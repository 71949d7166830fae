// Every element of every service, with its fields.

import {KeyedList, make, newId, setText} from './dom.js';
import {fieldControl, fieldsOf} from './field-controls.js';
import {counted, serviceText} from './words.js';

export class ServicesView {
    constructor({store, steps, announcer}) {
        Object.assign(this, {store, steps, announcer});
        this.empty = document.getElementById('services-empty');
        const parent = document.getElementById('service-list');
        this.list = new KeyedList(parent, ({name}) => name, (service) => this._serviceView(service));
    }

    update() {
        this.empty.hidden = this.store.services.length > 0;
        this.list.update(this.store.services);
    }

    _serviceView({name}) {
        const state = make('span', {class: 'badge'});
        const count = make('span', {class: 'note'});
        const body = make('div', {class: 'resources'});
        const removed = make('ul', {class: 'plain removed', 'aria-label': `Removed from ${name}`});
        const isOpen = this.store.terminal15()?.uri.startsWith(`/${name}/`);
        const node = make('details', {class: 'service', open: isOpen === true, 'data-service': name},
            make('summary', {}, make('h3', {}, name), state, count), body, removed);
        const resources = new KeyedList(body, (resource) => resource.name,
            (resource) => this._resourceView(name, resource));
        const undo = new KeyedList(removed, ({uri}) => uri, (element) => this._removedView(element));
        return {
            node,
            update: (service) => {
                const text = serviceText(service);
                setText(state, text);
                state.dataset.state = text;
                const elements = (service.resources ?? []).flatMap((one) => one.elements ?? []);
                setText(count, counted(elements.length, 'element'));
                resources.update((service.resources ?? []).map((resource) => ({...resource, service: name})));
                undo.update([...this.store.removed.values()].filter(({uri}) => uri.startsWith(`/${name}/`)));
            },
        };
    }

    _resourceView(service, {name}) {
        const cards = make('div', {class: 'elements'});
        const empty = make('p', {class: 'empty'}, 'No element.');
        const node = make('section', {class: 'resource'}, make('h4', {}, name), empty, cards);
        const list = new KeyedList(cards, ({element}) => element.uri, (item) => this._elementView(item));
        return {
            node,
            update(resource) {
                const elements = resource.elements ?? [];
                empty.hidden = elements.length > 0;
                list.update(elements.map((element) => ({resource, element})));
            },
        };
    }

    _elementView({element: {uri}}) {
        const id = newId('element');
        const name = make('h5', {id});
        const error = make('p', {class: 'error', role: 'status'});
        const complain = (text) => setText(error, text);
        const send = async (data, options = {}) => {
            const {done, message} = await this.steps.perform('set', {path: uri, data, ...options});
            complain(message ?? '');
            return done;
        };
        const remove = make('button', {type: 'button', class: 'quiet danger', 'aria-label': `Remove ${uri}`,
            onclick: () => this._remove(uri, complain)}, 'Remove');
        const body = make('div', {class: 'fields'});
        const node = make('div', {class: 'element', role: 'group', 'aria-labelledby': id, 'data-path': uri},
            make('div', {class: 'element-head'}, make('div', {}, name, make('code', {}, uri)), remove), body, error);
        const keyOf = ({field}) => `${field.key} ${field.kind} ${field.isExtra ?? ''}`;
        const fields = new KeyedList(body, keyOf, ({field}) => {
            const control = fieldControl(field, (value, options) => send({[field.key]: value}, options), complain);
            return {node: control.node, update: ({element}) => control.update(element[field.key])};
        });
        let known;
        return {
            node,
            update: ({resource, element}) => {
                setText(name, element.name ?? uri);
                fields.update(fieldsOf(resource, element).map((field) => ({field, element})));
                const text = JSON.stringify(element);
                if (known !== undefined && known !== text) {
                    flash(node);
                }
                known = text;
            },
        };
    }

    async _remove(uri, complain) {
        this.focusUndo = uri;
        const {done, message} = await this.steps.perform('remove', {path: uri});
        complain(message ?? '');
        if (done) {
            this.announcer.say(`${uri} was removed`);
        } else {
            this.focusUndo = undefined;
        }
    }

    _removedView({uri, name}) {
        const error = make('p', {class: 'error', role: 'status'});
        let summary;
        const button = make('button', {type: 'button', 'aria-label': `Undo: bring ${uri} back`, onclick: async () => {
            const {id, uri: path, ...data} = this.store.removed.get(uri) ?? {uri};
            // It is brought back as it was, even if the model would not allow it.
            const {done, message} = await this.steps.perform('add', {path, data, unchecked: true});
            setText(error, message ?? '');
            if (done) {
                this.announcer.say(`${uri} is back`);
                summary?.focus();
            }
        }}, 'Undo');
        const node = make('li', {}, make('span', {}, `${name ?? uri} was removed.`), button, error);
        // The button that has removed it is gone, and with it the focus.
        requestAnimationFrame(() => {
            summary = node.closest('details')?.querySelector('summary');
            if (this.focusUndo === uri) {
                this.focusUndo = undefined;
                button.focus();
            }
        });
        return {node};
    }
}

/** Shows for a moment that something has changed. The style leaves it out for those who want less motion. */
function flash(node) {
    node.classList.remove('changed');
    requestAnimationFrame(() => node.classList.add('changed'));
}
