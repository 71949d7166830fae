// What was the case at a moment, in words. Knows no page.

import {clientName} from './timeline-rows.js';
import {counted, isFailed, onOff, requestText, timeOfDay} from './words.js';

const kMostMarks = 5;

/** The moment itself: the time of day, and the time of the bus. */
export function momentText(time, clock) {
    return `${timeOfDay(clock.wallTime(time))} · ${(time / 1000).toFixed(3)} s`;
}

/** Lines for people: [{tone, text}], from what factsAt() returns. */
export function factLines(facts) {
    if (!facts.known) {
        return [{tone: 'muted', text: 'not recorded'}];
    }
    const marks = facts.marks.slice(0, kMostMarks).map(markLine);
    const more = facts.marks.length - marks.length;
    return [
        ...facts.signals.map(({name, on}) => ({tone: onOff(on), text: `${name}: ${onOff(on)}`})),
        ...facts.connections.map((one) => ({tone: 'connection', text: connectionText(one, facts)})),
        ...facts.faults.map(({kind, text}) => ({tone: 'fault', text: `${kind}: ${text ?? ''}`})),
        ...marks,
        ...(more > 0 ? [{tone: 'muted', text: `and ${more} more`}] : []),
    ];
}

function connectionText(one, {subscriptions}) {
    const number = subscriptions.filter(({client}) => client === one.client).length;
    return `${clientName(one)}, ${one.service}, ${counted(number, 'subscription')}`;
}

function markLine(mark) {
    if (mark.kind === 'request') {
        return {tone: isFailed(mark) ? 'fault' : 'request', text: requestText(mark)};
    }
    return {tone: mark.kind === 'violation' ? 'violation' : 'accent', text: mark.text};
}
