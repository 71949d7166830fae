// Paints the timeline on a canvas.

import {line, paintRow} from './timeline-shapes.js';
import {onOff, timeOfDay} from './words.js';

const kFont = '12px system-ui, sans-serif';
const kSmallFont = '11px system-ui, sans-serif';

/** The colours of the style sheet. */
export function coloursOf(node) {
    const style = getComputedStyle(node);
    const names = ['surface', 'ink', 'muted', 'line', 'on', 'off', 'connection', 'subscription', 'fault', 'violation',
        'request', 'accent'];
    return Object.fromEntries(names.map((name) => [name, style.getPropertyValue(`--${name}`).trim() || 'CanvasText']));
}

/** `scene` has history, window, layout, clock, colours, now, cursor. */
export function paint(context, scene) {
    const {layout, colours} = scene;
    context.clearRect(0, 0, layout.width, layout.height);
    const plot = {left: layout.left, width: layout.width - layout.left, bottom: layout.axisTop};
    context.save();
    context.beginPath();
    context.rect(plot.left, 0, plot.width, layout.height);
    context.clip();
    context.translate(plot.left, 0);
    paintTicks(context, scene, plot);
    paintUnknown(context, scene, plot);
    for (const place of layout.rows) {
        paintRow(context, scene, plot, place);
    }
    paintMoment(context, scene.window.x(scene.now, plot.width), plot.bottom, colours.muted, []);
    if (scene.cursor !== undefined) {
        paintMoment(context, scene.window.x(scene.cursor, plot.width), plot.bottom, colours.ink, [4, 3]);
    }
    context.restore();
    for (const place of layout.rows) {
        paintLabel(context, scene, place);
    }
}

function paintTicks(context, {window, clock, colours}, {width, bottom}) {
    const {step, times} = window.ticks(width, (time) => clock.wallTime(time));
    context.font = kSmallFont;
    context.textAlign = 'center';
    context.textBaseline = 'top';
    for (const time of times) {
        const x = Math.round(window.x(time, width)) + 0.5;
        line(context, colours.line, 1, [[x, 0], [x, bottom + 4]]);
        const text = timeOfDay(clock.wallTime(time), step);
        const half = context.measureText(text).width / 2;
        if (x - half >= 0 && x + half <= width) {
            context.fillStyle = colours.muted;
            context.fillText(text, x, bottom + 7);
        }
    }
    line(context, colours.line, 1, [[0, bottom + 0.5], [width, bottom + 0.5]]);
}

/** Hatches the times about which nothing is known. */
function paintUnknown(context, {history, window, now, colours}, {width, bottom}) {
    const gaps = [...history.gaps, {from: -Infinity, to: history.knownSince ?? now}];
    if (history.lostAt !== undefined) {
        gaps.push({from: history.lostAt, to: now});
    }
    for (const {from, to} of gaps) {
        const begin = Math.max(0, window.x(from, width));
        const end = Math.min(width, window.x(to, width));
        if (end <= begin) {
            continue;
        }
        context.save();
        context.beginPath();
        context.rect(begin, 0, end - begin, bottom);
        context.clip();
        context.globalAlpha = 0.5;
        context.beginPath();
        // The hatching moves with the time.
        const shift = ((window.x(0, width) % 12) + 12) % 12;
        for (let x = begin - bottom - 12 - ((begin - bottom) % 12) + shift; x < end; x += 12) {
            context.moveTo(x, bottom);
            context.lineTo(x + bottom, 0);
        }
        context.strokeStyle = colours.line;
        context.lineWidth = 1.5;
        context.stroke();
        context.restore();
    }
}

function paintMoment(context, x, bottom, colour, dashes) {
    line(context, colour, 1.5, [[x, 0], [x, bottom]], dashes);
}

function paintLabel(context, {layout, colours, labelValue}, {row, top, height, labelTop}) {
    const width = (layout.isNarrow ? layout.width : layout.left) - 14;
    const indent = row.kind === 'subscription' ? 12 : 0;
    const isBig = row.signal?.isTerminal15;
    context.font = isBig ? `600 ${kFont}` : row.kind === 'subscription' || row.kind === 'more' ? kSmallFont : kFont;
    context.textAlign = 'left';
    context.textBaseline = 'middle';
    const middle = layout.isNarrow ? labelTop + 8 : top + height / 2;
    const value = row.signal ? onOff(labelValue(row.signal)) : '';
    const valueWidth = value ? context.measureText('unknown').width + 6 : 0;
    context.fillStyle = indent || row.kind === 'more' ? colours.muted : colours.ink;
    const name = fitted(context, row.label, width - indent - valueWidth);
    context.fillText(name, indent, middle);
    if (row.note && !row.signal) {
        const used = indent + context.measureText(name).width + 8;
        context.fillStyle = colours.muted;
        context.font = kSmallFont;
        context.fillText(width - used > 24 ? fitted(context, row.note, width - used) : '', used, middle);
    }
    if (value) {
        context.textAlign = 'right';
        context.fillStyle = value === 'on' ? colours.on : colours.muted;
        context.fillText(value, width, middle);
    }
}

function fitted(context, text, width) {
    if (context.measureText(text).width <= width) {
        return text;
    }
    let length = Math.max(1, Math.floor((text.length * width) / context.measureText(text).width));
    while (length > 1 && context.measureText(`${text.slice(0, length)}…`).width > width) {
        length -= 1;
    }
    return `${text.slice(0, length)}…`;
}
