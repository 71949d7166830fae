// Where the rows of the timeline are, and the shapes of the waveforms. Knows no page.

import {firstAfter} from './history.js';
import {valueAt} from './timeline-rows.js';

const kHeights = {signal: 32, connection: 22, subscription: 14, fault: 22, marks: 20, more: 16};
const kTerminal15Height = 56;
const kRowGap = 4;
const kGroupGap = 10;
const kLabelLine = 15;
const kAxis = 24;
const kTop = 8;
/** Below this width, labels are above their rows. */
const kNarrow = 600;

/** Returns {rows: [{row, top, height, labelTop}], left, width, height, axisTop} for a canvas of this width. */
export function layOut(rows, width) {
    const isNarrow = width < kNarrow;
    const left = isNarrow ? 0 : Math.min(220, width * 0.24);
    const placed = [];
    let top = kTop;
    let group;
    for (const row of rows) {
        const ofGroup = row.kind === 'subscription' || row.kind === 'more' ? 'connection' : row.kind;
        top += group !== undefined && group !== ofGroup ? kGroupGap : 0;
        group = ofGroup;
        const labelTop = top;
        top += isNarrow ? kLabelLine : 0;
        const height = row.signal?.isTerminal15 ? kTerminal15Height : kHeights[row.kind];
        placed.push({row, top, height, labelTop});
        top += height + kRowGap;
    }
    return {rows: placed, left, width, isNarrow, axisTop: top + 2, height: top + kAxis};
}

/**
 * The waveform of a clamp in a window, in pixels: [{from, to, on}]. `on` is true, false, null (not known), or "both"
 * where it changes more often than can be drawn. There are never more pieces than twice the pixels.
 */
export function waveform(signal, window, now, width) {
    const pieces = [];
    const end = Math.min(now, window.to);
    const add = (from, to, on) => {
        const last = pieces.at(-1);
        if (to - from >= 1) {
            if (last && last.on === on) {
                last.to = to;
            } else {
                pieces.push({from, to, on});
            }
        } else if (last?.on === 'both') {
            last.to = to;
        } else if (to > from || on !== last?.on) {
            pieces.push({from, to, on: 'both'});
        }
    };
    let from = 0;
    let on = valueAt(signal, window.from);
    const {changes} = signal;
    for (let index = firstAfter(changes, window.from); index < changes.length && changes[index].t <= end; ++index) {
        const to = window.x(changes[index].t, width);
        add(from, to, on);
        from = to;
        on = changes[index].on;
    }
    const to = window.x(end, width);
    if (to > from) {
        add(from, to, on);
    }
    return pieces;
}
