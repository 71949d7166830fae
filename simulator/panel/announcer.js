// Tells screen readers what has changed, in one polite live region.

import {setText} from './dom.js';

/** Changes that come faster are told by the last of them. */
const kPause = 1000;

export class Announcer {
    constructor(node, {later = (...timer) => setTimeout(...timer), clock = () => performance.now()} = {}) {
        Object.assign(this, {node, later, clock, last: -Infinity, waiting: undefined});
    }

    say(text) {
        const isWaiting = this.waiting !== undefined;
        this.waiting = text;
        if (!isWaiting) {
            this.later(() => this._tell(), Math.max(0, this.last + kPause - this.clock()));
        }
    }

    _tell() {
        this.last = this.clock();
        setText(this.node, this.waiting);
        this.waiting = undefined;
    }
}
