// What can be done to the bus: the steps of the catalog, services that go away, and the faults at work.

import {KeyedList, make, newId, setAttribute, setText} from './dom.js';
import {clearOf, kGroups, stepValue} from './fault-catalog.js';
import {inputControl} from './step-inputs.js';
import {age, faultName, serviceText} from './words.js';

export class FaultsView {
    constructor({store, steps, clock, announcer}) {
        Object.assign(this, {store, steps, clock, announcer, inputs: []});
        for (const group of kGroups) {
            document.getElementById(group.place ?? 'fault-groups').append(this._groupView(group));
        }
        this.empty = document.getElementById('active-empty');
        this.error = document.getElementById('active-error');
        this.endAll = document.getElementById('end-all');
        this.endAll.addEventListener('click', () => {
            if (this.store.activeFaults().length > 0) {
                this._clear({}, 'All faults have ended');
            }
        });
        this.active = new KeyedList(document.getElementById('active-list'), ({fault}) => fault,
            (fault) => this._activeView(fault));
        this.away = new KeyedList(document.getElementById('away-list'), ({name}) => name,
            (service) => this._awayView(service));
        this.paths = new KeyedList(document.getElementById('paths'), (path) => path,
            (path) => ({node: make('option', {value: path})}));
    }

    update() {
        const faults = this.store.activeFaults();
        this.empty.hidden = faults.length > 0;
        setAttribute(this.endAll, 'aria-disabled', faults.length === 0 ? 'true' : undefined);
        const hadFocus = this.active.parent.contains(document.activeElement);
        this.active.update(faults);
        if (hadFocus && !this.active.parent.contains(document.activeElement)) {
            this.endAll.focus();  // the button that had the focus is gone
        }
        this.away.update(this.store.services);
        this.paths.update(this.store.paths());
        for (const input of this.inputs) {
            input.update(this.store);
        }
        this.tick();
    }

    /** What changes with the time alone. */
    tick() {
        for (const {tick} of this.active.views.values()) {
            tick(this.clock.now());
        }
    }

    _groupView({title, text, steps}) {
        const id = newId('group');
        return make('section', {'aria-labelledby': id, class: 'group'}, make('h3', {id}, title),
            make('p', {class: 'note'}, text),
            make('div', {class: 'steps'}, ...steps.map((step) => this._stepView(step))));
    }

    _stepView(step) {
        const controls = step.inputs.map((input) => [input, inputControl(input)]);
        this.inputs.push(...controls.map(([, control]) => control));
        const about = make('p', {class: 'note', id: newId('about')}, step.text);
        const error = make('p', {class: 'error', role: 'status'});
        const button = make('button', {type: 'submit', 'aria-describedby': about.id}, step.title);
        const perform = async () => {
            let value;
            try {
                const texts = controls.map(([{name}, control]) => [name, control.read()]);
                value = stepValue(step, Object.fromEntries(texts));
            } catch (problem) {
                setText(error, problem.message);
                return;
            }
            button.setAttribute('aria-busy', 'true');
            const {done, message} = await this.steps.perform(step.kind, value, {cutsOff: step.cutsOff});
            button.removeAttribute('aria-busy');
            setText(error, message ?? '');
            if (done) {
                this.announcer.say(`Done: ${step.title}`);
            }
        };
        const inputs = controls.length > 0 &&
            make('div', {class: 'step-inputs'}, ...controls.map(([, {node}]) => node));
        return make('form', {class: 'step', 'data-kind': step.kind, novalidate: true, onsubmit: (event) => {
            event.preventDefault();
            perform();
        }}, button, about, inputs, error);
    }

    _activeView({fault: number}) {
        const text = make('span', {class: 'fault-text'});
        const since = make('span', {class: 'note'});
        const end = make('button', {type: 'button', onclick: () => {
            if (present.service) {
                this._return(present.service);
            } else {
                this._clear(clearOf(present, this.store.activeFaults()).value, 'The fault has ended');
            }
        }});
        let present;
        return {
            node: make('li', {class: 'active-fault', 'data-fault': number}, make('div', {}, text, since), end),
            update: (fault) => {
                present = fault;
                const name = faultName(fault);
                text.replaceChildren(make('strong', {}, name), ` ${fault.text ?? ''}`);
                const {ends} = fault.service ? {ends: 1} : clearOf(fault, this.store.activeFaults());
                setText(end, ends > 1 ? `End all “${fault.kind}”` : 'End');
                end.setAttribute('aria-label', ends > 1 ? `End all faults ${fault.kind}` : `End ${name}`);
            },
            tick: (now) => setText(since, `for ${age(now - present.since)}`),
        };
    }

    async _return(service) {
        const message = await this._setService(service, 'available');
        setText(this.error, message ?? '');
    }

    async _clear(value, announcement) {
        const {done, message} = await this.steps.perform('clear', value);
        setText(this.error, message ?? '');
        if (done) {
            this.announcer.say(announcement);
        }
    }

    /** The three states of a service, as radio buttons. */
    _awayView({name}) {
        const group = newId('away');
        const error = make('p', {class: 'error', role: 'status'});
        const buttons = ['available', 'unavailable', 'not present'].map((state) => make('input', {
            type: 'radio', name: group, value: state, onchange: async () => {
                const message = await this._setService(name, state);
                setText(error, message ?? '');
                if (message) {
                    this.update();  // otherwise an event brings the new state
                }
            },
        }));
        const node = make('fieldset', {class: 'away', 'data-service': name}, make('legend', {}, name),
            ...buttons.map((button) => make('label', {}, button, make('span', {}, button.value))), error);
        return {
            node,
            update(service) {
                for (const button of buttons) {
                    button.checked = button.value === serviceText(service);
                }
            },
        };
    }

    /** Returns what is wrong, or undefined. */
    async _setService(name, state) {
        const {present} = this.store.services.find((one) => one.name === name) ?? {};
        // A service comes back as it is meant to be: it must not be there for a moment in a state that nobody chose.
        const values = state === 'not present' ? [{present: false}]
            : [{available: state === 'available'}, ...(present ? [] : [{present: true}])];
        for (const value of values) {
            const {message} = await this.steps.perform('service', {name, ...value});
            if (message) {
                return message;
            }
        }
        return undefined;
    }
}
