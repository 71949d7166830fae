// What the timeline shows as tables, for those who read rather than look.

import {make} from './dom.js';
import {clientName} from './timeline-rows.js';
import {duration, onOff, requestText, timeOfDay} from './words.js';

/** A table with more lines would not be read. */
const kMostLines = 200;

export class TimelineTable {
    constructor({history, clock, timeline}) {
        Object.assign(this, {history, clock, timeline});
        this.details = document.getElementById('timeline-table');
        this.place = document.getElementById('timeline-tables');
        this.details.addEventListener('toggle', () => {
            if (this.details.open) {
                this.build();
            }
        });
    }

    /** The tables change only when asked to: whoever reads them is not interrupted. */
    build() {
        const {from, to} = this.timeline.window;
        const now = this.timeline.now();
        const inWindow = (one) => one.from <= to && (one.to ?? now) >= from;
        const span = (one) => [this._time(one.from), one.to === undefined ? 'lasts' : this._time(one.to),
            duration((one.to ?? now) - one.from), one.reason ?? ''];
        const changes = [...this.history.signals.values()].flatMap(({name, changes: list}) => list
            .filter(({t}, index) => t <= to && (list[index + 1]?.t ?? now) >= from)
            .map(({t, on}) => ({t, name, on}))).sort((one, other) => one.t - other.t);
        const clients = new Map(this.history.connections.map((one) => [one.client, clientName(one)]));
        const marks = this.history.marks.filter(({t}) => t >= from && t <= to);
        const tables = [
            table('Clamps', ['Time', 'Clamp', 'State'],
                changes.map(({t, name, on}) => [this._time(t), name, onOff(on)])),
            table('Connections', ['Program', 'Service', 'From', 'To', 'Duration', 'Reason'],
                this.history.connections.filter(inWindow).map((one) => [clientName(one), one.service, ...span(one)])),
            table('Subscriptions', ['Path', 'Program', 'From', 'To', 'Duration', 'Reason'],
                this.history.subscriptions.filter(inWindow)
                    .map((one) => [one.path, clients.get(one.client) ?? '', ...span(one)])),
            table('Faults', ['Fault', 'What it does', 'From', 'To', 'Duration', 'Reason'],
                this.history.faults.filter(inWindow).map((one) => [one.kind, one.text ?? '', ...span(one)])),
            table('Requests', ['Time', 'Request'], marks.filter(({kind}) => kind === 'request')
                .map((mark) => [this._time(mark.t), requestText(mark)])),
            table('Violations and steps', ['Time', 'What'], marks.filter(({kind}) => kind !== 'request')
                .map(({t, text}) => [this._time(t), text])),
        ];
        const again = make('button', {type: 'button', onclick: () => {
            this.build();
            this.place.querySelector('button').focus();
        }}, 'Bring up to date');
        const range = `From ${this._time(from)} to ${this._time(Math.min(to, now))}, as the timeline shows it.`;
        this.place.replaceChildren(make('p', {class: 'note'}, range, ' ', again), ...tables);
    }

    _time(time) {
        return timeOfDay(this.clock.wallTime(time));
    }
}

function table(caption, heads, lines) {
    const shown = lines.slice(-kMostLines);
    const left = lines.length - shown.length;
    if (lines.length === 0) {
        return make('p', {class: 'empty'}, `${caption}: none.`);
    }
    return make('div', {class: 'table', tabindex: '0', role: 'region', 'aria-label': caption},
        make('table', {},
            make('caption', {}, left > 0 ? `${caption} (the last ${shown.length} of ${lines.length})` : caption),
            make('thead', {}, make('tr', {}, ...heads.map((head) => make('th', {scope: 'col'}, head)))),
            make('tbody', {}, ...shown.map((cells) => make('tr', {}, ...cells.map((cell) => make('td', {}, cell)))))));
}
