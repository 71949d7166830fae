// The time of the bus, in milliseconds since it was started. The state and every event carry it.

/** A new state of the same bus cannot be further than this from what the clock has expected, in ms. */
const kTolerance = 5000;

export class BusClock {
    constructor(monotonic = () => performance.now(), wall = () => Date.now()) {
        this.monotonic = monotonic;
        this.wall = wall;
        this.offset = undefined;
        this.begin = 0;
    }

    /**
     * A state has arrived, with this time.
     * Returns whether it can be from the same run of the bus as the one before.
     */
    synchronize(now) {
        const isSameRun = this.offset !== undefined && Math.abs(this.now() - now) < kTolerance;
        this.offset = now - this.monotonic();
        if (!isSameRun) {
            this.begin = this.wall() - now;
        }
        return isSameRun;
    }

    /** An event with this time has arrived. It happened before it arrived, so the clock may have to go forward. */
    hear(time) {
        this.offset = Math.max(this.offset ?? -Infinity, time - this.monotonic());
    }

    now() {
        return this.offset === undefined ? 0 : this.monotonic() + this.offset;
    }

    /** The time of day at this time of the bus, in ms since 1970. */
    wallTime(time) {
        return this.begin + time;
    }
}
