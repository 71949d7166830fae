// The switch of terminal 15.

import {setAttribute, setText} from './dom.js';
import {age, onOff} from './words.js';

export class IgnitionView {
    constructor({store, steps, clock, announcer, history}) {
        Object.assign(this, {store, steps, clock, announcer, history, told: undefined});
        this.button = document.getElementById('terminal15');
        this.state = document.getElementById('terminal15-state');
        this.note = document.getElementById('ignition-note');
        this.error = document.getElementById('ignition-error');
        this.button.addEventListener('click', () => this._toggle());
    }

    async _toggle() {
        const element = this.store.terminal15();
        if (!element || !this.store.isLive) {
            return;
        }
        const data = {isSwitchedOn: element.isSwitchedOn !== true};
        this.button.setAttribute('aria-busy', 'true');
        const {message} = await this.steps.perform('set', {path: element.uri, data});
        this.button.removeAttribute('aria-busy');
        setText(this.error, message ?? '');
    }

    update() {
        const element = this.store.terminal15();
        const on = element?.isSwitchedOn;
        const {isLive} = this.store;
        // Without a connection, nobody knows how it is.
        const text = element && isLive ? onOff(on) : 'unknown';
        setAttribute(this.button, 'aria-disabled', element && isLive ? undefined : 'true');
        setAttribute(this.button, 'aria-checked', text === 'on');
        this.button.dataset.state = text;
        setText(this.state, text);
        document.title = element ? `${text} · terminal 15 · zeb-bus-sim` : 'zeb-bus-sim';
        if (isLive) {
            if (this.told !== undefined && this.told !== text) {
                this.announcer.say(`Terminal 15 is ${text}`);
            }
            this.told = text;
        }
        this.path = element?.uri;
        this.tick();
    }

    /** What changes with the time alone. */
    tick() {
        const last = this.history.signals.get(this.path)?.changes.at(-1);
        const isSeen = last && last.t > this.history.knownSince;
        const since = isSeen && this.store.isLive ? `${onOff(last.on)} for ${age(this.clock.now() - last.t)} · ` : '';
        setText(this.note, this.path ? `${since}${this.path}` : 'The bus has no clamp of type Clamp15.');
    }
}
