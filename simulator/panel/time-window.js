// Which part of the time the timeline shows, and what moves it. Knows no page.

export const kShortestSpan = 100;
export const kLongestSpan = 30 * 60 * 1000;
const kUsualSpan = 30 * 1000;
/** So much of the window is behind the present, so that its end can be seen. */
const kFuture = 0.03;
const kTickSteps = [10, 20, 50, 100, 200, 500, 1000, 2000, 5000, 10000, 15000, 30000, 60000, 120000, 300000, 600000];

export class TimeWindow {
    constructor() {
        this.span = kUsualSpan;
        this.to = 0;
        /** Whether the window moves with the time. */
        this.follows = true;
        /** There is little to see of the time before. */
        this.begin = -Infinity;
    }

    get from() {
        return this.to - this.span;
    }

    /** The window moves on if it follows. It begins to move when what has happened since `begin` fills it. */
    advance(now) {
        if (this.follows) {
            this.to = Math.max(now + this.span * kFuture, this.begin + this.span * (1 - kFuture));
        }
    }

    follow(now) {
        this.follows = true;
        this.advance(now);
    }

    pause() {
        this.follows = false;
    }

    /** Moves the window. It stops following, and does not leave the time that there is. */
    pan(distance, now) {
        this.pause();
        this.to = clamp(this.to + distance, now - kLongestSpan + this.span / 2, now + this.span * 0.9);
    }

    /** Shows `factor` times as much. The time at `anchor` stays where it is; while following, the present does. */
    zoom(factor, now, anchor = this.from + this.span / 2) {
        const span = clamp(this.span * factor, kShortestSpan, kLongestSpan);
        if (this.follows) {
            this.span = span;
            this.advance(now);
            return;
        }
        this.to = anchor + (this.to - anchor) * (span / this.span);
        this.span = span;
    }

    /** Moves as little as needed to show this time. */
    reveal(time, now) {
        if (time < this.from) {
            this.pan(time - this.from - this.span * 0.1, now);
        } else if (time > this.to) {
            this.pan(time - this.to + this.span * 0.1, now);
        }
    }

    /** The place of a time in a width. */
    x(time, width) {
        return ((time - this.from) / this.span) * width;
    }

    timeAt(x, width) {
        return this.from + (x / width) * this.span;
    }

    /** The times of the marks below the timeline, at full seconds (minutes, ...) of the time that `wallTime` tells. */
    ticks(width, wallTime, distance = 90) {
        const least = (this.span * distance) / Math.max(width, 1);
        const step = kTickSteps.find((one) => one >= least) ?? kTickSteps.at(-1);
        const shift = wallTime(0);
        const times = [];
        for (let at = Math.ceil((this.from + shift) / step) * step; at <= this.to + shift; at += step) {
            times.push(at - shift);
        }
        return {step, times};
    }
}

function clamp(value, least, most) {
    return Math.min(Math.max(value, least), Math.max(least, most));
}
