// The latest events in words, the newest first.

import {make, setText} from './dom.js';
import {counted, kTopics, timeOfDay} from './words.js';

const kMostEntries = 500;
const kTitles = {elements: 'Elements', clients: 'Clients', requests: 'Requests', faults: 'Faults and steps'};

export class LogView {
    constructor({store, clock}) {
        Object.assign(this, {store, clock, waiting: []});
        this.list = document.getElementById('log-list');
        this.empty = document.getElementById('log-empty');
        this.counts = document.getElementById('log-counts');
        const topics = document.getElementById('log-topics');
        for (const topic of Object.keys(kTopics)) {
            const box = make('input', {type: 'checkbox', onchange: () => this._show(topic, box.checked)});
            box.checked = true;
            topics.append(make('label', {class: 'choice'}, box, kTitles[topic]));
        }
    }

    /** Takes a sentence(). It is shown with the next update(). */
    add(time, {text, tone, topic}) {
        this.waiting.push({time, text, tone, topic});
        if (this.waiting.length > 2 * kMostEntries) {
            this.waiting.splice(0, kMostEntries);
        }
    }

    clear() {
        this.waiting = [];
        this.list.replaceChildren();
    }

    update() {
        const {requests, violations} = this.store;
        setText(this.counts, `${counted(requests, 'request')}, ${counted(violations, 'violation')}`);
        const added = this.waiting.splice(0).slice(-kMostEntries);
        if (added.length > 0) {
            this.list.prepend(...added.reverse().map((entry) => this._entry(entry)));
            while (this.list.childElementCount > kMostEntries) {
                this.list.lastElementChild.remove();
            }
        }
        this.empty.hidden = this.list.childElementCount > 0;
    }

    _entry({time, text, tone, topic}) {
        return make('li', {class: 'entry', 'data-tone': tone, 'data-topic': topic},
            make('time', {}, timeOfDay(this.clock.wallTime(time))), make('span', {}, text));
    }

    /** The style sheet hides the topics that are named. */
    _show(topic, isShown) {
        this.list.classList.toggle(`without-${topic}`, !isShown);
    }
}
