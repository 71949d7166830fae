// The shapes in the rows of the timeline: waveforms, bars and marks.

import {waveform} from './timeline-layout.js';
import {isFailed} from './words.js';

export function paintRow(context, scene, plot, {row, top, height}) {
    if (row.kind === 'signal') {
        paintWaveform(context, scene, plot, {signal: row.signal, top, height});
    } else if (row.kind === 'marks') {
        paintMarks(context, scene, plot, {row, top, height});
    } else {
        paintSpans(context, scene, plot, {row, top, height});
    }
}

function paintWaveform(context, {window, until, colours}, {width}, {signal, top, height}) {
    const high = top + 3.5;
    const low = top + height - 3.5;
    const middle = (high + low) / 2;
    const points = [];
    const flush = () => {
        line(context, colours.on, signal.isTerminal15 ? 2.5 : 1.75, points.splice(0));
    };
    line(context, colours.line, 1, [[0, low], [Math.min(width, window.x(until, width)), low]]);
    for (const {from, to, on} of waveform(signal, window, until, width)) {
        if (on === null) {
            flush();
            line(context, colours.muted, 1, [[from, middle], [to, middle]], [2, 4]);
            continue;
        }
        if (on !== false) {
            context.globalAlpha = on === 'both' ? 0.5 : 0.2;
            context.fillStyle = colours.on;
            context.fillRect(from, high, Math.max(to - from, 1), low - high);
            context.globalAlpha = 1;
        }
        if (on === 'both') {
            points.push([from, low], [from, high], [to, high], [to, low]);
        } else {
            points.push([from, on ? high : low], [to, on ? high : low]);
        }
    }
    flush();
}

function paintSpans(context, {window, until, colours}, {width}, {row, top, height}) {
    const isThin = row.kind === 'subscription';
    const bar = isThin ? 6 : height - 8;
    const begin = top + (height - bar) / 2;
    const colour = colours[row.kind] ?? colours.muted;
    for (const span of row.spans) {
        const from = window.x(span.from, width);
        const to = Math.max(window.x(span.to ?? until, width), from + 2);
        if (to < 0 || from > width) {
            continue;
        }
        const left = Math.max(from, -10);
        const right = Math.min(to, width + 10);
        context.fillStyle = colour;
        context.globalAlpha = isThin ? 0.75 : 0.85;
        context.beginPath();
        context.roundRect(left, begin, right - left, bar, Math.min(3, bar / 2, (right - left) / 2));
        context.fill();
        context.globalAlpha = 1;
        if (span.to !== undefined && !isThin) {
            paintEnd(context, colours, to, top, height);
        }
    }
}

/** A cross behind a bar: here something has ended. */
function paintEnd(context, colours, x, top, height) {
    line(context, colours.ink, 2, [[x, top + 1], [x, top + height - 1]]);
    const middle = top + height / 2;
    line(context, colours.muted, 1.5, [[x + 5, middle - 3], [x + 11, middle + 3]]);
    line(context, colours.muted, 1.5, [[x + 5, middle + 3], [x + 11, middle - 3]]);
}

function paintMarks(context, {window, colours}, {width}, {row, top, height}) {
    const bottom = top + height;
    line(context, colours.line, 1, [[0, bottom - 0.5], [width, bottom - 0.5]]);
    const drawn = {};
    for (const mark of row.marks) {
        const x = Math.round(window.x(mark.t, width)) + 0.5;
        const shape = mark.kind === 'request' && isFailed(mark) ? 'failed' : mark.kind;
        // Thousands of marks may be on one pixel.
        if (drawn[shape] !== x) {
            drawn[shape] = x;
            kMarks[shape](context, colours, {x, top, bottom, middle: (top + bottom) / 2});
        }
    }
}

/** Marks differ in shape, not only in colour. */
const kMarks = {
    request: (context, colours, {x, top, bottom}) => line(context, colours.request, 1.5, [[x, top + 9], [x, bottom]]),
    failed(context, colours, {x, top, bottom}) {
        line(context, colours.fault, 2, [[x, top + 2], [x, bottom]]);
        context.beginPath();
        context.arc(x, top + 3, 3, 0, 2 * Math.PI);
        context.fill();
    },
    step: (context, colours, {x, middle}) =>
        fill(context, colours.accent, [[x, middle - 5], [x + 5, middle + 5], [x - 5, middle + 5]]),
    violation: (context, colours, {x, middle}) =>
        fill(context, colours.violation, [[x, middle - 6], [x + 6, middle], [x, middle + 6], [x - 6, middle]]),
};

function fill(context, colour, points) {
    context.fillStyle = colour;
    context.beginPath();
    points.forEach(([x, y], index) => (index === 0 ? context.moveTo(x, y) : context.lineTo(x, y)));
    context.fill();
}

export function line(context, colour, width, points, dashes = []) {
    if (points.length < 2) {
        return;
    }
    context.strokeStyle = colour;
    context.fillStyle = colour;
    context.lineWidth = width;
    context.setLineDash(dashes);
    context.beginPath();
    points.forEach(([x, y], index) => (index === 0 ? context.moveTo(x, y) : context.lineTo(x, y)));
    context.stroke();
}
