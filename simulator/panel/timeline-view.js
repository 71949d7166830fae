// The timeline on the page: follows the time, and shows what was the case at the moment under the pointer.

import {make, setText} from './dom.js';
import {factLines, momentText} from './timeline-facts.js';
import {attachControls} from './timeline-controls.js';
import {layOut} from './timeline-layout.js';
import {coloursOf, paint} from './timeline-paint.js';
import {factsAt, nextMoment, timelineRows, valueAt} from './timeline-rows.js';
import {spanText} from './words.js';
import {TimeWindow} from './time-window.js';

/** With reduced motion, the picture moves on once in this time. */
const kCalmPause = 1000;

export class TimelineView {
    constructor({history, clock}) {
        Object.assign(this, {history, clock, window: new TimeWindow(), isDirty: true, painted: -Infinity});
        this.stage = document.getElementById('timeline-stage');
        this.canvas = document.getElementById('timeline-canvas');
        this.tooltip = document.getElementById('timeline-tooltip');
        this.span = document.getElementById('timeline-span');
        this.pause = document.getElementById('timeline-pause');
        this.followButton = document.getElementById('timeline-follow');
        this.calm = matchMedia('(prefers-reduced-motion: reduce)');
        /** The moment that was chosen with keys or a click, and the one under the pointer. */
        this.cursor = undefined;
        this.hover = undefined;
        for (const query of ['(prefers-color-scheme: dark)', '(forced-colors: active)', '(prefers-contrast: more)']) {
            matchMedia(query).addEventListener('change', () => {
                this.colours = undefined;
                this.isDirty = true;
            });
        }
        new ResizeObserver(() => {
            this.isDirty = true;
        }).observe(this.stage);
        attachControls(this);
    }

    update() {
        this.isDirty = true;
    }

    now() {
        return this.clock.now();
    }

    get plotWidth() {
        return this.width - this.layout.left;
    }

    /** The moment at a place on the stage. */
    timeAt(x) {
        return this.window.timeAt(x - this.layout.left, this.plotWidth);
    }

    /** Something of the window was changed. */
    changed() {
        this.isDirty = true;
        this.pause.setAttribute('aria-pressed', String(!this.window.follows));
        this.followButton.classList.toggle('primary', !this.window.follows);
    }

    /** Called before each picture of the page; paints if something would be different. */
    frame(time) {
        const now = this.now();
        if (!this.isDirty && this.window.follows) {
            const moved = ((now - this.paintedNow) / this.window.span) * (this.width ?? 0);
            this.isDirty = moved > 0.5 && (!this.calm.matches || time - this.painted > kCalmPause);
        }
        if (!this.isDirty) {
            return;
        }
        this.isDirty = false;
        this.painted = time;
        this.paintedNow = now;
        this.window.begin = this.history.knownSince ?? now;
        this.window.advance(now);
        this._paint(now);
    }

    _paint(now) {
        this.width = Math.floor(this.stage.clientWidth);
        this.colours ??= coloursOf(this.stage);
        const rows = timelineRows(this.history, this.window.from, this.window.to, now);
        this.layout = layOut(rows, this.width);
        const scale = window.devicePixelRatio || 1;
        const size = [Math.round(this.width * scale), Math.round(this.layout.height * scale)];
        if (this.canvas.width !== size[0] || this.canvas.height !== size[1]) {
            [this.canvas.width, this.canvas.height] = size;
            this.canvas.style.height = `${this.layout.height}px`;
        }
        const context = this.canvas.getContext('2d');
        context.setTransform(scale, 0, 0, scale, 0, 0);
        const cursor = this.hover === undefined ? this.cursor : this.timeAt(this.hover);
        paint(context, {
            history: this.history, window: this.window, layout: this.layout, clock: this.clock, colours: this.colours,
            now, until: this.history.lostAt ?? now, cursor,
            labelValue: (signal) => this._valueAt(signal, Math.min(cursor ?? now, now)),
        });
        setText(this.span, `${spanText(this.window.span)}${this.window.follows ? '' : ', paused'}`);
        this._showTooltip(cursor, now);
    }

    _showTooltip(cursor, now) {
        const isShown = cursor !== undefined && cursor <= now && cursor >= this.window.from && cursor <= this.window.to;
        this.tooltip.hidden = !isShown;
        if (!isShown) {
            return;
        }
        const facts = this.factsAt(cursor);
        this.tooltip.replaceChildren(make('strong', {}, momentText(cursor, this.clock)),
            ...factLines(facts).map(({tone, text}) => make('span', {class: 'fact', 'data-tone': tone}, text)));
        const x = this.layout.left + this.window.x(cursor, this.plotWidth);
        const width = this.tooltip.offsetWidth;
        const left = x + 14 + width > this.width ? x - 14 - width : x + 14;
        this.tooltip.style.left = `${Math.max(0, Math.min(left, this.width - width))}px`;
    }

    /** How a clamp was; null if it is not known. */
    _valueAt(signal, time) {
        return time > (this.history.lostAt ?? Infinity) ? null : valueAt(signal, time);
    }

    factsAt(time) {
        const tolerance = (this.window.span / Math.max(this.plotWidth, 1)) * 4;
        return factsAt(this.history, time, tolerance);
    }

    /** Moves the cursor, and tells what was the case there. */
    moveCursor(time) {
        const now = this.now();
        this.cursor = Math.min(Math.max(time, this.history.knownSince ?? 0), now);
        this.hover = undefined;
        this.window.pause();
        this.window.reveal(this.cursor, now);
        this.stage.setAttribute('aria-valuemin', Math.round((this.history.knownSince ?? 0) / 1000));
        this.stage.setAttribute('aria-valuemax', Math.round(now / 1000));
        this.stage.setAttribute('aria-valuenow', (this.cursor / 1000).toFixed(3));
        const lines = factLines(this.factsAt(this.cursor)).map(({text}) => text);
        this.stage.setAttribute('aria-valuetext', [momentText(this.cursor, this.clock), ...lines].join('; '));
        this.changed();
    }

    /** Moves the cursor to the next (or previous) event. */
    moveToEvent(forward) {
        const moment = nextMoment(this.history, this.cursor ?? this.now(), forward);
        if (moment !== undefined) {
            this.moveCursor(moment);
        }
    }

    endCursor() {
        this.cursor = undefined;
        this.stage.setAttribute('aria-valuetext', 'now');
        this.changed();
    }

    follow() {
        this.cursor = undefined;
        this.window.follow(this.now());
        this.changed();
    }

    togglePause() {
        if (this.window.follows) {
            this.window.pause();
            this.changed();
        } else {
            this.follow();
        }
    }

    zoom(factor, anchor) {
        this.window.zoom(factor, this.now(), anchor ?? this.cursor);
        this.changed();
    }

    pan(distance) {
        this.window.pan(distance, this.now());
        this.changed();
    }
}
