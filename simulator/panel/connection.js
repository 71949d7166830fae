// The page's own connection: the stream of events, and what is known of it.

const kPause = 2000;
/** The events of the stream, besides `state`. */
const kEvents = ['element', 'elementRemoved', 'service', 'connected', 'disconnected', 'request', 'subscribed',
    'unsubscribed', 'fault', 'cleared', 'violation', 'step'];

export class Connection {
    /** `on` has the functions state(state), event(name, event), and changed(isConnected). */
    constructor(base, on) {
        this.address = `${base}_sim/events`;
        this.on = on;
        this.isConnected = false;
    }

    open() {
        const source = new EventSource(this.address);
        source.addEventListener('state', (message) => {
            const state = parsed(message);
            if (state) {
                this._set(true);
                this.on.state(state);
            }
        });
        for (const name of kEvents) {
            source.addEventListener(name, (message) => {
                const event = parsed(message);
                // What comes before a state belongs to nothing.
                if (event && this.isConnected) {
                    this.on.event(name, event);
                }
            });
        }
        source.addEventListener('error', () => {
            this._set(false);
            // The browser tries again by itself, unless it has had an answer that is no stream.
            if (source.readyState === EventSource.CLOSED) {
                source.close();
                setTimeout(() => this.open(), kPause);
            }
        });
    }

    _set(isConnected) {
        if (isConnected !== this.isConnected || !isConnected) {
            this.isConnected = isConnected;
            this.on.changed(isConnected);
        }
    }
}

function parsed(message) {
    try {
        return JSON.parse(message.data);
    } catch (error) {
        console.error('The simulator has sent an event that is not JSON:', error.message);
        return undefined;
    }
}
